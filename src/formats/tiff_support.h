// What TIFF reading and writing share: libtiff's handles, with its words kept to themselves.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <memory>
#include <span>

#include <tiffio.h>

namespace kestr {

struct CTIFFCloser {
    void operator()(TIFF* tiff) const { TIFFClose(tiff); }
};
using CTIFFHandle = std::unique_ptr<TIFF, CTIFFCloser>;

/// Opens a file that lies in memory; `file` must outlive the handle. Null when it is none.
[[nodiscard]] CTIFFHandle OpenTIFF(std::span<const uint8_t> file);

/// Opens a stream that can be read and written, which must outlive the handle: "w" for a new file
/// (with "b" behind it in big-endian order, else "l"), "a" to add a page.
[[nodiscard]] CTIFFHandle OpenTIFF(std::FILE* stream, const char* mode);

/// Finds the IPTC block of a page, the directories being counted from 0; empty without one. A block
/// that is stated in numbers of 32 bits, as many writers do, counts four bytes each.
[[nodiscard]] std::span<const uint8_t> FindRichTIFFIPTC(std::span<const uint8_t> file, int page);

/// Turns the type of the last page's IPTC block, when it is stated in numbers of 32 bits, into
/// bytes.
void FixRichTIFFIPTCType(std::span<uint8_t> file);

}  // namespace kestr
