// VNG, interpolation by a variable number of gradients: around each pixel the gradients in eight
// directions tell where the picture is smooth, and the mean of those neighbours tells the planes.
// After E. Chang, S. Cheung and D. Pan, "Color filter array recovery using a threshold-based
// variable number of gradients".

#include <algorithm>
#include <array>
#include <cstdlib>
#include <cstring>
#include <utility>
#include <vector>

#include "platform/vector_clones.h"
#include "raw/demosaic.h"
#include "raw/demosaic_rows.h"

// All functions that take or give whole vectors are inlined: how they would be passed is no matter.
#pragma GCC diagnostic ignored "-Wpsabi"

namespace kestr {
namespace {

constexpr int kReach = 2;  // rows and columns that a pixel looks at on each side

struct CDirection {
    int8_t dy, dx;
};
constexpr std::array<CDirection, 8> kDirections{
    {{-1, -1}, {-1, 0}, {-1, 1}, {0, 1}, {1, 1}, {1, 0}, {1, -1}, {0, -1}}};

/// The difference of the samples at two places, shifted left, counts towards the directions whose
/// bits are set.
struct CGradientTerm {
    int8_t y1, x1, y2, x2, shift;
    uint8_t directions;
};
constexpr std::array<CGradientTerm, 64> kGradientTerms{
    {{-2, -2, 0, -1, 0, 0x01}, {-2, -2, 0, 0, 1, 0x01},  {-2, -1, -1, 0, 0, 0x01},
     {-2, -1, 0, -1, 0, 0x02}, {-2, -1, 0, 0, 0, 0x03},  {-2, -1, 0, 1, 0, 0x01},
     {-2, 0, 0, -1, 0, 0x06},  {-2, 0, 0, 0, 1, 0x02},   {-2, 0, 0, 1, 0, 0x03},
     {-2, 1, -1, 0, 0, 0x04},  {-2, 1, 0, -1, 0, 0x04},  {-2, 1, 0, 0, 0, 0x06},
     {-2, 1, 0, 1, 0, 0x02},   {-2, 2, 0, 0, 1, 0x04},   {-2, 2, 0, 1, 0, 0x04},
     {-1, -2, -1, 0, 0, 0x80}, {-1, -2, 0, -1, 0, 0x01}, {-1, -2, 1, -1, 0, 0x01},
     {-1, -2, 1, 0, 0, 0x01},  {-1, -1, -1, 1, 0, 0x88}, {-1, -1, 1, -2, 0, 0x40},
     {-1, -1, 1, -1, 0, 0x22}, {-1, -1, 1, 0, 0, 0x33},  {-1, -1, 1, 1, 1, 0x11},
     {-1, 0, -1, 2, 0, 0x08},  {-1, 0, 0, -1, 0, 0x44},  {-1, 0, 0, 1, 0, 0x11},
     {-1, 0, 1, -2, 0, 0x40},  {-1, 0, 1, -1, 0, 0x66},  {-1, 0, 1, 0, 1, 0x22},
     {-1, 0, 1, 1, 0, 0x33},   {-1, 0, 1, 2, 0, 0x10},   {-1, 1, 1, -1, 1, 0x44},
     {-1, 1, 1, 0, 0, 0x66},   {-1, 1, 1, 1, 0, 0x22},   {-1, 1, 1, 2, 0, 0x10},
     {-1, 2, 0, 1, 0, 0x04},   {-1, 2, 1, 0, 0, 0x04},   {-1, 2, 1, 1, 0, 0x04},
     {0, -2, 0, 0, 1, 0x80},   {0, -1, 0, 1, 1, 0x88},   {0, -1, 1, -2, 0, 0x40},
     {0, -1, 1, 0, 0, 0x11},   {0, -1, 2, -2, 0, 0x40},  {0, -1, 2, -1, 0, 0x20},
     {0, -1, 2, 0, 0, 0x30},   {0, -1, 2, 1, 0, 0x10},   {0, 0, 0, 2, 1, 0x08},
     {0, 0, 2, -2, 1, 0x40},   {0, 0, 2, -1, 0, 0x60},   {0, 0, 2, 0, 1, 0x20},
     {0, 0, 2, 1, 0, 0x30},    {0, 0, 2, 2, 1, 0x10},    {0, 1, 1, 0, 0, 0x44},
     {0, 1, 1, 2, 0, 0x10},    {0, 1, 2, -1, 0, 0x40},   {0, 1, 2, 0, 0, 0x60},
     {0, 1, 2, 1, 0, 0x20},    {0, 1, 2, 2, 0, 0x10},    {1, -2, 1, 0, 0, 0x80},
     {1, -1, 1, 1, 0, 0x88},   {1, 0, 1, 2, 0, 0x08},    {1, 0, 2, -1, 0, 0x40},
     {1, 0, 2, 1, 0, 0x10}}};
static_assert(kGradientTerms[22].directions == 0x33 && kGradientTerms[63].directions == 0x10);

/// Whether a term is one of a place of the pattern, where `planeAt(dy, dx)` is recorded around it:
/// it compares samples of one plane, and those not of next neighbours in that plane.
template <typename PlaneAt>
constexpr bool IsKept(const CGradientTerm& term, const PlaneAt& planeAt) {
    const auto plane = planeAt(term.y1, term.x1);
    if (planeAt(term.y2, term.x2) != plane) return false;
    const int diagonal = planeAt(0, 1) == plane && planeAt(1, 0) == plane ? 2 : 1;
    const auto distance = [](int a, int b) { return a < b ? b - a : a - b; };
    return distance(term.y1, term.y2) != diagonal || distance(term.x1, term.x2) != diagonal;
}

// Any pattern, through tables.

/// The terms and neighbours of one place of the pattern, as offsets in samples.
struct CGradientSite {
    struct CTerm {
        ptrdiff_t first, second;
        int shift;
        size_t count;  // of the directions that it counts towards
        std::array<uint8_t, 4> directions;
    };
    struct CNeighbour {
        ptrdiff_t pixel;
        ptrdiff_t ownPlane;  // a sample of the pixel's own plane behind a diagonal one, or 0
    };
    std::vector<CTerm> terms;
    std::array<CNeighbour, 8> neighbours;
};

CGradientSite MakeSite(const CRawSensorImage& image, uint32_t y, uint32_t x) {
    const auto planeAt = [&](int dy, int dx) {
        return image.FC(y + static_cast<uint32_t>(dy), x + static_cast<uint32_t>(dx));
    };
    const auto offset = [&](int dy, int dx) {
        return dy * static_cast<ptrdiff_t>(image.samples.RowSamples()) + dx * image.samples.colors;
    };
    CGradientSite site;
    for (const CGradientTerm& term : kGradientTerms) {
        if (!IsKept(term, planeAt)) continue;
        const uint8_t plane = planeAt(term.y1, term.x1);
        auto& kept =
            site.terms.emplace_back(CGradientSite::CTerm{.first = offset(term.y1, term.x1) + plane,
                                                         .second = offset(term.y2, term.x2) + plane,
                                                         .shift = term.shift,
                                                         .count = 0,
                                                         .directions = {}});
        for (uint8_t i = 0; i < kDirections.size(); ++i) {
            if ((term.directions >> i & 1) != 0) kept.directions[kept.count++] = i;
        }
    }
    for (size_t i = 0; i < kDirections.size(); ++i) {
        const auto [dy, dx] = kDirections[i];
        const uint8_t own = image.FC(y, x);
        const bool behind = i % 2 == 0 && planeAt(dy, dx) != own && planeAt(2 * dy, 2 * dx) == own;
        site.neighbours[i] = {offset(dy, dx), behind ? offset(2 * dy, 2 * dx) + own : 0};
    }
    return site;
}

/// The planes of one pixel.
void InterpolatePixel(const CGradientSite& site, const uint16_t* pixel, uint8_t own, uint8_t colors,
                      uint16_t* result) {
    std::array<int, 8> gradients{};
    for (const auto& term : site.terms) {
        const int difference = std::abs(pixel[term.first] - pixel[term.second]) << term.shift;
        for (size_t i = 0; i < term.count; ++i) gradients[term.directions[i]] += difference;
    }
    const auto [least, most] = std::ranges::minmax(gradients);
    const int threshold = least + (most >> 1);
    std::array<int, 4> sums{};
    int count = 0;
    for (size_t i = 0; i < gradients.size(); ++i) {
        if (gradients[i] > threshold) continue;
        const auto [neighbour, ownPlane] = site.neighbours[i];
        for (uint8_t c = 0; c < colors; ++c) {
            sums[c] += c == own && ownPlane != 0 ? (pixel[own] + pixel[ownPlane]) >> 1
                                                 : pixel[neighbour + c];
        }
        ++count;
    }
    for (uint8_t c = 0; c < colors; ++c) {
        const int value = pixel[own] + (sums[c] - sums[own]) / count;
        result[c] = static_cast<uint16_t>(std::clamp(value, 0, 65535));
    }
}

bool InterpolateAnyPattern(CRawSensorImage& image, CImageReader* reader) {
    CRawSamples& samples = image.samples;
    std::array<std::array<CGradientSite, 2>, 8> sites;
    for (uint32_t y = 0; y < 8; ++y) sites[y] = {MakeSite(image, y, 0), MakeSite(image, y, 1)};
    // Results wait until no gradient looks at their row any more.
    const size_t inner = samples.RowSamples() - 2 * kReach * samples.colors;
    std::vector<uint16_t> waiting(3 * inner);
    const auto waitingRow = [&](uint32_t y) { return waiting.data() + y % 3 * inner; };
    const auto writeBack = [&](uint32_t y) {
        std::memcpy(samples.Pixel(y, kReach), waitingRow(y), inner * sizeof(uint16_t));
    };
    const uint32_t end = samples.height - kReach;
    for (uint32_t y = kReach; y < end; ++y) {
        if (!StartRawRow(image, reader, y)) return false;
        uint16_t* result = waitingRow(y);
        for (uint32_t x = kReach; x < samples.width - kReach; ++x, result += samples.colors) {
            InterpolatePixel(sites[y & 7][x & 1], samples.Pixel(y, x), image.FC(y, x),
                             samples.colors, result);
        }
        if (y >= 2 * kReach) writeBack(y - kReach);
    }
    for (uint32_t y = std::max<uint32_t>(end - kReach, kReach); y < end; ++y) writeBack(y);
    return true;
}

// Bayer patterns: eight pixels at a time, with the terms of each place known to the compiler.

constexpr size_t kLanes = 8;
using Words [[gnu::vector_size(kLanes * sizeof(uint16_t))]] = uint16_t;
using Lanes [[gnu::vector_size(kLanes * sizeof(int32_t))]] = int32_t;
using Reals [[gnu::vector_size(kLanes * sizeof(float))]] = float;

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
    Words words;
    std::memcpy(&words, from, sizeof words);
    return __builtin_convertvector(words, Lanes);
}

KESTR_INLINE Lanes Least(const Lanes& a, const Lanes& b) {
    return a < b ? a : b;
}
KESTR_INLINE Lanes Most(const Lanes& a, const Lanes& b) {
    return a > b ? a : b;
}

struct CGradients {
    Lanes of[kDirections.size()]{};
};

template <bool kGreen, int kParity, size_t kTerm>
KESTR_INLINE void AddTerm(const CAround& around, size_t i, CGradients& gradients) {
    constexpr CGradientTerm kWhat = kGradientTerms[kTerm];
    constexpr CPlaces kPlaces{kGreen};
    if constexpr (IsKept(kWhat, kPlaces)) {
        constexpr CRole kRole = kPlaces(kWhat.y1, kWhat.x1);
        const Lanes first = Load<kParity, kRole, kWhat.y1, kWhat.x1>(around, i);
        const Lanes second = Load<kParity, kRole, kWhat.y2, kWhat.x2>(around, i);
        const Lanes difference = (Most(first, second) - Least(first, second)) << kWhat.shift;
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
    Lanes least = gradients.of[0], most = gradients.of[0];
    ((least = Least(least, gradients.of[kDirection])), ...);
    ((most = Most(most, gradients.of[kDirection])), ...);
    const Lanes threshold = least + (most >> 1);
    (AddDirection<kGreen, kParity, kDirection>(around, i, gradients, threshold, pixel, chosen),
     ...);
}

/// The quotient truncates as that of integers does: it is off a whole number by at least 1 / 8, and
/// below 2^20.
KESTR_INLINE Words NewSamples(const Lanes& pixel, const Lanes& difference, const Reals& count) {
    const Reals quotient = __builtin_convertvector(difference, Reals) / count;
    const Lanes value = pixel + __builtin_convertvector(quotient, Lanes);
    return __builtin_convertvector(Least(Most(value, Lanes{}), Lanes{} + 65535), Words);
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

/// Five rows of a picture, plane by plane, the pixels of even columns apart from those of odd ones.
class CPlaneRows {
public:
    explicit CPlaneRows(const CRawSamples& samples)
        : m_samples(samples),
          // Whole vectors are read up to two columns behind the last pixel.
          m_half((samples.width + 1) / 2 + 2 * kLanes),
          m_words(kRows * kPlanes * 2 * m_half) {}

    [[nodiscard]] size_t Half() const { return m_half; }
    [[nodiscard]] const uint16_t* Plane(uint32_t y, uint32_t plane) const {
        return m_words.data() + (y % kRows * kPlanes + plane) * 2 * m_half;
    }
    void Take(uint32_t y) {
        uint16_t* planes = m_words.data() + y % kRows * kPlanes * 2 * m_half;
        const uint16_t* pixel = m_samples.Row(y);
        const size_t pairs = m_samples.width / 2;
        for (size_t plane = 0; plane < kPlanes; ++plane) {
            uint16_t* even = planes + plane * 2 * m_half;
            uint16_t* odd = even + m_half;
            for (size_t i = 0; i < pairs; ++i) {
                even[i] = pixel[2 * kPlanes * i + plane];
                odd[i] = pixel[2 * kPlanes * i + kPlanes + plane];
            }
            if (m_samples.width % 2 != 0) even[pairs] = pixel[2 * kPlanes * pairs + plane];
        }
    }

private:
    static constexpr uint32_t kRows = 2 * kReach + 1;
    static constexpr uint32_t kPlanes = 3;

    const CRawSamples& m_samples;
    size_t m_half;
    std::vector<uint16_t> m_words;
};

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
