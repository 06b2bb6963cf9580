// A directory in TIFF's form that no header leads to, as cameras keep private values in one.
#pragma once

#include <cstdint>
#include <span>
#include <vector>

namespace kestr {

class CLooseDirectory {
public:
    /// Of a file: offsets count from its start, and values lie anywhere in it.
    /// @param at  place of the directory's first byte, its 16-bit count. The bytes must outlive
    ///            this.
    CLooseDirectory(std::span<const uint8_t> file, uint64_t at, bool bigEndian)
        : m_bytes(file), m_at(at), m_bigEndian(bigEndian) {}
    /// Of a part of a file that was deciphered, which begins with the directory.
    /// @param origin  place of the part in the file, from whose start offsets count.
    static CLooseDirectory OfPart(std::span<const uint8_t> part, uint64_t origin, bool bigEndian) {
        CLooseDirectory directory(part, 0, bigEndian);
        directory.m_origin = origin;
        return directory;
    }

    /// The values of a tag of whole numbers, negative ones modulo 2^32; empty when it is not there,
    /// is of another type, or lies outside the bytes.
    [[nodiscard]] std::vector<uint32_t> Numbers(uint16_t tag) const;
    /// The first of them, or 0.
    [[nodiscard]] uint32_t Number(uint16_t tag) const;

private:
    std::span<const uint8_t> m_bytes;
    uint64_t m_at;
    uint64_t m_origin = 0;
    bool m_bigEndian;
};

}  // namespace kestr
