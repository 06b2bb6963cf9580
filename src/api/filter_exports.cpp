// Neighbourhood filters.
#include "api/handles.h"

namespace kestr {
extern "C" {

KESTR_API int32_t KESTR_CALL cOpConvolveEx(HKESTRSESSION session, int16_t width, int16_t height,
                                           const int16_t* matrix, uint16_t redBias,
                                           uint16_t greenBias, uint16_t blueBias) {
    return OnLoadedImage(session, [=](CImageBits& image, int undo) {
        return image.OpConvolveEx(width, height, matrix, redBias, greenBias, blueBias, undo);
    });
}

KESTR_API int32_t KESTR_CALL cOpSharpen(HKESTRSESSION session, int16_t strength) {
    return OnLoadedImage(
        session, [=](CImageBits& image, int undo) { return image.OpSharpen(strength, undo); });
}

KESTR_API int32_t KESTR_CALL cOpSoften(HKESTRSESSION session, int16_t strength) {
    return OnLoadedImage(
        session, [=](CImageBits& image, int undo) { return image.OpSoften(strength, undo); });
}

// Of the radius the low 16 bits count.
KESTR_API int32_t KESTR_CALL cOpMedianFilter(HKESTRSESSION session, int32_t radius) {
    return OnLoadedImage(session, [=](CImageBits& image, int undo) {
        return image.OpMedianFilter(static_cast<int16_t>(radius), undo);
    });
}

KESTR_API int32_t KESTR_CALL cOpReduceNoise(HKESTRSESSION session, int32_t radius) {
    return OnLoadedImage(session, [=](CImageBits& image, int undo) {
        return image.OpReduceNoise(static_cast<int16_t>(radius), undo);
    });
}

KESTR_API int32_t KESTR_CALL cOpNeon(HKESTRSESSION session) {
    return OnLoadedImage(session, [](CImageBits& image, int undo) { return image.OpNeon(undo); });
}

KESTR_API int32_t KESTR_CALL cOpOilPaint(HKESTRSESSION session, int16_t radius) {
    return OnLoadedImage(
        session, [=](CImageBits& image, int undo) { return image.OilPaint24(radius, undo); });
}

}  // extern "C"
}  // namespace kestr
