// Making, copying and ending handles.
#include <mutex>
#include <new>

#include "api/handles.h"
#include "readers/closed_library.h"

namespace kestr {
namespace {

// One handle is made at a time in the whole process.
std::mutex& NewSessionLock() {
    static std::mutex lock;
    return lock;
}

}  // namespace

extern "C" {

KESTR_API HKESTRSESSION KESTR_CALL cNewSession(void) {
    const std::lock_guard guard(NewSessionLock());
    try {
        return ToHandle(std::make_unique<CDLLSession>());
    } catch (const std::bad_alloc&) {  // the one failure that there is, and null tells it
        return nullptr;
    }
}

KESTR_API HKESTRSESSION KESTR_CALL cDupSession(HKESTRSESSION session) {
    const CDLLSession* const source = FromHandle(session);
    if (!source || !source->image->loaded) return nullptr;
    try {
        return ToHandle(source->Duplicate());
    } catch (...) {  // a copy that cannot be held is no copy
        return nullptr;
    }
}

KESTR_API void KESTR_CALL cDestroySession(HKESTRSESSION session) {
    Destroy(session);
}

KESTR_API void KESTR_CALL cDestroyEXIF(::CEXIF_Members* record) {
    Destroy(record);
}

KESTR_API void KESTR_CALL cDestroyIPTC(::CIPTC_Members* record) {
    Destroy(record);
}

KESTR_API void KESTR_CALL cUnload(HKESTRSESSION session) {
    OnSession(session, [](CDLLSession& s) { s.ReplaceImage(); });
}

KESTR_API int32_t KESTR_CALL cSwapImage(HKESTRSESSION a, HKESTRSESSION b) {
    if (!a || !b) return 0;
    CDLLSession::SwapImages(*FromHandle(a), *FromHandle(b));
    return 1;
}

KESTR_API void KESTR_CALL cUnloadDLLs(uint8_t mask) {
    UnloadClosedLibraries(mask);
}

}  // extern "C"
}  // namespace kestr
