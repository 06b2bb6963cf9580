// Automatic contrast and levels: a share of the darkest and brightest pixels is clipped, the rest
// stretched. Counted within the rectangle, applied to the whole picture.

#include "base/messages.h"
#include "ops/guard.h"
#include "ops/histogram.h"
#include "ops/levels.h"

namespace kestr {
namespace {

struct CBounds {
    int low = 0;
    int high = 255;

    [[nodiscard]] CLevelBytes Levels() const {
        return {static_cast<uint8_t>(low), static_cast<uint8_t>(low + (high - low) / 2),
                static_cast<uint8_t>(high)};
    }
};

/// Pixels that count times thousandths, in 32 bits: it wraps in large pictures.
uint32_t PixelsTimes(const CImageBits& image, uint32_t thousandths) {
    const CSelectionRect& rect = image.opRect;
    const bool part = image.IsOpRectValid();
    const auto width = static_cast<uint32_t>(part ? rect.right - rect.left : image.Width());
    const auto height = static_cast<uint32_t>(part ? rect.bottom - rect.top : image.Height());
    return width * height * thousandths;
}

CHistogram CountSelected(const CImageBits& image, bool luminance) {
    return image.IsOpRectValid() ? CountLevelsInOpRect(image, luminance)
                                 : CountLevels(image, luminance);
}

int FindLow(const CHistogram::CTable& table, uint32_t threshold) {
    int low = 0;
    for (uint32_t sum = 0; sum <= threshold && low < 255; ++low) {
        sum += table[static_cast<size_t>(low)];
    }
    return low;
}

int FindHigh(const CHistogram::CTable& table, uint32_t threshold) {
    int high = 255;
    for (uint32_t sum = 0; sum <= threshold && high > 0; --high) {
        sum += table[static_cast<size_t>(high)];
    }
    return high;
}

/// With nothing to clip the bounds are the outermost levels that occur, else one inside of the last
/// that was clipped.
CBounds FindBounds(const CHistogram::CTable& table, uint32_t threshold) {
    CBounds bounds{FindLow(table, threshold), FindHigh(table, threshold)};
    if (threshold == 0) {
        if (bounds.low > 0) --bounds.low;
        if (bounds.high < 255) ++bounds.high;
    }
    return bounds;
}

}  // namespace

bool CImageBits::OpAutoContrast(uint32_t thousandths, int undo) {
    if (bitmapInfo.BitCount() < 4) {
        errorText = Message(message::kNeedsFourBits);
        return false;
    }
    return Guarded(*this, [&] {
        const uint32_t threshold = PixelsTimes(*this, thousandths) / 2000;
        const CHistogram histogram = CountSelected(*this, true);
        // Not moved back for a threshold of 0, as automatic levels are.
        const CBounds bounds{FindLow(histogram.combined, threshold),
                             FindHigh(histogram.combined, threshold)};
        if (bounds.high <= bounds.low) return;
        BeginUndoable(undo);
        ApplyLevels(*this, {bounds.Levels(), bounds.Levels(), bounds.Levels()}, 1.0);
    });
}

bool CImageBits::OpAutoLevel(uint32_t thousandths, int undo) {
    if (bitmapInfo.BitCount() < 4) {
        errorText = Message(message::kNeedsFourBits);
        return false;
    }
    return Guarded(*this, [&] {
        const uint32_t threshold = PixelsTimes(*this, thousandths) / 1000;
        const CHistogram histogram = CountSelected(*this, false);
        const CBounds red = FindBounds(histogram.red, threshold);
        const CBounds green = FindBounds(histogram.green, threshold);
        const CBounds blue = FindBounds(histogram.blue, threshold);
        const auto isRange = [](const CBounds& bounds) { return bounds.high > bounds.low; };
        if (!isRange(red) || !isRange(green) || !isRange(blue)) return;
        // Blue's upper bound is compared with green's, not with 255; callers rely on it.
        const bool changes = red.low > 0 || green.low > 0 || blue.low > 0 || red.high < 255 ||
                             green.high < 255 || blue.high != green.high;
        if (!changes) return;
        BeginUndoable(undo);
        ApplyLevels(*this, {red.Levels(), green.Levels(), blue.Levels()}, 1.0);
    });
}

}  // namespace kestr
