// Hue, saturation and value in whole numbers: hue 0..359, saturation and value 0..100. Every
// division truncates toward zero; a round trip may move a channel a little.
#pragma once

#include <algorithm>
#include <array>
#include <cstdint>

namespace kestr {

struct CIntegerHSV {
    int hue = 0;
    int saturation = 0;
    int value = 0;
};

/// The same from channels that are already scaled to 0..100.
constexpr CIntegerHSV HSVFromPercent(int red, int green, int blue) {
    const int value = std::max({red, green, blue});
    const int difference = value - std::min({red, green, blue});
    const int saturation = value == 0 ? 0 : 100 * difference / value;
    if (saturation == 0) return {0, 0, value};
    const int fromRed = (value - red) * 100 / difference;
    const int fromGreen = (value - green) * 100 / difference;
    const int fromBlue = (value - blue) * 100 / difference;
    int sixth = 400 + fromGreen - fromRed;  // hundredths of a sixth of the circle
    if (value == red) {
        sixth = fromBlue - fromGreen;
    } else if (value == green) {
        sixth = 200 + fromRed - fromBlue;
    }
    const int hue = sixth * 60 / 100;
    return {hue < 0 ? hue + 360 : hue, saturation, value};
}

constexpr CIntegerHSV HSVFromRGB(uint8_t red, uint8_t green, uint8_t blue) {
    return HSVFromPercent(red * 100 / 255, green * 100 / 255, blue * 100 / 255);
}

/// Blue, green and red, in the order of a pixel in memory. Hue below 0 is not expected; one of 360
/// or more counts as 0.
constexpr std::array<uint8_t, 3> BGRFromHSV(const CIntegerHSV& hsv) {
    const auto level = [](int tenThousandths) {
        return static_cast<uint8_t>((tenThousandths * 255 + 5000) / 10000);
    };
    const uint8_t top = level(hsv.value * 100);
    if (hsv.saturation < 1) return {top, top, top};
    const int position = hsv.hue < 360 ? hsv.hue * 100 / 60 : 0;
    const int sector = position / 100;
    const int fraction = position - sector * 100;
    const uint8_t p = level((100 - hsv.saturation) * hsv.value);
    const uint8_t q = level((100 - hsv.saturation * fraction / 100) * hsv.value);
    const uint8_t t = level((100 - hsv.saturation * (100 - fraction) / 100) * hsv.value);
    switch (sector) {
        case 0:
            return {p, t, top};
        case 1:
            return {p, top, q};
        case 2:
            return {t, top, p};
        case 3:
            return {top, q, p};
        case 4:
            return {top, p, t};
        default:
            return {q, p, top};
    }
}
static_assert(BGRFromHSV({0, 100, 100}) == std::array<uint8_t, 3>{0, 0, 255});
static_assert(BGRFromHSV({240, 100, 100}) == std::array<uint8_t, 3>{255, 0, 0});

}  // namespace kestr
