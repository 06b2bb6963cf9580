#pragma once

#include <cstddef>
#include <cstdint>

namespace kestr {

/// The side of the squares that TransposeTriples turns, in pixels.
inline constexpr int kTransposedSide = 16;

/// Writes a square of pixels of three bytes with rows and columns exchanged: pixel x of row y is
/// that in row x, column y of `from`. Steps are in bytes from one row to the next. False, with
/// nothing written, on machines that have no quick way.
[[nodiscard]] bool TransposeTriples(const uint8_t* from, ptrdiff_t fromStep, uint8_t* to,
                                    ptrdiff_t toStep);

}  // namespace kestr
