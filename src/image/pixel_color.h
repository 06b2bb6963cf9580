#pragma once

#include <cstdint>
#include <optional>

namespace kestr {

class CImageBits;

/// 0 to 65535 of an image with a 16-bit store, else 0 to 255.
struct CPixelColor {
    uint16_t red = 0;
    uint16_t green = 0;
    uint16_t blue = 0;
};

/// The colour at x, y, counted from the top left corner; none outside the picture.
[[nodiscard]] std::optional<CPixelColor> ReadPixel(const CImageBits& image, int32_t x, int32_t y);

}  // namespace kestr
