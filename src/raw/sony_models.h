#pragma once

#include <array>
#include <cstdint>
#include <span>
#include <string_view>

#include "raw/raw_sensor_image.h"
#include "raw/sensor_window.h"

namespace kestr {

/// Where and how a camera's files have the sensor values.
enum class CSonyForm {
    kCiphered,  // SRF: enciphered words at a fixed place
    kWords,     // SR2: big-endian words in the file's largest directory
    kColumns,   // codes by column at the offset in tag 330, which is no directory there
    kPacked     // ARW: the length of the data tells the form
};

/// A camera whose files are known.
struct CSonyModel {
    std::string_view name;  // tag 272, exactly
    std::string_view formatName;
    std::span<const double> colorMatrix1;  // for 2850 K; XYZ to camera planes, row by row
    std::span<const double> colorMatrix2;  // for 6500 K
    uint16_t blackLevel = 0;
    uint16_t whiteLevel = 0;
    CSonyForm form = CSonyForm::kWords;
    std::array<uint8_t, 4> pattern{};                     // of the picture's first 2 x 2 cells
    const std::array<uint8_t, 4>* planeColors = nullptr;  // of a sensor with four colours
    CSensorBorder border{};
    uint32_t mostColumns = 0;    // of the picture, when the border does not tell; 0 for any
    uint32_t maskedColumns = 0;  // at the left, whose mean is black
    uint64_t dataOffset = 0;     // of kCiphered
};

/// Null for a camera that is not known.
const CSonyModel* FindSonyModel(std::string_view name);

}  // namespace kestr
