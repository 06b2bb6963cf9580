// The calls whose capability is not built yet: they do nothing and return 0, their texts, arrays
// and objects come out null. docs/status.md lists them too.
#include "api/handles.h"

namespace kestr {
extern "C" {

// Closed camera libraries.
KESTR_API void KESTR_CALL cUnloadDLLs(uint8_t) {}

// Loading.
KESTR_API int32_t KESTR_CALL cMergeImage(HKESTRSESSION, HKESTRSESSION, int32_t, int32_t, uint8_t,
                                         uint16_t) {
    return 0;
}

// Saving.
KESTR_API int32_t KESTR_CALL cSavePalette(HKESTRSESSION, const char*) {
    return 0;
}
KESTR_API int32_t KESTR_CALL cSavePaletteW(HKESTRSESSION, const KESTR_CHAR*) {
    return 0;
}

// Reading the image.
KESTR_API void KESTR_CALL cGetImageHistogram(HKESTRSESSION, uint32_t*, uint32_t*, uint32_t*,
                                             uint32_t*, int32_t) {}
KESTR_API void KESTR_CALL cGetImageHistogramA(HKESTRSESSION, SAFEARRAY** combined, SAFEARRAY** red,
                                              SAFEARRAY** green, SAFEARRAY** blue, int32_t) {
    Clear(combined, red, green, blue);
}

// Transparency and selection.
KESTR_API int32_t KESTR_CALL cGetTransparentColorIndex(HKESTRSESSION, uint16_t*) {
    return 0;
}
KESTR_API int32_t KESTR_CALL cSetTransparentColorIndex(HKESTRSESSION, int16_t) {
    return 0;
}
KESTR_API int32_t KESTR_CALL cGetTransparentColorInfo(HKESTRSESSION, uint32_t*, uint16_t*) {
    return 0;
}
KESTR_API int32_t KESTR_CALL cSetTransparentColorInfo(HKESTRSESSION, uint32_t, uint16_t) {
    return 0;
}
KESTR_API int32_t KESTR_CALL cUndefineTransparentColor(HKESTRSESSION) {
    return 0;
}
KESTR_API int32_t KESTR_CALL cGetAlphaMask(HKESTRSESSION, SAFEARRAY** bytes) {
    Clear(bytes);
    return 0;
}
KESTR_API int32_t KESTR_CALL cLoadAlphaMask(HKESTRSESSION, const uint8_t*) {
    return 0;
}
KESTR_API int32_t KESTR_CALL cMergeTransparency(HKESTRSESSION, uint32_t) {
    return 0;
}
KESTR_API int32_t KESTR_CALL cSetOpRectangle(HKESTRSESSION, int32_t, int32_t, int32_t, int32_t,
                                             uint16_t) {
    return 0;
}
KESTR_API void KESTR_CALL cLoadOpMask(HKESTRSESSION, const uint8_t*) {}

// Turning files.
KESTR_API uint16_t KESTR_CALL cRotateImageFileEx(const char*, const char*, uint32_t, int32_t,
                                                 int32_t, int32_t, BSTR* error) {
    Clear(error);
    return 0;
}
KESTR_API uint16_t KESTR_CALL cRotateImageFileExW(const KESTR_CHAR*, const KESTR_CHAR*, uint32_t,
                                                  int32_t, int32_t, int32_t, BSTR* error) {
    Clear(error);
    return 0;
}

// Operations.
KESTR_API int32_t KESTR_CALL cOpBrightness(HKESTRSESSION, int16_t) {
    return 0;
}
KESTR_API int32_t KESTR_CALL cOpContrast(HKESTRSESSION, int16_t) {
    return 0;
}
KESTR_API int32_t KESTR_CALL cOpNegative(HKESTRSESSION) {
    return 0;
}
KESTR_API int32_t KESTR_CALL cOpRGBAdjust(HKESTRSESSION, int16_t, int16_t, int16_t) {
    return 0;
}
KESTR_API int32_t KESTR_CALL cOpHSVAdjust(HKESTRSESSION, int16_t, int16_t, int16_t) {
    return 0;
}
KESTR_API int32_t KESTR_CALL cOpGammaAdjust(HKESTRSESSION, double) {
    return 0;
}
KESTR_API int32_t KESTR_CALL cOpAdjustToPwrCurve(HKESTRSESSION, double) {
    return 0;
}
KESTR_API int32_t KESTR_CALL cOpAdjustLevels(HKESTRSESSION, uint32_t, uint32_t, uint32_t, uint32_t,
                                             uint32_t, uint32_t, uint32_t, uint32_t, uint32_t) {
    return 0;
}
KESTR_API int32_t KESTR_CALL cOpSetColorPoint(HKESTRSESSION, uint8_t, uint32_t) {
    return 0;
}
KESTR_API int32_t KESTR_CALL cOpSetPixelColor(HKESTRSESSION, uint32_t, uint32_t, uint16_t, uint16_t,
                                              uint16_t) {
    return 0;
}
KESTR_API int32_t KESTR_CALL cOpGrayScale(HKESTRSESSION) {
    return 0;
}
KESTR_API int32_t KESTR_CALL cOpIncreaseBitsPerPixel(HKESTRSESSION, int32_t) {
    return 0;
}
KESTR_API int32_t KESTR_CALL cOpIncreaseBitsPerPixel_s(HKESTRSESSION, int16_t) {
    return 0;
}
KESTR_API int32_t KESTR_CALL cOpRemove16BitPrecision(HKESTRSESSION) {
    return 0;
}
KESTR_API int32_t KESTR_CALL cOpConvolveEx(HKESTRSESSION, int16_t, int16_t, const int16_t*,
                                           uint16_t, uint16_t, uint16_t) {
    return 0;
}
KESTR_API int32_t KESTR_CALL cOpSharpen(HKESTRSESSION, int16_t) {
    return 0;
}
KESTR_API int32_t KESTR_CALL cOpSoften(HKESTRSESSION, int16_t) {
    return 0;
}
KESTR_API int32_t KESTR_CALL cOpMedianFilter(HKESTRSESSION, int32_t) {
    return 0;
}
KESTR_API int32_t KESTR_CALL cOpReduceNoise(HKESTRSESSION, int32_t) {
    return 0;
}
KESTR_API int32_t KESTR_CALL cOpNeon(HKESTRSESSION) {
    return 0;
}
KESTR_API int32_t KESTR_CALL cOpOilPaint(HKESTRSESSION, int16_t) {
    return 0;
}
KESTR_API int32_t KESTR_CALL cOpReduceColors(HKESTRSESSION, int16_t, int16_t, uint32_t) {
    return 0;
}
KESTR_API int32_t KESTR_CALL cOpMatchStandardPalette(HKESTRSESSION, int16_t, uint32_t) {
    return 0;
}
KESTR_API int32_t KESTR_CALL cOpMatchToPalette(HKESTRSESSION, const char*, uint32_t) {
    return 0;
}
KESTR_API int32_t KESTR_CALL cOpMatchToPaletteW(HKESTRSESSION, const KESTR_CHAR*, uint32_t) {
    return 0;
}
KESTR_API int32_t KESTR_CALL cOpRemoveRedEye(HKESTRSESSION, uint8_t, int16_t, uint8_t) {
    return 0;
}
KESTR_API int32_t KESTR_CALL cOpAutoLevelEx(HKESTRSESSION, double) {
    return 0;
}
KESTR_API int32_t KESTR_CALL cOpAutoContrastEx(HKESTRSESSION, double) {
    return 0;
}

}  // extern "C"
}  // namespace kestr
