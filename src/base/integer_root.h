#pragma once

#include <cmath>
#include <cstdint>

namespace kestr {

/// The square root rounded to the nearest integer: what is left when the odd numbers are subtracted
/// in turn, k of them until the rest is negative, gives k - 1, or k from (k - 1) * k + 1 on.
inline uint32_t RoundedRoot(uint32_t square) {
    // A double holds every 32-bit number and rounds its root correctly, so the floor is exact.
    const auto floor = static_cast<uint32_t>(std::sqrt(static_cast<double>(square)));
    return uint64_t{floor} * (uint64_t{floor} + 1) < square ? floor + 1 : floor;
}

}  // namespace kestr
