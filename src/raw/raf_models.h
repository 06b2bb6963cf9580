#pragma once

#include <cstdint>
#include <span>
#include <string_view>

namespace kestr {

/// A camera whose RAF files are known. Most have a sensor whose rows and columns are diagonals of
/// the picture.
struct CFujiModel {
    std::string_view name;                 // of the header, exactly
    std::span<const double> colorMatrix1;  // for 2850 K; XYZ to camera planes, row by row
    std::span<const double> colorMatrix2;  // for 6500 K
    uint16_t blackLevel = 0;
    uint16_t whiteLevel = 0x3E00;
    bool bigEndian = false;     // the samples; all else always is
    bool square = false;        // rows and columns of the sensor are those of the picture
    bool turned = false;        // the picture lies on its side
    bool twoExposures = false;  // with the layout flag: a row has those of high sensitivity, then
                                // those of low
    uint32_t usedWidth = 0;     // where the file's own numbers do not serve; 0 where they do
    uint32_t usedHeight = 0;
};

/// Null for a camera that is not known.
const CFujiModel* FindFujiModel(std::string_view name);

}  // namespace kestr
