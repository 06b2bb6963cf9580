// White balance as files state it, as the response of the camera to a neutral object.
#pragma once

#include <algorithm>
#include <vector>

namespace kestr {

/// Scaled so that the largest value is 1; empty when a value is not above 0.
inline std::vector<double> ScaledNeutral(std::vector<double> neutral) {
    if (neutral.empty() || !(std::ranges::min(neutral) > 0)) return {};
    const double largest = std::ranges::max(neutral);
    for (double& value : neutral) value /= largest;
    return neutral;
}

/// From the gains of the three planes, which undo that response; empty when one is not above 0.
inline std::vector<double> NeutralFromGains(double red, double green, double blue) {
    if (!(red > 0 && green > 0 && blue > 0)) return {};
    return ScaledNeutral({green / red, 1.0, green / blue});
}

}  // namespace kestr
