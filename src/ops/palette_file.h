// Palette files: RIFF PAL, and JASC-PAL in blocks.
#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include <kestr/types.h>

#include "base/bitmap_info.h"

namespace kestr {

/// The colours of a palette file's bytes; empty when they are none. A RIFF file may state up to
/// 65535.
std::vector<CRGBQuad> ParsePalette(std::span<const uint8_t> file);
/// The same of a file; empty too when it cannot be read.
std::vector<CRGBQuad> ReadPaletteFile(const KESTR_CHAR* path);

/// The bytes of a RIFF PAL file.
std::vector<uint8_t> MakePaletteFile(std::span<const CRGBQuad> palette);

}  // namespace kestr
