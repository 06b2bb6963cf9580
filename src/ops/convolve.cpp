// Convolution with a caller's matrix; sharpen and soften as fixed ones.

#include <algorithm>
#include <array>
#include <cstdlib>
#include <limits>
#include <numeric>
#include <type_traits>
#include <utility>
#include <vector>

#include "ops/operation.h"
#include "ops/pixel_view.h"
#include "ops/row_band.h"
#include "platform/wide_vectors.h"

namespace kestr {
namespace {

/// A matrix of weights around a pixel. Sums of weights and samples wrap at 32 bits, as they always
/// did; unsigned numbers hold them.
struct CKernel {
    int32_t firstColumn = 0;  // offset of the first column of weights from the pixel
    int32_t firstRow = 0;
    int32_t columns = 0;
    int32_t rows = 0;
    std::vector<int32_t> weights;  // column by column
    uint32_t sum = 0;              // of all weights, also those left out
    bool whole = true;             // none is left out

    [[nodiscard]] int32_t At(int32_t column, int32_t row) const {
        return weights[static_cast<size_t>(column) * static_cast<size_t>(rows) +
                       static_cast<size_t>(row)];
    }
    /// What sums are divided by: the size of the sum, at least 1.
    [[nodiscard]] int32_t Divisor() const {
        const uint32_t size = static_cast<int32_t>(sum) < 0 ? 0u - sum : sum;
        return std::max(static_cast<int32_t>(size), 1);
    }
    /// The sum of the weights' sizes.
    [[nodiscard]] uint64_t Size() const {
        uint64_t size = 0;
        for (const int32_t weight : weights) size += static_cast<uint64_t>(std::abs(weight));
        return size;
    }
};

/// A kernel of `width` columns and `height` rows from its weights in the order of the walk, column
/// by column. Weights that lie outside a picture of the given size whatever the pixel are left out:
/// there the centre pixel serves, and for that their sum is enough.
template <typename WeightAt>
CKernel MakeKernel(int32_t width, int32_t height, int32_t pictureWidth, int32_t pictureHeight,
                   const WeightAt& weightAt) {
    CKernel kernel;
    if (width <= 0 || height <= 0) return kernel;
    const int32_t centreColumn = width / 2;
    const int32_t centreRow = height / 2;
    const int32_t left = std::max(0, centreColumn - (pictureWidth - 1));
    const int32_t right =
        static_cast<int32_t>(std::min<int64_t>(width, int64_t{centreColumn} + pictureWidth));
    const int32_t top = std::max(0, centreRow - (pictureHeight - 1));
    const int32_t bottom =
        static_cast<int32_t>(std::min<int64_t>(height, int64_t{centreRow} + pictureHeight));
    kernel.firstColumn = left - centreColumn;
    kernel.firstRow = top - centreRow;
    kernel.columns = right - left;
    kernel.rows = bottom - top;
    kernel.whole = kernel.columns == width && kernel.rows == height;
    kernel.weights.reserve(static_cast<size_t>(kernel.columns) * static_cast<size_t>(kernel.rows));
    size_t place = 0;
    for (int32_t column = 0; column < width; ++column) {
        for (int32_t row = 0; row < height; ++row, ++place) {
            const int32_t weight = weightAt(place);
            kernel.sum += static_cast<uint32_t>(weight);
            if (column >= left && column < right && row >= top && row < bottom) {
                kernel.weights.push_back(weight);
            }
        }
    }
    return kernel;
}

/// Takes a common divisor out of the weights and of what the sums are divided by, and returns what
/// is left of the latter. As long as no sum wraps, nothing changes; smaller weights are quicker.
int32_t DivideByCommonDivisor(CKernel& kernel, int32_t largestSample) {
    const int32_t divisor = kernel.Divisor();
    const uint64_t room =
        static_cast<uint64_t>(std::numeric_limits<int32_t>::max() / largestSample);
    if (!kernel.whole || kernel.Size() > room) return divisor;
    int32_t common = divisor;
    for (const int32_t weight : kernel.weights) common = std::gcd(common, weight);
    for (int32_t& weight : kernel.weights) weight /= common;
    kernel.sum = static_cast<uint32_t>(static_cast<int32_t>(kernel.sum) / common);
    return divisor / common;
}

template <typename Sample>
class CConvolution {
public:
    /// `bias` is added to each channel after the division.
    CConvolution(const CPixelView<Sample>& view, const CKernel& kernel,
                 const std::array<uint16_t, 3>& bias)
        : m_view(view),
          m_kernel(kernel),
          m_divisor(DivideByCommonDivisor(m_kernel, kLargest)),
          m_channels(static_cast<size_t>(view.channels)),
          m_source(std::min(-kernel.firstRow + 1, std::max(view.height, 1)), view.RowSamples()),
          m_insideBefore(static_cast<size_t>(kernel.columns) + 1) {
        for (size_t i = 0; i < m_bias.size(); ++i) m_bias[i] = bias[i % m_channels];
        const bool oneBias = m_channels == 1 || (bias[0] == bias[1] && bias[1] == bias[2]);
        m_three = oneBias && kernel.columns == 3 && kernel.rows == 3 && kernel.firstRow == -1 &&
                  kernel.firstColumn == -1 && m_kernel.Size() * kLargest < (uint64_t{1} << 24);
        m_threeInWords = m_three && m_kernel.Size() * kLargest <= 32767;
    }

