#include "raw/neutral_estimate.h"

#include <algorithm>
#include <array>
#include <utility>

#include "platform/vector_clones.h"
#include "raw/demosaic_rows.h"

namespace kestr {
namespace {

constexpr uint32_t kBlock = 4;      // pixels of a side
constexpr int kBurntDistance = 25;  // from white: a sample nearer than that is burnt out

/// The values divided by the largest of those that stand for light; 1.0 for all when none does.
std::vector<double> Scaled(std::vector<double> values, double largest) {
    if (largest > 0) {
        for (double& value : values) value /= largest;
    } else {
        std::ranges::fill(values, 1.0);
    }
    return values;
}

constexpr size_t kPeriod = 8;        // columns after which a filter pattern repeats
constexpr size_t kChunk = 32768;     // columns whose sums fit 32 bits
constexpr size_t kPad = 2 * kBlock;  // places before a row's first block and behind its last

KESTR_VECTOR_CLONES void MarkBurnt(const uint16_t* __restrict row, int limit, size_t width,
                                   uint8_t* __restrict burnt) {
    for (size_t x = 0; x < width; ++x) burnt[x] = row[x] > limit && row[x] != 0;
}

/// Which blocks of four rows, by their left column, hold no burnt pixel.
KESTR_VECTOR_CLONES void FindSoundBlocks(const std::array<const uint8_t*, kBlock>& burnt,
                                         size_t blocks, uint8_t* __restrict sound) {
    for (size_t x = 0; x < blocks; ++x) {
        uint8_t any = 0;
        for (size_t row = 0; row < kBlock; ++row) {
            for (size_t i = 0; i < kBlock; ++i) any |= burnt[row][x + i];
        }
        sound[x] = any ^ 1;
    }
}

/// In how many sound blocks of four rows of blocks each pixel lies. `sound` may be read before its
/// first place.
KESTR_VECTOR_CLONES void CountSoundBlocks(const std::array<const uint8_t*, kBlock>& sound,
                                          size_t width, uint8_t* __restrict counts) {
    for (size_t x = 0; x < width; ++x) {
        uint8_t count = 0;
        for (size_t row = 0; row < kBlock; ++row) {
            const uint8_t* const last = sound[row] + x;
            for (size_t i = 0; i < kBlock; ++i) count += *(last - i);
        }
        counts[x] = count;
    }
}

/// Light above black and samples, each as often as it counts, by column of the pattern.
struct CRowSums {
    std::array<uint32_t, kPeriod> light{};
    std::array<uint32_t, kPeriod> samples{};
};

/// `row` and `counts` are 0 behind the last pixel, up to a whole period.
KESTR_VECTOR_CLONES void AddRow(const uint16_t* __restrict row, const uint8_t* __restrict counts,
                                int black, size_t width, CRowSums& sums) {
    CRowSums all = sums;
    for (size_t x = 0; x < width; x += kPeriod) {
        for (size_t i = 0; i < kPeriod; ++i) {
            const int light = std::max(row[x + i] - black, 0) * counts[x + i];
            all.light[i] += static_cast<uint32_t>(light);
            all.samples[i] += row[x + i] != 0 ? counts[x + i] : 0;
        }
    }
    sums = all;
}

struct CPlaneSum {
    uint64_t light = 0;
    uint64_t samples = 0;
};

/// Adds up what all blocks without a burnt pixel hold. Blocks overlap: each place of a block is
/// one.
class CBlockSums {
public:
    CBlockSums(const CRawSensorImage& image, uint16_t black, uint16_t white)
        : m_image(image),
          m_black(black),
          m_limit(white - kBurntDistance),
          m_rowPlaces(image.samples.width + kPad + kPeriod),
          m_recorded(kBlock * m_rowPlaces),
          m_burnt(kBlock * m_rowPlaces),
          m_sound(kBlock * m_rowPlaces),
          m_counts(m_rowPlaces) {}

