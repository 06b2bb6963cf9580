// Numbers of a TIFF structure, whose byte order is known only at run time.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>

#include "base/byte_cursor.h"

namespace kestr {

/// Field types of TIFF 6.0, section 2.
namespace tiff_type {
inline constexpr uint16_t kByte = 1;
inline constexpr uint16_t kAscii = 2;
inline constexpr uint16_t kShort = 3;
inline constexpr uint16_t kLong = 4;
inline constexpr uint16_t kRational = 5;
inline constexpr uint16_t kSignedByte = 6;
inline constexpr uint16_t kUndefined = 7;
inline constexpr uint16_t kSignedShort = 8;
inline constexpr uint16_t kSignedLong = 9;
inline constexpr uint16_t kSignedRational = 10;
inline constexpr uint16_t kFloat = 11;
inline constexpr uint16_t kDouble = 12;
inline constexpr uint16_t kLast = kDouble;
}  // namespace tiff_type

inline constexpr size_t kTIFFEntryBytes = 12;

/// Bytes of one value; 0 for a type that TIFF 6.0 does not have.
constexpr size_t TIFFTypeBytes(uint16_t type) {
    constexpr std::array<uint8_t, 13> kBytes{0, 1, 1, 2, 4, 8, 1, 1, 2, 4, 8, 4, 8};
    return type < kBytes.size() ? kBytes[type] : 0;
}

/// Bytes that are swapped as one number: a rational is two numbers of four bytes.
constexpr size_t TIFFNumberBytes(uint16_t type) {
    const bool rational = type == tiff_type::kRational || type == tiff_type::kSignedRational;
    return rational ? 4 : TIFFTypeBytes(type);
}

template <typename T>
constexpr T LoadTIFF(const uint8_t* bytes, bool bigEndian) {
    return bigEndian ? LoadNumber<T, std::endian::big>(bytes)
                     : LoadNumber<T, std::endian::little>(bytes);
}

template <typename T>
constexpr void StoreTIFF(uint8_t* bytes, T value, bool bigEndian) {
    if (bigEndian) {
        StoreNumber<T, std::endian::big>(bytes, value);
    } else {
        StoreNumber<T, std::endian::little>(bytes, value);
    }
}

/// A block of TIFF structures, read by offset. What lies past the end reads as 0.
class CTIFFBytes {
public:
    CTIFFBytes(std::span<const uint8_t> bytes, bool bigEndian)
        : m_bytes(bytes), m_bigEndian(bigEndian) {}

    [[nodiscard]] uint16_t U16(uint64_t offset) const { return Number<uint16_t>(offset); }
    [[nodiscard]] uint32_t U32(uint64_t offset) const { return Number<uint32_t>(offset); }
    [[nodiscard]] bool Holds(uint64_t offset, uint64_t count) const {
        return offset <= m_bytes.size() && count <= m_bytes.size() - offset;
    }
    [[nodiscard]] size_t Size() const { return m_bytes.size(); }
    [[nodiscard]] std::span<const uint8_t> Bytes() const { return m_bytes; }
    [[nodiscard]] bool BigEndian() const { return m_bigEndian; }

private:
    template <typename T>
    T Number(uint64_t offset) const {
        return Holds(offset, sizeof(T)) ? LoadTIFF<T>(m_bytes.data() + offset, m_bigEndian) : T{0};
    }

    std::span<const uint8_t> m_bytes;
    bool m_bigEndian;
};

}  // namespace kestr
