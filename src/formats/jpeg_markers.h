#pragma once

#include <cstdint>
#include <cstdio>
#include <span>

#include <jpeglib.h>

namespace kestr {

class CImageReader;

struct CJPEGMarkers {
    jpeg_saved_marker_ptr markers = nullptr;  // APP0 to APP15, in the order of the stream
    bool isCMYK = false;                      // the picture comes out as inks
    std::span<const uint8_t> source;          // the whole file, or the buffer instead of one
    bool isFile = true;
};

/// Hands what the application markers hold to the reader: EXIF and IPTC records, XMP packet, colour
/// profile, sound clip, camera header. A block that does not parse is left out.
void TakeJPEGMarkers(CImageReader& reader, const CJPEGMarkers& input);

}  // namespace kestr
