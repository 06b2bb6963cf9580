// AHD, adaptive homogeneity-directed interpolation: the picture is filled in twice, along rows and
// along columns, and each pixel is taken from where its surroundings look more alike in CIE L*a*b*.
// After K. Hirakawa and T. W. Parks, "Adaptive homogeneity-directed demosaicing algorithm".
//
// Bayer patterns go row by row: each step follows the one before by the rows that it looks at, and
// only those rows are kept.

#include "raw/demosaic_ahd.h"

#include <algorithm>
#include <array>
#include <cstdlib>
#include <vector>

#include "platform/vector_clones.h"
#include "raw/demosaic.h"
#include "raw/demosaic_rows.h"
#include "raw/raw_color_matrix.h"

namespace kestr {
namespace {

/// All bits where `mask` is set from the first, elsewhere from the second.
KESTR_INLINE uint16_t Choose(uint16_t mask, int ifSet, int ifNot) {
    return static_cast<uint16_t>((ifSet & mask) | (ifNot & ~mask));
}

KESTR_INLINE int GreenBetween(int twoBefore, int before, int here, int after, int twoAfter) {
    const int value = ((before + here + after) * 2 - twoBefore - twoAfter) >> 2;
    return AHDBetween(value, before, after);
}

/// Green of a row both ways, from the five recorded rows around; what is recorded stays.
KESTR_VECTOR_CLONES void FillGreenRow(const std::array<const uint16_t*, 5>& rows,
                                      const uint16_t* __restrict isGreen, size_t width,
                                      uint16_t* __restrict alongRows,
                                      uint16_t* __restrict alongColumns) {
    const uint16_t* row = rows[2];
    for (size_t x = 2; x + 2 < width; ++x) {
        const int here = row[x];
        const int beside = GreenBetween(row[x - 2], row[x - 1], here, row[x + 1], row[x + 2]);
        const int over = GreenBetween(rows[0][x], rows[1][x], here, rows[3][x], rows[4][x]);
        alongRows[x] = Choose(isGreen[x], here, beside);
        alongColumns[x] = Choose(isGreen[x], here, over);
    }
}

/// The other planes of a row one way: `own` is what the row records beside green. `rows` are three
/// recorded rows, `green` the greens of the same.
KESTR_VECTOR_CLONES void FillColorRow(const std::array<const uint16_t*, 3>& rows,
                                      const std::array<const uint16_t*, 3>& green,
                                      const uint16_t* __restrict isGreen, size_t width,
                                      uint16_t* __restrict own, uint16_t* __restrict other) {
    const auto difference = [&](size_t row, size_t x) { return int{rows[row][x]} - green[row][x]; };
    for (size_t x = 1; x + 1 < width; ++x) {
        const int here = rows[1][x];
        const int beside = here + ((difference(1, x - 1) + difference(1, x + 1)) >> 1);
        const int over = here + ((difference(0, x) + difference(2, x)) >> 1);
        const int corners = green[1][x] + ((difference(0, x - 1) + difference(0, x + 1) +
                                            difference(2, x - 1) + difference(2, x + 1) + 1) >>
                                           2);
        own[x] = Choose(isGreen[x], AHDClip(beside), here);
        other[x] = Choose(isGreen[x], AHDClip(over), AHDClip(corners));
    }
}

/// L, a and b of a row.
struct CLabRow {
    const int16_t* lightness;
    const int16_t* a;
    const int16_t* b;
};

/// The rows above, at and below.
using CLabRows = std::array<CLabRow, 3>;

/// How many of its four neighbours each pixel is like, either way. How far apart two may be is what
/// the more even of the ways has along itself.
KESTR_VECTOR_CLONES void VoteRow(const CLabRows& alongRows, const CLabRows& alongColumns,
                                 size_t width, uint8_t* __restrict rowVotes,
                                 uint8_t* __restrict columnVotes) {
    const auto lightness = [](const CLabRows& labs, size_t row, size_t from, size_t x) {
        return std::abs(labs[1].lightness[from] - labs[row].lightness[x]);
    };
    const auto chroma = [](const CLabRows& labs, size_t row, size_t from, size_t x) {
        const int a = labs[1].a[from] - labs[row].a[x], b = labs[1].b[from] - labs[row].b[x];
        return a * a + b * b;
    };
    for (size_t x = 2; x + 2 < width; ++x) {
        const int rowLeft = lightness(alongRows, 1, x, x - 1);
        const int rowRight = lightness(alongRows, 1, x, x + 1);
        const int rowUp = lightness(alongRows, 0, x, x);
        const int rowDown = lightness(alongRows, 2, x, x);
        const int columnLeft = lightness(alongColumns, 1, x, x - 1);
        const int columnRight = lightness(alongColumns, 1, x, x + 1);
        const int columnUp = lightness(alongColumns, 0, x, x);
        const int columnDown = lightness(alongColumns, 2, x, x);
        const int most = std::min(std::max(rowLeft, rowRight), std::max(columnUp, columnDown));

        const int rowLeftC = chroma(alongRows, 1, x, x - 1);
        const int rowRightC = chroma(alongRows, 1, x, x + 1);
        const int rowUpC = chroma(alongRows, 0, x, x);
        const int rowDownC = chroma(alongRows, 2, x, x);
        const int columnLeftC = chroma(alongColumns, 1, x, x - 1);
        const int columnRightC = chroma(alongColumns, 1, x, x + 1);
        const int columnUpC = chroma(alongColumns, 0, x, x);
        const int columnDownC = chroma(alongColumns, 2, x, x);
        const int mostC = std::min(std::max(rowLeftC, rowRightC), std::max(columnUpC, columnDownC));

        rowVotes[x] = static_cast<uint8_t>(((rowLeft <= most) & (rowLeftC <= mostC)) +
                                           ((rowRight <= most) & (rowRightC <= mostC)) +
                                           ((rowUp <= most) & (rowUpC <= mostC)) +
                                           ((rowDown <= most) & (rowDownC <= mostC)));
        columnVotes[x] = static_cast<uint8_t>(((columnLeft <= most) & (columnLeftC <= mostC)) +
                                              ((columnRight <= most) & (columnRightC <= mostC)) +
                                              ((columnUp <= most) & (columnUpC <= mostC)) +
                                              ((columnDown <= most) & (columnDownC <= mostC)));
    }
}

using CVoteRows = std::array<const uint8_t*, 3>;

/// What way a row's pixels go: 2 along columns, 0 along rows, 1 for the mean of both.
KESTR_VECTOR_CLONES void CountVotes(const CVoteRows& rowVotes, const CVoteRows& columnVotes,
                                    size_t width, uint8_t* __restrict lead,
                                    uint16_t* __restrict columnsLead,
                                    uint16_t* __restrict rowsLead) {
    for (size_t x = 2; x + 2 < width; ++x) {
        lead[x] = static_cast<uint8_t>(columnVotes[0][x] + columnVotes[1][x] + columnVotes[2][x] -
                                       rowVotes[0][x] - rowVotes[1][x] - rowVotes[2][x]);
    }
    for (size_t x = kAHDBorder; x + kAHDBorder < width; ++x) {
        const auto sum = static_cast<int8_t>(lead[x - 1] + lead[x] + lead[x + 1]);
        columnsLead[x] = sum > 0 ? 0xFFFF : 0;
        rowsLead[x] = sum < 0 ? 0xFFFF : 0;
    }
}

KESTR_VECTOR_CLONES void ChooseRow(const uint16_t* __restrict alongRows,
                                   const uint16_t* __restrict alongColumns,
                                   const uint16_t* __restrict columnsLead,
                                   const uint16_t* __restrict rowsLead, size_t width,
                                   uint16_t* __restrict result) {
    for (size_t x = kAHDBorder; x + kAHDBorder < width; ++x) {
        const int rows = alongRows[x], columns = alongColumns[x];
        const int one = Choose(columnsLead[x], columns, rows);
        const auto decided = static_cast<uint16_t>(columnsLead[x] | rowsLead[x]);
        result[x] = Choose(decided, one, (rows + columns) >> 1);
    }
}

/// The last rows of something, one for each of `kCount` following rows of the picture.
template <typename Value, uint32_t kCount>
class CRowRing {
public:
    explicit CRowRing(size_t width) : m_width(width), m_values(kCount * width) {}
    Value* operator[](uint32_t y) { return m_values.data() + y % kCount * m_width; }

private:
    size_t m_width;
    std::vector<Value> m_values;
};

/// What is kept of the picture filled in one way.
struct CWayRows {
    explicit CWayRows(size_t width)
        : planes{CRowRing<uint16_t, 4>(width), CRowRing<uint16_t, 4>(width),
                 CRowRing<uint16_t, 4>(width)},
          lab{CRowRing<int16_t, 4>(width), CRowRing<int16_t, 4>(width),
              CRowRing<int16_t, 4>(width)},
          votes(width) {}

