#include "base/real_power.h"

#include <cmath>

namespace kestr {
namespace {

/// A number as the unevaluated sum of two, of about 106 bits. The operations are those of
/// T. J. Dekker, "A Floating-Point Technique for Extending the Available Precision" (1971).
struct CDouble2 {
    double high = 0;
    double low = 0;
};

CDouble2 Sum(double a, double b) {
    const double sum = a + b;
    const double part = sum - a;
    return {sum, (a - (sum - part)) + (b - part)};
}

CDouble2 Product(double a, double b) {
    const auto split = [](double value) {
        const double scaled = 134217729.0 * value;  // 2^27 + 1
        const double high = scaled - (scaled - value);
        return CDouble2{high, value - high};
    };
    const CDouble2 x = split(a), y = split(b);
    const double product = a * b;
    return {product,
            ((x.high * y.high - product) + x.high * y.low + x.low * y.high) + x.low * y.low};
}

CDouble2 operator+(const CDouble2& a, const CDouble2& b) {
    const CDouble2 sum = Sum(a.high, b.high);
    return Sum(sum.high, sum.low + a.low + b.low);
}

CDouble2 operator*(const CDouble2& a, const CDouble2& b) {
    const CDouble2 product = Product(a.high, b.high);
    return Sum(product.high, product.low + a.high * b.low + a.low * b.high);
}

/// e to a power between -600 and 600: the series of a 64th of what is left beside a multiple of
/// ln 2, then six squarings; both of e^x - 1, which keeps the digits.
CDouble2 Exp(const CDouble2& power) {
    constexpr CDouble2 kLn2{0x1.62e42fefa39efp-1, 0x1.abc9e3b39803fp-56};
    constexpr int kTerms = 14;
    constexpr int kSquarings = 6;
    const double doublings = std::floor(power.high / kLn2.high + 0.5);
    const CDouble2 rest = power + CDouble2{-doublings, 0} * kLn2;
    const CDouble2 x{std::ldexp(rest.high, -kSquarings), std::ldexp(rest.low, -kSquarings)};
    // x (1 + x/2 (1 + x/3 (1 + ...)))
    CDouble2 sum{1, 0};
    for (int n = kTerms; n > 1; --n) {
        const double nth = 1.0 / n;
        // What the rounded nth lacks, from n * nth.
        const CDouble2 whole = Product(n, nth);
        const CDouble2 inverse{nth, ((1 - whole.high) - whole.low) / n};
        sum = CDouble2{1, 0} + x * inverse * sum;
    }
    CDouble2 less1 = x * sum;
    for (int i = 0; i < kSquarings; ++i) {
        less1 = CDouble2{2 * less1.high, 2 * less1.low} + less1 * less1;
    }
    const CDouble2 result = CDouble2{1, 0} + less1;
    const int exponent = static_cast<int>(doublings);
    return {std::ldexp(result.high, exponent), std::ldexp(result.low, exponent)};
}

/// One step from the system's logarithm, which has to be right to some 35 bits: its own last bits
/// do not reach the result.
CDouble2 Log(double x) {
    const double near = std::log(x);
    const CDouble2 quotient = Exp({-near, 0}) * CDouble2{x, 0};
    const CDouble2 beyond1 = quotient + CDouble2{-1, 0};
    return CDouble2{near, 0} + beyond1 + CDouble2{-0.5 * beyond1.high * beyond1.high, 0};
}

double RoundedPower(double base, double exponent, double near) {
    const bool ordinary =
        base > 0 && std::isfinite(base) && std::isfinite(exponent) && near > 1e-200 && near < 1e200;
    if (!ordinary) return near;
    return Exp(Log(base) * CDouble2{exponent, 0}).high;
}

}  // namespace

double RoundedLog(double x) {
    const bool ordinary = x > 1e-200 && x < 1e200;
    return ordinary ? Log(x).high : std::log(x);
}

double ScaledPower(double base, double exponent, double limit) {
    const double near = std::pow(base, exponent);
    const double scaled = near * limit + 0.5;
    // The last bits of a power show only next to a whole number.
    const double distance = std::abs(scaled - std::floor(scaled + 0.5));
    if (distance > 1e-9 * (1 + scaled)) return scaled;
    return RoundedPower(base, exponent, near) * limit + 0.5;
}

}  // namespace kestr
