#pragma once

#include <algorithm>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <span>

namespace kestr {

/// The number at `bytes` in the byte order `Order`; `bytes` must hold sizeof(T) bytes.
template <typename T, std::endian Order>
constexpr T LoadNumber(const uint8_t* bytes) {
    uint64_t value = 0;
    for (size_t i = 0; i < sizeof(T); ++i) {
        const size_t shift = 8 * (Order == std::endian::little ? i : sizeof(T) - 1 - i);
        value |= uint64_t{bytes[i]} << shift;
    }
    return static_cast<T>(value);
}

template <typename T, std::endian Order>
constexpr void StoreNumber(uint8_t* bytes, T value) {
    for (size_t i = 0; i < sizeof(T); ++i) {
        const size_t shift = 8 * (Order == std::endian::little ? i : sizeof(T) - 1 - i);
        bytes[i] = static_cast<uint8_t>(static_cast<uint64_t>(value) >> shift);
    }
}

/// Reads a record from a range of bytes. Past the end it gives zeros and remembers it, so that a
/// record is filled whole and tested once with Ok().
template <std::endian Order>
class CByteCursor {
public:
    explicit CByteCursor(std::span<const uint8_t> bytes, size_t start = 0) : m_bytes(bytes) {
        Seek(start);
    }

    uint8_t U8() { return Number<uint8_t>(); }
    uint16_t U16() { return Number<uint16_t>(); }
    uint32_t U32() { return Number<uint32_t>(); }
    uint64_t U64() { return Number<uint64_t>(); }
    int8_t I8() { return static_cast<int8_t>(U8()); }
    int16_t I16() { return static_cast<int16_t>(U16()); }
    int32_t I32() { return static_cast<int32_t>(U32()); }

    /// The next `count` bytes, or an empty range when there are fewer.
    std::span<const uint8_t> Bytes(size_t count) {
        if (count > Remaining()) {
            m_ok = false;
            m_position = m_bytes.size();
            return {};
        }
        const auto result = m_bytes.subspan(m_position, count);
        m_position += count;
        return result;
    }

    void Skip(size_t count) { Bytes(count); }

    /// Goes to an offset from the start; one beyond the end counts as a read past it.
    void Seek(size_t offset) {
        if (offset > m_bytes.size()) m_ok = false;
        m_position = std::min(offset, m_bytes.size());
    }

    [[nodiscard]] size_t Position() const { return m_position; }
    [[nodiscard]] size_t Remaining() const { return m_bytes.size() - m_position; }
    [[nodiscard]] bool Ok() const { return m_ok; }

private:
    template <typename T>
    T Number() {
        const auto bytes = Bytes(sizeof(T));
        return bytes.empty() ? T{0} : LoadNumber<T, Order>(bytes.data());
    }

    std::span<const uint8_t> m_bytes;
    size_t m_position = 0;
    bool m_ok = true;
};

using CLittleEndianCursor = CByteCursor<std::endian::little>;
using CBigEndianCursor = CByteCursor<std::endian::big>;

/// The part of `bytes` from `offset` on, `count` bytes at the most; empty when `offset` is outside.
inline std::span<const uint8_t> SubRange(std::span<const uint8_t> bytes, uint64_t offset,
                                         uint64_t count = UINT64_MAX) {
    if (offset >= bytes.size()) return {};
    const auto rest = bytes.subspan(static_cast<size_t>(offset));
    return rest.first(static_cast<size_t>(std::min<uint64_t>(count, rest.size())));
}

}  // namespace kestr
