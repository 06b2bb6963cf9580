#include "base/channel_order.h"

#include <cstring>

#include "platform/wide_vectors.h"

namespace kestr {
namespace {

// Four pixels at a time as three words, which needs no byte shuffle of the machine.
void SwapByWords(const uint8_t* source, uint8_t* destination, size_t pixels) {
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

using CSixteenBytes = uint8_t __attribute__((vector_size(16)));

// Five pixels at a time. The sixteenth byte stays as it is: the next step, or the loop by words
// behind it, takes it from there also where source and destination are the same.
KESTR_WIDE_VECTORS void SwapByShuffle(const uint8_t* source, uint8_t* destination, size_t pixels) {
    for (; pixels >= 6; pixels -= 5, source += 15, destination += 15) {
        CSixteenBytes bytes;
        std::memcpy(&bytes, source, sizeof bytes);
        bytes = __builtin_shufflevector(bytes, bytes, 2, 1, 0, 5, 4, 3, 8, 7, 6, 11, 10, 9, 14, 13,
                                        12, 15);
        std::memcpy(destination, &bytes, sizeof bytes);
    }
    SwapByWords(source, destination, pixels);
}

}  // namespace

void SwapRedBlue(const uint8_t* source, uint8_t* destination, size_t pixels) {
    if (HasWideVectors()) return SwapByShuffle(source, destination, pixels);
    SwapByWords(source, destination, pixels);
}

}  // namespace kestr
