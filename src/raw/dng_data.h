// The samples of a DNG file, as they lie in its strips or tiles.
#pragma once

#include <cstdint>
#include <span>
#include <vector>

namespace kestr {

class CImageReader;
class CRawSensorImage;

struct CDNGData {
    uint32_t width = 0;  // pixels that are recorded
    uint32_t height = 0;
    uint32_t samplesPerPixel = 1;  // 1 of a mosaic; 1, 3 or 4 of a linear picture
    uint16_t bitsPerSample = 16;   // 8, 12 or 16
    bool bigEndian = false;        // order of words of 16 bits
    bool compressed = false;       // each tile is a stream of lossless JPEG
    bool bitsBehind16 = false;     // whose differences of category 16 have 16 bits
    bool linear = false;           // else a mosaic
    bool staggered = false;   // a mosaic whose even columns, counted from 1, lie half a row lower
    bool tiled = false;       // else in strips, which are tiles of the picture's width
    uint32_t tileWidth = 0;   // pixels, never 0; tiles lie row by row, the last ones
    uint32_t tileHeight = 0;  // reaching over the edges
    std::vector<uint32_t> offsets;  // of the tiles in the file
    std::vector<uint32_t> lengths;  // in bytes; where one is missing, up to the end of the file
    std::vector<uint16_t> linearization;  // sample of each stored value, the last one of those
                                          // behind the end; empty when they are the same
};

/// Height and width of the buffer for a staggered mosaic, whose rows become diagonals.
struct CStaggeredGrid {
    explicit CStaggeredGrid(const CDNGData& data);
    uint32_t rows;  // of the mosaic; even, so that the filters fit
    uint64_t bufferWidth;
    uint64_t bufferHeight;
};

/// Stores the samples into an image of that size: those of a mosaic at the plane of their pixel,
/// those of a linear picture at the first planes. What an uncompressed file lacks is 0. False, when
/// the caller has asked for an end, or when a stream cannot be decoded.
[[nodiscard]] bool ReadDNGData(std::span<const uint8_t> file, const CDNGData& data,
                               CRawSensorImage& image, CImageReader* reader);

}  // namespace kestr
