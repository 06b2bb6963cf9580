#pragma once

#include <cstdint>
#include <span>
#include <string_view>

namespace kestr {

/// A camera whose PEF files are known.
struct CPentaxModel {
    std::string_view name;                 // tag 272, exactly
    std::span<const double> colorMatrix1;  // for 2850 K; XYZ to camera planes, row by row
    std::span<const double> colorMatrix2;  // for 6500 K
    uint16_t blackLevel = 0;
    uint16_t whiteLevel = 0;
    uint32_t width = 3040;  // columns that serve
    uint32_t height = 2024;
    uint32_t codedWidth = 0;  // values of a compressed row; 0 for files that are not compressed
};

/// Null for a camera that is not known.
const CPentaxModel* FindPentaxModel(std::string_view name);

}  // namespace kestr
