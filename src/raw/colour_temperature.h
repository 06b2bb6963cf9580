// Correlated colour temperatures and the chromaticities of daylight.
#pragma once

#include <cstdint>
#include <optional>

#include "raw/small_matrix.h"

namespace kestr {

/// CIE 1931 chromaticity.
struct CChromaticity {
    double x = 0;
    double y = 0;
};

/// The correlated colour temperature in kelvin by A. R. Robertson's method ("Computation of
/// Correlated Color Temperature and Distribution Temperature", 1968), or -1 for a colour that his
/// isotherms, from 1667 K upward, do not enclose.
double CCTFromXy(const CChromaticity& xy);

/// Whether daylight is defined there: 4000 to 25000 K.
constexpr bool IsDaylightTemperature(uint16_t kelvin) {
    return kelvin >= 4000 && kelvin <= 25000;
}

/// The chromaticity of CIE daylight; nothing outside 4000 to 25000 K.
std::optional<CChromaticity> DaylightOf(uint16_t kelvin);

/// The share that X and Y have of the three tristimulus values.
CChromaticity ChromaticityOf(const CVector<3>& xyz);

/// Tristimulus values of Y = 1.
CVector<3> XYZOf(const CChromaticity& xy);

}  // namespace kestr
