// The separable filter resampler.
//
// Both passes are weighted sums of 16-bit numbers, two to a multiplication (platform/pair_sums.h):
// - rows: sixteen source rows at a time are turned so that the same column of all of them lies side
//   by side; a lane is a row;
// - columns: two rows of the horizontal pass are kept as one row of pairs; a lane is a column.
// Only the rows that the next destination row asks for are kept, and columns are done in strips, so
// that all of it stays in the cache.

#include "ops/filter_resampler.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <type_traits>
#include <utility>
#include <vector>

#include "ops/resample_kernels.h"
#include "platform/pair_sums.h"
#include "platform/vector_clones.h"

namespace kestr {
namespace {

constexpr int kRows = kPairLanes;        // source rows that the horizontal pass takes at once
constexpr int32_t kStripColumns = 1024;  // destination columns of a strip, at most
constexpr int32_t kStripPairs = 2048;    // pairs of source columns of a strip, if that holds one
constexpr size_t kSparePairRows = 32;    // rows of pairs kept beyond those that a sum needs
constexpr int kWeightBits = 14;

/// What is taken from a sample so that it fits a signed 16-bit number.
template <typename Sample>
constexpr uint32_t kBias = sizeof(Sample) == 2 ? 32768 : 0;

/// 16 bytes of samples.
template <typename Sample>
struct CBlock {
    static constexpr int kLanes = 16 / sizeof(Sample);
    using Type [[gnu::vector_size(16)]] = Sample;
};

/// One number for each lane of a sum.
using Lanes [[gnu::vector_size(kPairLanes * sizeof(uint32_t))]] = uint32_t;

template <typename Block, size_t... kLane>
KESTR_INLINE Block InterleaveLow(Block a, Block b, std::index_sequence<kLane...>) {
    return __builtin_shufflevector(a, b,
                                   (kLane % 2 == 0 ? kLane / 2 : sizeof...(kLane) + kLane / 2)...);
}
template <typename Block, size_t... kLane>
KESTR_INLINE Block InterleaveHigh(Block a, Block b, std::index_sequence<kLane...>) {
    constexpr size_t kHalf = sizeof...(kLane) / 2;
    return __builtin_shufflevector(
        a, b, (kHalf + (kLane % 2 == 0 ? kLane / 2 : sizeof...(kLane) + kLane / 2))...);
}

/// The matrix of as many blocks as a block has lanes becomes its transpose.
template <typename Sample>
KESTR_INLINE void Transpose(typename CBlock<Sample>::Type* blocks) {
    using Block = typename CBlock<Sample>::Type;
    constexpr int kLanes = CBlock<Sample>::kLanes;
    constexpr auto kIndices = std::make_index_sequence<kLanes>();
    for (int round = 1; round < kLanes; round *= 2) {
        Block next[kLanes];
        for (int i = 0; i < kLanes / 2; ++i) {
            next[2 * i] = InterleaveLow(blocks[i], blocks[i + kLanes / 2], kIndices);
            next[2 * i + 1] = InterleaveHigh(blocks[i], blocks[i + kLanes / 2], kIndices);
        }
        std::memcpy(blocks, next, sizeof(next));
    }
}

/// One pair of sixteen rows from the columns of its samples.
KESTR_INLINE void StorePairs(const uint8_t* first, const uint8_t* second, int32_t* pairs) {
    using Block = CBlock<uint8_t>::Type;
    constexpr auto kIndices = std::make_index_sequence<16>();
    Block a;
    Block b;
    std::memcpy(&a, first, sizeof(a));
    std::memcpy(&b, second, sizeof(b));
    const Block zero{};
    const Block low = InterleaveLow(a, b, kIndices);
    const Block high = InterleaveHigh(a, b, kIndices);
    const Block out[4] = {InterleaveLow(low, zero, kIndices), InterleaveHigh(low, zero, kIndices),
                          InterleaveLow(high, zero, kIndices),
                          InterleaveHigh(high, zero, kIndices)};
    std::memcpy(pairs, out, sizeof(out));
}
KESTR_INLINE void StorePairs(const uint16_t* first, const uint16_t* second, int32_t* pairs) {
    using Block = CBlock<uint16_t>::Type;
    constexpr auto kIndices = std::make_index_sequence<8>();
    Block a[2];
    Block b[2];
    std::memcpy(a, first, sizeof(a));
    std::memcpy(b, second, sizeof(b));
    Block out[4];
    for (int i = 0; i < 2; ++i) {
        a[i] ^= uint16_t{0x8000};
        b[i] ^= uint16_t{0x8000};
        out[2 * i] = InterleaveLow(a[i], b[i], kIndices);
        out[2 * i + 1] = InterleaveHigh(a[i], b[i], kIndices);
    }
    std::memcpy(pairs, out, sizeof(out));
}

template <typename Sample>
int32_t MakePair(Sample first, Sample second) {
    const uint32_t low = (first ^ kBias<Sample>)&0xFFFFU;
    return static_cast<int32_t>(low | (second ^ kBias<Sample>) << 16);
}

/// Pairs [begin, end) of columns of sixteen rows: for each pair and channel one lane a row.
template <int kChannels, typename Sample>
KESTR_INLINE void LoadPairs(const std::array<const Sample*, kRows>& rows, int32_t width,
                            int32_t begin, int32_t end, int32_t* pairs) {
    using Block = typename CBlock<Sample>::Type;
    constexpr int kLanes = CBlock<Sample>::kLanes;  // also the pixels of a tile
    constexpr int kSamples = kLanes * kChannels;
    int32_t pair = begin;
    for (; pair + kLanes / 2 <= end && 2 * pair + kLanes <= width; pair += kLanes / 2) {
        alignas(16) Sample columns[kSamples][kRows];
        for (int part = 0; part < kChannels; ++part) {
            for (int group = 0; group < kRows; group += kLanes) {
                Block blocks[kLanes];
                for (int i = 0; i < kLanes; ++i) {
                    const Sample* row = rows[static_cast<size_t>(group + i)];
                    std::memcpy(&blocks[i], row + ptrdiff_t{2} * pair * kChannels + part * kLanes,
                                sizeof(Block));
                }
                Transpose<Sample>(blocks);
                for (int i = 0; i < kLanes; ++i) {
                    std::memcpy(&columns[part * kLanes + i][group], &blocks[i], sizeof(Block));
                }
            }
        }
        for (int i = 0; i < kLanes / 2; ++i) {
            for (int c = 0; c < kChannels; ++c, pairs += kRows) {
                StorePairs(columns[2 * i * kChannels + c], columns[(2 * i + 1) * kChannels + c],
                           pairs);
            }
        }
    }
    for (; pair < end; ++pair) {
        // The partner of the last of an odd number of columns has no weight.
        const ptrdiff_t first = ptrdiff_t{2} * pair * kChannels;
        const ptrdiff_t second = 2 * pair + 1 < width ? first + kChannels : first;
        for (int c = 0; c < kChannels; ++c) {
            for (const Sample* row : rows) *pairs++ = MakePair(row[first + c], row[second + c]);
        }
    }
}

/// Turns the weighted sums of kPairLanes lanes into samples, in the biased form of pairs.
template <typename Sample>
KESTR_INLINE void FinishLanes(const int32_t* pairs, size_t step, const CContribution& taps,
                              int32_t* sums) {
    constexpr int32_t kMax = std::numeric_limits<Sample>::max();
    const bool firstIsOdd = taps.first % 2 != 0;
    const uint32_t bias = kBias<Sample> * taps.weightSum;
    int32_t values[kPairLanes];
    uint32_t unsure = 0;
    for (int i = 0; i < kPairLanes; ++i) {
        const uint32_t pair = static_cast<uint32_t>(pairs[i]);
        const auto first =
            static_cast<int32_t>(((firstIsOdd ? pair >> 16 : pair) & 0xFFFFU) ^ kBias<Sample>);
        const uint32_t sum = static_cast<uint32_t>(sums[i]) + bias;
        const int32_t value = std::min(std::max(static_cast<int32_t>(sum), 0) >> kWeightBits, kMax);
        // Equal samples come out as they are, though their weights do not make exactly one.
        const bool maybeEqual = sum == static_cast<uint32_t>(first) * taps.weightSum;
        unsure |= maybeEqual ? static_cast<uint32_t>(value ^ first) : 0U;
        values[i] = value;
    }
    if (unsure != 0) {
        Lanes expected;
        std::memcpy(&expected, pairs, sizeof(expected));
        expected = firstIsOdd ? expected >> 16 : expected & 0xFFFFU;
        expected |= expected << 16;
        Lanes different{};
        const size_t last = taps.PairCount() - 1;
        for (size_t k = 0; k <= last; ++k) {
            uint32_t mask = 0xFFFFFFFFU;
            if (k == 0 && firstIsOdd) mask &= 0xFFFF0000U;
            if (k == last && taps.last % 2 == 0) mask &= 0x0000FFFFU;
            Lanes pair;
            std::memcpy(&pair, pairs + k * step, sizeof(pair));
            different |= (pair ^ expected) & mask;
        }
        for (int i = 0; i < kPairLanes; ++i) {
            const auto first = static_cast<int32_t>((expected[i] & 0xFFFFU) ^ kBias<Sample>);
            values[i] = different[i] == 0 ? first : values[i];
        }
    }
    for (int i = 0; i < kPairLanes; ++i) sums[i] = values[i];
}

/// Sixteen rows of the horizontal pass as eight rows of pairs, `pairRowStep` apart.
template <int kChannels, typename Sample>
KESTR_INLINE void ReduceColumns(const int32_t* pairs, int32_t firstPair,
                                const CContributionList& columns, int32_t begin, int32_t end,
                                int32_t* pairRows, size_t pairRowStep) {
    constexpr size_t kStep = size_t{kRows} * kChannels;
    for (int32_t i = begin; i < end; ++i) {
        const CContribution& taps = columns[i];
        const int32_t* from = pairs + static_cast<size_t>(taps.FirstPair() - firstPair) * kStep;
        int32_t sums[kStep];
        SumPairs(from, kStep, columns.Weights(taps), taps.PairCount(), kStep, sums);
        for (int c = 0; c < kChannels; ++c) {
            int32_t* const values = sums + c * kRows;
            FinishLanes<Sample>(from + c * kRows, kStep, taps, values);
            int32_t* to =
                pairRows + static_cast<size_t>(i - begin) * kChannels + static_cast<size_t>(c);
            for (int row = 0; row < kRows; row += 2, to += pairRowStep) {
                *to = MakePair(static_cast<Sample>(values[row]),
                               static_cast<Sample>(values[row + 1]));
            }
        }
    }
}

/// One destination row of a strip from rows of pairs.
template <typename Sample>
KESTR_INLINE void ReduceRow(const int32_t* pairRows, size_t pairRowStep, const CContribution& taps,
                            const int32_t* weights, size_t samples, Sample* destination) {
    constexpr size_t kBlockLanes = size_t{4} * kPairLanes;
    for (size_t i = 0; i < samples; i += kBlockLanes) {
        int32_t sums[kBlockLanes];
        SumPairs(pairRows + i, pairRowStep, weights, taps.PairCount(), kBlockLanes, sums);
        Sample values[kBlockLanes];
        for (size_t lane = 0; lane < kBlockLanes; lane += kPairLanes) {
            FinishLanes<Sample>(pairRows + i + lane, pairRowStep, taps, sums + lane);
            for (size_t k = 0; k < kPairLanes; ++k) {
                values[lane + k] = static_cast<Sample>(sums[lane + k]);
            }
        }
        std::memcpy(destination + i, values, std::min(kBlockLanes, samples - i) * sizeof(Sample));
    }
}

/// The rows of pairs that are kept: those from m_first on, moved to the front when room runs out.
class CPairRows {
public:
    CPairRows(size_t samples, size_t mostPairsOfASum)
        : m_step((samples + 63) / 64 * 64), m_capacity(mostPairsOfASum + kSparePairRows) {
        m_pairs.ResizeZeroed(m_step * m_capacity);
    }
    [[nodiscard]] size_t Step() const { return m_step; }
    [[nodiscard]] int32_t End() const { return m_end; }
    int32_t* Row(int32_t pairRow) {
        return m_pairs.data() + static_cast<size_t>(pairRow - m_first) * m_step;
    }
    /// Room for `count` more rows; those before `firstNeeded` may go.
    int32_t* Append(int32_t firstNeeded, int32_t count) {
        if (static_cast<size_t>(m_end + count - m_first) > m_capacity) {
            const int32_t from = std::min(firstNeeded, m_end);
            std::memmove(m_pairs.data(), Row(from),
                         static_cast<size_t>(m_end - from) * m_step * sizeof(int32_t));
            m_first = from;
        }
        int32_t* const added = Row(m_end);
        m_end += count;
        return added;
    }
    /// Forgets everything and begins at a row of pairs.
    void Restart(int32_t pairRow) { m_first = m_end = pairRow; }

private:
    size_t m_step;
    size_t m_capacity;
    int32_t m_first = 0;
    int32_t m_end = 0;
    CPixelBuffer<int32_t> m_pairs;
};

/// All destination rows of destination columns [begin, end).
template <int kChannels, typename Sample>
KESTR_INLINE void ResampleStrip(const CPixelView<const Sample>& source,
                                const CPixelView<Sample>& destination,
                                const CContributionList& columns, const CContributionList& rows,
                                int32_t begin, int32_t end, CPixelBuffer<int32_t>& pairs,
                                CPairRows& pairRows) {
    constexpr int32_t kPairRows = kRows / 2;
    const int32_t firstPair = columns[begin].FirstPair();
    int32_t endPair = firstPair;
    for (int32_t i = begin; i < end; ++i) {
        endPair = std::max(endPair,
                           columns[i].FirstPair() + static_cast<int32_t>(columns[i].PairCount()));
    }
    const auto samples = static_cast<size_t>(end - begin) * kChannels;
    pairRows.Restart(rows[0].FirstPair());
    for (int32_t y = 0; y < rows.Size(); ++y) {
        const CContribution& taps = rows[y];
        const int32_t needed = taps.FirstPair() + static_cast<int32_t>(taps.PairCount());
        if (taps.FirstPair() >= pairRows.End()) pairRows.Restart(taps.FirstPair());
        while (pairRows.End() < needed) {
            std::array<const Sample*, kRows> batch;
            for (int i = 0; i < kRows; ++i) {
                batch[static_cast<size_t>(i)] =
                    source.Row(std::min(2 * pairRows.End() + i, source.height - 1));
            }
            LoadPairs<kChannels>(batch, source.width, firstPair, endPair, pairs.data());
            ReduceColumns<kChannels, Sample>(pairs.data(), firstPair, columns, begin, end,
                                             pairRows.Append(taps.FirstPair(), kPairRows),
                                             pairRows.Step());
        }
        ReduceRow(pairRows.Row(taps.FirstPair()), pairRows.Step(), taps, rows.Weights(taps),
                  samples, destination.Row(y) + ptrdiff_t{begin} * kChannels);
    }
}

KESTR_VECTOR_CLONES void ResampleStrip8(const CPixelView<const uint8_t>& source,
                                        const CPixelView<uint8_t>& destination,
                                        const CContributionList& columns,
                                        const CContributionList& rows, int32_t begin, int32_t end,
                                        CPixelBuffer<int32_t>& pairs, CPairRows& pairRows) {
    source.channels == 3
        ? ResampleStrip<3>(source, destination, columns, rows, begin, end, pairs, pairRows)
        : ResampleStrip<1>(source, destination, columns, rows, begin, end, pairs, pairRows);
}

KESTR_VECTOR_CLONES void ResampleStrip16(const CPixelView<const uint16_t>& source,
                                         const CPixelView<uint16_t>& destination,
                                         const CContributionList& columns,
                                         const CContributionList& rows, int32_t begin, int32_t end,
                                         CPixelBuffer<int32_t>& pairs, CPairRows& pairRows) {
    source.channels == 3
        ? ResampleStrip<3>(source, destination, columns, rows, begin, end, pairs, pairRows)
        : ResampleStrip<1>(source, destination, columns, rows, begin, end, pairs, pairRows);
}

/// One past the last destination column of the strip that begins at `begin`.
int32_t EndOfStrip(const CContributionList& columns, int32_t begin) {
    const int32_t mostEnd = columns[begin].FirstPair() + kStripPairs;
    int32_t end = begin + 1;
    while (end < columns.Size() && end - begin < kStripColumns &&
           columns[end].FirstPair() + static_cast<int32_t>(columns[end].PairCount()) <= mostEnd) {
        ++end;
    }
    return end;
}

size_t MostPairs(const CContributionList& list) {
    size_t most = 0;
    for (int32_t i = 0; i < list.Size(); ++i) most = std::max(most, list[i].PairCount());
    return most;
}

template <typename Sample>
void Resample(const CPixelView<const Sample>& source, const CPixelView<Sample>& destination,
              int method) {
    const CContributionList columns(source.width, destination.width, method);
    const CContributionList rows(source.height, destination.height, method);
    const auto channels = static_cast<size_t>(source.channels);
    const auto widest = static_cast<size_t>(std::min(kStripColumns, columns.Size()));
    CPixelBuffer<int32_t> pairs;
    pairs.ResizeUninitialized(std::max(MostPairs(columns), size_t{kStripPairs}) * channels * kRows);
    CPairRows pairRows(widest * channels, MostPairs(rows));
    for (int32_t begin = 0; begin < columns.Size();) {
        const int32_t end = EndOfStrip(columns, begin);
        if constexpr (sizeof(Sample) == 1) {
            ResampleStrip8(source, destination, columns, rows, begin, end, pairs, pairRows);
        } else {
            ResampleStrip16(source, destination, columns, rows, begin, end, pairs, pairRows);
        }
        begin = end;
    }
}

}  // namespace

void ResampleFiltered(const CPixelView<const uint8_t>& source,
                      const CPixelView<uint8_t>& destination, int method) {
    Resample(source, destination, method);
}

void ResampleFiltered(const CPixelView<const uint16_t>& source,
                      const CPixelView<uint16_t>& destination, int method) {
    Resample(source, destination, method);
}

}  // namespace kestr
