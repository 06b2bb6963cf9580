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

}  // namespace tool

int wmain(int argc, wchar_t** argv) {
    SetConsoleOutputCP(CP_UTF8);
    return tool::Run({argv + (argc > 0 ? 1 : 0), argv + argc});
}
