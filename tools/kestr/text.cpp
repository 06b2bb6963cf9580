#include "text.h"

#include <cstdint>
#include <cstdio>

namespace tool {
namespace {

// Paths are UTF-16 on Windows and bytes elsewhere.
[[maybe_unused]] std::string DisplayNative(const std::string& path) {
    return path;
}
[[maybe_unused]] std::string DisplayNative(const std::basic_string<KESTR_CHAR>& path) {
    return Utf8(path);
}

void Append(std::string& text, uint32_t code) {
    if (code < 0x80) {
        text += static_cast<char>(code);
        return;
    }
    const int following = code < 0x800 ? 1 : code < 0x10000 ? 2 : 3;
    constexpr uint8_t kLead[] = {0, 0xC0, 0xE0, 0xF0};
    text += static_cast<char>(kLead[following] | code >> (6 * following));
    for (int i = following - 1; i >= 0; --i) {
        text += static_cast<char>(0x80 | (code >> (6 * i) & 0x3F));
    }
}

}  // namespace

std::string Utf8(std::basic_string_view<KESTR_CHAR> text) {
    std::string utf8;
    for (size_t i = 0; i < text.size(); ++i) {
        uint32_t code = text[i];
        const bool high = code >= 0xD800 && code <= 0xDBFF;
        if (high && i + 1 < text.size() && text[i + 1] >= 0xDC00 && text[i + 1] <= 0xDFFF) {
            code = 0x10000 + ((code - 0xD800) << 10) + (text[++i] - 0xDC00u);
        } else if (code >= 0xD800 && code <= 0xDFFF) {
            code = 0xFFFD;
        }
        Append(utf8, code);
    }
    return utf8;
}

std::string Display(const std::filesystem::path& path) {
    return DisplayNative(path.native());
}

void Complain(std::string_view words) {
    std::fprintf(stderr, "kestr: %.*s\n", static_cast<int>(words.size()), words.data());
}

void Complain(const std::filesystem::path& path, std::string_view words) {
    Complain(Display(path) + ": " + std::string(words));
}

}  // namespace tool
