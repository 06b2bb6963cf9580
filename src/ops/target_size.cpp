#include "ops/target_size.h"

#include <algorithm>

namespace kestr {

CTargetSize TargetSize(int32_t width, int32_t height, int32_t wantedWidth, int32_t wantedHeight,
                       bool keepAspect) {
    if (width <= 0 || height <= 0) return {};
    if (!keepAspect) return {wantedWidth, wantedHeight};
    if (wantedWidth <= 0 || wantedHeight <= 0) return {};
    const double scaleX = static_cast<double>(wantedWidth) / width;
    const double scaleY = static_cast<double>(wantedHeight) / height;
    const double scale = std::min(scaleX, scaleY);
    // No side leaves the box, so that both fit 32 bits.
    const auto scaled = [scale](int32_t side, int32_t most) {
        return static_cast<int32_t>(std::min(side * scale + 0.5, static_cast<double>(most)));
    };
    if (scale == scaleX) return {wantedWidth, scaled(height, wantedHeight), scale};
    return {scaled(width, wantedWidth), wantedHeight, scale};
}

}  // namespace kestr
