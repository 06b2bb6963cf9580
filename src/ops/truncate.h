#pragma once

#include <cmath>
#include <cstdint>
#include <limits>

namespace kestr {

/// A real number without its fraction as a sample: what fits 32 bits keeps its low bits, whatever
/// else (no number, infinite, too large) gives 0.
template <typename Sample>
Sample TruncateToSample(double value) {
    constexpr double kLimit = 2147483648.0;
    if (!(value > -kLimit - 1 && value < kLimit)) return 0;
    return static_cast<Sample>(static_cast<int32_t>(value));
}

}  // namespace kestr
