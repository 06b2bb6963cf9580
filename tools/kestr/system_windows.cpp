#include "system.h"

#include <windows.h>
#include <io.h>

namespace tool {

bool IsTerminal(std::FILE* stream) {
    return _isatty(_fileno(stream)) != 0;
}

void FreeText(BSTR text) {
    SysFreeString(text);
}

size_t TextLength(BSTR text) {
    return SysStringLen(text);
}

std::vector<uint8_t> TakeBytes(SAFEARRAY* array) {
    if (array == nullptr) return {};
    std::vector<uint8_t> bytes;
    void* data = nullptr;
    LONG last = -1;
    if (SafeArrayGetUBound(array, 1, &last) >= 0 && SafeArrayAccessData(array, &data) >= 0) {
        const auto* const first = static_cast<const uint8_t*>(data);
        bytes.assign(first, first + last + 1);
        SafeArrayUnaccessData(array);
    }
    SafeArrayDestroy(array);
    return bytes;
}

}  // namespace tool

int wmain(int argc, wchar_t** argv) {
    SetConsoleOutputCP(CP_UTF8);
    return tool::Run({argv + (argc > 0 ? 1 : 0), argv + argc});
}
