#pragma once

#include <cstdint>

namespace kestr {

/// Tells which colours count as an image's transparent colour: those no farther from it than the
/// tolerance, in tenths of a percent of the largest distance between two colours.
class CColourKey {
public:
    /// `colour` has red in the low byte.
    constexpr CColourKey(uint32_t colour, uint16_t tolerance)
        : m_red(static_cast<int>(colour & 0xFF)),
          m_green(static_cast<int>(colour >> 8 & 0xFF)),
          m_blue(static_cast<int>(colour >> 16 & 0xFF)) {
        const int radius = kLargestDistance * tolerance / 1000;
        m_limit = radius * radius;  // at most 28901 squared
    }
    [[nodiscard]] constexpr bool Matches(uint8_t blue, uint8_t green, uint8_t red) const {
        const int b = blue - m_blue;
        const int g = green - m_green;
        const int r = red - m_red;
        return b * b + g * g + r * r <= m_limit;
    }

private:
    static constexpr int kLargestDistance = 441;  // root of 3 x 255 x 255, truncated

    int m_red;
    int m_green;
    int m_blue;
    int m_limit = 0;
};
static_assert(CColourKey(0x0000FF, 0).Matches(0, 0, 255));
static_assert(!CColourKey(0x0000FF, 0).Matches(0, 0, 254));
static_assert(CColourKey(0x000000, 1000).Matches(254, 254, 254));

}  // namespace kestr
