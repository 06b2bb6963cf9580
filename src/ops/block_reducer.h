// The block reducer: each pixel of the result stands for a block of the source.
#pragma once

#include <cstdint>

#include "base/bitmap_info.h"
#include "base/pixel_buffer.h"
#include "ops/pixel_view.h"

namespace kestr {

/// Averages of blocks, truncated. Both views have the same channels.
void AverageBlocks(const CPixelView<const uint8_t>& source, const CPixelView<uint8_t>& destination);
/// The sums of 16-bit samples are kept modulo 2^32.
void AverageBlocks(const CPixelView<const uint16_t>& source,
                   const CPixelView<uint16_t>& destination);
/// The same over the bits of a 1-bit picture: 255 where all pixels of a block are 1.
void AverageBits(const CPixelBytes& pixels, const CBitmapInfo& info,
                 const CPixelView<uint8_t>& destination);

/// How bits of a block become one.
enum class CBlockRule { And, Or };
/// One bit for each block. Meant for 1 bit a pixel; deeper rows receive packed bits all the same,
/// and are 0 behind them.
void CombineBlocks(const CPixelBytes& pixels, const CBitmapInfo& info, CBlockRule rule,
                   CPixelBytes& scaled, const CBitmapInfo& scaledInfo);

}  // namespace kestr
