#include "ops/block_reducer.h"

#include <algorithm>
#include <cstring>
#include <type_traits>
#include <vector>

#include "ops/pixel_format.h"
#include "platform/vector_clones.h"

namespace kestr {
namespace {

/// The source positions [begin, end) of each block of an axis; a block may be empty.
struct CBlocks {
    CBlocks(int32_t sourceSize, int32_t destinationSize) {
        const double scale = static_cast<double>(destinationSize) / sourceSize;
        begin.reserve(static_cast<size_t>(destinationSize));
        end.reserve(static_cast<size_t>(destinationSize));
        for (int32_t i = 0; i < destinationSize; ++i) {
            const auto first = std::max(static_cast<int32_t>(i / scale), 0);
            const auto past = std::min(static_cast<int32_t>((i + 1.0) / scale), sourceSize);
            begin.push_back(std::min(first, sourceSize));
            end.push_back(std::max(past, begin.back()));
        }
    }
    [[nodiscard]] int32_t Size() const { return static_cast<int32_t>(begin.size()); }

    std::vector<int32_t> begin;
    std::vector<int32_t> end;
};

/// Adds a row to sums, `count` samples.
template <typename Sum, typename Sample>
KESTR_INLINE void AddRow(const Sample* row, size_t count, Sum* sums) {
    for (size_t i = 0; i < count; ++i) sums[i] = static_cast<Sum>(sums[i] + row[i]);
}

// Sums of a block: 8-bit samples cannot overflow what a picture holds, 16-bit ones wrap.
template <typename Sample>
using CBlockSum = std::conditional_t<sizeof(Sample) == 1, uint64_t, uint32_t>;

template <int kChannels, typename Sample>
KESTR_INLINE void AverageColumns(const uint32_t* sums, const CBlocks& columns, int32_t rows,
                                 Sample* destination) {
    for (size_t x = 0; x < columns.begin.size(); ++x) {
        const int32_t begin = columns.begin[x];
        const int32_t end = columns.end[x];
        CBlockSum<Sample> total[kChannels] = {};
        for (int32_t i = begin; i < end; ++i) {
            for (int c = 0; c < kChannels; ++c) total[c] += sums[i * kChannels + c];
        }
        const double count = static_cast<double>(end - begin) * rows;
        for (int c = 0; c < kChannels; ++c) {
            // Both numbers are far below 2^53: the quotient never rounds up to a whole number.
            *destination++ = count > 0
                                 ? static_cast<Sample>(static_cast<int32_t>(
                                       static_cast<double>(static_cast<int64_t>(total[c])) / count))
                                 : Sample{0};
        }
    }
}

/// Adds rows of source samples to `sums` by way of 16-bit sums, which are twice as quick to make.
KESTR_INLINE void AddRows(const CPixelView<const uint8_t>& source, int32_t begin, int32_t end,
                          uint16_t* part, uint32_t* sums) {
    constexpr int32_t kMostRows = 257;  // 257 * 255 = 65535
    const size_t count = source.RowSamples();
    for (int32_t first = begin; first < end; first += kMostRows) {
        const int32_t past = std::min(first + kMostRows, end);
        for (size_t i = 0; i < count; ++i) part[i] = source.Row(first)[i];
        for (int32_t y = first + 1; y < past; ++y) AddRow(source.Row(y), count, part);
        AddRow(part, count, sums);
    }
}
KESTR_INLINE void AddRows(const CPixelView<const uint16_t>& source, int32_t begin, int32_t end,
                          uint16_t*, uint32_t* sums) {
    for (int32_t y = begin; y < end; ++y) AddRow(source.Row(y), source.RowSamples(), sums);
}

template <typename Sample>
KESTR_INLINE void Average(const CPixelView<const Sample>& source,
                          const CPixelView<Sample>& destination, const CBlocks& columns,
                          const CBlocks& rows, uint16_t* part, uint32_t* sums) {
    for (int32_t y = 0; y < destination.height; ++y) {
        const int32_t begin = rows.begin[static_cast<size_t>(y)];
        const int32_t end = rows.end[static_cast<size_t>(y)];
        std::memset(sums, 0, source.RowSamples() * sizeof(uint32_t));
        AddRows(source, begin, end, part, sums);
        source.channels == 3 ? AverageColumns<3>(sums, columns, end - begin, destination.Row(y))
                             : AverageColumns<1>(sums, columns, end - begin, destination.Row(y));
    }
}

KESTR_VECTOR_CLONES void Average8(const CPixelView<const uint8_t>& source,
                                  const CPixelView<uint8_t>& destination, const CBlocks& columns,
                                  const CBlocks& rows, uint16_t* part, uint32_t* sums) {
    Average(source, destination, columns, rows, part, sums);
}

KESTR_VECTOR_CLONES void Average16(const CPixelView<const uint16_t>& source,
                                   const CPixelView<uint16_t>& destination, const CBlocks& columns,
                                   const CBlocks& rows, uint16_t* part, uint32_t* sums) {
    Average(source, destination, columns, rows, part, sums);
}

const uint8_t* RowFromTop(const CPixelBytes& pixels, const CBitmapInfo& info, int32_t y) {
    return pixels.data() +
           static_cast<size_t>(info.Height() - 1 - y) * static_cast<size_t>(info.RowBytes());
}

/// One byte a pixel of a row: its bit, or the blue of its colour.
void BlueOfRow(const uint8_t* row, const CBitmapInfo& info, uint8_t* values) {
    const auto width = static_cast<size_t>(info.Width());
    if (info.BitCount() == 24) {
        for (size_t x = 0; x < width; ++x) values[x] = row[3 * x];
        return;
    }
    UnpackIndices(row, info.BitCount(), info.Width(), values);
    if (info.BitCount() == 1) return;
    for (size_t x = 0; x < width; ++x) values[x] = info.Palette()[values[x]].rgbBlue;
}

}  // namespace

void AverageBlocks(const CPixelView<const uint8_t>& source,
                   const CPixelView<uint8_t>& destination) {
    std::vector<uint16_t> part(source.RowSamples());
    std::vector<uint32_t> sums(source.RowSamples());
    Average8(source, destination, CBlocks(source.width, destination.width),
             CBlocks(source.height, destination.height), part.data(), sums.data());
}

void AverageBlocks(const CPixelView<const uint16_t>& source,
                   const CPixelView<uint16_t>& destination) {
    std::vector<uint32_t> sums(source.RowSamples());
    Average16(source, destination, CBlocks(source.width, destination.width),
              CBlocks(source.height, destination.height), nullptr, sums.data());
}

void AverageBits(const CPixelBytes& pixels, const CBitmapInfo& info,
                 const CPixelView<uint8_t>& destination) {
    const CBlocks columns(info.Width(), destination.width);
    const CBlocks rows(info.Height(), destination.height);
    std::vector<uint8_t> bits(static_cast<size_t>(info.Width()));
    std::vector<uint32_t> sums(bits.size());
    for (size_t y = 0; y < rows.begin.size(); ++y) {
        std::fill(sums.begin(), sums.end(), 0);
        for (int32_t row = rows.begin[y]; row < rows.end[y]; ++row) {
            UnpackIndices(RowFromTop(pixels, info, row), 1, info.Width(), bits.data());
            AddRow(bits.data(), bits.size(), sums.data());
        }
        uint8_t* const to = destination.Row(static_cast<int32_t>(y));
        for (size_t x = 0; x < columns.begin.size(); ++x) {
            uint64_t total = 0;
            for (int32_t i = columns.begin[x]; i < columns.end[x]; ++i) {
                total += sums[static_cast<size_t>(i)];
            }
            const double count = static_cast<double>(columns.end[x] - columns.begin[x]) *
                                 (rows.end[y] - rows.begin[y]);
            to[x] = count > 0 ? static_cast<uint8_t>(static_cast<double>(total) / count * 255.0)
                              : uint8_t{0};
        }
    }
}

void CombineBlocks(const CPixelBytes& pixels, const CBitmapInfo& info, CBlockRule rule,
                   CPixelBytes& scaled, const CBitmapInfo& scaledInfo) {
    const CBlocks columns(info.Width(), scaledInfo.Width());
    const CBlocks rows(info.Height(), scaledInfo.Height());
    const bool isAnd = rule == CBlockRule::And;
    const auto start = static_cast<uint8_t>(isAnd ? 1 : 0);
    std::vector<uint8_t> values(static_cast<size_t>(info.Width()));
    std::vector<uint8_t> combined(values.size());
    std::vector<uint8_t> bits(static_cast<size_t>(scaledInfo.Width()));
    std::memset(scaled.data(), 0, scaled.size());
    for (size_t y = 0; y < rows.begin.size(); ++y) {
        std::fill(combined.begin(), combined.end(), start);
        for (int32_t row = rows.begin[y]; row < rows.end[y]; ++row) {
            BlueOfRow(RowFromTop(pixels, info, row), info, values.data());
            for (size_t x = 0; x < values.size(); ++x) {
                isAnd ? combined[x] &= values[x] : combined[x] |= values[x];
            }
        }
        const bool emptyRows = rows.begin[y] == rows.end[y];
        for (size_t x = 0; x < bits.size(); ++x) {
            uint8_t bit = start;
            for (int32_t i = columns.begin[x]; i < columns.end[x] && !emptyRows; ++i) {
                const uint8_t value = combined[static_cast<size_t>(i)];
                isAnd ? bit &= value : bit |= value;
            }
            bits[x] = bit != 0 ? 1 : 0;
        }
        PackIndices(bits.data(), 1, scaledInfo.Width(),
                    const_cast<uint8_t*>(RowFromTop(scaled, scaledInfo, static_cast<int32_t>(y))));
    }
}

}  // namespace kestr
