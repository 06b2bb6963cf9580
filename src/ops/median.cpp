// Medians over the square window around each pixel: of the luminance, where a whole pixel of the
// window comes out, and of each channel with extremes avoided.

#include <algorithm>
#include <array>
#include <memory>
#include <utility>
#include <vector>

#include "base/luminance.h"
#include "ops/operation.h"
#include "ops/pixel_view.h"
#include "ops/row_band.h"
#include "ops/shell_order.h"
#include "ops/sliding_counts.h"
#include "ops/window_rank.h"

namespace kestr {
namespace {

// Up to this radius all values of a window are looked at for each pixel, many pixels at a time;
// beyond it counts slide along the row. Counts of such windows fit a byte: 15 x 15 is 225.
constexpr int32_t kMostLaneRadius = 7;
constexpr size_t kMostLaneRows = 2 * kMostLaneRadius + 1;
constexpr size_t kMostLaneWindow = kMostLaneRows * kMostLaneRows;

/// The part of a window that lies in the picture, last row and column exclusive.
struct CWindowPart {
    int32_t left, top, right, bottom;

    CWindowPart(int32_t x, int32_t y, int32_t radius, int32_t width, int32_t height)
        : left(std::max(x - radius, 0)),
          top(std::max(y - radius, 0)),
          right(std::min(x + radius + 1, width)),
          bottom(std::min(y + radius + 1, height)) {}

    [[nodiscard]] size_t Columns() const { return static_cast<size_t>(right - left); }
    [[nodiscard]] size_t Count() const { return Columns() * static_cast<size_t>(bottom - top); }
};

// ---- the median of the luminance ------------------------------------------------------------

// A key of 0..65535 less 32768, since vectors compare signed numbers faster.
using CKey = int16_t;
constexpr CKey MakeKey(uint32_t key) {
    return static_cast<CKey>(static_cast<int32_t>(key) - 32768);
}
constexpr uint32_t KeyNumber(CKey key) {
    return static_cast<uint32_t>(key + 32768);
}

/// Of the windows of a row of pixels: the median key, how many candidates have it, and where the
/// last of these stands in the window, counted row by row.
struct CMedianKeys {
    std::vector<CKey> median;
    std::vector<CKey> equal;
    std::vector<CKey> place;
};

template <int kBytes>
KESTR_INLINE_LOOP void FindMedianKeys(const CWindowRow<CKey>& window, size_t count,
                                      CMedianKeys& result) {
    using CLanes = CRankLanes<CKey, kBytes>;
    using Lanes = typename CLanes::Lanes;
    for (size_t first = 0; first < count; first += CLanes::kBlock) {
        const auto [least, most] = CLanes::BlockBounds(window, first);
        Lanes median[CLanes::kVectors];
        CLanes::FindRank(window, first, least, most, median);
        Lanes equal[CLanes::kVectors]{};
        Lanes place[CLanes::kVectors]{};
        Lanes here{};
        for (int row = 0; row < window.rowCount; ++row) {
            const CKey* from = window.rows[row] + first;
            for (int column = 0; column < window.columns; ++column, ++from, here += 1) {
                for (int v = 0; v < CLanes::kVectors; ++v) {
                    Lanes keys;
                    CLanes::Load(from + v * CLanes::kLanes, keys);
                    const Lanes same = keys == median[v];
                    equal[v] -= same;
                    place[v] = (same & here) | (~same & place[v]);
                }
            }
        }
        for (int v = 0; v < CLanes::kVectors; ++v) {
            const size_t at = first + static_cast<size_t>(v) * CLanes::kLanes;
            CLanes::Store(result.median.data() + at, median[v]);
            CLanes::Store(result.equal.data() + at, equal[v]);
            CLanes::Store(result.place.data() + at, place[v]);
        }
    }
}
void FindMedianKeysPlain(const CWindowRow<CKey>& window, size_t count, CMedianKeys& result) {
    FindMedianKeys<16>(window, count, result);
}
KESTR_WIDE_VECTORS void FindMedianKeysWide(const CWindowRow<CKey>& window, size_t count,
                                           CMedianKeys& result) {
    FindMedianKeys<32>(window, count, result);
}

/// Replaces each pixel of a picture by the one of its window that has the median key. The window's
/// pixels are collected column by column and sorted by a Shell sort, which settles what comes out
/// when several have that key.
template <typename Sample>
class CKeyMedian {
public:
    /// `distinct`: equal keys mean equal pixels.
    CKeyMedian(const CPixelView<Sample>& view, int32_t radius, bool distinct)
        : m_view(view),
          m_radius(std::min(radius, std::max(view.width, view.height))),
          m_distinct(distinct),
          m_keys(std::min(2 * m_radius + 1, view.height), static_cast<size_t>(view.width)),
          m_source(std::min(m_radius + 1, view.height), view.RowSamples()) {}

