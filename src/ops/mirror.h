#pragma once

#include <cstdint>

#include "ops/pixel_view.h"

namespace kestr {

/// Exchanges the pixels of each row, left to right.
void MirrorPixels(const CPixelView<uint8_t>& view);
void MirrorPixels(const CPixelView<uint16_t>& view);
/// The same for one row of 1 or 4 bits a pixel.
void MirrorPackedRow(uint8_t* row, int bitCount, int32_t width);

}  // namespace kestr
