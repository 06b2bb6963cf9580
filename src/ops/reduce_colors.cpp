// Fewer colours: to a palette found for the picture, to a standard one or to one of a file. These
// operations act on the whole picture and take the 16-bit store away.

#include <algorithm>
#include <array>
#include <optional>
#include <span>
#include <utility>
#include <vector>

#include "base/luminance.h"
#include "base/standard_palette.h"
#include "image/image_bits.h"
#include "ops/color_mapper.h"
#include "ops/color_quantizer.h"
#include "ops/palette_file.h"
#include "ops/pixel_format.h"

namespace kestr {
namespace {

constexpr char kBadBits[] = "Invalid bit count.";
constexpr char kTooManyColors[] = "Color count exceeds maximum for bits parameter.";
constexpr char kAlreadyReduced[] = "Image colors already reduced.";
constexpr char kBitsTooHigh[] = "Bits parameter incompatible with image bits.";
constexpr char kNoSuchPalette[] = "Only 4 or 8 bit standard palettes can be specified.";
constexpr char kTooFewBits[] = "Cannot increase color resolution.";

constexpr std::array<CRGBQuad, 2> kBlackAndWhite{{{0, 0, 0}, {255, 255, 255}}};

/// What a picture is to be reduced to.
struct CReduction {
    int32_t colours = 0;
    int bits = 8;
    bool dither = false;
    std::span<const CRGBQuad> palette;  // given, or empty
};

/// A row of palette indices as the rows of 1, 4 or 8 bits that memory holds; row padding is 0.
void PackIndices(const uint8_t* indices, int32_t width, int bits, uint8_t* row) {
    const auto count = static_cast<size_t>(width);
    switch (bits) {
        case 1:
            for (size_t x = 0; x < count; x += 8) {
                uint32_t byte = 0;
                for (size_t i = x; i < x + 8; ++i)
                    byte = byte << 1 | (i < count && indices[i] != 0);
                row[x / 8] = static_cast<uint8_t>(byte);
            }
            break;
        case 4:
            // An index above 15, from a palette's black tail, is cut to its low bits.
            for (size_t x = 0; x < count; x += 2) {
                const int low = x + 1 < count ? indices[x + 1] & 15 : 0;
                row[x / 2] = static_cast<uint8_t>(indices[x] << 4 | low);
            }
            break;
        default:
            std::copy_n(indices, count, row);
    }
}

/// The pixels of a picture as rows of blue, green, red in the order of memory.
class CColourRows {
public:
    CColourRows(const CBitmapInfo& info, const CPixelBytes& pixels)
        : m_info(info), m_pixels(pixels), m_indices(static_cast<size_t>(info.Width())) {}