    /// `keysOfRow` writes the keys of a row of pixels.
    template <typename KeysOfRow>
    void Run(const KeysOfRow& keysOfRow) {
        int32_t nextKeys = 0;
        for (int32_t y = 0; y < m_view.height; ++y) {
            for (; nextKeys < std::min(y + m_radius + 1, m_view.height); ++nextKeys) {
                keysOfRow(m_view.Row(nextKeys), m_keys.Row(nextKeys));
            }
            std::copy_n(m_view.Row(y), m_view.RowSamples(), m_source.Row(y));
            m_currentY = y;
            if (m_radius <= kMostLaneRadius) {
                DoRowInLanes(y);
            } else {
                DoRowSliding(y);
            }
        }
    }

private:
    void DoRowInLanes(int32_t y) {
        const int32_t width = m_view.width;
        const int32_t side = 2 * m_radius + 1;
        const int32_t innerEnd = std::max(m_radius, width - m_radius);
        for (int32_t x = 0; x < std::min(m_radius, width); ++x) DoEdgePixel(x, y);
        for (int32_t x = innerEnd; x < width; ++x) DoEdgePixel(x, y);
        if (innerEnd == m_radius) return;

        const CWindowPart part(0, y, m_radius, width, m_view.height);
        std::array<const CKey*, kMostLaneRows> rows{};
        const int32_t rowCount = part.bottom - part.top;
        for (int32_t i = 0; i < rowCount; ++i) {
            rows[static_cast<size_t>(i)] = m_keys.Row(part.top + i);
            for (int32_t column = 0; column < side; ++column) {
                m_places[static_cast<size_t>(i * side + column)] = SourceAt(column, part.top + i);
            }
        }
        const auto count = static_cast<size_t>(innerEnd - m_radius);
        const size_t room = count + CRankLanes<CKey, 32>::kBlock;
        if (m_found.median.size() != room) {
            for (auto* lane : {&m_found.median, &m_found.equal, &m_found.place}) lane->resize(room);
        }
        const CWindowRow<CKey> window{rows.data(), rowCount, side, 1, rowCount * side / 2};
        HasWideVectors() ? FindMedianKeysWide(window, count, m_found)
                         : FindMedianKeysPlain(window, count, m_found);
        const int channels = m_view.channels;
        Sample* to = m_view.Row(y) + static_cast<ptrdiff_t>(m_radius) * channels;
        for (size_t i = 0; i < count; ++i, to += channels) {
            if (m_distinct || m_found.equal[i] == 1) {
                const auto place = static_cast<size_t>(m_found.place[i]);
                const Sample* from = m_places[place] + i * static_cast<size_t>(channels);
                for (int channel = 0; channel < channels; ++channel) to[channel] = from[channel];
            } else {
                Resolve(m_radius + static_cast<int32_t>(i), y, m_found.median[i]);
            }
        }
    }

    void DoRowSliding(int32_t y) {
        if (!m_counts) m_counts = std::make_unique<CSlidingCounts<16>>();
        const int32_t width = m_view.width;
        const CWindowPart rowsOf(0, y, m_radius, width, m_view.height);
        m_rows.clear();
        for (int32_t row = rowsOf.top; row < rowsOf.bottom; ++row) {
            m_rows.push_back(m_keys.Row(row));
        }
        int32_t left = 0;  // columns left .. right - 1 are counted
        int32_t right = 0;
        for (int32_t x = 0; x < width; ++x) {
            const CWindowPart part(x, y, m_radius, width, m_view.height);
            for (; right < part.right; ++right) {
                for (const CKey* row : m_rows) m_counts->Add(KeyNumber(row[right]));
            }
            for (; left < part.left; ++left) RemoveColumn(left);
            const auto rank = static_cast<uint32_t>(part.Count() / 2);
            Resolve(x, y, MakeKey(m_counts->MoveTo(rank)));
        }
        for (; left < right; ++left) RemoveColumn(left);
    }
    void RemoveColumn(int32_t x) {
        for (const CKey* row : m_rows) m_counts->Remove(KeyNumber(row[x]));
    }

