// Each missing plane is the mean of the samples recorded in the 3 x 3 pixels around, those beside
// and above or below counting twice.

#include <algorithm>
#include <array>
#include <vector>

#include "platform/vector_clones.h"
#include "raw/demosaic.h"
#include "raw/demosaic_rows.h"

namespace kestr {
namespace {

/// What is added up for one place of the pattern.
struct CBilinearSite {
    struct CNeighbour {
        ptrdiff_t offset;  // samples
        int shift;
        uint8_t plane;
    };
    struct CMissing {
        uint8_t plane;
        uint32_t total;  // weights of the plane's neighbours
    };
    std::array<CNeighbour, 8> neighbours;
    std::array<CMissing, 4> missing;
    size_t missingCount = 0;
};

CBilinearSite MakeSite(const CRawSensorImage& image, uint32_t y, uint32_t x) {
    const CRawSamples& samples = image.samples;
    CBilinearSite site;
    std::array<uint32_t, 4> totals{};
    size_t count = 0;
    for (int dy = -1; dy <= 1; ++dy) {
        for (int dx = -1; dx <= 1; ++dx) {
            if (dy == 0 && dx == 0) continue;
            const uint8_t plane =
                image.FC(y + static_cast<uint32_t>(dy), x + static_cast<uint32_t>(dx));
            const int shift = dy == 0 || dx == 0;
            const auto row = static_cast<ptrdiff_t>(samples.RowSamples());
            site.neighbours[count++] = {dy * row + dx * samples.colors + plane, shift, plane};
            totals[plane] += 1u << shift;
        }
    }
    for (uint8_t plane = 0; plane < samples.colors; ++plane) {
        if (plane == image.FC(y, x)) continue;
        site.missing[site.missingCount++] = {plane, totals[plane]};
    }
    return site;
}

/// Any pattern, through tables: one for each row of the pattern and each of two columns.
bool InterpolateAnyPattern(CRawSensorImage& image, CImageReader* reader) {
    CRawSamples& samples = image.samples;
    std::array<std::array<CBilinearSite, 2>, 8> sites;  // by row, and by column 2 and 1
    for (uint32_t y = 0; y < 8; ++y) sites[y] = {MakeSite(image, y, 2), MakeSite(image, y, 1)};
    for (uint32_t y = 1; y + 1 < samples.height; ++y) {
        if (!StartRawRow(image, reader, y)) return false;
        for (uint32_t x = 1; x + 1 < samples.width; ++x) {
            const CBilinearSite& site = sites[y & 7][x & 1];
            uint16_t* pixel = samples.Pixel(y, x);
            std::array<uint32_t, 4> sums{};
            for (const auto& neighbour : site.neighbours) {
                sums[neighbour.plane] += uint32_t{pixel[neighbour.offset]} << neighbour.shift;
            }
            for (size_t i = 0; i < site.missingCount; ++i) {
                const auto [plane, total] = site.missing[i];
                pixel[plane] = static_cast<uint16_t>(total == 0 ? 0 : sums[plane] / total);
            }
        }
    }
    return true;
}

/// The planes of a row from column 1 on: `own` is what the row records beside green. `isGreen` has
/// all bits set where green is recorded.
KESTR_VECTOR_CLONES void InterpolateBayerRow(const uint16_t* __restrict above,
                                             const uint16_t* __restrict row,
                                             const uint16_t* __restrict below,
                                             const uint16_t* __restrict isGreen, size_t width,
                                             uint16_t* __restrict own, uint16_t* __restrict green,
                                             uint16_t* __restrict other) {
    const auto choose = [](uint16_t mask, uint32_t ifGreen, uint32_t ifNot) {
        return static_cast<uint16_t>((ifGreen & mask) | (ifNot & static_cast<uint16_t>(~mask)));
    };
    for (size_t x = 1; x + 1 < width; ++x) {
        const uint32_t beside = uint32_t{row[x - 1]} + row[x + 1];
        const uint32_t over = uint32_t{above[x]} + below[x];
        const uint32_t corners =
            uint32_t{above[x - 1]} + above[x + 1] + below[x - 1] + below[x + 1];
        own[x] = choose(isGreen[x], beside >> 1, row[x]);
        green[x] = choose(isGreen[x], row[x], (beside + over) >> 2);
        other[x] = choose(isGreen[x], over >> 1, corners >> 2);
    }
}

bool InterpolateBayer(CRawSensorImage& image, const CBayerPattern& bayer, CImageReader* reader) {
    CRawSamples& samples = image.samples;
    const size_t width = samples.width;
    std::vector<uint16_t> recorded(3 * width);  // rows of the sensor, in turn
    std::vector<uint16_t> planes(3 * width);
    const auto isGreen = GreenMasks(width);
    const auto rowOf = [&](uint32_t y) { return recorded.data() + y % 3 * width; };
    for (uint32_t y = 0; y < 2; ++y) GatherRow(image, y, rowOf(y));
    for (uint32_t y = 1; y + 1 < samples.height; ++y) {
        if (!StartRawRow(image, reader, y)) return false;
        GatherRow(image, y + 1, rowOf(y + 1));
        const uint32_t plane = bayer.Plane(y);
        uint16_t* first = planes.data();
        uint16_t* own = first + plane * width;
        uint16_t* other = first + (2 - plane) * width;
        InterpolateBayerRow(rowOf(y - 1), rowOf(y), rowOf(y + 1),
                            isGreen[bayer.GreenParity(y)].data(), width, own, first + width, other);
        ScatterRow(first + 1, first + width + 1, first + 2 * width + 1, width - 2,
                   samples.Pixel(y, 1));
    }
    return true;
}

}  // namespace

bool DemosaicBilinear(CRawSensorImage& image, CImageReader* reader) {
    ++image.passIndex;
    if (image.samples.width < 3 || image.samples.height < 3) return true;
    const auto bayer = BayerPatternOf(image);
    return bayer ? InterpolateBayer(image, *bayer, reader) : InterpolateAnyPattern(image, reader);
}

}  // namespace kestr
