#pragma once

#include <cstdint>
#include <span>

namespace kestr {

class CImageReader;
class CRawSensorImage;

/// Fills the rows of the image from Pentax's compressed samples, `codedWidth` of them a row, of
/// which the image takes the first. They repeat behind the end of `data`. `reader` serves for
/// progress and may be null. False when its caller has asked for an end.
[[nodiscard]] bool ReadCompressedPEF(std::span<const uint8_t> data, uint32_t codedWidth,
                                     CRawSensorImage& image, CImageReader* reader);

}  // namespace kestr
