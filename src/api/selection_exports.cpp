// Selection, masks, transparency.
#include <algorithm>

#include "api/handles.h"

namespace kestr {
extern "C" {

KESTR_API int32_t KESTR_CALL cSetOpRectangle(HKESTRSESSION session, int32_t left, int32_t top,
                                             int32_t right, int32_t bottom, uint16_t feather) {
    return OnSession(session, [=](CDLLSession& s) {
        s.settings.edgeFeather = feather;
        CImageBits& image = *s.image;
        if (!image.loaded) return false;
        const auto imageFeather = static_cast<int16_t>(feather);
        if (left == -1) {
            image.SetOpRect(-1, -1, -1, -1, imageFeather);
        } else {
            const auto x = [&](int32_t side) { return std::clamp(side, 0, image.Width()); };
            const auto y = [&](int32_t side) { return std::clamp(side, 0, image.Height()); };
            image.SetOpRect(x(left), y(top), x(right), y(bottom), imageFeather);
        }
        image.inverseSelect = s.settings.inverseSelect;
        return true;
    });
}

KESTR_API void KESTR_CALL cLoadOpMask(HKESTRSESSION session, const uint8_t* mask) {
    OnLoadedImage(session, [=](CImageBits& image, int) { image.LoadOpMask(mask); });
}

KESTR_API int32_t KESTR_CALL cGetTransparentColorIndex(HKESTRSESSION session, uint16_t* index) {
    return OnSession(session, [=](CDLLSession& s) {
        if (s.image->loaded) Put(index, s.image->transparentIndex);
        return true;
    });
}

KESTR_API int32_t KESTR_CALL cSetTransparentColorIndex(HKESTRSESSION session, int16_t index) {
    return OnSession(session, [=](CDLLSession& s) {
        s.image->SetTransparentIndex(index);
        return true;
    });
}

KESTR_API int32_t KESTR_CALL cGetTransparentColorInfo(HKESTRSESSION session, uint32_t* colour,
                                                      uint16_t* tolerance) {
    return OnLoadedImage(session, [=](CImageBits& image, int) {
        if (!image.hasTransparentColor) return false;
        Put(colour, image.transparentColor);
        Put(tolerance, image.transparentTolerance);
        return true;
    });
}

KESTR_API int32_t KESTR_CALL cSetTransparentColorInfo(HKESTRSESSION session, uint32_t colour,
                                                      uint16_t tolerance) {
    return OnLoadedImage(
        session, [=](CImageBits& image, int) { image.SetTransparentColour(colour, tolerance); });
}

KESTR_API int32_t KESTR_CALL cUndefineTransparentColor(HKESTRSESSION session) {
    return OnLoadedImage(session,
                         [](CImageBits& image, int) { image.hasTransparentColor = false; });
}

KESTR_API int32_t KESTR_CALL cGetAlphaMask(HKESTRSESSION session, SAFEARRAY** bytes) {
    Clear(bytes);
    return OnLoadedImage(session, [=](CImageBits& image, int) {
        if (image.alpha.empty()) return false;
        CSafeArray array = MakeByteArray({image.alpha.data(), image.alpha.size()});
        const bool made = array != nullptr;
        Put(bytes, std::move(array));
        return made;
    });
}

KESTR_API int32_t KESTR_CALL cLoadAlphaMask(HKESTRSESSION session, const uint8_t* bytes) {
    return OnLoadedImage(session, [=](CImageBits& image, int) { image.LoadAlphaMask(bytes); });
}

KESTR_API int32_t KESTR_CALL cMergeTransparency(HKESTRSESSION session, uint32_t colour) {
    return OnLoadedImage(session,
                         [=](CImageBits& image, int) { return image.MergeTransparency(colour); });
}

KESTR_API int32_t KESTR_CALL cMergeImage(HKESTRSESSION session, HKESTRSESSION source, int32_t x,
                                         int32_t y, uint8_t opacity, uint16_t feather) {
    CDLLSession* const other = FromHandle(source);
    if (!other || !other->image->loaded) return 0;
    return OnLoadedImage(session, [=](CImageBits& image, int undo) {
        return image.MergeImage(*other->image, x, y, opacity, static_cast<int16_t>(feather), undo);
    });
}

}  // extern "C"
}  // namespace kestr
