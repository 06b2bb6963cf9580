#pragma once

#include <array>
#include <cstdint>
#include <span>
#include <string_view>

#include "raw/raw_sensor_image.h"

namespace kestr {

/// A camera whose NEF files are known.
struct CNEFModel {
    std::string_view name;                 // tag 272, exactly
    std::span<const double> colorMatrix1;  // for 2850 K; XYZ to camera planes, row by row
    std::span<const double> colorMatrix2;  // for 6500 K
    uint16_t whiteLevel = 0;
    std::span<const uint8_t> pattern{};  // CFilterColor codes of 2 x 2 cells; empty when only
                                         // the file knows them
    const std::array<uint8_t, 4>* planeColors = nullptr;  // of a sensor with four colours
    bool interlaced = false;                              // even rows are stored before odd ones
    uint32_t marginX = 2;                                 // columns cut off at left and at right
    std::array<uint32_t, 2> outputSize{};         // width and height of square pixels; 0 for as is
    std::array<double, 3> analogBalance{};        // 0 for none
    std::array<double, 3> neutralScale{1, 1, 1};  // of the neutral that tag 12 states
    bool neutralUsable = true;
    bool mayBePadded = false;  // files that say they are compressed may be packed with padding
};

/// Null for a camera that is not known.
const CNEFModel* FindNEFModel(std::string_view name);

}  // namespace kestr
