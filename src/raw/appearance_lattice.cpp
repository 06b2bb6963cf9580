#include "raw/appearance_lattice.h"

#include <algorithm>
#include <cmath>
#include <mutex>
#include <new>
#include <type_traits>

#include "color/lcms_handles.h"

namespace kestr {
namespace {

constexpr size_t kPoints = CColorLattice::kPoints;
constexpr cmsCIEXYZ kPictureWhite{96.42, 100.0, 82.49};  // D50
constexpr double kPictureYb = 20.0;
constexpr double kPictureLa = 60.0;

struct CModelDeleter {
    void operator()(cmsHANDLE model) const { cmsCIECAM02Done(model); }
};
using CAppearanceModel = std::unique_ptr<std::remove_pointer_t<cmsHANDLE>, CModelDeleter>;

CAppearanceModel MakeModel(const CColorContext& context, const cmsCIEXYZ& white,
                           const CSurroundings& from) {
    const cmsViewingConditions conditions{white, from.Yb, from.La, from.surround, from.D};
    CAppearanceModel model(cmsCIECAM02Init(context.get(), &conditions));
    if (!model) throw std::bad_alloc();
    return model;
}

CColorTransform MakeLabToSRGB(const CColorContext& context) {
    const CColorProfile lab(cmsCreateLab2ProfileTHR(context.get(), nullptr));
    const CColorProfile display(cmsCreate_sRGBProfileTHR(context.get()));
    CColorTransform transform;
    if (lab && display) {
        transform.reset(cmsCreateTransformTHR(context.get(), lab.get(), TYPE_Lab_DBL, display.get(),
                                              TYPE_RGB_16, INTENT_RELATIVE_COLORIMETRIC, 0));
    }
    if (!transform) throw std::bad_alloc();
    return transform;
}

CSurroundings PictureSurroundings(const CSurroundings& scene) {
    return {kPictureYb, kPictureLa, scene.D, scene.surround};
}

class CSampler {
public:
    explicit CSampler(const CAppearance& appearance)
        : m_appearance(appearance),
          m_context(MakeColorContext()),
          m_scene(MakeModel(m_context,
                            {100 * appearance.whiteXYZ[0], 100 * appearance.whiteXYZ[1],
                             100 * appearance.whiteXYZ[2]},
                            appearance.scene)),
          m_picture(MakeModel(m_context, kPictureWhite, PictureSurroundings(appearance.scene))),
          m_toDisplay(MakeLabToSRGB(m_context)) {}

    /// A point whose value is its neighbour's takes over what the neighbour has.
    void Sample(CColorLattice& lattice) const {
        const auto& [first, second, third] = m_appearance.axes;
        for (size_t x = 0; x < kPoints; ++x) {
            if (x > 0 && first[x] == first[x - 1]) {
                std::copy_n(lattice.Line(x - 1, 0), kPoints * kPoints, lattice.Line(x, 0));
                continue;
            }
            for (size_t y = 0; y < kPoints; ++y) {
                if (y > 0 && second[y] == second[y - 1]) {
                    std::copy_n(lattice.Line(x, y - 1), kPoints, lattice.Line(x, y));
                } else {
                    SampleLine(first[x], second[y], third, lattice.Line(x, y));
                }
            }
        }
    }

private:
    using CLine = std::array<double, kPoints>;

    void SampleLine(double first, double second, const CLine& third,
                    CColorLattice::CNode* nodes) const {
        std::array<cmsCIELab, kPoints> colors;
        std::array<bool, kPoints> hasValue;
        std::array<size_t, kPoints> indexOf;  // of each point among the colours
        size_t count = 0;
        for (size_t z = 0; z < kPoints; ++z) {
            if (z == 0 || third[z] != third[z - 1]) {
                hasValue[count] = Appear({first, second, third[z]}, colors[count]);
                ++count;
            }
            indexOf[z] = count - 1;
        }
        std::array<std::array<uint16_t, 3>, kPoints> display;
        cmsDoTransform(m_toDisplay.get(), colors.data(), display.data(),
                       static_cast<cmsUInt32Number>(count));
        for (size_t z = 0; z < kPoints; ++z) {
            const auto& rgb = display[indexOf[z]];
            nodes[z] = hasValue[indexOf[z]] ? CColorLattice::CNode{rgb[2], rgb[1], rgb[0], 0}
                                            : CColorLattice::CNode{};
        }
    }

    /// False, and any colour, where the model has no value: some blues that no eye can see.
    bool Appear(const CVector<3>& values, cmsCIELab& lab) const {
        CVector<3> xyz = m_appearance.toXYZ * values;
        for (double& value : xyz) value = value > 0 ? std::min(value, 100.0) : 0;
        const cmsCIEXYZ seen{xyz[0], xyz[1], xyz[2]};
        cmsJCh correlates;
        cmsCIECAM02Forward(m_scene.get(), &seen, &correlates);
        cmsCIEXYZ shown;
        cmsCIECAM02Reverse(m_picture.get(), &correlates, &shown);
        cmsXYZ2Lab(&kPictureWhite, &lab, &shown);
        const bool hasValue = std::isfinite(lab.L) && std::isfinite(lab.a) && std::isfinite(lab.b);
        if (!hasValue) lab = {0, 0, 0};
        return hasValue;
    }

    const CAppearance& m_appearance;
    CColorContext m_context;
    CAppearanceModel m_scene;
    CAppearanceModel m_picture;
    CColorTransform m_toDisplay;
};

struct CKeptLattice {
    std::mutex lock;
    CAppearance appearance;
    std::shared_ptr<const CColorLattice> lattice;  // null at first
};

CKeptLattice& KeptLattice() {
    static CKeptLattice kept;
    return kept;
}

}  // namespace

std::shared_ptr<const CColorLattice> AppearanceLattice(const CAppearance& appearance) {
    CKeptLattice& kept = KeptLattice();
    {
        const std::lock_guard guard(kept.lock);
        if (kept.lattice && kept.appearance == appearance) return kept.lattice;
    }
    const auto lattice = std::make_shared<CColorLattice>();
    CSampler(appearance).Sample(*lattice);
    const std::lock_guard guard(kept.lock);
    kept.appearance = appearance;
    kept.lattice = lattice;
    return lattice;
}

}  // namespace kestr
