// Olympus's compression: each sample is predicted from its plane's neighbours, and the difference
// is stored in a code whose length follows the differences before it.

#include "raw/orf_data.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cstdlib>
#include <vector>

#include "base/byte_cursor.h"
#include "raw/bit_reader.h"
#include "raw/demosaic.h"
#include "raw/raw_sensor_image.h"
#include "raw/sensor_row.h"

namespace kestr {
namespace {

constexpr uint64_t kHeaderBytes = 7;
constexpr int kLowBits = 2;     // of a difference, which are stored as they are
constexpr int kMostZeros = 12;  // before the 1 that ends a count

/// What the differences of one column parity were like.
struct CCarry {
    int32_t last = 0;   // the last one without its sign and low bits
    int32_t drift = 0;  // mean of the differences
    int32_t calm = 0;   // how many were small, one after the other
};

/// The next difference. It takes 32 bits at the most.
int32_t NextDifference(CBitReader& bits, CCarry& carry) {
    bits.Fill();
    const int base = carry.calm < 3 ? 2 : 0;
    const int lastBits = std::bit_width(static_cast<uint16_t>(carry.last));
    const int count = std::max(2 + base, lastBits - base);

    const uint32_t word = bits.Peek(32);
    const int32_t sign = -static_cast<int32_t>(word >> 31);
    const auto low = static_cast<int32_t>(word >> 29 & 3);
    constexpr int kBefore = 1 + kLowBits;
    const uint32_t behind = word << kBefore;
    int high = std::countl_zero(behind);
    if (high < kMostZeros) [[likely]] {
        bits.Skip(kBefore + high + 1);
    } else {
        // Without the 1 that ends a count, and with a bit that says nothing.
        const int stored = 16 - count;
        high = stored == 0 ? 0 : static_cast<int>(behind << kMostZeros >> (32 - stored) >> 1);
        bits.Skip(kBefore + kMostZeros + stored);
    }
    carry.last = high << count | static_cast<int32_t>(bits.Peek(count));
    bits.Skip(count);
    const int32_t difference = (carry.last ^ sign) + carry.drift;
    carry.drift = (carry.drift + 3 * difference) >> 5;
    carry.calm = carry.last > 16 ? 0 : carry.calm + 1;
    return difference * (1 << kLowBits) | low;
}

/// From the sample to the left, the one above and the one above the left of the same plane.
int32_t Predict(int32_t left, int32_t above, int32_t corner) {
    const int32_t toLeft = left - corner, toAbove = above - corner;
    if ((toLeft < 0 && toAbove > 0) || (toLeft > 0 && toAbove < 0)) {
        const bool smooth = std::abs(toLeft) < 33 && std::abs(toAbove) < 33;
        return smooth ? (left + above) >> 1 : left + toAbove;
    }
    return std::abs(toLeft) > std::abs(toAbove) ? left : above;
}

/// Decodes a row; `above` are the samples two rows above, which the first two rows lack. Two more
/// lie before the first of both.
template <bool HasAbove>
CBitReader DecodeRow(CBitReader bits, const uint16_t* above, uint16_t* row, size_t width) {
    std::array<CCarry, 2> carries;
    for (size_t x = 0; x < width; ++x) {
        const int32_t difference = NextDifference(bits, carries[x & 1]);
        int32_t predicted = row[x];  // two to the left
        if (HasAbove) {
            predicted = x < 2 ? above[x + 2] : Predict(row[x], above[x + 2], above[x]);
        }
        row[x + 2] = static_cast<uint16_t>(predicted + difference);
    }
    return bits;
}

}  // namespace

bool ReadCompressedORF(std::span<const uint8_t> data, CRawSensorImage& image,
                       CImageReader* reader) {
    const size_t width = image.samples.width;
    std::array<std::vector<uint16_t>, 3> rows;
    for (auto& row : rows) row.resize(2 + width);
    CBitReader bits(SubRange(data, kHeaderBytes));
    for (uint32_t y = 0; y < image.samples.height; ++y) {
        if (!StartRawRow(image, reader, y)) return false;
        auto& row = rows[y % 3];
        const auto& above = rows[(y + 1) % 3];
        const auto decode = y < 2 ? &DecodeRow<false> : &DecodeRow<true>;
        bits = decode(bits, above.data(), row.data(), width);
        StoreSensorRow(image, y, std::span(row).subspan(2));
    }
    return true;
}

}  // namespace kestr
