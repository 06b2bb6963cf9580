#include "image/pixel_color.h"

#include "image/image_bits.h"

namespace kestr {

std::optional<CPixelColor> ReadPixel(const CImageBits& image, int32_t x, int32_t y) {
    if (x < 0 || y < 0 || x >= image.Width() || y >= image.Height()) return std::nullopt;
    const auto column = static_cast<size_t>(x);
    if (image.Has16Bit()) {
        const size_t pixel = static_cast<size_t>(y) * image.Width() + column;
        if (image.Samples16() == 1) {
            const uint16_t gray = image.bits16[pixel];
            return CPixelColor{gray, gray, gray};
        }
        const uint16_t* const sample = image.bits16.data() + 3 * pixel;
        return CPixelColor{sample[2], sample[1], sample[0]};
    }
    const uint8_t* const row = image.RowFromTop(y);
    if (image.bitmapInfo.BitCount() == 24) {
        const uint8_t* const sample = row + 3 * column;
        return CPixelColor{sample[2], sample[1], sample[0]};
    }
    // The leftmost pixel stands in the highest bits of its byte.
    const size_t bits = image.bitmapInfo.BitCount();
    const size_t perByte = 8 / bits;
    const size_t shift = (perByte - 1 - column % perByte) * bits;
    const unsigned index = row[column / perByte] >> shift & ((1u << bits) - 1);
    const CRGBQuad& entry = image.bitmapInfo.Palette()[index];
    return CPixelColor{entry.rgbRed, entry.rgbGreen, entry.rgbBlue};
}

}  // namespace kestr
