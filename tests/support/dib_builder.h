#pragma once

#include <cstdint>
#include <vector>

namespace kestr::test {

/// Builds bitmap files byte by byte, right ones and wrong ones: every field of the headers can be
/// made to lie.
class CDIBBuilder {
public:
    CDIBBuilder& Core() { return m_core = true, *this; }
    CDIBBuilder& HeaderSize(uint32_t size) { return m_headerSize = size, *this; }
    CDIBBuilder& Size(int32_t width, int32_t height) {
        m_width = width, m_height = height;
        return *this;
    }
    CDIBBuilder& Planes(uint16_t planes) { return m_planes = planes, *this; }
    CDIBBuilder& Bits(uint16_t bits) { return m_bits = bits, *this; }
    CDIBBuilder& Compression(uint32_t compression) { return m_compression = compression, *this; }
    CDIBBuilder& PelsPerMeter(int32_t x, int32_t y) {
        m_xPels = x, m_yPels = y;
        return *this;
    }
    CDIBBuilder& ColorsUsed(uint32_t colors) { return m_colorsUsed = colors, *this; }
    /// Masks of red, green and blue behind the 40 bytes of the header.
    CDIBBuilder& Masks(uint32_t red, uint32_t green, uint32_t blue) {
        m_masks = {red, green, blue};
        return *this;
    }
    /// Entries as blue, green, red; written as three or four bytes as the header asks.
    CDIBBuilder& Palette(std::vector<std::vector<uint8_t>> entries) {
        m_palette = std::move(entries);
        return *this;
    }
    /// The bytes behind the palette.
    CDIBBuilder& Pixels(std::vector<uint8_t> pixels) { return m_pixels = std::move(pixels), *this; }
    CDIBBuilder& PixelOffset(uint32_t offset) {
        m_pixelOffset = offset, m_offsetStated = true;
        return *this;
    }

    /// Header, masks and palette without the 14 bytes of the file header, as in memory.
    [[nodiscard]] std::vector<uint8_t> Header() const;
    [[nodiscard]] std::vector<uint8_t> File() const;

private:
    bool m_core = false;
    uint32_t m_headerSize = 40;
    int32_t m_width = 1;
    int32_t m_height = 1;
    uint16_t m_planes = 1;
    uint16_t m_bits = 24;
    uint32_t m_compression = 0;
    int32_t m_xPels = 0;
    int32_t m_yPels = 0;
    uint32_t m_colorsUsed = 0;
    std::vector<uint32_t> m_masks;
    std::vector<std::vector<uint8_t>> m_palette;
    std::vector<uint8_t> m_pixels;
    uint32_t m_pixelOffset = 0;
    bool m_offsetStated = false;
};

}  // namespace kestr::test
