#include "system.h"

#include <unistd.h>

namespace tool {

bool IsTerminal(std::FILE* stream) {
    return isatty(fileno(stream)) != 0;
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
    int32_t last = -1;
    if (SafeArrayGetUBound(array, 1, &last) >= 0 && SafeArrayAccessData(array, &data) >= 0) {
        const auto* const first = static_cast<const uint8_t*>(data);
        bytes.assign(first, first + last + 1);
        SafeArrayUnaccessData(array);
    }
    SafeArrayDestroy(array);
    return bytes;
}

}  // namespace tool

int main(int argc, char** argv) {
    return tool::Run({argv + (argc > 0 ? 1 : 0), argv + argc});
}
