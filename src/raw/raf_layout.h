// Where the samples of a RAF file lie, and where they belong.
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <vector>

#include "raw/raf_models.h"

namespace kestr {

class CImageReader;
class CRawSensorImage;

/// Sizes in samples. A sensor with a diagonal grid is read into a larger buffer, whose rows and
/// columns are those diagonals on which the sensor's samples are neighbours.
struct CFujiLayout {
    // As stored.
    uint32_t left = 0, top = 0;      // first sample that serves
    uint32_t width = 0, height = 0;  // those that serve
    uint64_t rowBytes = 0;
    bool bigEndian = false;
    bool halfRows = false;  // the layout flag: a row has every second sample of one line
    // Of a diagonal grid; 0 without one.
    uint32_t fujiWidth = 0;  // row of the buffer at which the picture's left top corner lies
    uint32_t bufferWidth = 0, bufferHeight = 0;
    uint32_t wide = 0, high = 0;  // the upright picture
};

/// Numbers of the directory that RAF files have for their samples.
struct CFujiDirectory {
    uint32_t fullWidth = 0, fullHeight = 0;  // 0 where the file has none
    uint32_t usedWidth = 0, usedHeight = 0;
    bool layoutFlag = false;
    std::vector<double> neutral;
};
/// @param bytes  from the directory on.
[[nodiscard]] CFujiDirectory ReadFujiDirectory(std::span<const uint8_t> bytes);

/// Nothing when the numbers do not fit each other.
[[nodiscard]] std::optional<CFujiLayout> MakeFujiLayout(const CFujiModel& model,
                                                        const CFujiDirectory& directory);

/// Fills the image from the samples in `data`; those behind its end are 0. `reader` serves for
/// progress and may be null. False when its caller has asked for an end.
[[nodiscard]] bool ReadFujiSamples(std::span<const uint8_t> data, const CFujiLayout& layout,
                                   CRawSensorImage& image, CImageReader* reader);

}  // namespace kestr
