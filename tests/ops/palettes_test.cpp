// Colour reduction and palettes against slow plain forms of them, and cases worked by hand.

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <limits>
#include <map>
#include <string>
#include <vector>

#include <gmock/gmock.h>

#include "image/image_bits.h"
#include "ops/palette_file.h"
#include "platform/code_page.h"
#include "platform/files.h"
#include "support/picture.h"

namespace kestr {
namespace {

using test::CNoise;
using testing::ElementsAre;

using CColour = std::array<int, 3>;  // blue, green, red
using CPalette = std::vector<CColour>;

std::unique_ptr<CImageBits> Noise24(int width, int height, int spread, uint32_t seed) {
    CNoise noise(seed);
    const auto byte = [&] {
        return static_cast<uint8_t>(noise.Byte() % spread + (255 - spread) / 2);
    };
    return test::Picture24(width, height, [&](int x, int) {
        return std::array<uint8_t, 3>{byte(), static_cast<uint8_t>(byte() / 2 + x % 100), byte()};
    });
}

std::unique_ptr<CImageBits> NoisePalette(int bitCount, int width, int height, int used,
                                         uint32_t seed) {
    CNoise noise(seed);
    auto image = test::PicturePalette(bitCount, width, height, [&](int, int) {
        return static_cast<uint8_t>(noise.Byte() % used * 3 % (1 << bitCount));
    });
    for (CRGBQuad& entry : image->bitmapInfo.Palette())
        entry = {noise.Byte(), noise.Byte(), noise.Byte(), 0};
    image->PixelsChanged();
    return image;
}

/// Colours in the order of memory: bottom row first.
std::vector<std::vector<CColour>> MemoryRows(const CImageBits& image) {
    std::vector<std::vector<CColour>> rows;
    for (int y = image.Height() - 1; y >= 0; --y) {
        auto& row = rows.emplace_back();
        for (int x = 0; x < image.Width(); ++x) {
            const auto bgr = test::ColourOf(image, x, y);
            row.push_back({bgr[0], bgr[1], bgr[2]});
        }
    }
    return rows;
}
std::vector<std::vector<int>> MemoryIndices(const CImageBits& image) {
    std::vector<std::vector<int>> rows;
    for (int y = image.Height() - 1; y >= 0; --y) {
        auto& row = rows.emplace_back();
        for (int x = 0; x < image.Width(); ++x) row.push_back(test::IndexOf(image, x, y));
    }
    return rows;
}
CPalette PaletteOf(const CImageBits& image, size_t count) {
    CPalette palette;
    for (size_t i = 0; i < count; ++i) {
        const CRGBQuad e = image.bitmapInfo.Palette()[i];
        palette.push_back({e.rgbBlue, e.rgbGreen, e.rgbRed});
    }
    return palette;
}

// ---- plain forms ----------------------------------------------------------------------------

/// The mapper: cells of six bits, two rows of sixteenths, errors spread in the told order.
std::vector<std::vector<int>> MapPlain(const std::vector<std::vector<CColour>>& rows,
                                       const CPalette& palette, bool dither) {
    std::map<int, int> cache;
    const auto find = [&](const CColour& held) {
        CColour c;
        for (size_t i = 0; i < 3; ++i) c[i] = std::clamp(held[i] >> 4, 0, 255);
        const int key = ((c[2] & 252) * 64 | (c[1] & 252)) * 16 | (c[0] >> 2);
        const auto known = cache.find(key);
        if (known != cache.end()) return known->second;
        int best = 0;
        int least = std::numeric_limits<int>::max();
        for (size_t i = 0; i < palette.size(); ++i) {
            int distance = 0;
            for (size_t k = 0; k < 3; ++k)
                distance += (c[k] - palette[i][k]) * (c[k] - palette[i][k]);
            if (distance < least) least = distance, best = static_cast<int>(i);
        }
        return cache[key] = best;
    };
    const int width = static_cast<int>(rows[0].size());
    const auto load = [&](size_t y) {
        std::vector<CColour> held(static_cast<size_t>(width) + 2);
        for (int x = 0; x < width; ++x) {
            for (size_t c = 0; c < 3; ++c)
                held[static_cast<size_t>(x) + 1][c] = 16 * rows[y][static_cast<size_t>(x)][c];
        }
        return held;
    };
    std::vector<std::vector<int>> out;
    std::vector<CColour> below = load(0);
    for (size_t y = 0; y < rows.size(); ++y) {
        std::vector<CColour> here = below;
        if (y + 1 < rows.size()) below = load(y + 1);
        const int d = y % 2 == 0 ? 1 : -1;
        for (int x = d > 0 ? 1 : width; x >= 1 && x <= width; x += d) {
            const auto at = [&](std::vector<CColour>& row, int column) -> CColour& {
                return row[static_cast<size_t>(column)];
            };
            const CColour held = at(here, x);
            const CColour& entry = palette[static_cast<size_t>(find(held))];
            for (size_t c = 0; c < 3; ++c) {
                at(here, x)[c] = 16 * entry[c];
                if (!dither) continue;
                const int e = held[c] - 16 * entry[c];
                const int k = e / 16;
                const auto add = [](int& cell, int share) {
                    cell = std::clamp(cell + share, 0, 4080);
                };
                add(at(here, x + d)[c], 7 * k);
                add(at(below, x)[c], 5 * k);
                add(at(below, x - d)[c], 3 * k);
                const int rest = e - 7 * k - 5 * k - 3 * k;
                if (rest > 0) at(below, x + d)[c] += rest;
            }
        }
        auto& row = out.emplace_back();
        for (int x = 1; x <= width; ++x) row.push_back(find(here[static_cast<size_t>(x)]));
    }
    return out;
}

/// The quantiser on a plain list of pixels: a box is the list of its pixels' buckets.
struct CPlainBox {
    std::vector<CColour> pixels;
    CColour low{0, 0, 0};
    CColour high{32, 32, 32};
    std::array<double, 3> mean{};
    double variance = 0;

