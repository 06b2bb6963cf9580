// Every maker's note from the same bytes: the first two tell where its directory lies and what its
// offsets count from.
#include "metadata/maker_notes.h"

#include <cstddef>
#include <cstdint>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size < 2) return 0;
    const std::span<const uint8_t> file(data, size);
    const uint64_t at = data[0];
    const uint64_t base = data[1];
    (void)kestr::ReadEpsonNote(file, at);
    (void)kestr::ReadKodakNote(file, at);
    (void)kestr::ReadMinoltaNote(file, at);
    (void)kestr::ReadPentaxNote(file, at);
    for (const bool bigEndian : {false, true}) {
        (void)kestr::ReadNikonPreview(file, at, base, bigEndian);
        (void)kestr::ReadOlympusNote(file, at, base, bigEndian);
    }
    return 0;
}
