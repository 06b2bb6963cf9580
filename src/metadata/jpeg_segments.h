// The marker segments of a JPEG file, and changes to them without touching the picture.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include <kestr/types.h>

namespace kestr {

/// ITU-T T.81, table B.1: the second byte of a marker.
namespace jpeg_marker {
inline constexpr uint8_t kSOI = 0xD8;
inline constexpr uint8_t kEOI = 0xD9;
inline constexpr uint8_t kAPP0 = 0xE0;
inline constexpr uint8_t kAPP1 = 0xE1;
inline constexpr uint8_t kAPP13 = 0xED;
inline constexpr uint8_t kCOM = 0xFE;
}  // namespace jpeg_marker

struct CJPEGSegment {
    static constexpr uint16_t kStray = 0xFFFF;  // bytes outside any marker: picture data, a tail

    uint16_t marker = 0;  // both bytes: 0xFFD8 and so on
    size_t offset = 0;    // of the marker, from the start of the file
    size_t length = 0;    // with the marker and its length field, cut at the end of the file
    bool isExif = false;  // an APP1 of EXIF data
    bool isXmp = false;   // an APP1 of an XMP packet
};

/// Gives the segments of a file one after the other, in constant memory.
class CJPEGSegmentWalk {
public:
    explicit CJPEGSegmentWalk(std::span<const uint8_t> file) : m_file(file) {}
    /// None at the end of the file.
    std::optional<CJPEGSegment> Next();

private:
    std::optional<size_t> FindMarker() const;

    std::span<const uint8_t> m_file;
    size_t m_position = 0;
    size_t m_marker = 0;  // the marker found ahead of m_position, while stray bytes come first
    bool m_found = false;
};

/// All segments; empty when the file does not begin with a marker.
std::vector<CJPEGSegment> ScanJPEG(std::span<const uint8_t> file);
/// The bytes behind the picture: the last segment, if it is a stray one.
std::span<const uint8_t> JPEGTail(std::span<const uint8_t> file);

/// What MergeMarker does to a file.
struct CMarkerMerge {
    std::span<const uint8_t> data;  // of the new marker; empty adds none
    uint8_t markerToAdd = jpeg_marker::kCOM;
    uint8_t markerToDrop = jpeg_marker::kCOM;  // of APP1 only what the next two name
    bool dropExif = false;
    bool dropXmp = false;
    bool deleteSource = false;  // the source is a temporary file
};

/// Writes a copy of a JPEG file, up to its EOI, with one marker added behind the first APP0 or
/// APP1 (else behind SOI) and others dropped. The copy is complete before it takes the target's
/// place, so the target may be the source. False, with words, when it could not be done.
[[nodiscard]] bool MergeMarker(const KESTR_CHAR* source, const KESTR_CHAR* target,
                               const CMarkerMerge& merge, std::string& errorText);

}  // namespace kestr
