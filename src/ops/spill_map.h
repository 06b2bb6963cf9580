#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "ops/percent_scale.h"
#include "ops/pixel_view.h"

namespace kestr {

/// A table of one value for each level of a sample, whose values may leave the sample's range:
/// colours go through the spill clamp, gray levels are clipped.
template <typename Sample>
class CSpillMap {
public:
    /// The table should say centre + scale of (level - centre). It is taken as it is, but when
    /// every entry agrees the rows are calculated instead of looked up, which is quicker.
    CSpillMap(std::vector<int32_t> table, int32_t centre, CPercentScale scale);

    void Map(const CPixelView<Sample>& pixels) const;
    [[nodiscard]] Sample Level(Sample level) const;
    /// A pixel in place: blue, green, red.
    void Colour(Sample* pixel) const;

private:
    [[nodiscard]] bool CalculatesLikeTable() const;
    void MapColours(Sample* row, size_t pixels) const;

    std::vector<int32_t> m_table;
    int32_t m_centre;
    CPercentScale m_scale;
    bool m_calculate;
};

extern template class CSpillMap<uint8_t>;
extern template class CSpillMap<uint16_t>;

}  // namespace kestr
