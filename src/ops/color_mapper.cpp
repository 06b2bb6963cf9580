#include "ops/color_mapper.h"

#include <limits>

namespace kestr {
namespace {

constexpr size_t kCacheCells = size_t{1} << 18;
constexpr int32_t kMostHeld = 255 * 16;

int32_t ClipHeld(int32_t held) {
    return std::clamp(held, 0, kMostHeld);
}

}  // namespace

ColorMapper::ColorMapper(std::span<const CRGBQuad> palette, size_t width, bool dither)
    : m_width(width),
      m_dither(dither),
      m_count(std::min<size_t>(palette.size(), 256)),
      m_cache(kCacheCells, kUnknown),
      m_current(3 * (width + 2)),
      m_next(3 * (width + 2)) {
    m_settled.fill(kUnknown);
    for (size_t i = 0; i < m_count; ++i) {
        m_palette[i] = palette[i];
        m_channels[0][i] = palette[i].rgbBlue;
        m_channels[1][i] = palette[i].rgbGreen;
        m_channels[2][i] = palette[i].rgbRed;
    }
}

void ColorMapper::LoadHeld(const uint8_t* pixels) {
    int32_t* held = m_next.data() + 3;
    for (size_t i = 0; i < 3 * m_width; ++i) held[i] = pixels[i] * 16;
}

/// The entry of the least squared distance, the first of equals.
uint16_t ColorMapper::FindNearest(uint32_t blue, uint32_t green, uint32_t red) const {
    std::array<int32_t, 256> distances;
    int32_t least = std::numeric_limits<int32_t>::max();
    for (size_t i = 0; i < m_count; ++i) {
        const int32_t b = m_channels[0][i] - static_cast<int32_t>(blue);
        const int32_t g = m_channels[1][i] - static_cast<int32_t>(green);
        const int32_t r = m_channels[2][i] - static_cast<int32_t>(red);
        distances[i] = b * b + g * g + r * r;
        least = std::min(least, distances[i]);
    }
    const auto found = std::find(distances.begin(), distances.begin() + m_count, least);
    return static_cast<uint16_t>(found - distances.begin());
}

/// Shares of a pixel's error: 7 to the next pixel, 5 below, 3 below and behind, the rest below and
/// ahead. What a cell of the row below receives stays at hand until the walk has passed it.
template <bool kDither>
void ColorMapper::MapRow(bool forward, uint8_t* indices) {
    const ptrdiff_t step = forward ? 3 : -3;
    size_t x = forward ? 0 : m_width - 1;
    const int32_t* held = m_current.data() + 3 * (x + 1);
    int32_t* below = m_next.data() + 3 * (x + 1);
    std::array<int32_t, 3> value{};   // of the pixel in work
    std::array<int32_t, 3> behind{};  // cells below
    std::array<int32_t, 3> under{};
    for (size_t c = 0; c < 3; ++c) {
        value[c] = held[c];
        under[c] = below[c];
    }
    for (size_t left = m_width; left > 0; --left, held += step, below += step) {
        std::array<uint32_t, 3> level{};
        for (size_t c = 0; c < 3; ++c) {
            level[c] = static_cast<uint32_t>(std::clamp(value[c] >> 4, 0, 255));
        }
        const uint8_t index = Find(level[0], level[1], level[2]);
        indices[x] = index;
        x = forward ? x + 1 : x - 1;
        for (size_t c = 0; c < 3; ++c) {
            const int32_t next = held[step + static_cast<ptrdiff_t>(c)];
            if constexpr (kDither) {
                const int32_t error = value[c] - 16 * m_channels[c][index];
                const int32_t share = error / 16;
                const int32_t rest = error - 15 * share;
                value[c] = ClipHeld(next + 7 * share);
                below[static_cast<ptrdiff_t>(c) - step] = ClipHeld(behind[c] + 3 * share);
                behind[c] = ClipHeld(under[c] + 5 * share);
                // Only a positive rest goes on, and it is not clipped.
                under[c] = below[static_cast<ptrdiff_t>(c) + step] + std::max(rest, 0);
            } else {
                value[c] = next;
            }
        }
    }
    if constexpr (kDither) {
        for (size_t c = 0; c < 3; ++c) below[static_cast<ptrdiff_t>(c) - step] = behind[c];
    }
}
template void ColorMapper::MapRow<false>(bool forward, uint8_t* indices);
template void ColorMapper::MapRow<true>(bool forward, uint8_t* indices);

}  // namespace kestr
