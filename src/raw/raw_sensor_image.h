#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <span>

#include "raw/raw_samples.h"

namespace kestr {

/// Codes of the colours that a filter before a sensor's cell can have.
enum CFilterColor : uint8_t { kRed, kGreen, kBlue, kCyan, kMagenta, kYellow };

/// The plane that each pixel of a sensor records; repeats every 8 rows and 8 columns.
class CFilterTable {
public:
    [[nodiscard]] uint8_t operator()(uint32_t y, uint32_t x) const {
        return m_planes[y & 7][x & 7];
    }
    uint8_t& At(uint32_t y, uint32_t x) { return m_planes[y & 7][x & 7]; }
    friend bool operator==(const CFilterTable&, const CFilterTable&) = default;

private:
    std::array<std::array<uint8_t, 8>, 8> m_planes{};
};

/// The table of a pattern of colour codes, `rows` x `columns` of them, row by row. With three
/// `colors` the code is the plane; with four it is the place of the code among `planeColors`, or,
/// when that is null, green 0, magenta 1, cyan 2, yellow 3. A code without a plane counts as 0.
/// Nothing when the pattern is shorter than its size says.
[[nodiscard]] std::optional<CFilterTable> MakeFilterTable(
    std::span<const uint8_t> pattern, uint32_t rows, uint32_t columns, uint8_t colors,
    const std::array<uint8_t, 4>* planeColors = nullptr);

/// What demosaicing works on.
class CRawSensorImage {
public:
    [[nodiscard]] uint8_t FC(uint32_t y, uint32_t x) const { return filter(y, x); }

    CFilterTable filter;
    CRawSamples samples;
    uint32_t maxValue = 65535;
    uint16_t passCount = 1;  // of the whole load, the colour stage included
    uint16_t passIndex = 0;  // the pass that runs, from 1
    double rowScale = 1.0;   // rows of the picture for each row of the samples
};

}  // namespace kestr
