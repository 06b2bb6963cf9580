#include "support/loaded_handle.h"

#include <gtest/gtest.h>

#include "api/handles.h"
#include "platform/automation.h"
#include "support/test_data.h"

namespace kestr::test {

std::basic_string<KESTR_CHAR> WidePath(const std::filesystem::path& path) {
    const auto& native = path.native();
    if constexpr (sizeof(native[0]) == sizeof(KESTR_CHAR)) {
        return {native.begin(), native.end()};
    } else {
        return PathToWide(path.string().c_str());
    }
}

std::string TakeText(BSTR text) {
    std::string bytes;
    const size_t units = automation::TextUnits(text);
    for (size_t i = 0; i < units; ++i) bytes += static_cast<char>(text[i]);
    automation::FreeText(text);
    return bytes;
}

namespace {

template <typename Value>
std::vector<Value> TakeElements(SAFEARRAY* array, automation::Element element) {
    if (!array) return {};
    size_t count = 0;
    const auto* values = static_cast<const Value*>(automation::Lock(array, element, count));
    EXPECT_NE(values, nullptr) << "an array of other elements";
    if (!values) return {};
    std::vector<Value> copy(values, values + count);
    automation::Unlock(array);
    automation::FreeArray(array);
    return copy;
}

}  // namespace

std::vector<uint8_t> TakeBytes(SAFEARRAY* array) {
    return TakeElements<uint8_t>(array, automation::Element::kByte);
}

std::vector<int32_t> TakeNumbers(SAFEARRAY* array) {
    return TakeElements<int32_t>(array, automation::Element::kNumber);
}

bool CHandle::Load(const std::filesystem::path& path, int16_t page) {
    return cLoadImageExW(m_session, WidePath(path).c_str(), page, 0, nullptr, 0) != 0;
}

bool CHandle::LoadBytes(const std::vector<uint8_t>& bytes, const char* name) {
    const CTemporaryFolder folder;
    WriteFile(folder / name, bytes);
    return Load(folder / name);
}

bool CHandle::Save(const std::filesystem::path& path, int32_t typeId, int32_t option) {
    return cSaveW(m_session, WidePath(path).c_str(), typeId, option, nullptr, 0) != 0;
}

CHandle::CInfo CHandle::Info() const {
    CInfo info;
    cGetImageInfo(m_session, &info.width, &info.height, &info.bits, &info.originalWidth,
                  &info.originalHeight, &info.typeId, &info.pages, &info.isGray, &info.gamma);
    return info;
}

std::string CHandle::Description() const {
    BSTR text = nullptr;
    cGetImageDescription(m_session, &text);
    return TakeText(text);
}

std::string CHandle::ErrorText() const {
    return FromHandle(m_session)->image->errorText;
}

std::vector<std::vector<uint8_t>> CHandle::Palette(size_t count) const {
    std::vector<std::vector<uint8_t>> entries;
    for (size_t i = 0; i < count; ++i) {
        const CRGBQuad& entry = FromHandle(m_session)->image->bitmapInfo.Palette()[i];
        entries.push_back({entry.rgbBlue, entry.rgbGreen, entry.rgbRed});
    }
    return entries;
}

std::vector<uint8_t> CHandle::Row(uint32_t y) const {
    const CImageBits& image = *FromHandle(m_session)->image;
    const uint8_t* row = image.RowFromTop(static_cast<int32_t>(y));
    return {row, row + image.RowBytes()};
}

std::vector<uint8_t> CHandle::Rows(size_t bytes) const {
    std::vector<uint8_t> rows;
    for (uint32_t y = 0; y < Info().height; ++y) {
        const auto row = Row(y);
        rows.insert(rows.end(), row.begin(), row.begin() + static_cast<ptrdiff_t>(bytes));
    }
    return rows;
}

}  // namespace kestr::test
