#include "label.h"

#include <algorithm>
#include <cstddef>

#include "glyphs.h"

namespace tool {

void DrawLabel(HKESTRSESSION sheet, std::string_view text, int left, int top, int width) {
    constexpr int kGapAbove = 4;
    const auto most = static_cast<size_t>(std::max(width / kGlyphStep, 0));
    text = text.substr(0, most);
    int x = left + (width - static_cast<int>(text.size()) * kGlyphStep) / 2;
    for (const char letter : text) {
        for (int column = 0; column < kGlyphWidth; ++column) {
            for (int row = 0; row < kGlyphHeight; ++row) {
                if (!GlyphPixel(letter, column, row)) continue;
                cOpSetPixelColor(sheet, static_cast<uint32_t>(x + column),
                                 static_cast<uint32_t>(top + kGapAbove + row), 0, 0, 0);
            }
        }
        x += kGlyphStep;
    }
}

}  // namespace tool
