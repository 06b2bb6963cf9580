#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <vector>

#include "base/bitmap_info.h"

namespace kestr {

/// One box of the colour space. Axis 0 is blue, axis 1 green, axis 2 red, each in 32 buckets.
struct ColorBox {
    double variance = 0;                                  // 0: cannot be split any more
    std::array<double, 3> mean{};                         // of the box's pixels, in buckets
    uint32_t count = 0;                                   // pixels
    std::array<std::array<uint32_t, 32>, 3> histogram{};  // pixels per bucket of each axis
    std::array<int32_t, 3> low{};                         // bounds in buckets, high exclusive
    std::array<int32_t, 3> high{};
};

/// Finds a palette for a picture: the box of the largest variance is split until there are as many
/// boxes as colours wanted. It sees five bits of each channel.
class ColorQuantizer {
public:
    /// `pixelCount`: pixels of the picture, all of which AddRow() must have been given before a
    /// palette is asked for.
    explicit ColorQuantizer(uint32_t pixelCount);

    /// Pixels of blue, green, red; the order of rows does not matter.
    void AddRow(const uint8_t* pixels, size_t width);

    /// A palette of 256 entries: a ramp of `colours` grays for a gray picture, else up to that many
    /// colours; entries beyond stay black.
    std::vector<CRGBQuad> MakePalette(int32_t colours);

private:
    void MeasureBox(ColorBox& box) const;
    bool SplitBox(ColorBox& box, ColorBox& second) const;
    bool SplitAxis(const ColorBox& box, size_t axis, ColorBox& left, ColorBox& right) const;
    void RebuildHalves(ColorBox& left, ColorBox& right) const;

    uint32_t m_pixelCount;
    std::vector<uint32_t> m_cells;  // pixels by blue, green and red bucket
    std::vector<ColorBox> m_boxes;
    bool m_allGray = true;
};

}  // namespace kestr
