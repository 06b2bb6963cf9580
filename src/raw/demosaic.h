// From one plane a pixel to all of them, in place.
#pragma once

#include <cstdint>

#include "raw/raw_color.h"
#include "raw/raw_sensor_image.h"

namespace kestr {

class CImageReader;

enum CDemosaicMethod : uint32_t { kBilinear = 0, kVNG = 1, kAHD = 2 };

/// What a load with this method has to pass through, the colour stage included: 1 + the passes of
/// the method, where a method that is none of the three counts as that many passes.
[[nodiscard]] uint16_t RawPassCount(uint32_t method, uint8_t colors);

/// Fills in the planes that the sensor did not record: AHD for method 2 of a three-colour sensor,
/// bilinear for method 0, VNG for all others. `inputs` tell how the picture will look, which AHD
/// wants to know. Bilinear leaves the missing planes of the outermost pixels 0. `reader` serves for
/// progress and may be null; false when its caller has asked for an end.
[[nodiscard]] bool Demosaic(uint32_t method, CRawSensorImage& image, CImageReader* reader,
                            const CRawColorInputs& inputs);

[[nodiscard]] bool DemosaicBilinear(CRawSensorImage& image, CImageReader* reader);
[[nodiscard]] bool DemosaicVNG(CRawSensorImage& image, CImageReader* reader);
[[nodiscard]] bool DemosaicAHD(CRawSensorImage& image, CImageReader* reader,
                               const CRawColorInputs& inputs);

/// The missing planes of the outer `border` rows and columns of three planes, from the 3 x 3 pixels
/// around each.
void FillBorder(CRawSensorImage& image, uint32_t border);

/// What the reading of the sensor and each pass over the samples do at the start of a row: tells
/// the progress, of which the reading has no share; false when the caller has asked for an end.
[[nodiscard]] bool StartRawRow(const CRawSensorImage& image, CImageReader* reader, uint32_t row);

}  // namespace kestr
