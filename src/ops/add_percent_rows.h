#pragma once

#include <array>
#include <cstdint>

#include "ops/pixel_view.h"

namespace kestr {

/// Adds a percentage of itself to every sample, one percentage a channel (blue, green, red; one
/// channel takes the first), and clips to the sample's range.
void AddPercentClipped(const CPixelView<uint8_t>& pixels, const std::array<int, 3>& percents);
void AddPercentClipped(const CPixelView<uint16_t>& pixels, const std::array<int, 3>& percents);

}  // namespace kestr
