// Files and pictures that several benchmarks read: made once, in the memory file system.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include <kestr/types.h>

#include "image/image_bits.h"

namespace kestr::bench {

/// A path for a scratch file of this process, in memory where the system has such a place.
std::basic_string<KESTR_CHAR> ScratchPath(const char* name);

/// Samples of a smooth picture with some noise in it, as photographs have: top row first, no
/// padding, `channels` interleaved.
std::vector<uint8_t> NoisyPicture(uint32_t width, uint32_t height, int channels);

/// Such a picture as an image of 24 bits a pixel, for saving; the last one is kept.
CImageBits& NoisyImage(uint32_t width, uint32_t height);

}  // namespace kestr::bench