    CLabRows LabRows(uint32_t y) {
        CLabRows rows;
        for (uint32_t i = 0; i < 3; ++i) {
            const uint32_t row = y - 1 + i;
            rows[i] = {lab[0][row], lab[1][row], lab[2][row]};
        }
        return rows;
    }

    std::array<CRowRing<uint16_t, 4>, 3> planes;  // red, green, blue
    std::array<CRowRing<int16_t, 4>, 3> lab;
    CRowRing<uint8_t, 4> votes;
};

class CBayerInterpolator {
public:
    CBayerInterpolator(CRawSensorImage& image, const CBayerPattern& bayer,
                       const CRawColor3MatrixRGB& colors)
        : m_image(image),
          m_bayer(bayer),
          m_colors(colors),
          m_width(image.samples.width),
          m_height(image.samples.height),
          m_isGreen(GreenMasks(m_width)),
          m_recorded(m_width),
          m_ways{CWayRows(m_width), CWayRows(m_width)},
          m_lead(m_width),
          m_columnsLead(m_width),
          m_rowsLead(m_width) {
        for (auto& result : m_results) result.resize(m_width);
    }

    bool Run(CImageReader* reader) {
        // Row y of the picture needs the votes of row y + 1, which look at the colours of row y +
        // 2, which look at green of row y + 3, which comes from what row y + 5 recorded.
        for (uint32_t y = 0; y < 5; ++y) Gather(y);
        for (uint32_t y = 0; y < 3; ++y) FillGreen(y);
        FillColors(1);
        for (uint32_t y = 2; y + 1 < m_height; ++y) {
            // Row y is the one whose colours are filled in.
            if (y + 3 < m_height) Gather(y + 3);
            FillGreen(y + 1);
            FillColors(y);
            if (y < 3) continue;
            Vote(y - 1);
            if (y < kAHDBorder + 2) continue;
            if (!StartRawRow(m_image, reader, y - 2)) return false;
            Choose(y - 2);
        }
        return true;
    }

private:
    const uint16_t* IsGreen(uint32_t y) const { return m_isGreen[m_bayer.GreenParity(y)].data(); }

