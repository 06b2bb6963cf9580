#pragma once

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdlib>
#include <map>
#include <span>
#include <vector>

namespace kestr::test {

/// Bits, the highest of a byte first; `stuffed` writes FF as FF 00.
class CBitWriter {
public:
    explicit CBitWriter(bool stuffed = false) : m_stuffed(stuffed) {}

    void Put(uint32_t value, int count) {
        for (int i = count - 1; i >= 0; --i) {
            m_byte = uint8_t(m_byte << 1 | (value >> i & 1));
            if (++m_used == 8) Flush();
        }
    }
    /// Fills the last byte up with ones or zeros.
    void Align(bool ones = true) {
        while (m_used != 0) Put(ones, 1);
    }
    std::vector<uint8_t> bytes;

private:
    void Flush() {
        bytes.push_back(m_byte);
        if (m_stuffed && m_byte == 0xFF) bytes.push_back(0);
        m_byte = 0;
        m_used = 0;
    }
    bool m_stuffed;
    uint8_t m_byte = 0;
    int m_used = 0;
};

/// Writes differences by a table of prefix codes: 16 counts by length, then the values.
class CDifferenceWriter {
public:
    CDifferenceWriter(std::span<const uint8_t, 16> counts, std::span<const uint8_t> values) {
        uint32_t code = 0;
        size_t next = 0;
        for (int length = 1; length <= 16; ++length, code <<= 1) {
            for (int i = 0; i < counts[size_t(length - 1)]; ++i, ++code) {
                const uint8_t value = next < values.size() ? values[next] : 0;
                ++next;
                // Of two codes with one meaning the first serves.
                m_codes.emplace(value, CCode{code, length});
            }
        }
    }

    /// A difference of -32768..32767, with 16 bits behind category 16 if `bitsBehind16`.
    void Put(CBitWriter& out, int difference, bool bitsBehind16 = false) const {
        int category = 0;
        while (std::abs(difference) >> category != 0) ++category;
        PutCode(out, uint8_t(category));
        if (category == 16 && !bitsBehind16) return;
        out.Put(uint32_t(difference > 0 ? difference : difference + (1 << category) - 1), category);
    }

    /// Where some categories do not store their low bits: the nearest difference that can be
    /// written, which is what a decoder reads.
    int PutNearest(CBitWriter& out, int difference) const {
        int category = 0;
        while (std::abs(difference) >> category != 0) ++category;
        for (int left = 0; left < category; ++left) {
            const auto value = uint8_t(left << 4 | category);
            if (left == 0 || !m_codes.contains(value)) continue;
            PutCode(out, value);
            // Of the values of a category the upper half is positive.
            const int half = 1 << (category - 1 - left);
            const int stored = difference > 0
                                   ? difference >> left
                                   : std::min((difference + 2 * (half << left)) >> left, half - 1);
            out.Put(uint32_t(stored), category - left);
            const int middle = (stored << left) + (1 << left) / 2;
            return difference > 0 ? middle : middle - (1 << category);
        }
        Put(out, difference);
        return difference;
    }

private:
    struct CCode {
        uint32_t code;
        int length;
    };
    void PutCode(CBitWriter& out, uint8_t value) const {
        const CCode& code = m_codes.at(value);
        out.Put(code.code, code.length);
    }
    std::map<uint8_t, CCode> m_codes;
};

}  // namespace kestr::test
