#include "base/text_lines.h"

namespace kestr {

std::string WithCrLf(std::string_view text) {
    std::string lines;
    lines.reserve(text.size());
    for (size_t i = 0; i < text.size(); ++i) {
        if (text[i] != '\r' && text[i] != '\n') {
            lines += text[i];
            continue;
        }
        if (text[i] == '\r' && i + 1 < text.size() && text[i + 1] == '\n') ++i;
        lines += "\r\n";
    }
    return lines;
}

}  // namespace kestr
