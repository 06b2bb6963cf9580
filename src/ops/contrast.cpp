// Contrast: distances from the mean level are scaled; colours that leave the range go through the
// spill clamp at both depths.

#include <array>
#include <vector>

#include "ops/operation.h"
#include "ops/pixel8_ops.h"
#include "ops/pixel_format.h"
#include "ops/spill_map.h"
#include "platform/triple_means.h"
#include "platform/vector_clones.h"

namespace kestr {
namespace {

/// The mean of a sum of levels. The sum has 32 bits, and wraps in pictures of many bright pixels.
int32_t MeanOfSum(uint32_t sum, int32_t width, int32_t height) {
    const int64_t pixels = int64_t{width} * height;
    return pixels == 0 ? 0 : static_cast<int32_t>(static_cast<int32_t>(sum) / pixels);
}

/// Sum of the means of the channels of 24-bit pixels, or of the levels of 8-bit ones; of samples of
/// 16 bits, the high bytes.
template <typename Sample>
KESTR_INLINE uint32_t SumOfRow(const Sample* row, size_t pixels, int channels) {
    constexpr int kShift = 8 * (sizeof(Sample) - 1);
    uint32_t sum = 0;
    if (channels == 3) {
        for (size_t i = 0; i < pixels; ++i) {
            const auto level = static_cast<uint16_t>(
                (row[3 * i] >> kShift) + (row[3 * i + 1] >> kShift) + (row[3 * i + 2] >> kShift));
            // A third, exact up to 32767.
            sum += static_cast<uint16_t>(level * uint32_t{21846} >> 16);
        }
    } else {
        for (size_t i = 0; i < pixels; ++i) sum += row[i] >> kShift;
    }
    return sum;
}
KESTR_VECTOR_CLONES uint32_t SumRow(const uint8_t* row, size_t pixels, int channels) {
    return channels == 3 ? SumOfTripleMeans(row, pixels) : SumOfRow(row, pixels, channels);
}
KESTR_VECTOR_CLONES uint32_t SumRow(const uint16_t* row, size_t pixels, int channels) {
    return SumOfRow(row, pixels, channels);
}

template <typename Sample>
uint32_t SumOfLevels(const CPixelView<Sample>& pixels) {
    uint32_t sum = 0;
    for (int32_t y = 0; y < pixels.height; ++y) {
        sum += SumRow(pixels.Row(y), static_cast<size_t>(pixels.width), pixels.channels);
    }
    return sum;
}

/// The same of palette pixels of 4 or 8 bits (or fewer), each through its entry.
uint32_t SumOfEntries(const CBitmapInfo& info, const CPixelBytes& pixels) {
    std::array<uint32_t, 256> counts{};
    std::vector<uint8_t> indices(static_cast<size_t>(info.Width()));
    for (int32_t y = 0; y < info.Height(); ++y) {
        UnpackIndices(pixels.data() + static_cast<size_t>(y) * info.RowBytes(), info.BitCount(),
                      info.Width(), indices.data());
        for (const uint8_t index : indices) ++counts[index];
    }
    uint32_t sum = 0;
    for (size_t i = 0; i < counts.size(); ++i) {
        const CRGBQuad& entry = info.Palette()[i];
        sum +=
            counts[i] * (static_cast<uint32_t>(entry.rgbBlue + entry.rgbGreen + entry.rgbRed) / 3);
    }
    return sum;
}

/// t[i] = (i - mean) * (percent + 100) / 100 + mean, the product in double precision and truncated.
template <typename Sample>
CSpillMap<Sample> MakeContrastMap(int percent, int32_t mean) {
    constexpr size_t kLevels = size_t{1} << 8 * sizeof(Sample);
    const double factor = (percent + 100) / 100.0;
    std::vector<int32_t> table(kLevels);
    for (size_t i = 0; i < kLevels; ++i) {
        const int32_t distance = static_cast<int32_t>(i) - mean;
        table[i] = static_cast<int32_t>(distance * factor) + mean;
    }
    return CSpillMap<Sample>(std::move(table));
}

class ContrastOps final : public Pixel8Ops {
public:
    ContrastOps(int percent, int32_t mean) : m_map(MakeContrastMap<uint8_t>(percent, mean)) {}

    void ProcessPixels(const CPixelView<uint8_t>& pixels) const { m_map.Map(pixels); }
    void ProcessPixel24(uint8_t* pixel) const override { m_map.Colour(pixel); }
    [[nodiscard]] bool HandlesGrayIndices() const override { return true; }
    void ProcessGrayIndex(uint8_t& level) const override { level = m_map.Level(level); }
    void ProcessPaletteEntry(CRGBQuad& entry) const override { m_map.Colour(&entry.rgbBlue); }

private:
    CSpillMap<uint8_t> m_map;
};

}  // namespace

void CImageBits::OpContrast(int percent, int undo) {
    class COp final : public COperation {
    public:
        explicit COp(int percent) : m_percent(percent) {}
        void Apply16(CPixelWords& samples, int32_t width, int32_t height, int channels) override {
            const auto view = View16(samples, width, height, channels);
            const int32_t mean = MeanOfSum(SumOfLevels(view), width, height);
            MakeContrastMap<uint16_t>(m_percent, mean * 256).Map(view);
        }
        void Apply8(CPixelBytes& pixels, CBitmapInfo& info, bool gray) override {
            const uint32_t sum = info.BitCount() == 24 ? SumOfLevels(View8(pixels, info))
                                                       : SumOfEntries(info, pixels);
            const int32_t mean = MeanOfSum(sum, info.Width(), info.Height());
            RunPixel8Ops(info, pixels, gray, ContrastOps(m_percent, mean));
        }

    private:
        int m_percent;
    };
    if (bitmapInfo.BitCount() == 1) return;
    COp operation(percent);
    RunOperation(operation, undo);
}

}  // namespace kestr
