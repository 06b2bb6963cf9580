#include <algorithm>
#include <cstring>

#include "image/image_bits.h"

namespace kestr {

void CImageBits::SetOpRect(int32_t x1, int32_t y1, int32_t x2, int32_t y2, int16_t feather) {
    opFeather = feather;
    opMask.clear();
    const auto past = [](int32_t side) { return side == INT32_MAX ? side : side + 1; };
    opRect.left = std::min(x1, x2);
    opRect.top = std::min(y1, y2);
    opRect.right = std::min(past(std::max(x1, x2)), Width());
    opRect.bottom = std::min(past(std::max(y1, y2)), Height());
}

void CImageBits::ClearOpRect() {
    SetOpRect(-1, -1, -1, -1, opFeather);
}

void CImageBits::LoadOpMask(const uint8_t* mask) {
    opMask.clear();
    if (mask == nullptr || !IsOpRectValid()) return;
    // The rectangle's ends were one pixel past what its maker stated, and so is the stored mask: a
    // row ends with its last byte twice, and the last row stands twice.
    const auto width = static_cast<size_t>(opRect.right - opRect.left);
    const auto height = static_cast<size_t>(opRect.bottom - opRect.top);
    if (width < 2 || height < 2) return;
    opMask.resize(width * height);
    uint8_t* row = opMask.data();
    for (size_t y = 0; y + 1 < height; ++y, row += width, mask += width - 1) {
        std::memcpy(row, mask, width - 1);
        row[width - 1] = row[width - 2];
    }
    std::memcpy(row, row - width, width);
}

}  // namespace kestr
