// Raw colours as they appear: camera values through a table that holds CIECAM02.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

#include "raw/color_lattice.h"
#include "raw/raw_color.h"
#include "raw/small_matrix.h"

namespace kestr {

/// Three planes: the table's axes are the camera's values, black and white balance lie within.
class CRawColor3CIECAM02 final : public CRawColor3 {
public:
    explicit CRawColor3CIECAM02(const CRawColorInputs& inputs);
    [[nodiscard]] uint16_t GetColorTemperature() const override { return m_colorTemperature; }
    void ConvertRow(uint16_t* pixels, size_t count) const override;

private:
    uint16_t m_colorTemperature;
    std::vector<uint32_t> m_position;  // on an axis, for each camera sample
    std::shared_ptr<const CColorLattice> m_lattice;
};

/// Four planes: the table's axes are X, Y and Z.
class CRawColor4CIECAM02 final : public CRawColor4 {
public:
    explicit CRawColor4CIECAM02(const CRawColorInputs& inputs);
    [[nodiscard]] uint16_t GetColorTemperature() const override { return m_colorTemperature; }
    void ConvertRow(uint16_t* pixels, size_t count) const override;

private:
    uint16_t m_colorTemperature;
    CVector<4> m_neutral;
    CMatrix<3, 4> m_cameraToXYZ;
    std::vector<double> m_share;  // of the range from black to white, for each camera sample
    std::shared_ptr<const CColorLattice> m_lattice;
};

}  // namespace kestr
