// The point and bilinear sampler.
#pragma once

#include <cstdint>

#include "base/bitmap_info.h"
#include "base/pixel_buffer.h"
#include "ops/pixel_view.h"

namespace kestr {

/// Fills `destination` by single pixels of `source`. Both have the same channels.
void SamplePoints(const CPixelView<const uint8_t>& source, const CPixelView<uint8_t>& destination);
void SamplePoints(const CPixelView<const uint16_t>& source,
                  const CPixelView<uint16_t>& destination);
/// The same for an 8-bit store of any format, whose format and palette the result keeps.
void SamplePoints(CPixelBytes& pixels, const CBitmapInfo& info, CPixelBytes& scaled,
                  const CBitmapInfo& scaledInfo);

/// Fills `destination` by straight interpolation between four pixels of `source`, in double
/// precision. Both have the same channels.
void SampleBilinear(const CPixelView<const uint8_t>& source,
                    const CPixelView<uint8_t>& destination);
void SampleBilinear(const CPixelView<const uint16_t>& source,
                    const CPixelView<uint16_t>& destination);

}  // namespace kestr
