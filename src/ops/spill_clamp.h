#pragma once

#include <cstdint>

namespace kestr {

struct CSpillColour {
    int32_t red = 0;
    int32_t green = 0;
    int32_t blue = 0;
};

/// Brings all channels into 0..limit by handing half of a channel's excess to each of the other
/// two, so that a colour driven out of range pales instead of changing its hue. Halves truncate
/// toward zero.
constexpr CSpillColour SpillClamp(CSpillColour colour, int32_t limit) {
    auto& [red, green, blue] = colour;
    const auto outside = [limit](int32_t channel) { return channel < 0 || channel > limit; };
    const auto spill = [limit](int32_t& channel, int32_t& other1, int32_t& other2) {
        const int32_t bound = channel < 0 ? 0 : limit;
        const int32_t half = (channel - bound) / 2;
        channel = bound;
        other1 += half;
        other2 += half;
    };
    while (outside(red) || outside(green) || outside(blue)) {
        if (blue <= 0 && green < 1 && red < 1) return {0, 0, 0};
        if (blue >= limit && green >= limit && red >= limit) return {limit, limit, limit};
        if (outside(blue)) spill(blue, green, red);
        if (outside(red)) spill(red, green, blue);
        if (outside(green)) spill(green, blue, red);
    }
    return colour;
}
static_assert(SpillClamp({300, 10, 10}, 255).red == 255);
static_assert(SpillClamp({300, 10, 10}, 255).blue == 32);

}  // namespace kestr
