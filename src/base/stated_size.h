// Weighs the size that a file states against the bytes that it has.
#pragma once

#include <cstdint>
#include <optional>

#include "base/picture_size.h"

namespace kestr {

/// A picture up to this many bytes is made whatever the file's length, so that a short file still
/// loads in part.
inline constexpr uint64_t kAlwaysAllowedBytes = uint64_t{64} << 20;

/// Whether a picture of `rows` rows of `rowBytes` may be made of a file of `fileBytes`, when each
/// byte of the file can stand for at most `mostPerByte` of the picture, generously reckoned.
constexpr bool IsPlausibleSize(uint64_t rowBytes, uint64_t rows, uint64_t fileBytes,
                               uint64_t mostPerByte) {
    const std::optional<size_t> bytes = StoreBytes(rowBytes, rows);
    return bytes && (*bytes <= kAlwaysAllowedBytes || *bytes / mostPerByte <= fileBytes);
}

}  // namespace kestr
