#pragma once

#include <cstdint>
#include <span>

#include "raw/nikon_note.h"

namespace kestr {

class CImageReader;
class CRawSensorImage;

/// How the packed samples of a file lie, 12 bits each.
struct CNEFPacking {
    bool interlaced = false;  // even rows before odd ones
    bool padded = false;      // a byte of padding behind each tenth sample of a row
};

/// Whether samples that are said to be compressed really are: the packed ones have padding there.
[[nodiscard]] bool IsReallyCompressed(std::span<const uint8_t> data);

/// Both fill the rows of the image from the samples in `data`; behind the end of it packed samples
/// are 0 and compressed ones repeat. `reader` serves for progress and may be null. False when its
/// caller has asked for an end.
[[nodiscard]] bool ReadPackedNEF(std::span<const uint8_t> data, const CNEFPacking& packing,
                                 CRawSensorImage& image, CImageReader* reader);
[[nodiscard]] bool ReadCompressedNEF(std::span<const uint8_t> data,
                                     const CNikonCompression& compression, CRawSensorImage& image,
                                     CImageReader* reader);

}  // namespace kestr
