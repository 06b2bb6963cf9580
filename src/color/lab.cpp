#include "color/lab.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <vector>

namespace kestr {
namespace {

constexpr double kGamma = 0.45;
constexpr double kWhiteX = 0.95047;  // D65, CIE 15
constexpr double kWhiteZ = 1.08883;
constexpr int kSteps = 65535;  // of light, in the table of levels

// ITU-R BT.709 primaries and D65: from XYZ to light of red, green and blue (IEC 61966-2-1).
constexpr double kFromXYZ[3][3] = {
    {3.2406, -1.5372, -0.4986}, {-0.9689, 1.8758, 0.0415}, {0.0557, -0.2040, 1.0570}};

const std::vector<uint8_t>& LevelTable() {
    static const std::vector<uint8_t> kTable = [] {
        std::vector<uint8_t> table(kSteps + 1);
        for (int i = 0; i <= kSteps; ++i) {
            const double level = std::pow(static_cast<double>(i) / kSteps, kGamma);
            table[static_cast<size_t>(i)] = static_cast<uint8_t>(level * 255 + 0.5);
        }
        return table;
    }();
    return kTable;
}

// The inverse of the cube root with a straight foot (CIE 15).
double Uncube(double f) {
    return f > 6.0 / 29 ? f * f * f : 3 * (6.0 / 29) * (6.0 / 29) * (f - 4.0 / 29);
}

}  // namespace

void LabToBGR(int lightness, int a, int b, uint8_t* bgr) {
    const std::vector<uint8_t>& levels = LevelTable();
    const double fy = (lightness + 16) / 116.0;
    const double x = kWhiteX * Uncube(fy + a / 500.0);
    const double y = Uncube(fy);
    const double z = kWhiteZ * Uncube(fy - b / 200.0);
    for (int c = 0; c < 3; ++c) {
        const double light = kFromXYZ[c][0] * x + kFromXYZ[c][1] * y + kFromXYZ[c][2] * z;
        const double step = std::clamp(light, 0.0, 1.0) * kSteps + 0.5;
        bgr[2 - c] = levels[static_cast<size_t>(step)];
    }
}

}  // namespace kestr
