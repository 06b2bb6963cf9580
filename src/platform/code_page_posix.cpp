// UTF-8 and UTF-16. Layouts: RFC 3629.
#include "platform/code_page.h"

#include <cstdint>
#include <optional>

namespace kestr {
namespace {

constexpr char32_t kReplacement = 0xFFFD;
constexpr char32_t kByteEscape = 0xDC00;  // + byte, 0x80..0xFF

bool IsHighSurrogate(char32_t unit) {
    return unit >= 0xD800 && unit <= 0xDBFF;
}
bool IsLowSurrogate(char32_t unit) {
    return unit >= 0xDC00 && unit <= 0xDFFF;
}

struct CDecoded {
    char32_t code;
    size_t bytes;
};

// The character at the start of `text`, none when the bytes there are no valid UTF-8: overlong
// forms, surrogates and numbers past U+10FFFF are not.
std::optional<CDecoded> DecodeFirst(std::string_view text) {
    const auto byteAt = [&](size_t i) -> uint8_t { return static_cast<uint8_t>(text[i]); };
    const uint8_t lead = byteAt(0);
    if (lead < 0x80) return CDecoded{lead, 1};
    const size_t bytes = lead < 0xC2 ? 0 : lead < 0xE0 ? 2 : lead < 0xF0 ? 3 : lead < 0xF5 ? 4 : 0;
    if (bytes == 0 || bytes > text.size()) return std::nullopt;
    char32_t code = lead & (0x7F >> bytes);
    for (size_t i = 1; i < bytes; ++i) {
        if ((byteAt(i) & 0xC0) != 0x80) return std::nullopt;
        code = code << 6 | (byteAt(i) & 0x3F);
    }
    constexpr char32_t kSmallest[] = {0, 0, 0x80, 0x800, 0x10000};
    if (code < kSmallest[bytes] || code > 0x10FFFF || (code >= 0xD800 && code <= 0xDFFF))
        return std::nullopt;
    return CDecoded{code, bytes};
}

void AppendWide(WideString& wide, char32_t code) {
    if (code < 0x10000) {
        wide += static_cast<KESTR_CHAR>(code);
    } else {
        wide += static_cast<KESTR_CHAR>(0xD800 + ((code - 0x10000) >> 10));
        wide += static_cast<KESTR_CHAR>(0xDC00 + ((code - 0x10000) & 0x3FF));
    }
}

void AppendUtf8(std::string& text, char32_t code) {
    const auto append = [&](char32_t byte) { text += static_cast<char>(byte); };
    if (code < 0x80) {
        append(code);
        return;
    }
    if (code < 0x800) {
        append(0xC0 | code >> 6);
    } else {
        if (code < 0x10000) {
            append(0xE0 | code >> 12);
        } else {
            append(0xF0 | code >> 18);
            append(0x80 | (code >> 12 & 0x3F));
        }
        append(0x80 | (code >> 6 & 0x3F));
    }
    append(0x80 | (code & 0x3F));
}

// Narrows to UTF-8; `appendUnpaired` deals with a surrogate that has no partner.
template <typename AppendUnpaired>
std::string Narrow(WideView wide, AppendUnpaired appendUnpaired) {
    std::string text;
    text.reserve(wide.size());
    for (size_t i = 0; i < wide.size(); ++i) {
        const char32_t unit = wide[i];
        if (IsHighSurrogate(unit) && i + 1 < wide.size() && IsLowSurrogate(wide[i + 1])) {
            AppendUtf8(text, 0x10000 + ((unit - 0xD800) << 10) + (wide[++i] - 0xDC00));
        } else if (IsHighSurrogate(unit) || IsLowSurrogate(unit)) {
            appendUnpaired(text, unit);
        } else {
            AppendUtf8(text, unit);
        }
    }
    return text;
}

}  // namespace

WideString TextToWide(std::string_view text) {
    WideString wide;
    wide.reserve(text.size());
    for (std::string_view rest = text; !rest.empty();) {
        const auto decoded = DecodeFirst(rest);
        if (!decoded) return Latin1ToWide(text);
        AppendWide(wide, decoded->code);
        rest.remove_prefix(decoded->bytes);
    }
    return wide;
}

std::string WideToText(WideView text) {
    return Narrow(text, [](std::string& narrow, char32_t) { AppendUtf8(narrow, kReplacement); });
}

WideString PathToWide(const char* path) {
    WideString wide;
    for (std::string_view rest = path ? path : ""; !rest.empty();) {
        const auto decoded = DecodeFirst(rest);
        AppendWide(
            wide, decoded ? decoded->code : kByteEscape + static_cast<unsigned char>(rest.front()));
        rest.remove_prefix(decoded ? decoded->bytes : 1);
    }
    return wide;
}

std::string WideToPath(const KESTR_CHAR* path) {
    if (!path) return {};
    return Narrow(path, [](std::string& narrow, char32_t unit) {
        if (unit >= kByteEscape + 0x80 && unit <= kByteEscape + 0xFF) {
            narrow += static_cast<char>(unit - kByteEscape);
        } else {
            AppendUtf8(narrow, unit);
        }
    });
}

}  // namespace kestr
