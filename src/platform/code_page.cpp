#include "platform/code_page.h"

namespace kestr {

WideString Latin1ToWide(std::string_view text) {
    WideString wide(text.size(), KESTR_CHAR{0});
    for (size_t i = 0; i < text.size(); ++i) wide[i] = static_cast<unsigned char>(text[i]);
    return wide;
}

}  // namespace kestr