    void Run();

    /// Row `y`; the rows above it are overwritten already.
    KESTR_INLINE_LOOP void DoRow(int32_t y) {
        m_y = y;
        std::copy_n(m_view.Row(y), m_view.RowSamples(), m_source.Row(y));
        FindInside();
        if (m_three && y > 0 && y < m_view.height - 1 && m_view.width > 2) {
            DoColumns(0, 1);
            DoColumns(m_view.width - 1, m_view.width);
            DoInnerColumns();
        } else {
            DoColumns(0, m_view.width);
        }
    }

private:
    static constexpr int32_t kLargest = std::numeric_limits<Sample>::max();
    static constexpr int32_t kBlock = 256;  // pixels

    /// A row as it was.
    const Sample* SourceRow(int32_t y) { return y > m_y ? m_view.Row(y) : m_source.Row(y); }

    /// Which rows of the kernel lie in the picture, and the running sums of their columns.
    void FindInside() {
        const int32_t first = std::max(0, -(m_y + m_kernel.firstRow));
        const int32_t last = std::min(m_kernel.rows, m_view.height - m_y - m_kernel.firstRow);
        if (first == m_firstInside && last == m_lastInside) return;
        m_firstInside = first;
        m_lastInside = last;
        uint32_t sum = 0;
        for (int32_t column = 0; column < m_kernel.columns; ++column) {
            for (int32_t row = first; row < last; ++row) {
                sum += static_cast<uint32_t>(m_kernel.At(column, row));
            }
            m_insideBefore[static_cast<size_t>(column) + 1] = sum;
        }
    }
    /// The sum of the weights that find no pixel around column `x`.
    [[nodiscard]] uint32_t OutsideWeight(int32_t x) const {
        const int32_t first = std::max(0, -(x + m_kernel.firstColumn));
        const int32_t last = std::min(m_kernel.columns, m_view.width - x - m_kernel.firstColumn);
        if (first >= last) return m_kernel.sum;
        return m_kernel.sum - (m_insideBefore[static_cast<size_t>(last)] -
                               m_insideBefore[static_cast<size_t>(first)]);
    }

