#include "raw/raw_color_ciecam02.h"

#include <algorithm>
#include <array>
#include <cmath>

#include "platform/vector_clones.h"
#include "raw/appearance_lattice.h"
#include "raw/raw_white_model.h"

namespace kestr {
namespace {

constexpr size_t kLevels = 65536;
constexpr size_t kBlock = CColorLattice::kBlock;
constexpr size_t kPoints = CColorLattice::kPoints;

using CPlanes4 = std::array<std::array<double, kBlock>, 4>;

/// What is no number counts as 0.
KESTR_INLINE double Limit(double value, double most) {
    value = value > 0 ? value : 0;
    return value < most ? value : most;
}

/// The input that a point of an axis stands for.
double PointValue(size_t point) {
    return std::floor(static_cast<double>(point) * 65535 / (kPoints - 1) + 0.5);
}

CAppearance AppearanceOfCamera(const CRawWhiteModel<3>& model, const CSurroundings& scene) {
    CAppearance appearance;
    for (size_t c = 0; c < 3; ++c) {
        for (size_t i = 0; i < kPoints; ++i) {
            const double value =
                (PointValue(i) * model.whiteScale - model.black) * model.inverseRange;
            // A channel ends at the neutral's value, so that what is clipped stays neutral.
            appearance.axes[c][i] = Limit(value, model.neutral[c]);
        }
    }
    appearance.toXYZ = model.cameraToXYZ * Diagonal(CVector<3>{100, 100, 100});
    appearance.whiteXYZ = model.whiteXYZ;
    appearance.scene = scene;
    return appearance;
}

CAppearance AppearanceOfXYZ(const CVector<3>& whiteXYZ, const CSurroundings& scene) {
    CAppearance appearance;
    for (auto& axis : appearance.axes) {
        for (size_t i = 0; i < kPoints; ++i) axis[i] = PointValue(i) / 65535 * 100;
    }
    appearance.toXYZ = Diagonal(CVector<3>{1, 1, 1});
    appearance.whiteXYZ = whiteXYZ;
    appearance.scene = scene;
    return appearance;
}

/// XYZ of a block, truncated to 16 bits, as positions in the table.
KESTR_VECTOR_CLONES void FindPositions(const CMatrix<3, 4>& toXYZ, const CPlanes4& camera,
                                       CColorLattice::CPositions& positions) {
    for (size_t row = 0; row < 3; ++row) {
        for (size_t i = 0; i < kBlock; ++i) {
            double value = 0;
            for (size_t c = 0; c < 4; ++c) value += toXYZ[row][c] * camera[c][i];
            const auto level = static_cast<int32_t>(Limit(value, 1) * 65535);
            positions[row][i] = CColorLattice::Position(static_cast<uint16_t>(level));
        }
    }
}

}  // namespace

CRawColor3CIECAM02::CRawColor3CIECAM02(const CRawColorInputs& inputs) : m_position(kLevels) {
    const CRawWhiteModel<3> model(inputs);
    m_colorTemperature = model.colorTemperature;
    m_lattice = AppearanceLattice(AppearanceOfCamera(model, inputs.surroundings));
    const uint32_t white = std::max<uint32_t>(inputs.white, 1);
    for (uint32_t sample = 0; sample < kLevels; ++sample) {
        const uint32_t level = std::min<uint32_t>(sample * 65535 / white, 65535);
        m_position[sample] = CColorLattice::Position(static_cast<uint16_t>(level));
    }
}

void CRawColor3CIECAM02::ConvertRow(uint16_t* pixels, size_t count) const {
    CColorLattice::CPositions positions{};
    for (size_t done = 0; done < count; done += kBlock) {
        const size_t here = std::min(kBlock, count - done);
        uint16_t* block = pixels + 3 * done;
        for (size_t i = 0; i < here; ++i) {
            for (size_t c = 0; c < 3; ++c) positions[c][i] = m_position[block[3 * i + c]];
        }
        m_lattice->Evaluate(positions, block, 3, here);
    }
}

CRawColor4CIECAM02::CRawColor4CIECAM02(const CRawColorInputs& inputs) : m_share(kLevels) {
    const CRawWhiteModel<4> model(inputs);
    m_colorTemperature = model.colorTemperature;
    m_neutral = model.neutral;
    m_cameraToXYZ = model.cameraToXYZ;
    m_lattice = AppearanceLattice(AppearanceOfXYZ(model.whiteXYZ, inputs.surroundings));
    const double range = inputs.white - inputs.black;
    for (size_t sample = 0; sample < kLevels; ++sample) {
        m_share[sample] = Limit((static_cast<double>(sample) - inputs.black) / range, 1);
    }
}

void CRawColor4CIECAM02::ConvertRow(uint16_t* pixels, size_t count) const {
    CPlanes4 camera{};
    CColorLattice::CPositions positions;
    for (size_t done = 0; done < count; done += kBlock) {
        const size_t here = std::min(kBlock, count - done);
        uint16_t* block = pixels + 4 * done;
        for (size_t i = 0; i < here; ++i) {
            for (size_t c = 0; c < 4; ++c) {
                camera[c][i] = std::min(m_share[block[4 * i + c]], m_neutral[c]);
            }
        }
        FindPositions(m_cameraToXYZ, camera, positions);
        m_lattice->Evaluate(positions, block, 4, here);
    }
}

}  // namespace kestr
