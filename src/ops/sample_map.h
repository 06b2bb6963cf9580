#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

#include "ops/pixel_view.h"

namespace kestr {

/// One output level for each level of a sample.
using CByteMap = std::array<uint8_t, 256>;

/// The same for samples of 16 bits, which may share an entry among 2 ^ shift neighbours.
struct CWordMap {
    std::vector<uint16_t> entries;
    int shift = 0;
};

/// Looks every sample up, one map a channel (blue, green, red; one channel takes the first).
void MapSamples(const CPixelView<uint8_t>& pixels, const std::array<const CByteMap*, 3>& maps);
void MapSamples(const CPixelView<uint16_t>& pixels, const std::array<const CWordMap*, 3>& maps);

/// Looks the channels of every palette entry in use up.
void MapPalette(CBitmapInfo& info, const std::array<const CByteMap*, 3>& maps);

}  // namespace kestr
