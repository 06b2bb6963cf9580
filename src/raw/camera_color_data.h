#pragma once

#include <array>
#include <cstdint>
#include <vector>

namespace kestr {

/// How a camera sees colour. Matrices take XYZ to camera values, row by row, one row a plane.
struct CameraColorData {
    std::vector<double> colorMatrix1;  // 9 values for three planes, 12 for four
    uint16_t illuminant1 = 0;          // kelvin
    std::vector<double> colorMatrix2;  // for a second light
    uint16_t illuminant2 = 0;
    std::array<std::vector<double>, 2> calibration;  // per light, empty unless the file has them
    std::array<std::vector<double>, 2> reduction;    // from four planes to three, the same
};

}  // namespace kestr