    [[nodiscard]] double Count(size_t axis, int bucket) const {
        return static_cast<double>(
            std::ranges::count_if(pixels, [&](const CColour& p) { return p[axis] == bucket; }));
    }
    void Measure(double total, bool shrink) {
        variance = 0;
        if (pixels.empty()) return;
        const auto n = static_cast<double>(pixels.size());
        for (size_t axis = 0; axis < 3; ++axis) {
            if (shrink) {
                const auto [least, most] =
                    std::ranges::minmax(pixels, {}, [&](const CColour& p) { return p[axis]; });
                low[axis] = least[axis];
                high[axis] = most[axis] + 1;
            }
            double sum = 0;
            double squares = 0;
            for (const CColour& p : pixels) sum += p[axis], squares += p[axis] * p[axis];
            mean[axis] = sum / n;
            variance += squares - mean[axis] * mean[axis] * n;
        }
        variance = std::max(variance / total, 0.0001);
    }
};

CPalette QuantisePlain(const std::vector<std::vector<CColour>>& rows, int colours) {
    CPalette palette(256, CColour{0, 0, 0});
    CPlainBox whole;
    bool gray = true;
    for (const auto& row : rows) {
        for (const CColour& p : row) {
            gray = gray && p[0] == p[1] && p[1] == p[2];
            whole.pixels.push_back({p[0] >> 3, p[1] >> 3, p[2] >> 3});
        }
    }
    if (gray) {
        for (int i = 0; i < colours; ++i) palette[static_cast<size_t>(i)].fill(i * 255 / colours);
        return palette;
    }
    const auto total = static_cast<double>(whole.pixels.size());
    whole.Measure(total, false);
    std::vector<CPlainBox> boxes{whole};
    while (static_cast<int>(boxes.size()) < colours) {
        size_t pick = 0;
        for (size_t i = 1; i < boxes.size(); ++i) {
            if (boxes[i].variance > boxes[pick].variance) pick = i;
        }
        CPlainBox& box = boxes[pick];
        if (box.variance <= 0) break;
        const auto n = static_cast<float>(box.pixels.size());
        double bestRest = std::numeric_limits<double>::infinity();
        std::array<CPlainBox, 2> best;
        for (size_t axis = 0; axis < 3; ++axis) {
            if (box.low[axis] + 1 == box.high[axis]) continue;
            const double u = box.mean[axis];
            const int a = static_cast<int>((box.low[axis] + u) * 0.5);
            const int b = static_cast<int>((box.high[axis] + u) * 0.5);
            double l = 0;
            for (int i = box.low[axis]; i < a; ++i) l += box.Count(axis, i);
            float s = 0;
            float bestValue = -1;
            int position = a;
            double left = n;
            for (int i = a; i <= b; ++i) {
                const double h = box.Count(axis, i);
                l += h;
                if (l == n) break;
                s = static_cast<float>(s + h * i / n);
                const float difference = static_cast<float>(u) - s;
                const float c =
                    static_cast<float>(l) / static_cast<float>(n - l) * (difference * difference);
                if (c > bestValue) bestValue = c, position = i, left = l;
            }
            if (left == 0 || left == n) continue;
            std::array<CPlainBox, 2> halves;
            for (const CColour& p : box.pixels) halves[p[axis] > position].pixels.push_back(p);
            for (CPlainBox& half : halves) half.Measure(total, true);
            const double rest = halves[0].variance + halves[1].variance;
            if (rest < bestRest) bestRest = rest, best = halves;
        }
        if (bestRest == std::numeric_limits<double>::infinity()) {
            box.variance = 0;
            continue;
        }
        box = best[0];
        boxes.push_back(best[1]);
    }
    for (size_t i = 0; i < boxes.size(); ++i) {
        for (size_t c = 0; c < 3; ++c) {
            const int level = static_cast<int>(boxes[i].mean[c] + 0.5) * 8 & 255;
            palette[i][c] = level == 0 ? 0 : level | 7;
        }
    }
    return palette;
}

int CutTo(int index, int bits) {
    return bits == 1 ? index != 0 : index & ((1 << bits) - 1);
}

void ExpectMapped(const CImageBits& image, const std::vector<std::vector<CColour>>& before,
                  const CPalette& palette, int bits, bool dither) {
    ASSERT_EQ(image.bitmapInfo.BitCount(), bits);
    EXPECT_EQ(PaletteOf(image, palette.size()), palette);
    auto wanted = MapPlain(before, palette, dither);
    for (auto& row : wanted) {
        for (int& index : row) index = CutTo(index, bits);
    }
    EXPECT_EQ(MemoryIndices(image), wanted);
}

// ---- reduction ------------------------------------------------------------------------------

struct CReductionCase {
    int source;  // bits a pixel
    int16_t colours, bits;
    bool dither;
    int width, height;
};

class Reduction : public testing::TestWithParam<CReductionCase> {};

TEST_P(Reduction, MapsOntoThePaletteThatItFinds) {
    const CReductionCase& c = GetParam();
    for (const int spread : {255, 40, 12}) {
        SCOPED_TRACE(spread);
        const auto image = c.source == 24 ? Noise24(c.width, c.height, spread, 9)
                                          : NoisePalette(c.source, c.width, c.height, 250, 9);
        const auto before = MemoryRows(*image);
        ASSERT_TRUE(image->OpReduceColors(c.colours, c.bits, c.dither, 0)) << image->errorText;
        const bool bilevel = c.colours == 2 && c.bits == 1;
        const CPalette palette =
            bilevel ? CPalette{{0, 0, 0}, {255, 255, 255}} : QuantisePlain(before, c.colours);
        ExpectMapped(*image, before, palette, c.bits, c.dither);
        // 256 entries count as 0; so does the full number of the format.
        EXPECT_EQ(image->bitmapInfo.Header().biClrUsed, 0u);
    }
}

INSTANTIATE_TEST_SUITE_P(
    Palettes, Reduction,
    testing::Values(CReductionCase{24, 256, 8, false, 40, 30},
                    CReductionCase{24, 256, 8, true, 41, 30},
                    CReductionCase{24, 16, 8, true, 17, 9}, CReductionCase{24, 16, 4, true, 33, 7},
                    CReductionCase{24, 5, 4, false, 7, 7}, CReductionCase{24, 2, 1, true, 21, 6},
                    CReductionCase{24, 1, 8, true, 9, 3}, CReductionCase{24, 0, 4, false, 9, 3},
                    CReductionCase{24, -7, 8, false, 9, 3}, CReductionCase{24, 256, 8, true, 1, 1},
                    CReductionCase{24, 1, 1, true, 13, 5}, CReductionCase{8, 16, 4, true, 31, 9},
                    CReductionCase{8, 2, 1, true, 19, 5}, CReductionCase{8, 1, 1, true, 19, 5},
                    CReductionCase{4, 2, 1, true, 19, 5}));

TEST(PalettesTest, GivesAGrayPictureARamp) {
    const auto image = test::Picture24(64, 4, [](int x, int y) {
        const auto v = static_cast<uint8_t>(x * 4 + y);
        return std::array{v, v, v};
    });
    const auto before = MemoryRows(*image);
    ASSERT_TRUE(image->OpReduceColors(7, 8, false, 0));
    CPalette ramp(256, CColour{0, 0, 0});
    const std::array levels{0, 36, 72, 109, 145, 182, 218};  // i * 255 / 7, cut
    for (size_t i = 0; i < levels.size(); ++i) ramp[i].fill(levels[i]);
    ExpectMapped(*image, before, ramp, 8, false);
}

TEST(PalettesTest, SplitsTwoColoursByHand) {
    // Buckets 2 and 30 of each axis: boxes of one bucket each, 2 * 8 | 7 and 30 * 8 | 7.
    const auto image = test::Picture24(4, 2, [](int x, int) {
        return x < 3 ? std::array<uint8_t, 3>{16, 20, 23} : std::array<uint8_t, 3>{240, 241, 247};
    });
    ASSERT_TRUE(image->OpReduceColors(256, 8, true, 0));
    const CPalette wanted{{23, 23, 23}, {247, 247, 247}, {0, 0, 0}};
    EXPECT_EQ(PaletteOf(*image, 3), wanted);
}

TEST(PalettesTest, KeepsTheFewColoursOfAnEightBitPicture) {
    const auto image = test::PicturePalette(
        8, 5, 2, [](int x, int y) { return static_cast<uint8_t>(200 - 40 * x + y); });
    ASSERT_TRUE(image->OpReduceColors(16, 4, true, 0));
    EXPECT_EQ(image->bitmapInfo.BitCount(), 4);
    EXPECT_EQ(image->bitmapInfo.ColorCount(), 10);
    EXPECT_EQ(PaletteOf(*image, 3), (CPalette{{40, 40, 40}, {41, 41, 41}, {80, 80, 80}}));
    // Pairs, the high nibble first; the last one alone.
    EXPECT_THAT(std::vector(image->RowFromTop(0), image->RowFromTop(0) + 4),
                ElementsAre(0x86, 0x42, 0x00, 0));
    EXPECT_THAT(std::vector(image->RowFromTop(1), image->RowFromTop(1) + 4),
                ElementsAre(0x97, 0x53, 0x10, 0));
    // Two colours in one bit: still four bits.
    const auto two =
        test::PicturePalette(8, 9, 1, [](int x, int) { return static_cast<uint8_t>(x % 2 * 7); });
    ASSERT_TRUE(two->OpReduceColors(2, 1, true, 0));
    EXPECT_EQ(two->bitmapInfo.BitCount(), 4);
    EXPECT_EQ(two->bitmapInfo.ColorCount(), 2);
}

TEST(PalettesTest, HalftonesInRowsOfMemory) {
    constexpr int kThresholds[4][4] = {
        {0, 128, 32, 160}, {192, 64, 224, 96}, {48, 176, 16, 144}, {240, 112, 208, 80}};
    for (const int source : {24, 8, 4}) {
        for (const int width : {1, 7, 8, 16, 21}) {
            SCOPED_TRACE(std::to_string(source) + " bits, " + std::to_string(width));
            const auto image =
                source == 24 ? Noise24(width, 9, 255, 3) : NoisePalette(source, width, 9, 16, 3);
            image->alpha.ResizeZeroed(9);
            const auto rows = MemoryRows(*image);
            ASSERT_TRUE(image->OpReduceColors(-3, 1, false, 0));
            EXPECT_TRUE(image->alpha.empty());
            EXPECT_EQ(PaletteOf(*image, 2), (CPalette{{0, 0, 0}, {255, 255, 255}}));
            for (int y = 0; y < 9; ++y) {
                std::vector<uint8_t> wanted;
                int byte = 0;
                for (int x = 0; x < width; ++x) {
                    const auto [blue, green, red] =
                        rows[static_cast<size_t>(y)][static_cast<size_t>(x)];
                    const auto part = [](double weight, int level) {
                        return static_cast<int>(level * weight * 256 + 0.5);
                    };
                    const int luminance =
                        (part(0.30, red) + part(0.59, green) + part(0.11, blue)) >> 8;
                    byte = byte << 1 | (luminance > kThresholds[y & 3][x & 3]);
                    if (x % 8 == 7) wanted.push_back(static_cast<uint8_t>(byte)), byte = 0;
                }
                if (width % 8 != 0) wanted.push_back(static_cast<uint8_t>(byte));  // not moved up
                const uint8_t* row = image->RowFromTop(8 - y);
                EXPECT_EQ(std::vector(row, row + wanted.size()), wanted);
            }
        }
    }
}

struct CRefusal {
    const char* name;
    int source;
    int16_t colours, bits;
    bool dither;
    const char* words;
};
constexpr CRefusal kRefusals[] = {
    {"two bits", 24, 4, 2, true, "Invalid bit count."},
    {"negative bits", 24, 4, -8, true, "Invalid bit count."},
    {"257 colours", 24, 257, 8, true, "Color count exceeds maximum for bits parameter."},
    {"3 colours in a bit", 24, 3, 1, false, "Color count exceeds maximum for bits parameter."},
    {"bits of bits", 1, 2, 1, false, "Image colors already reduced."},
    {"bits dithered", 1, 2, 1, true, "Bits parameter incompatible with image bits."},
    {"as many bits", 8, 256, 8, false, "Bits parameter incompatible with image bits."},
    {"more bits", 4, 100, 8, true, "Bits parameter incompatible with image bits."},
};
TEST(PalettesTest, RefusesReductions) {
    for (const CRefusal& c : kRefusals) {
        SCOPED_TRACE(c.name);
        for (const int undo : {0, 1}) {
            const auto image =
                c.source == 24 ? Noise24(5, 5, 50, 1) : NoisePalette(c.source, 5, 5, 9, 1);
            image->alpha.ResizeZeroed(25);
            const auto before = MemoryRows(*image);
            EXPECT_FALSE(image->OpReduceColors(c.colours, c.bits, c.dither, undo));
            EXPECT_EQ(image->errorText, c.words);
            EXPECT_EQ(MemoryRows(*image), before);
            EXPECT_EQ(image->alpha.size(), 25u);
            EXPECT_TRUE(image->undoStack.empty());
        }
    }
}

TEST(PalettesTest, TakesThe16BitStoreAwayUndoably) {
    const auto image = test::Picture16(
        3, 6, 4, [](int x, int y, int c) { return static_cast<uint16_t>(9000 * x + 700 * y + c); });
    const CPixelWords samples = image->bits16;
    ASSERT_TRUE(image->OpReduceColors(16, 4, true, 1));
    EXPECT_FALSE(image->Has16Bit());
    ASSERT_TRUE(image->PopUndo(false));
    EXPECT_TRUE(image->bits16 == samples);
    // A refusal leaves it where it was.
    const auto gray =
        test::Picture16(1, 6, 4, [](int x, int, int) { return static_cast<uint16_t>(9000 * x); });
    EXPECT_FALSE(gray->OpReduceColors(16, 8, true, 0));
    EXPECT_TRUE(gray->Has16Bit());
}

// ---- standard palettes ----------------------------------------------------------------------

TEST(PalettesTest, MatchesStandardPalettes) {
    // Blue, green, red.
    const CPalette sixteen{{0, 0, 0},       {0, 191, 0},   {0, 0, 191},   {0, 191, 191},
                           {191, 0, 0},     {191, 191, 0}, {191, 0, 191}, {192, 192, 192},
                           {128, 128, 128}, {255, 0, 0},   {0, 255, 0},   {0, 0, 255},
                           {0, 255, 255},   {255, 255, 0}, {255, 0, 255}, {255, 255, 255}};
    CPalette cube;
    for (int red = 0; red < 256; red += 51) {
        for (int green = 0; green < 256; green += 51) {
            for (int blue = 0; blue < 256; blue += 51) cube.push_back({blue, green, red});
        }
    }
    for (const int source : {24, 8, 4}) {
        for (const int bits : {4, 8}) {
            for (const bool dither : {false, true}) {
                if (bits > source) continue;
                SCOPED_TRACE(std::to_string(source) + " to " + std::to_string(bits));
                const auto image =
                    source == 24 ? Noise24(31, 17, 255, 2) : NoisePalette(source, 31, 17, 16, 2);
                const auto before = MemoryRows(*image);
                ASSERT_TRUE(image->OpMatchStandardPalette(static_cast<int16_t>(bits), dither, 0));
                ExpectMapped(*image, before, bits == 4 ? sixteen : cube, bits, dither);
                EXPECT_EQ(image->bitmapInfo.ColorCount(), bits == 4 ? 16 : 216);
            }
        }
    }
    const auto nibbles = NoisePalette(4, 3, 3, 9, 2);
    EXPECT_FALSE(nibbles->OpMatchStandardPalette(8, true, 1));
    EXPECT_EQ(nibbles->errorText, "Cannot increase color resolution.");
    EXPECT_FALSE(nibbles->OpMatchStandardPalette(1, true, 1));
    EXPECT_EQ(nibbles->errorText, "Only 4 or 8 bit standard palettes can be specified.");
    EXPECT_TRUE(nibbles->undoStack.empty());
}

// ---- more bits ------------------------------------------------------------------------------

TEST(PalettesTest, IncreasesBits) {
    for (const int source : {1, 4, 8}) {
        for (const int bits : {4, 8, 24}) {
            if (bits <= source) continue;
            SCOPED_TRACE(std::to_string(source) + " to " + std::to_string(bits));
            const auto image = NoisePalette(source, 21, 5, 200, 8);
            const auto before = MemoryRows(*image);
            ASSERT_TRUE(image->OpIncreaseBitsPerPixel(bits, 1));
            EXPECT_EQ(image->bitmapInfo.BitCount(), bits);
            EXPECT_EQ(MemoryRows(*image), before);
            EXPECT_EQ(image->undoStack.size(), 1u);
        }
    }
    // Gray levels come out of a palette.
    const auto gray =
        test::PicturePalette(4, 3, 1, [](int x, int) { return static_cast<uint8_t>(x); });
    ASSERT_TRUE(gray->OpIncreaseBitsPerPixel(8, 0));
    EXPECT_EQ(test::IndexOf(*gray, 2, 0), 34);
    const auto deep =
        test::Picture16(1, 2, 1, [](int x, int, int) { return static_cast<uint16_t>(0x1234 + x); });
    ASSERT_TRUE(deep->OpIncreaseBitsPerPixel(24, 0));
    EXPECT_THAT(std::vector(deep->bits16.begin(), deep->bits16.end()),
                ElementsAre(0x1234, 0x1234, 0x1234, 0x1235, 0x1235, 0x1235));
    EXPECT_EQ(test::ColourOf(*deep, 1, 0), (std::array<uint8_t, 3>{0x12, 0x12, 0x12}));

    const auto image = NoisePalette(4, 3, 3, 9, 2);
    EXPECT_TRUE(image->OpIncreaseBitsPerPixel(4, 1));
    for (const int bits : {1, 0, -4, 5, 16, 32, 256}) {
        EXPECT_FALSE(image->OpIncreaseBitsPerPixel(bits, 1));
        EXPECT_EQ(image->errorText, "Invalid destination BPP value specified.");
    }
    EXPECT_TRUE(image->undoStack.empty());
}

// ---- palette files --------------------------------------------------------------------------

std::vector<uint8_t> Bytes(const std::string& text) {
    return {text.begin(), text.end()};
}
std::string Word(unsigned value, int bytes) {
    std::string text;
    for (; bytes != 0; --bytes, value >>= 8) text += static_cast<char>(value);
    return text;
}
/// A RIFF file of two entries that states what it is told.
std::string Riff(unsigned chunkSize, unsigned count) {
    return "RIFF" + Word(99, 4) + "PAL data" + Word(chunkSize, 4) + Word(0x300, 2) +
           Word(count, 2) + "\x01\x02\x03" + Word(0, 1) + "\x04\x05\x06" + Word(9, 1);
}
std::string Block(std::string text) {
    text.resize(256);
    return text;
}
const std::string kJascHead = Block("JASC-PAL") + Block("0100");

struct CFileCase {
    const char* name;
    std::string file;
    CPalette palette;  // blue, green, red
};

TEST(PalettesTest, ReadsPaletteFiles) {
    const CPalette two{{3, 2, 1}, {6, 5, 4}};
    const CFileCase cases[] = {
        {"RIFF", Riff(12, 2), two},
        {"RIFF with more", Riff(12, 2) + "tail", two},
        {"fewer entries than bytes", Riff(12, 1), {{3, 2, 1}}},
        {"no entries", Riff(12, 0), {}},
        {"more entries than bytes", Riff(12, 3), {}},
        {"chunk too short", Riff(11, 2), {}},
        {"chunk of nothing", Riff(0, 2), {}},
        {"chunk beyond the file", Riff(13, 2), {}},
        {"huge chunk", Riff(0xFFFFFFFF, 2), {}},
        {"cut", Riff(12, 2).substr(0, 21), {}},
        {"not a palette", "RIFF" + Word(4, 4) + "WAVEdata" + Word(8, 4) + Word(0, 8), {}},
        {"JASC", kJascHead + Block("2") + Block("1 2\t3 ") + Block(" 4 5 6\n"), two},
        {"last block short", kJascHead + Block("2\n") + Block("1 2 3") + "4 5 6 9", two},
        {"JASC in lines", "JASC-PAL\n0100\n2\n1 2 3\n4 5 6\n", {}},
        {"too few blocks", kJascHead + Block("3") + Block("1 2 3") + Block("4 5 6"), {}},
        {"two numbers", kJascHead + Block("1") + Block("1 2"), {}},
        {"257 entries", kJascHead + Block("257") + std::string(257 * 256, '1'), {}},
        {"no count", kJascHead, {}},
        {"wrong version", Block("JASC-PAL") + Block("0200") + Block("1") + Block("1 2 3"), {}},
        {"something else", "GIF89a", {}},
        {"three bytes", "RIF", {}},
    };
    for (const CFileCase& c : cases) {
        SCOPED_TRACE(c.name);
        CPalette palette;
        for (const CRGBQuad entry : ParsePalette(Bytes(c.file)))
            palette.push_back({entry.rgbBlue, entry.rgbGreen, entry.rgbRed});
        EXPECT_EQ(palette, c.palette);
    }
}

TEST(PalettesTest, WritesPaletteFilesByteByByte) {
    const CRGBQuad palette[] = {{3, 2, 1, 77}, {6, 5, 4, 0}};
    const std::string wanted = "RIFF" + Word(28, 4) + "PAL data" + Word(16, 4) + Word(0x300, 2) +
                               Word(2, 2) + "\x01\x02\x03" + Word(0, 1) + "\x04\x05\x06" +
                               Word(0, 5);
    EXPECT_EQ(MakePaletteFile(palette), Bytes(wanted));
}

TEST(PalettesTest, SavesAndMatchesPaletteFiles) {
    const auto name = MakeTemporaryFile(".pal");
    const auto source = NoisePalette(8, 4, 4, 200, 6);
    source->bitmapInfo.SetColorCount(17);
    ASSERT_TRUE(source->SavePalette(name.c_str()));
    const CPalette palette = PaletteOf(*source, 17);
    for (const int bits : {24, 8}) {
        const auto image = bits == 24 ? Noise24(15, 7, 255, 1) : NoisePalette(8, 15, 7, 250, 1);
        const auto before = MemoryRows(*image);
        ASSERT_TRUE(image->OpMatchToPalette(name.c_str(), true, 1));
        ExpectMapped(*image, before, palette, 8, true);
        EXPECT_EQ(image->bitmapInfo.ColorCount(), 17);
    }
    const auto nibbles = NoisePalette(4, 4, 4, 9, 6);
    EXPECT_FALSE(nibbles->OpMatchToPalette(name.c_str(), true, 1));  // 17 entries need 8 bits
    EXPECT_FALSE(nibbles->OpMatchToPalette(nullptr, true, 1));
    EXPECT_EQ(nibbles->errorText, "");
    EXPECT_TRUE(nibbles->undoStack.empty());
    ASSERT_TRUE(nibbles->SavePalette(name.c_str()));
    const auto colour = Noise24(9, 9, 255, 1);
    ASSERT_TRUE(colour->OpMatchToPalette(name.c_str(), false, 0));
    EXPECT_EQ(colour->bitmapInfo.BitCount(), 4);
    RemoveFile(name.c_str());

    EXPECT_FALSE(Noise24(2, 2, 9, 1)->OpMatchToPalette(name.c_str(), false, 0));
    const auto deep = Noise24(2, 2, 9, 1);
    EXPECT_FALSE(deep->SavePalette(name.c_str()));
    EXPECT_EQ(deep->errorText, "Image has no color palette.");
    EXPECT_FALSE(CanReadFile(name.c_str()));
    const KESTR_CHAR nothing[] = {0};
    EXPECT_FALSE(source->SavePalette(nothing));
    EXPECT_FALSE(source->SavePalette(nullptr));
}

}  // namespace
}  // namespace kestr
