// Photoshop files: composed from their layers, flattened, and as a thumbnail.
#include "load_bytes.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    kestr::fuzz::LoadBytes(data, size, ".psd");
    kestr::fuzz::LoadBytes(data, size, ".psd", 0, 20);
    return 0;
}
