// More bits a pixel, with the same colours.

#include <utility>

#include "image/image_bits.h"

namespace kestr {
namespace {

constexpr char kBadDestination[] = "Invalid destination BPP value specified.";

/// Pixels of 1 bit become nibbles; the palette and its number of colours stay.
void WidenTo4Bits(CBitmapInfo& info, CPixelBytes& pixels) {
    const auto width = static_cast<size_t>(info.Width());
    const auto sourceStep = static_cast<size_t>(info.RowBytes());
    const auto step = static_cast<size_t>(CBitmapInfo::RowBytes(4, info.Width()));
    CPixelBytes widened;
    widened.ResizeZeroed(step * static_cast<size_t>(info.Height()));
    for (size_t y = 0; y < static_cast<size_t>(info.Height()); ++y) {
        const uint8_t* source = pixels.data() + y * sourceStep;
        uint8_t* to = widened.data() + y * step;
        for (size_t x = 0; x < width; ++x) {
            const int bit = source[x / 8] >> (7 - x % 8) & 1;
            to[x / 2] = static_cast<uint8_t>(to[x / 2] | bit << (4 - x % 2 * 4));
        }
    }
    const uint16_t colors = info.ColorCount();
    info.SetBitCount(4);
    info.Header().biClrUsed = colors;
    pixels = std::move(widened);
}

CPixelWords TripleSamples(const CPixelWords& samples) {
    CPixelWords tripled;
    tripled.ResizeUninitialized(3 * samples.size());
    for (size_t i = 0; i < samples.size(); ++i) {
        tripled[3 * i] = tripled[3 * i + 1] = tripled[3 * i + 2] = samples[i];
    }
    return tripled;
}

}  // namespace

bool CImageBits::OpIncreaseBitsPerPixel(int32_t bitCount, int undo) {
    if (bitCount == bitmapInfo.BitCount()) return true;
    if (bitCount < bitmapInfo.BitCount() || (bitCount != 4 && bitCount != 8 && bitCount != 24)) {
        errorText = kBadDestination;
        return false;
    }
    BeginUndoable(undo);
    // A gray picture alone has such a store here, and 24 bits are all that can be asked of it.
    if (Has16Bit()) bits16 = TripleSamples(bits16);
    switch (bitCount) {
        case 4:
            WidenTo4Bits(bitmapInfo, bits);
            break;
        case 8:
            WidenTo8Bits();
            break;
        default:
            ExpandTo24Bits();
    }
    PixelsChanged();
    return true;
}

}  // namespace kestr