    void Gather(uint32_t y) { GatherRow(m_image, y, m_recorded[y]); }

    /// Rows and columns that have no two others on each side keep 0 where green was not recorded.
    void FillGreen(uint32_t y) {
        const uint16_t* row = m_recorded[y];
        const uint16_t* isGreen = IsGreen(y);
        for (CWayRows& way : m_ways) {
            uint16_t* green = way.planes[1][y];
            for (size_t x = 0; x < m_width; ++x) green[x] = row[x] & isGreen[x];
        }
        if (y < 2 || y + 2 >= m_height) return;
        FillGreenRow(
            {m_recorded[y - 2], m_recorded[y - 1], row, m_recorded[y + 1], m_recorded[y + 2]},
            isGreen, m_width, m_ways[0].planes[1][y], m_ways[1].planes[1][y]);
    }

    void FillColors(uint32_t y) {
        const uint32_t plane = m_bayer.Plane(y);
        for (CWayRows& way : m_ways) {
            CRowRing<uint16_t, 4>& green = way.planes[1];
            FillColorRow({m_recorded[y - 1], m_recorded[y], m_recorded[y + 1]},
                         {green[y - 1], green[y], green[y + 1]}, IsGreen(y), m_width,
                         way.planes[plane][y], way.planes[2 - plane][y]);
            m_colors.ToLabRow(way.planes[0][y] + 1, green[y] + 1, m_width - 2, way.lab[0][y] + 1,
                              way.lab[1][y] + 1, way.lab[2][y] + 1);
        }
    }

    void Vote(uint32_t y) {
        VoteRow(m_ways[0].LabRows(y), m_ways[1].LabRows(y), m_width, m_ways[0].votes[y],
                m_ways[1].votes[y]);
    }

    void Choose(uint32_t y) {
        const auto votes = [&](CWayRows& way) {
            return CVoteRows{way.votes[y - 1], way.votes[y], way.votes[y + 1]};
        };
        CountVotes(votes(m_ways[0]), votes(m_ways[1]), m_width, m_lead.data(), m_columnsLead.data(),
                   m_rowsLead.data());
        for (size_t plane = 0; plane < 3; ++plane) {
            ChooseRow(m_ways[0].planes[plane][y], m_ways[1].planes[plane][y], m_columnsLead.data(),
                      m_rowsLead.data(), m_width, m_results[plane].data());
        }
        ScatterRow(m_results[0].data() + kAHDBorder, m_results[1].data() + kAHDBorder,
                   m_results[2].data() + kAHDBorder, m_width - 2 * kAHDBorder,
                   m_image.samples.Pixel(y, kAHDBorder));
    }

    CRawSensorImage& m_image;
    CBayerPattern m_bayer;
    const CRawColor3MatrixRGB& m_colors;
    size_t m_width;
    uint32_t m_height;
    std::array<std::vector<uint16_t>, 2> m_isGreen;  // by the parity of the green columns
    CRowRing<uint16_t, 8> m_recorded;
    std::array<CWayRows, 2> m_ways;  // along rows, along columns
    std::vector<uint8_t> m_lead;
    std::vector<uint16_t> m_columnsLead, m_rowsLead;
    std::array<std::vector<uint16_t>, 3> m_results;
};

}  // namespace

bool DemosaicAHD(CRawSensorImage& image, CImageReader* reader, const CRawColorInputs& inputs) {
    ++image.passIndex;
    FillBorder(image, kAHDBorder);
    const CRawSamples& samples = image.samples;
    if (samples.width <= 2 * kAHDBorder || samples.height <= 2 * kAHDBorder) return true;
    CRawColor3MatrixRGB colors(inputs);
    const auto bayer = BayerPatternOf(image);
    if (!bayer) return DemosaicAHDByTiles(image, reader, colors);
    double unused[3];
    colors.ToLab(0, 0, 0, unused);  // builds the tables
    return CBayerInterpolator(image, *bayer, colors).Run(reader);
}

}  // namespace kestr
