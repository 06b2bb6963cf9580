// The part of the stored sensor values that makes the picture: many sensors have masked or unused
// cells around it.
#pragma once

#include <array>
#include <cstdint>
#include <span>

#include "raw/packed_samples.h"

namespace kestr {

class CImageReader;
class CRawSensorImage;

struct CSensorWindow {
    uint32_t left = 0;  // stored columns in front of the picture
    uint32_t top = 0;   // stored rows above it
    uint32_t width = 0;
    uint32_t height = 0;
};

/// Cells cut off at each side.
struct CSensorBorder {
    uint32_t left = 0;
    uint32_t top = 0;
    uint32_t right = 0;
    uint32_t bottom = 0;
};

/// What the border leaves of `width` x `height` cells; of no size when that is nothing.
[[nodiscard]] CSensorWindow WindowInside(uint32_t width, uint32_t height,
                                         const CSensorBorder& border);

/// A pattern of 2 x 2 cells as it is at the window's first cell.
[[nodiscard]] std::array<uint8_t, 4> PatternInWindow(const std::array<uint8_t, 4>& stored,
                                                     const CSensorWindow& window);

/// Stores values of row `y` of the picture from column `x` on. Those outside it are dropped.
void StoreSensorPart(CRawSensorImage& image, uint32_t y, uint32_t x,
                     std::span<const uint16_t> values);

/// Takes stored row `y`, all of it, and stores what the window has of it.
void StoreWindowRow(CRawSensorImage& image, const CSensorWindow& window, uint32_t y,
                    std::span<const uint16_t> row);

/// Fills the image with the window's part of rows of `storedWidth` values each. `reader` serves for
/// progress and may be null. False when its caller has asked for an end.
[[nodiscard]] bool ReadPackedWindow(std::span<const uint8_t> data, const CPackedLayout& layout,
                                    uint32_t storedWidth, const CSensorWindow& window,
                                    CRawSensorImage& image, CImageReader* reader);

}  // namespace kestr
