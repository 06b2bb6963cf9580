// Enlarging the canvas around a picture.

#include <algorithm>
#include <array>
#include <cstring>
#include <exception>
#include <utility>

#include "base/messages.h"
#include "image/image_bits.h"
#include "ops/pixel_format.h"
#include "ops/pixel_view.h"

namespace kestr {
namespace {

constexpr uint8_t kCentred = 1;
constexpr uint8_t kTiled = 2;

/// A pixel of one colour: as many samples as the picture has channels.
template <typename Sample>
using CFill = std::array<Sample, 3>;

template <typename Sample>
void FillRow(const CPixelView<Sample>& view, int32_t y, int32_t begin, int32_t end,
             const CFill<Sample>& fill) {
    Sample* to = view.Row(y) + ptrdiff_t{begin} * view.channels;
    if (view.channels == 1) {
        std::fill(to, to + (end - begin), fill[0]);
        return;
    }
    for (int32_t x = begin; x < end; ++x, to += 3) {
        to[0] = fill[0];
        to[1] = fill[1];
        to[2] = fill[2];
    }
}

/// Columns [left, left + the picture's width) of a row of the canvas, cut at its right edge.
template <typename Sample>
void CopyRow(const CPixelView<Sample>& picture, int32_t row, const CPixelView<Sample>& canvas,
             int32_t y, int32_t left) {
    const auto pixels = static_cast<size_t>(std::min(picture.width, canvas.width - left));
    std::memcpy(canvas.Row(y) + ptrdiff_t{left} * canvas.channels, picture.Row(row),
                pixels * static_cast<size_t>(canvas.channels) * sizeof(Sample));
}

template <typename Sample>
void Place(const CPixelView<Sample>& picture, const CPixelView<Sample>& canvas, uint8_t placement,
           const CFill<Sample>& fill) {
    if (placement == kTiled) {
        for (int32_t y = 0; y < canvas.height; ++y) {
            for (int32_t left = 0; left < canvas.width; left += picture.width) {
                CopyRow(picture, y % picture.height, canvas, y, left);
            }
        }
        return;
    }
    const bool centred = placement == kCentred;
    const int32_t left = centred ? (canvas.width - picture.width) / 2 : 0;
    const int32_t top = centred ? (canvas.height - picture.height) / 2 : 0;
    for (int32_t y = 0; y < canvas.height; ++y) {
        if (y < top || y >= top + picture.height) {
            FillRow(canvas, y, 0, canvas.width, fill);
            continue;
        }
        FillRow(canvas, y, 0, left, fill);
        CopyRow(picture, y - top, canvas, y, left);
        FillRow(canvas, y, left + picture.width, canvas.width, fill);
    }
}

/// The palette entry nearest to a colour, the first of equals.
uint8_t NearestEntry(const CBitmapInfo& info, const CFill<uint8_t>& colour) {
    size_t nearest = 0;
    int least = 3 * 256 * 256;
    for (size_t i = 0; i < info.PaletteSize(); ++i) {
        const CRGBQuad& entry = info.Palette()[i];
        const int blue = entry.rgbBlue - colour[0];
        const int green = entry.rgbGreen - colour[1];
        const int red = entry.rgbRed - colour[2];
        const int distance = blue * blue + green * green + red * red;
        if (distance >= least) continue;
        least = distance;
        nearest = i;
    }
    return static_cast<uint8_t>(nearest);
}

constexpr uint16_t Doubled(uint8_t byte) {
    return static_cast<uint16_t>(byte << 8 | byte);
}

}  // namespace

bool CImageBits::EnlargeCanvas(int32_t width, int32_t height, uint8_t placement, uint32_t colour,
                               int undo) {
    if (bits.empty() || width < Width() || height < Height()) return false;
    const CFill<uint8_t> bgr{static_cast<uint8_t>(colour >> 16), static_cast<uint8_t>(colour >> 8),
                             static_cast<uint8_t>(colour)};
    try {
        const bool deep = Has16Bit();
        const int channels = Samples16();
        CBitmapInfo info = bitmapInfo;
        if (info.BitCount() < 8) info.SetBitCount(8);
        info.Header().biWidth = width;
        info.Header().biHeight = height;
        CPixelBytes canvas = MakeStore(info.BitCount(), width, height);
        CPixelWords canvas16;
        if (deep) canvas16 = MakeStore16(channels, width, height);

        BeginUndoable(undo);
        alpha.clear();
        CFill<uint8_t> fill = bgr;
        if (bitmapInfo.BitCount() < 24 && !deep) {
            kestr::WidenTo8Bits(bitmapInfo, bits);
            info.Header().biClrUsed = bitmapInfo.Header().biClrUsed;
            fill[0] = NearestEntry(bitmapInfo, bgr);
        }
        Place(View8(bits, bitmapInfo), View8(canvas, info), placement, fill);
        if (deep) {
            // Kept as it is: one channel takes the blue byte above, and the red one here.
            const CFill<uint16_t> fill16 =
                channels == 1 ? CFill<uint16_t>{Doubled(bgr[2])}
                              : CFill<uint16_t>{Doubled(bgr[0]), Doubled(bgr[1]), Doubled(bgr[2])};
            Place(View16(bits16, Width(), Height(), channels),
                  View16(canvas16, width, height, channels), placement, fill16);
            bits16 = std::move(canvas16);
        }
        bits = std::move(canvas);
        bitmapInfo = info;
        PixelsChanged();
        return true;
    } catch (const std::exception&) {
        errorText = Message(message::kOperationException);
        return false;
    }
}

}  // namespace kestr
