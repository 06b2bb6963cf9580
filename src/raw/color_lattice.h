// A function of colours kept at 65 points an axis, tetrahedral in between. Equal to Little CMS's
// evaluation of such a table of 16-bit samples to the last bit, for whole rows at once.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace kestr {

class CColorLattice {
public:
    static constexpr size_t kPoints = 65;
    static constexpr size_t kBlock = 128;  // pixels that Evaluate() takes at most

    /// Where an input lies on its axis: the point below in the high 16 bits, the way to the next
    /// one in the low 16.
    static constexpr uint32_t Position(uint16_t value) {
        const uint32_t scaled = uint32_t{value} * (kPoints - 1);
        const uint32_t rounded = scaled + 0x7FFF;
        return scaled + ((rounded + 1 + (rounded >> 16)) >> 16);  // rounded / 65535, for vectors
    }
    using CPositions = std::array<std::array<uint32_t, kBlock>, 3>;

    /// A point's output: blue, green, red and one that nobody reads.
    using CNode = std::array<uint16_t, 4>;

    CColorLattice();
    /// The `kPoints` points along the third axis at the given points of the first two.
    CNode* Line(size_t first, size_t second) {
        return m_nodes.data() + (first * kPoints + second) * kPoints;
    }

    const CNode* Line(size_t first, size_t second) const {
        return m_nodes.data() + (first * kPoints + second) * kPoints;
    }

    /// The outputs of `count` pixels, blue, green and red, to the first three of each
    /// `samplesPerPixel` samples (3 or 4).
    void Evaluate(const CPositions& positions, uint16_t* pixels, size_t samplesPerPixel,
                  size_t count) const;

private:
    std::vector<CNode> m_nodes;
};
static_assert(CColorLattice::Position(0) == 0);
static_assert(CColorLattice::Position(65535) == 64 << 16);

}  // namespace kestr
