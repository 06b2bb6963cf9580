#pragma once

#include <cstdint>
#include <vector>

#include "base/pixel_buffer.h"
#include "ops/pixel_view.h"

namespace kestr {

/// How a source is laid over what is there: how much of each pixel stays.
struct CMergeRule {
    int16_t feather = 0;            // pixels; a negative one counts as larger than any picture
    uint8_t opacity = 255;          // 0 keeps the destination
    const uint8_t* mask = nullptr;  // one byte a pixel, 255 for the source; overrides the feather
    size_t maskStep = 0;            // bytes from a mask row to the next, top row first
};

/// Lays `source` over `destination`, pixel by pixel; both have the same size and channels. With w
/// the percentage to keep of the destination, new = source - (source - destination) * w / 100,
/// truncated toward zero.
void Merge(const CPixelView<const uint8_t>& source, const CPixelView<uint8_t>& destination,
           const CMergeRule& rule);
void Merge(const CPixelView<const uint16_t>& source, const CPixelView<uint16_t>& destination,
           const CMergeRule& rule);

}  // namespace kestr
