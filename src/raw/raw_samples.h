#pragma once

#include <cstddef>
#include <cstdint>

#include "base/pixel_buffer.h"

namespace kestr {

/// Columns and rows of a picture.
struct CRawBox {
    uint32_t x = 0;
    uint32_t y = 0;
    uint32_t width = 0;
    uint32_t height = 0;
};

/// Sensor values: `height` rows of `width` pixels of `colors` adjacent 16-bit samples, unpadded,
/// top row first.
class CRawSamples {
public:
    CRawSamples() = default;
    /// All samples 0. Throws std::bad_alloc when a picture of that size cannot be held.
    CRawSamples(uint32_t width, uint32_t height, uint8_t colors);

    [[nodiscard]] size_t RowSamples() const { return size_t{width} * colors; }
    [[nodiscard]] uint16_t* Row(uint32_t y) { return samples.data() + y * RowSamples(); }
    [[nodiscard]] const uint16_t* Row(uint32_t y) const {
        return samples.data() + y * RowSamples();
    }
    [[nodiscard]] uint16_t* Pixel(uint32_t y, uint32_t x) { return Row(y) + size_t{x} * colors; }
    [[nodiscard]] const uint16_t* Pixel(uint32_t y, uint32_t x) const {
        return Row(y) + size_t{x} * colors;
    }

    /// Cuts off `marginX` columns at the left and at the right and `marginY` rows at the top and at
    /// the bottom, and keeps the first three samples of a pixel, in place. False, with nothing
    /// changed, when no pixel would be left.
    [[nodiscard]] bool Compact(uint32_t marginX, uint32_t marginY);
    /// The same for any part of the picture. False when it is empty or not inside.
    [[nodiscard]] bool Crop(const CRawBox& box);

    uint32_t width = 0;          // pixels
    uint32_t height = 0;         // rows
    uint8_t colors = 3;          // samples a pixel, 3 or 4
    bool layoutChanged = false;  // width and height are no longer those of the sensor
    CPixelWords samples;
};

/// Quarter turns and their like. The numbers are those that formats use.
enum class CRawTurn { kCounterClockwise = 0, kClockwise = 1, kHalf = 2, kMirror = 3 };
void Turn(CRawSamples& samples, CRawTurn turn);

}  // namespace kestr
