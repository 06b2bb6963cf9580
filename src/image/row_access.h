// Pixels of the 8-bit store as writers want them: whole rows, whatever the depth.
#pragma once

#include <cstddef>
#include <cstdint>

#include "image/image_bits.h"

namespace kestr {

/// Writes the palette indices of a row of 1, 4 or 8 bits a pixel, one byte each, left to right.
void UnpackIndices(const uint8_t* row, int bitCount, size_t width, uint8_t* indices);

/// Writes a row of any depth as three bytes a pixel in the order red, green, blue.
void RowToRGB(const CImageBits& image, const uint8_t* row, uint8_t* rgb);

}  // namespace kestr
