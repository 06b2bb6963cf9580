#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

namespace kestr {

/// t[i] = int(i * weight * 256 + 0.5): a channel's share of the luminance, in 1/256 of a level.
constexpr std::array<uint32_t, 256> MakeLuminanceTable(double weight) {
    std::array<uint32_t, 256> table{};
    for (size_t i = 0; i < table.size(); ++i) {
        table[i] = static_cast<uint32_t>(static_cast<double>(i) * weight * 256 + 0.5);
    }
    return table;
}
inline constexpr auto kLuminanceRed = MakeLuminanceTable(0.30);
inline constexpr auto kLuminanceGreen = MakeLuminanceTable(0.59);
inline constexpr auto kLuminanceBlue = MakeLuminanceTable(0.11);
static_assert(kLuminanceRed[255] == 19584);
static_assert(kLuminanceGreen[255] == 38515);
static_assert(kLuminanceBlue[255] == 7181);

/// Luminance in 1/256 of a level, 0..65280.
constexpr uint32_t LuminanceSum(uint8_t red, uint8_t green, uint8_t blue) {
    return kLuminanceRed[red] + kLuminanceGreen[green] + kLuminanceBlue[blue];
}

/// Luminance of an 8-bit colour, 0..255, rounded down.
constexpr uint8_t Luminance(uint8_t red, uint8_t green, uint8_t blue) {
    return static_cast<uint8_t>(LuminanceSum(red, green, blue) >> 8);
}
static_assert(Luminance(255, 255, 255) == 255);

}  // namespace kestr
