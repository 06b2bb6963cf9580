#include "raw/packed_samples.h"

#include <algorithm>
#include <array>
#include <bit>
#include <vector>

#include "base/byte_cursor.h"
#include "raw/bit_reader.h"
#include "raw/demosaic.h"
#include "raw/raw_sensor_image.h"
#include "raw/sensor_row.h"

namespace kestr {
namespace {

constexpr size_t kGroupValues = 10;  // those before a byte of padding
constexpr size_t kGroupBytes = 15;

bool IsWords(CSamplePacking packing) {
    return packing == CSamplePacking::kLittleWords || packing == CSamplePacking::kBigWords;
}

template <std::endian Order>
void UnpackWords(const uint8_t* in, int shift, std::span<uint16_t> row) {
    for (size_t x = 0; x < row.size(); ++x) {
        row[x] = static_cast<uint16_t>(LoadNumber<uint16_t, Order>(in + 2 * x) >> shift);
    }
}

// A last value without a partner has its one and a half bytes as the first of a pair.
void Unpack12HighFirst(const uint8_t* in, uint16_t* out, size_t count) {
    for (; count >= 2; count -= 2, in += 3, out += 2) {
        out[0] = static_cast<uint16_t>(in[0] << 4 | in[1] >> 4);
        out[1] = static_cast<uint16_t>((in[1] & 15) << 8 | in[2]);
    }
    if (count != 0) out[0] = static_cast<uint16_t>(in[0] << 4 | in[1] >> 4);
}

void Unpack12LowFirst(const uint8_t* in, uint16_t* out, size_t count) {
    for (; count >= 2; count -= 2, in += 3, out += 2) {
        out[0] = static_cast<uint16_t>(in[0] | (in[1] & 15) << 8);
        out[1] = static_cast<uint16_t>(in[1] >> 4 | in[2] << 4);
    }
    if (count != 0) out[0] = static_cast<uint16_t>(in[0] | (in[1] & 15) << 8);
}

template <typename Unpack>
void Unpack12(const Unpack& unpack, const uint8_t* in, bool padded, std::span<uint16_t> row) {
    size_t x = 0;
    if (padded) {
        for (; row.size() - x >= kGroupValues; x += kGroupValues, in += kGroupBytes + 1) {
            unpack(in, row.data() + x, kGroupValues);
        }
    }
    unpack(in, row.data() + x, row.size() - x);
}

void UnpackWholeRow(const uint8_t* in, const CPackedLayout& layout, std::span<uint16_t> row) {
    switch (layout.packing) {
        case CSamplePacking::kLittleWords:
            return UnpackWords<std::endian::little>(in, layout.shift, row);
        case CSamplePacking::kBigWords:
            return UnpackWords<std::endian::big>(in, layout.shift, row);
        case CSamplePacking::k12HighFirst:
            return Unpack12(Unpack12HighFirst, in, layout.padded, row);
        case CSamplePacking::k12LowFirst:
            return Unpack12(Unpack12LowFirst, in, layout.padded, row);
    }
}

uint64_t TightRowBits(const CPackedLayout& layout, uint64_t width) {
    if (IsWords(layout.packing)) return 16 * width;
    return 12 * width + (layout.padded ? 8 * (width / kGroupValues) : 0);
}

/// A row of high bits first that begins within a byte.
void UnpackInnerRow(std::span<const uint8_t> bytes, int firstBit, bool padded,
                    std::span<uint16_t> row) {
    CBitReader bits(bytes);
    bits.Read(firstBit);
    size_t x = 0;
    for (uint16_t& value : row) {
        value = static_cast<uint16_t>(bits.Read(12));
        if (padded && ++x % kGroupValues == 0) bits.Read(8);
    }
}

}  // namespace

uint64_t PackedRowBytes(const CPackedLayout& layout, uint32_t width) {
    return (TightRowBits(layout, width) + 7) / 8;
}

void UnpackRow(std::span<const uint8_t> bytes, const CPackedLayout& layout,
               std::span<uint16_t> row) {
    const auto wanted = PackedRowBytes(layout, static_cast<uint32_t>(row.size()));
    if (bytes.size() >= wanted) return UnpackWholeRow(bytes.data(), layout, row);
    if (bytes.empty()) return static_cast<void>(std::ranges::fill(row, uint16_t{0}));
    std::vector<uint8_t> filledUp(bytes.begin(), bytes.end());
    filledUp.resize(static_cast<size_t>(wanted));
    UnpackWholeRow(filledUp.data(), layout, row);
}

bool ReadPackedSamples(std::span<const uint8_t> data, const CPackedLayout& layout,
                       CRawSensorImage& image, CImageReader* reader) {
    std::vector<uint16_t> row(image.samples.width);
    const uint64_t rowBits =
        layout.rowBytes != 0 ? 8 * layout.rowBytes : TightRowBits(layout, row.size());
    // Only values with their high bits first run on from one row to the next within a byte.
    const bool inner = layout.packing == CSamplePacking::k12HighFirst && rowBits % 8 != 0;
    const uint32_t rows = layout.fieldRows != 0 ? layout.fieldRows : image.samples.height;
    const uint32_t fieldRows = layout.fieldRows / 2;
    for (uint32_t i = 0; i < rows; ++i) {
        if (!StartRawRow(image, reader, i)) return false;
        uint32_t y = i;
        uint64_t start = i * rowBits;
        if (fieldRows != 0) {
            y = i / fieldRows + 2 * i % rows;
            if (layout.secondField != 0 && i >= fieldRows) {
                start = 8 * layout.secondField + (i - fieldRows) * rowBits;
            }
        }
        const auto bytes = SubRange(data, inner ? start / 8 : (start + 7) / 8);
        if (inner && start % 8 != 0) {
            UnpackInnerRow(bytes, static_cast<int>(start % 8), layout.padded, row);
        } else {
            UnpackRow(bytes, layout, row);
        }
        StoreSensorRow(image, y, row);
    }
    return true;
}

}  // namespace kestr