    void DoEdgePixel(int32_t x, int32_t y) {
        const CWindowPart part(x, y, m_radius, m_view.width, m_view.height);
        m_sorted.clear();
        for (int32_t row = part.top; row < part.bottom; ++row) {
            const CKey* keys = m_keys.Row(row);
            m_sorted.insert(m_sorted.end(), keys + part.left, keys + part.right);
        }
        const auto middle = m_sorted.begin() + static_cast<ptrdiff_t>(part.Count() / 2);
        std::nth_element(m_sorted.begin(), middle, m_sorted.end());
        Resolve(x, y, *middle);
    }

    /// Puts out the pixel of the window that the sort leaves in the middle; its key is `median`.
    void Resolve(int32_t x, int32_t y, CKey median) {
        const CWindowPart part(x, y, m_radius, m_view.width, m_view.height);
        int32_t foundX = -1;
        int32_t foundY = -1;
        bool alike = true;  // all candidates with the key
        for (int32_t row = part.top; row < part.bottom && alike; ++row) {
            const CKey* keys = m_keys.Row(row) + part.left;
            const size_t columns = part.Columns();
            size_t matches = 0;
            for (size_t i = 0; i < columns; ++i) matches += keys[i] == median;
            for (size_t i = 0; matches > 0 && alike; ++i) {
                if (keys[i] != median) continue;
                --matches;
                const int32_t column = part.left + static_cast<int32_t>(i);
                if (foundX < 0) {
                    foundX = column;
                    foundY = row;
                    if (m_distinct) return Put(x, y, foundX, foundY);
                } else {
                    alike = AreAlike(foundX, foundY, column, row);
                }
            }
        }
        if (alike) return Put(x, y, foundX, foundY);

        m_elements.clear();
        const auto rows = static_cast<size_t>(part.bottom - part.top);
        for (int32_t column = part.left; column < part.right; ++column) {
            for (int32_t row = part.top; row < part.bottom; ++row) {
                const CKey key = m_keys.Row(row)[column];
                m_elements.push_back(key < median   ? CShellOrder::kLess
                                     : key > median ? CShellOrder::kGreater
                                                    : static_cast<int32_t>(m_elements.size()));
            }
        }
        const auto chosen = static_cast<size_t>(m_order.AtRank(m_elements, m_elements.size() / 2));
        Put(x, y, part.left + static_cast<int32_t>(chosen / rows),
            part.top + static_cast<int32_t>(chosen % rows));
    }

    /// The pixel as it was: rows from the one in work on still stand in the picture.
    const Sample* SourceAt(int32_t x, int32_t y) {
        const Sample* row = y > m_currentY ? m_view.Row(y) : m_source.Row(y);
        return row + static_cast<ptrdiff_t>(x) * m_view.channels;
    }
    bool AreAlike(int32_t x0, int32_t y0, int32_t x1, int32_t y1) {
        const Sample* a = SourceAt(x0, y0);
        return std::equal(a, a + m_view.channels, SourceAt(x1, y1));
    }
    void Put(int32_t x, int32_t y, int32_t sourceX, int32_t sourceY) {
        const Sample* from = SourceAt(sourceX, sourceY);
        std::copy_n(from, m_view.channels,
                    m_view.Row(y) + static_cast<ptrdiff_t>(x) * m_view.channels);
    }

