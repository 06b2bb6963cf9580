// VNG, interpolation by a variable number of gradients: around each pixel the gradients in eight
// directions tell where the picture is smooth, and the mean of those neighbours tells the planes.
// After E. Chang, S. Cheung and D. Pan, "Color filter array recovery using a threshold-based
// variable number of gradients".

#include <array>
#include <cstring>
#include <utility>
#include <vector>

#include "platform/vector_clones.h"
#include "raw/demosaic.h"
#include "raw/demosaic_rows.h"
#include "raw/demosaic_vng_any.h"
#include "raw/demosaic_vng_rows.h"

namespace kestr {
namespace {

using namespace vng;

// Bayer patterns have the terms of each place known to the compiler.

/// Planes by their part in a row.
enum CRole { kRowPlane, kGreenRole, kOtherPlane };

/// What is recorded around a green pixel or around one of the row's own plane.
struct CPlaces {
    bool green;

    constexpr CRole operator()(int dy, int dx) const {
        if (((dy + dx) & 1) != 0) {
            if (!green) return kGreenRole;
            return (dx & 1) != 0 ? kRowPlane : kOtherPlane;
        }
        if (green) return kGreenRole;
        return (dx & 1) == 0 ? kRowPlane : kOtherPlane;
    }
};

/// Rows around the one that is worked on, by role, the pixels of even columns first and those of
/// odd columns `half` samples behind.
struct CAround {
    std::array<std::array<const uint16_t*, 3>, 2 * kReach + 1> rows;
    size_t half;
};

template <int kParity, CRole kRole, int kDy, int kDx>
KESTR_INLINE Lanes Load(const CAround& around, size_t i) {
    constexpr int kColumn = kParity + kDx;
    constexpr int kStep = kColumn >> 1;  // rounds down
    const uint16_t* from = around.rows[kDy + kReach][kRole] + i + kStep;
    if constexpr ((kColumn & 1) != 0) from += around.half;
    return vng::Load(from);
}

template <bool kGreen, int kParity, size_t kTerm>
KESTR_INLINE void AddTerm(const CAround& around, size_t i, CGradients& gradients) {
    constexpr CGradientTerm kWhat = kGradientTerms[kTerm];
    constexpr CPlaces kPlaces{kGreen};
    if constexpr (IsKept(kWhat, kPlaces)) {
        constexpr CRole kRole = kPlaces(kWhat.y1, kWhat.x1);
        const Lanes first = Load<kParity, kRole, kWhat.y1, kWhat.x1>(around, i);
        const Lanes second = Load<kParity, kRole, kWhat.y2, kWhat.x2>(around, i);
        const Lanes difference = Distance(first, second) << kWhat.shift;
        for (size_t g = 0; g < kDirections.size(); ++g) {
            if ((kWhat.directions >> g & 1) != 0) gradients.of[g] += difference;
        }
    }
}

template <bool kGreen, int kParity, size_t... kTerm>
KESTR_INLINE void AddTerms(const CAround& around, size_t i, CGradients& gradients,
                           std::index_sequence<kTerm...>) {
    (AddTerm<kGreen, kParity, kTerm>(around, i, gradients), ...);
}

/// What the directions without much of a gradient add up to.
struct CChosen {
    Lanes sums[3]{};  // by role
    Lanes count{};
};

template <bool kGreen, int kParity, size_t kDirection>
KESTR_INLINE void AddDirection(const CAround& around, size_t i, const CGradients& gradients,
                               const Lanes& threshold, const Lanes& pixel, CChosen& chosen) {
    constexpr int kDy = kDirections[kDirection].dy, kDx = kDirections[kDirection].dx;
    const Lanes taken = gradients.of[kDirection] <= threshold;  // all bits, or none
    Lanes rowPlane;
    if constexpr (!kGreen && kDirection % 2 == 0) {
        rowPlane = (pixel + Load<kParity, kRowPlane, 2 * kDy, 2 * kDx>(around, i)) >> 1;
    } else {
        rowPlane = Load<kParity, kRowPlane, kDy, kDx>(around, i);
    }
    chosen.sums[kRowPlane] += rowPlane & taken;
    chosen.sums[kGreenRole] += Load<kParity, kGreenRole, kDy, kDx>(around, i) & taken;
    chosen.sums[kOtherPlane] += Load<kParity, kOtherPlane, kDy, kDx>(around, i) & taken;
    chosen.count -= taken;
}

template <bool kGreen, int kParity, size_t... kDirection>
KESTR_INLINE void AddDirections(const CAround& around, size_t i, const CGradients& gradients,
                                const Lanes& pixel, CChosen& chosen,
                                std::index_sequence<kDirection...>) {
    const Lanes threshold = gradients.Threshold();
    (AddDirection<kGreen, kParity, kDirection>(around, i, gradients, threshold, pixel, chosen),
     ...);
}

/// The planes that pixels of columns of one parity lack: `first` is green for pixels of the row's
/// own plane, which is what green ones get there; `other` is the third.
template <bool kGreen, int kParity>
KESTR_INLINE void InterpolateColumns(const CAround& around, size_t begin, size_t end,
                                     uint16_t* first, uint16_t* other) {
    constexpr CRole kOwn = kGreen ? kGreenRole : kRowPlane;
    for (size_t i = begin; i < end; i += kLanes) {
        CGradients gradients;
        AddTerms<kGreen, kParity>(around, i, gradients,
                                  std::make_index_sequence<kGradientTerms.size()>());
        const Lanes pixel = Load<kParity, kOwn, 0, 0>(around, i);
        CChosen chosen;
        AddDirections<kGreen, kParity>(around, i, gradients, pixel, chosen,
                                       std::make_index_sequence<kDirections.size()>());
        const Reals count = __builtin_convertvector(chosen.count, Reals);
        const Lanes own = chosen.sums[kOwn];
        const Words newFirst =
            NewSamples(pixel, chosen.sums[kGreen ? kRowPlane : kGreenRole] - own, count);
        const Words newOther = NewSamples(pixel, chosen.sums[kOtherPlane] - own, count);
        std::memcpy(first + i, &newFirst, sizeof newFirst);
        std::memcpy(other + i, &newOther, sizeof newOther);
    }
}

/// Pixels `begin` to `end` of columns of either parity, in a row whose green pixels are those of
/// `greenParity`.
KESTR_VECTOR_CLONES void InterpolateBayerRow(const CAround& around, uint32_t greenParity,
                                             size_t begin, size_t end, uint16_t* first,
                                             uint16_t* other) {
    const size_t half = around.half;
    if (greenParity == 0) {
        InterpolateColumns<true, 0>(around, begin, end, first, other);
        InterpolateColumns<false, 1>(around, begin, end, first + half, other + half);
    } else {
        InterpolateColumns<false, 0>(around, begin, end, first, other);
        InterpolateColumns<true, 1>(around, begin, end, first + half, other + half);
    }
}

/// Writes the two planes that each pixel of a row lacks, from column 2 on.
void WriteMissing(CRawSamples& samples, uint32_t y, const CBayerPattern& bayer,
                  const uint16_t* first, const uint16_t* other, size_t half) {
    const uint32_t rowPlane = bayer.Plane(y);
    for (uint32_t x = kReach; x < samples.width - kReach; ++x) {
        const bool green = (x & 1) == bayer.GreenParity(y);
        const size_t place = (x & 1) * half + x / 2;
        uint16_t* pixel = samples.Pixel(y, x);
        pixel[green ? rowPlane : 1] = first[place];
        pixel[2 - rowPlane] = other[place];
    }
}

bool InterpolateBayer(CRawSensorImage& image, const CBayerPattern& bayer, CImageReader* reader) {
    CRawSamples& samples = image.samples;
    CPlaneRows planes(samples);
    const size_t half = planes.Half();
    std::vector<uint16_t> results(4 * half);
    uint16_t* first = results.data();
    uint16_t* other = first + 2 * half;
    for (uint32_t y = 0; y < 2 * kReach; ++y) planes.Take(y);
    for (uint32_t y = kReach; y < samples.height - kReach; ++y) {
        if (!StartRawRow(image, reader, y)) return false;
        planes.Take(y + kReach);
        CAround around{.rows = {}, .half = half};
        for (uint32_t i = 0; i < around.rows.size(); ++i) {
            for (uint32_t role = 0; role < 3; ++role) {
                const uint32_t plane = bayer.Plane(y) == 0 ? role : 2 - role;
                around.rows[i][role] = planes.Plane(y - kReach + i, plane);
            }
        }
        InterpolateBayerRow(around, bayer.GreenParity(y), kReach / 2, (samples.width - 1) / 2,
                            first, other);
        WriteMissing(samples, y, bayer, first, other, half);
    }
    return true;
}

}  // namespace

bool DemosaicVNG(CRawSensorImage& image, CImageReader* reader) {
    if (!DemosaicBilinear(image, reader)) return false;
    ++image.passIndex;
    if (image.samples.width <= 2 * kReach || image.samples.height <= 2 * kReach) return true;
    const auto bayer = BayerPatternOf(image);
    return bayer ? InterpolateBayer(image, *bayer, reader) : InterpolateAnyPattern(image, reader);
}

}  // namespace kestr
