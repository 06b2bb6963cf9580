#include "ops/merge.h"

#include <algorithm>
#include <array>
#include <type_traits>

#include "base/integer_root.h"

namespace kestr {
namespace {

/// One sample of `keep` percent destination: exact for all differences of 16 bits.
template <typename Sample>
Sample Blend(Sample source, Sample destination, uint8_t keep) {
    const bool above = source > destination;
    const Sample difference = above ? static_cast<Sample>(source - destination)
                                    : static_cast<Sample>(destination - source);
    uint32_t part = 0;
    if constexpr (sizeof(Sample) == 1) {
        // (v * 5243) >> 19 is v / 100 for v below 43699.
        const auto product = static_cast<uint16_t>(difference * keep);
        part = (product * uint32_t{5243}) >> 19;
    } else {
        // Products stay below 2^24, so that a single divides them exactly enough to truncate.
        const auto product = static_cast<float>(static_cast<int32_t>(difference) * keep);
        part = static_cast<uint32_t>(static_cast<int32_t>(product / 100.0F));
    }
    return static_cast<Sample>(above ? source - part : source + part);
}

/// Blends pixels from `begin` to `end` of a row by one percentage a pixel.
template <int kChannels, typename Sample>
void BlendRow(const Sample* source, Sample* destination, const uint8_t* keep, size_t begin,
              size_t end, std::vector<uint8_t>& keepOfSamples) {
    for (size_t x = begin; x < end; ++x) {
        for (size_t c = 0; c < kChannels; ++c) keepOfSamples[x * kChannels + c] = keep[x];
    }
    const uint8_t* percent = keepOfSamples.data();
    for (size_t i = begin * kChannels; i < end * kChannels; ++i) {
        destination[i] = Blend(source[i], destination[i], percent[i]);
    }
}

/// What one distance to an edge adds to the square of the percentage kept. The feather is unsigned:
/// one below 0 is larger than every distance.
uint32_t EdgeTerm(int32_t distance, uint32_t feather) {
    if (static_cast<uint32_t>(distance) >= feather) return 0;
    const auto percent = static_cast<uint32_t>(
        (uint64_t{feather} - static_cast<uint32_t>(distance)) * 100 / feather);
    return percent * percent;
}

/// Sums of the terms of both edges of an axis, for each position on it.
std::vector<uint32_t> EdgeTerms(int32_t length, uint32_t feather) {
    std::vector<uint32_t> terms(static_cast<size_t>(length));
    for (int32_t i = 0; i < length; ++i) {
        terms[static_cast<size_t>(i)] = EdgeTerm(i, feather) + EdgeTerm(length - i, feather);
    }
    return terms;
}

/// min(100, rounded root of the sum + base) for sums below 10000; from there on it is 100.
class CKeepTable {
public:
    explicit CKeepTable(uint32_t base) {
        for (uint32_t sum = 0; sum < kSums; ++sum) {
            m_keep[sum] = static_cast<uint8_t>(std::min(100u, RoundedRoot(sum) + base));
        }
    }
    uint8_t operator[](uint32_t sum) const { return sum < kSums ? m_keep[sum] : uint8_t{100}; }

private:
    static constexpr uint32_t kSums = 10000;
    std::array<uint8_t, kSums> m_keep;
};

template <int kChannels, typename Sample>
void MergeMasked(const CPixelView<const Sample>& source, const CPixelView<Sample>& destination,
                 const CMergeRule& rule) {
    std::array<uint8_t, 256> keepOfMask{};
    for (size_t m = 0; m < keepOfMask.size(); ++m) {
        const size_t share = rule.opacity * m / 255;
        keepOfMask[m] = static_cast<uint8_t>(100 - share * 100 / 255);
    }
    const auto width = static_cast<size_t>(source.width);
    std::vector<uint8_t> keep(width);
    std::vector<uint8_t> keepOfSamples(width * kChannels);
    for (int32_t y = 0; y < source.height; ++y) {
        const uint8_t* mask = rule.mask + static_cast<size_t>(y) * rule.maskStep;
        for (size_t x = 0; x < width; ++x) keep[x] = keepOfMask[mask[x]];
        BlendRow<kChannels>(source.Row(y), destination.Row(y), keep.data(), 0, width,
                            keepOfSamples);
    }
}

template <int kChannels, typename Sample>
void MergeFeathered(const CPixelView<const Sample>& source, const CPixelView<Sample>& destination,
                    const CMergeRule& rule) {
    const auto feather = static_cast<uint32_t>(int32_t{rule.feather});
    const auto base = static_cast<uint32_t>((255 - rule.opacity) * 100 / 255);
    const CKeepTable table(base);
    const std::vector<uint32_t> columns = EdgeTerms(source.width, feather);
    const std::vector<uint32_t> rows = EdgeTerms(source.height, feather);
    // Between the two edges of a row that lies between them itself, the source stands alone.
    const auto isZero = [](uint32_t term) { return term == 0; };
    const auto firstZero = std::ranges::find_if(columns, isZero);
    const auto width = static_cast<size_t>(source.width);
    const auto innerBegin = static_cast<size_t>(firstZero - columns.begin());
    const auto innerEnd =
        static_cast<size_t>(std::find_if_not(firstZero, columns.end(), isZero) - columns.begin());
    std::vector<uint8_t> keep(width);
    std::vector<uint8_t> keepOfSamples(width * kChannels);
    for (int32_t y = 0; y < source.height; ++y) {
        const Sample* from = source.Row(y);
        Sample* to = destination.Row(y);
        const uint32_t rowTerm = rows[static_cast<size_t>(y)];
        const bool copyInner = rowTerm == 0 && base == 0;
        const size_t leftEnd = copyInner ? innerBegin : width;
        for (size_t x = 0; x < leftEnd; ++x) keep[x] = table[columns[x] + rowTerm];
        BlendRow<kChannels>(from, to, keep.data(), 0, leftEnd, keepOfSamples);
        if (!copyInner) continue;
        std::copy(from + innerBegin * kChannels, from + innerEnd * kChannels,
                  to + innerBegin * kChannels);
        for (size_t x = innerEnd; x < width; ++x) keep[x] = table[columns[x]];
        BlendRow<kChannels>(from, to, keep.data(), innerEnd, width, keepOfSamples);
    }
}

template <typename Sample>
void MergeSamples(const CPixelView<const Sample>& source, const CPixelView<Sample>& destination,
                  const CMergeRule& rule) {
    if (source.width <= 0 || source.height <= 0) return;
    const bool colour = source.channels == 3;
    if (rule.mask != nullptr) {
        colour ? MergeMasked<3>(source, destination, rule)
               : MergeMasked<1>(source, destination, rule);
    } else if (rule.feather == 0 && rule.opacity == 255) {
        CopyPixels(source, destination);
    } else {
        colour ? MergeFeathered<3>(source, destination, rule)
               : MergeFeathered<1>(source, destination, rule);
    }
}

}  // namespace

void Merge(const CPixelView<const uint8_t>& source, const CPixelView<uint8_t>& destination,
           const CMergeRule& rule) {
    MergeSamples(source, destination, rule);
}

void Merge(const CPixelView<const uint16_t>& source, const CPixelView<uint16_t>& destination,
           const CMergeRule& rule) {
    MergeSamples(source, destination, rule);
}

}  // namespace kestr
