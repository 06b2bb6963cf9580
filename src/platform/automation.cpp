#include "platform/automation.h"

#include <cstring>
#include <string>
#include <utility>

namespace kestr {
namespace {

BSTR Checked(BSTR text) {
    if (!text) throw CAutomationError(CAutomationError::kOutOfMemory);
    return text;
}

CSafeArray MakeArray(automation::Element element, const void* data, size_t count, size_t bytes) {
    CSafeArray array(automation::NewArray(element, count));
    size_t capacity = 0;
    void* const target = automation::Lock(array.get(), element, capacity);
    if (!target) return nullptr;
    if (bytes != 0) std::memcpy(target, data, bytes);
    automation::Unlock(array.get());
    return array;
}

}  // namespace

CBstr::CBstr(std::basic_string_view<KESTR_CHAR> text)
    : m_text(Checked(automation::NewText(text.data(), text.size()))) {}

CBstr CBstr::Copy(const KESTR_CHAR* text) {
    return text ? CBstr(std::basic_string_view<KESTR_CHAR>(text)) : CBstr();
}

CBstr CBstr::CopyBytes(std::span<const uint8_t> bytes) {
    CBstr copy;
    copy.m_text = Checked(automation::NewTextBytes(bytes.data(), bytes.size()));
    return copy;
}

CBstr& CBstr::operator=(CBstr&& other) noexcept {
    if (this != &other) {
        Reset();
        m_text = other.Release();
    }
    return *this;
}

std::basic_string_view<KESTR_CHAR> CBstr::View() const {
    return m_text ? std::basic_string_view<KESTR_CHAR>(m_text, automation::TextUnits(m_text))
                  : std::basic_string_view<KESTR_CHAR>();
}

BSTR CBstr::Release() {
    return std::exchange(m_text, nullptr);
}

void CBstr::Reset() {
    automation::FreeText(Release());
}

void CSafeArrayDeleter::operator()(SAFEARRAY* array) const {
    automation::FreeArray(array);
}

CSafeArray MakeByteArray(std::span<const uint8_t> bytes) {
    return MakeArray(automation::Element::kByte, bytes.data(), bytes.size(), bytes.size());
}

CSafeArray MakeNumberArray(std::span<const uint32_t> numbers) {
    return MakeArray(automation::Element::kNumber, numbers.data(), numbers.size(),
                     numbers.size_bytes());
}

CByteArrayView::CByteArrayView(SAFEARRAY* array) {
    size_t count = 0;
    const void* const data = automation::Lock(array, automation::Element::kByte, count);
    if (!data) return;
    m_array = array;
    m_bytes = {static_cast<const uint8_t*>(data), count};
}

CByteArrayView::~CByteArrayView() {
    if (m_array) automation::Unlock(m_array);
}

}  // namespace kestr
