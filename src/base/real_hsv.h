// Hue, saturation and value of 16-bit colours in double precision: hue 0 to 360, saturation and
// value 0 to 100.
#pragma once

#include <algorithm>
#include <array>
#include <cstdint>

namespace kestr {

struct CRealHSV {
    double hue = 0;
    double saturation = 0;
    double value = 0;
};

inline CRealHSV RealHSVFromBGR(const uint16_t* pixel) {
    const double blue = pixel[0] * 100.0 / 65535;
    const double green = pixel[1] * 100.0 / 65535;
    const double red = pixel[2] * 100.0 / 65535;
    const double value = std::max({red, green, blue});
    const double difference = value - std::min({red, green, blue});
    const double saturation = value == 0 ? 0 : difference * 100 / value;
    if (!(saturation > 0)) return {0, saturation, value};
    double sixth = 0;  // hundredths of a sixth of the circle
    if (value == red) {
        sixth = (value - blue) * 100 / difference - (value - green) * 100 / difference;
    } else if (value == green) {
        sixth = 200 + (value - red) * 100 / difference - (value - blue) * 100 / difference;
    } else {
        sixth = 400 + (value - green) * 100 / difference - (value - red) * 100 / difference;
    }
    const double hue = sixth * 60 / 100;
    return {hue < 0 ? hue + 360 : hue, saturation, value};
}

/// Writes blue, green and red. A value beyond the range keeps its low 16 bits.
inline void BGRFromRealHSV(const CRealHSV& hsv, uint16_t* pixel) {
    const auto sample = [](double tenThousandths) {
        return static_cast<uint16_t>(static_cast<int32_t>((tenThousandths * 65535 + 5000) / 10000));
    };
    const uint16_t top = sample(hsv.value * 100);
    if (!(hsv.saturation > 0)) {
        pixel[0] = pixel[1] = pixel[2] = top;
        return;
    }
    const double position = hsv.hue == 360 ? 0 : hsv.hue * 100 / 60;
    const int sector = static_cast<int>(position / 100);
    const double fraction = position - 100.0 * sector;
    const auto p = [&] { return sample((100 - hsv.saturation) * hsv.value); };
    const auto q = [&] { return sample((100 - hsv.saturation * fraction / 100) * hsv.value); };
    const auto t = [&] {
        return sample((100 - hsv.saturation * (100 - fraction) / 100) * hsv.value);
    };
    const auto set = [pixel](uint16_t red, uint16_t green, uint16_t blue) {
        pixel[0] = blue;
        pixel[1] = green;
        pixel[2] = red;
    };
    switch (sector) {
        case 0:
            return set(top, t(), p());
        case 1:
            return set(q(), top, p());
        case 2:
            return set(p(), top, t());
        case 3:
            return set(p(), q(), top);
        case 4:
            return set(t(), p(), top);
        default:
            return set(top, p(), q());
    }
}

}  // namespace kestr
