// Undo and redo. These calls work without a loaded picture too.
#include <algorithm>
#include <limits>

#include "api/handles.h"

namespace kestr {
namespace {

uint32_t DataSize(const CImageBits::CStack& stack) {
    constexpr uint64_t kMax = std::numeric_limits<uint32_t>::max();
    return static_cast<uint32_t>(std::min(CImageBits::StackBytes(stack), kMax));
}

void RemoveOldest(CImageBits::CStack& stack) {
    if (!stack.empty()) stack.erase(stack.begin());
}

void RemoveNewest(CImageBits::CStack& stack) {
    if (!stack.empty()) stack.pop_back();
}

}  // namespace

extern "C" {

KESTR_API void KESTR_CALL cPushUndo(HKESTRSESSION session) {
    OnSession(session, [](CDLLSession& s) { s.image->PushUndo(); });
}

KESTR_API int32_t KESTR_CALL cPopUndo(HKESTRSESSION session) {
    return OnSession(session,
                     [](CDLLSession& s) { return s.image->PopUndo(s.settings.autoUndoRedo != 0); });
}

KESTR_API int32_t KESTR_CALL cPeekUndo(HKESTRSESSION session) {
    return OnSession(session, [](CDLLSession& s) { return s.image->PeekUndo(); });
}

KESTR_API void KESTR_CALL cPushRedo(HKESTRSESSION session) {
    OnSession(session, [](CDLLSession& s) { s.image->PushRedo(); });
}

KESTR_API int32_t KESTR_CALL cPopRedo(HKESTRSESSION session) {
    return OnSession(session,
                     [](CDLLSession& s) { return s.image->PopRedo(s.settings.autoUndoRedo != 0); });
}

KESTR_API uint32_t KESTR_CALL cUndoStackDepth(HKESTRSESSION session) {
    return OnSession(
        session, [](CDLLSession& s) { return static_cast<uint32_t>(s.image->undoStack.size()); });
}

KESTR_API uint32_t KESTR_CALL cRedoStackDepth(HKESTRSESSION session) {
    return OnSession(
        session, [](CDLLSession& s) { return static_cast<uint32_t>(s.image->redoStack.size()); });
}

KESTR_API void KESTR_CALL cSetUndoRedoLimit(HKESTRSESSION session, uint32_t bytes) {
    OnSession(session, [=](CDLLSession& s) {
        s.image->undoLimit = bytes;
        s.image->EnforceLimit();
    });
}

KESTR_API uint32_t KESTR_CALL cUndoDataSize(HKESTRSESSION session) {
    return OnSession(session, [](CDLLSession& s) { return DataSize(s.image->undoStack); });
}

KESTR_API uint32_t KESTR_CALL cRedoDataSize(HKESTRSESSION session) {
    return OnSession(session, [](CDLLSession& s) { return DataSize(s.image->redoStack); });
}

KESTR_API void KESTR_CALL cTrimUndo(HKESTRSESSION session) {
    OnSession(session, [](CDLLSession& s) { RemoveOldest(s.image->undoStack); });
}

KESTR_API void KESTR_CALL cTrimRedo(HKESTRSESSION session) {
    OnSession(session, [](CDLLSession& s) { RemoveOldest(s.image->redoStack); });
}

KESTR_API void KESTR_CALL cPurgeUndo(HKESTRSESSION session) {
    OnSession(session, [](CDLLSession& s) { RemoveNewest(s.image->undoStack); });
}

KESTR_API void KESTR_CALL cPurgeRedo(HKESTRSESSION session) {
    OnSession(session, [](CDLLSession& s) { RemoveNewest(s.image->redoStack); });
}

}  // extern "C"
}  // namespace kestr
