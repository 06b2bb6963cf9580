#pragma once

#include <cstddef>
#include <cstdint>
#include <limits>
#include <optional>

namespace kestr {

/// The most bytes that one store of a picture may take: what the address space can hold with room
/// to spare on 32 bits, and 16 GiB elsewhere.
inline constexpr size_t kMostPictureBytes =
    sizeof(size_t) == 4 ? size_t{0x60000000} : static_cast<size_t>(uint64_t{1} << 34);

/// The most pixels of a side: what a bitmap header's signed 32-bit field and 3 bytes a pixel allow.
inline constexpr uint32_t kMostPictureSide = 0x7FFFFFFF / 4;

/// Bytes of `height` rows of `rowBytes`, or nothing when a store cannot hold them.
constexpr std::optional<size_t> StoreBytes(uint64_t rowBytes, uint64_t height) {
    if (height != 0 && rowBytes > kMostPictureBytes / height) return std::nullopt;
    return static_cast<size_t>(rowBytes * height);
}

/// Bytes of a picture without row padding, or nothing when a store cannot hold them.
constexpr std::optional<size_t> ImageBytes(uint32_t width, uint32_t height,
                                           uint32_t bytesPerPixel) {
    return StoreBytes(uint64_t{width} * bytesPerPixel, height);
}

}  // namespace kestr
