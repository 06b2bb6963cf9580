// Tone, red-eye, histogram and automatic levels.
#include <algorithm>

#include "api/handles.h"
#include "ops/histogram.h"

namespace kestr {
namespace {

/// A fraction in thousandths, without what is left; false for one below 0 and for no number.
bool ToThousandths(double fraction, uint32_t& thousandths) {
    if (!(fraction >= 0)) return false;
    thousandths = static_cast<uint32_t>(std::min(fraction * 1000, 4294967295.0));
    return true;
}

CSafeArray MakeTable(const CHistogram::CTable& table) {
    return MakeNumberArray(table);
}

}  // namespace

extern "C" {

KESTR_API int32_t KESTR_CALL cOpBrightness(HKESTRSESSION session, int16_t percent) {
    return OnLoadedImage(session,
                         [=](CImageBits& image, int undo) { image.OpBrighter(percent, undo); });
}

KESTR_API int32_t KESTR_CALL cOpContrast(HKESTRSESSION session, int16_t percent) {
    return OnLoadedImage(session,
                         [=](CImageBits& image, int undo) { image.OpContrast(percent, undo); });
}

KESTR_API int32_t KESTR_CALL cOpNegative(HKESTRSESSION session) {
    return OnLoadedImage(session, [](CImageBits& image, int undo) { image.OpNegative(undo); });
}

KESTR_API int32_t KESTR_CALL cOpRGBAdjust(HKESTRSESSION session, int16_t red, int16_t green,
                                          int16_t blue) {
    return OnLoadedImage(
        session, [=](CImageBits& image, int undo) { image.OpRGBAdjust(red, green, blue, undo); });
}

KESTR_API int32_t KESTR_CALL cOpHSVAdjust(HKESTRSESSION session, int16_t hue, int16_t saturation,
                                          int16_t value) {
    return OnLoadedImage(session, [=](CImageBits& image, int undo) {
        image.OpHSVAdjust(hue, saturation, value, undo);
    });
}

KESTR_API int32_t KESTR_CALL cOpGrayScale(HKESTRSESSION session) {
    return OnLoadedImage(session, [](CImageBits& image, int undo) { image.OpGrayScale(undo); });
}

KESTR_API int32_t KESTR_CALL cOpGammaAdjust(HKESTRSESSION session, double gamma) {
    return OnLoadedImage(
        session, [=](CImageBits& image, int undo) { image.OpGammaTable(gamma, 1.0, undo); });
}

KESTR_API int32_t KESTR_CALL cOpAdjustToPwrCurve(HKESTRSESSION session, double power) {
    constexpr double kFileGamma = 0.45454545454545453;
    return OnLoadedImage(session, [=](CImageBits& image, int undo) {
        image.OpGammaTable(kFileGamma, power * 2.2, undo);
    });
}

KESTR_API int32_t KESTR_CALL cOpAdjustLevels(HKESTRSESSION session, uint32_t redLow,
                                             uint32_t redMid, uint32_t redHigh, uint32_t greenLow,
                                             uint32_t greenMid, uint32_t greenHigh,
                                             uint32_t blueLow, uint32_t blueMid,
                                             uint32_t blueHigh) {
    return OnLoadedImage(session, [=](CImageBits& image, int undo) {
        return image.OpAdjustLevels({redLow, redMid, redHigh}, {greenLow, greenMid, greenHigh},
                                    {blueLow, blueMid, blueHigh}, 0, undo);
    });
}

KESTR_API int32_t KESTR_CALL cOpSetColorPoint(HKESTRSESSION session, uint8_t mode,
                                              uint32_t colour) {
    return OnLoadedImage(session, [=](CImageBits& image, int undo) {
        return image.OpSetColorPoint(mode, colour, undo);
    });
}

KESTR_API int32_t KESTR_CALL cOpSetPixelColor(HKESTRSESSION session, uint32_t x, uint32_t y,
                                              uint16_t red, uint16_t green, uint16_t blue) {
    return OnLoadedImage(session, [=](CImageBits& image, int undo) {
        image.OpSetPixelColor(x, y, red, green, blue, undo);
    });
}

KESTR_API int32_t KESTR_CALL cOpRemove16BitPrecision(HKESTRSESSION session) {
    return OnLoadedImage(session, [](CImageBits& image, int) { image.bits16.clear(); });
}

KESTR_API int32_t KESTR_CALL cOpRemoveRedEye(HKESTRSESSION session, uint8_t saturationMin,
                                             int16_t hue, uint8_t valuePercent) {
    return OnLoadedImage(session, [=](CImageBits& image, int undo) {
        return image.OpRemoveRedEye(saturationMin, hue, valuePercent, undo);
    });
}

KESTR_API int32_t KESTR_CALL cOpAutoContrastEx(HKESTRSESSION session, double fraction) {
    return OnLoadedImage(session, [=](CImageBits& image, int undo) {
        uint32_t thousandths = 0;
        return ToThousandths(fraction, thousandths) && image.OpAutoContrast(thousandths, undo);
    });
}

KESTR_API int32_t KESTR_CALL cOpAutoLevelEx(HKESTRSESSION session, double fraction) {
    return OnLoadedImage(session, [=](CImageBits& image, int undo) {
        uint32_t thousandths = 0;
        return ToThousandths(fraction, thousandths) && image.OpAutoLevel(thousandths, undo);
    });
}

KESTR_API void KESTR_CALL cGetImageHistogram(HKESTRSESSION session, uint32_t* combined256,
                                             uint32_t* red256, uint32_t* green256,
                                             uint32_t* blue256, int32_t luminance) {
    OnLoadedImage(session, [=](CImageBits& image, int) {
        const CHistogram histogram = CountLevels(image, luminance != 0);
        if (combined256) std::ranges::copy(histogram.combined, combined256);
        if (red256) std::ranges::copy(histogram.red, red256);
        if (green256) std::ranges::copy(histogram.green, green256);
        if (blue256) std::ranges::copy(histogram.blue, blue256);
    });
}

KESTR_API void KESTR_CALL cGetImageHistogramA(HKESTRSESSION session, SAFEARRAY** combined,
                                              SAFEARRAY** red, SAFEARRAY** green, SAFEARRAY** blue,
                                              int32_t luminance) {
    Clear(combined, red, green, blue);
    OnLoadedImage(session, [=](CImageBits& image, int) {
        const CHistogram histogram = CountLevels(image, luminance != 0);
        Put(combined, MakeTable(histogram.combined));
        Put(red, MakeTable(histogram.red));
        Put(green, MakeTable(histogram.green));
        Put(blue, MakeTable(histogram.blue));
    });
}

}  // extern "C"
}  // namespace kestr
