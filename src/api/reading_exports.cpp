// What the loaded picture is and holds.
#include <algorithm>
#include <cstddef>

#include "api/handles.h"
#include "base/text_lines.h"
#include "image/pixel_color.h"

namespace kestr {

// The bitmap's own header and palette are what the caller receives as a BITMAPINFO.
static_assert(std::is_standard_layout_v<CBitmapInfo> && sizeof(CBitmapInfo) == 40 + 256 * 4);

extern "C" {

KESTR_API int32_t KESTR_CALL cGetImageInfo(HKESTRSESSION session, uint32_t* width, uint32_t* height,
                                           uint8_t* bitsPerPixel, uint32_t* originalWidth,
                                           uint32_t* originalHeight, int32_t* typeId,
                                           int32_t* pageCount, int32_t* isGray, double* gamma) {
    return OnLoadedImage(session, [=](CImageBits& image, int) {
        Put(width, image.Width());
        Put(height, image.Height());
        Put(bitsPerPixel, image.bitmapInfo.BitCount() * (image.Has16Bit() ? 2 : 1));
        Put(originalWidth, image.originalWidth);
        Put(originalHeight, image.originalHeight);
        Put(typeId, image.typeId);
        Put(pageCount, std::max(image.pageCount, 1));
        Put(isGray, image.IsGray());
        Put(gamma, image.gamma);
    });
}

KESTR_API int32_t KESTR_CALL cGetBITMAPINFOPtr(HKESTRSESSION session, BITMAPINFO** info) {
    Clear(info);
    return OnLoadedImage(session, [=](CImageBits& image, int) {
        if (info) *info = reinterpret_cast<BITMAPINFO*>(&image.bitmapInfo);
    });
}

KESTR_API int32_t KESTR_CALL cGetBitsPtr(HKESTRSESSION session, uint8_t** bits) {
    Clear(bits);
    return OnLoadedImage(session, [=](CImageBits& image, int) { Put(bits, image.bits.data()); });
}

KESTR_API int32_t KESTR_CALL cGetBits16Ptr(HKESTRSESSION session, uint16_t** bits16) {
    Clear(bits16);
    return OnLoadedImage(session, [=](CImageBits& image, int) {
        Put(bits16, image.Has16Bit() ? image.bits16.data() : nullptr);
    });
}

KESTR_API void KESTR_CALL cRefreshDisplayData(HKESTRSESSION session) {
    OnLoadedImage(session, [](CImageBits& image, int) { image.RefreshDisplayData(); });
}

KESTR_API int32_t KESTR_CALL cGetPixelColor(HKESTRSESSION session, int32_t x, int32_t y,
                                            uint16_t* red, uint16_t* green, uint16_t* blue) {
    return OnLoadedImage(session, [=](CImageBits& image, int) {
        const auto pixel = ReadPixel(image, x, y);
        const CPixelColor color = pixel.value_or(CPixelColor{});
        Put(red, color.red);
        Put(green, color.green);
        Put(blue, color.blue);
        return pixel.has_value();
    });
}

KESTR_API uint16_t KESTR_CALL cGetImageColorTemperature(HKESTRSESSION session) {
    return OnSession(session, [](CDLLSession& s) {
        return s.image->loaded ? s.image->colorTemperature : uint16_t{0};
    });
}

KESTR_API int32_t KESTR_CALL cGetImageDescription(HKESTRSESSION session, BSTR* text) {
    Clear(text);
    return OnLoadedImage(session,
                         [=](CImageBits& image, int) { Put(text, WideText(image.description)); });
}

KESTR_API int32_t KESTR_CALL cGetImageComments(HKESTRSESSION session, BSTR* text) {
    Clear(text);
    return OnLoadedImage(session,
                         [=](CImageBits& image, int) { Put(text, WideText(image.comment)); });
}

KESTR_API int32_t KESTR_CALL cPutImageComments(HKESTRSESSION session, const char* text) {
    return OnLoadedImage(session, [=](CImageBits& image, int) {
        image.comment = text ? WithCrLf(text) : std::string();
    });
}

KESTR_API int32_t KESTR_CALL cImageHasSound(HKESTRSESSION session) {
    return OnLoadedImage(session, [](CImageBits& image, int) { return !image.soundClip.empty(); });
}

KESTR_API int32_t KESTR_CALL cPlayImageSound(HKESTRSESSION session) {
    return OnLoadedImage(session, [](CImageBits& image, int) { return image.PlaySoundClip(); });
}

KESTR_API int32_t KESTR_CALL cGetGIF_TimeDelay(HKESTRSESSION session, uint32_t* milliseconds) {
    return OnLoadedImage(session,
                         [=](CImageBits& image, int) { Put(milliseconds, image.frameDelay); });
}

KESTR_API int32_t KESTR_CALL cGetPhysicalPixelsPerInch(HKESTRSESSION session, uint16_t* x,
                                                       uint16_t* y) {
    return OnLoadedImage(session, [=](CImageBits& image, int) {
        Put(x, image.physicalX);
        Put(y, image.physicalY);
    });
}

KESTR_API int32_t KESTR_CALL cSetPhysicalPixelsPerInch(HKESTRSESSION session, uint16_t x,
                                                       uint16_t y) {
    return OnLoadedImage(session, [=](CImageBits& image, int) {
        image.physicalX = x;
        image.physicalY = y;
        if (image.exif) image.exif->SetResolutionDPI(x, y);
        if (image.exif) image.exif->SetResolutionDPI(x, y);
    });
}

KESTR_API int32_t KESTR_CALL cSetImageGamma(HKESTRSESSION session, double gamma) {
    return OnLoadedImage(session, [=](CImageBits& image, int) { image.gamma = gamma; });
}

}  // extern "C"
}  // namespace kestr
