#pragma once

#include <cstdint>
#include <span>
#include <string_view>

#include "raw/sensor_window.h"

namespace kestr {

/// Where the picture lies in files of one shape that do not state it.
struct CLeicaShape {
    uint32_t height = 0;  // rows of the sensor that are stored; 0 for any
    CSensorBorder border{};
};

/// A camera of Leica or Panasonic whose files are known.
struct CLeicaModel {
    std::string_view name;  // tag 272, exactly
    bool panasonic = true;
    std::span<const double> colorMatrix1;  // for 2850 K; XYZ to camera planes, row by row
    std::span<const double> colorMatrix2;  // for 6500 K
    uint16_t whiteLevel = 0;
    std::span<const CLeicaShape> shapes{};
};

/// Null for a camera that is not known.
const CLeicaModel* FindLeicaModel(std::string_view name);

/// The border of a sensor of which `height` rows are stored.
CSensorBorder LeicaBorder(const CLeicaModel& model, uint32_t height);

}  // namespace kestr
