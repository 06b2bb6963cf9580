#include "raw/color_lattice.h"

#include <algorithm>
#include <cstring>

#include "platform/vector_clones.h"

namespace kestr {
namespace {

constexpr size_t kBlock = CColorLattice::kBlock;
constexpr uint32_t kPoints = CColorLattice::kPoints;
constexpr std::array<uint32_t, 3> kSteps{kPoints * kPoints, kPoints, 1};  // nodes to the next point
constexpr uint32_t kAcross = kSteps[0] + kSteps[1] + kSteps[2];

// Four samples as they lie in memory (in the lower half), and widened.
using CEightWords = uint16_t __attribute__((vector_size(16)));
using CFourSums = uint32_t __attribute__((vector_size(16)));
using CFourShifts = int32_t __attribute__((vector_size(16)));

/// The four corners of the tetrahedron around each pixel, from the cell's lowest to its highest,
/// and the weights of the three steps between them.
struct CTetrahedra {
    std::array<std::array<uint32_t, kBlock>, 4> corner;
    std::array<std::array<uint32_t, kBlock>, 3> weight;
};

/// Walks each cell's axes in falling order of the way along them. All of the block is calculated.
KESTR_VECTOR_CLONES void FindTetrahedra(const CColorLattice::CPositions& positions,
                                        CTetrahedra& found) {
    for (size_t i = 0; i < kBlock; ++i) {
        const uint32_t x = positions[0][i], y = positions[1][i], z = positions[2][i];
        const uint32_t lowest =
            (x >> 16) * kSteps[0] + (y >> 16) * kSteps[1] + (z >> 16) * kSteps[2];
        // Way and step in one number, so that they are sorted together.
        const uint32_t a = x << 16 | kSteps[0];
        const uint32_t b = y << 16 | kSteps[1];
        const uint32_t c = z << 16 | kSteps[2];
        const uint32_t upper = std::max(a, b), lower = std::min(a, b);
        const uint32_t longest = std::max(upper, c);
        const uint32_t middle = std::max(lower, std::min(upper, c));
        const uint32_t shortest = std::min(lower, c);
        found.corner[0][i] = lowest;
        found.corner[1][i] = lowest + (longest & 0xFFFF);
        found.corner[2][i] = lowest + (longest & 0xFFFF) + (middle & 0xFFFF);
        found.corner[3][i] = lowest + kAcross;
        found.weight[0][i] = longest >> 16;
        found.weight[1][i] = middle >> 16;
        found.weight[2][i] = shortest >> 16;
    }
}

KESTR_INLINE CFourSums Widened(const CColorLattice::CNode* node) {
    CEightWords words;
    std::memcpy(&words, node, sizeof(words));  // with the node behind it
    const CEightWords zero{};
    return reinterpret_cast<CFourSums>(
        __builtin_shufflevector(words, zero, 0, 8, 1, 9, 2, 10, 3, 11));
}

/// Sums wrap as 32-bit numbers do; steep places of a table get there.
KESTR_VECTOR_CLONES void Interpolate(const CColorLattice::CNode* nodes, const CTetrahedra& in,
                                     size_t count, CColorLattice::CNode* outputs) {
    for (size_t i = 0; i < count; ++i) {
        const CFourSums c0 = Widened(nodes + in.corner[0][i]);
        const CFourSums c1 = Widened(nodes + in.corner[1][i]);
        const CFourSums c2 = Widened(nodes + in.corner[2][i]);
        const CFourSums c3 = Widened(nodes + in.corner[3][i]);
        const CFourSums rest = (c1 - c0) * in.weight[0][i] + (c2 - c1) * in.weight[1][i] +
                               (c3 - c2) * in.weight[2][i] + 0x8001;
        // rest / 65535, rounded
        const CFourShifts more = reinterpret_cast<CFourShifts>(rest) >> 16;
        const auto whole =
            reinterpret_cast<CFourShifts>(rest + reinterpret_cast<CFourSums>(more)) >> 16;
        const auto sum = reinterpret_cast<CEightWords>(c0 + reinterpret_cast<CFourSums>(whole));
        const auto packed = __builtin_shufflevector(sum, sum, 0, 2, 4, 6, 0, 2, 4, 6);
        std::memcpy(outputs + i, &packed, sizeof(*outputs));
    }
}

}  // namespace

/// Corners beyond an axis' end have the weight 0 and must only be there, like the node behind the
/// last one.
CColorLattice::CColorLattice() : m_nodes(kPoints * kPoints * kPoints + kAcross + 1) {}

void CColorLattice::Evaluate(const CPositions& positions, uint16_t* pixels, size_t samplesPerPixel,
                             size_t count) const {
    CTetrahedra tetrahedra;
    std::array<CNode, kBlock> outputs;
    FindTetrahedra(positions, tetrahedra);
    Interpolate(m_nodes.data(), tetrahedra, count, outputs.data());
    for (size_t i = 0; i < count; ++i) {
        std::copy_n(outputs[i].begin(), 3, pixels + i * samplesPerPixel);
    }
}

}  // namespace kestr
