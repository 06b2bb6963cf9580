#include "raw/raw_color_matrix.h"

#include <algorithm>
#include <cmath>

#include "base/real_power.h"
#include "platform/vector_clones.h"
#include "raw/raw_white_model.h"

namespace kestr {
namespace {

constexpr size_t kBlock = 128;  // pixels at a time: what lies between two steps stays in the cache
constexpr double kTop = 65535;
constexpr size_t kLevels = 65536;

using CPlane = std::array<double, kBlock>;
using CIndices = std::array<int32_t, kBlock>;

/// What is no number counts as 0, here and below.
KESTR_INLINE double Limit(double value) {
    value = value > 0 ? value : 0;
    return value < kTop ? value : kTop;
}

/// A sample above black, balanced, 0..65535.
KESTR_INLINE double Balance(uint16_t sample, uint16_t black, double scale) {
    return sample > black ? Limit((sample - black) * scale) : 0;
}

/// The plain power, without the straight piece that sRGB's curve begins with.
const std::vector<uint16_t>& GammaTable() {
    static const std::vector<uint16_t> table = [] {
        std::vector<uint16_t> levels(kLevels);
        for (size_t i = 0; i < kLevels; ++i) {
            levels[i] =
                static_cast<uint16_t>(ScaledPower(static_cast<double>(i) / kTop, 1 / 2.2, kTop));
        }
        return levels;
    }();
    return table;
}

/// CIE's lightness function of i / 65535.
std::vector<double> MakeLabCurve() {
    constexpr double kLinearEnd = 0.008856;
    std::vector<double> curve(kLevels);
    for (size_t i = 0; i < kLevels; ++i) {
        const double t = static_cast<double>(i) / kTop;
        curve[i] = t > kLinearEnd ? std::pow(t, 1.0 / 3) : 7.787 * t + 0.13793103448275862;
    }
    return curve;
}

KESTR_INLINE double Lightness(double fy) {
    return 116 * fy - 16;
}
KESTR_INLINE double RedGreen(double fx, double fy) {
    return 500 * (fx - fy);
}
KESTR_INLINE double YellowBlue(double fy, double fz) {
    return 200 * (fy - fz);
}

/// The neutral as the matrix sees it, and the temperature of the white that it means.
template <size_t Planes>
struct CLocalNeutral {
    explicit CLocalNeutral(const CRawColorInputs& inputs) {
        const auto camera = BalancedMatrix2<Planes>(inputs);
        CChromaticity xy;
        if (const auto daylight = DaylightOf(inputs.temperature)) {
            xy = *daylight;
            values = camera.matrix * XYZOf(xy);
        } else {
            values = OneForEachPlane<Planes>(inputs.neutral, 1);
            xy = ChromaticityOf(CameraToXYZ(camera) * values);
        }
        colorTemperature = KeptTemperature(CCTFromXy(xy));
    }

