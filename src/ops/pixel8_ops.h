#pragma once

#include <concepts>
#include <cstddef>
#include <cstdint>
#include <type_traits>

#include "base/bitmap_info.h"
#include "ops/pixel_view.h"

namespace kestr {

/// An 8-bit filter that looks at one pixel at a time. Pixels and entries are blue, green, red.
class Pixel8Ops {
public:
    virtual ~Pixel8Ops() = default;

    virtual void ProcessPixel24(uint8_t* pixel) const = 0;
    /// Whether the bytes of an 8-bit gray image may be changed directly; else its palette is.
    [[nodiscard]] virtual bool HandlesGrayIndices() const = 0;
    virtual void ProcessGrayIndex(uint8_t& level) const = 0;
    virtual void ProcessPaletteEntry(CRGBQuad& entry) const = 0;
};

/// Runs a filter over pixels of 24 bits, over those of an 8-bit gray image, or else over the
/// palette in use. The filter's class is final and known here, so that no call is left in the
/// loops; one that has a quicker way to do many pixels says so by a ProcessPixels.
template <std::derived_from<Pixel8Ops> TOps>
requires std::is_final_v<TOps>
void RunPixel8Ops(CBitmapInfo& info, CPixelBytes& pixels, bool gray, const TOps& ops) {
    const bool grayLevels = info.BitCount() == 8 && gray && ops.HandlesGrayIndices();
    if (info.BitCount() != 24 && !grayLevels) {
        for (size_t i = 0; i < info.PaletteSize(); ++i) ops.ProcessPaletteEntry(info.Palette()[i]);
        return;
    }
    const CPixelView<uint8_t> view = View8(pixels, info);
    if constexpr (requires { ops.ProcessPixels(view); }) {
        ops.ProcessPixels(view);
    } else {
        for (int32_t y = 0; y < view.height; ++y) {
            uint8_t* const begin = view.Row(y);
            uint8_t* const end = begin + view.RowSamples();
            if (grayLevels) {
                for (uint8_t* level = begin; level != end; ++level) ops.ProcessGrayIndex(*level);
            } else {
                for (uint8_t* pixel = begin; pixel != end; pixel += 3) ops.ProcessPixel24(pixel);
            }
        }
    }
}

}  // namespace kestr
