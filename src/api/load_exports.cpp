// Loading files and taking pictures from memory. Every load replaces the image first.
#include <algorithm>
#include <array>

#include "api/handles.h"

namespace kestr {
extern "C" {

KESTR_API int32_t KESTR_CALL cLoadImageEx(HKESTRSESSION session, const char* path, int16_t page,
                                          uint32_t extra, KESTR_PROGRESS_CALLBACK callback,
                                          uintptr_t user) {
    return cLoadImageExW(session, WidePath(path).Get(), page, extra, callback, user);
}

KESTR_API int32_t KESTR_CALL cLoadImageExW(HKESTRSESSION session, const KESTR_CHAR* path,
                                           int16_t page, uint32_t extra,
                                           KESTR_PROGRESS_CALLBACK callback, uintptr_t user) {
    return OnSession(session, [=](CDLLSession& s) {
        s.abortRequested = false;
        const CProgressScope progress(s, callback, user);
        s.BeginLoad();
        return s.image->Load(path, page, s.settings.verifyFormat, s.settings.backgroundColor, &s,
                             extra);
    });
}

KESTR_API int32_t KESTR_CALL cLoadNextAnimatedGIFPage(HKESTRSESSION session, int32_t* rectangle4) {
    return OnSession(session, [=](CDLLSession& s) {
        std::array<int32_t, 4> changed{};
        s.nextPageLoaded = s.image->LoadNextPage(changed, s.settings.backgroundColor);
        if (s.nextPageLoaded && rectangle4) std::ranges::copy(changed, rectangle4);
        return s.nextPageLoaded;
    });
}

KESTR_API void KESTR_CALL cAbortImageLoad(HKESTRSESSION session) {
    OnSession(session, [](CDLLSession& s) { s.abortRequested = true; });
}

KESTR_API uint32_t KESTR_CALL cGetScanLinesSuccessfullyRead(HKESTRSESSION session) {
    return OnSession(session, [](CDLLSession& s) { return s.image->scanLinesRead; });
}

KESTR_API int32_t KESTR_CALL cLoadThumbnail(HKESTRSESSION session, const char* path, int16_t width,
                                            int16_t height) {
    return cLoadThumbnailW(session, WidePath(path).Get(), width, height);
}

KESTR_API int32_t KESTR_CALL cLoadThumbnailW(HKESTRSESSION session, const KESTR_CHAR* path,
                                             int16_t width, int16_t height) {
    return cLoadThumbnailExW(session, path, width, height, 0);
}

KESTR_API int32_t KESTR_CALL cLoadThumbnailEx(HKESTRSESSION session, const char* path,
                                              int16_t width, int16_t height, int32_t flag) {
    return cLoadThumbnailExW(session, WidePath(path).Get(), width, height, flag);
}

KESTR_API int32_t KESTR_CALL cLoadThumbnailExW(HKESTRSESSION session, const KESTR_CHAR* path,
                                               int16_t width, int16_t height, int32_t flag) {
    return OnSession(session, [=](CDLLSession& s) {
        // No size and a negative one alike leave the picture as it is.
        const auto wanted = [](int16_t side) {
            return static_cast<uint32_t>(std::max<int>(side, 0));
        };
        s.progressCallback = nullptr;
        s.abortRequested = false;
        s.BeginLoad();
        return s.image->LoadThumbnail({.path = path,
                                       .width = wanted(width),
                                       .height = wanted(height),
                                       .verify = s.settings.verifyFormat,
                                       .backgroundColor = s.settings.backgroundColor,
                                       .autoRotate = s.settings.autoRotate,
                                       .fit = flag,
                                       .minPreviewSize = s.settings.thumbnailFlag,
                                       .session = &s});
    });
}

KESTR_API int32_t KESTR_CALL cLoadDIBitmap(HKESTRSESSION session, const void* header,
                                           const void* pixels, int32_t alphaFlag,
                                           int32_t keepImage) {
    if (!header || !pixels) return 0;
    return OnSession(session, [=](CDLLSession& s) {
        if (keepImage == 0) s.BeginLoad();
        return s.image->LoadDIB(static_cast<const uint8_t*>(header),
                                static_cast<const uint8_t*>(pixels), alphaFlag != 0,
                                s.settings.autoUndoRedo);
    });
}

KESTR_API int32_t KESTR_CALL cLoadDIBArray(HKESTRSESSION session, SAFEARRAY* array,
                                           int32_t alphaFlag) {
    return OnSession(session, [=](CDLLSession& s) {
        const CByteArrayView block(array);
        s.BeginLoad();
        return s.image->LoadDIBArray(block.Bytes(), alphaFlag != 0);
    });
}

KESTR_API int32_t KESTR_CALL cLoadImage8(HKESTRSESSION session, const uint8_t* pixels,
                                         uint32_t byteCount, uint32_t width, uint32_t height,
                                         int32_t gray, KESTR_PROGRESS_CALLBACK callback,
                                         uintptr_t user) {
    // width x height can take all of 64 bits, so the factor 3 goes to the other side.
    const uint64_t room = gray ? byteCount : byteCount / 3;
    if (!pixels || uint64_t{width} * height > room) return 0;
    return OnSession(session, [=](CDLLSession& s) {
        const CProgressScope progress(s, callback, user);
        s.BeginLoad();
        s.image->LoadBits({pixels, byteCount}, {}, width, height, gray != 0, &s);
        return true;  // also when the picture could not be built
    });
}

KESTR_API void KESTR_CALL cNewImage(HKESTRSESSION session, uint32_t width, uint32_t height,
                                    uint32_t colour) {
    OnSession(session, [=](CDLLSession& s) {
        s.BeginLoad();
        s.image->NewImage(width, height, colour);
    });
}

}  // extern "C"
}  // namespace kestr
