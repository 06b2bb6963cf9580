// CIE L*a*b* of rows, as AHD wants it.

#include <algorithm>

#include "platform/vector_clones.h"
#include "raw/raw_color_matrix.h"

namespace kestr {
namespace {

constexpr size_t kBlock = 128;  // pixels at a time: what lies between two steps stays in the cache

using CPlane = std::array<double, kBlock>;
using CIndices = std::array<int32_t, kBlock>;

/// 0..65535, rounded; what is no number counts as 0.
KESTR_INLINE int32_t RoundToLevel(double value) {
    value += 0.5;
    value = value > 0 ? value : 0;
    return static_cast<int32_t>(value < 65535 ? value : 65535);
}

/// X, Y and Z of a block of pixels whose third plane is the same all over. All of it is calculated,
/// also where the row has ended.
KESTR_VECTOR_CLONES void ToXYZ(const CMatrix<3, 3>& matrix, const std::array<CIndices, 2>& planes,
                               double third, std::array<CIndices, 3>& xyz) {
    const CVector<3> thirds{matrix[0][2] * third, matrix[1][2] * third, matrix[2][2] * third};
    for (size_t i = 0; i < kBlock; ++i) {
        const double first = planes[0][i], second = planes[1][i];
        for (size_t c = 0; c < 3; ++c) {
            xyz[c][i] = RoundToLevel(matrix[c][0] * first + matrix[c][1] * second + thirds[c]);
        }
    }
}

KESTR_VECTOR_CLONES void StoreLab(const std::array<CPlane, 3>& f, size_t count, int16_t* lightness,
                                  int16_t* a, int16_t* b) {
    for (size_t i = 0; i < count; ++i) {
        lightness[i] = static_cast<int16_t>(116 * f[1][i] - 16);
        a[i] = static_cast<int16_t>(500 * (f[0][i] - f[1][i]));
        b[i] = static_cast<int16_t>(200 * (f[1][i] - f[2][i]));
    }
}

}  // namespace

void CRawColor3MatrixRGB::ToLabRow(const uint16_t* first, const uint16_t* second, size_t count,
                                   int16_t* lightness, int16_t* a, int16_t* b) const {
    std::array<CIndices, 2> camera{};
    std::array<CIndices, 3> xyz;
    std::array<CPlane, 3> f;
    const double third = m_scaled[2][0];
    for (size_t done = 0; done < count; done += kBlock) {
        const size_t here = std::min(kBlock, count - done);
        for (size_t i = 0; i < here; ++i) camera[0][i] = m_scaled[0][first[done + i]];
        for (size_t i = 0; i < here; ++i) camera[1][i] = m_scaled[1][second[done + i]];
        ToXYZ(m_cameraToLab, camera, third, xyz);
        for (size_t c = 0; c < 3; ++c) {
            for (size_t i = 0; i < here; ++i) {
                f[c][i] = m_labCurve[static_cast<size_t>(xyz[c][i])];
            }
        }
        StoreLab(f, here, lightness + done, a + done, b + done);
    }
}

}  // namespace kestr
