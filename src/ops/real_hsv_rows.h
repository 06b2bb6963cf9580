#pragma once

#include <cstddef>
#include <cstdint>

namespace kestr {

/// Changes in hundredths of what is there.
struct CHSVPercents {
    int hue = 0;
    int saturation = 0;
    int value = 0;
};

/// Adjusts 16-bit colours (blue, green, red) in place: what base/real_hsv.h tells, many at a time
/// and with the same results to the bit. The hue goes round once, no further; saturation and value
/// are clipped.
void AdjustRealHSV(uint16_t* pixels, size_t count, const CHSVPercents& percents);

}  // namespace kestr
