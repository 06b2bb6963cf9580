#include "raw/nef_data.h"

#include <algorithm>
#include <array>
#include <vector>

#include "raw/demosaic.h"
#include "raw/difference_codes.h"
#include "raw/difference_rows.h"
#include "raw/raw_sensor_image.h"
#include "raw/sensor_row.h"

namespace kestr {
namespace {

/// Counts of codes by length, and their values by ascending length. Bits of a value above the
/// lowest four: so many low bits of the difference are not stored.
struct CHuffmanTable {
    std::array<uint8_t, 16> counts;
    std::array<uint8_t, 16> values;
};
constexpr CHuffmanTable kTables[] = {
    {{0, 1, 5, 1, 1, 1, 1, 1, 1, 2}, {5, 4, 3, 6, 2, 7, 1, 0, 8, 9, 11, 10, 12}},
    {{0, 1, 5, 1, 1, 1, 1, 1, 1, 2}, {57, 90, 56, 39, 22, 5, 4, 3, 2, 1, 0, 11, 12, 12}},
    {{0, 1, 4, 2, 3, 1, 2}, {5, 4, 6, 3, 7, 2, 8, 1, 9, 0, 10, 11, 12}},
    {{0, 1, 4, 3, 1, 1, 1, 1, 1, 2}, {5, 6, 4, 7, 8, 3, 9, 2, 1, 0, 10, 11, 12, 13, 14}},
    {{0, 1, 5, 1, 1, 1, 1, 1, 1, 1, 2}, {8, 92, 75, 58, 41, 7, 6, 5, 4, 3, 2, 1, 0, 13, 14}},
    {{0, 1, 4, 2, 2, 3, 1, 2}, {7, 6, 8, 5, 9, 4, 10, 3, 11, 12, 2, 0, 1, 13, 14}},
};

CDifferenceCodes CodesOf(uint32_t table) {
    const CHuffmanTable& t = kTables[std::min<size_t>(table, std::size(kTables) - 1)];
    // NOLINTNEXTLINE(bugprone-unchecked-optional-access): each of these tables makes codes
    return *CDifferenceCodes::Make(t.counts, t.values, CCategoryForm::kLowBitsShared);
}

}  // namespace

bool IsReallyCompressed(std::span<const uint8_t> data) {
    for (size_t at = 15; at < 256; at += 16) {
        if (at >= data.size()) return false;
        if (data[at] != 0) return true;
    }
    return false;
}

bool ReadCompressedNEF(std::span<const uint8_t> data, const CNikonCompression& compression,
                       CRawSensorImage& image, CImageReader* reader) {
    CDifferenceRows rows(data, compression.startPredictors, compression.curve);
    CDifferenceCodes codes = CodesOf(compression.huffmanTable);
    std::vector<uint16_t> row(image.samples.width);
    for (uint32_t y = 0; y < image.samples.height; ++y) {
        if (!StartRawRow(image, reader, y)) return false;
        if (y != 0 && y == compression.splitRow) codes = CodesOf(compression.huffmanTable + 1);
        rows.Next(codes, row);
        StoreSensorRow(image, y, row);
    }
    return true;
}

}  // namespace kestr
