#pragma once

#include <array>
#include <cstdint>

#include "image/image_bits.h"

namespace kestr {

/// How often each level of 8 bits occurs.
struct CHistogram {
    using CTable = std::array<uint32_t, 256>;
    CTable combined{};
    CTable red{};
    CTable green{};
    CTable blue{};
};

/// Counts the pixels of the 8-bit store. With `luminance` the combined table counts the luminance
/// of each pixel, else each of its three channels.
[[nodiscard]] CHistogram CountLevels(const CImageBits& image, bool luminance);

/// The same for as many pixels as the valid rectangle has: the rows of its numbers as they lie in
/// memory, bottom row first, from their first pixel on.
[[nodiscard]] CHistogram CountLevelsInOpRect(const CImageBits& image, bool luminance);

}  // namespace kestr
