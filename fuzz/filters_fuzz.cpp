// Neighbourhood filters and colour reduction with any arguments, on small pictures of all depths,
// inside selections of any kind.
#include <algorithm>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <vector>

#include "base/byte_cursor.h"
#include "image/image_bits.h"

namespace {

using namespace kestr;
using CInput = CByteCursor<std::endian::little>;

/// Fills a store with bytes of the input, over and over.
template <typename Store>
void Fill(Store& store, uint32_t seed, uint32_t mask) {
    for (auto& sample : store) {
        seed = seed * 1664525 + 1013904223;
        sample = static_cast<typename Store::value_type>(seed >> 9 & mask);
    }
}

void MakePicture(CImageBits& image, CInput& in) {
    constexpr int kBits[] = {1, 4, 8, 8, 24, 24, 24, 8};
    const uint8_t kind = in.U8() & 7;
    const int32_t width = in.U8() % 90 + 1;
    const int32_t height = in.U8() % 20 + 1;
    image.bitmapInfo.SetFormat(kBits[kind], width, height);
    image.bits.ResizeZeroed(image.RowBytes() * static_cast<size_t>(height));
    image.loaded = true;
    const uint32_t seed = in.U32();
    const uint32_t mask = in.U8();  // few bits give many equal pixels
    Fill(image.bits, seed, mask);
    if (kind >= 6) {
        image.bitmapInfo.SetGrayPalette();
        image.bits16.ResizeUninitialized(static_cast<size_t>(width) * static_cast<size_t>(height) *
                                         static_cast<size_t>(image.Samples16()));
        Fill(image.bits16, seed, mask * 257);
        image.RefreshDisplayData();
    } else if (kind == 2) {
        image.bitmapInfo.SetGrayPalette();
    } else {
        uint8_t level = 0;
        for (CRGBQuad& entry : image.bitmapInfo.Palette()) {
            entry = {level, static_cast<uint8_t>(level * seed), static_cast<uint8_t>(level ^ mask)};
            level = static_cast<uint8_t>(level + seed % 5);
        }
        image.bitmapInfo.SetColorCount(in.U8());
    }
    const uint8_t selection = in.U8();
    if ((selection & 3) == 0) {
        const int32_t left = in.U8();
        const int32_t top = in.U8();
        image.SetOpRect(std::min(left, width), std::min(top, height), in.U8() % (width + 1),
                        in.U8() % (height + 1), in.I16());
        image.inverseSelect = (selection & 4) != 0;
    }
}

void Operate(CImageBits& image, CInput& in) {
    const int undo = in.U8() & 1;
    switch (in.U8() % 11) {
        case 0: {
            const int16_t width = in.I16();
            const int16_t height = in.I16();
            if (width > 0 && height > 0 && width * height > 4000) return;
            std::vector<int16_t> matrix(
                static_cast<size_t>(std::max(0, int{width}) * std::max(0, int{height})));
            for (int16_t& weight : matrix) weight = in.I16();
            const uint16_t bias = in.U16();
            image.OpConvolveEx(width, height, matrix.data(), bias, in.U16(), bias, undo);
            break;
        }
        case 1:
            image.OpSharpen(in.I16(), undo);
            break;
        case 2:
            image.OpSoften(in.I16(), undo);
            break;
        case 3:
            image.OpMedianFilter(in.I16(), undo);
            break;
        case 4:
            image.OpReduceNoise(in.I16(), undo);
            break;
        case 5:
            image.OilPaint24(in.I16(), undo);
            break;
        case 6:
            image.OpNeon(undo);
            break;
        case 7:
        case 8: {
            const int16_t colours = in.I16();
            image.OpReduceColors(colours, in.U8() & 15, (in.U8() & 1) != 0, undo);
            break;
        }
        case 9:
            image.OpMatchStandardPalette(in.U8() & 15, (in.U8() & 1) != 0, undo);
            break;
        default:
            image.OpIncreaseBitsPerPixel(in.U8() & 31, undo);
    }
}

/// What holds for every picture, whatever was done to it.
void Check(const CImageBits& image) {
    const auto pixels = static_cast<size_t>(image.Width()) * static_cast<size_t>(image.Height());
    if (image.bits.size() != image.RowBytes() * static_cast<size_t>(image.Height())) std::abort();
    if (!image.Has16Bit()) return;
    const auto samples = static_cast<size_t>(image.Samples16());
    if (image.bits16.size() != pixels * samples) std::abort();
    for (int32_t y = 0; y < image.Height(); ++y) {
        const size_t count = static_cast<size_t>(image.Width()) * samples;
        const uint16_t* row = image.bits16.data() + static_cast<size_t>(y) * count;
        const uint8_t* display = image.RowFromTop(y);
        for (size_t i = 0; i < count; ++i) {
            if (row[i] >> 8 != display[i]) std::abort();
        }
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    CInput in({data, size});
    CImageBits image;
    MakePicture(image, in);
    for (int i = 0; i < 3; ++i) Operate(image, in);
    Check(image);
    return 0;
}
