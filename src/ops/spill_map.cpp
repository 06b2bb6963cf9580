#include "ops/spill_map.h"

#include <algorithm>
#include <array>
#include <limits>
#include <utility>

#include "ops/spill_clamp.h"
#include "platform/byte_lookup.h"
#include "platform/vector_clones.h"

namespace kestr {
namespace {

template <typename Sample>
constexpr int32_t kLimit = std::numeric_limits<Sample>::max();

constexpr size_t kBlockPixels = 16;
constexpr size_t kBlock = 3 * kBlockPixels;
using CPlane = std::array<int32_t, kBlockPixels>;

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

template <size_t kSamples = kBlock, typename Sample>
KESTR_INLINE bool IsOutside(const typename CSpillMap<Sample>::CParts& map, const Sample* samples) {
    Sample outside = map.none;
    for (size_t i = 0; i < kSamples; ++i) {
        outside |= static_cast<Sample>(samples[i] - map.least) > map.span ? 1 : 0;
    }
    return outside != 0;
}

template <typename Sample>
KESTR_INLINE void SpillBlock(const typename CSpillMap<Sample>::CParts& map, const Sample* from,
                             Sample* to) {
    CPlane blue;
    CPlane green;
    CPlane red;
    for (size_t i = 0; i < kBlockPixels; ++i) {
        blue[i] = map.table[from[3 * i]];
        green[i] = map.table[from[3 * i + 1]];
        red[i] = map.table[from[3 * i + 2]];
    }
    SpillClampPlanes(blue, green, red, kLimit<Sample>);
    for (size_t i = 0; i < kBlockPixels; ++i) {
        to[3 * i] = static_cast<Sample>(blue[i]);
        to[3 * i + 1] = static_cast<Sample>(green[i]);
        to[3 * i + 2] = static_cast<Sample>(red[i]);
    }
}

void MapLevels(const uint8_t* table, uint8_t* row, size_t count) {
    LookUpBytes(row, count, table);
}
void MapLevels(const uint16_t* table, uint16_t* row, size_t count) {
    for (size_t i = 0; i < count; ++i) row[i] = table[row[i]];
}

/// Maps whole blocks of colours.
KESTR_VECTOR_CLONES void MapBlocks(const CSpillMap<uint16_t>::CParts& map, uint16_t* row,
                                   size_t blocks) {
    for (; blocks != 0; --blocks, row += kBlock) {
        if (IsOutside(map, row)) {
            SpillBlock(map, row, row);
        } else {
            for (size_t i = 0; i < kBlock; ++i) row[i] = map.clipped[row[i]];
        }
    }
}

/// Does those blocks of a row of bytes again that had to be spilled where they were clipped.
KESTR_VECTOR_CLONES void SpillBlocks(const CSpillMap<uint8_t>::CParts& map, const uint8_t* before,
                                     uint8_t* row, size_t blocks) {
    while (blocks != 0) {
        constexpr size_t kGroup = 8;  // blocks that are looked at together
        if (blocks >= kGroup && !IsOutside<kGroup * kBlock>(map, before)) {
            blocks -= kGroup;
            before += kGroup * kBlock;
            row += kGroup * kBlock;
            continue;
        }
        const size_t end = blocks - std::min(blocks, kGroup);
        for (; blocks != end; --blocks, before += kBlock, row += kBlock) {
            if (IsOutside(map, before)) SpillBlock(map, before, row);
        }
    }
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
               .none = static_cast<Sample>(first == last ? 1 : 0)};
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
    const size_t count = pixels.RowSamples();
    const size_t blocks = pixels.channels == 3 ? count / kBlock : 0;
    [[maybe_unused]] std::vector<Sample> before(sizeof(Sample) == 1 ? blocks * kBlock : 0);
    for (int32_t y = 0; y < pixels.height; ++y) {
        Sample* const row = pixels.Row(y);
        if (pixels.channels != 3) {
            MapLevels(m_clipped.data(), row, count);
            continue;
        }
        if constexpr (sizeof(Sample) == 1) {
            std::copy_n(row, blocks * kBlock, before.begin());
            MapLevels(m_clipped.data(), row, blocks * kBlock);
            SpillBlocks(m_parts, before.data(), row, blocks);
        } else {
            MapBlocks(m_parts, row, blocks);
        }
        for (size_t i = blocks * kBlock; i < count; i += 3) Colour(row + i);
    }
}

template class CSpillMap<uint8_t>;
template class CSpillMap<uint16_t>;

}  // namespace kestr
