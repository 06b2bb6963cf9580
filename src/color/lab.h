#pragma once

#include <cstdint>

namespace kestr {

/// Writes the blue, green and red of a CIE L*a*b* colour: lightness 0 to 100, a and b -128 to 127.
/// The white of the colour space becomes the white of the display; its primaries are those of ITU-R
/// BT.709, its levels the power 0.45 of the light. What the display cannot show is clipped.
void LabToBGR(int lightness, int a, int b, uint8_t* bgr);

}  // namespace kestr