    void Read(int32_t y, uint8_t* colours) {
        const uint8_t* row = m_pixels.data() + static_cast<size_t>(y) * m_info.RowBytes();
        if (m_info.BitCount() == 24) {
            std::copy_n(row, 3 * m_indices.size(), colours);
            return;
        }
        UnpackIndices(row, m_info.BitCount(), m_info.Width(), m_indices.data());
        for (const uint8_t index : m_indices) {
            const CRGBQuad entry = m_info.Palette()[index];
            *colours++ = entry.rgbBlue;
            *colours++ = entry.rgbGreen;
            *colours++ = entry.rgbRed;
        }
    }

private:
    const CBitmapInfo& m_info;
    const CPixelBytes& m_pixels;
    std::vector<uint8_t> m_indices;
};

void SetPalette(CBitmapInfo& info, int bits, std::span<const CRGBQuad> palette) {
    info.SetFormat(bits, info.Width(), info.Height());
    info.Palette().fill({});
    std::ranges::copy(palette, info.Palette().begin());
    info.SetColorCount(static_cast<uint8_t>(palette.size()));
}

CPixelBytes MakeRows(const CBitmapInfo& info, int bits) {
    CPixelBytes rows;
    rows.ResizeZeroed(static_cast<size_t>(CBitmapInfo::RowBytes(bits, info.Width())) *
                      static_cast<size_t>(info.Height()));
    return rows;
}

/// Maps every pixel onto the palette that the reduction asks for.
void MapColours(CBitmapInfo& info, CPixelBytes& pixels, const CReduction& to) {
    const int32_t width = info.Width();
    CColourRows source(info, pixels);
    std::vector<CRGBQuad> palette(to.palette.begin(), to.palette.end());
    if (to.colours == 2 && to.bits == 1 && to.dither) {
        palette.assign(kBlackAndWhite.begin(), kBlackAndWhite.end());
    } else if (palette.empty()) {
        ColorQuantizer quantizer(static_cast<uint32_t>(width) *
                                 static_cast<uint32_t>(info.Height()));
        std::vector<uint8_t> row(3 * static_cast<size_t>(width));
        for (int32_t y = 0; y < info.Height(); ++y) {
            source.Read(y, row.data());
            quantizer.AddRow(row.data(), static_cast<size_t>(width));
        }
        palette = quantizer.MakePalette(to.colours);
    }
    CPixelBytes mapped = MakeRows(info, to.bits);
    const auto rowBytes = static_cast<size_t>(CBitmapInfo::RowBytes(to.bits, width));
    ColorMapper mapper(palette, static_cast<size_t>(width), to.dither);
    mapper.Map(
        info.Height(), [&](int32_t y, uint8_t* row) { source.Read(y, row); },
        [&](int32_t y, const uint8_t* indices) {
            PackIndices(indices, width, to.bits, mapped.data() + static_cast<size_t>(y) * rowBytes);
        });
    pixels = std::move(mapped);
    SetPalette(info, to.bits, palette);
}

/// An 8-bit picture that uses few colours keeps them all; false when it uses more than `most`. The
/// result has 4 bits a pixel, even if 1 bit would do: kept as it is.
bool CompactPalette(CBitmapInfo& info, CPixelBytes& pixels, int32_t most) {
    const auto width = static_cast<size_t>(info.Width());
    const auto sourceStep = static_cast<size_t>(info.RowBytes());
    std::array<bool, 256> used{};
    for (size_t y = 0; y < static_cast<size_t>(info.Height()); ++y) {
        const uint8_t* row = pixels.data() + y * sourceStep;
        for (size_t x = 0; x < width; ++x) used[row[x]] = true;
    }
    std::vector<CRGBQuad> palette;
    std::array<uint8_t, 256> number{};
    for (size_t i = 0; i < used.size(); ++i) {
        if (!used[i]) continue;
        number[i] = static_cast<uint8_t>(palette.size());
        palette.push_back(info.Palette()[i]);
    }
    if (static_cast<int64_t>(palette.size()) > most) return false;
    CPixelBytes packed = MakeRows(info, 4);
    const auto step = static_cast<size_t>(CBitmapInfo::RowBytes(4, info.Width()));
    std::vector<uint8_t> indices(width);
    for (size_t y = 0; y < static_cast<size_t>(info.Height()); ++y) {
        const uint8_t* row = pixels.data() + y * sourceStep;
        for (size_t x = 0; x < width; ++x) indices[x] = number[row[x]];
        PackIndices(indices.data(), info.Width(), 4, packed.data() + y * step);
    }
    pixels = std::move(packed);
    SetPalette(info, 4, palette);
    return true;
}

void Reduce(CBitmapInfo& info, CPixelBytes& pixels, const CReduction& to) {
    if (info.BitCount() == 8 && to.bits < 8 && to.palette.empty() &&
        CompactPalette(info, pixels, to.colours)) {
        return;
    }
    MapColours(info, pixels, to);
}

/// Ordered dither to black and white, in the order of memory rows.
void Halftone(CBitmapInfo& info, CPixelBytes& pixels) {
    constexpr uint8_t kThresholds[4][4] = {
        {0, 128, 32, 160}, {192, 64, 224, 96}, {48, 176, 16, 144}, {240, 112, 208, 80}};
    const auto width = static_cast<size_t>(info.Width());
    const auto step = static_cast<size_t>(CBitmapInfo::RowBytes(1, info.Width()));
    CPixelBytes bits = MakeRows(info, 1);
    CColourRows source(info, pixels);
    std::vector<uint8_t> row(3 * width);
    for (int32_t y = 0; y < info.Height(); ++y) {
        source.Read(y, row.data());
        const uint8_t(&thresholds)[4] = kThresholds[y & 3];
        uint8_t* to = bits.data() + static_cast<size_t>(y) * step;
        for (size_t x = 0; x < width; x += 8) {
            // Kept as it is: a last, partly filled byte holds its pixels at the low end.
            uint32_t byte = 0;
            for (size_t i = x; i < std::min(x + 8, width); ++i) {
                const uint8_t* pixel = row.data() + 3 * i;
                byte = byte << 1 | (Luminance(pixel[2], pixel[1], pixel[0]) > thresholds[i & 3]);
            }
            to[x / 8] = static_cast<uint8_t>(byte);
        }
    }
    pixels = std::move(bits);
    SetPalette(info, 1, kBlackAndWhite);
}

}  // namespace

bool CImageBits::OpReduceColors(int16_t colours, int16_t bitCount, bool dither, int undo) {
    if (bitCount != 1 && bitCount != 4 && bitCount != 8) {
        errorText = kBadBits;
        return false;
    }
    if (colours > 1 << bitCount) {
        errorText = kTooManyColors;
        return false;
    }
    DropDisplayCaches();
    BeginUndoable(undo);
    // A failure from here on puts back what is taken away.
    CPixelWords samples = std::exchange(bits16, {});
    CPixelBytes alphaPlane;
    if (bitCount < 8) alphaPlane = std::exchange(alpha, {});
    const auto fail = [&](const char* words) {
        if (undo != 0 && !undoStack.empty()) undoStack.pop_back();
        bits16.swap(samples);
        if (bitCount < 8) alpha.swap(alphaPlane);
        errorText = words;
        return false;
    };
    const bool halftone = bitCount == 1 && !dither;
    if (halftone && bitmapInfo.BitCount() == 1) return fail(kAlreadyReduced);
    if (!halftone && bitmapInfo.BitCount() < 24 && bitCount >= bitmapInfo.BitCount()) {
        return fail(kBitsTooHigh);
    }
    if (halftone) {
        Halftone(bitmapInfo, bits);
    } else {
        Reduce(bitmapInfo, bits,
               {.colours = colours, .bits = bitCount, .dither = dither, .palette = {}});
    }
    PixelsChanged();
    return true;
}

bool CImageBits::OpMatchStandardPalette(int16_t bitCount, bool dither, int undo) {
    const std::span<const CRGBQuad> palette = StandardPalette(bitCount);
    if (palette.empty()) {
        errorText = kNoSuchPalette;
        return false;
    }
    if (bitCount > bitmapInfo.BitCount()) {
        errorText = kTooFewBits;
        return false;
    }
    MatchPalette(palette, bitCount, dither, undo);
    return true;
}

bool CImageBits::OpMatchToPalette(const KESTR_CHAR* path, bool dither, int undo) {
    // Fails without words, whatever is wrong with the file.
    const std::vector<CRGBQuad> palette = ReadPaletteFile(path);
    if (palette.empty() || palette.size() > 256) return false;
    const int bitCount = palette.size() > 16 ? 8 : 4;
    if (bitCount > bitmapInfo.BitCount()) return false;
    MatchPalette(palette, bitCount, dither, undo);
    return true;
}

void CImageBits::MatchPalette(std::span<const CRGBQuad> palette, int bitCount, bool dither,
                              int undo) {
    DropDisplayCaches();
    BeginUndoable(undo);
    bits16.clear();
    Reduce(bitmapInfo, bits,
           {.colours = static_cast<int32_t>(palette.size()),
            .bits = bitCount,
            .dither = dither,
            .palette = palette});
    PixelsChanged();
}

}  // namespace kestr
