// White balance from the picture itself: the camera's response to a neutral object is taken to be
// the mean of what is not burnt out. The largest value is 1.
#pragma once

#include <cstdint>
#include <vector>

#include "raw/raw_sensor_image.h"

namespace kestr {

/// One value a plane, from samples that are not demosaiced yet: a sample of 0 is none. Each block
/// of 4 x 4 pixels counts that holds no saturated sample; a plane without light has 1.0.
[[nodiscard]] std::vector<double> EstimateNeutralFromSamples(const CRawSensorImage& image,
                                                             uint16_t black, uint16_t white);

/// One value a plane, from demosaiced samples: the means of the pixels of a box, which must
/// lie inside, whose samples all
/// lie in limit / 16..limit, or of all its pixels when none does. A box without light has 1.0.
[[nodiscard]] std::vector<double> EstimateNeutralFromBox(const CRawSamples& samples,
                                                         const CRawBox& box, uint16_t limit);

}  // namespace kestr
