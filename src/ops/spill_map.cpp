#include "ops/spill_map.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <limits>
#include <utility>

#include "ops/spill_clamp.h"

namespace kestr {
namespace {

template <typename Sample>
constexpr int32_t kLimit = std::numeric_limits<Sample>::max();

/// centre + scale of (level - centre); `outside` becomes other than 0 when it leaves the range.
template <typename Sample>
Sample Calculate(Sample level, int32_t centre, const CPercentScale& scale, uint16_t& outside) {
    if constexpr (sizeof(Sample) == 1) {
        const auto distance = static_cast<int16_t>(level - centre);
        const auto part = scale.Of(static_cast<uint16_t>(distance < 0 ? -distance : distance));
        const auto value = static_cast<uint16_t>(distance < 0 ? centre - part : centre + part);
        outside |= value >> 8;
        return static_cast<Sample>(value);
    } else {
        const auto middle = static_cast<uint16_t>(centre);
        const bool below = level < middle;
        const auto distance = static_cast<uint16_t>(below ? middle - level : level - middle);
        const uint16_t part = scale.Of(distance);
        const auto up = static_cast<uint16_t>(middle + part);
        const auto down = static_cast<uint16_t>(middle - part);
        const bool wrapped = below ? down > middle : up < middle;
        outside |= static_cast<uint16_t>(scale.Overflow(distance) | wrapped);
        return below ? down : up;
    }
}

}  // namespace

template <typename Sample>
CSpillMap<Sample>::CSpillMap(std::vector<int32_t> table, int32_t centre, CPercentScale scale)
    : m_table(std::move(table)),
      m_centre(centre),
      m_scale(scale),
      m_calculate(CalculatesLikeTable()) {}

template <typename Sample>
bool CSpillMap<Sample>::CalculatesLikeTable() const {
    if (m_centre < -kLimit<uint8_t> || m_centre > kLimit<Sample>) return false;
    if (sizeof(Sample) > 1 && m_centre < 0) return false;
    for (int32_t level = 0; level <= kLimit<Sample>; ++level) {
        const int32_t entry = m_table[static_cast<size_t>(level)];
        uint16_t outside = 0;
        const Sample value = Calculate(static_cast<Sample>(level), m_centre, m_scale, outside);
        const bool fits = entry >= 0 && entry <= kLimit<Sample>;
        if (fits != (outside == 0) || (fits && value != entry)) return false;
    }
    return true;
}

template <typename Sample>
Sample CSpillMap<Sample>::Level(Sample level) const {
    return static_cast<Sample>(std::clamp(m_table[level], 0, kLimit<Sample>));
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
void CSpillMap<Sample>::MapColours(Sample* row, size_t pixels) const {
    constexpr size_t kBlockPixels = 16;
    constexpr size_t kBlock = 3 * kBlockPixels;
    const CPercentScale scale = m_scale;
    const int32_t centre = m_centre;
    size_t done = 0;
    for (; m_calculate && done + kBlockPixels <= pixels; done += kBlockPixels) {
        Sample* const block = row + 3 * done;
        std::array<Sample, kBlock> values;
        uint16_t outside = 0;
        for (size_t i = 0; i < kBlock; ++i) {
            values[i] = Calculate(block[i], centre, scale, outside);
        }
        if (outside == 0) {
            std::memcpy(block, values.data(), sizeof(values));
        } else {
            for (size_t i = 0; i < kBlock; i += 3) Colour(block + i);
        }
    }
    for (; done < pixels; ++done) Colour(row + 3 * done);
}

template <typename Sample>
void CSpillMap<Sample>::Map(const CPixelView<Sample>& pixels) const {
    for (int32_t y = 0; y < pixels.height; ++y) {
        Sample* const row = pixels.Row(y);
        if (pixels.channels == 3) {
            MapColours(row, static_cast<size_t>(pixels.width));
        } else {
            for (size_t i = 0; i < pixels.RowSamples(); ++i) row[i] = Level(row[i]);
        }
    }
}

template class CSpillMap<uint8_t>;
template class CSpillMap<uint16_t>;

}  // namespace kestr
