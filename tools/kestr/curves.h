// How often each level occurs, and four curves of that.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <vector>

#include <kestr/kestr.h>

namespace tool {

struct CCurve {
    const char* name;
    const char* svgColour;
    std::array<uint8_t, 3> bgr;
    std::array<uint32_t, 256> counts{};
};

/// Luminance, red, green and blue.
using CCurves = std::array<CCurve, 4>;

/// Counts the loaded picture.
[[nodiscard]] CCurves CountLevels(HKESTRSESSION session);

/// The height of a count in a drawing. The tallest fill it; the ends, where clipped pixels gather,
/// may be cut off by it.
class CCurveScale {
public:
    CCurveScale(const CCurves& curves, int height);
    /// 0 to the drawing's height - 1.
    [[nodiscard]] int Height(uint32_t count) const;

private:
    int m_height;
    uint32_t m_most = 0;
};

/// The curves on white: blue, green and red of each pixel, top row first, without padding. Where
/// they meet, the later one hides the earlier.
[[nodiscard]] std::vector<uint8_t> DrawCurves(const CCurves& curves, int width, int height);

}  // namespace tool
