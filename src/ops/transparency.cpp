// Transparency: a palette index, a colour with a tolerance, a palette's alpha or an alpha plane;
// and flattening onto a background.

#include <algorithm>

#include "ops/guard.h"
#include "ops/pixel_format.h"
#include "ops/pixel_view.h"

namespace kestr {
namespace {

CRGBQuad QuadOf(uint32_t colour) {
    return {static_cast<uint8_t>(colour >> 16), static_cast<uint8_t>(colour >> 8),
            static_cast<uint8_t>(colour), 0};
}

/// A channel over the background's, by an alpha of 255 for all of it; truncates toward zero.
uint8_t Over(uint8_t channel, uint8_t background, uint8_t alpha) {
    return static_cast<uint8_t>(channel - (channel - background) * (255 - alpha) / 255);
}

/// Whether a colour lies within the tolerance of the transparent one.
class CKeyTest {
public:
    CKeyTest(uint32_t key, uint16_t tolerance) : m_key(QuadOf(key)) {
        constexpr int64_t kDiagonal = 441;  // of the cube of colours, rounded down
        const int64_t radius = kDiagonal * tolerance / 1000;
        m_squaredRadius = radius * radius;
    }
    [[nodiscard]] bool operator()(uint8_t red, uint8_t green, uint8_t blue) const {
        const int r = red - m_key.rgbRed;
        const int g = green - m_key.rgbGreen;
        const int b = blue - m_key.rgbBlue;
        return r * r + g * g + b * b <= m_squaredRadius;
    }

private:
    CRGBQuad m_key;
    int64_t m_squaredRadius = 0;
};

void FlattenAlpha(CImageBits& image, const CRGBQuad& background) {
    ExpandTo24Bits(image.bitmapInfo, image.bits);
    const auto width = static_cast<size_t>(image.Width());
    // A plane that a change of one side left behind may be short: what it lacks is opaque.
    const size_t known = image.alpha.size();
    for (int32_t y = 0; y < image.Height(); ++y) {
        uint8_t* pixel = image.RowFromTop(y);
        const size_t first = std::min(known, static_cast<size_t>(y) * width);
        const size_t count = std::min(width, known - first);
        const uint8_t* const alpha = image.alpha.data() + first;
        for (size_t x = 0; x < count; ++x, pixel += 3) {
            pixel[0] = Over(pixel[0], background.rgbBlue, alpha[x]);
            pixel[1] = Over(pixel[1], background.rgbGreen, alpha[x]);
            pixel[2] = Over(pixel[2], background.rgbRed, alpha[x]);
        }
    }
}

void FlattenPaletteAlpha(CImageBits& image, const CRGBQuad& background) {
    const size_t count = std::min(image.paletteAlpha.size(), image.bitmapInfo.PaletteSize());
    for (size_t i = 0; i < count; ++i) {
        CRGBQuad& entry = image.bitmapInfo.Palette()[i];
        const uint8_t alpha = image.paletteAlpha[i];
        entry.rgbBlue = Over(entry.rgbBlue, background.rgbBlue, alpha);
        entry.rgbGreen = Over(entry.rgbGreen, background.rgbGreen, alpha);
        entry.rgbRed = Over(entry.rgbRed, background.rgbRed, alpha);
    }
}

void FlattenColour24(CImageBits& image, const CRGBQuad& background) {
    const CKeyTest isKey(image.transparentColor, image.transparentTolerance);
    for (int32_t y = 0; y < image.Height(); ++y) {
        uint8_t* pixel = image.RowFromTop(y);
        for (int32_t x = 0; x < image.Width(); ++x, pixel += 3) {
            if (!isKey(pixel[2], pixel[1], pixel[0])) continue;
            pixel[0] = background.rgbBlue;
            pixel[1] = background.rgbGreen;
            pixel[2] = background.rgbRed;
        }
    }
}

void FlattenColourOfPalette(CImageBits& image, const CRGBQuad& background) {
    const CKeyTest isKey(image.transparentColor, image.transparentTolerance);
    for (size_t i = 0; i < image.bitmapInfo.PaletteSize(); ++i) {
        CRGBQuad& entry = image.bitmapInfo.Palette()[i];
        if (isKey(entry.rgbRed, entry.rgbGreen, entry.rgbBlue)) entry = background;
    }
}

/// The first kind of transparency that the image has decides.
void Flatten(CImageBits& image) {
    const CRGBQuad background = QuadOf(image.backgroundColor);
    const bool palette = image.bitmapInfo.BitCount() < 24;
    if (!image.alpha.empty()) {
        FlattenAlpha(image, background);
    } else if (!image.paletteAlpha.empty()) {
        FlattenPaletteAlpha(image, background);
    } else if (palette && image.transparentIndex >= 0) {
        if (image.transparentIndex < 256) {
            image.bitmapInfo.Palette()[static_cast<size_t>(image.transparentIndex)] = background;
        }
    } else if (palette) {
        FlattenColourOfPalette(image, background);
    } else {
        FlattenColour24(image, background);
    }
}

}  // namespace

void CImageBits::ClearTransparency() {
    hasTransparentColor = false;
    paletteAlpha.clear();
    transparentIndex = -1;
}

void CImageBits::SetTransparentIndex(int32_t index) {
    ClearTransparency();
    alpha.clear();
    transparentIndex = index;
}

void CImageBits::SetTransparentColour(uint32_t colour, uint16_t tolerance) {
    ClearTransparency();
    alpha.clear();
    hasTransparentColor = true;
    transparentColor = colour;
    transparentTolerance = tolerance;
}

void CImageBits::LoadAlphaMask(const uint8_t* mask) {
    if (mask == nullptr || bitmapInfo.BitCount() < 4) return;
    Guarded(*this, [&] {
        ClearTransparency();
        alpha.Assign({mask, static_cast<size_t>(Width()) * static_cast<size_t>(Height())});
    });
}

bool CImageBits::MergeTransparency(uint32_t colour) {
    backgroundColor = colour;
    const bool hasIndex = bitmapInfo.BitCount() < 24 && transparentIndex >= 0 &&
                          transparentIndex < bitmapInfo.ColorCount();
    // A palette's alpha by itself does not count, and callers rely on it.
    if (!hasTransparentColor && alpha.empty() && !hasIndex) return false;
    return Guarded(*this, [&] {
        bits16.clear();
        if (!bits.empty()) Flatten(*this);
        PixelsChanged();
        ClearTransparency();
        alpha.clear();
    });
}

}  // namespace kestr
