// The code page of the calling thread.
#include "platform/code_page.h"

#include <windows.h>

namespace kestr {

WideString TextToWide(std::string_view text) {
    const int bytes = static_cast<int>(text.size());
    const int units = MultiByteToWideChar(CP_THREAD_ACP, 0, text.data(), bytes, nullptr, 0);
    WideString wide(units, L'\0');
    if (units > 0) MultiByteToWideChar(CP_THREAD_ACP, 0, text.data(), bytes, wide.data(), units);
    return wide;
}

std::string WideToText(WideView text) {
    const int units = static_cast<int>(text.size());
    const int bytes =
        WideCharToMultiByte(CP_THREAD_ACP, 0, text.data(), units, nullptr, 0, nullptr, nullptr);
    std::string narrow(bytes, '\0');
    if (bytes > 0) {
        WideCharToMultiByte(CP_THREAD_ACP, 0, text.data(), units, narrow.data(), bytes, nullptr,
                            nullptr);
    }
    return narrow;
}

WideString PathToWide(const char* path) {
    return path ? TextToWide(path) : WideString();
}

std::string WideToPath(const KESTR_CHAR* path) {
    return path ? WideToText(path) : std::string();
}

}  // namespace kestr
