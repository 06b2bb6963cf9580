#include <algorithm>
#include <optional>

#include "ops/guard.h"
#include "ops/pixel_format.h"

namespace kestr {
namespace {

/// Index of the first entry of a colour.
std::optional<uint8_t> FindColour(const CBitmapInfo& info, uint8_t red, uint8_t green,
                                  uint8_t blue) {
    const auto palette = std::span(info.Palette()).first(info.PaletteSize());
    const auto found = std::ranges::find_if(palette, [=](const CRGBQuad& entry) {
        return entry.rgbRed == red && entry.rgbGreen == green && entry.rgbBlue == blue;
    });
    if (found == palette.end()) return std::nullopt;
    return static_cast<uint8_t>(found - palette.begin());
}

/// Makes room for one more colour. Past 256 of them the picture gets 24 bits.
void MakeRoomInPalette(CBitmapInfo& info, CPixelBytes& pixels) {
    const int bitCount = info.BitCount();
    if (bitCount == 8 && info.PaletteSize() == 256) {
        ExpandTo24Bits(info, pixels);
    } else if (bitCount == 1 || (bitCount == 4 && info.PaletteSize() >= 16)) {
        WidenTo8Bits(info, pixels);
    }
}

uint8_t AppendColour(CBitmapInfo& info, uint8_t red, uint8_t green, uint8_t blue) {
    const uint16_t index = info.ColorCount();
    info.Palette()[index] = {blue, green, red, 0};
    // A full palette of the format is stated as 0.
    info.Header().biClrUsed = index + 1 == 1 << info.BitCount() ? 0 : index + 1u;
    return static_cast<uint8_t>(index);
}

}  // namespace

void CImageBits::OpSetPixelColor(uint32_t x, uint32_t y, uint16_t red, uint16_t green,
                                 uint16_t blue, int undo) {
    if (x >= static_cast<uint32_t>(Width()) || y >= static_cast<uint32_t>(Height())) return;
    Guarded(*this, [&] {
        BeginUndoable(undo);
        const bool coloured = red != green || green != blue;
        const int shift = Has16Bit() ? 8 : 0;
        const auto red8 = static_cast<uint8_t>(red >> shift);
        const auto green8 = static_cast<uint8_t>(green >> shift);
        const auto blue8 = static_cast<uint8_t>(blue >> shift);
        if (Has16Bit() && coloured && IsGray()) bits16.clear();
        if (Has16Bit()) {
            const auto channels = static_cast<size_t>(Samples16());
            uint16_t* const sample =
                bits16.data() + (size_t{y} * static_cast<size_t>(Width()) + x) * channels;
            sample[0] = blue;
            if (channels == 3) {
                sample[1] = green;
                sample[2] = red;
            }
        }
        std::optional<uint8_t> index;
        if (bitmapInfo.BitCount() < 24) {
            index = FindColour(bitmapInfo, red8, green8, blue8);
            if (!index) {
                MakeRoomInPalette(bitmapInfo, bits);
                if (bitmapInfo.BitCount() < 24) {
                    index = AppendColour(bitmapInfo, red8, green8, blue8);
                }
            }
        }
        uint8_t* const row = RowFromTop(static_cast<int32_t>(y));
        if (!index) {
            row[3 * size_t{x}] = blue8;
            row[3 * size_t{x} + 1] = green8;
            row[3 * size_t{x} + 2] = red8;
        } else {
            const unsigned bitCount = static_cast<unsigned>(bitmapInfo.BitCount());
            const unsigned inByte = 8 / bitCount;
            const unsigned shiftInByte = 8 - bitCount * (x % inByte + 1);
            const unsigned mask = ((1u << bitCount) - 1) << shiftInByte;
            uint8_t& byte = row[x / inByte];
            byte = static_cast<uint8_t>((byte & ~mask) | unsigned{*index} << shiftInByte);
        }
        if (coloured) {
            PixelsChanged();
        } else {
            DropDisplayCaches();
        }
    });
}

}  // namespace kestr
