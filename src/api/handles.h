// The border between the exports and the library: casts between handles and classes, outputs that
// may be null, texts.
#pragma once

#include <concepts>
#include <memory>
#include <string_view>
#include <type_traits>
#include <utility>

#include <kestr/kestr.h>

#include "api/session.h"
#include "metadata/exif_members.h"
#include "metadata/iptc_members.h"
#include "metadata/wic_metadata.h"
#include "platform/automation.h"
#include "platform/code_page.h"

namespace kestr {

inline CDLLSession* FromHandle(HKESTRSESSION session) {
    return reinterpret_cast<CDLLSession*>(session);
}
inline CEXIF_Members* FromHandle(::CEXIF_Members* record) {
    return reinterpret_cast<CEXIF_Members*>(record);
}
inline CIPTC_Members* FromHandle(::CIPTC_Members* record) {
    return reinterpret_cast<CIPTC_Members*>(record);
}

// The caller becomes the owner.
inline HKESTRSESSION ToHandle(std::unique_ptr<CDLLSession> session) {
    return reinterpret_cast<HKESTRSESSION>(session.release());
}
inline ::CEXIF_Members* ToHandle(std::unique_ptr<CEXIF_Members> record) {
    return reinterpret_cast<::CEXIF_Members*>(record.release());
}
inline ::CIPTC_Members* ToHandle(std::unique_ptr<CIPTC_Members> record) {
    return reinterpret_cast<::CIPTC_Members*>(record.release());
}
/// The root of a tree of metadata blocks, which has no type of its own in the interface.
inline void* ToHandle(std::unique_ptr<WicMetadata::CElement> root) {
    return root.release();
}

/// Ends the life of what a caller owned.
template <typename Handle>
void Destroy(Handle handle) {
    const std::unique_ptr<std::remove_pointer_t<decltype(FromHandle(handle))>> owned(
        FromHandle(handle));
}

/// Writes an output that the caller may not want.
template <typename T, typename Value>
void Put(T* output, Value value) {
    if (output) *output = static_cast<T>(value);
}
/// Gives a text or an array to a caller who wants it.
inline void Put(BSTR* output, CBstr text) {
    if (output) *output = text.Release();
}
inline void Put(SAFEARRAY** output, CSafeArray array) {
    if (output) *output = array.release();
}
/// Sets outputs for texts, arrays and objects to null, as every call does first.
template <typename... Outputs>
void Clear(Outputs*... outputs) {
    (..., (outputs ? void(*outputs = nullptr) : void()));
}

/// 8-bit text of the library as the text that a caller receives.
inline CBstr WideText(std::string_view text) {
    return CBstr(TextToWide(text));
}

/// A caller's 8-bit argument as the text that the wide form of the call takes; null stays null.
inline CBstr WideArgument(const char* text) {
    return text ? CBstr(TextToWide(text)) : CBstr();
}
inline CBstr WidePath(const char* path) {
    return path ? CBstr(PathToWide(path)) : CBstr();
}

/// A caller's wide argument as text of the library; null becomes the empty text.
inline std::string NarrowArgument(const KESTR_CHAR* text) {
    return text ? WideToText(text) : std::string();
}

/// Runs `action` with the session. Its result, or 0 without a session.
template <typename Action>
auto OnSession(HKESTRSESSION handle, Action action) {
    using Result = std::invoke_result_t<Action, CDLLSession&>;
    CDLLSession* const session = FromHandle(handle);
    if constexpr (std::is_void_v<Result>) {
        if (session) action(*session);
    } else if constexpr (std::same_as<Result, bool>) {
        return int32_t{session && action(*session) ? 1 : 0};
    } else {
        return session ? action(*session) : Result{};
    }
}

/// Runs `action` with the session's image and its undo flag when a picture is loaded. An action
/// without a result succeeds: 1, or 0 without a picture.
template <typename Action>
int32_t OnLoadedImage(HKESTRSESSION handle, Action action) {
    CDLLSession* const session = FromHandle(handle);
    if (!session || !session->image->loaded) return 0;
    CImageBits& image = *session->image;
    const int undo = session->settings.autoUndoRedo;
    if constexpr (std::is_void_v<std::invoke_result_t<Action, CImageBits&, int>>) {
        action(image, undo);
        return 1;
    } else {
        return action(image, undo) ? 1 : 0;
    }
}

}  // namespace kestr
