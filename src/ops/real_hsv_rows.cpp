#include "ops/real_hsv_rows.h"

#include <algorithm>
#include <array>

#include "platform/wide_vectors.h"

namespace kestr {
namespace {

// A block goes through many short loops instead of one long one: what a pixel needs is a chain of
// some hundred dependent steps, and short loops leave the processor several pixels to work at.
constexpr size_t kBlockPixels = 64;
using CReals = std::array<double, kBlockPixels>;

/// Quotients by a small whole number, correctly rounded as a division is. With fused multiplication
/// they take a fifth of its time: number * (high + low) is wrong by some 2^-52 of a unit in the
/// last place before it is rounded, while a quotient by a divisor of n bits is never nearer than
/// 2^-(n+1) of a unit to the middle between two doubles.
template <bool kFused, int kDivisor>
KESTR_INLINE_LOOP double Divide(double number) {
    if constexpr (kFused) {
        const double high = 1.0 / kDivisor;
        const double low = __builtin_fma(-high, kDivisor, 1.0) / kDivisor;
        return __builtin_fma(number, high, number * low);
    } else {
        return number / kDivisor;
    }
}

template <bool kFused>
KESTR_INLINE_LOOP int32_t SampleOf(double tenThousandths) {
    return static_cast<int32_t>(Divide<kFused, 10000>(tenThousandths * 65535 + 5000));
}

template <bool kFused>
KESTR_INLINE_LOOP double AddPercent(double part100, double percent) {
    const double sum = part100 + Divide<kFused, 100>(percent * part100);
    return sum < 0 ? 0 : 100 < sum ? 100 : sum;
}

template <bool kFused>
KESTR_INLINE_LOOP void AdjustBlock(uint16_t* pixels, const CHSVPercents& percents) {
    const double huePercent = percents.hue;
    const double saturationPercent = percents.saturation;
    const double valuePercent = percents.value;
    std::array<int32_t, kBlockPixels> blues;
    std::array<int32_t, kBlockPixels> greens;
    std::array<int32_t, kBlockPixels> reds;
    for (size_t i = 0; i < kBlockPixels; ++i) {
        blues[i] = pixels[3 * i];
        greens[i] = pixels[3 * i + 1];
        reds[i] = pixels[3 * i + 2];
    }
    CReals firsts;
    CReals seconds;
    CReals turns;
    CReals differences;
    CReals values;
    for (size_t i = 0; i < kBlockPixels; ++i) {
        const double blue = Divide<kFused, 65535>(blues[i] * 100.0);
        const double green = Divide<kFused, 65535>(greens[i] * 100.0);
        const double red = Divide<kFused, 65535>(reds[i] * 100.0);
        const double redBlue = red < blue ? blue : red;
        const double value = redBlue < green ? green : redBlue;
        const double lower = red < blue ? red : blue;
        const bool isRed = value == red;
        const bool isGreen = value == green;
        differences[i] = value - (green < lower ? green : lower);
        firsts[i] = value - (isRed ? blue : isGreen ? red : green);
        seconds[i] = value - (isRed ? green : isGreen ? blue : red);
        turns[i] = isRed ? 0 : isGreen ? 200 : 400;
        values[i] = value;
    }
    CReals sixths;
    CReals saturations;
    for (size_t i = 0; i < kBlockPixels; ++i) {
        const double value = values[i];
        const double difference = differences[i];
        const double divisor = difference == 0 ? 1 : difference;
        saturations[i] = difference * 100 / (value == 0 ? 1 : value);
        sixths[i] = turns[i] + firsts[i] * 100 / divisor - seconds[i] * 100 / divisor;
    }
    CReals positions;
    for (size_t i = 0; i < kBlockPixels; ++i) {
        const double signedHue = Divide<kFused, 100>(sixths[i] * 60);
        const double coloured = signedHue < 0 ? signedHue + 360 : signedHue;
        const double hue = saturations[i] > 0 ? coloured : 0;
        const double moved = hue + Divide<kFused, 100>(huePercent * hue);
        const double once = moved >= 360 ? moved - 360 : moved < 0 ? moved + 360 : moved;
        positions[i] = Divide<kFused, 60>((once == 360 ? 0 : once) * 100);
    }
    for (size_t i = 0; i < kBlockPixels; ++i) {
        saturations[i] = AddPercent<kFused>(saturations[i], saturationPercent);
        values[i] = AddPercent<kFused>(values[i], valuePercent);
    }
    std::array<int32_t, kBlockPixels> sectors;
    CReals middles;
    for (size_t i = 0; i < kBlockPixels; ++i) {
        const auto sector = static_cast<int32_t>(Divide<kFused, 100>(positions[i]));
        const double fraction = positions[i] - 100.0 * sector;
        const bool isRising = sector == 0 || sector == 2 || sector == 4;
        const double share = isRising ? 100 - fraction : fraction;
        middles[i] = (100 - Divide<kFused, 100>(saturations[i] * share)) * values[i];
        sectors[i] = sector;
    }
    for (size_t i = 0; i < kBlockPixels; ++i) {
        const double saturation = saturations[i];
        const double value = values[i];
        const int32_t sector = sectors[i];
        const int32_t top = SampleOf<kFused>(value * 100);
        const int32_t least = SampleOf<kFused>((100 - saturation) * value);
        const int32_t middle = SampleOf<kFused>(middles[i]);
        // Whatever is no other sector counts as the last.
        const bool isLast = sector < 0 || sector > 4;
        const int32_t red = sector == 0 || isLast        ? top
                            : sector == 1 || sector == 4 ? middle
                                                         : least;
        const int32_t green = sector == 1 || sector == 2   ? top
                              : sector == 0 || sector == 3 ? middle
                                                           : least;
        const int32_t blue = sector == 3 || sector == 4 ? top
                             : sector == 2 || isLast    ? middle
                                                        : least;
        const bool isGray = !(saturation > 0);
        blues[i] = isGray ? top : blue;
        greens[i] = isGray ? top : green;
        reds[i] = isGray ? top : red;
    }
    for (size_t i = 0; i < kBlockPixels; ++i) {
        pixels[3 * i] = static_cast<uint16_t>(blues[i]);
        pixels[3 * i + 1] = static_cast<uint16_t>(greens[i]);
        pixels[3 * i + 2] = static_cast<uint16_t>(reds[i]);
    }
}

template <bool kFused>
KESTR_INLINE_LOOP void AdjustAll(uint16_t* pixels, size_t count, const CHSVPercents& percents) {
    size_t done = 0;
    for (; done + kBlockPixels <= count; done += kBlockPixels) {
        AdjustBlock<kFused>(pixels + 3 * done, percents);
    }
    if (done == count) return;
    std::array<uint16_t, 3 * kBlockPixels> last{};
    std::copy(pixels + 3 * done, pixels + 3 * count, last.begin());
    AdjustBlock<kFused>(last.data(), percents);
    std::copy_n(last.begin(), 3 * (count - done), pixels + 3 * done);
}
void AdjustAllPlain(uint16_t* pixels, size_t count, const CHSVPercents& percents) {
    AdjustAll<false>(pixels, count, percents);
}
KESTR_WIDE_VECTORS void AdjustAllWide(uint16_t* pixels, size_t count,
                                      const CHSVPercents& percents) {
    AdjustAll<true>(pixels, count, percents);
}
KESTR_WIDEST_VECTORS void AdjustAllWidest(uint16_t* pixels, size_t count,
                                          const CHSVPercents& percents) {
    AdjustAll<true>(pixels, count, percents);
}

}  // namespace

void AdjustRealHSV(uint16_t* pixels, size_t count, const CHSVPercents& percents) {
    const auto adjust = HasWidestVectors() ? &AdjustAllWidest
                        : HasWideVectors() ? &AdjustAllWide
                                           : &AdjustAllPlain;
    adjust(pixels, count, percents);
}

}  // namespace kestr
