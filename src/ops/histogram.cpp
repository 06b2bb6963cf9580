#include "ops/histogram.h"

#include <algorithm>
#include <vector>

#include "base/luminance.h"
#include "ops/pixel_format.h"

namespace kestr {
namespace {

uint8_t RoundedLuminance(uint8_t red, uint8_t green, uint8_t blue) {
    return static_cast<uint8_t>(std::min(255u, (LuminanceSum(red, green, blue) + 127) >> 8));
}

/// Two sets of counters, for every other pixel each: neighbours are often alike, and a counter that
/// was just written takes a while to be read again.
struct CCounters {
    std::array<CHistogram, 2> sets;

    template <bool kLuminance>
    void Row24(const uint8_t* row, size_t pixels) {
        for (size_t i = 0; i < pixels; ++i, row += 3) {
            CHistogram& set = sets[i % 2];
            ++set.blue[row[0]];
            ++set.green[row[1]];
            ++set.red[row[2]];
            if constexpr (kLuminance) {
                ++set.combined[RoundedLuminance(row[2], row[1], row[0])];
            }
        }
    }
    [[nodiscard]] CHistogram Sum() const {
        CHistogram sum = sets[0];
        for (size_t i = 0; i < 256; ++i) {
            sum.combined[i] += sets[1].combined[i];
            sum.red[i] += sets[1].red[i];
            sum.green[i] += sets[1].green[i];
            sum.blue[i] += sets[1].blue[i];
        }
        return sum;
    }
};

CHistogram Count24(const CImageBits& image, bool luminance, size_t firstRow, size_t lastRow,
                   size_t pixels) {
    CCounters counters;
    for (size_t y = firstRow; y < lastRow; ++y) {
        const uint8_t* const row = image.bits.data() + y * image.RowBytes();
        luminance ? counters.Row24<true>(row, pixels) : counters.Row24<false>(row, pixels);
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
