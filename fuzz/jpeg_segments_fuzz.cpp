// The marker scan: segments lie one behind the other and leave nothing out.
#include "metadata/jpeg_segments.h"

#include <cstddef>
#include <cstdint>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const std::span<const uint8_t> file(data, size);
    size_t at = 0;
    const auto segments = kestr::ScanJPEG(file);
    for (const auto& segment : segments) {
        if (segment.offset != at || segment.length == 0) __builtin_trap();
        at += segment.length;
    }
    if (!segments.empty() && at != size) __builtin_trap();
    kestr::JPEGTail(file);
    return 0;
}
