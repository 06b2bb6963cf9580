#include "ops/spill_map.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <limits>
#include <type_traits>
#include <utility>

#include "ops/spill_clamp.h"
#include "platform/vector_clones.h"

namespace kestr {
namespace {

template <typename Sample>
constexpr int32_t kLimit = std::numeric_limits<Sample>::max();

constexpr size_t kBlockPixels = 16;
constexpr size_t kBlock = 3 * kBlockPixels;
using CPlane = std::array<int32_t, kBlockPixels>;

/// Exact for the rest of a percentage (0 to 99 hundredths, as 65536ths rounded up) and distances up
/// to 511: the error stays below a hundredth.
template <typename Scale>
KESTR_INLINE uint16_t Calculate(uint8_t level, const Scale& scale) {
    const auto difference = static_cast<int16_t>(level - scale.centre);
    const auto distance = static_cast<uint16_t>(difference < 0 ? -difference : difference);
    const auto part =
        static_cast<uint16_t>(distance * scale.whole + (uint32_t{distance} * scale.fraction >> 16));
    return static_cast<uint16_t>(difference < 0 ? scale.centre - part : scale.centre + part);
}

/// One step of the spill clamp: what is beyond the range is halved and handed on. Nothing happens
/// to a channel within it.
KESTR_INLINE void Spill(int32_t& channel, int32_t& other1, int32_t& other2, int32_t limit) {
    const int32_t bound = std::min(std::max(channel, 0), limit);
    const int32_t half = (channel - bound) / 2;
    channel = bound;
    other1 += half;
    other2 += half;
}

/// The spill clamp of many colours: steps are repeated until none needs another, since they leave
/// colours within the range alone.
KESTR_INLINE void SpillClampPlanes(CPlane& bluePlane, CPlane& greenPlane, CPlane& redPlane,
                                   int32_t limit) {
    int32_t outside = 1;
    while (outside != 0) {
        outside = 0;
        for (size_t i = 0; i < kBlockPixels; ++i) {
            int32_t blue = bluePlane[i];
            int32_t green = greenPlane[i];
            int32_t red = redPlane[i];
            const bool black = (blue <= 0) & (green <= 0) & (red <= 0);
            const bool white = (blue >= limit) & (green >= limit) & (red >= limit);
            Spill(blue, green, red, limit);
            Spill(red, green, blue, limit);
            Spill(green, blue, red, limit);
            blue = black ? 0 : white ? limit : blue;
            green = black ? 0 : white ? limit : green;
            red = black ? 0 : white ? limit : red;
            bluePlane[i] = blue;
            greenPlane[i] = green;
            redPlane[i] = red;
            // Negative, or above the limit, which is one less than a power of two.
            outside |= (blue | green | red) & ~limit;
        }
    }
}

template <typename Sample, typename Parts>
KESTR_INLINE void SpillBlock(const Parts& map, Sample* block) {
    CPlane blue;
    CPlane green;
    CPlane red;
    for (size_t i = 0; i < kBlockPixels; ++i) {
        blue[i] = map.table[block[3 * i]];
        green[i] = map.table[block[3 * i + 1]];
        red[i] = map.table[block[3 * i + 2]];
    }
    SpillClampPlanes(blue, green, red, kLimit<Sample>);
    for (size_t i = 0; i < kBlockPixels; ++i) {
        block[3 * i] = static_cast<Sample>(blue[i]);
        block[3 * i + 1] = static_cast<Sample>(green[i]);
        block[3 * i + 2] = static_cast<Sample>(red[i]);
    }
}

/// Maps whole blocks of colours, and tells how many pixels that were.
template <typename Sample, typename Parts>
KESTR_INLINE size_t MapBlocks(const Parts& map, Sample* row, size_t pixels) {
    const Parts parts = map;
    const size_t end = pixels / kBlockPixels * kBlockPixels;
    for (size_t done = 0; done < end; done += kBlockPixels) {
        Sample* const block = row + 3 * done;
        if constexpr (sizeof(Sample) == 1) {
            if (parts.calculate) {
                std::array<uint8_t, kBlock> values;
                uint16_t high = 0;
                for (size_t i = 0; i < kBlock; ++i) {
                    const uint16_t value = Calculate(block[i], parts.scale);
                    high |= value;
                    values[i] = static_cast<uint8_t>(value);
                }
                if (high > 255) {
                    SpillBlock(parts, block);
                } else {
                    std::memcpy(block, values.data(), kBlock);
                }
                continue;
            }
        }
        Sample outside = parts.none;
        for (size_t i = 0; i < kBlock; ++i) {
            outside |= static_cast<Sample>(block[i] - parts.least) > parts.span ? 1 : 0;
        }
        if (outside != 0) {
            SpillBlock(parts, block);
        } else {
            for (size_t i = 0; i < kBlock; ++i) block[i] = parts.clipped[block[i]];
        }
    }
    return end;
}

KESTR_VECTOR_CLONES size_t MapColours(const CSpillMap<uint8_t>::CParts& map, uint8_t* row,
                                      size_t pixels) {
    return MapBlocks(map, row, pixels);
}
KESTR_VECTOR_CLONES size_t MapColours(const CSpillMap<uint16_t>::CParts& map, uint16_t* row,
                                      size_t pixels) {
    return MapBlocks(map, row, pixels);
}

}  // namespace

template <typename Sample>
CSpillMap<Sample>::CSpillMap(std::vector<int32_t> table)
    : m_table(std::move(table)), m_clipped(m_table.size()) {
    const auto inside = [](int32_t value) { return value >= 0 && value <= kLimit<Sample>; };
    std::ranges::transform(m_table, m_clipped.begin(), [](int32_t value) {
        return static_cast<Sample>(std::clamp(value, 0, kLimit<Sample>));
    });
    const auto first = std::ranges::find_if(m_table, inside);
    const auto last = std::find_if_not(first, m_table.end(), inside);
    m_parts = {.table = m_table.data(),
               .clipped = m_clipped.data(),
               .least = static_cast<Sample>(first - m_table.begin()),
               .span = static_cast<Sample>(first == last ? 0 : last - first - 1),
               .none = static_cast<Sample>(first == last ? 1 : 0),
               .calculate = false,
               .scale = {}};
}

template <typename Sample>
CSpillMap<Sample>::CSpillMap(std::vector<int32_t> table, int32_t centre, int32_t percent)
    : CSpillMap(std::move(table)) {
    if (sizeof(Sample) > 1 || percent < 0 || centre < -255 || centre > 255) return;
    m_parts.scale = {static_cast<int16_t>(centre), static_cast<uint16_t>(percent / 100),
                     static_cast<uint16_t>((percent % 100 * 65536 + 99) / 100)};
    m_parts.calculate = true;
    for (size_t level = 0; level < m_table.size(); ++level) {
        const uint16_t value = Calculate(static_cast<uint8_t>(level), m_parts.scale);
        const bool fits = value == m_table[level];
        const bool bothOutside = value > 255 && (m_table[level] < 0 || m_table[level] > 255);
        m_parts.calculate = m_parts.calculate && (fits || bothOutside);
    }
}

template <typename Sample>
void CSpillMap<Sample>::Colour(Sample* pixel) const {
    const CSpillColour colour = SpillClamp(
        {.red = m_table[pixel[2]], .green = m_table[pixel[1]], .blue = m_table[pixel[0]]},
        kLimit<Sample>);
    pixel[0] = static_cast<Sample>(colour.blue);
    pixel[1] = static_cast<Sample>(colour.green);
    pixel[2] = static_cast<Sample>(colour.red);
}

template <typename Sample>
void CSpillMap<Sample>::Map(const CPixelView<Sample>& pixels) const {
    for (int32_t y = 0; y < pixels.height; ++y) {
        Sample* const row = pixels.Row(y);
        if (pixels.channels == 3) {
            const auto width = static_cast<size_t>(pixels.width);
            for (size_t x = MapColours(m_parts, row, width); x < width; ++x) Colour(row + 3 * x);
        } else {
            for (size_t i = 0; i < pixels.RowSamples(); ++i) row[i] = Level(row[i]);
        }
    }
}

template class CSpillMap<uint8_t>;
template class CSpillMap<uint16_t>;

}  // namespace kestr
