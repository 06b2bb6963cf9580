// VNG for patterns beside Bayer's.
#pragma once

namespace kestr {

class CImageReader;
struct CRawSensorImage;

/// VNG after the bilinear pass, for any pattern of three or four planes that repeats after eight
/// rows and two columns. False when the load is aborted.
[[nodiscard]] bool InterpolateAnyPattern(CRawSensorImage& image, CImageReader* reader);

}  // namespace kestr
