// Raw colours by one matrix to sRGB's primaries and the curve of 1 / 2.2; CIE L*a*b* of the same.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <vector>

#include "raw/raw_color.h"
#include "raw/small_matrix.h"

namespace kestr {

/// Three planes. Only the second matrix of the camera is used, whatever light there was.
class CRawColor3MatrixRGB final : public CRawColor3 {
public:
    explicit CRawColor3MatrixRGB(const CRawColorInputs& inputs);
    [[nodiscard]] uint16_t GetColorTemperature() const override { return m_colorTemperature; }
    void ConvertRow(uint16_t* pixels, size_t count) const override;

    /// L (0..100), a and b of a pixel of camera samples. The first call builds the tables, gives
    /// nothing and answers false.
    bool ToLab(uint16_t r, uint16_t g, uint16_t b, double (&lab)[3]);
    /// ToLab() of `count` pixels whose first two planes are given and the third counts as 0, with
    /// L, a and b each truncated: what judges homogeneity looks at two planes only. Needs ToLab()
    /// to have been called.
    void ToLabRow(const uint16_t* first, const uint16_t* second, size_t count, int16_t* lightness,
                  int16_t* a, int16_t* b) const;

private:
    std::array<std::vector<uint16_t>, 3> m_scaled;  // balanced sample for each camera sample
    CMatrix<3, 3> m_cameraToRGB;
    CMatrix<3, 3> m_cameraToLab;
    std::vector<double> m_labCurve;  // empty until the first use
    uint16_t m_colorTemperature = 5000;
};

/// Four planes, by least squares.
class CRawColor4MatrixRGB final : public CRawColor4 {
public:
    explicit CRawColor4MatrixRGB(const CRawColorInputs& inputs);
    [[nodiscard]] uint16_t GetColorTemperature() const override { return m_colorTemperature; }
    void ConvertRow(uint16_t* pixels, size_t count) const override;

private:
    uint16_t m_black;
    CVector<4> m_scale;
    CMatrix<3, 4> m_cameraToRGB;
    uint16_t m_colorTemperature = 5000;
};

}  // namespace kestr
