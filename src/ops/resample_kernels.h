// Where the samples of a filtered picture come from: the kernels and, for an axis, which source
// positions contribute to each destination position, with which weight.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

namespace kestr {

/// Methods 3 to 7 of a resampling: triangle, cubic B-spline, Mitchell's cubic with B = C = 1/3,
/// Lanczos with three lobes, Blackman windowed sinc.
inline constexpr int kFirstFilterMethod = 3;
inline constexpr int kLastMethod = 7;

/// The kernel of a method at x, in units of source positions when enlarging.
float KernelAt(int method, float x);
/// Half the length of the kernel.
float KernelSupport(int method);

/// The integer weights of one destination position, in 1/16384. Positions beyond either end of the
/// source stand for the end itself: their weights are added to its.
struct CContribution {
    int32_t first = 0;  // the first and the last contributing source position
    int32_t last = 0;
    size_t weightOffset = 0;  // of the pairs' weights in the list's table
    uint32_t weightSum = 0;   // modulo 2^32

    [[nodiscard]] int32_t FirstPair() const { return first / 2; }
    [[nodiscard]] size_t PairCount() const { return static_cast<size_t>(last / 2 - first / 2 + 1); }
};

/// The contributions of a whole axis. Pairs of source positions begin at even ones.
class CContributionList {
public:
    CContributionList(int32_t sourceSize, int32_t destinationSize, int method);

    [[nodiscard]] const CContribution& operator[](int32_t position) const {
        return m_contributions[static_cast<size_t>(position)];
    }
    /// The weights of a contribution's pairs as SumPairs takes them.
    [[nodiscard]] const int32_t* Weights(const CContribution& contribution) const {
        return m_weights.data() + contribution.weightOffset;
    }
    [[nodiscard]] int32_t Size() const { return static_cast<int32_t>(m_contributions.size()); }

private:
    std::vector<CContribution> m_contributions;
    std::vector<int32_t> m_weights;
};

}  // namespace kestr
