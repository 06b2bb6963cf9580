// The four places that a 2 x 2 cell of red, green and blue filters can begin at.
#pragma once

#include <array>
#include <cstdint>

#include "raw/raw_sensor_image.h"

namespace kestr {

/// CFilterColor codes of one cell, in reading order.
using CBayerCell = std::array<uint8_t, 4>;

inline constexpr CBayerCell kRGGB{kRed, kGreen, kGreen, kBlue};
inline constexpr CBayerCell kBGGR{kBlue, kGreen, kGreen, kRed};
inline constexpr CBayerCell kGRBG{kGreen, kRed, kBlue, kGreen};
inline constexpr CBayerCell kGBRG{kGreen, kBlue, kRed, kGreen};

}  // namespace kestr