    const CPixelView<Sample> m_view;
    const int32_t m_radius;
    const bool m_distinct;
    CRowBand<CKey> m_keys;      // of the rows of the window
    CRowBand<Sample> m_source;  // the rows that are overwritten, as they were
    int32_t m_currentY = 0;
    CMedianKeys m_found;
    std::array<const Sample*, kMostLaneWindow> m_places{};  // of a window at column 0
    std::vector<CKey> m_sorted;
    std::vector<int32_t> m_elements;
    CShellOrder m_order;
    std::unique_ptr<CSlidingCounts<16>> m_counts;
    std::vector<const CKey*> m_rows;  // keys of the window's rows
};

// ---- the median of each channel, without extremes -------------------------------------------

// A byte less 128, since vectors compare signed numbers faster.
using CLevel = int8_t;
constexpr CLevel MakeLevel(uint8_t sample) {
    return static_cast<CLevel>(sample ^ 0x80);
}
constexpr uint8_t SampleOf(CLevel level) {
    return static_cast<uint8_t>(static_cast<uint8_t>(level) ^ 0x80);
}

/// For windows that begin at each of `count` samples: the median, but where that is the least or
/// the greatest value of the window, the nearest other one.
template <int kBytes>
KESTR_INLINE_LOOP void FindTrimmed(const CWindowRow<CLevel>& window, size_t count, CLevel* result) {
    using CLanes = CRankLanes<CLevel, kBytes>;
    using Lanes = typename CLanes::Lanes;
    for (size_t first = 0; first < count; first += CLanes::kBlock) {
        const auto [blockLeast, blockMost] = CLanes::BlockBounds(window, first);
        Lanes median[CLanes::kVectors];
        CLanes::FindRank(window, first, blockLeast, blockMost, median);
        Lanes least[CLanes::kVectors];
        Lanes most[CLanes::kVectors];
        CLanes::FindBounds(window, first, least, most);
        for (int v = 0; v < CLanes::kVectors; ++v) {
            const Lanes isLeast = median[v] == least[v];
            const Lanes isMost = median[v] == most[v];
            Lanes above = most[v];   // least value that is not the least of all
            Lanes below = least[v];  // the same from the other end
            for (int row = 0; row < window.rowCount; ++row) {
                const CLevel* from = window.rows[row] + first + v * CLanes::kLanes;
                for (int column = 0; column < window.columns; ++column, from += window.step) {
                    Lanes values;
                    CLanes::Load(from, values);
                    above = ((values > least[v]) & (values < above)) ? values : above;
                    below = ((values < most[v]) & (values > below)) ? values : below;
                }
            }
            const Lanes lanes = isLeast ? above : isMost ? below : median[v];
            CLanes::Store(result + first + v * CLanes::kLanes, lanes);
        }
    }
}
void FindTrimmedPlain(const CWindowRow<CLevel>& window, size_t count, CLevel* result) {
    FindTrimmed<16>(window, count, result);
}
KESTR_WIDE_VECTORS void FindTrimmedWide(const CWindowRow<CLevel>& window, size_t count,
                                        CLevel* result) {
    FindTrimmed<32>(window, count, result);
}

class CTrimmedMedian {
public:
    CTrimmedMedian(const CPixelView<uint8_t>& view, int32_t radius)
        : m_view(view),
          m_radius(std::min(radius, std::max(view.width, view.height))),
          m_levels(std::min(2 * m_radius + 1, view.height), view.RowSamples()) {}

    void Run() {
        int32_t next = 0;
        for (int32_t y = 0; y < m_view.height; ++y) {
            for (; next < std::min(y + m_radius + 1, m_view.height); ++next) {
                std::transform(m_view.Row(next), m_view.Row(next) + m_view.RowSamples(),
                               m_levels.Row(next), MakeLevel);
            }
            if (m_radius <= kMostLaneRadius) {
                DoRowInLanes(y);
            } else {
                for (int channel = 0; channel < m_view.channels; ++channel) DoRow(y, channel);
            }
        }
    }

private:
    void DoRowInLanes(int32_t y) {
        const int32_t width = m_view.width;
        const int channels = m_view.channels;
        const int32_t innerEnd = std::max(m_radius, width - m_radius);
        for (int32_t x = 0; x < std::min(m_radius, width); ++x) DoEdgePixel(x, y);
        for (int32_t x = innerEnd; x < width; ++x) DoEdgePixel(x, y);
        if (innerEnd == m_radius) return;

        const CWindowPart part(0, y, m_radius, width, m_view.height);
        std::array<const CLevel*, kMostLaneRows> rows{};
        const int32_t rowCount = part.bottom - part.top;
        for (int32_t i = 0; i < rowCount; ++i) {
            rows[static_cast<size_t>(i)] = m_levels.Row(part.top + i);
        }
        const int32_t side = 2 * m_radius + 1;
        const size_t count = static_cast<size_t>(innerEnd - m_radius) * channels;
        m_found.resize(count + CRankLanes<CLevel, 32>::kBlock);
        const CWindowRow<CLevel> window{rows.data(), rowCount, side, channels, rowCount * side / 2};
        HasWideVectors() ? FindTrimmedWide(window, count, m_found.data())
                         : FindTrimmedPlain(window, count, m_found.data());
        std::transform(m_found.data(), m_found.data() + count,
                       m_view.Row(y) + static_cast<ptrdiff_t>(m_radius) * channels, SampleOf);
    }

