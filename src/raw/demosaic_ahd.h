// What both forms of AHD share.
#pragma once

#include <algorithm>

#include "platform/vector_clones.h"
#include "raw/raw_color_matrix.h"
#include "raw/raw_sensor_image.h"

namespace kestr {

class CImageReader;

constexpr int kAHDBorder = 3;  // rows and columns that are not judged

KESTR_INLINE int AHDClip(int value) {
    return std::clamp(value, 0, 65535);
}
/// Between two values, whichever of them is larger.
KESTR_INLINE int AHDBetween(int value, int a, int b) {
    return std::clamp(value, std::min(a, b), std::max(a, b));
}

/// The planes inside the border, for any pattern of three planes.
[[nodiscard]] bool DemosaicAHDByTiles(CRawSensorImage& image, CImageReader* reader,
                                      CRawColor3MatrixRGB& colors);

}  // namespace kestr
