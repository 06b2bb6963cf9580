// How the application markers of a JPEG stream begin.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

namespace kestr {

inline constexpr size_t kExifHeader = 6;  // "Exif" and two NULs
inline constexpr std::string_view kXmpName{"http://ns.adobe.com/xap/1.0/\0", 29};
inline constexpr std::string_view kICCName{"ICC_PROFILE\0", 12};
inline constexpr std::string_view kPhotoshopName{"Photoshop 3.0\0", 14};
inline constexpr size_t kICCHeader = 14;  // the name, number of the piece, number of pieces

// Kinds of an image's camera header, its first byte.
inline constexpr uint8_t kBlockOfAPP12 = 1;
inline constexpr uint8_t kBlockOfHEAPJPGM = 5;

}  // namespace kestr
