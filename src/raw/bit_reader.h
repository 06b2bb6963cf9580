// Bits of sensor data, the highest of each byte first, through a wide buffer.
#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>
#include <span>

#include "base/byte_cursor.h"

namespace kestr {

/// With `Stuffed` as JPEG has them: FF 00 stands for FF, and FF before anything else ends the data.
/// Behind the end come zeros.
template <bool Stuffed>
class CBasicBitReader {
public:
    /// Bits that may be peeked at and skipped after one Fill().
    static constexpr int kFilled = 32;

    CBasicBitReader() = default;
    explicit CBasicBitReader(std::span<const uint8_t> bytes)
        : m_next(bytes.data()), m_end(bytes.data() + bytes.size()) {}

    /// Makes the next 32 bits ready.
    void Fill() {
        if (m_count >= kFilled) return;
        if (m_end - m_next >= 4) {
            const auto word = LoadNumber<uint32_t, std::endian::big>(m_next);
            if (!Stuffed || !HoldsMark(word)) {
                m_bits |= uint64_t{word} << (kFilled - m_count);
                m_count += kFilled;
                m_next += 4;
                return;
            }
        }
        *this = FilledByBytes(*this);
    }
    /// The next `count` bits, 1..32; they must be ready.
    [[nodiscard]] uint32_t Peek(int count) const {
        return static_cast<uint32_t>(m_bits >> (64 - count));
    }
    /// Goes on by `count` bits, 0..32, that must be ready.
    void Skip(int count) {
        m_bits <<= count;
        m_count -= count;
    }
    /// The next `count` bits, 0..32.
    uint32_t Read(int count) {
        if (count == 0) return 0;
        Fill();
        const uint32_t value = Peek(count);
        Skip(count);
        return value;
    }

    /// Whether bits behind the end were taken.
    [[nodiscard]] bool Overrun() const { return m_count < m_padding; }
    /// Whether all that is left are zeros from behind the end.
    [[nodiscard]] bool Exhausted() const { return m_count <= m_padding && AtEnd(); }
    /// Bytes that were not looked at yet.
    [[nodiscard]] std::span<const uint8_t> Rest() const {
        return {m_next, static_cast<size_t>(m_end - m_next)};
    }

private:
    // Whether one of the four bytes is FF.
    static constexpr bool HoldsMark(uint32_t word) {
        return (word & ((word & 0x7F7F7F7F) + 0x01010101) & 0x80808080) != 0;
    }

    // By value, so that the reader of a loop can stay in registers.
    [[gnu::noinline]] static CBasicBitReader FilledByBytes(CBasicBitReader in) {
        while (in.m_count <= 56) {
            uint64_t byte = 0;
            if (in.AtEnd()) {
                in.m_padding += 8;
            } else {
                byte = *in.m_next++;
                if (Stuffed && byte == 0xFF) ++in.m_next;
            }
            in.m_bits |= byte << (56 - in.m_count);
            in.m_count += 8;
        }
        return in;
    }
    [[nodiscard]] bool AtEnd() const {
        if (m_next == m_end) return true;
        return Stuffed && *m_next == 0xFF && (m_end - m_next < 2 || m_next[1] != 0);
    }

    const uint8_t* m_next = nullptr;
    const uint8_t* m_end = nullptr;
    uint64_t m_bits = 0;    // the next bit at the top
    int64_t m_count = 0;    // bits that are ready
    int64_t m_padding = 0;  // zeros from behind the end so far: the last bits of those
};

using CBitReader = CBasicBitReader<false>;
using CStuffedBitReader = CBasicBitReader<true>;

}  // namespace kestr
