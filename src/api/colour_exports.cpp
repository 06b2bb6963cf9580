// The picture's colour profile.
#include "api/handles.h"
#include "color/icc_profile.h"

namespace kestr {
namespace {

std::span<const uint8_t> Bytes(const void* data, uint32_t size) {
    if (data == nullptr) return {};
    return {static_cast<const uint8_t*>(data), size};
}

}  // namespace

extern "C" {

KESTR_API int32_t KESTR_CALL cImageHasICCProfile(HKESTRSESSION session) {
    return OnLoadedImage(session, [](CImageBits& image, int) { return !image.iccProfile.empty(); });
}

KESTR_API int32_t KESTR_CALL cGetImageICCProfile(HKESTRSESSION session, SAFEARRAY** bytes) {
    Clear(bytes);
    return OnLoadedImage(session, [=](CImageBits& image, int) {
        if (bytes && !image.iccProfile.empty()) Put(bytes, MakeByteArray(image.iccProfile));
    });
}

KESTR_API int32_t KESTR_CALL cLoadICCProfile(HKESTRSESSION session, const void* data,
                                             uint32_t size) {
    return OnLoadedImage(
        session, [=](CImageBits& image, int) { return image.LoadICCProfile(Bytes(data, size)); });
}

KESTR_API int32_t KESTR_CALL cApplyICCProfile(HKESTRSESSION session, const void* data,
                                              uint32_t size, uint32_t intent) {
    return cApplyICCProfileEx(session, data, size, intent, nullptr, 0);
}

KESTR_API int32_t KESTR_CALL cApplyICCProfileEx(HKESTRSESSION session, const void* data,
                                                uint32_t size, uint32_t intent,
                                                KESTR_PROGRESS_CALLBACK callback, uintptr_t user) {
    return OnLoadedImage(session, [=](CImageBits& image, int undo) {
        CDLLSession& owner = *FromHandle(session);
        const CProgressScope progress(owner, callback, user);
        return image.ApplyICCProfile(Bytes(data, size), intent, undo, &owner);
    });
}

KESTR_API int32_t KESTR_CALL cGetICCProfileName(const void* data, uint32_t size, BSTR* name) {
    Clear(name);
    const auto profile = Bytes(data, size);
    if (!OpensAsICCProfile(profile)) return 0;
    Put(name, WideText(ICCProfileName(profile)));
    return 1;
}

}  // extern "C"
}  // namespace kestr
