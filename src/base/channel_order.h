#pragma once

#include <cstddef>
#include <cstdint>

namespace kestr {

/// Exchanges the first and third byte of each pixel: red, green, blue to blue, green, red or back.
/// `source` and `destination` are the same or do not overlap.
void SwapRedBlue(const uint8_t* source, uint8_t* destination, size_t pixels);

}  // namespace kestr
