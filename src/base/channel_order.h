#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>

namespace kestr {

/// Exchanges the first and third byte of each pixel: red, green, blue to blue, green, red or back.
/// `source` and `destination` are the same or do not overlap. Four pixels go at a time as three
/// words, which needs no byte shuffle of the machine.
inline void SwapRedBlue(const uint8_t* source, uint8_t* destination, size_t pixels) {
    for (; pixels >= 4; pixels -= 4, source += 12, destination += 12) {
        uint32_t in[3];
        std::memcpy(in, source, 12);  // R0 G0 B0 R1, G1 B1 R2 G2, B2 R3 G3 B3, first byte lowest
        const uint32_t out[3] = {
            (in[0] >> 16 & 0xFF) | (in[0] & 0xFF00) | (in[0] & 0xFF) << 16 | (in[1] & 0xFF00) << 16,
            (in[1] & 0xFF0000FF) | (in[0] >> 24) << 8 | (in[2] & 0xFF) << 16,
            (in[1] >> 16 & 0xFF) | (in[2] >> 24) << 8 | (in[2] & 0xFF0000) | (in[2] & 0xFF00) << 16,
        };
        std::memcpy(destination, out, 12);
    }
    for (; pixels != 0; --pixels, source += 3, destination += 3) {
        const uint8_t first = source[0];
        destination[0] = source[2];
        destination[1] = source[1];
        destination[2] = first;
    }
}

}  // namespace kestr
