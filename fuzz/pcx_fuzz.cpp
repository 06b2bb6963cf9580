// PCX files, and DCX containers where the bytes begin like one.
#include "load_bytes.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const bool container = size > 0 && data[0] == 0xB1;
    kestr::fuzz::LoadBytes(data, size, container ? ".dcx" : ".pcx");
    if (container) kestr::fuzz::LoadBytes(data, size, ".dcx", 1);
    return 0;
}
