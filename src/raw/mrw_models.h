#pragma once

#include <cstdint>
#include <span>
#include <string_view>

namespace kestr {

/// A camera whose MRW files are known. Their black level is 0.
struct CMinoltaModel {
    std::string_view cameraId;             // as the file has it
    std::span<const double> colorMatrix1;  // for 2850 K; XYZ to camera planes, row by row
    std::span<const double> colorMatrix2;  // for 6500 K
    uint16_t whiteLevel = 0;
};

/// Null for a camera that is not known.
const CMinoltaModel* FindMinoltaModel(std::string_view cameraId);

}  // namespace kestr
