// Rows of formats that keep each colour in a plane of its own, and back.
#pragma once

#include <cstddef>
#include <cstdint>

namespace kestr {

/// Writes `pixels` pixels in the order blue, green, red from a row of each plane.
void JoinPlanes(const uint8_t* red, const uint8_t* green, const uint8_t* blue, size_t pixels,
                uint8_t* bgr);

/// Writes one channel of `pixels` pixels of three bytes; `first` is its byte of the first pixel.
void TakeChannel(const uint8_t* first, size_t pixels, uint8_t* plane);

}  // namespace kestr
