// The white of a raw picture: which matrix belongs to its light, and the way from camera values to
// XYZ. The model of camera colour is that of the DNG format: two matrices for two lights, a neutral
// and an analog balance.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

#include "raw/colour_temperature.h"
#include "raw/raw_color.h"
#include "raw/small_matrix.h"

namespace kestr {

/// sRGB's primaries: linear values to XYZ, white D65.
inline constexpr CMatrix<3, 3> kSRGBToXYZ{{{{0.412453, 0.35758, 0.180423},
                                            {0.212671, 0.71516, 0.072169},
                                            {0.019334, 0.119193, 0.950227}}}};

/// The temperature that stands for a white that has none.
constexpr uint16_t kUnknownTemperature = 5000;

/// XYZ to camera values, for 3 or 4 planes.
template <size_t Planes>
struct CCameraMatrix {
    CMatrix<Planes, 3> matrix;
    std::vector<double> reduction;  // weights of the way back from four planes: 12 values or none
};

/// The camera's matrix for light of a white: one of its two, or a mixture by the reciprocal of the
/// temperature.
template <size_t Planes>
CCameraMatrix<Planes> MatrixForWhite(const CChromaticity& xy, const CameraColorData& cameraColor);

/// The camera's second matrix behind the analog balance.
template <size_t Planes>
CCameraMatrix<Planes> BalancedMatrix2(const CRawColorInputs& inputs);

/// Camera values to XYZ; by least squares for four planes without weights.
CMatrix<3, 3> CameraToXYZ(const CCameraMatrix<3>& camera);
CMatrix<3, 4> CameraToXYZ(const CCameraMatrix<4>& camera);

/// The values, or `otherwise` for all when there is not one for each plane.
template <size_t Planes>
CVector<Planes> OneForEachPlane(std::span<const double> values, double otherwise);

/// A temperature as it is kept: truncated, and 5000 K for a white that has none.
uint16_t KeptTemperature(double kelvin);

/// What the appearance route knows of a picture's white.
template <size_t Planes>
struct CRawWhiteModel {
    explicit CRawWhiteModel(const CRawColorInputs& inputs);

    CVector<Planes> neutral;  // all 1 if none was given
    CVector<3> whiteXYZ;
    CChromaticity whiteXy;
    uint16_t black, white;           // sample levels
    double whiteScale;               // white / 65535
    double inverseRange;             // 1 / (white - black)
    CMatrix<3, Planes> cameraToXYZ;  // of values 0..1
    uint16_t colorTemperature;       // kelvin
};

}  // namespace kestr
