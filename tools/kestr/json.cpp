#include "json.h"

#include <cstdio>

namespace tool {
namespace {

/// Bytes of the UTF-8 character at the start of the text, 0 when there is none.
size_t CharacterLength(std::string_view text) {
    const auto byte = [&](size_t at) { return static_cast<uint8_t>(text[at]); };
    const uint8_t lead = byte(0);
    const size_t length = lead < 0x80                    ? 1
                          : lead >= 0xC2 && lead <= 0xDF ? 2
                          : lead >= 0xE0 && lead <= 0xEF ? 3
                          : lead >= 0xF0 && lead <= 0xF4 ? 4
                                                         : 0;
    if (length == 0 || length > text.size()) return 0;
    for (size_t i = 1; i < length; ++i) {
        if ((byte(i) & 0xC0) != 0x80) return 0;
    }
    if (length < 3) return length;
    // Longer than needed, the halves of a pair of UTF-16, and what lies beyond Unicode.
    const uint8_t second = byte(1);
    const bool isBad = (lead == 0xE0 && second < 0xA0) || (lead == 0xED && second > 0x9F) ||
                       (lead == 0xF0 && second < 0x90) || (lead == 0xF4 && second > 0x8F);
    return isBad ? 0 : length;
}

}  // namespace

std::string JsonText(std::string_view text) {
    std::string json = "\"";
    while (!text.empty()) {
        const size_t length = CharacterLength(text);
        const char c = text.front();
        if (length == 0) {
            json += "\uFFFD";
        } else if (c == '"' || c == '\\') {
            json.append({'\\', c});
        } else if (length == 1 && static_cast<uint8_t>(c) < 0x20) {
            char escape[8];
            std::snprintf(escape, sizeof escape, "\\u%04x", static_cast<unsigned>(c));
            json += escape;
        } else {
            json.append(text.substr(0, length));
        }
        text.remove_prefix(length == 0 ? 1 : length);
    }
    return json + '"';
}

std::string JsonArray(std::span<const std::string> values) {
    std::string json = "[";
    for (const std::string& value : values) {
        if (json.size() > 1) json += ", ";
        json += value;
    }
    return json + ']';
}

CJsonObject& CJsonObject::AddValue(std::string_view name, std::string_view value) {
    if (!m_members.empty()) m_members += ", ";
    m_members.append(JsonText(name)).append(": ").append(value);
    return *this;
}

void CJsonLines::Print(std::string_view value) {
    std::printf("%s\n%.*s", m_begun ? "," : "[", static_cast<int>(value.size()), value.data());
    std::fflush(stdout);
    m_begun = true;
}

void CJsonLines::End() {
    std::puts(m_begun ? "\n]" : "[]");
}

}  // namespace tool
