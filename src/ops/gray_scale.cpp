#include <algorithm>

#include "base/luminance.h"
#include "base/luminance_row.h"
#include "ops/guard.h"
#include "ops/pixel_format.h"
#include "ops/pixel_view.h"

namespace kestr {
namespace {

// The weights differ from those of 8 bits, and callers rely on both.
uint16_t Gray16(const uint16_t* pixel) {
    const double level = 0.114 * pixel[0] + 0.587 * pixel[1] + 0.299 * pixel[2];
    return static_cast<uint16_t>(std::min(static_cast<int32_t>(level), 65535));
}

uint8_t Gray8(const uint8_t* pixel) {
    return Luminance(pixel[2], pixel[1], pixel[0]);
}

/// Gives each pixel three equal samples.
template <typename Sample, typename Gray>
void MakeGrayColours(const CPixelView<Sample>& pixels, Gray gray) {
    for (int32_t y = 0; y < pixels.height; ++y) {
        Sample* pixel = pixels.Row(y);
        for (int32_t x = 0; x < pixels.width; ++x, pixel += 3) {
            pixel[0] = pixel[1] = pixel[2] = gray(pixel);
        }
    }
}

/// Replaces the 24-bit bitmap by one of 8 bits, whose pixels are not written yet.
void BecomeGrayBitmap(CImageBits& image) {
    const int32_t height = image.Height();
    image.bitmapInfo.SetFormat(8, image.Width(), height);
    image.bitmapInfo.SetGrayPalette();
    image.bits.ResizeZeroed(image.RowBytes() * static_cast<size_t>(height));
}

void WholeToGray16(CImageBits& image) {
    CPixelWords levels;
    levels.ResizeUninitialized(image.bits16.size() / 3);
    for (size_t i = 0; i < levels.size(); ++i) levels[i] = Gray16(image.bits16.data() + 3 * i);
    image.bits16 = std::move(levels);
    BecomeGrayBitmap(image);
    image.RefreshDisplayData();
}

void WholeToGray8(CImageBits& image) {
    if (image.bitmapInfo.BitCount() == 24) {
        CBitmapInfo oldInfo = image.bitmapInfo;
        CPixelBytes colours = std::move(image.bits);
        image.bits.ResizeZeroed(static_cast<size_t>(CBitmapInfo::RowBytes(8, oldInfo.Width())) *
                                static_cast<size_t>(oldInfo.Height()));
        image.bitmapInfo.SetFormat(8, oldInfo.Width(), oldInfo.Height());
        image.bitmapInfo.SetGrayPalette();
        const CPixelView<uint8_t> from = View8(colours, oldInfo);
        const CPixelView<uint8_t> to = View8(image.bits, image.bitmapInfo);
        for (int32_t y = 0; y < from.height; ++y) {
            LuminanceOfRow(from.Row(y), static_cast<size_t>(from.width), to.Row(y));
        }
    } else {
        for (size_t i = 0; i < image.bitmapInfo.PaletteSize(); ++i) {
            CRGBQuad& entry = image.bitmapInfo.Palette()[i];
            const uint8_t level = Gray8(&entry.rgbBlue);
            entry.rgbBlue = entry.rgbGreen = entry.rgbRed = level;
        }
    }
    image.PixelsChanged();
    image.NormalizeGray();
}

/// A two-colour picture keeps its pattern: the darker colour becomes black, the other white.
void BecomeBlackAndWhite(CImageBits& image) {
    image.NormalizeBilevel();
    image.bitmapInfo.Palette()[0] = {0, 0, 0, 0};
    image.bitmapInfo.Palette()[1] = {255, 255, 255, 0};
    image.PixelsChanged();
}

}  // namespace

void CImageBits::OpGrayScale(int undo) {
    if (bitmapInfo.BitCount() != 24 && IsGray()) return;
    Guarded(*this, [&] {
        DropDisplayCaches();
        BeginUndoable(undo);
        if (bitmapInfo.BitCount() == 1) return BecomeBlackAndWhite(*this);
        if (bits.empty()) return;
        const bool whole = !IsOpRectValid();
        if (Has16Bit()) {
            if (whole) return WholeToGray16(*this);
            CPixelWords part = CopyOpRect16();
            MakeGrayColours(inverseSelect ? View16(bits16, Width(), Height(), 3)
                                          : View16(part, opRect.right - opRect.left,
                                                   opRect.bottom - opRect.top, 3),
                            Gray16);
            MergeOpRect16(part);
            return RefreshDisplayData();
        }
        if (whole) return WholeToGray8(*this);
        ExpandTo24Bits();
        CBitmapInfo partInfo;
        CPixelBytes part = CopyOpRect8(partInfo);
        MakeGrayColours(inverseSelect ? View8(bits, bitmapInfo) : View8(part, partInfo), Gray8);
        MergeOpRect8(part, partInfo);
        PixelsChanged();
    });
}

}  // namespace kestr
