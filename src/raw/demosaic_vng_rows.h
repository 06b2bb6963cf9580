// What the two forms of VNG share: the gradients and the directions they count towards, rows plane
// by plane, and eight pixels of every second column at a time.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <vector>

#include "platform/vector_clones.h"
#include "raw/raw_sensor_image.h"

// All functions that take or give whole vectors are inlined: how they would be passed is no matter.
#pragma GCC diagnostic ignored "-Wpsabi"

namespace kestr::vng {

inline constexpr int kReach = 2;  // rows and columns that a pixel looks at on each side

struct CDirection {
    int8_t dy, dx;
};
inline constexpr std::array<CDirection, 8> kDirections{
    {{-1, -1}, {-1, 0}, {-1, 1}, {0, 1}, {1, 1}, {1, 0}, {1, -1}, {0, -1}}};

/// The difference of the samples at two places, shifted left, counts towards the directions whose
/// bits are set.
struct CGradientTerm {
    int8_t y1, x1, y2, x2, shift;
    uint8_t directions;
};
inline constexpr std::array<CGradientTerm, 64> kGradientTerms{
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

constexpr size_t kLanes = 8;
using Words [[gnu::vector_size(kLanes * sizeof(uint16_t))]] = uint16_t;
using Lanes [[gnu::vector_size(kLanes * sizeof(int32_t))]] = int32_t;
using Reals [[gnu::vector_size(kLanes * sizeof(float))]] = float;

KESTR_INLINE Lanes Load(const uint16_t* from) {
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
KESTR_INLINE Lanes Distance(const Lanes& a, const Lanes& b) {
    return Most(a, b) - Least(a, b);
}

struct CGradients {
    Lanes of[kDirections.size()]{};

    /// Directions with a gradient of at most so much are those that count.
    [[nodiscard]] KESTR_INLINE Lanes Threshold() const {
        Lanes least = of[0], most = of[0];
        for (size_t i = 1; i < kDirections.size(); ++i) {
            least = Least(least, of[i]);
            most = Most(most, of[i]);
        }
        return least + (most >> 1);
    }
};

/// The quotient truncates as that of integers does: it is off a whole number by at least 1 / 8, and
/// below 2^20.
KESTR_INLINE Words NewSamples(const Lanes& pixel, const Lanes& difference, const Reals& count) {
    const Reals quotient = __builtin_convertvector(difference, Reals) / count;
    const Lanes value = pixel + __builtin_convertvector(quotient, Lanes);
    return __builtin_convertvector(Least(Most(value, Lanes{}), Lanes{} + 65535), Words);
}

/// Five rows of a picture of three or four planes, plane by plane, the pixels of even columns apart
/// from those of odd ones.
class CPlaneRows {
public:
    explicit CPlaneRows(const CRawSamples& samples)
        : m_samples(samples),
          // Whole vectors are read up to two columns behind the last pixel.
          m_half((samples.width + 1) / 2 + 2 * kLanes),
          m_words(kRows * samples.colors * 2 * m_half) {}

    [[nodiscard]] size_t Half() const { return m_half; }
    [[nodiscard]] const uint16_t* Plane(uint32_t y, uint32_t plane) const {
        return m_words.data() + (y % kRows * m_samples.colors + plane) * 2 * m_half;
    }
    void Take(uint32_t y) { m_samples.colors == 3 ? TakePlanes<3>(y) : TakePlanes<4>(y); }

private:
    static constexpr uint32_t kRows = 2 * kReach + 1;

    template <size_t kPlanes>
    void TakePlanes(uint32_t y) {
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

    const CRawSamples& m_samples;
    size_t m_half;
    std::vector<uint16_t> m_words;
};

}  // namespace kestr::vng
