// Saving, and dropping what a save would carry along.
#include "api/handles.h"

namespace kestr {
extern "C" {

KESTR_API int32_t KESTR_CALL cSave(HKESTRSESSION session, const char* path, int32_t typeId,
                                   int32_t option, KESTR_PROGRESS_CALLBACK callback,
                                   uintptr_t user) {
    return cSaveW(session, WidePath(path).Get(), typeId, option, callback, user);
}

KESTR_API int32_t KESTR_CALL cSaveW(HKESTRSESSION session, const KESTR_CHAR* path, int32_t typeId,
                                    int32_t option, KESTR_PROGRESS_CALLBACK callback,
                                    uintptr_t user) {
    return OnSession(session, [=](CDLLSession& s) {
        if (!s.image->loaded) return false;
        const CProgressScope progress(s, callback, user);
        s.BeginSave();
        return s.image->Save(path, typeId, option, s.settings.saveMetadata,
                             s.settings.saveICCProfile, s.settings.saveFlag, &s);
    });
}

KESTR_API int32_t KESTR_CALL cRemoveExtraInfo(HKESTRSESSION session) {
    return OnLoadedImage(session, [](CImageBits& image, int) { image.RemoveExtraInfo(); });
}

KESTR_API int32_t KESTR_CALL cRemoveMetadata(HKESTRSESSION session) {
    return OnLoadedImage(session, [](CImageBits& image, int) { image.RemoveMetadata(); });
}

}  // extern "C"
}  // namespace kestr