    /// Any kernel, any columns.
    KESTR_INLINE_LOOP void DoColumns(int32_t begin, int32_t end) {
        std::array<uint32_t, size_t{3} * kBlock> sums;
        for (int32_t left = begin; left < end; left += kBlock) {
            const int32_t right = std::min(left + kBlock, end);
            const Sample* centre = SourceRow(m_y) + static_cast<size_t>(left) * m_channels;
            for (size_t i = 0, x = 0; x < static_cast<size_t>(right - left); ++x) {
                const uint32_t weight = OutsideWeight(left + static_cast<int32_t>(x));
                for (size_t channel = 0; channel < m_channels; ++channel, ++i) {
                    sums[i] = weight * centre[i];
                }
            }
            for (int32_t row = m_firstInside; row < m_lastInside; ++row) {
                AddRow(row, left, right, sums.data());
            }
            Finish(sums.data(), static_cast<size_t>(right - left) * m_channels,
                   m_view.Row(m_y) + static_cast<size_t>(left) * m_channels);
        }
    }
    KESTR_INLINE_LOOP void AddRow(int32_t row, int32_t left, int32_t right, uint32_t* sums) {
        const Sample* source = SourceRow(m_y + m_kernel.firstRow + row);
        for (int32_t column = 0; column < m_kernel.columns; ++column) {
            const auto weight = static_cast<uint32_t>(m_kernel.At(column, row));
            const int32_t offset = m_kernel.firstColumn + column;
            const int32_t begin = std::max(left, -offset);
            const int32_t end = std::min(right, m_view.width - offset);
            if (weight == 0 || begin >= end) continue;
            const Sample* from = source + static_cast<size_t>(begin + offset) * m_channels;
            uint32_t* to = sums + static_cast<size_t>(begin - left) * m_channels;
            const size_t count = static_cast<size_t>(end - begin) * m_channels;
            for (size_t i = 0; i < count; ++i) to[i] += weight * from[i];
        }
    }
    KESTR_INLINE_LOOP void Finish(const uint32_t* sums, size_t count, Sample* to) {
        // Doubles hold all sums, and a quotient that is no whole number differs from the next by
        // more than they round: truncation is that of the integers.
        const double divisor = m_divisor;
        for (size_t i = 0; i < count; ++i) {
            const auto quotient = static_cast<int32_t>(static_cast<int32_t>(sums[i]) / divisor);
            const auto biased = static_cast<int32_t>(static_cast<uint32_t>(quotient) +
                                                     static_cast<uint32_t>(m_bias[i]));
            to[i] = static_cast<Sample>(std::clamp(biased, 0, kLargest));
        }
    }

    /// A 3 x 3 kernel of small weights: all columns but the first and the last.
    KESTR_INLINE_LOOP void DoInnerColumns() {
        const Sample* above = SourceRow(m_y - 1) + m_channels;
        const Sample* here = SourceRow(m_y) + m_channels;
        const Sample* below = SourceRow(m_y + 1) + m_channels;
        Sample* to = m_view.Row(m_y) + m_channels;
        const size_t count = static_cast<size_t>(m_view.width - 2) * m_channels;
        if (!m_threeInWords) {
            // Single precision holds all sums, and quotients as above.
            InnerColumns<float, false>(above, here, below, count, to);
        } else if (m_divisor == 1) {
            InnerColumns<int16_t, false>(above, here, below, count, to);
        } else {
            InnerColumns<int16_t, true>(above, here, below, count, to);
        }
    }
    template <typename Sum, bool kDivideWords>
    KESTR_INLINE_LOOP void InnerColumns(const Sample* above, const Sample* here,
                                        const Sample* below, size_t count, Sample* __restrict to) {
        Sum w[9];
        for (int32_t i = 0; i < 9; ++i) w[i] = static_cast<Sum>(m_kernel.At(i % 3, i / 3));
        const auto step = static_cast<ptrdiff_t>(m_channels);
        const int32_t bias = m_bias[0];
        const auto divisor = static_cast<float>(m_divisor);
        const float reciprocal = 1.0f / divisor;
        for (ptrdiff_t i = 0; i < static_cast<ptrdiff_t>(count); ++i) {
            const auto sum = static_cast<Sum>(
                w[0] * static_cast<Sum>(above[i - step]) + w[1] * static_cast<Sum>(above[i]) +
                w[2] * static_cast<Sum>(above[i + step]) + w[3] * static_cast<Sum>(here[i - step]) +
                w[4] * static_cast<Sum>(here[i]) + w[5] * static_cast<Sum>(here[i + step]) +
                w[6] * static_cast<Sum>(below[i - step]) + w[7] * static_cast<Sum>(below[i]) +
                w[8] * static_cast<Sum>(below[i + step]));
            int32_t quotient;
            if constexpr (std::is_same_v<Sum, float>) {
                quotient = static_cast<int32_t>(sum / divisor);
            } else if constexpr (kDivideWords) {
                // Half a unit away from zero keeps exact multiples from falling below: it is more
                // than the reciprocal's error for all sums of 16 bits, and never reaches the next
                // multiple.
                const float half = sum < 0 ? -0.5f : 0.5f;
                quotient = static_cast<int32_t>((static_cast<float>(sum) + half) * reciprocal);
            } else {
                quotient = sum;
            }
            to[i] = static_cast<Sample>(std::clamp(quotient + bias, 0, kLargest));
        }
    }

