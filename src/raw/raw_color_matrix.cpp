#include "raw/raw_color_matrix.h"

#include <algorithm>
#include <cmath>
#include <cstring>

#include "base/real_power.h"
#include "platform/vector_clones.h"
#include "raw/raw_white_model.h"

namespace kestr {
namespace {

constexpr size_t kBlock = 32;  // pixels at a time: few enough for look-ups and products to overlap
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

// Four numbers at a time, written so: a compiler left to itself limits sums after their conversion.
using CFourDoubles = double __attribute__((vector_size(32)));
using CFourIndices = int32_t __attribute__((vector_size(16)));

KESTR_INLINE void Load(const double* from, CFourDoubles& values) {
    std::memcpy(&values, from, sizeof(values));
}

KESTR_INLINE void Load(const int32_t* from, CFourDoubles& values) {
    CFourIndices indices;
    std::memcpy(&indices, from, sizeof(indices));
    values = __builtin_convertvector(indices, CFourDoubles);
}

/// Limited and truncated products of a block. All of it is calculated, also where the row has
/// ended.
template <size_t Planes, typename Value>
KESTR_INLINE void Multiply(const CMatrix<3, Planes> matrix,
                           const std::array<std::array<Value, kBlock>, Planes>& planes,
                           std::array<CIndices, 3>& products) {
    constexpr CFourDoubles kNone{};
    constexpr CFourDoubles kMost{kTop, kTop, kTop, kTop};
    for (size_t i = 0; i < kBlock; i += 4) {
        CFourDoubles in[Planes];
        for (size_t c = 0; c < Planes; ++c) {
            Load(&planes[c][i], in[c]);
        }
        for (size_t row = 0; row < 3; ++row) {
            CFourDoubles sum = in[0] * matrix[row][0];
            for (size_t c = 1; c < Planes; ++c) sum += in[c] * matrix[row][c];
            sum = sum > kNone ? sum : kNone;
            sum = sum < kMost ? sum : kMost;
            const auto levels = __builtin_convertvector(sum, CFourIndices);
            std::memcpy(&products[row][i], &levels, sizeof(levels));
        }
    }
}

/// Writes the first three samples of `count` pixels as blue, green, red.
KESTR_INLINE void StoreBGR(const std::array<CIndices, 3>& rgb, const uint16_t* curve,
                           uint16_t* pixels, size_t samplesPerPixel, size_t count) {
    for (size_t i = 0; i < count; ++i, pixels += samplesPerPixel) {
        pixels[0] = curve[rgb[2][i]];
        pixels[1] = curve[rgb[1][i]];
        pixels[2] = curve[rgb[0][i]];
    }
}

KESTR_VECTOR_CLONES void ConvertRow3(const std::array<const uint16_t*, 3>& scaled,
                                     const CMatrix<3, 3>& matrix, const uint16_t* gamma,
                                     uint16_t* pixels, size_t count) {
    std::array<CIndices, 3> camera{};
    std::array<CIndices, 3> rgb;
    for (size_t done = 0; done < count; done += kBlock, pixels += 3 * kBlock) {
        const size_t here = std::min(kBlock, count - done);
        for (size_t i = 0; i < here; ++i) {
            for (size_t c = 0; c < 3; ++c) camera[c][i] = scaled[c][pixels[3 * i + c]];
        }
        Multiply<3>(matrix, camera, rgb);
        StoreBGR(rgb, gamma, pixels, 3, here);
    }
}

KESTR_VECTOR_CLONES void ConvertRow4(uint16_t black, const CVector<4>& scale,
                                     const CMatrix<3, 4>& matrix, const uint16_t* gamma,
                                     uint16_t* pixels, size_t count) {
    std::array<CPlane, 4> camera{};
    std::array<CIndices, 3> rgb;
    for (size_t done = 0; done < count; done += kBlock, pixels += 4 * kBlock) {
        const size_t here = std::min(kBlock, count - done);
        for (size_t i = 0; i < here; ++i) {
            for (size_t c = 0; c < 4; ++c) {
                camera[c][i] = Balance(pixels[4 * i + c], black, scale[c]);
            }
        }
        Multiply<4>(matrix, camera, rgb);
        StoreBGR(rgb, gamma, pixels, 4, here);
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
    ConvertRow3({m_scaled[0].data(), m_scaled[1].data(), m_scaled[2].data()}, m_cameraToRGB,
                GammaTable().data(), pixels, count);
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
    lab[0] = 116 * f[1] - 16;
    lab[1] = 500 * (f[0] - f[1]);
    lab[2] = 200 * (f[1] - f[2]);
    return true;
}

CRawColor4MatrixRGB::CRawColor4MatrixRGB(const CRawColorInputs& inputs) : m_black(inputs.black) {
    const CLocalNeutral<4> neutral(inputs);
    m_colorTemperature = neutral.colorTemperature;
    m_cameraToRGB = PseudoInverse(RGBToCamera<4>(inputs));
    for (size_t c = 0; c < 4; ++c) m_scale[c] = ScaleOf(neutral.values[c], inputs);
}

void CRawColor4MatrixRGB::ConvertRow(uint16_t* pixels, size_t count) const {
    ConvertRow4(m_black, m_scale, m_cameraToRGB, GammaTable().data(), pixels, count);
}

}  // namespace kestr
