// Camera blocks: what cameras wrote of themselves before EXIF, kept as bytes whose first tells the
// kind. Kinds: 1 text of an APP12, 2 to 4 headers of Kodak's DC40, DC50 and DC120, 5 a CIFF heap,
// 6 plain text.
#pragma once

#include <cstdint>
#include <span>
#include <string>

namespace kestr {

/// The block as lines of text, as far as it goes; empty for an empty block.
std::string CameraBlockText(std::span<const uint8_t> block);
/// The date in that text; empty when it has none.
std::string CameraBlockDate(std::span<const uint8_t> block);

/// The records of a CIFF heap as text. `file` begins with the byte order and the offset of the
/// heap, which ends where the file does.
std::string CIFFText(std::span<const uint8_t> file);

/// Seconds since 1970 as "2004:02:29 13:05:09", the clock of the camera taken as it is.
std::string ClockText(uint32_t seconds);

}  // namespace kestr