    CVector<Planes> values;
    uint16_t colorTemperature;
};

/// sRGB's primaries to camera values, each plane of which is 1 for white.
template <size_t Planes>
CMatrix<Planes, 3> RGBToCamera(const CRawColorInputs& inputs) {
    auto primaries = BalancedMatrix2<Planes>(inputs).matrix * kSRGBToXYZ;
    for (auto& row : primaries.rows) {
        const double sum = row[0] + row[1] + row[2];
        for (double& value : row) value /= sum;
    }
    return primaries;
}

double ScaleOf(double neutral, const CRawColorInputs& inputs) {
    return 1 / neutral * kTop / (inputs.white - inputs.black);
}

/// Truncated products of a block. All of it is calculated, also where the row has ended.
template <size_t Planes, typename Value>
KESTR_INLINE void Multiply(const CMatrix<3, Planes>& matrix,
                           const std::array<std::array<Value, kBlock>, Planes>& planes,
                           double rounding, std::array<CIndices, 3>& products) {
    for (size_t i = 0; i < kBlock; ++i) {
        for (size_t row = 0; row < 3; ++row) {
            double sum = matrix[row][0] * planes[0][i];
            for (size_t c = 1; c < Planes; ++c) sum += matrix[row][c] * planes[c][i];
            products[row][i] = static_cast<int32_t>(Limit(sum + rounding));
        }
    }
}

KESTR_VECTOR_CLONES void Multiply3(const CMatrix<3, 3>& matrix,
                                   const std::array<CIndices, 3>& planes, double rounding,
                                   std::array<CIndices, 3>& products) {
    Multiply<3>(matrix, planes, rounding, products);
}

KESTR_VECTOR_CLONES void Multiply4(const CMatrix<3, 4>& matrix, const std::array<CPlane, 4>& planes,
                                   std::array<CIndices, 3>& products) {
    Multiply<4>(matrix, planes, 0, products);
}

/// Writes the first three samples of `count` pixels as blue, green, red.
void StoreBGR(const std::array<CIndices, 3>& rgb, const uint16_t* curve, uint16_t* pixels,
              size_t samplesPerPixel, size_t count) {
    for (size_t i = 0; i < count; ++i, pixels += samplesPerPixel) {
        pixels[0] = curve[rgb[2][i]];
        pixels[1] = curve[rgb[1][i]];
        pixels[2] = curve[rgb[0][i]];
    }
}

KESTR_VECTOR_CLONES void StoreLab(const std::array<CPlane, 3>& f, size_t count, int32_t* lab) {
    for (size_t i = 0; i < count; ++i) {
        lab[3 * i] = static_cast<int32_t>(Lightness(f[1][i]));
        lab[3 * i + 1] = static_cast<int32_t>(RedGreen(f[0][i], f[1][i]));
        lab[3 * i + 2] = static_cast<int32_t>(YellowBlue(f[1][i], f[2][i]));
    }
}

}  // namespace

CRawColor3MatrixRGB::CRawColor3MatrixRGB(const CRawColorInputs& inputs) {
    const CLocalNeutral<3> neutral(inputs);
    m_colorTemperature = neutral.colorTemperature;
    m_cameraToRGB = Inverse(RGBToCamera<3>(inputs));
    for (size_t c = 0; c < 3; ++c) {
        const double scale = ScaleOf(neutral.values[c], inputs);
        m_scaled[c].resize(kLevels);
        for (size_t i = 0; i < kLevels; ++i) {
            m_scaled[c][i] =
                static_cast<uint16_t>(Balance(static_cast<uint16_t>(i), inputs.black, scale) + 0.5);
        }
    }
}

void CRawColor3MatrixRGB::ConvertRow(uint16_t* pixels, size_t count) const {
    const uint16_t* gamma = GammaTable().data();
    std::array<CIndices, 3> camera{};
    std::array<CIndices, 3> rgb;
    for (size_t done = 0; done < count; done += kBlock) {
        const size_t here = std::min(kBlock, count - done);
        uint16_t* block = pixels + 3 * done;
        for (size_t i = 0; i < here; ++i) {
            for (size_t c = 0; c < 3; ++c) camera[c][i] = m_scaled[c][block[3 * i + c]];
        }
        Multiply3(m_cameraToRGB, camera, 0, rgb);
        StoreBGR(rgb, gamma, block, 3, here);
    }
}

bool CRawColor3MatrixRGB::ToLab(uint16_t r, uint16_t g, uint16_t b, double (&lab)[3]) {
    if (m_labCurve.empty()) {
        // sRGB's white, D65, becomes 1 in each of X, Y and Z.
        const CVector<3> whiteToOne{1.0521265581994328, 1.0, 0.9184811261313391};
        m_cameraToLab = Diagonal(whiteToOne) * kSRGBToXYZ * m_cameraToRGB;
        m_labCurve = MakeLabCurve();
        return false;
    }
    const CVector<3> camera{static_cast<double>(m_scaled[0][r]),
                            static_cast<double>(m_scaled[1][g]),
                            static_cast<double>(m_scaled[2][b])};
    const CVector<3> xyz = m_cameraToLab * camera;
    CVector<3> f;
    for (size_t c = 0; c < 3; ++c) f[c] = m_labCurve[static_cast<size_t>(Limit(xyz[c] + 0.5))];
    lab[0] = Lightness(f[1]);
    lab[1] = RedGreen(f[0], f[1]);
    lab[2] = YellowBlue(f[1], f[2]);
    return true;
}

void CRawColor3MatrixRGB::ToLabRow(const uint16_t* pixels, size_t count, int32_t* lab) const {
    std::array<CIndices, 3> camera{};
    camera[2].fill(m_scaled[2][0]);
    std::array<CIndices, 3> xyz;
    std::array<CPlane, 3> f;
    for (size_t done = 0; done < count; done += kBlock) {
        const size_t here = std::min(kBlock, count - done);
        const uint16_t* block = pixels + 3 * done;
        for (size_t i = 0; i < here; ++i) {
            for (size_t c = 0; c < 2; ++c) camera[c][i] = m_scaled[c][block[3 * i + c]];
        }
        Multiply3(m_cameraToLab, camera, 0.5, xyz);
        for (size_t c = 0; c < 3; ++c) {
            for (size_t i = 0; i < here; ++i) {
                f[c][i] = m_labCurve[static_cast<size_t>(xyz[c][i])];
            }
        }
        StoreLab(f, here, lab + 3 * done);
    }
}

CRawColor4MatrixRGB::CRawColor4MatrixRGB(const CRawColorInputs& inputs) : m_black(inputs.black) {
    const CLocalNeutral<4> neutral(inputs);
    m_colorTemperature = neutral.colorTemperature;
    m_cameraToRGB = PseudoInverse(RGBToCamera<4>(inputs));
    for (size_t c = 0; c < 4; ++c) m_scale[c] = ScaleOf(neutral.values[c], inputs);
}

void CRawColor4MatrixRGB::ConvertRow(uint16_t* pixels, size_t count) const {
    const uint16_t* gamma = GammaTable().data();
    std::array<CPlane, 4> camera{};
    std::array<CIndices, 3> rgb;
    for (size_t done = 0; done < count; done += kBlock) {
        const size_t here = std::min(kBlock, count - done);
        uint16_t* block = pixels + 4 * done;
        for (size_t i = 0; i < here; ++i) {
            for (size_t c = 0; c < 4; ++c) {
                camera[c][i] = Balance(block[4 * i + c], m_black, m_scale[c]);
            }
        }
        Multiply4(m_cameraToRGB, camera, rgb);
        StoreBGR(rgb, gamma, block, 4, here);
    }
}

}  // namespace kestr
