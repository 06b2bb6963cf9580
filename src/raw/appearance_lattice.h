// The appearance route's table: XYZ through CIECAM02 as the scene was seen, back as the picture
// will be seen, and to sRGB by Little CMS.
#pragma once

#include <array>
#include <memory>

#include "raw/color_lattice.h"
#include "raw/raw_color.h"
#include "raw/small_matrix.h"

namespace kestr {

/// All that a table depends on.
struct CAppearance {
    /// What each point of an axis stands for; neighbours may be equal.
    std::array<std::array<double, CColorLattice::kPoints>, 3> axes{};
    CMatrix<3, 3> toXYZ;    // from the axes' values, XYZ of 0..100
    CVector<3> whiteXYZ{};  // of the scene, Y near 1
    CSurroundings scene{};
    friend bool operator==(const CAppearance&, const CAppearance&) = default;
};

/// The table, which costs some 0.3 s to calculate; the one asked for last is kept for the next
/// caller, on any thread. Colours for which CIECAM02 has no value are black.
std::shared_ptr<const CColorLattice> AppearanceLattice(const CAppearance& appearance);

}  // namespace kestr
