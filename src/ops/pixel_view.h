#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>

#include "base/bitmap_info.h"
#include "base/pixel_buffer.h"
#include "image/image_bits.h"

namespace kestr {

/// Pixels of one or three channels (gray, or blue, green, red), one after the other in a row, in
/// either of the two stores: hides sample width and row order.
template <typename Sample>
struct CPixelView {
    Sample* top = nullptr;  // first sample of the picture's top row
    int32_t width = 0;      // pixels
    int32_t height = 0;     // rows
    int channels = 1;
    ptrdiff_t rowStep = 0;  // samples from a row to the next; negative in the bottom-up 8-bit store

    [[nodiscard]] Sample* Row(int32_t y) const { return top + y * rowStep; }
    [[nodiscard]] size_t RowSamples() const {
        return static_cast<size_t>(width) * static_cast<size_t>(channels);
    }
    /// The pixels of a rectangle that lies inside.
    [[nodiscard]] CPixelView Part(const CSelectionRect& part) const {
        return {Row(part.top) + ptrdiff_t{part.left} * channels, part.right - part.left,
                part.bottom - part.top, channels, rowStep};
    }
    operator CPixelView<const Sample>() const { return {top, width, height, channels, rowStep}; }
};

/// The pixels of an 8-bit store of 8 bits (levels or indices) or 24 bits a pixel.
inline CPixelView<uint8_t> View8(CPixelBytes& pixels, const CBitmapInfo& info) {
    const auto rowBytes = static_cast<ptrdiff_t>(info.RowBytes());
    return {pixels.data() + (info.Height() - 1) * rowBytes, info.Width(), info.Height(),
            info.BitCount() / 8, -rowBytes};
}

/// The pixels of a 16-bit store.
inline CPixelView<uint16_t> View16(CPixelWords& samples, int32_t width, int32_t height,
                                   int channels) {
    return {samples.data(), width, height, channels, ptrdiff_t{width} * channels};
}

/// Copies rows as they are; both views have the same size.
template <typename Sample>
void CopyPixels(const CPixelView<const Sample>& source, const CPixelView<Sample>& destination) {
    for (int32_t y = 0; y < source.height; ++y) {
        std::memcpy(destination.Row(y), source.Row(y), source.RowSamples() * sizeof(Sample));
    }
}

}  // namespace kestr
