#include "raw/neutral_estimate.h"

#include <algorithm>
#include <array>
#include <cstring>

namespace kestr {
namespace {

constexpr uint32_t kBlock = 4;          // pixels of a side
constexpr int kSaturatedDistance = 25;  // from white: a sample nearer than that is burnt out

/// The values divided by the largest of those that stand for light; 1.0 for all when none does.
std::vector<double> Scaled(std::vector<double> values, double largest) {
    if (largest > 0) {
        for (double& value : values) value /= largest;
    } else {
        std::ranges::fill(values, 1.0);
    }
    return values;
}

/// In how many blocks each pixel of a row lies that hold no saturated sample. Blocks overlap: each
/// place of a block is one. Rows are asked for from the top down.
class CBlockCounts {
public:
    CBlockCounts(const CRawSamples& samples, int limit)
        : m_samples(samples),
          m_limit(limit),
          m_burnt(kBlock * PaddedWidth(), 0),
          m_columnBlocks(kBlock * samples.width, 0),
          m_counts(samples.width, 0) {
        for (uint32_t y = 0; y + 1 < std::min(kBlock, samples.height); ++y) MarkBurnt(y);
    }

    /// 0..16 for each pixel of row `y`.
    const uint8_t* Row(uint32_t y) {
        // Blocks whose top row this is take the place of those that ended above it.
        uint8_t* columns = m_columnBlocks.data() + size_t{y % kBlock} * m_samples.width;
        std::memset(columns, 0, m_samples.width);
        if (m_samples.height > kBlock && y < m_samples.height - kBlock) {
            MarkBurnt(y + kBlock - 1);
            CountBlocks(columns);
        }
        for (size_t x = 0; x < m_samples.width; ++x) {
            uint8_t count = 0;
            for (size_t i = 0; i < kBlock; ++i) count += m_columnBlocks[i * m_samples.width + x];
            m_counts[x] = count;
        }
        return m_counts.data();
    }

private:
    /// Room for blocks that begin up to three columns before the picture or end behind it.
    [[nodiscard]] size_t PaddedWidth() const { return size_t{m_samples.width} + 2 * kBlock; }

    void MarkBurnt(uint32_t y) {
        uint8_t* burnt = m_burnt.data() + (y % kBlock) * PaddedWidth() + kBlock;
        const uint16_t* pixel = m_samples.Row(y);
        for (uint32_t x = 0; x < m_samples.width; ++x, pixel += m_samples.colors) {
            int largest = 0;
            for (int c = 0; c < m_samples.colors; ++c) largest = std::max(largest, int{pixel[c]});
            burnt[x] = largest > 0 && largest > m_limit;
        }
    }

    /// For each column, the sound blocks of the four rows marked last that it lies in.
    void CountBlocks(uint8_t* columns) {
        const size_t step = PaddedWidth();
        m_sound.assign(step, 0);
        if (m_samples.width <= kBlock) return;
        const uint8_t* burnt = m_burnt.data() + kBlock;
        uint8_t* sound = m_sound.data() + kBlock;
        for (size_t left = 0; left < m_samples.width - kBlock; ++left) {
            uint8_t any = 0;
            for (size_t row = 0; row < kBlock; ++row) {
                for (size_t i = 0; i < kBlock; ++i) any |= burnt[row * step + left + i];
            }
            sound[left] = any ^ 1;
        }
        for (size_t x = 0; x < m_samples.width; ++x) {
            uint8_t count = 0;
            for (size_t i = 0; i < kBlock; ++i) count += m_sound[kBlock + x - i];
            columns[x] = count;
        }
    }

    const CRawSamples& m_samples;
    int m_limit;                          // a sample above it is burnt out
    std::vector<uint8_t> m_burnt;         // of four rows, by pixel
    std::vector<uint8_t> m_sound;         // blocks by their left column
    std::vector<uint8_t> m_columnBlocks;  // of four rows of blocks, by column
    std::vector<uint8_t> m_counts;
};

struct CPlaneSum {
    uint64_t light = 0;  // above black
    uint64_t samples = 0;
};

}  // namespace

std::vector<double> EstimateNeutralFromSamples(const CRawSensorImage& image, uint16_t black,
                                               uint16_t white) {
    const CRawSamples& samples = image.samples;
    const uint8_t colors = samples.colors;
    CBlockCounts counts(samples, white - kSaturatedDistance);
    std::array<CPlaneSum, 4> sums;
    for (uint32_t y = 0; y < samples.height; ++y) {
        const uint8_t* blocks = counts.Row(y);
        const uint16_t* pixel = samples.Row(y);
        for (uint32_t x = 0; x < samples.width; ++x, pixel += colors) {
            for (uint8_t c = 0; c < colors; ++c) {
                if (pixel[c] == 0) continue;
                const int light = std::max(pixel[c] - black, 0);
                sums[c].light += static_cast<uint32_t>(light) * blocks[x];
                sums[c].samples += blocks[x];
            }
        }
    }
    std::vector<double> neutral(colors, 1.0);
    double largest = 0;
    for (size_t plane = 0; plane < colors; ++plane) {
        if (sums[plane].light == 0) continue;
        neutral[plane] =
            static_cast<double>(sums[plane].light) / static_cast<double>(sums[plane].samples);
        largest = std::max(largest, neutral[plane]);
    }
    return Scaled(std::move(neutral), largest);
}

std::vector<double> EstimateNeutralFromBox(const CRawSamples& samples, const CRawBox& box,
                                           uint16_t limit) {
    std::array<uint64_t, 4> sums{};
    const auto addAll = [&](uint16_t lower, uint16_t upper) {
        uint64_t pixels = 0;
        for (uint32_t y = box.y; y < box.y + box.height; ++y) {
            const uint16_t* pixel = samples.Pixel(y, box.x);
            for (uint32_t x = 0; x < box.width; ++x, pixel += samples.colors) {
                const auto [least, most] = std::minmax_element(pixel, pixel + samples.colors);
                if (*least < lower || *most > upper) continue;
                for (uint8_t c = 0; c < samples.colors; ++c) sums[c] += pixel[c];
                ++pixels;
            }
        }
        return pixels;
    };
    if (addAll(static_cast<uint16_t>(limit >> 4), limit) == 0) addAll(0, 65535);
    // The sums are the means but for a factor, which goes with the largest.
    std::vector<double> neutral(samples.colors);
    for (size_t c = 0; c < neutral.size(); ++c) neutral[c] = static_cast<double>(sums[c]);
    const double largest = std::ranges::max(neutral);
    return Scaled(std::move(neutral), largest);
}

}  // namespace kestr
