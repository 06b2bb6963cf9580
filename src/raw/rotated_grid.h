#pragma once

#include <cstdint>

#include "raw/raw_samples.h"

namespace kestr {

/// Turns samples of three planes that a sensor with a diagonal grid recorded upright, to a picture
/// of `wide` x `high` pixels, by linear interpolation; its corners, which the sensor does not
/// cover, are 0. `fujiWidth` is the row of the samples at which the picture's left top corner lies.
void TurnGridUpright(CRawSamples& samples, uint32_t fujiWidth, uint32_t wide, uint32_t high);

}  // namespace kestr
