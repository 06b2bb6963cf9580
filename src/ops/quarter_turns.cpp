// Turns by 90, 180 and 270 degrees.

#include <algorithm>
#include <array>
#include <bit>
#include <cstring>
#include <exception>
#include <type_traits>
#include <vector>

#include "base/messages.h"
#include "image/image_bits.h"
#include "ops/mirror.h"
#include "ops/pixel_format.h"
#include "ops/pixel_view.h"
#include "platform/triple_transpose.h"
#include "platform/vector_clones.h"

namespace kestr {
namespace {

// A tile of the destination, whose rows stay in the cache with as many lines of the source: the
// tiles of a column of them follow each other, so that source rows are read along.
constexpr int32_t kTileColumns = 128;
constexpr int32_t kTileRows = 64;
constexpr int32_t kStripRows = 64;  // rows of packed pixels that are turned at a time

/// Source rows run along destination columns. The walk along a destination row starts at `corner`,
/// the source pixel of destination (0, 0), and goes by `along` samples; the next destination row
/// starts `down` samples further.
template <typename Sample>
struct CTurn {
    const Sample* corner;
    ptrdiff_t along;
    ptrdiff_t down;
};

template <typename Sample>
CTurn<Sample> MakeTurn(const CPixelView<Sample>& source, bool clockwise) {
    if (clockwise) return {source.Row(source.height - 1), -source.rowStep, source.channels};
    return {source.top + ptrdiff_t{source.width - 1} * source.channels, source.rowStep,
            -source.channels};
}

/// Four samples as one number, the first one lowest.
template <typename Sample>
using CFour = std::conditional_t<sizeof(Sample) == 1, uint32_t, uint64_t>;
static_assert(std::endian::native == std::endian::little);

template <typename Sample>
KESTR_INLINE CFour<Sample> ReadFour(const Sample* from) {
    CFour<Sample> four;
    std::memcpy(&four, from, sizeof(four));
    return four;
}

/// Writes four pixels side by side. Of three channels, each is read with the sample behind it.
template <int kChannels, typename Sample>
KESTR_INLINE void WriteFourPixels(const std::array<const Sample*, 4>& from, Sample* to) {
    using Four = CFour<Sample>;
    constexpr int kBits = 8 * sizeof(Sample);
    if constexpr (kChannels == 1) {
        Four four = 0;
        for (size_t i = 0; i < 4; ++i) four |= Four{*from[i]} << i * kBits;
        std::memcpy(to, &four, sizeof(four));
    } else {
        constexpr Four kPixel = ~Four{0} >> kBits;
        const Four first = ReadFour(from[0]) & kPixel;
        const Four second = ReadFour(from[1]) & kPixel;
        const Four third = ReadFour(from[2]) & kPixel;
        const Four fourth = ReadFour(from[3]);
        const std::array<Four, 3> pixels{first | second << 3 * kBits,
                                         second >> kBits | third << 2 * kBits,
                                         third >> 2 * kBits | fourth << kBits};
        std::memcpy(to, pixels.data(), sizeof(pixels));
    }
}

/// Pixels one by one.
template <int kChannels, typename Sample>
void TurnSingly(const CTurn<Sample>& turn, const CPixelView<Sample>& destination, int32_t left,
                int32_t top, int32_t right, int32_t bottom) {
    for (int32_t x = left; x < right; ++x) {
        const Sample* from = turn.corner + x * turn.along + top * turn.down;
        for (int32_t y = top; y < bottom; ++y, from += turn.down) {
            std::copy_n(from, kChannels, destination.Row(y) + ptrdiff_t{x} * kChannels);
        }
    }
}

template <int kChannels, typename Sample>
void TurnTile(const CTurn<Sample>& turn, const CPixelView<Sample>& destination, int32_t left,
              int32_t top, int32_t right, int32_t bottom) {
    // Destination lines of the tile below are asked for when this tile comes to a line's columns.
    constexpr int32_t kLinePixels = 64 / (kChannels * sizeof(Sample)) / 4 * 4;
    int32_t x = left;
    for (; x + 4 <= right; x += 4) {
        std::array<const Sample*, 4> from;
        for (int i = 0; i < 4; ++i) {
            from[static_cast<size_t>(i)] = turn.corner + (x + i) * turn.along + top * turn.down;
        }
        const bool newLine = (x - left) % kLinePixels == 0;
        for (int32_t y = top; y < bottom; ++y) {
            Sample* const to = destination.Row(y) + ptrdiff_t{x} * kChannels;
            WriteFourPixels<kChannels>(from, to);
            if (newLine) __builtin_prefetch(to + kTileRows * destination.rowStep, 1);
            for (const Sample*& pixel : from) pixel += turn.down;
        }
    }
    TurnSingly<kChannels>(turn, destination, x, top, right, bottom);
}

/// As many whole squares of the tile as there are, from its left top corner on. Answers how many
/// columns that were; they are done down to the last whole square.
int32_t TurnSquares(const CTurn<uint8_t>& turn, const CPixelView<uint8_t>& destination,
                    int32_t left, int32_t top, int32_t right, int32_t bottom) {
    constexpr int32_t kSide = kTransposedSide;
    // Source columns run downwards or upwards along destination rows.
    const bool downwards = turn.down > 0;
    for (int32_t x = left; x + kSide <= right; x += kSide) {
        for (int32_t y = top; y + kSide <= bottom; y += kSide) {
            const int32_t firstRow = downwards ? y : y + kSide - 1;
            const uint8_t* const from = turn.corner + x * turn.along + firstRow * turn.down;
            uint8_t* const to = destination.Row(firstRow) + ptrdiff_t{x} * 3;
            const ptrdiff_t step = downwards ? destination.rowStep : -destination.rowStep;
            if (!TransposeTriples(from, turn.along, to, step)) return 0;
            // What the tile below will read and write.
            for (int32_t i = 0; i < kSide; ++i) {
                __builtin_prefetch(from + i * turn.along + kTileRows * turn.down);
                __builtin_prefetch(to + i * step + kTileRows * destination.rowStep, 1);
            }
        }
    }
    return (right - left) / kSide * kSide;
}

/// A tile by squares where they are quick, and the rest of it.
template <int kChannels, typename Sample>
void TurnTileBySquares(const CTurn<Sample>& turn, const CPixelView<Sample>& destination,
                       int32_t left, int32_t top, int32_t right, int32_t bottom) {
    if constexpr (kChannels == 3 && sizeof(Sample) == 1) {
        const int32_t columns = TurnSquares(turn, destination, left, top, right, bottom);
        const int32_t rest = top + (bottom - top) / kTransposedSide * kTransposedSide;
        if (columns != 0 && rest != bottom) {
            TurnTile<kChannels>(turn, destination, left, rest, left + columns, bottom);
        }
        left += columns;
    }
    TurnTile<kChannels>(turn, destination, left, top, right, bottom);
}

template <int kChannels, typename Sample>
void TurnChannels(const CTurn<Sample>& turn, const CPixelView<Sample>& destination, int32_t top,
                  int32_t bottom) {
    for (int32_t left = 0; left < destination.width; left += kTileColumns) {
        const int32_t right = std::min(left + kTileColumns, destination.width);
        for (int32_t y = top; y < bottom; y += kTileRows) {
            TurnTileBySquares<kChannels>(turn, destination, left, y, right,
                                         std::min(y + kTileRows, bottom));
        }
    }
}

/// Writes `destination` (width and height exchanged) from `source`.
template <typename Sample>
void TurnPixels(const CPixelView<Sample>& source, const CPixelView<Sample>& destination,
                bool clockwise) {
    const CTurn<Sample> turn = MakeTurn(source, clockwise);
    const int32_t width = destination.width;
    const int32_t height = destination.height;
    if (source.channels == 1) return TurnChannels<1>(turn, destination, 0, height);
    // Behind the source's last column nothing may be read.
    const int32_t last = clockwise ? height - 1 : 0;
    TurnSingly<3>(turn, destination, 0, last, width, last + 1);
    TurnChannels<3>(turn, destination, clockwise ? 0 : 1, clockwise ? height - 1 : height);
}

/// Turns pixels of 1 or 4 bits: a strip of source rows, whose pixels come to lie in whole bytes of
/// the destination's rows, is unpacked, turned and packed.
void TurnPackedPixels(const CPixelBytes& pixels, const CBitmapInfo& info, CPixelBytes& turned,
                      const CBitmapInfo& turnedInfo, bool clockwise) {
    const int bitCount = info.BitCount();
    const int32_t width = info.Width();
    const int32_t height = info.Height();
    const auto rowBytes = static_cast<size_t>(info.RowBytes());
    const auto turnedRowBytes = static_cast<size_t>(turnedInfo.RowBytes());
    std::vector<uint8_t> strip(static_cast<size_t>(width) * kStripRows);
    std::vector<uint8_t> turnedStrip(strip.size());
    for (int32_t left = 0; left < height; left += kStripRows) {
        const int32_t columns = std::min(kStripRows, height - left);
        // Destination column x is source row `height - 1 - x` or `x`.
        const int32_t firstRow = clockwise ? height - left - columns : left;
        for (int32_t i = 0; i < columns; ++i) {
            const auto memoryRow = static_cast<size_t>(height - 1 - (firstRow + i));
            UnpackIndices(pixels.data() + memoryRow * rowBytes, bitCount, width,
                          strip.data() + static_cast<size_t>(i) * static_cast<size_t>(width));
        }
        const CPixelView<uint8_t> from{strip.data(), width, columns, 1, width};
        const CPixelView<uint8_t> to{turnedStrip.data(), columns, width, 1, columns};
        TurnPixels(from, to, clockwise);
        for (int32_t y = 0; y < width; ++y) {
            const auto memoryRow = static_cast<size_t>(width - 1 - y);
            PackIndices(to.Row(y), bitCount, columns,
                        turned.data() + memoryRow * turnedRowBytes +
                            static_cast<size_t>(left) * static_cast<size_t>(bitCount) / 8);
        }
    }
}

/// Upside down in place: rows change places and are mirrored.
template <typename Sample>
void TurnHalf(const CPixelView<Sample>& view) {
    const auto oneRow = [&](int32_t y) { return view.Part({0, y, view.width, y + 1}); };
    for (int32_t y = 0; y < view.height / 2; ++y) {
        Sample* const row = view.Row(y);
        std::swap_ranges(row, row + view.RowSamples(), view.Row(view.height - 1 - y));
        MirrorPixels(oneRow(y));
        MirrorPixels(oneRow(view.height - 1 - y));
    }
    if (view.height % 2 != 0) MirrorPixels(oneRow(view.height / 2));
}

void TurnPackedHalf(CImageBits& image) {
    const size_t rowBytes = image.RowBytes();
    for (int32_t y = 0; y < image.Height() / 2; ++y) {
        std::swap_ranges(image.RowFromTop(y), image.RowFromTop(y) + rowBytes,
                         image.RowFromTop(image.Height() - 1 - y));
    }
    for (int32_t y = 0; y < image.Height(); ++y) {
        MirrorPackedRow(image.RowFromTop(y), image.bitmapInfo.BitCount(), image.Width());
    }
}

void TurnQuarter(CImageBits& image, bool clockwise) {
    const int32_t width = image.Width();
    const int32_t height = image.Height();
    CBitmapInfo info = image.bitmapInfo;
    info.Header().biWidth = height;
    info.Header().biHeight = width;
    if (image.Has16Bit()) {
        const int channels = image.Samples16();
        CPixelWords turned = MakeStore16(channels, height, width);
        TurnPixels(View16(image.bits16, width, height, channels),
                   View16(turned, height, width, channels), clockwise);
        // The display bytes are the samples' high bytes, so that they need no turn of their own.
        image.bits = MakeStore(info.BitCount(), height, width);
        image.bits16 = std::move(turned);
        image.bitmapInfo = info;
        image.RefreshDisplayData();
        return;
    }
    CPixelBytes turned = MakeStore(info.BitCount(), height, width);
    if (info.BitCount() < 8) {
        TurnPackedPixels(image.bits, image.bitmapInfo, turned, info, clockwise);
    } else {
        TurnPixels(View8(image.bits, image.bitmapInfo), View8(turned, info), clockwise);
    }
    image.bits = std::move(turned);
    image.bitmapInfo = info;
}

}  // namespace

bool CImageBits::TurnQuarters(int16_t degrees) {
    DropDisplayCaches();
    alpha.clear();
    if (bits.empty()) return true;
    try {
        switch (degrees) {
            case 90:
            case -270:
                TurnQuarter(*this, true);
                break;
            case 180:
            case -180:
                if (Has16Bit()) TurnHalf(View16(bits16, Width(), Height(), Samples16()));
                bitmapInfo.BitCount() < 8 ? TurnPackedHalf(*this)
                                          : TurnHalf(View8(bits, bitmapInfo));
                break;
            case 270:
            case -90:
                TurnQuarter(*this, false);
                break;
            default:
                return true;
        }
        ClearOpRect();
        return true;
    } catch (const std::exception&) {
        errorText = Message(message::kOperationException);
        return false;
    }
}

}  // namespace kestr
