#include "image/row_access.h"

#include <cstring>

#include "base/channel_order.h"

namespace kestr {

void UnpackIndices(const uint8_t* row, int bitCount, size_t width, uint8_t* indices) {
    switch (bitCount) {
        case 1:
            for (size_t x = 0; x < width; ++x) indices[x] = row[x / 8] >> (7 - x % 8) & 1;
            break;
        case 4:
            for (size_t x = 0; x < width; ++x) {
                indices[x] = x % 2 == 0 ? row[x / 2] >> 4 : row[x / 2] & 15;
            }
            break;
        default:
            std::memcpy(indices, row, width);
            break;
    }
}

void RowToRGB(const CImageBits& image, const uint8_t* row, uint8_t* rgb) {
    const auto width = static_cast<size_t>(image.Width());
    if (image.bitmapInfo.BitCount() == 24) {
        SwapRedBlue(row, rgb, width);
        return;
    }
    // The indices go to the end of the room, so that no pixel overwrites one not read yet.
    uint8_t* indices = rgb + 2 * width;
    UnpackIndices(row, image.bitmapInfo.BitCount(), width, indices);
    for (size_t x = 0; x < width; ++x) {
        const CRGBQuad entry = image.bitmapInfo.Palette()[indices[x]];
        rgb[3 * x] = entry.rgbRed;
        rgb[3 * x + 1] = entry.rgbGreen;
        rgb[3 * x + 2] = entry.rgbBlue;
    }
}

}  // namespace kestr
