#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "ops/pixel_view.h"

namespace kestr {

/// A table of one value for each level of a sample, whose values may leave the sample's range:
/// colours go through the spill clamp, gray levels are clipped.
template <typename Sample>
class CSpillMap {
public:
    explicit CSpillMap(std::vector<int32_t> table);
    CSpillMap(CSpillMap&&) = default;

    void Map(const CPixelView<Sample>& pixels) const;
    [[nodiscard]] Sample Level(Sample level) const { return m_clipped[level]; }
    /// A pixel in place: blue, green, red.
    void Colour(Sample* pixel) const;

    /// What a loop over pixels needs of the map.
    struct CParts {
        const int32_t* table;
        const Sample* clipped;
        Sample least;  // levels from here on,
        Sample span;   // and up to so much above, have values inside the sample's range
        Sample none;   // 1 when no level has
    };

private:
    std::vector<int32_t> m_table;
    std::vector<Sample> m_clipped;
    /// Low bytes of the table, when its values lie in -256..511 in the order of the levels: below
    /// the range, inside, above. Else empty.
    std::vector<uint8_t> m_low;
    CParts m_parts{};
};

extern template class CSpillMap<uint8_t>;
extern template class CSpillMap<uint16_t>;

}  // namespace kestr
