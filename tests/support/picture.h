#pragma once

#include <array>
#include <cstdint>
#include <functional>
#include <memory>

#include "image/image_bits.h"

namespace kestr::test {

/// Blue, green and red of the pixel at column x and row y, counted from the top left corner.
using CColourAt = std::function<std::array<uint8_t, 3>(int x, int y)>;
/// A palette index, or a level.
using CIndexAt = std::function<uint8_t(int x, int y)>;
/// One sample of 16 bits.
using CSampleAt = std::function<uint16_t(int x, int y, int channel)>;

/// A loaded picture of 24 bits a pixel.
std::unique_ptr<CImageBits> Picture24(int width, int height, const CColourAt& colour);
/// A loaded picture of 1, 4 or 8 bits a pixel with the identity palette (for 1 bit black and white,
/// for 4 bits steps of 17).
std::unique_ptr<CImageBits> PicturePalette(int bitCount, int width, int height,
                                           const CIndexAt& index);
/// A loaded picture with both stores, one or three channels.
std::unique_ptr<CImageBits> Picture16(int channels, int width, int height, const CSampleAt& sample);

/// Blue, green and red of a pixel of the 8-bit store, through the palette.
std::array<uint8_t, 3> ColourOf(const CImageBits& image, int x, int y);
/// Index or level of a pixel of the 8-bit store of 1, 4 or 8 bits.
uint8_t IndexOf(const CImageBits& image, int x, int y);

/// Numbers that look random and are the same everywhere.
class CNoise {
public:
    explicit CNoise(uint32_t seed) : m_state(seed * 2654435761u + 1) {}
    uint32_t operator()() {
        m_state ^= m_state << 13;
        m_state ^= m_state >> 17;
        m_state ^= m_state << 5;
        return m_state;
    }
    uint8_t Byte() { return static_cast<uint8_t>((*this)() >> 11); }
    uint16_t Word() { return static_cast<uint16_t>((*this)() >> 9); }

private:
    uint32_t m_state;
};

}  // namespace kestr::test
