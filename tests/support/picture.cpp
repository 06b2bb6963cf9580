#include "support/picture.h"

namespace kestr::test {
namespace {

std::unique_ptr<CImageBits> Blank(int bitCount, int width, int height) {
    auto image = std::make_unique<CImageBits>();
    image->bitmapInfo.SetFormat(bitCount, width, height);
    image->bits.ResizeZeroed(image->RowBytes() * static_cast<size_t>(height));
    image->loaded = true;
    return image;
}

}  // namespace

std::unique_ptr<CImageBits> Picture24(int width, int height, const CColourAt& colour) {
    auto image = Blank(24, width, height);
    for (int y = 0; y < height; ++y) {
        for (int x = 0; x < width; ++x) {
            const auto bgr = colour(x, y);
            std::copy(bgr.begin(), bgr.end(), image->RowFromTop(y) + 3 * x);
        }
    }
    return image;
}

std::unique_ptr<CImageBits> PicturePalette(int bitCount, int width, int height,
                                           const CIndexAt& index) {
    auto image = Blank(bitCount, width, height);
    const int last = (1 << bitCount) - 1;
    for (int i = 0; i <= last; ++i) {
        const auto level = static_cast<uint8_t>(i * 255 / last);
        image->bitmapInfo.Palette()[static_cast<size_t>(i)] = {level, level, level, 0};
    }
    const int pixelsInByte = 8 / bitCount;
    for (int y = 0; y < height; ++y) {
        for (int x = 0; x < width; ++x) {
            const int shift = 8 - bitCount * (x % pixelsInByte + 1);
            uint8_t& byte = image->RowFromTop(y)[x / pixelsInByte];
            byte = static_cast<uint8_t>(byte | index(x, y) << shift);
        }
    }
    return image;
}

std::unique_ptr<CImageBits> Picture16(int channels, int width, int height,
                                      const CSampleAt& sample) {
    auto image = channels == 1 ? PicturePalette(8, width, height, [](int, int) { return 0; })
                               : Blank(24, width, height);
    image->bits16.ResizeZeroed(static_cast<size_t>(width) * static_cast<size_t>(height) *
                               static_cast<size_t>(channels));
    size_t i = 0;
    for (int y = 0; y < height; ++y) {
        for (int x = 0; x < width; ++x) {
            for (int c = 0; c < channels; ++c) {
                image->bits16[i] = sample(x, y, c);
                image->RowFromTop(y)[x * channels + c] =
                    static_cast<uint8_t>(image->bits16[i] >> 8);
                ++i;
            }
        }
    }
    return image;
}

uint8_t IndexOf(const CImageBits& image, int x, int y) {
    const int bitCount = image.bitmapInfo.BitCount();
    const int pixelsInByte = 8 / bitCount;
    const int shift = 8 - bitCount * (x % pixelsInByte + 1);
    return static_cast<uint8_t>(image.RowFromTop(y)[x / pixelsInByte] >> shift &
                                ((1 << bitCount) - 1));
}

std::array<uint8_t, 3> ColourOf(const CImageBits& image, int x, int y) {
    if (image.bitmapInfo.BitCount() == 24) {
        const uint8_t* pixel = image.RowFromTop(y) + 3 * x;
        return {pixel[0], pixel[1], pixel[2]};
    }
    const CRGBQuad entry = image.bitmapInfo.Palette()[IndexOf(image, x, y)];
    return {entry.rgbBlue, entry.rgbGreen, entry.rgbRed};
}

}  // namespace kestr::test
