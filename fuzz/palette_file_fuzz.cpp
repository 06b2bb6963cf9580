// Palette files of both kinds; what is read is written and read again.
#include "ops/palette_file.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <span>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    using namespace kestr;
    const std::vector<CRGBQuad> palette = ParsePalette({data, size});
    if (palette.size() > size) std::abort();  // each entry takes some bytes
    if (palette.empty() || palette.size() > 256) return 0;
    const auto same = [](const CRGBQuad& a, const CRGBQuad& b) {
        return a.rgbBlue == b.rgbBlue && a.rgbGreen == b.rgbGreen && a.rgbRed == b.rgbRed;
    };
    if (!std::ranges::equal(palette, ParsePalette(MakePaletteFile(palette)), same)) std::abort();
    return 0;
}
