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

}  // namespace tool

int main(int argc, char** argv) {
    return tool::Run({argv + (argc > 0 ? 1 : 0), argv + argc});
}
