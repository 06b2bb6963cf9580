#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>

#include "base/bitmap_info.h"

namespace kestr {

/// The 16 colours of a picture of 4 bits that brings none.
inline constexpr std::array<CRGBQuad, 16> kStandardPalette16{{
    {0, 0, 0},
    {0, 191, 0},
    {0, 0, 191},
    {0, 191, 191},
    {191, 0, 0},
    {191, 191, 0},
    {191, 0, 191},
    {192, 192, 192},
    {128, 128, 128},
    {255, 0, 0},
    {0, 255, 0},
    {0, 0, 255},
    {0, 255, 255},
    {255, 255, 0},
    {255, 0, 255},
    {255, 255, 255},
}};

/// A cube of 6 x 6 x 6 colours: entry 36 r + 6 g + b, steps of 51.
constexpr std::array<CRGBQuad, 216> MakeColourCube() {
    std::array<CRGBQuad, 216> cube{};
    for (size_t i = 0; i < cube.size(); ++i) {
        cube[i] = {static_cast<uint8_t>(i % 6 * 51), static_cast<uint8_t>(i / 6 % 6 * 51),
                   static_cast<uint8_t>(i / 36 * 51)};
    }
    return cube;
}
inline constexpr auto kStandardPalette216 = MakeColourCube();

/// The standard palette of 4 or 8 bits a pixel; empty for others.
constexpr std::span<const CRGBQuad> StandardPalette(int bitCount) {
    switch (bitCount) {
        case 4:
            return kStandardPalette16;
        case 8:
            return kStandardPalette216;
        default:
            return {};
    }
}

}  // namespace kestr
