// Oil paint: each pixel becomes one of the most frequent luminance of the window around it.

#include <algorithm>
#include <array>
#include <bit>
#include <utility>
#include <vector>

#include "base/luminance.h"
#include "base/luminance_row.h"
#include "ops/operation.h"
#include "ops/pixel_view.h"
#include "ops/row_band.h"
#include "platform/wide_vectors.h"

namespace kestr {
namespace {

/// A window is walked column by column, and the first pixel whose luminance reaches the highest
/// count comes out. Of the luminances with that count it is the one whose last pixel comes first in
/// the walk, so each luminance keeps a score: its count above, below it the place of its last
/// pixel, an earlier place being the larger number. As the window slides to the right, what comes
/// in is last, and what leaves changes counts only.
///
/// `Score` holds the count in the bits from kPlaceBits on.
template <typename Score, int kPlaceBits>
class COilPaint {
public:
    COilPaint(const CPixelView<uint8_t>& view, int32_t radius)
        : m_view(view),
          m_radius(radius),
          m_rowBits(std::bit_width(static_cast<uint32_t>(2 * radius))),
          m_luminance(std::min(2 * radius + 1, view.height), static_cast<size_t>(view.width)),
          m_source(std::min(radius + 1, view.height), view.RowSamples()) {}

    /// `luminanceOfRow` writes the luminance of a row of pixels.
    template <typename LuminanceOfRow>
    void Run(const LuminanceOfRow& luminanceOfRow);

    KESTR_INLINE_LOOP void DoRow(int32_t y) {
        const int32_t top = std::max(y - m_radius, 0);
        const int32_t bottom = std::min(y + m_radius + 1, m_view.height);
        m_rows.clear();
        m_sources.clear();
        for (int32_t row = top; row < bottom; ++row) {
            m_rows.push_back(m_luminance.Row(row));
            m_sources.push_back(row > y ? m_view.Row(row) : m_source.Row(row));
        }
        // Places have a limited range: after so many columns they begin anew.
        const auto segment = static_cast<int32_t>(std::min<int64_t>(
            (int64_t{1} << (kPlaceBits - m_rowBits)) - 2 * m_radius, kMostColumns));
        for (int32_t begin = 0; begin < m_view.width;
             begin += std::min(segment, m_view.width - begin)) {
            DoColumns(y, begin, begin + std::min(segment, m_view.width - begin));
        }
    }

private:
    static constexpr int32_t kMostColumns = 1 << 30;
    static constexpr int32_t kBlock = 64;  // columns that share the bounds of their luminance
    static constexpr size_t kScoresAtOnce = 16;
    static constexpr Score kOne = Score{1} << kPlaceBits;
    static constexpr Score kPlaces = kOne - 1;

    KESTR_INLINE_LOOP void DoColumns(int32_t y, int32_t begin, int32_t end) {
        const int channels = m_view.channels;
        const int32_t base = std::max(begin - m_radius, 0);
        m_scores.fill(0);
        int32_t left = base;  // columns left .. right - 1 are counted
        int32_t right = base;
        size_t firstScore = 0;
        size_t endScore = m_scores.size();
        uint8_t* to = m_view.Row(y) + static_cast<ptrdiff_t>(begin) * channels;
        for (int32_t x = begin; x < end; ++x, to += channels) {
            if ((x - begin) % kBlock == 0) FindBounds(x, firstScore, endScore);
            for (const int32_t stop = std::min(x + m_radius + 1, m_view.width); right < stop;
                 ++right) {
                Score place = kPlaces - (static_cast<Score>(right - base) << m_rowBits);
                for (const uint8_t* row : m_rows) {
                    Score& score = m_scores[row[right]];
                    score = ((score & ~kPlaces) + kOne) | place--;
                }
            }
            for (; left < x - m_radius; ++left) {
                for (const uint8_t* row : m_rows) m_scores[row[left]] -= kOne;
            }
            Score best = 0;
            for (size_t i = firstScore; i < endScore; i += kScoresAtOnce) {
                for (size_t k = 0; k < kScoresAtOnce; ++k) best = std::max(best, m_scores[i + k]);
            }
            const Score place = kPlaces - (best & kPlaces);
            const auto column = static_cast<ptrdiff_t>(place >> m_rowBits) + base;
            const auto row = static_cast<size_t>(place & ((Score{1} << m_rowBits) - 1));
            const uint8_t* from = m_sources[row] + column * channels;
            for (int channel = 0; channel < channels; ++channel) to[channel] = from[channel];
        }
    }