    const CPixelView<Sample> m_view;
    CKernel m_kernel;
    const int32_t m_divisor;
    const size_t m_channels;
    CRowBand<Sample> m_source;             // rows as they were, from the kernel's first on
    std::vector<uint32_t> m_insideBefore;  // by column: sum of the weights of the columns before
    std::array<int32_t, size_t{3} * kBlock> m_bias{};  // of a block's samples
    bool m_three = false;                              // DoInnerColumns() serves
    bool m_threeInWords = false;                       // with sums of 16 bits
    int32_t m_y = 0;
    int32_t m_firstInside = -1;
    int32_t m_lastInside = -1;
};

template <typename Sample>
void DoRowPlain(CConvolution<Sample>& convolution, int32_t y) {
    convolution.DoRow(y);
}
template <typename Sample>
KESTR_WIDE_VECTORS void DoRowWide(CConvolution<Sample>& convolution, int32_t y) {
    convolution.DoRow(y);
}
template <typename Sample>
void CConvolution<Sample>::Run() {
    const auto doRow = HasWideVectors() ? &DoRowWide<Sample> : &DoRowPlain<Sample>;
    for (int32_t y = 0; y < m_view.height; ++y) doRow(*this, y);
}

void Convolve(CImageBits& image, CKernel kernel, uint16_t redBias, uint16_t greenBias,
              uint16_t blueBias, int undo) {
    class COp final : public CImageBits::COperation {
    public:
        COp(CKernel kernelOfOp, uint16_t red, uint16_t green, uint16_t blue)
            : m_kernel(std::move(kernelOfOp)), m_red(red), m_green(green), m_blue(blue) {}
        void Apply16(CPixelWords& samples, int32_t width, int32_t height, int channels) override {
            // Kept as it is: blue takes the second bias here, and so does the one sample of gray.
            CConvolution<uint16_t>(View16(samples, width, height, channels), m_kernel,
                                   {m_green, m_green, m_red})
                .Run();
        }
        void Apply8(CPixelBytes& pixels, CBitmapInfo& info, bool) override {
            CConvolution<uint8_t>(View8(pixels, info), m_kernel, {m_blue, m_green, m_red}).Run();
        }

    private:
        CKernel m_kernel;
        uint16_t m_red, m_green, m_blue;
    };
    COp operation(std::move(kernel), redBias, greenBias, blueBias);
    image.BeginUndoable(undo);
    // The change of format stays, however little of the picture is selected.
    if (!image.Has16Bit() && image.bitmapInfo.BitCount() < 24) {
        image.IsGray() ? image.WidenTo8Bits() : image.ExpandTo24Bits();
    }
    image.RunOperation(operation, 0);
}

/// A 3 x 3 kernel that is alike on all sides.
CKernel MakeRing(const CImageBits& image, int32_t corner, int32_t side, int32_t centre) {
    const std::array<int32_t, 9> weights{corner, side,   corner, side,  centre,
                                         side,   corner, side,   corner};
    return MakeKernel(3, 3, image.Width(), image.Height(),
                      [&weights](size_t place) { return weights[place]; });
}

}  // namespace

bool CImageBits::OpConvolveEx(int16_t width, int16_t height, const int16_t* matrix,
                              uint16_t redBias, uint16_t greenBias, uint16_t blueBias, int undo) {
    if (matrix == nullptr && width > 0 && height > 0) return false;
    // The matrix is laid out anew as `height` rows of `width`, then walked as `width` columns of
    // `height`: a square matrix is an ordinary one, row by row, and any other is mixed. Kept as it
    // is.
    const auto weightAt = [=](size_t place) -> int32_t {
        const auto columns = static_cast<size_t>(width);
        return matrix[place % columns * static_cast<size_t>(height) + place / columns];
    };
    Convolve(*this, MakeKernel(width, height, Width(), Height(), weightAt), redBias, greenBias,
             blueBias, undo);
    return true;
}

bool CImageBits::OpSharpen(int16_t strength, int undo) {
    Convolve(*this, MakeRing(*this, -1, -2, (100 - strength) / 2 + 13), 0, 0, 0, undo);
    return true;
}

bool CImageBits::OpSoften(int16_t strength, int undo) {
    Convolve(*this, MakeRing(*this, strength, strength, 7 * strength + 100), 0, 0, 0, undo);
    return true;
}

}  // namespace kestr
