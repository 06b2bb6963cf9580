// A directory in TIFF's form that no header leads to, as cameras keep private values in one.
#pragma once

#include <cstdint>
#include <span>
#include <vector>

namespace kestr {

class CLooseDirectory {
public:
    /// @param bytes   the directory's first byte, its 16-bit count, and all that may be read from
    ///                there on. They must outlive this.
    /// @param origin  what the offset of a value counts to at the directory's first byte.
    CLooseDirectory(std::span<const uint8_t> bytes, uint64_t origin, bool bigEndian)
        : m_bytes(bytes), m_origin(origin), m_bigEndian(bigEndian) {}

    /// The values of a tag of whole numbers, negative ones modulo 2^32; empty when it is not there,
    /// is of another type, or lies outside the bytes.
    [[nodiscard]] std::vector<uint32_t> Numbers(uint16_t tag) const;
    /// The first of them, or 0.
    [[nodiscard]] uint32_t Number(uint16_t tag) const;
    /// The offset of the directory behind this one; 0 for none.
    [[nodiscard]] uint32_t Next() const;

private:
    std::span<const uint8_t> m_bytes;
    uint64_t m_origin;
    bool m_bigEndian;
};

}  // namespace kestr