    /// Which luminances occur in the windows of a block of columns.
    KESTR_INLINE_LOOP void FindBounds(int32_t x, size_t& firstScore, size_t& endScore) {
        const int32_t begin = std::max(x - m_radius, 0);
        const int32_t end =
            static_cast<int32_t>(std::min<int64_t>(int64_t{x} + kBlock + m_radius, m_view.width));
        uint8_t least = 255;
        uint8_t most = 0;
        for (const uint8_t* row : m_rows) {
            for (int32_t column = begin; column < end; ++column) {
                least = std::min(least, row[column]);
                most = std::max(most, row[column]);
            }
        }
        firstScore = least / kScoresAtOnce * kScoresAtOnce;
        endScore = most + size_t{1};
    }

    const CPixelView<uint8_t> m_view;
    const int32_t m_radius;
    const int m_rowBits;  // of a place: the row of the window
    CRowBand<uint8_t> m_luminance;
    CRowBand<uint8_t> m_source;             // the rows that are overwritten, as they were
    std::vector<const uint8_t*> m_rows;     // luminance of the window's rows
    std::vector<const uint8_t*> m_sources;  // pixels of the window's rows
    std::array<Score, 256> m_scores{};
};

template <typename Painter>
void DoRowPlain(Painter& painter, int32_t y) {
    painter.DoRow(y);
}
template <typename Painter>
KESTR_WIDE_VECTORS void DoRowWide(Painter& painter, int32_t y) {
    painter.DoRow(y);
}

template <typename Score, int kPlaceBits>
template <typename LuminanceOfRow>
void COilPaint<Score, kPlaceBits>::Run(const LuminanceOfRow& luminanceOfRow) {
    const auto doRow = HasWideVectors() ? &DoRowWide<COilPaint> : &DoRowPlain<COilPaint>;
    int32_t next = 0;
    for (int32_t y = 0; y < m_view.height; ++y) {
        for (; next < std::min(y + m_radius + 1, m_view.height); ++next) {
            luminanceOfRow(m_view.Row(next), m_luminance.Row(next));
        }
        std::copy_n(m_view.Row(y), m_view.RowSamples(), m_source.Row(y));
        doRow(*this, y);
    }
}

template <typename LuminanceOfRow>
void PaintView(const CPixelView<uint8_t>& view, int32_t radius, const LuminanceOfRow& luminance) {
    radius = std::min(radius, std::max(view.width, view.height));
    // 45 x 45 pixels are counted in 11 bits, beside the sign that vectors compare with.
    if (radius <= 22) {
        COilPaint<int32_t, 20>(view, radius).Run(luminance);
    } else {
        COilPaint<uint64_t, 32>(view, radius).Run(luminance);
    }
}

void Paint(CPixelBytes& pixels, const CBitmapInfo& info, int32_t radius) {
    const CPixelView<uint8_t> view = View8(pixels, info);
    const auto width = static_cast<size_t>(view.width);
    if (view.channels == 3) {
        PaintView(view, radius, [width](const uint8_t* row, uint8_t* luminance) {
            LuminanceOfRow(row, width, luminance);
        });
        return;
    }
    std::array<uint8_t, 256> luminanceOfIndex{};
    for (size_t i = 0; i < luminanceOfIndex.size(); ++i) {
        const CRGBQuad entry = info.Palette()[i];
        luminanceOfIndex[i] = Luminance(entry.rgbRed, entry.rgbGreen, entry.rgbBlue);
    }
    PaintView(view, radius, [&](const uint8_t* row, uint8_t* luminance) {
        for (size_t x = 0; x < width; ++x) luminance[x] = luminanceOfIndex[row[x]];
    });
}

}  // namespace

bool CImageBits::OilPaint24(int16_t radius, int undo) {
    class COp final : public COperation {
    public:
        explicit COp(int32_t radiusOfOp) : m_radius(radiusOfOp) {}
        void Apply16(CPixelWords&, int32_t, int32_t, int) override {}
        void Apply8(CPixelBytes& pixels, CBitmapInfo& info, bool) override {
            Paint(pixels, info, m_radius);
        }

    private:
        int32_t m_radius;
    };
    // A window of negative size holds no pixel to choose from.
    if (radius < 0) return false;
    if (bitmapInfo.BitCount() < 8 || IsGray()) return true;
    DropDisplayCaches();
    BeginUndoable(undo);
    bits16.clear();
    // Without a rectangle a palette picture keeps its palette: the new pixel is a source's index.
    if (IsOpRectValid()) ExpandTo24Bits();
    COp operation(radius);
    RunOperation(operation, 0);
    return true;
}

}  // namespace kestr
