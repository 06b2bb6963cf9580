// Changes of format of an 8-bit store: a CBitmapInfo and the rows that it describes.
#pragma once

#include <cstdint>

#include "base/bitmap_info.h"
#include "base/pixel_buffer.h"

namespace kestr {

/// Room for an 8-bit store of `bitCount` bits a pixel; row padding is 0. Throws std::bad_alloc when
/// a store cannot hold it.
CPixelBytes MakeStore(int bitCount, int32_t width, int32_t height);
/// Room for a 16-bit store of `channels` samples a pixel, likewise.
CPixelWords MakeStore16(int channels, int32_t width, int32_t height);

/// Palette indices of a row of 1, 4 or 8 bits a pixel, one byte each. The most significant bit and
/// the high nibble come first.
void UnpackIndices(const uint8_t* row, int bitCount, int32_t width, uint8_t* indices);

/// The way back: pixels of 1, 4 or 8 bits from their indices. The rest of the last byte becomes 0.
void PackIndices(const uint8_t* indices, int bitCount, int32_t width, uint8_t* row);

/// Pixels of 1 or 4 bits become one byte each; the palette and its number of colours stay. Other
/// formats are left alone.
void WidenTo8Bits(CBitmapInfo& info, CPixelBytes& pixels);

/// Pixels of 1, 4 or 8 bits become the colours of their palette entries. 24 bits are left alone.
void ExpandTo24Bits(CBitmapInfo& info, CPixelBytes& pixels);

/// Puts a 1-bit picture into its normal form, entry 0 of its two the darker (by sum of channels):
/// if it is not, the entries change places and all bits are complemented.
void NormalizeBilevel(CBitmapInfo& info, CPixelBytes& pixels);

}  // namespace kestr