    void DoEdgePixel(int32_t x, int32_t y) {
        const CWindowPart part(x, y, m_radius, m_view.width, m_view.height);
        const int channels = m_view.channels;
        for (int channel = 0; channel < channels; ++channel) {
            m_window.clear();
            for (int32_t row = part.top; row < part.bottom; ++row) {
                const CLevel* levels = m_levels.Row(row) + channel;
                for (int32_t column = part.left; column < part.right; ++column) {
                    m_window.push_back(levels[static_cast<ptrdiff_t>(column) * channels]);
                }
            }
            const auto middle = m_window.begin() + static_cast<ptrdiff_t>(part.Count() / 2);
            std::nth_element(m_window.begin(), middle, m_window.end());
            const CLevel median = *middle;
            const auto [least, most] = std::ranges::minmax(m_window);
            CLevel result = median;
            if (median == least) {
                result = most;
                for (const CLevel level : m_window) {
                    if (level > least) result = std::min(result, level);
                }
            } else if (median == most) {
                result = least;
                for (const CLevel level : m_window) {
                    if (level < most) result = std::max(result, level);
                }
            }
            m_view.Row(y)[static_cast<ptrdiff_t>(x) * channels + channel] = SampleOf(result);
        }
    }

    void DoRow(int32_t y, int channel) {
        const int32_t width = m_view.width;
        const CWindowPart rowsOf(0, y, m_radius, width, m_view.height);
        m_rows.clear();
        for (int32_t row = rowsOf.top; row < rowsOf.bottom; ++row) {
            m_rows.push_back(m_levels.Row(row) + channel);
        }
        const auto columnOf = [&](int32_t x, auto&& change) {
            const ptrdiff_t at = static_cast<ptrdiff_t>(x) * m_view.channels;
            for (const CLevel* row : m_rows) change(SampleOf(row[at]));
        };
        CSlidingCounts<8> counts;
        int32_t left = 0;  // columns left .. right - 1 are counted
        int32_t right = 0;
        for (int32_t x = 0; x < width; ++x) {
            const CWindowPart part(x, y, m_radius, width, m_view.height);
            for (; right < part.right; ++right) {
                columnOf(right, [&](uint8_t value) { counts.Add(value); });
            }
            for (; left < part.left; ++left) {
                columnOf(left, [&](uint8_t value) { counts.Remove(value); });
            }
            m_view.Row(y)[static_cast<ptrdiff_t>(x) * m_view.channels + channel] =
                TrimmedOf(counts, static_cast<uint32_t>(part.Count()));
        }
    }

    static uint8_t TrimmedOf(CSlidingCounts<8>& counts, uint32_t total) {
        uint32_t value = counts.MoveTo(total / 2);
        if (counts.Equal() == total) return static_cast<uint8_t>(value);
        if (counts.Below() == 0) {
            do ++value;
            while (counts.Count(value) == 0);
        } else if (counts.Below() + counts.Equal() == total) {
            do --value;
            while (counts.Count(value) == 0);
        }
        return static_cast<uint8_t>(value);
    }

