#include "ops/merge.h"

#include <algorithm>
#include <array>
#include <cstring>

#include "base/integer_root.h"
#include "platform/vector_clones.h"

namespace kestr {
namespace {

/// One sample of `keep` percent destination: exact for all differences.
KESTR_INLINE uint8_t Blend(uint8_t source, uint8_t destination, uint8_t keep) {
    const bool above = source > destination;
    const auto difference =
        static_cast<uint8_t>(above ? source - destination : destination - source);
    // (v * 5243) >> 19 is v / 100 for v below 43699.
    const auto product = static_cast<uint16_t>(uint16_t{difference} * uint16_t{keep});
    const auto scaled = static_cast<uint16_t>(product * uint32_t{5243} >> 16);
    const auto part = static_cast<uint8_t>(scaled >> 3);
    return static_cast<uint8_t>(above ? source - part : source + part);
}
KESTR_INLINE uint16_t Blend(uint16_t source, uint16_t destination, uint8_t keep) {
    const int32_t product = (int32_t{source} - destination) * keep;
    // The truncated hundredth, for every product up to 100 * 65535 of either sign.
    const auto part = static_cast<int32_t>(static_cast<float>(product) * 0.01F);
    return static_cast<uint16_t>(source - part);
}

template <typename Sample>
KESTR_INLINE void BlendEach(const Sample* source, Sample* destination, const uint8_t* keep,
                            size_t count) {
    for (size_t i = 0; i < count; ++i) destination[i] = Blend(source[i], destination[i], keep[i]);
}
KESTR_VECTOR_CLONES void BlendSamples(const uint8_t* source, uint8_t* destination,
                                      const uint8_t* keep, size_t count) {
    BlendEach(source, destination, keep, count);
}
KESTR_VECTOR_CLONES void BlendSamples(const uint16_t* source, uint16_t* destination,
                                      const uint8_t* keep, size_t count) {
    BlendEach(source, destination, keep, count);
}

/// Room for one percentage a sample of a row, and for what the last pixel writes behind it.
std::vector<uint8_t> MakeKeepRow(size_t width, size_t channels) {
    return std::vector<uint8_t>(width * channels + sizeof(uint32_t));
}

/// Blends pixels from `begin` to `end` of a row by `keepOf` each.
template <int kChannels, typename Sample, typename KeepOf>
void BlendRow(const Sample* source, Sample* destination, const KeepOf& keepOf, size_t begin,
              size_t end, std::vector<uint8_t>& keepOfSamples) {
    uint8_t* const keep = keepOfSamples.data();
    for (size_t x = begin; x < end; ++x) {
        if constexpr (kChannels == 1) {
            keep[x] = keepOf(x);
        } else {
            const uint32_t four = keepOf(x) * uint32_t{0x01010101};
            std::memcpy(keep + x * kChannels, &four, sizeof(four));
        }
    }
    BlendSamples(source + begin * kChannels, destination + begin * kChannels,
                 keep + begin * kChannels, (end - begin) * kChannels);
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
        for (uint32_t sum = 0; sum <= kSums; ++sum) {
            m_keep[sum] = static_cast<uint8_t>(std::min(100u, RoundedRoot(sum) + base));
        }
    }
    uint8_t operator[](uint32_t sum) const { return m_keep[std::min(sum, kSums)]; }

private:
    static constexpr uint32_t kSums = 10000;
    std::array<uint8_t, kSums + 1> m_keep;
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
    std::vector<uint8_t> keepOfSamples = MakeKeepRow(width, kChannels);
    for (int32_t y = 0; y < source.height; ++y) {
        const uint8_t* mask = rule.mask + static_cast<size_t>(y) * rule.maskStep;
        const auto keepOf = [&](size_t x) { return keepOfMask[mask[x]]; };
        BlendRow<kChannels>(source.Row(y), destination.Row(y), keepOf, 0, width, keepOfSamples);
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
    std::vector<uint8_t> keepOfSamples = MakeKeepRow(width, kChannels);
    for (int32_t y = 0; y < source.height; ++y) {
        const Sample* from = source.Row(y);
        Sample* to = destination.Row(y);
        const uint32_t rowTerm = rows[static_cast<size_t>(y)];
        const bool copyInner = rowTerm == 0 && base == 0;
        const size_t leftEnd = copyInner ? innerBegin : width;
        const auto keepOf = [&](size_t x) { return table[columns[x] + rowTerm]; };
        BlendRow<kChannels>(from, to, keepOf, 0, leftEnd, keepOfSamples);
        if (!copyInner) continue;
        std::copy(from + innerBegin * kChannels, from + innerEnd * kChannels,
                  to + innerBegin * kChannels);
        BlendRow<kChannels>(from, to, keepOf, innerEnd, width, keepOfSamples);
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
