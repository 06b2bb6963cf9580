#include "raw/raw_white_model.h"

#include <algorithm>
#include <cmath>

#include <lcms2.h>

namespace kestr {
namespace {

/// How many values a calibration has that is applied. With three planes it is as long as a matrix
/// of four, so that one of nine is none; callers rely on it.
template <size_t Planes>
constexpr size_t kCalibrationValues = Planes == 3 ? 12 : 16;

template <size_t Planes>
void Calibrate(std::vector<double>& matrix, const std::vector<double>& calibration) {
    if (calibration.size() != kCalibrationValues<Planes>) return;
    const auto product = MatrixFrom<Planes, Planes>(calibration) * MatrixFrom<Planes, 3>(matrix);
    matrix.clear();
    for (const auto& row : product.rows) matrix.insert(matrix.end(), row.begin(), row.end());
}

template <size_t Planes>
CameraColorData Calibrated(CameraColorData camera) {
    Calibrate<Planes>(camera.colorMatrix1, camera.calibration[0]);
    if (camera.illuminant1 != camera.illuminant2) {
        Calibrate<Planes>(camera.colorMatrix2, camera.calibration[1]);
    }
    return camera;
}

template <size_t Planes>
CCameraMatrix<Planes> FirstMatrix(const CameraColorData& camera) {
    return {MatrixFrom<Planes, 3>(camera.colorMatrix1), camera.reduction[0]};
}

template <size_t Planes>
CCameraMatrix<Planes> SecondMatrix(const CameraColorData& camera) {
    return {MatrixFrom<Planes, 3>(camera.colorMatrix2), camera.reduction[1]};
}

/// The share of the first light, 0..1, in light of the given temperature.
double ShareOfFirst(double kelvin, const CameraColorData& camera) {
    const double first = camera.illuminant1, second = camera.illuminant2;
    if (kelvin <= first) return 1;
    if (kelvin >= second) return 0;
    const double share = (1 / kelvin - 1 / second) / (1 / first - 1 / second);
    return share > 0 ? std::min(share, 1.0) : 0;
}

std::vector<double> MixedReduction(double share, const CameraColorData& camera) {
    const auto& [first, second] = camera.reduction;
    if (second.empty()) return first;
    if (first.empty()) return second;
    if (share >= 1) return first;
    if (share <= 0) return second;
    if (first.size() != second.size()) return {};
    std::vector<double> mixed(first.size());
    for (size_t i = 0; i < mixed.size(); ++i) {
        mixed[i] = share * first[i] + (1 - share) * second[i];
    }
    return mixed;
}

/// The matrix that fits the neutral: what white it means depends on the matrix and the other way
/// round, so both are found by turns.
template <size_t Planes>
CCameraMatrix<Planes> MatrixForNeutral(const CVector<Planes>& neutral,
                                       const CameraColorData& camera) {
    constexpr int kMostTurns = 32;
    constexpr double kSameWhite = 1e-7;
    const cmsCIEXYZ& d50 = *cmsD50_XYZ();
    CChromaticity xy = ChromaticityOf({d50.X, d50.Y, d50.Z});
    CCameraMatrix<Planes> matrix;
    for (int turn = 0; turn < kMostTurns; ++turn) {
        matrix = MatrixForWhite<Planes>(xy, camera);
        const CChromaticity last = xy;
        xy = ChromaticityOf(CameraToXYZ(matrix) * neutral);
        if (std::abs(xy.x - last.x) + std::abs(xy.y - last.y) < kSameWhite) break;
    }
    return matrix;
}

template <size_t Planes>
CCameraMatrix<Planes> MatrixOfPicture(const CVector<Planes>& neutral, uint16_t temperature,
                                      const CameraColorData& camera) {
    if (camera.illuminant1 == camera.illuminant2) return FirstMatrix<Planes>(camera);
    const auto daylight = DaylightOf(temperature);
    return daylight ? MatrixForWhite<Planes>(*daylight, camera)
                    : MatrixForNeutral<Planes>(neutral, camera);
}

template <size_t Planes>
CCameraMatrix<Planes> Balanced(const CCameraMatrix<Planes>& camera,
                               std::span<const double> analogBalance) {
    const auto balance = Diagonal(OneForEachPlane<Planes>(analogBalance, 1));
    return {balance * camera.matrix, camera.reduction};
}

}  // namespace

template <size_t Planes>
CCameraMatrix<Planes> MatrixForWhite(const CChromaticity& xy, const CameraColorData& cameraColor) {
    const double share = ShareOfFirst(CCTFromXy(xy), cameraColor);
    CCameraMatrix<Planes> mixed;
    if (share >= 1) {
        mixed = FirstMatrix<Planes>(cameraColor);
    } else if (share <= 0) {
        mixed = SecondMatrix<Planes>(cameraColor);
    } else {
        mixed.matrix = share * MatrixFrom<Planes, 3>(cameraColor.colorMatrix1) +
                       (1 - share) * MatrixFrom<Planes, 3>(cameraColor.colorMatrix2);
    }
    mixed.reduction = MixedReduction(share, cameraColor);
    return mixed;
}

template <size_t Planes>
CCameraMatrix<Planes> BalancedMatrix2(const CRawColorInputs& inputs) {
    return Balanced(SecondMatrix<Planes>(inputs.cameraColor), inputs.analogBalance);
}

CMatrix<3, 3> CameraToXYZ(const CCameraMatrix<3>& camera) {
    return Inverse(camera.matrix);
}

CMatrix<3, 4> CameraToXYZ(const CCameraMatrix<4>& camera) {
    if (camera.reduction.size() != 12) return PseudoInverse(camera.matrix);
    return PseudoInverse(camera.matrix, MatrixFrom<3, 4>(camera.reduction));
}

template <size_t Planes>
CVector<Planes> OneForEachPlane(std::span<const double> values, double otherwise) {
    CVector<Planes> result;
    result.fill(otherwise);
    if (values.size() == Planes) std::copy(values.begin(), values.end(), result.begin());
    return result;
}

uint16_t KeptTemperature(double kelvin) {
    if (!(kelvin > 0)) return kUnknownTemperature;
    return static_cast<uint16_t>(std::min(kelvin, 65535.0));
}

template <size_t Planes>
CRawWhiteModel<Planes>::CRawWhiteModel(const CRawColorInputs& inputs)
    : black(inputs.black),
      white(inputs.white),
      whiteScale(inputs.white / 65535.0),
      inverseRange(1.0 / (inputs.white - inputs.black)) {
    const auto given = OneForEachPlane<Planes>(inputs.neutral, 0);
    const auto camera = Calibrated<Planes>(inputs.cameraColor);
    const auto matrix = MatrixOfPicture<Planes>(given, inputs.temperature, camera);
    cameraToXYZ = CameraToXYZ(Balanced(matrix, inputs.analogBalance));
    neutral = given[0] > 0 ? given : OneForEachPlane<Planes>({}, 1);

    if (const auto daylight = DaylightOf(inputs.temperature)) {
        whiteXy = *daylight;
        whiteXYZ = XYZOf(whiteXy);
    } else {
        whiteXYZ = cameraToXYZ * neutral;
        whiteXy = ChromaticityOf(whiteXYZ);
    }
    const double kelvin = CCTFromXy(whiteXy);
    colorTemperature = KeptTemperature(kelvin);
    if (!(kelvin > 0)) {
        whiteXy = DaylightOf(kUnknownTemperature).value();
        whiteXYZ = XYZOf(whiteXy);
    }
}

template struct CRawWhiteModel<3>;
template struct CRawWhiteModel<4>;
template CCameraMatrix<3> MatrixForWhite(const CChromaticity&, const CameraColorData&);
template CCameraMatrix<4> MatrixForWhite(const CChromaticity&, const CameraColorData&);
template CCameraMatrix<3> BalancedMatrix2(const CRawColorInputs&);
template CCameraMatrix<4> BalancedMatrix2(const CRawColorInputs&);
template CVector<3> OneForEachPlane<3>(std::span<const double>, double);
template CVector<4> OneForEachPlane<4>(std::span<const double>, double);

}  // namespace kestr
