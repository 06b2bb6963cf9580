// DNG files through the interface.
#include "load_raw_bytes.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    kestr::fuzz::LoadRawBytes(data, size, ".dng");
    return 0;
}
