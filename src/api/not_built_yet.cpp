// The calls whose capability is not built yet: they do nothing and return 0, their texts, arrays
// and objects come out null. docs/status.md lists them too.
#include "api/handles.h"

namespace kestr {
extern "C" {

// Closed camera libraries.
KESTR_API void KESTR_CALL cUnloadDLLs(uint8_t) {}

// Loading.

// Saving.
KESTR_API int32_t KESTR_CALL cSavePalette(HKESTRSESSION, const char*) {
    return 0;
}
KESTR_API int32_t KESTR_CALL cSavePaletteW(HKESTRSESSION, const KESTR_CHAR*) {
    return 0;
}

// Reading the image.

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
KESTR_API int32_t KESTR_CALL cOpIncreaseBitsPerPixel(HKESTRSESSION, int32_t) {
    return 0;
}
KESTR_API int32_t KESTR_CALL cOpIncreaseBitsPerPixel_s(HKESTRSESSION, int16_t) {
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

}  // extern "C"
}  // namespace kestr
