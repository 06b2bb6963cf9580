// Turns of a file that leave its coded picture as it is. A format that can do so registers itself,
// as readers and writers do.
#pragma once

#include <cstdint>
#include <initializer_list>

#include <kestr/types.h>

namespace kestr {

/// What is done to a file's picture. The first four numbers are those of cRotateImageFileEx.
enum class CTurn : uint32_t {
    kClockwise = 0,
    kAnticlockwise = 1,
    kHalf = 2,
    kMirror = 3,        // left to right
    kMirrorUpDown = 4,  // reached by way of an orientation alone
};

/// Writes a turned copy of `from` to `to`. With `trim` the blocks of an edge that cannot be turned
/// are cut off; else they stay as they were.
using CLosslessTurn = bool (*)(const KESTR_CHAR* from, const KESTR_CHAR* to, CTurn turn, bool trim);

class CLosslessTurnRegistration {
public:
    CLosslessTurnRegistration(std::initializer_list<int32_t> typeIds, CLosslessTurn turn);
};

/// Null when files of the type cannot be turned without loss.
[[nodiscard]] CLosslessTurn FindLosslessTurn(int32_t typeId);

}  // namespace kestr
