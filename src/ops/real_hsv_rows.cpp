#include "ops/real_hsv_rows.h"

#include <algorithm>
#include <array>

#include "platform/wide_vectors.h"

namespace kestr {
namespace {

constexpr size_t kBlockPixels = 16;
using CReals = std::array<double, kBlockPixels>;

/// Quotients by one number, correctly rounded as a division is. With fused multiplication they take
/// a third of its time: the first correction brings the quotient to within a unit in the last
/// place, from where the second rounds it correctly (P. Markstein, "Computation of elementary
/// functions on the IBM RISC System/6000 processor", 1990, theorem 5).
template <bool kFused>
KESTR_INLINE_LOOP double Divide(double number, double divisor) {
    if constexpr (kFused) {
        const double reciprocal = 1 / divisor;
        double quotient = number * reciprocal;
        for (int i = 0; i < 2; ++i) {
            const double rest = __builtin_fma(-quotient, divisor, number);
            quotient = __builtin_fma(rest, reciprocal, quotient);
        }
        return quotient;
    } else {
        return number / divisor;
    }
}

template <bool kFused>
KESTR_INLINE_LOOP int32_t SampleOf(double tenThousandths) {
    return static_cast<int32_t>(Divide<kFused>(tenThousandths * 65535 + 5000, 10000));
}

template <bool kFused>
KESTR_INLINE_LOOP double AddPercent(double part100, double percent) {
    const double sum = part100 + Divide<kFused>(percent * part100, 100);
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
    CReals saturations;
    CReals values;
    CReals positions;
    for (size_t i = 0; i < kBlockPixels; ++i) {
        const double blue = Divide<kFused>(blues[i] * 100.0, 65535);
        const double green = Divide<kFused>(greens[i] * 100.0, 65535);
        const double red = Divide<kFused>(reds[i] * 100.0, 65535);
        const double redBlue = red < blue ? blue : red;
        const double value = redBlue < green ? green : redBlue;
        const double lower = red < blue ? red : blue;
        const double difference = value - (green < lower ? green : lower);
        const double divisor = difference == 0 ? 1 : difference;
        const double saturation = difference * 100 / (value == 0 ? 1 : value);
        const bool isRed = value == red;
        const bool isGreen = value == green;
        const double first = value - (isRed ? blue : isGreen ? red : green);
        const double second = value - (isRed ? green : isGreen ? blue : red);
        const double turn = isRed ? 0 : isGreen ? 200 : 400;
        const double sixth = turn + first * 100 / divisor - second * 100 / divisor;
        const double signedHue = Divide<kFused>(sixth * 60, 100);
        const double coloured = signedHue < 0 ? signedHue + 360 : signedHue;
        const double hue = saturation > 0 ? coloured : 0;
        const double moved = hue + Divide<kFused>(huePercent * hue, 100);
        const double once = moved >= 360 ? moved - 360 : moved < 0 ? moved + 360 : moved;
        positions[i] = Divide<kFused>((once == 360 ? 0 : once) * 100, 60);
        saturations[i] = AddPercent<kFused>(saturation, saturationPercent);
        values[i] = AddPercent<kFused>(value, valuePercent);
    }
    for (size_t i = 0; i < kBlockPixels; ++i) {
        const double saturation = saturations[i];
        const double value = values[i];
        const auto sector = static_cast<int32_t>(Divide<kFused>(positions[i], 100));
        const double fraction = positions[i] - 100.0 * sector;
        const bool isRising = sector == 0 || sector == 2 || sector == 4;
        const double share = isRising ? 100 - fraction : fraction;
        const int32_t top = SampleOf<kFused>(value * 100);
        const int32_t least = SampleOf<kFused>((100 - saturation) * value);
        const int32_t middle =
            SampleOf<kFused>((100 - Divide<kFused>(saturation * share, 100)) * value);
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

}  // namespace

void AdjustRealHSV(uint16_t* pixels, size_t count, const CHSVPercents& percents) {
    HasWideVectors() ? AdjustAllWide(pixels, count, percents)
                     : AdjustAllPlain(pixels, count, percents);
}

}  // namespace kestr
