// Portable anymaps: load, and the same as a thumbnail.
#include "load_bytes.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    kestr::fuzz::LoadBytes(data, size, ".ppm");
    kestr::fuzz::LoadBytes(data, size, ".ppm", 0, 20);
    return 0;
}
