// What the demosaicing methods share: rows of recorded samples, and the pattern that nearly all
// sensors have.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

#include "raw/raw_sensor_image.h"

namespace kestr {

/// A Bayer pattern of three planes: every second pixel of a row is green, the others are red in
/// one row and blue in the next.
struct CBayerPattern {
    [[nodiscard]] uint32_t GreenParity(uint32_t y) const { return greenParity ^ (y & 1); }
    /// What row `y` records beside green: 0 or 2.
    [[nodiscard]] uint32_t Plane(uint32_t y) const { return (y & 1) == 0 ? plane : 2 - plane; }

    uint32_t greenParity;  // of the columns of row 0 that are green
    uint32_t plane;        // that row 0 records beside green
};

/// The pattern, if it is one of these and there are three planes.
[[nodiscard]] std::optional<CBayerPattern> BayerPatternOf(const CRawSensorImage& image);

/// For a row whose green columns are the even ones, then for the others: all bits set where green
/// is recorded.
[[nodiscard]] std::array<std::vector<uint16_t>, 2> GreenMasks(size_t width);

/// Writes the recorded sample of each pixel of a row.
void GatherRow(const CRawSensorImage& image, uint32_t y, uint16_t* row);

/// Planes that lie apart become `count` pixels.
void ScatterRow(const uint16_t* plane0, const uint16_t* plane1, const uint16_t* plane2,
                size_t count, uint16_t* pixels);

}  // namespace kestr
