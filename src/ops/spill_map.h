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
    /// The table should say centre + percent (0 or more) of (level - centre), truncated. It is
    /// taken as it is, but when every entry agrees, bytes are calculated instead of looked up,
    /// which is quicker.
    CSpillMap(std::vector<int32_t> table, int32_t centre, int32_t percent);
    CSpillMap(CSpillMap&&) = default;

    void Map(const CPixelView<Sample>& pixels) const;
    [[nodiscard]] Sample Level(Sample level) const { return m_clipped[level]; }
    /// A pixel in place: blue, green, red.
    void Colour(Sample* pixel) const;

    /// centre + level * whole + level * fraction / 65536, for bytes.
    struct CScale {
        int16_t centre = 0;
        uint16_t whole = 0;
        uint16_t fraction = 0;
    };
    /// What a loop over pixels needs of the map.
    struct CParts {
        const int32_t* table;
        const Sample* clipped;
        Sample least;  // levels from here on,
        Sample span;   // and up to so much above, have values inside the sample's range
        Sample none;   // 1 when no level has
        bool calculate;
        CScale scale;
    };

private:
    std::vector<int32_t> m_table;
    std::vector<Sample> m_clipped;
    CParts m_parts{};
};

extern template class CSpillMap<uint8_t>;
extern template class CSpillMap<uint16_t>;

}  // namespace kestr
