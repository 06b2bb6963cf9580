#pragma once

#include <cstdint>
#include <span>

namespace kestr {

class CImageReader;
class CRawSensorImage;

/// Fills the rows of the image from Olympus's compressed samples, which begin seven bytes into
/// `data`. `reader` serves for progress and may be null. False when its caller has asked for an
/// end.
[[nodiscard]] bool ReadCompressedORF(std::span<const uint8_t> data, CRawSensorImage& image,
                                     CImageReader* reader);

}  // namespace kestr
