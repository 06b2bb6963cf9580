#pragma once

#include <cstdint>
#include <span>

#include "raw/nikon_note.h"

namespace kestr {

class CImageReader;
class CRawSensorImage;

/// Whether samples that are said to be compressed really are: the packed ones have padding there.
[[nodiscard]] bool IsReallyCompressed(std::span<const uint8_t> data);

/// Fills the rows of the image from the samples in `data`, which repeat behind the end of it.
/// `reader` serves for progress and may be null. False when its caller has asked for an end.
[[nodiscard]] bool ReadCompressedNEF(std::span<const uint8_t> data,
                                     const CNikonCompression& compression, CRawSensorImage& image,
                                     CImageReader* reader);

}  // namespace kestr
