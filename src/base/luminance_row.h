#pragma once

#include <cstddef>
#include <cstdint>

namespace kestr {

/// The luminance of each pixel of a row of blue, green, red bytes, rounded down.
/// @param levels  room for `count` bytes.
void LuminanceOfRow(const uint8_t* pixels, size_t count, uint8_t* levels);

/// The same rounded to the nearest level, halves down.
void RoundedLuminanceOfRow(const uint8_t* pixels, size_t count, uint8_t* levels);

}  // namespace kestr
