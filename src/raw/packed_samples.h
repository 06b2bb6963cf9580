// Sensor values that lie in a file without codes, as words or packed to 12 bits.
#pragma once

#include <cstdint>
#include <span>

namespace kestr {

class CImageReader;
class CRawSensorImage;

enum class CSamplePacking {
    kLittleWords,  // a value in each 16 bits, low byte first
    kBigWords,     // high byte first
    k12HighFirst,  // two values of 12 bits in three bytes: the first one has the highest bits
    k12LowFirst    // the first one has the lowest bits
};

struct CPackedLayout {
    CSamplePacking packing = CSamplePacking::k12HighFirst;
    int shift = 0;             // bits that a word has below its value
    bool padded = false;       // packed values have an unused byte behind each tenth of a row
    uint64_t rowBytes = 0;     // from one row to the next; 0 when they follow each other directly
    uint32_t fieldRows = 0;    // rows 0, 2, 4... lie before rows 1, 3, 5...: twice the rows of a
                               // field; 0 when rows lie in order
    uint64_t secondField = 0;  // where rows 1, 3, 5... begin; 0 when directly behind the others
};

/// Bytes of a row of `width` values that ends on a byte.
[[nodiscard]] uint64_t PackedRowBytes(const CPackedLayout& layout, uint32_t width);

/// Unpacks one row from its first byte on; values behind the end of the bytes are 0.
void UnpackRow(std::span<const uint8_t> bytes, const CPackedLayout& layout,
               std::span<uint16_t> row);

/// Fills the image from the values in `data`. `reader` serves for progress and may be null. False
/// when its caller has asked for an end.
[[nodiscard]] bool ReadPackedSamples(std::span<const uint8_t> data, const CPackedLayout& layout,
                                     CRawSensorImage& image, CImageReader* reader);

}  // namespace kestr
