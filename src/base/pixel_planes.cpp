#include "base/pixel_planes.h"

#include "platform/vector_clones.h"

namespace kestr {

KESTR_VECTOR_CLONES
void JoinPlanes(const uint8_t* red, const uint8_t* green, const uint8_t* blue, size_t pixels,
                uint8_t* __restrict bgr) {
    for (size_t x = 0; x < pixels; ++x) {
        bgr[3 * x] = blue[x];
        bgr[3 * x + 1] = green[x];
        bgr[3 * x + 2] = red[x];
    }
}

KESTR_VECTOR_CLONES
void TakeChannel(const uint8_t* first, size_t pixels, uint8_t* __restrict plane) {
    for (size_t x = 0; x < pixels; ++x) plane[x] = first[3 * x];
}

}  // namespace kestr
