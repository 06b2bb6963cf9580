// Scaling in place and into a handle of its own, and the canvas.
#include "api/handles.h"

namespace kestr {
namespace {

constexpr uint8_t kLastReduceMode = 3;

/// A handle with the scaled copy that `scale` makes of the picture; null without one.
template <typename Scale>
HKESTRSESSION OnScaledCopy(HKESTRSESSION handle, Scale scale) {
    CDLLSession* const session = FromHandle(handle);
    if (!session || !session->image->loaded) return nullptr;
    std::unique_ptr<CImageBits> copy = scale(*session->image);
    return copy ? ToHandle(session->WithImage(std::move(copy))) : nullptr;
}

}  // namespace

extern "C" {

KESTR_API HKESTRSESSION KESTR_CALL cCreateScaledImage(HKESTRSESSION session, int16_t width,
                                                      int16_t height, int32_t keepAspect,
                                                      uint32_t interpolate, int32_t reduceMode) {
    return OnScaledCopy(session, [=](CImageBits& image) {
        return image.ScaledCopy(width, height, keepAspect != 0, 0, interpolate != 0,
                                static_cast<uint8_t>(reduceMode));
    });
}

KESTR_API HKESTRSESSION KESTR_CALL cCreateScaledImageEx(HKESTRSESSION session, int16_t width,
                                                        int16_t height, int32_t method,
                                                        int32_t keepAspect) {
    return OnScaledCopy(session, [=](CImageBits& image) {
        // The methods below the filters are the reduce modes of the same numbers.
        const auto number = static_cast<uint8_t>(method);
        return image.ScaledCopy(width, height, keepAspect != 0, number, false,
                                number <= kLastReduceMode ? number : 0);
    });
}

KESTR_API int32_t KESTR_CALL cOpResize(HKESTRSESSION session, int16_t width, int16_t height,
                                       int32_t keepAspect, uint32_t interpolate,
                                       uint8_t reduceMode) {
    return OnLoadedImage(session, [=](CImageBits& image, int undo) {
        if (reduceMode > kLastReduceMode) return false;
        image.OpResize(width, height, keepAspect != 0, interpolate != 0, reduceMode, undo);
        return true;
    });
}

KESTR_API int32_t KESTR_CALL cOpResizeExL(HKESTRSESSION session, int32_t width, uint32_t height,
                                          uint8_t method, int32_t keepAspect) {
    return OnLoadedImage(session, [=](CImageBits& image, int undo) {
        return image.OpResizeExL(width, height, method, keepAspect != 0, undo);
    });
}

KESTR_API int32_t KESTR_CALL cEnlargeImage(HKESTRSESSION session, int32_t width, int32_t height,
                                           uint8_t placement, uint32_t colour) {
    return OnLoadedImage(session, [=](CImageBits& image, int undo) {
        return image.EnlargeCanvas(width, height, placement, colour, undo);
    });
}

}  // extern "C"
}  // namespace kestr
