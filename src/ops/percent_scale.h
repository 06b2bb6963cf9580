#pragma once

#include <cstdint>

namespace kestr {

/// value + value * percent / 100, the quotient truncated toward zero.
constexpr int32_t AddPercent(int32_t value, int32_t percent) {
    return static_cast<int32_t>(value + int64_t{value} * percent / 100);
}

/// A percentage of whole numbers of 16 bits without a division, so that a loop over samples becomes
/// vector code.
///
/// With rest = percent % 100, value * (rest * 65536 / 100) / 65536, rounded down twice, is
/// value * rest / 100 or one less; what is left over, below 200, tells which and rounds.
struct CPercentScale {
    uint16_t whole = 1;         // percent / 100
    uint16_t rest = 0;          // percent % 100
    uint16_t reciprocal = 0;    // rest * 65536 / 100, rounded down
    uint16_t carryFrom = 100;   // what is left over adds 1 from here on,
    uint16_t carryTwice = 200;  // and 2 from here on

    constexpr CPercentScale() = default;
    /// `percent` from 0 to 6553500; rounds down, or up.
    constexpr CPercentScale(uint32_t percent, bool roundUp)
        : whole(static_cast<uint16_t>(percent / 100)),
          rest(static_cast<uint16_t>(percent % 100)),
          reciprocal(static_cast<uint16_t>(percent % 100 * 65536 / 100)),
          carryFrom(roundUp ? 1 : 100),
          carryTwice(roundUp ? 101 : 200) {}

    /// What makes AddPercent of a number that is not negative; below -100 it gives 0.
    static constexpr CPercentScale ForAdding(int32_t percent) {
        return percent < -100 ? CPercentScale(0, false)
                              : CPercentScale(static_cast<uint32_t>(100 + percent), percent < 0);
    }

    /// The rest's share of a value.
    [[nodiscard]] constexpr uint16_t OfRest(uint16_t value) const {
        const auto quotient = static_cast<uint16_t>((uint32_t{value} * reciprocal) >> 16);
        const auto left = static_cast<uint16_t>(value * rest - quotient * 100);
        return static_cast<uint16_t>(quotient + (left >= carryFrom) + (left >= carryTwice));
    }
    /// The share of a value when it stays below 65536.
    [[nodiscard]] constexpr uint16_t Of(uint16_t value) const {
        return static_cast<uint16_t>(uint32_t{value} * whole + OfRest(value));
    }
    /// Not 0 when the share of a value does not fit 16 bits.
    [[nodiscard]] constexpr uint16_t Overflow(uint16_t value) const {
        const uint32_t product = uint32_t{value} * whole;
        const auto low = static_cast<uint16_t>(product);
        const auto sum = static_cast<uint16_t>(low + OfRest(value));
        return static_cast<uint16_t>((product >> 16) | (sum < low));
    }
};
static_assert(CPercentScale(150, false).Of(7) == 10);
static_assert(CPercentScale(50, true).Of(7) == 4);

}  // namespace kestr
