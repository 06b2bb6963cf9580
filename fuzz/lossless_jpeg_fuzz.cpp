// Lossless JPEG with and without bits behind category 16.
#include "raw/lossless_jpeg.h"

#include <cstddef>
#include <cstdint>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    for (const bool bitsBehind16 : {false, true}) {
        const auto decoder = kestr::CLosslessJPEG::Open({data, size}, bitsBehind16);
        if (!decoder) continue;
        while (!decoder->NextRow().empty()) {
        }
    }
    return 0;
}
