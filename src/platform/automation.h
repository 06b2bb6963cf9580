// Texts (BSTR) and arrays (SAFEARRAY) as the library makes and holds them. On Windows they are the
// system's own (automation_windows.cpp); elsewhere automation_posix.cpp implements them and exports
// the functions that a caller needs.
#pragma once

#include <cstddef>
#include <cstdint>
#include <exception>
#include <memory>
#include <span>
#include <string_view>

#include <kestr/types.h>

namespace kestr {

/// Raised when no memory is left for a text. Carries the HRESULT that a host expects.
class CAutomationError final : public std::exception {
public:
    static constexpr uint32_t kOutOfMemory = 0x8007000E;  // E_OUTOFMEMORY

    explicit CAutomationError(uint32_t result) : m_result(result) {}
    uint32_t Result() const { return m_result; }
    const char* what() const noexcept override { return "Automation failure."; }

private:
    uint32_t m_result;
};

/// Owns a BSTR, or none. A null text and an empty one are different things.
class CBstr {
public:
    CBstr() = default;
    /// Copies a text, which may hold NULs; raises CAutomationError without memory.
    explicit CBstr(std::basic_string_view<KESTR_CHAR> text);
    /// Copies a NUL-terminated text; a null pointer gives no text.
    static CBstr Copy(const KESTR_CHAR* text);
    /// Copies bytes as they are, as a text whose length may be odd.
    static CBstr CopyBytes(std::span<const uint8_t> bytes);

    CBstr(CBstr&& other) noexcept : m_text(other.Release()) {}
    CBstr& operator=(CBstr&& other) noexcept;
    ~CBstr() { Reset(); }

    explicit operator bool() const { return m_text != nullptr; }
    BSTR Get() const { return m_text; }
    std::basic_string_view<KESTR_CHAR> View() const;
    [[nodiscard]] BSTR Release();  ///< the caller frees it
    void Reset();

private:
    BSTR m_text = nullptr;
};

struct CSafeArrayDeleter {
    void operator()(SAFEARRAY* array) const;
};
using CSafeArray = std::unique_ptr<SAFEARRAY, CSafeArrayDeleter>;

/// Arrays with lower bound 0; null without memory or for more than 2^32 - 1 elements.
CSafeArray MakeByteArray(std::span<const uint8_t> bytes);       // VT_UI1
CSafeArray MakeNumberArray(std::span<const uint32_t> numbers);  // VT_I4

/// The data of a caller's array, locked as long as this object lives. Empty for a null array and
/// for one that is not a vector of bytes.
class CByteArrayView {
public:
    explicit CByteArrayView(SAFEARRAY* array);
    CByteArrayView(const CByteArrayView&) = delete;
    CByteArrayView& operator=(const CByteArrayView&) = delete;
    ~CByteArrayView();
    std::span<const uint8_t> Bytes() const { return m_bytes; }

private:
    SAFEARRAY* m_array = nullptr;  // null when not locked
    std::span<const uint8_t> m_bytes;
};

// What the system has to offer, for the holders above.
namespace automation {

BSTR NewText(const KESTR_CHAR* text, size_t units);    // null without memory
BSTR NewTextBytes(const uint8_t* bytes, size_t size);  // null without memory
void FreeText(BSTR text);
size_t TextUnits(BSTR text);

enum class Element { kByte, kNumber };               // VT_UI1, VT_I4
SAFEARRAY* NewArray(Element element, size_t count);  // null without memory
void FreeArray(SAFEARRAY* array);
/// Locks the array and gives its data; null when it is none or no vector of such elements.
void* Lock(SAFEARRAY* array, Element element, size_t& count);
void Unlock(SAFEARRAY* array);

}  // namespace automation
}  // namespace kestr
