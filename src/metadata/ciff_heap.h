// Canon's CIFF: a header of byte order, length and kind, then a heap up to the end of the file. A
// heap ends with the offset of its directory: a count, then records of ten bytes: type, size,
// offset from the start of the heap. Of the type word the two high bits tell where the value
// stands, the next three what it is. Layout: CIFF Specification on Image Data File, version 1.0
// revision 4.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "metadata/tiff_bytes.h"

namespace kestr {

struct CCIFFRecord {
    uint16_t type = 0;               // the whole word
    bool inDirectory = false;        // the value is the eight bytes behind the type word
    std::span<const uint8_t> value;  // cut where the heap ends

    /// The type without the bits that tell where the value stands.
    [[nodiscard]] uint16_t Tag() const { return type & 0x3FFF; }
    [[nodiscard]] bool IsHeap() const {
        const int kind = type & 0x3800;
        return !inDirectory && (kind == 0x2800 || kind == 0x3000);
    }
};

/// One heap and its directory.
class CCIFFHeap {
public:
    CCIFFHeap(std::span<const uint8_t> heap, bool bigEndian);

    /// The records whose entries lie within the heap.
    [[nodiscard]] size_t Count() const { return m_count; }
    [[nodiscard]] CCIFFRecord Record(size_t index) const;
    [[nodiscard]] bool BigEndian() const { return m_bytes.BigEndian(); }

private:
    CTIFFBytes m_bytes;
    size_t m_first = 0;  // offset of the first record
    size_t m_count = 0;
};

/// The outermost heap of a file, or of a JPEG's APP0 that has the same form; one without records
/// for bytes that are neither.
[[nodiscard]] CCIFFHeap RootHeap(std::span<const uint8_t> file);

/// The JPEG picture beside the sensor's data; empty when there is none.
[[nodiscard]] std::span<const uint8_t> CIFFPreview(std::span<const uint8_t> file);

/// The camera's name, as "Canon PowerShot G2"; empty when the heap does not tell.
[[nodiscard]] std::string CIFFModel(std::span<const uint8_t> file);

/// The file without its pictures, in the form that JPEG files have in their APP0, in which it has
/// room; empty when nothing is left.
[[nodiscard]] std::vector<uint8_t> CIFFCameraHeader(std::span<const uint8_t> file);

}  // namespace kestr
