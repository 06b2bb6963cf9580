#include "ops/spill_map.h"

#include <algorithm>
#include <array>
#include <limits>
#include <utility>

#include "ops/spill_clamp.h"
#include "platform/byte_lookup.h"
#include "platform/triple_planes.h"
#include "platform/vector_clones.h"
#include "platform/wide_vectors.h"

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

KESTR_INLINE_LOOP void SpillWord(int16_t& channel, int16_t& other1, int16_t& other2,
                                 int16_t limit) {
    const int16_t bound = std::min(std::max(channel, int16_t{0}), limit);
    // Each step in 16 bits: vectors of words stay vectors of words.
    const auto excess = static_cast<int16_t>(channel - bound);
    const auto towardZero = static_cast<int16_t>(excess + (static_cast<uint16_t>(excess) >> 15));
    const auto half = static_cast<int16_t>(towardZero >> 1);
    channel = bound;
    other1 = static_cast<int16_t>(other1 + half);
    other2 = static_cast<int16_t>(other2 + half);
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

/// Whether a sample among some gets a value outside its range.
template <typename Sample>
KESTR_INLINE bool IsOutside(const typename CSpillMap<Sample>::CParts& map, const Sample* samples,
                            size_t count) {
    Sample outside = map.none;
    for (size_t i = 0; i < count; ++i) {
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
template <typename Sample>
KESTR_INLINE void MapEachBlock(const typename CSpillMap<Sample>::CParts& map, Sample* row,
                               size_t blocks) {
    for (; blocks != 0; --blocks, row += kBlock) {
        if (IsOutside(map, row, kBlock)) {
            SpillBlock(map, row, row);
        } else {
            for (size_t i = 0; i < kBlock; ++i) row[i] = map.clipped[row[i]];
        }
    }
}
KESTR_VECTOR_CLONES void MapBlocks(const CSpillMap<uint16_t>::CParts& map, uint16_t* row,
                                   size_t blocks) {
    MapEachBlock(map, row, blocks);
}
KESTR_VECTOR_CLONES void MapBlocks(const CSpillMap<uint8_t>::CParts& map, uint8_t* row,
                                   size_t blocks) {
    MapEachBlock(map, row, blocks);
}

// Bytes whose values are near their range take a quicker way: words suffice for all sums, and the
// table is looked up in vectors, its low bytes alone, since the level tells the high one.

constexpr size_t kChunkPixels = 1024;
constexpr size_t kGroupPixels = 64;

/// Channels of a chunk of pixels, a plane each.
struct CChunk {
    using CPlanes = std::array<std::array<uint8_t, kChunkPixels>, 3>;
    alignas(64) CPlanes levels{};
    alignas(64) CPlanes values{};  // the low bytes; then what is stored
};

/// Calculates the colours of a group that has values outside the range.
KESTR_INLINE_LOOP void SpillGroup(const CSpillMap<uint8_t>::CParts& map, CChunk& chunk,
                                  size_t start) {
    constexpr int16_t kMost = kLimit<uint8_t>;
    alignas(64) std::array<std::array<int16_t, kGroupPixels>, 3> colours;
    for (size_t c = 0; c < 3; ++c) {
        const uint8_t* const levels = chunk.levels[c].data() + start;
        const uint8_t* const values = chunk.values[c].data() + start;
        for (size_t i = 0; i < kGroupPixels; ++i) {
            const uint8_t above = static_cast<uint8_t>(levels[i] - map.least) > map.span ? 1 : 0;
            const uint8_t high = levels[i] < map.least ? 0xff : above;
            colours[c][i] = static_cast<int16_t>(values[i] | high << 8);
        }
    }
    auto& [blues, greens, reds] = colours;
    // Colours that are wholly at or beyond one end stay there whatever is handed on, so that the
    // clip at the end makes them black or white.
    int16_t unsettled = 1;
    while (unsettled != 0) {
        unsettled = 0;
        for (size_t i = 0; i < kGroupPixels; ++i) {
            int16_t blue = blues[i];
            int16_t green = greens[i];
            int16_t red = reds[i];
            SpillWord(blue, green, red, kMost);
            SpillWord(red, green, blue, kMost);
            SpillWord(green, blue, red, kMost);
            blues[i] = blue;
            greens[i] = green;
            reds[i] = red;
            const int16_t least = std::min(std::min(blue, green), red);
            const int16_t greatest = std::max(std::max(blue, green), red);
            const bool isOutside = (least < 0) | (greatest > kMost);
            const bool isMixed = (least < kMost) & (greatest > 0);
            unsettled |= static_cast<int16_t>((isOutside & isMixed) ? 1 : 0);
        }
    }
    for (size_t c = 0; c < 3; ++c) {
        uint8_t* const values = chunk.values[c].data() + start;
        for (size_t i = 0; i < kGroupPixels; ++i) {
            const int16_t value = std::max(colours[c][i], int16_t{0});
            values[i] = static_cast<uint8_t>(std::min(value, kMost));
        }
    }
}

KESTR_INLINE_LOOP void SpillGroups(const CSpillMap<uint8_t>::CParts& map, CChunk& chunk,
                                   size_t pixels) {
    for (size_t start = 0; start < pixels; start += kGroupPixels) {
        bool outside = false;
        for (const auto& plane : chunk.levels) {
            outside |= IsOutside(map, plane.data() + start, kGroupPixels);
        }
        if (outside) SpillGroup(map, chunk, start);
    }
}
void SpillGroupsPlain(const CSpillMap<uint8_t>::CParts& map, CChunk& chunk, size_t pixels) {
    SpillGroups(map, chunk, pixels);
}
KESTR_WIDE_VECTORS void SpillGroupsWide(const CSpillMap<uint8_t>::CParts& map, CChunk& chunk,
                                        size_t pixels) {
    SpillGroups(map, chunk, pixels);
}
KESTR_WIDEST_VECTORS void SpillGroupsWidest(const CSpillMap<uint8_t>::CParts& map, CChunk& chunk,
                                            size_t pixels) {
    SpillGroups(map, chunk, pixels);
}

KESTR_VECTOR_CLONES bool IsAnyOutside(const CSpillMap<uint8_t>::CParts& map, const uint8_t* samples,
                                      size_t count) {
    return IsOutside(map, samples, count);
}

void MapChunks(const CSpillMap<uint8_t>::CParts& map, const uint8_t* low,
               const CPixelView<uint8_t>& pixels) {
    const auto spillGroups = HasWidestVectors() ? &SpillGroupsWidest
                             : HasWideVectors() ? &SpillGroupsWide
                                                : &SpillGroupsPlain;
    const auto planesOf = [](auto& planes) {
        return std::array{planes[0].data(), planes[1].data(), planes[2].data()};
    };
    CChunk chunk;
    for (int32_t y = 0; y < pixels.height; ++y) {
        uint8_t* row = pixels.Row(y);
        for (auto left = static_cast<size_t>(pixels.width); left != 0;) {
            const size_t count = std::min(left, kChunkPixels);
            if (IsAnyOutside(map, row, 3 * count)) {
                SplitTriples(row, count, planesOf(chunk.levels));
                chunk.values = chunk.levels;
                LookUpBytes(chunk.values[0].data(), 3 * kChunkPixels, low);
                spillGroups(map, chunk, count);
                JoinTriples(row, count, planesOf(std::as_const(chunk.values)));
            } else {
                LookUpBytes(row, 3 * count, map.clipped);
            }
            left -= count;
            row += 3 * count;
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
    if constexpr (sizeof(Sample) == 1) {
        const bool isNear =
            first != last &&
            std::all_of(m_table.begin(), first,
                        [](int32_t value) { return -256 <= value && value < 0; }) &&
            std::all_of(last, m_table.end(), [](int32_t value) { return value >> 8 == 1; });
        if (isNear) m_low.assign(m_table.begin(), m_table.end());
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
    const size_t count = pixels.RowSamples();
    if constexpr (sizeof(Sample) == 1) {
        if (pixels.channels == 3 && !m_low.empty()) {
            return MapChunks(m_parts, m_low.data(), pixels);
        }
    }
    for (int32_t y = 0; y < pixels.height; ++y) {
        Sample* const row = pixels.Row(y);
        if (pixels.channels != 3) {
            MapLevels(m_clipped.data(), row, count);
            continue;
        }
        const size_t blocks = count / kBlock;
        MapBlocks(m_parts, row, blocks);
        for (size_t i = blocks * kBlock; i < count; i += 3) Colour(row + i);
    }
}

template class CSpillMap<uint8_t>;
template class CSpillMap<uint16_t>;

}  // namespace kestr
