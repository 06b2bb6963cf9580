#pragma once

#include <cstddef>
#include <cstdint>

namespace kestr {

/// Sums of SumPairs are made so many at a time.
inline constexpr int kPairLanes = 16;

/// Weighted sums of 16-bit samples, two at a time. A pair is two signed numbers of 16 bits in one
/// of 32, the first in the low half. Lane l of `lanes` (a multiple of kPairLanes) becomes the sum
/// over k of both products of pairs[k * step + l] with weights[k], modulo 2^32. Uses what the
/// machine's vector unit has; the result is the same on all.
void SumPairs(const int32_t* pairs, size_t step, const int32_t* weights, size_t count, size_t lanes,
              int32_t* sums);

}  // namespace kestr
