#pragma once

#include <cstdint>

#include "ops/pixel_view.h"

namespace kestr {

/// Fills `destination` with `source` resampled by a filter, methods 3 to 7 of resample_kernels.h:
/// rows first, then columns, in 1/16384 with truncation. Both have the same channels, at least one
/// pixel, and share no memory.
void ResampleFiltered(const CPixelView<const uint8_t>& source,
                      const CPixelView<uint8_t>& destination, int method);
void ResampleFiltered(const CPixelView<const uint16_t>& source,
                      const CPixelView<uint16_t>& destination, int method);

}  // namespace kestr
