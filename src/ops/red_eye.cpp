// Red-eye removal: darkens the saturated pixels of a hue within the rectangle.

#include "base/integer_hsv.h"
#include "base/messages.h"
#include "base/real_hsv.h"
#include "ops/guard.h"
#include "ops/pixel_view.h"

namespace kestr {
namespace {

constexpr char kNoSelection[] = "Selection area not set.";

/// Hues at most 45 degrees from a centre, past 0 and 360 too.
class CHueWindow {
public:
    explicit CHueWindow(int hue) : m_centre(hue < 0 ? hue + 360 : hue) {}

    template <typename Hue>
    [[nodiscard]] bool Contains(Hue hue) const {
        const int low = m_centre - 45;
        const int high = m_centre + 45;
        if (high >= 360) return !(hue > high - 360 && hue < low);
        if (low < 0) return !(hue > high && hue < low + 360);
        return hue >= low && hue <= high;
    }

private:
    int m_centre;
};

void Darken(uint8_t* pixel, int saturationMin, const CHueWindow& window, int valuePercent) {
    CIntegerHSV hsv = HSVFromRGB(pixel[2], pixel[1], pixel[0]);
    if (hsv.saturation < saturationMin || !window.Contains(hsv.hue)) return;
    hsv.value = hsv.value * valuePercent / 100;
    const auto bgr = BGRFromHSV(hsv);
    std::copy(bgr.begin(), bgr.end(), pixel);
}

void Darken(uint16_t* pixel, int saturationMin, const CHueWindow& window, int valuePercent) {
    CRealHSV hsv = RealHSVFromBGR(pixel);
    if (hsv.saturation < saturationMin || !window.Contains(hsv.hue)) return;
    hsv.value = valuePercent * hsv.value / 100;
    BGRFromRealHSV(hsv, pixel);
}

template <typename Sample>
void DarkenAll(const CPixelView<Sample>& pixels, int saturationMin, const CHueWindow& window,
               int valuePercent) {
    for (int32_t y = 0; y < pixels.height; ++y) {
        Sample* pixel = pixels.Row(y);
        for (int32_t x = 0; x < pixels.width; ++x, pixel += 3) {
            Darken(pixel, saturationMin, window, valuePercent);
        }
    }
}

}  // namespace

bool CImageBits::OpRemoveRedEye(uint8_t saturationMin, int16_t hue, uint8_t valuePercent,
                                int undo) {
    const int bitCount = bitmapInfo.BitCount();
    if (bitCount < 4 || (Has16Bit() && bitCount == 8) || IsGray()) {
        errorText = Message(message::kNeedsFourBits);
        return false;
    }
    return Guarded(*this, [&] {
        BeginUndoable(undo);
        if (!IsOpRectValid()) {
            errorText = kNoSelection;
            return false;
        }
        const CHueWindow window(hue);
        if (Has16Bit()) {
            CPixelWords part = CopyOpRect16();
            DarkenAll(View16(part, opRect.right - opRect.left, opRect.bottom - opRect.top, 3),
                      saturationMin, window, valuePercent);
            MergeOpRect16(part);
            RefreshDisplayData();
        } else {
            ExpandTo24Bits();
            CBitmapInfo partInfo;
            CPixelBytes part = CopyOpRect8(partInfo);
            DarkenAll(View8(part, partInfo), saturationMin, window, valuePercent);
            MergeOpRect8(part, partInfo);
            PixelsChanged();
        }
        return true;
    });
}

}  // namespace kestr
