#include "ops/sample_map.h"

#include "platform/byte_lookup.h"

namespace kestr {

void MapSamples(const CPixelView<uint8_t>& pixels, const std::array<const CByteMap*, 3>& maps) {
    const bool alike = pixels.channels == 1 || (*maps[0] == *maps[1] && *maps[1] == *maps[2]);
    const std::array tables{maps[0]->data(), maps[1]->data(), maps[2]->data()};
    for (int32_t y = 0; y < pixels.height; ++y) {
        uint8_t* const row = pixels.Row(y);
        if (alike) {
            LookUpBytes(row, pixels.RowSamples(), tables[0]);
        } else {
            LookUpTriples(row, static_cast<size_t>(pixels.width), tables);
        }
    }
}

void MapSamples(const CPixelView<uint16_t>& pixels, const std::array<const CWordMap*, 3>& maps) {
    const bool alike = pixels.channels == 1 || (maps[0] == maps[1] && maps[1] == maps[2]);
    const uint16_t* const blue = maps[0]->entries.data();
    const int shift = maps[0]->shift;
    const uint16_t* const green = alike ? blue : maps[1]->entries.data();
    const uint16_t* const red = alike ? blue : maps[2]->entries.data();
    for (int32_t y = 0; y < pixels.height; ++y) {
        uint16_t* const row = pixels.Row(y);
        const size_t count = pixels.RowSamples();
        if (alike) {
            for (size_t i = 0; i < count; ++i) row[i] = blue[row[i] >> shift];
        } else {
            for (size_t i = 0; i < count; i += 3) {
                row[i] = blue[row[i] >> shift];
                row[i + 1] = green[row[i + 1] >> shift];
                row[i + 2] = red[row[i + 2] >> shift];
            }
        }
    }
}

void MapPalette(CBitmapInfo& info, const std::array<const CByteMap*, 3>& maps) {
    for (size_t i = 0; i < info.PaletteSize(); ++i) {
        CRGBQuad& entry = info.Palette()[i];
        entry.rgbBlue = (*maps[0])[entry.rgbBlue];
        entry.rgbGreen = (*maps[1])[entry.rgbGreen];
        entry.rgbRed = (*maps[2])[entry.rgbRed];
    }
}

}  // namespace kestr