    std::array<CPlaneSum, 4> Run() {
        const CRawSamples& samples = m_image.samples;
        // Neither the last row nor the last column of blocks that would fit is looked at.
        if (samples.width <= kBlock || samples.height <= kBlock) return {};
        for (uint32_t y = 0; y + 1 < kBlock; ++y) Take(y);
        for (uint32_t y = 0; y < samples.height; ++y) {
            // What this overwrites has been added already.
            if (y + kBlock - 1 < samples.height) Take(y + kBlock - 1);
            // Blocks whose top row this is take the place of those that ended above it.
            std::fill_n(Row(m_sound, y), samples.width - kBlock, uint8_t{0});
            if (y < samples.height - kBlock) {
                FindSoundBlocks(
                    {Row(m_burnt, 0), Row(m_burnt, 1), Row(m_burnt, 2), Row(m_burnt, 3)},
                    samples.width - kBlock, Row(m_sound, y));
            }
            CountSoundBlocks({Row(m_sound, 0), Row(m_sound, 1), Row(m_sound, 2), Row(m_sound, 3)},
                             samples.width, m_counts.data());
            Add(y);
        }
        return m_sums;
    }

private:
    template <typename Value>
    Value* Row(std::vector<Value>& rows, uint32_t y) {
        return rows.data() + y % kBlock * m_rowPlaces + kBlock;
    }

    void Take(uint32_t y) {
        GatherRow(m_image, y, Row(m_recorded, y));
        MarkBurnt(Row(m_recorded, y), m_limit, m_image.samples.width, Row(m_burnt, y));
    }

    void Add(uint32_t y) {
        const size_t width = m_image.samples.width;
        for (size_t begin = 0; begin < width; begin += kChunk) {
            CRowSums sums;
            AddRow(Row(m_recorded, y) + begin, m_counts.data() + begin, m_black,
                   std::min(kChunk, width - begin), sums);
            for (uint32_t i = 0; i < kPeriod; ++i) {
                CPlaneSum& plane = m_sums[m_image.FC(y, i)];
                plane.light += sums.light[i];
                plane.samples += sums.samples[i];
            }
        }
    }

    const CRawSensorImage& m_image;
    int m_black;
    int m_limit;         // a sample above it is burnt out
    size_t m_rowPlaces;  // of the rows below
    std::vector<uint16_t> m_recorded;
    std::vector<uint8_t> m_burnt;
    std::vector<uint8_t> m_sound;
    std::vector<uint8_t> m_counts;
    std::array<CPlaneSum, 4> m_sums{};
};

}  // namespace

std::vector<double> EstimateNeutralFromSamples(const CRawSensorImage& image, uint16_t black,
                                               uint16_t white) {
    const std::array<CPlaneSum, 4> sums = CBlockSums(image, black, white).Run();
    std::vector<double> neutral(image.samples.colors, 1.0);
    double largest = 0;
    for (size_t plane = 0; plane < neutral.size(); ++plane) {
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
        uint64_t count = 0;
        for (uint32_t y = box.y; y < box.y + box.height; ++y) {
            const uint16_t* pixel = samples.Pixel(y, box.x);
            for (uint32_t x = 0; x < box.width; ++x, pixel += samples.colors) {
                const auto [least, most] = std::minmax_element(pixel, pixel + samples.colors);
                if (*least < lower || *most > upper) continue;
                for (uint8_t c = 0; c < samples.colors; ++c) sums[c] += pixel[c];
                ++count;
            }
        }
        return count;
    };
    uint64_t pixels = addAll(static_cast<uint16_t>(limit >> 4), limit);
    if (pixels == 0) pixels = addAll(0, 65535);
    std::vector<double> neutral(samples.colors);
    for (size_t c = 0; c < neutral.size(); ++c) {
        neutral[c] = pixels == 0 ? 0 : static_cast<double>(sums[c]) / static_cast<double>(pixels);
    }
    const double largest = std::ranges::max(neutral);
    return Scaled(std::move(neutral), largest);
}

}  // namespace kestr
