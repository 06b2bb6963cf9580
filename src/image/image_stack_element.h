#pragma once

#include <cstdint>

#include "base/bitmap_info.h"
#include "base/pixel_buffer.h"

namespace kestr {

/// An undo or redo snapshot: the pixel stores and what describes them. Metadata, selection and
/// transparent colour are not part of it and keep their values through an undo.
struct CImageStackElement {
    CBitmapInfo bitmapInfo;
    CPixelBytes bits;
    CPixelWords bits16;
    CPixelBytes alpha;
    double gamma = 0;

    /// Bytes that count against the limit; the bitmap's description always counts whole.
    [[nodiscard]] uint64_t Size() const {
        return uint64_t{bits.size()} + sizeof(CBitmapInfo) + uint64_t{bits16.size()} * 2 +
               alpha.size();
    }
};

}  // namespace kestr
