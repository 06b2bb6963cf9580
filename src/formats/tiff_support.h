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

/// A stream as libtiff sees it: seeks cost nothing until the next read or write, so that a file
/// that grows strip by strip is written in large pieces.
class CTIFFStream {
public:
    explicit CTIFFStream(std::FILE* stream);

    tmsize_t Read(void* buffer, tmsize_t count);
    tmsize_t Write(const void* buffer, tmsize_t count);
    toff_t Seek(toff_t offset, int whence);
    [[nodiscard]] toff_t Size() const { return m_size; }

private:
    bool Reach(bool forWriting);

    std::FILE* m_stream;
    uint64_t m_position = 0;  // where libtiff believes to be
    uint64_t m_actual = 0;    // where the stream is
    uint64_t m_size = 0;
    bool m_wrote = false;  // the last transfer was a write
};

/// Opens a stream that can be read and written; both must outlive the handle. The mode is "wl" or
/// "wb" for a new file in little- or big-endian order, "a" to add a page.
[[nodiscard]] CTIFFHandle OpenTIFF(CTIFFStream& stream, const char* mode);

/// Finds the IPTC block of a page, the directories being counted from 0; empty without one. A block
/// that is stated in numbers of 32 bits, as many writers do, counts four bytes each.
[[nodiscard]] std::span<const uint8_t> FindRichTIFFIPTC(std::span<const uint8_t> file, int page);

/// Turns the type of the last page's IPTC block, when it is stated in numbers of 32 bits, into
/// bytes.
void FixRichTIFFIPTCType(std::span<uint8_t> file);

/// Turns the pointers to the EXIF and GPS directories of the last page, which libtiff gives a type
/// that TIFF 6.0 does not have, into numbers of 32 bits.
void FixDirectoryPointerTypes(std::span<uint8_t> file);

}  // namespace kestr
