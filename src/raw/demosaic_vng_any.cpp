// VNG for any pattern of three or four planes: what each place of the pattern looks at is found
// when the picture begins.

#include "raw/demosaic_vng_any.h"

#include <array>
#include <bit>
#include <vector>

#include "raw/demosaic.h"
#include "raw/demosaic_vng_rows.h"

namespace kestr {
namespace {

using namespace vng;

constexpr size_t kMostPlanes = 4;
constexpr uint32_t kPatternRows = 8;
constexpr uint32_t kPatternColumns = 2;

/// The terms and neighbours of one place of the pattern.
struct CGradientSite {
    struct CTerm {
        const CGradientTerm* what;
        uint8_t plane;
    };
    std::vector<CTerm> terms;
    std::array<bool, kDirections.size()> ownBehind{};  // own plane, behind a diagonal neighbour
    uint8_t own = 0;
    uint8_t parity = 0;  // of its columns
};

CGradientSite MakeSite(const CRawSensorImage& image, uint32_t y, uint32_t x) {
    const auto planeAt = [&](int dy, int dx) {
        return image.FC(y + static_cast<uint32_t>(dy), x + static_cast<uint32_t>(dx));
    };
    CGradientSite site;
    site.own = image.FC(y, x);
    site.parity = static_cast<uint8_t>(x & 1);
    for (const CGradientTerm& term : kGradientTerms) {
        if (IsKept(term, planeAt)) site.terms.push_back({&term, planeAt(term.y1, term.x1)});
    }
    for (size_t i = 0; i < kDirections.size(); i += 2) {
        const auto [dy, dx] = kDirections[i];
        site.ownBehind[i] = planeAt(dy, dx) != site.own && planeAt(2 * dy, 2 * dx) == site.own;
    }
    return site;
}

/// A site in one row: from where the samples of pixel 0 of its columns are read. Pixel `i` is the
/// `i`th of these columns.
struct CPlacedSite {
    struct CTerm {
        const uint16_t *first, *second;
        int shift;
        uint8_t directions;
    };
    std::vector<CTerm> terms;
    std::array<std::array<const uint16_t*, kMostPlanes>, kDirections.size()> neighbours;
    std::array<const uint16_t*, kDirections.size()> ownBehind;  // or null
    const uint16_t* pixel;
    uint8_t own;

    CPlacedSite(const CGradientSite& site, const CPlaneRows& rows, uint32_t y, uint8_t colors)
        : own(site.own) {
        const auto at = [&](int dy, int dx, uint32_t plane) {
            const int column = site.parity + dx;
            const uint16_t* row = rows.Plane(y + static_cast<uint32_t>(dy), plane);
            return row + (column >> 1) + ((column & 1) != 0 ? rows.Half() : 0);
        };
        for (const auto& [what, plane] : site.terms) {
            terms.push_back({at(what->y1, what->x1, plane), at(what->y2, what->x2, plane),
                             what->shift, what->directions});
        }
        for (size_t i = 0; i < kDirections.size(); ++i) {
            const auto [dy, dx] = kDirections[i];
            for (uint8_t c = 0; c < colors; ++c) neighbours[i][c] = at(dy, dx, c);
            ownBehind[i] = site.ownBehind[i] ? at(2 * dy, 2 * dx, own) : nullptr;
        }
        pixel = at(0, 0, own);
    }
};

/// All planes of pixels `begin` to `end`; that of their own comes out as it was.
template <size_t kPlanes>
KESTR_INLINE void InterpolateColumns(const CPlacedSite& site, size_t begin, size_t end,
                                     const std::array<uint16_t*, kMostPlanes>& results) {
    for (size_t i = begin; i < end; i += kLanes) {
        CGradients gradients;
        for (const auto& [first, second, shift, directions] : site.terms) {
            const Lanes difference = Distance(Load(first + i), Load(second + i)) << shift;
            for (unsigned left = directions; left != 0; left &= left - 1) {
                gradients.of[std::countr_zero(left)] += difference;
            }
        }
        const Lanes threshold = gradients.Threshold();
        const Lanes pixel = Load(site.pixel + i);
        Lanes sums[kPlanes]{};
        Lanes ownSum{};
        Lanes count{};
        for (size_t d = 0; d < kDirections.size(); ++d) {
            const Lanes taken = gradients.of[d] <= threshold;  // all bits, or none
            for (size_t c = 0; c < kPlanes; ++c) {
                sums[c] += Load(site.neighbours[d][c] + i) & taken;
            }
            ownSum += (site.ownBehind[d] != nullptr ? (pixel + Load(site.ownBehind[d] + i)) >> 1
                                                    : Load(site.neighbours[d][site.own] + i)) &
                      taken;
            count -= taken;
        }
        const Reals divisor = __builtin_convertvector(count, Reals);
        for (size_t c = 0; c < kPlanes; ++c) {
            const Words samples = NewSamples(pixel, sums[c] - ownSum, divisor);
            std::memcpy(results[c] + i, &samples, sizeof samples);
        }
    }
}
KESTR_VECTOR_CLONES void InterpolateThreePlanes(const CPlacedSite& site, size_t begin, size_t end,
                                                const std::array<uint16_t*, kMostPlanes>& results) {
    InterpolateColumns<3>(site, begin, end, results);
}
KESTR_VECTOR_CLONES void InterpolateFourPlanes(const CPlacedSite& site, size_t begin, size_t end,
                                               const std::array<uint16_t*, kMostPlanes>& results) {
    InterpolateColumns<4>(site, begin, end, results);
}

/// Writes the planes that each pixel of a column parity lacks, from column 2 on.
void WriteMissing(CRawSamples& samples, uint32_t y, const CGradientSite& site,
                  const std::array<uint16_t*, kMostPlanes>& results) {
    for (uint32_t x = kReach + site.parity; x < samples.width - kReach; x += 2) {
        uint16_t* pixel = samples.Pixel(y, x);
        for (uint8_t c = 0; c < samples.colors; ++c) {
            if (c != site.own) pixel[c] = results[c][x / 2];
        }
    }
}

}  // namespace

bool InterpolateAnyPattern(CRawSensorImage& image, CImageReader* reader) {
    CRawSamples& samples = image.samples;
    std::array<std::array<CGradientSite, kPatternColumns>, kPatternRows> sites;
    for (uint32_t y = 0; y < kPatternRows; ++y) {
        for (uint32_t x = 0; x < kPatternColumns; ++x) sites[y][x] = MakeSite(image, y, x);
    }
    CPlaneRows rows(samples);
    std::vector<uint16_t> words(kMostPlanes * rows.Half());
    std::array<uint16_t*, kMostPlanes> results;
    for (size_t c = 0; c < kMostPlanes; ++c) results[c] = words.data() + c * rows.Half();
    const auto interpolate = samples.colors == 3 ? InterpolateThreePlanes : InterpolateFourPlanes;
    for (uint32_t y = 0; y < 2 * kReach; ++y) rows.Take(y);
    for (uint32_t y = kReach; y < samples.height - kReach; ++y) {
        if (!StartRawRow(image, reader, y)) return false;
        rows.Take(y + kReach);
        for (const CGradientSite& site : sites[y % kPatternRows]) {
            const CPlacedSite placed(site, rows, y, samples.colors);
            interpolate(placed, kReach / 2, (samples.width - 1) / 2, results);
            WriteMissing(samples, y, site, results);
        }
    }
    return true;
}

}  // namespace kestr
