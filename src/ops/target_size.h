#pragma once

#include <cstdint>

namespace kestr {

struct CTargetSize {
    int32_t width = 0;  // 0 or below: there is nothing to make
    int32_t height = 0;
    double scale = 1.0;  // with the aspect kept: the smaller of both axes' factors

    [[nodiscard]] bool Empty() const { return width <= 0 || height <= 0; }
};

/// The size of a picture of `width` x `height` scaled to the wanted one. With `keepAspect` that is
/// a box: one side fills it exactly, the other does not leave it.
CTargetSize TargetSize(int32_t width, int32_t height, int32_t wantedWidth, int32_t wantedHeight,
                       bool keepAspect);

}  // namespace kestr
