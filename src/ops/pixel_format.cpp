#include "ops/pixel_format.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <new>
#include <vector>

#include "base/picture_size.h"
#include "image/image_bits.h"

namespace kestr {
namespace {

int SumOfChannels(const CRGBQuad& entry) {
    return entry.rgbRed + entry.rgbGreen + entry.rgbBlue;
}

}  // namespace

CPixelBytes MakeStore(int bitCount, int32_t width, int32_t height) {
    const uint64_t rowBytes = CBitmapInfo::RowBytes(bitCount, width);
    const auto bytes = StoreBytes(rowBytes, static_cast<uint64_t>(height));
    if (!bytes) throw std::bad_alloc();
    CPixelBytes store;
    store.ResizeUninitialized(*bytes);
    for (size_t end = static_cast<size_t>(rowBytes); end <= *bytes && rowBytes != 0;
         end += static_cast<size_t>(rowBytes)) {
        std::memset(store.data() + end - 4, 0, 4);  // the padding lies in the last four bytes
    }
    return store;
}

CPixelWords MakeStore16(int channels, int32_t width, int32_t height) {
    const auto bytes =
        StoreBytes(uint64_t{2} * static_cast<uint32_t>(channels) * static_cast<uint32_t>(width),
                   static_cast<uint32_t>(height));
    if (!bytes) throw std::bad_alloc();
    CPixelWords store;
    store.ResizeUninitialized(*bytes / 2);
    return store;
}

void UnpackIndices(const uint8_t* row, int bitCount, int32_t width, uint8_t* indices) {
    const auto count = static_cast<size_t>(width);
    switch (bitCount) {
        case 1:
            for (size_t x = 0; x < count; ++x) indices[x] = (row[x / 8] >> (7 - x % 8)) & 1;
            break;
        case 4:
            for (size_t x = 0; x < count; ++x) indices[x] = (row[x / 2] >> (4 - x % 2 * 4)) & 15;
            break;
        default:
            std::memcpy(indices, row, count);
    }
}

void PackIndices(const uint8_t* indices, int bitCount, int32_t width, uint8_t* row) {
    const auto count = static_cast<size_t>(width);
    if (bitCount == 8) {
        std::memcpy(row, indices, count);
        return;
    }
    const auto bits = static_cast<size_t>(bitCount);
    const size_t pixelsInByte = 8 / bits;
    for (size_t x = 0; x < count; x += pixelsInByte) {
        const size_t pixels = std::min(pixelsInByte, count - x);
        unsigned byte = 0;
        for (size_t i = 0; i < pixels; ++i) byte |= indices[x + i] << (8 - bits * (i + 1));
        row[x / pixelsInByte] = static_cast<uint8_t>(byte);
    }
}

void WidenTo8Bits(CBitmapInfo& info, CPixelBytes& pixels) {
    if (info.BitCount() >= 8) return;
    const auto sourceStep = static_cast<size_t>(info.RowBytes());
    const uint16_t colors = info.ColorCount();
    CPixelBytes widened = MakeStore(8, info.Width(), info.Height());
    const auto step = static_cast<size_t>(CBitmapInfo::RowBytes(8, info.Width()));
    for (size_t y = 0; y < static_cast<size_t>(info.Height()); ++y) {
        UnpackIndices(pixels.data() + y * sourceStep, info.BitCount(), info.Width(),
                      widened.data() + y * step);
    }
    info.SetBitCount(8);
    info.Header().biClrUsed = colors;
    pixels = std::move(widened);
}

void ExpandTo24Bits(CBitmapInfo& info, CPixelBytes& pixels) {
    if (info.BitCount() >= 24) return;
    const auto width = static_cast<size_t>(info.Width());
    const auto sourceStep = static_cast<size_t>(info.RowBytes());
    CPixelBytes expanded = MakeStore(24, info.Width(), info.Height());
    const auto step = static_cast<size_t>(CBitmapInfo::RowBytes(24, info.Width()));
    const auto& palette = info.Palette();
    std::vector<uint8_t> indices(width);
    for (size_t y = 0; y < static_cast<size_t>(info.Height()); ++y) {
        UnpackIndices(pixels.data() + y * sourceStep, info.BitCount(), info.Width(),
                      indices.data());
        uint8_t* destination = expanded.data() + y * step;
        for (size_t x = 0; x < width; ++x) {
            const CRGBQuad entry = palette[indices[x]];
            destination[3 * x] = entry.rgbBlue;
            destination[3 * x + 1] = entry.rgbGreen;
            destination[3 * x + 2] = entry.rgbRed;
        }
    }
    info.SetFormat(24, info.Width(), info.Height());
    pixels = std::move(expanded);
}

void NormalizeBilevel(CBitmapInfo& info, CPixelBytes& pixels) {
    auto& palette = info.Palette();
    if (info.BitCount() != 1 || info.ColorCount() != 2) return;
    if (SumOfChannels(palette[0]) <= SumOfChannels(palette[1])) return;
    std::swap(palette[0], palette[1]);
    for (uint8_t& byte : pixels) byte = static_cast<uint8_t>(~byte);
}

void CImageBits::WidenTo8Bits() {
    if (bitmapInfo.BitCount() >= 8) return;
    kestr::WidenTo8Bits(bitmapInfo, bits);
    PixelsChanged();
    NormalizeGray();
}

void CImageBits::ExpandTo24Bits() {
    if (bitmapInfo.BitCount() >= 24) return;
    kestr::ExpandTo24Bits(bitmapInfo, bits);
    PixelsChanged();
}

void CImageBits::NormalizeBilevel() {
    kestr::NormalizeBilevel(bitmapInfo, bits);
    DropDisplayCaches();
}

}  // namespace kestr
