#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

#include "base/bitmap_info.h"

namespace kestr {

/// Maps colours onto a palette, with the errors diffused if wanted. Colours that agree in the top
/// six bits of each channel share the answer that the first of them got.
class ColorMapper {
public:
    /// A palette of up to 256 entries, and how wide rows are.
    ColorMapper(std::span<const CRGBQuad> palette, size_t width, bool dither);

    /// Maps a picture row by row in the order of memory. `loadRow(y, row)` writes the pixels of a
    /// row as blue, green, red; `storeRow(y, indices)` takes their indices.
    template <typename LoadRow, typename StoreRow>
    void Map(int32_t height, const LoadRow& loadRow, const StoreRow& storeRow) {
        std::vector<uint8_t> pixels(3 * m_width);
        std::vector<uint8_t> indices(m_width);
        const auto load = [&](int32_t y) {
            loadRow(y, pixels.data());
            LoadHeld(pixels.data());
        };
        if (height > 0) load(0);
        for (int32_t y = 0; y < height; ++y) {
            m_current.swap(m_next);
            if (y + 1 < height) load(y + 1);
            const bool forward = y % 2 == 0;
            if (m_dither) {
                MapRow<true>(forward, indices.data());
            } else {
                MapRow<false>(forward, indices.data());
            }
            for (uint8_t& index : indices) index = Settled(index);
            storeRow(y, indices.data());
        }
    }

private:
    static constexpr uint16_t kUnknown = 65535;

    void LoadHeld(const uint8_t* pixels);
    template <bool kDither>
    void MapRow(bool forward, uint8_t* indices);

    uint8_t Find(uint32_t blue, uint32_t green, uint32_t red) {
        uint16_t& answer = m_cache[((red & 252) * 64 | (green & 252)) * 16 | blue >> 2];
        if (answer == kUnknown) answer = FindNearest(blue, green, red);
        return static_cast<uint8_t>(answer);
    }
    uint16_t FindNearest(uint32_t blue, uint32_t green, uint32_t red) const;

    /// What a row is written with: the answer to the palette's own colour, which may be another
    /// than its index when a colour of the same cell came first.
    uint8_t Settled(uint8_t index) {
        uint16_t& answer = m_settled[index];
        if (answer == kUnknown) {
            const CRGBQuad entry = m_palette[index];
            answer = Find(entry.rgbBlue, entry.rgbGreen, entry.rgbRed);
        }
        return static_cast<uint8_t>(answer);
    }

    const size_t m_width;
    const bool m_dither;
    size_t m_count;  // entries of the palette
    std::array<CRGBQuad, 256> m_palette{};
    std::array<std::array<int32_t, 256>, 3> m_channels{};  // the palette, channel by channel
    std::vector<uint16_t> m_cache;
    std::array<uint16_t, 256> m_settled;
    // Sixteenths of levels, blue, green, red, with a pixel of margin on each side.
    std::vector<int32_t> m_current;
    std::vector<int32_t> m_next;  // the row that follows in memory
};

}  // namespace kestr