    const CPixelView<uint8_t> m_view;
    const int32_t m_radius;
    CRowBand<CLevel> m_levels;  // of the rows of the window
    std::vector<CLevel> m_found;
    std::vector<CLevel> m_window;
    std::vector<const CLevel*> m_rows;  // of the window, from the channel in work on
};

// ---- the operations -------------------------------------------------------------------------

/// Whether no two indices that occur in an 8-bit picture have the same key.
bool AreKeysDistinct(const CPixelView<uint8_t>& view, const std::array<CKey, 256>& keys) {
    std::array<bool, 256> used{};
    for (int32_t y = 0; y < view.height; ++y) {
        const uint8_t* row = view.Row(y);
        for (int32_t x = 0; x < view.width; ++x) used[row[x]] = true;
    }
    std::vector<CKey> sorted;
    for (size_t i = 0; i < used.size(); ++i) {
        if (used[i]) sorted.push_back(keys[i]);
    }
    std::ranges::sort(sorted);
    return std::ranges::adjacent_find(sorted) == sorted.end();
}

void LuminanceMedian8(CPixelBytes& pixels, const CBitmapInfo& info, int32_t radius) {
    const CPixelView<uint8_t> view = View8(pixels, info);
    const auto width = static_cast<size_t>(view.width);
    if (view.channels == 3) {
        CKeyMedian<uint8_t>(view, radius, false).Run([width](const uint8_t* row, CKey* keys) {
            for (size_t x = 0; x < width; ++x) {
                keys[x] = MakeKey(LuminanceSum(row[3 * x + 2], row[3 * x + 1], row[3 * x]));
            }
        });
        return;
    }
    std::array<CKey, 256> keyOfIndex{};
    for (size_t i = 0; i < keyOfIndex.size(); ++i) {
        const CRGBQuad entry = info.Palette()[i];
        keyOfIndex[i] = MakeKey(LuminanceSum(entry.rgbRed, entry.rgbGreen, entry.rgbBlue));
    }
    const bool distinct = AreKeysDistinct(view, keyOfIndex);
    CKeyMedian<uint8_t>(view, radius, distinct).Run([&](const uint8_t* row, CKey* keys) {
        for (size_t x = 0; x < width; ++x) keys[x] = keyOfIndex[row[x]];
    });
}

void LuminanceMedian16(const CPixelView<uint16_t>& view, int32_t radius) {
    const auto width = static_cast<size_t>(view.width);
    if (view.channels == 1) {
        CKeyMedian<uint16_t>(view, radius, true).Run([width](const uint16_t* row, CKey* keys) {
            for (size_t x = 0; x < width; ++x) keys[x] = MakeKey(row[x]);
        });
        return;
    }
    CKeyMedian<uint16_t>(view, radius, false).Run([width](const uint16_t* row, CKey* keys) {
        for (size_t x = 0; x < width; ++x) {
            const uint16_t* pixel = row + 3 * x;
            const auto key =
                static_cast<int32_t>(0.3 * pixel[2] + 0.59 * pixel[1] + 0.11 * pixel[0]);
            keys[x] = MakeKey(static_cast<uint32_t>(key));
        }
    });
}

}  // namespace

bool CImageBits::OpMedianFilter(int16_t radius, int undo) {
    class COp final : public COperation {
    public:
        explicit COp(int32_t radius) : m_radius(radius) {}
        void Apply16(CPixelWords& samples, int32_t width, int32_t height, int channels) override {
            LuminanceMedian16(View16(samples, width, height, channels), m_radius);
        }
        void Apply8(CPixelBytes& pixels, CBitmapInfo& info, bool) override {
            LuminanceMedian8(pixels, info, m_radius);
        }

    private:
        int32_t m_radius;
    };
    if (!PrepareForMedian(radius)) return false;
    COp operation(radius);
    RunOperation(operation, undo);
    return true;
}

bool CImageBits::OpReduceNoise(int16_t radius, int undo) {
    class COp final : public COperation {
    public:
        explicit COp(int32_t radius) : m_radius(radius) {}
        void Apply16(CPixelWords& samples, int32_t width, int32_t height, int channels) override {
            LuminanceMedian16(View16(samples, width, height, channels), m_radius);
        }
        void Apply8(CPixelBytes& pixels, CBitmapInfo& info, bool) override {
            CTrimmedMedian(View8(pixels, info), m_radius).Run();
        }

    private:
        int32_t m_radius;
    };
    if (!PrepareForMedian(radius)) return false;
    COp operation(radius);
    RunOperation(operation, undo);
    return true;
}

bool CImageBits::PrepareForMedian(int16_t radius) {
    // A window of negative size holds no pixel to choose from.
    if (radius < 0 || bitmapInfo.BitCount() < 4) return false;
    if (bitmapInfo.BitCount() == 4) {
        WidenTo8Bits();
    } else if (bitmapInfo.BitCount() == 8) {
        NormalizeGray();
    }
    return true;
}

}  // namespace kestr
