#include "ops/histogram.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cstring>
#include <vector>

#include "base/luminance.h"
#include "base/luminance_row.h"
#include "ops/pixel_format.h"

namespace kestr {
namespace {

uint8_t RoundedLuminance(uint8_t red, uint8_t green, uint8_t blue) {
    return static_cast<uint8_t>(std::min(255u, (LuminanceSum(red, green, blue) + 127) >> 8));
}

/// Four sets of counters, for every fourth pixel each: neighbours are often alike, and a counter
/// that was just written takes a while to be read again.
struct CCounters {
    static constexpr size_t kSets = 4;
    std::array<CHistogram, kSets> sets;

    static void CountPixel(CHistogram& set, uint8_t blue, uint8_t green, uint8_t red) {
        ++set.blue[blue];
        ++set.green[green];
        ++set.red[red];
    }
    void Row24(const uint8_t* row, size_t pixels) {
        size_t i = 0;
        for (; i + kSets <= pixels; i += kSets, row += 3 * kSets) {
            // Twelve samples by two reads.
            uint64_t low = 0;
            uint32_t high = 0;
            std::memcpy(&low, row, sizeof(low));
            std::memcpy(&high, row + sizeof(low), sizeof(high));
            const auto sample = [](uint64_t samples, int at) {
                return static_cast<uint8_t>(samples >> 8 * at);
            };
            CountPixel(sets[0], sample(low, 0), sample(low, 1), sample(low, 2));
            CountPixel(sets[1], sample(low, 3), sample(low, 4), sample(low, 5));
            CountPixel(sets[2], sample(low, 6), sample(low, 7), sample(high, 0));
            CountPixel(sets[3], sample(high, 1), sample(high, 2), sample(high, 3));
        }
        for (; i < pixels; ++i, row += 3) CountPixel(sets[0], row[0], row[1], row[2]);
    }
    void RowOfLuminance(const uint8_t* levels, size_t pixels) {
        size_t i = 0;
        for (; i + kSets <= pixels; i += kSets) {
            for (size_t set = 0; set < kSets; ++set) ++sets[set].combined[levels[i + set]];
        }
        for (; i < pixels; ++i) ++sets[0].combined[levels[i]];
    }
    [[nodiscard]] CHistogram Sum() const {
        CHistogram sum = sets[0];
        for (size_t set = 1; set < kSets; ++set) {
            for (size_t i = 0; i < 256; ++i) {
                sum.combined[i] += sets[set].combined[i];
                sum.red[i] += sets[set].red[i];
                sum.green[i] += sets[set].green[i];
                sum.blue[i] += sets[set].blue[i];
            }
        }
        return sum;
    }
};
static_assert(std::endian::native == std::endian::little);

CHistogram Count24(const CImageBits& image, bool luminance, size_t firstRow, size_t lastRow,
                   size_t pixels) {
    CCounters counters;
    std::vector<uint8_t> levels(luminance ? pixels : 0);
    for (size_t y = firstRow; y < lastRow; ++y) {
        const uint8_t* const row = image.bits.data() + y * image.RowBytes();
        counters.Row24(row, pixels);
        if (!luminance) continue;
        RoundedLuminanceOfRow(row, pixels, levels.data());
        counters.RowOfLuminance(levels.data(), pixels);
    }
    return counters.Sum();
}

/// Indices are counted first, and their colours once each.
CHistogram CountIndices(const CImageBits& image, bool luminance, size_t firstRow, size_t lastRow,
                        size_t pixels) {
    std::array<CHistogram::CTable, 2> counts{};
    std::vector<uint8_t> indices(pixels);
    for (size_t y = firstRow; y < lastRow; ++y) {
        UnpackIndices(image.bits.data() + y * image.RowBytes(), image.bitmapInfo.BitCount(),
                      static_cast<int32_t>(pixels), indices.data());
        for (size_t x = 0; x < pixels; ++x) ++counts[x % 2][indices[x]];
    }
    CHistogram histogram;
    for (size_t i = 0; i < 256; ++i) {
        const CRGBQuad& entry = image.bitmapInfo.Palette()[i];
        const uint32_t count = counts[0][i] + counts[1][i];
        histogram.red[entry.rgbRed] += count;
        histogram.green[entry.rgbGreen] += count;
        histogram.blue[entry.rgbBlue] += count;
        if (luminance) {
            const uint8_t level = RoundedLuminance(entry.rgbRed, entry.rgbGreen, entry.rgbBlue);
            histogram.combined[level] += count;
        }
    }
    return histogram;
}

CHistogram Count(const CImageBits& image, bool luminance, int32_t firstRow, int32_t lastRow,
                 int32_t width) {
    if (image.bits.empty()) return {};
    const auto first = static_cast<size_t>(firstRow);
    const auto last = static_cast<size_t>(lastRow);
    const auto pixels = static_cast<size_t>(width);
    CHistogram histogram = image.bitmapInfo.BitCount() == 24
                               ? Count24(image, luminance, first, last, pixels)
                               : CountIndices(image, luminance, first, last, pixels);
    if (!luminance) {
        for (size_t i = 0; i < 256; ++i) {
            histogram.combined[i] = histogram.red[i] + histogram.green[i] + histogram.blue[i];
        }
    }
    return histogram;
}

}  // namespace

CHistogram CountLevels(const CImageBits& image, bool luminance) {
    return Count(image, luminance, 0, image.Height(), image.Width());
}

CHistogram CountLevelsInOpRect(const CImageBits& image, bool luminance) {
    const CSelectionRect& rect = image.opRect;
    return Count(image, luminance, rect.top, rect.bottom, rect.right - rect.left);
}

}  // namespace kestr
