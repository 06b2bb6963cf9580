#pragma once

#include <cstdint>

#include "base/bitmap_info.h"
#include "base/pixel_buffer.h"
#include "image/image_bits.h"

namespace kestr {

/// What one operation does to pixels; CImageBits::RunOperation decides to which. Each method of
/// CImageBits declares its own, `COp`, with the method's parameters as members.
class CImageBits::COperation {
public:
    virtual ~COperation() = default;

    /// Changes samples of the 16-bit store, rows top-down without padding, `channels` (1 or 3) a
    /// pixel. The buffer may be replaced by another of the same size.
    virtual void Apply16(CPixelWords& samples, int32_t width, int32_t height, int channels) = 0;

    /// Changes pixels of an 8-bit store and, where it works on colours, their palette. `gray`,
    /// below 24 bits: all palette entries have equal channels. The buffer may be replaced by
    /// another of the same size. In a rectangle `pixels` is a copy whose palette does not return to
    /// the image.
    virtual void Apply8(CPixelBytes& pixels, CBitmapInfo& info, bool gray) = 0;
};

}  // namespace kestr
