#include "raw/rotated_grid.h"

#include <algorithm>
#include <cmath>
#include <utility>

namespace kestr {

void TurnGridUpright(CRawSamples& samples, uint32_t fujiWidth, uint32_t wide, uint32_t high) {
    constexpr int kColors = 3;
    const double step = std::sqrt(0.5);
    CRawSamples upright(wide, high, kColors);
    upright.layoutChanged = true;
    // Places between -1 and 0 truncate to 0 and are extrapolated.
    const auto inside = [](double place, uint32_t size) {
        return size >= 2 && place > -1 && place < size - 1.0;
    };
    for (uint32_t y = 0; y < high; ++y) {
        uint16_t* to = upright.Row(y);
        for (uint32_t x = 0; x < wide; ++x, to += kColors) {
            const double r = fujiWidth + (static_cast<double>(y) - x) * step;
            const double c = (static_cast<double>(y) + x) * step + 2.0;
            if (!inside(r, samples.height) || !inside(c, samples.width)) continue;
            const auto row = static_cast<uint32_t>(r), column = static_cast<uint32_t>(c);
            const double fr = r - row, fc = c - column;
            const uint16_t* above = samples.Pixel(row, column);
            const uint16_t* below = above + samples.RowSamples();
            for (int i = 0; i < kColors; ++i) {
                const double value = (above[i] * (1 - fc) + above[i + kColors] * fc) * (1 - fr) +
                                     (below[i] * (1 - fc) + below[i + kColors] * fc) * fr;
                to[i] = static_cast<uint16_t>(std::clamp(value, 0.0, 65535.0));
            }
        }
    }
    samples = std::move(upright);
}

}  // namespace kestr
