#pragma once

#include <algorithm>
#include <cstdint>
#include <string_view>
#include <vector>

namespace kestr::test {

/// A TIFF structure put together byte by byte in either byte order, in which every number can lie.
class CTIFFBuilder {
public:
    using Bytes = std::vector<uint8_t>;

    explicit CTIFFBuilder(bool bigEndian = false, uint32_t firstDirectory = 8)
        : m_bigEndian(bigEndian) {
        m_bytes = bigEndian ? Bytes{'M', 'M', 0, 42} : Bytes{'I', 'I', 42, 0};
        Add(U32(firstDirectory));
    }

    Bytes U16(uint32_t value) const { return Number(value, 2); }
    Bytes U32(uint32_t value) const { return Number(value, 4); }
    static Bytes Text(std::string_view text) { return {text.begin(), text.end()}; }
    Bytes Join(std::vector<Bytes> parts) const {
        Bytes all;
        for (const Bytes& part : parts) all.insert(all.end(), part.begin(), part.end());
        return all;
    }
    Bytes Rational(uint32_t numerator, uint32_t denominator) const {
        return Join({U32(numerator), U32(denominator)});
    }

    /// Appends bytes and tells where they begin.
    uint32_t Add(const Bytes& bytes) {
        const auto at = static_cast<uint32_t>(m_bytes.size());
        m_bytes.insert(m_bytes.end(), bytes.begin(), bytes.end());
        return at;
    }
    struct CEntry {
        uint32_t tag, type, count;
        Bytes field;  // up to four bytes, filled up with zeros
    };
    /// The words with a NUL behind them, which stand before the directory when they are long.
    CEntry TextEntry(uint32_t tag, std::string_view words) {
        Bytes bytes = Text(words);
        bytes.push_back(0);
        return {tag, 2, uint32_t(bytes.size()), bytes.size() > 4 ? U32(Add(bytes)) : bytes};
    }
    /// Appends a directory with a stated number of entries, which defaults to the true one.
    uint32_t Directory(const std::vector<CEntry>& entries, uint32_t next = 0, int stated = -1) {
        const uint32_t at =
            Add(U16(stated < 0 ? static_cast<uint32_t>(entries.size()) : uint32_t(stated)));
        for (const CEntry& entry : entries) {
            Bytes field = entry.field;
            field.resize(4);
            Add(Join({U16(entry.tag), U16(entry.type), U32(entry.count), field}));
        }
        Add(U32(next));
        return at;
    }
    /// Ends the file with its first directory, the entries in the order of their tags.
    const Bytes& Finish(std::vector<CEntry> first) {
        std::ranges::sort(first, {}, &CEntry::tag);
        Patch32(4, Directory(first));
        return m_bytes;
    }
    void Patch32(size_t at, uint32_t value) {
        const Bytes bytes = U32(value);
        std::copy(bytes.begin(), bytes.end(), m_bytes.begin() + static_cast<ptrdiff_t>(at));
    }
    const Bytes& All() const { return m_bytes; }
    uint32_t Size() const { return static_cast<uint32_t>(m_bytes.size()); }

private:
    Bytes Number(uint32_t value, int size) const {
        Bytes bytes;
        for (int i = 0; i < size; ++i) {
            bytes.push_back(uint8_t(value >> 8 * (m_bigEndian ? size - 1 - i : i)));
        }
        return bytes;
    }

    bool m_bigEndian;
    Bytes m_bytes;
};

}  // namespace kestr::test
