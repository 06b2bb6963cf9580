#include "raw/nef_data.h"

#include <algorithm>
#include <array>
#include <vector>

#include "raw/bit_reader.h"
#include "raw/demosaic.h"
#include "raw/difference_codes.h"
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
    return *CDifferenceCodes::Make(t.counts, t.values, CCategoryForm::kLowBitsShared);
}

// The sample of each decoded value of 16 bits: those above the curve take its last entry, those
// below 0 its first.
std::vector<uint16_t> SampleTable(const std::vector<uint16_t>& curve) {
    std::vector<uint16_t> samples(65536);
    for (size_t i = 0; i < samples.size(); ++i) {
        const size_t value = i < 32768 ? i : 0;
        samples[i] =
            curve.empty() ? static_cast<uint16_t>(value) : curve[std::min(value, curve.size() - 1)];
    }
    return samples;
}

using CPair = std::array<uint16_t, 2>;

/// Decodes a row. Its first two values follow those two rows above, which they replace; later ones
/// follow those two to the left.
template <bool NearEnd>
CBitReader DecodeRow(CBitReader bits, const CDifferenceCodes& codes, const uint16_t* samples,
                     CPair& above, std::span<uint16_t> row) {
    bool bad = false;  // there is a code for all bits
    const auto next = [&](uint16_t predictor) {
        if (NearEnd && bits.Exhausted()) return predictor;
        return static_cast<uint16_t>(predictor + codes.Next(bits, bad));
    };
    CPair left = above;
    for (size_t x = 0; x < row.size(); ++x) {
        left[x & 1] = next(left[x & 1]);
        row[x] = samples[left[x & 1]];
        if (x < 2) above[x] = left[x];
    }
    return bits;
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
    const auto samples = SampleTable(compression.curve);
    std::vector<uint16_t> row(image.samples.width);
    CDifferenceCodes codes = CodesOf(compression.huffmanTable);
    std::array<CPair, 2> above;  // of an even and of an odd row
    std::ranges::copy(std::span(compression.startPredictors).first<2>(), above[0].begin());
    std::ranges::copy(std::span(compression.startPredictors).last<2>(), above[1].begin());
    CBitReader bits(data);
    for (uint32_t y = 0; y < image.samples.height; ++y) {
        if (!StartRawRow(image, reader, y)) return false;
        if (y != 0 && y == compression.splitRow) codes = CodesOf(compression.huffmanTable + 1);
        // While there are bytes enough for the longest codes, the end need not be looked for.
        constexpr size_t kMostBytes = 4;
        const bool plenty = bits.Rest().size() / kMostBytes >= row.size();
        const auto decode = plenty ? &DecodeRow<false> : &DecodeRow<true>;
        bits = decode(bits, codes, samples.data(), above[y & 1], row);
        StoreSensorRow(image, y, row);
    }
    return true;
}

}  // namespace kestr
