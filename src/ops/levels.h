#pragma once

#include <array>
#include <cstdint>

#include "image/image_bits.h"

namespace kestr {

/// Levels of one channel: what becomes black, middle gray and white.
struct CLevelBytes {
    uint8_t low = 0;
    uint8_t mid = 0;
    uint8_t high = 255;

    friend bool operator==(const CLevelBytes&, const CLevelBytes&) = default;
};

/// Stretches the whole picture, red, green and blue each by its levels. In a 16-bit store a level
/// stands for 256 times itself. With `levelsGamma` 0 the middle levels make the curve, else it
/// does.
void ApplyLevels(CImageBits& image, const std::array<CLevelBytes, 3>& redGreenBlue,
                 double levelsGamma);

}  // namespace kestr
