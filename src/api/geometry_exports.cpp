// Crops, mirror, rotation, de-interlacing.
#include "api/handles.h"

namespace kestr {
extern "C" {

KESTR_API int32_t KESTR_CALL cOpCrop(HKESTRSESSION session) {
    return OnLoadedImage(session, [](CImageBits& image, int undo) { return image.OpCrop(undo); });
}

KESTR_API int32_t KESTR_CALL cOpCropBorder(HKESTRSESSION session, uint16_t red, uint16_t green,
                                           uint16_t blue, uint8_t tolerance) {
    return cOpCropBorderEx(session, red, green, blue, tolerance);
}

KESTR_API int32_t KESTR_CALL cOpCropBorderEx(HKESTRSESSION session, uint16_t red, uint16_t green,
                                             uint16_t blue, uint32_t tolerance) {
    return OnLoadedImage(session, [=](CImageBits& image, int undo) {
        return image.OpCropBorder(red, green, blue, static_cast<int16_t>(tolerance), undo);
    });
}

KESTR_API int32_t KESTR_CALL cOpMirror(HKESTRSESSION session) {
    return OnLoadedImage(session, [](CImageBits& image, int undo) { image.OpMirror(undo); });
}

KESTR_API int32_t KESTR_CALL cOpRotateFine(HKESTRSESSION session, double degrees) {
    return OnLoadedImage(session, [=](CImageBits& image, int undo) {
        const uint32_t background = FromHandle(session)->settings.backgroundColor;
        return image.OpRotateFine(degrees, background, undo);
    });
}

KESTR_API int32_t KESTR_CALL cOpDeInterlace(HKESTRSESSION session, uint32_t field,
                                            int32_t interpolate) {
    return OnLoadedImage(session, [=](CImageBits& image, int undo) {
        return image.OpDeInterlace(field != 0, interpolate != 0, undo);
    });
}

}  // extern "C"
}  // namespace kestr
