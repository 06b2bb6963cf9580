#include "raw/colour_temperature.h"

#include <cmath>
#include <cstddef>

#include <lcms2.h>

namespace kestr {
namespace {

/// A line of equal correlated temperature: where it crosses the black bodies' locus in the CIE 1960
/// diagram, and its slope.
struct CIsotherm {
    double mired;  // 1000000 / kelvin
    double u, v;
    double slope;
};

// Robertson's table, in G. Wyszecki and W. S. Stiles, "Color Science" (2nd edition, 1982), p. 228.
constexpr CIsotherm kIsotherms[] = {
    {0, 0.18006, 0.26352, -0.24341},   {10, 0.18066, 0.26589, -0.25479},
    {20, 0.18133, 0.26846, -0.26876},  {30, 0.18208, 0.27119, -0.28539},
    {40, 0.18293, 0.27407, -0.30470},  {50, 0.18388, 0.27709, -0.32675},
    {60, 0.18494, 0.28021, -0.35156},  {70, 0.18611, 0.28342, -0.37915},
    {80, 0.18740, 0.28668, -0.40955},  {90, 0.18880, 0.28997, -0.44278},
    {100, 0.19032, 0.29326, -0.47888}, {125, 0.19462, 0.30141, -0.58204},
    {150, 0.19962, 0.30921, -0.70471}, {175, 0.20525, 0.31647, -0.84901},
    {200, 0.21142, 0.32312, -1.0182},  {225, 0.21807, 0.32909, -1.2168},
    {250, 0.22511, 0.33439, -1.4512},  {275, 0.23247, 0.33904, -1.7298},
    {300, 0.24010, 0.34308, -2.0637},  {325, 0.24702, 0.34655, -2.4681},
    {350, 0.25591, 0.34951, -2.9641},  {375, 0.26400, 0.35200, -3.5814},
    {400, 0.27218, 0.35407, -4.3633},  {425, 0.28039, 0.35577, -5.3762},
    {450, 0.28863, 0.35714, -6.7262},  {475, 0.29685, 0.35823, -8.5955},
    {500, 0.30505, 0.35907, -11.324},  {525, 0.31320, 0.35968, -15.628},
    {550, 0.32129, 0.36011, -23.325},  {575, 0.32931, 0.36038, -40.77},
    {600, 0.33724, 0.36051, -116.45},
};
static_assert(std::size(kIsotherms) == 31);

}  // namespace

double CCTFromXy(const CChromaticity& xy) {
    const double divisor = 6 * xy.y - xy.x + 1.5;
    const double u = 2 * xy.x / divisor;
    const double v = 3 * xy.y / divisor;
    double previous = 0;
    for (size_t i = 0; i < std::size(kIsotherms); ++i) {
        const CIsotherm& line = kIsotherms[i];
        const double distance =
            ((v - line.v) - (u - line.u) * line.slope) / std::sqrt(line.slope * line.slope + 1);
        if (i > 0 && previous / distance < 0) {
            const CIsotherm& before = kIsotherms[i - 1];
            const double share = previous / (previous - distance);
            return 1000000 / (before.mired + (line.mired - before.mired) * share);
        }
        previous = distance;
    }
    return -1;
}

std::optional<CChromaticity> DaylightOf(uint16_t kelvin) {
    cmsCIExyY white;
    if (!IsDaylightTemperature(kelvin) || !cmsWhitePointFromTemp(&white, kelvin)) return {};
    return CChromaticity{white.x, white.y};
}

CChromaticity ChromaticityOf(const CVector<3>& xyz) {
    const double sum = xyz[0] + xyz[1] + xyz[2];
    return {xyz[0] / sum, xyz[1] / sum};
}

CVector<3> XYZOf(const CChromaticity& xy) {
    return {xy.x / xy.y, 1, (1 - xy.x - xy.y) / xy.y};
}

}  // namespace kestr
