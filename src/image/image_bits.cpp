#include "image/image_bits.h"

#include <algorithm>

#include "platform/files.h"

namespace kestr {

CImageBits::CImageBits() = default;

CImageBits::~CImageBits() {
    if (!soundFile.empty()) RemoveFile(soundFile.c_str());
}

std::unique_ptr<CImageBits> CImageBits::Copy(bool withMetadata) const {
    auto copy = std::make_unique<CImageBits>();
    copy->fileName = fileName;
    copy->description = description;
    copy->bitmapInfo = bitmapInfo;
    copy->bits = bits;
    copy->bits16 = bits16;
    copy->typeId = typeId;
    copy->pageCount = pageCount;
    copy->currentPage = currentPage;
    copy->loaded = loaded;
    copy->grayChecked = grayChecked;
    copy->isGray = isGray;
    copy->grayMask = grayMask;
    copy->colorTemperature = colorTemperature;
    copy->from16Bit = from16Bit;
    copy->originalWidth = originalWidth;
    copy->originalHeight = originalHeight;
    copy->backgroundColor = backgroundColor;
    copy->gamma = gamma;
    copy->displayGamma = displayGamma;
    copy->physicalX = physicalX;
    copy->physicalY = physicalY;
    copy->scanLinesRead = scanLinesRead;
    copy->transparentIndex = transparentIndex;
    copy->hasTransparentColor = hasTransparentColor;
    copy->transparentColor = transparentColor;
    copy->transparentTolerance = transparentTolerance;
    copy->paletteAlpha = paletteAlpha;
    copy->alpha = alpha;
    copy->autoICCProfile = autoICCProfile;
    if (withMetadata) {
        copy->comment = comment;
        copy->iccProfile = iccProfile;
        copy->iccFromExif = iccFromExif;
        if (exif) copy->exif = std::make_unique<CEXIF_Members>(*exif);
        copy->cameraText = cameraText;
        copy->iptc = iptc;
        copy->soundClip = soundClip;
        copy->xmpData = xmpData;
    }
    return copy;
}

bool CImageBits::IsGray() {
    if (!grayChecked) {
        isGray = !ScanForColour();
        grayChecked = true;
    }
    return isGray;
}

bool CImageBits::ScanForColour() const {
    if (bits.empty()) return false;
    if (bitmapInfo.BitCount() < 9) {
        const auto palette = std::span(bitmapInfo.Palette()).first(bitmapInfo.PaletteSize());
        return !std::ranges::all_of(palette, &CRGBQuad::IsGray);
    }
    const auto width = static_cast<size_t>(bitmapInfo.Width());
    for (int32_t y = 0; y < bitmapInfo.Height(); ++y) {
        // A row in memory order. Differences are gathered over the whole row, without a branch a
        // pixel, so that the loop vectorises.
        const uint8_t* pixel = bits.data() + static_cast<size_t>(y) * RowBytes();
        uint8_t differences = 0;
        for (size_t i = 0; i < 3 * width; i += 3) {
            differences |= (pixel[i] ^ pixel[i + 1]) | (pixel[i] ^ pixel[i + 2]);
        }
        if ((differences & grayMask) != 0) return true;
    }
    return false;
}

void CImageBits::NormalizeGray() {
    if (IsGray() && bitmapInfo.BitCount() == 8) FoldGrayPalette();
}

void CImageBits::FoldGrayPalette() {
    std::array<uint8_t, 256> levels{};
    bool identity = true;
    for (size_t i = 0; i < levels.size(); ++i) {
        levels[i] = bitmapInfo.Palette()[i].rgbRed;
        identity = identity && levels[i] == i;
    }
    if (!identity) {
        for (uint8_t& pixel : bits) pixel = levels[pixel];
    }
    bitmapInfo.SetGrayPalette();
}

void CImageBits::RefreshDisplayData() {
    RefreshDisplayData({0, 0, Width(), Height()});
}

void CImageBits::RefreshDisplayData(const CSelectionRect& part) {
    PixelsChanged();
    if (!Has16Bit() || bits.empty()) return;
    const int32_t left = std::max(part.left, 0);
    const int32_t right = std::min(part.right, Width());
    const int32_t top = std::max(part.top, 0);
    const int32_t bottom = std::min(part.bottom, Height());
    if (left >= right || top >= bottom) return;
    const auto samples = static_cast<size_t>(Samples16());
    const size_t sourceStep = static_cast<size_t>(Width()) * samples;
    const size_t offset = static_cast<size_t>(left) * samples;
    const size_t count = static_cast<size_t>(right - left) * samples;
    for (int32_t y = top; y < bottom; ++y) {
        const uint16_t* source = bits16.data() + static_cast<size_t>(y) * sourceStep + offset;
        uint8_t* destination = RowFromTop(y) + offset;
        for (size_t i = 0; i < count; ++i) destination[i] = static_cast<uint8_t>(source[i] >> 8);
    }
}

void CImageBits::PixelsChanged() {
    DropDisplayCaches();
    grayChecked = false;
}

void CImageBits::DropDisplayCaches() {
    // Nothing is rendered for display yet: the host draws from the 8-bit store.
}

}  // namespace kestr
