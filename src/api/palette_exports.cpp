// Fewer colours, more bits a pixel, palette files.
#include "api/handles.h"

namespace kestr {
extern "C" {

KESTR_API int32_t KESTR_CALL cOpReduceColors(HKESTRSESSION session, int16_t colours, int16_t bits,
                                             uint32_t dither) {
    return OnLoadedImage(session, [=](CImageBits& image, int undo) {
        return image.OpReduceColors(colours, bits, dither != 0, undo);
    });
}

KESTR_API int32_t KESTR_CALL cOpMatchStandardPalette(HKESTRSESSION session, int16_t bits,
                                                     uint32_t dither) {
    return OnLoadedImage(session, [=](CImageBits& image, int undo) {
        return image.OpMatchStandardPalette(bits, dither != 0, undo);
    });
}

KESTR_API int32_t KESTR_CALL cOpMatchToPaletteW(HKESTRSESSION session, const KESTR_CHAR* path,
                                                uint32_t dither) {
    return OnLoadedImage(session, [=](CImageBits& image, int undo) {
        return image.OpMatchToPalette(path, dither != 0, undo);
    });
}
KESTR_API int32_t KESTR_CALL cOpMatchToPalette(HKESTRSESSION session, const char* path,
                                               uint32_t dither) {
    return cOpMatchToPaletteW(session, WidePath(path).Get(), dither);
}

KESTR_API int32_t KESTR_CALL cOpIncreaseBitsPerPixel(HKESTRSESSION session, int32_t bits) {
    return OnLoadedImage(session, [=](CImageBits& image, int undo) {
        return image.OpIncreaseBitsPerPixel(bits, undo);
    });
}
KESTR_API int32_t KESTR_CALL cOpIncreaseBitsPerPixel_s(HKESTRSESSION session, int16_t bits) {
    return cOpIncreaseBitsPerPixel(session, bits);
}

KESTR_API int32_t KESTR_CALL cSavePaletteW(HKESTRSESSION session, const KESTR_CHAR* path) {
    return OnLoadedImage(session, [=](CImageBits& image, int) { return image.SavePalette(path); });
}
KESTR_API int32_t KESTR_CALL cSavePalette(HKESTRSESSION session, const char* path) {
    return cSavePaletteW(session, WidePath(path).Get());
}

}  // extern "C"
}  // namespace kestr
