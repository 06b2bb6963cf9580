// Resampling: each scaler against a slow plain one that goes sample by sample.

#include <algorithm>
#include <cmath>
#include <functional>

#include <gmock/gmock.h>

#include "image/image_bits.h"
#include "support/picture.h"

namespace kestr {
namespace {

using test::CNoise;
using test::ColourOf;
using test::Picture16;
using test::Picture24;
using test::PicturePalette;

/// Samples of a picture from the top left corner, `channels` a pixel.
struct CPlain {
    int width = 0, height = 0, channels = 1;
    std::vector<int> samples;

    CPlain(int w, int h, int c)
        : width(w), height(h), channels(c), samples(static_cast<size_t>(w * h * c)) {}
    int& At(int x, int y, int c) {
        return samples[static_cast<size_t>((y * width + x) * channels + c)];
    }
    int At(int x, int y, int c) const {
        return samples[static_cast<size_t>((y * width + x) * channels + c)];
    }
};

/// The colours of the 8-bit store through its palette, one channel when the image has 8 bits.
CPlain Plain8(const CImageBits& image, int channels) {
    CPlain plain(image.Width(), image.Height(), channels);
    for (int y = 0; y < plain.height; ++y) {
        for (int x = 0; x < plain.width; ++x) {
            const auto colour = test::ColourOf(image, x, y);
            for (int c = 0; c < channels; ++c) plain.At(x, y, c) = colour[static_cast<size_t>(c)];
        }
    }
    return plain;
}

CPlain Plain16(const CImageBits& image) {
    CPlain plain(image.Width(), image.Height(), image.Samples16());
    std::copy(image.bits16.begin(), image.bits16.end(), plain.samples.begin());
    return plain;
}

// ---- the filters ----------------------------------------------------------------------------

float PlainSinc(float x) {
    if (x == 0) return 1;
    const float p = 3.1415927410125732F * x;
    return static_cast<float>(std::sin(static_cast<double>(p))) / p;
}

float PlainKernel(int method, float x) {
    const float a = std::fabs(x);
    switch (method) {
        case 3:
            return a < 1 ? 1 - a : 0;
        case 4:
            // Even, so that both sides' forms are one: the Part of |x| below 1 and below 2.
            if (a < 1) return (4 + x * x * (3 * a - 6)) / 6;
            return a < 2 ? (2 - a) * (2 - a) * (2 - a) / 6 : 0;
        case 5:
            if (a < 1) return (7 * a * a * a - 12 * a * a + 5.333333492279053F) / 6;
            if (a < 2) {
                return (-2.3333332538604736F * a * a * a + 12 * a * a - 20 * a +
                        10.666666984558105F) /
                       6;
            }
            return 0;
        case 6:
            return a < 3 ? PlainSinc(a) * PlainSinc(a / 3) : 0;
        default: {
            const float u = 3.1415927410125732F * (x * 0.25F);
            const auto cosine = [](float v) {
                return static_cast<float>(std::cos(static_cast<double>(v)));
            };
            return PlainSinc(x) * (0.42F + 0.5F * cosine(u) + 0.08F * cosine(2 * u));
        }
    }
}

/// The weights of one destination position, from source position `left` on.
struct CTaps {
    int left = 0;
    std::vector<int> weights;
};

std::vector<CTaps> PlainTaps(int n, int length, int method) {
    constexpr float kSupports[] = {1, 2, 2, 3, 4};
    const float scale = static_cast<float>(length) / static_cast<float>(n);
    const float support = kSupports[method - 3];
    const float halfWidth = scale < 1 ? support / scale : support;
    const float stretch = scale < 1 ? 1 / scale : 1;
    std::vector<CTaps> taps;
    for (int i = 0; i < length; ++i) {
        const float centre = static_cast<float>(i) / scale;
        const int left = static_cast<int>(std::ceil(centre - halfWidth));
        const int right = static_cast<int>(std::floor(centre + halfWidth));
        std::vector<float> raw;
        float sum = 0;
        for (int j = left; j <= right; ++j) {
            raw.push_back(PlainKernel(method, (centre - static_cast<float>(j)) / stretch) /
                          stretch);
            sum += raw.back();
        }
        const float factor = sum == 0 || sum == 1 ? 16384 : 16384 / sum;
        taps.push_back({left, {}});
        for (const float weight : raw) {
            taps.back().weights.push_back(static_cast<int>(weight * factor));
        }
    }
    return taps;
}

std::vector<int> FilterLine(const std::vector<int>& line, const std::vector<CTaps>& taps,
                            int most) {
    const auto n = static_cast<int>(line.size());
    std::vector<int> result;
    for (const CTaps& t : taps) {
        const int first = line[static_cast<size_t>(std::clamp(t.left, 0, n - 1))];
        bool equal = true;
        int32_t total = 0;
        int j = t.left;
        for (const int weight : t.weights) {
            const int sample = line[static_cast<size_t>(std::clamp(j++, 0, n - 1))];
            total += weight * sample;
            equal = equal && sample == first;
        }
        result.push_back(equal ? first : std::min(std::max(total, 0) >> 14, most));
    }
    return result;
}

CPlain FilterPlain(const CPlain& source, int width, int height, int method, int most) {
    const std::vector<CTaps> columns = PlainTaps(source.width, width, method);
    const std::vector<CTaps> rows = PlainTaps(source.height, height, method);
    CPlain middle(width, source.height, source.channels);
    CPlain result(width, height, source.channels);
    for (int c = 0; c < source.channels; ++c) {
        for (int y = 0; y < source.height; ++y) {
            std::vector<int> line;
            for (int x = 0; x < source.width; ++x) line.push_back(source.At(x, y, c));
            line = FilterLine(line, columns, most);
            for (int x = 0; x < width; ++x) middle.At(x, y, c) = line[static_cast<size_t>(x)];
        }
        for (int x = 0; x < width; ++x) {
            std::vector<int> line;
            for (int y = 0; y < source.height; ++y) line.push_back(middle.At(x, y, c));
            line = FilterLine(line, rows, most);
            for (int y = 0; y < height; ++y) result.At(x, y, c) = line[static_cast<size_t>(y)];
        }
    }
    return result;
}

// ---- pictures --------------------------------------------------------------------------------

/// Levels with flat areas, edges, extremes and noise.
int Level(CNoise& noise, int x, int y, int most) {
    switch ((x / 7 + y / 5) % 4) {
        case 0:
            return most;
        case 1:
            return 0;
        case 2:
            return most * 3 / 5;
        default:
            return static_cast<int>(noise() >> 3) & most;
    }
}

/// Depths 8, 24, 16 and 48 (both stores, one or three channels), or 1 and 4.
std::unique_ptr<CImageBits> Scene(int depth, int width, int height) {
    CNoise noise(static_cast<uint32_t>(depth + width * 100 + height));
    if (depth == 24) {
        return Picture24(width, height, [&](int x, int y) {
            return std::array{static_cast<uint8_t>(Level(noise, x, y, 255)),
                              static_cast<uint8_t>(Level(noise, x + 7, y, 255)),
                              static_cast<uint8_t>(Level(noise, x, y + 10, 255))};
        });
    }
    if (depth == 16 || depth == 48) {
        return Picture16(depth / 16, width, height, [&](int x, int y, int c) {
            return static_cast<uint16_t>(Level(noise, x + 7 * c, y, 65535));
        });
    }
    return PicturePalette(depth, width, height, [&](int x, int y) {
        return static_cast<uint8_t>(Level(noise, x, y, (1 << depth) - 1));
    });
}

void ExpectSamples(const CImageBits& image, const CPlain& expected) {
    ASSERT_EQ(image.Width(), expected.width);
    ASSERT_EQ(image.Height(), expected.height);
    if (image.Has16Bit()) {
        const CPlain actual = Plain16(image);
        ASSERT_EQ(actual.samples, expected.samples);
        CPlain shown = Plain8(image, expected.channels);
        for (size_t i = 0; i < shown.samples.size(); ++i) {
            ASSERT_EQ(shown.samples[i], expected.samples[i] >> 8);
        }
    } else {
        ASSERT_EQ(Plain8(image, expected.channels).samples, expected.samples);
    }
}

struct CSize {
    int width, height;
};
struct CScaling {
    int fromWidth, fromHeight, toWidth, toHeight;
};
constexpr CScaling kScalings[] = {{61, 37, 13, 9},    {13, 9, 61, 37},   {40, 30, 40, 11},
                                  {40, 30, 9, 71},    {1, 1, 5, 4},      {50, 40, 1, 1},
                                  {33, 32, 66, 64},   {130, 66, 65, 33}, {2, 90, 2100, 3},
                                  {2500, 2, 1200, 5}, {17, 18, 18, 17}};

TEST(ResampleTest, FiltersMatchThePlainForm) {
    for (const int depth : {8, 24, 16, 48}) {
        for (int method = 3; method <= 7; ++method) {
            for (const CScaling& s : kScalings) {
                SCOPED_TRACE(testing::Message()
                             << depth << " bits, method " << method << ", " << s.fromWidth << 'x'
                             << s.fromHeight << " to " << s.toWidth << 'x' << s.toHeight);
                const auto image = Scene(depth, s.fromWidth, s.fromHeight);
                const int channels = image->Samples16();
                const bool deep = image->Has16Bit();
                const CPlain source = deep ? Plain16(*image) : Plain8(*image, channels);
                ASSERT_TRUE(image->OpResizeExL(s.toWidth, static_cast<uint32_t>(s.toHeight),
                                               static_cast<uint8_t>(method), false, 0));
                ExpectSamples(
                    *image, FilterPlain(source, s.toWidth, s.toHeight, method, deep ? 65535 : 255));
                if (HasFatalFailure()) return;
            }
        }
    }
}

// ---- the sampler and the block reducer ---------------------------------------------------------

CPlain SamplePlain(const CPlain& source, int width, int height, bool interpolate) {
    CPlain result(width, height, source.channels);
    const double ys = static_cast<double>(height) / source.height;
    const double xs = static_cast<double>(width) / source.width;
    for (int y = 0; y < height; ++y) {
        const double fy = y / ys;
        const int iy = std::min(static_cast<int>(fy), source.height - 1);
        const int ny = iy < source.height - 1 ? iy + 1 : iy;
        for (int x = 0; x < width; ++x) {
            const double fx = x / xs;
            const int ix = static_cast<int>(fx);
            const int nx = ix < source.width - 1 ? ix + 1 : ix;
            for (int c = 0; c < source.channels; ++c) {
                const int a = source.At(ix, iy, c);
                const int b = source.At(nx, iy, c);
                const double top = a + (b - a) * (fx - ix);
                const double bottom = source.At(ix, ny, c) +
                                      (source.At(nx, ny, c) - source.At(ix, ny, c)) * (fx - ix);
                result.At(x, y, c) =
                    interpolate ? static_cast<int>((bottom - top) * (fy - iy) + top + 0.5) : a;
            }
        }
    }
    return result;
}

CPlain AveragePlain(const CPlain& source, int width, int height) {
    CPlain result(width, height, source.channels);
    const double ys = static_cast<double>(height) / source.height;
    const double xs = static_cast<double>(width) / source.width;
    for (int y = 0; y < height; ++y) {
        for (int x = 0; x < width; ++x) {
            for (int c = 0; c < source.channels; ++c) {
                uint32_t sum = 0;
                uint32_t count = 0;
                const int bottom = std::min(static_cast<int>((y + 1) / ys), source.height);
                const int right = std::min(static_cast<int>((x + 1) / xs), source.width);
                for (int j = static_cast<int>(y / ys); j < bottom; ++j) {
                    for (int i = static_cast<int>(x / xs); i < right; ++i, ++count) {
                        sum += static_cast<uint32_t>(source.At(i, j, c));
                    }
                }
                result.At(x, y, c) = static_cast<int>(sum / count);
            }
        }
    }
    return result;
}

/// Samples of the store that is the master.
CPlain Master(const CImageBits& image, int channels) {
    return image.Has16Bit() ? Plain16(image) : Plain8(image, channels);
}

TEST(ResampleTest, SamplerMatchesThePlainForm) {
    for (const int depth : {1, 4, 8, 24, 16, 48}) {
        for (const bool interpolate : {false, true}) {
            for (const CScaling& s : kScalings) {
                // Both sides shrink: the reducer's case.
                if (s.toWidth < s.fromWidth && s.toHeight < s.fromHeight) continue;
                SCOPED_TRACE(testing::Message() << depth << " bits, " << interpolate << ' '
                                                << s.toWidth << 'x' << s.toHeight);
                const auto image = Scene(depth, s.fromWidth, s.fromHeight);
                const int channels = depth == 24 || depth == 48 ? 3 : 1;
                const CPlain source = Master(*image, channels);
                ASSERT_TRUE(image->OpResize(s.toWidth, s.toHeight, false, interpolate, 3, 0));
                ExpectSamples(*image, SamplePlain(source, s.toWidth, s.toHeight, interpolate));
                const bool widened = interpolate && depth < 8;
                EXPECT_EQ(image->bitmapInfo.BitCount(), channels == 3            ? 24
                                                        : depth == 16 || widened ? 8
                                                                                 : depth);
                if (HasFatalFailure()) return;
            }
        }
    }
}

TEST(ResampleTest, ReducerAveragesOrTakesSinglePixels) {
    constexpr CScaling kReductions[] = {
        {61, 37, 13, 9}, {130, 66, 65, 33}, {50, 40, 1, 1}, {40, 900, 7, 2}, {23, 19, 22, 18}};
    for (const int depth : {4, 8, 24, 16, 48}) {
        for (const CScaling& s : kReductions) {
            SCOPED_TRACE(testing::Message()
                         << depth << " bits, " << s.toWidth << 'x' << s.toHeight);
            const int channels = depth == 24 || depth == 48 ? 3 : 1;
            const auto average = Scene(depth, s.fromWidth, s.fromHeight);
            const CPlain source = Master(*average, channels);
            ASSERT_TRUE(average->OpResize(s.toWidth, s.toHeight, false, false, 3, 0));
            ExpectSamples(*average, AveragePlain(source, s.toWidth, s.toHeight));
            const auto points = Scene(depth, s.fromWidth, s.fromHeight);
            ASSERT_TRUE(points->OpResize(s.toWidth, s.toHeight, false, true, 0, 0));
            ExpectSamples(*points, SamplePlain(source, s.toWidth, s.toHeight, false));
            if (HasFatalFailure()) return;
        }
    }
}

TEST(ResampleTest, ReducerCombinesBits) {
    // Blocks of 2 x 2: all white, one black pixel, one white pixel, all black.
    const char* const kRows[] = {"11011000", "11110000"};
    struct CCase {
        int mode;
        std::array<uint8_t, 4> expected;
        int bitCount;
    };
    constexpr CCase kCases[] = {{0, {1, 0, 1, 0}, 1},
                                {1, {1, 0, 0, 0}, 1},
                                {2, {1, 1, 1, 0}, 1},
                                {3, {255, 191, 63, 0}, 8}};  // 255 x 3/4 and 1/4, truncated
    for (const CCase& c : kCases) {
        SCOPED_TRACE(c.mode);
        const auto image = PicturePalette(
            1, 8, 2, [&](int x, int y) { return static_cast<uint8_t>(kRows[y][x] - '0'); });
        ASSERT_TRUE(image->OpResize(4, 1, false, false, static_cast<uint8_t>(c.mode), 0));
        EXPECT_EQ(image->bitmapInfo.BitCount(), c.bitCount);
        for (int x = 0; x < 4; ++x) {
            EXPECT_EQ(test::IndexOf(*image, x, 0), c.expected[static_cast<size_t>(x)]) << x;
        }
    }
}

TEST(ResampleTest, SomeValuesByHand) {
    const auto row = [](std::vector<uint8_t> levels) {
        return PicturePalette(8, static_cast<int>(levels.size()), 1,
                              [=](int x, int) { return levels[static_cast<size_t>(x)]; });
    };
    const auto levels = [](const CImageBits& image) {
        return std::vector<uint8_t>(image.bits.data(), image.bits.data() + image.Width());
    };
    // Halfway between neighbours, rounded; the last pixel has none.
    auto image = row({0, 101, 200});
    ASSERT_TRUE(image->OpResize(6, 1, false, true, 0, 0));
    EXPECT_THAT(levels(*image), testing::ElementsAre(0, 51, 101, 151, 200, 200));
    // A triangle twice as wide has the weights 1/4, 1/2, 1/4 around every other pixel; the first
    // pixel counts for the one before it, too.
    image = row({8, 40, 80, 160});
    ASSERT_TRUE(image->OpResizeExL(2, 1, 3, false, 0));
    EXPECT_THAT(levels(*image), testing::ElementsAre(16, 90));
}

TEST(ResampleTest, FlatPicturesStayFlat) {
    for (const uint16_t level : {uint16_t{1}, uint16_t{777}, uint16_t{65534}, uint16_t{65535}}) {
        for (int method = 3; method <= 7; ++method) {
            for (const CSize size : {CSize{7, 50}, CSize{61, 3}}) {
                const auto image = Picture16(3, 20, 15, [=](int, int, int) { return level; });
                ASSERT_TRUE(image->OpResizeExL(size.width, static_cast<uint32_t>(size.height),
                                               static_cast<uint8_t>(method), false, 0));
                EXPECT_THAT(image->bits16, testing::Each(level)) << method;
                EXPECT_EQ(image->bits[0], level >> 8);
            }
        }
    }
}

TEST(ResampleTest, KeepsTheAspect) {
    struct CCase {
        int width, height;  // of the picture
        int wantedWidth, wantedHeight;
        int expectedWidth, expectedHeight;
    };
    constexpr CCase kCases[] = {
        {400, 300, 100, 100, 100, 75},
        {300, 400, 100, 100, 75, 100},
        {10, 10, 100, 30, 30, 30},
        {30, 20, 45, 1000, 45, 30},
        {7, 3, 5, 5, 5, 2},
        {100, 1, 50, 50, 50, 1},
    };
    for (const CCase& c : kCases) {
        const auto image = Scene(8, c.width, c.height);
        ASSERT_TRUE(
            image->OpResizeExL(c.wantedWidth, static_cast<uint32_t>(c.wantedHeight), 6, true, 0));
        EXPECT_EQ(image->Width(), c.expectedWidth);
        EXPECT_EQ(image->Height(), c.expectedHeight);
    }
}

TEST(ResampleTest, AlphaFollowsOnlyWhenBothSidesChange) {
    for (const bool both : {false, true}) {
        const auto image = Scene(24, 4, 2);
        image->alpha.Assign(std::array<uint8_t, 8>{0, 40, 80, 120, 0, 40, 80, 120});
        image->SetOpRect(0, 0, 1, 1, 5);
        ASSERT_TRUE(image->OpResizeExL(8, both ? 4 : 2, 3, false, 0));
        EXPECT_EQ(image->alpha.size(), both ? 32u : 8u);
        if (both) {
            // Row 1, between 0 and 40.
            EXPECT_EQ(image->alpha[9], 20);
        }
        EXPECT_EQ(image->opRect.left, -1);
        EXPECT_EQ(image->opFeather, 5);
    }
}

TEST(ResampleTest, GrayAndColourPalettesDecideOnTheFormat) {
    for (const int depth : {1, 4, 8}) {
        for (const bool colour : {false, true}) {
            const auto image = Scene(depth, 12, 10);
            if (colour) image->bitmapInfo.Palette()[1] = {10, 20, 30, 0};
            const CPlain source = Plain8(*image, colour ? 3 : 1);
            ASSERT_TRUE(image->OpResizeExL(5, 6, 6, false, 0));
            EXPECT_EQ(image->bitmapInfo.BitCount(), colour ? 24 : 8);
            ExpectSamples(*image, FilterPlain(source, 5, 6, 6, 255));
        }
    }
}

// ---- the calls ------------------------------------------------------------------------------

TEST(ResampleTest, RefusesWhatCannotBe) {
    struct CCase {
        int width;
        uint32_t height;
        uint8_t method;
    };
    constexpr CCase kCases[] = {{0, 5, 6},
                                {5, 0, 6},
                                {-3, 5, 6},
                                {8, 6, 6},
                                {4, 4, 8},
                                {4, 4, 255},
                                {5, 0x80000000, 6},
                                {0, 0, 3},
                                {-1, 4, 5},
                                {5, 0xFFFFFFFF, 4},
                                {INT32_MAX, INT32_MAX, 3},
                                {INT32_MAX, 1, 6}};
    for (const CCase& c : kCases) {
        for (const bool keepAspect : {false, true}) {
            const bool huge = c.height == INT32_MAX || c.width == INT32_MAX;
            if (huge && keepAspect) continue;
            const auto image = Scene(24, 8, 6);
            const CPixelBytes before = image->bits;
            EXPECT_FALSE(image->OpResizeExL(c.width, c.height, c.method, keepAspect, 1))
                << c.width << ' ' << c.height << ' ' << int{c.method};
            EXPECT_EQ(image->bits, before);
            EXPECT_TRUE(image->undoStack.empty());
        }
    }
}

TEST(ResampleTest, CopiesLeaveTheSourceAlone) {
    struct CCase {
        int width, height;
        bool keepAspect;
        int method, reduceMode;
        int expectedWidth, expectedHeight;
    };
    constexpr CCase kCases[] = {
        {30, 20, false, 0, 3, 30, 20}, {6, 4, false, 0, 3, 6, 4},
        {12, 8, true, 0, 3, 12, 8},    {6, 99, true, 0, 3, 12, 8},  // a half: a plain copy
        {3, 99, true, 0, 3, 3, 2},     {9, 99, true, 0, 0, 9, 6},
        {7, 5, false, 6, 0, 7, 5},     {12, 8, false, 6, 0, 12, 8},
    };
    for (const CCase& c : kCases) {
        const auto image = Scene(48, 12, 8);
        const CPixelBytes before = image->bits;
        const auto copy =
            image->ScaledCopy(c.width, c.height, c.keepAspect, c.method, true, c.reduceMode);
        ASSERT_TRUE(copy);
        EXPECT_TRUE(copy->loaded);
        EXPECT_EQ(copy->Width(), c.expectedWidth);
        EXPECT_EQ(copy->Height(), c.expectedHeight);
        EXPECT_EQ(image->bits, before);
        if (copy->Width() == 12) {
            EXPECT_EQ(copy->bits, before);
        } else {
            EXPECT_FALSE(copy->Has16Bit());
        }
    }
    const auto image = Scene(24, 12, 8);
    EXPECT_FALSE(image->ScaledCopy(0, 5, false, 6, false, 0));
    EXPECT_FALSE(image->ScaledCopy(4, 4, false, 8, false, 0));
    EXPECT_FALSE(image->ScaledCopy(4, 4, false, 0, false, 4));
    EXPECT_FALSE(image->ScaledCopy(-4, 4, true, 0, false, 1));
}

TEST(ResampleTest, CanvasPlacesThePicture) {
    const std::array<uint8_t, 3> fill{3, 2, 1};
    for (const int depth : {1, 8, 24, 16, 48}) {
        for (const uint8_t placement : {0, 1, 2, 9}) {
            SCOPED_TRACE(testing::Message() << depth << ' ' << int{placement});
            const auto source = Scene(depth, 5, 4);
            const auto image = source->Copy(false);
            ASSERT_TRUE(image->EnlargeCanvas(12, 9, placement, 0x030201, 0));
            ASSERT_EQ(image->Width(), 12);
            ASSERT_EQ(image->Height(), 9);
            const int left = placement == 1 ? 3 : 0;
            const int top = placement == 1 ? 2 : 0;
            for (int y = 0; y < 9; ++y) {
                for (int x = 0; x < 12; ++x) {
                    const bool inside = x >= left && x < left + 5 && y >= top && y < top + 4;
                    std::array<uint8_t, 3> expected = fill;
                    if (depth == 1) expected = {0, 0, 0};   // the nearer of black and white
                    if (depth == 8) expected = {2, 2, 2};   // (1, 0, 1) away: 2, not 3 (0, 1, 2)
                    if (depth == 16) expected = {3, 3, 3};  // one channel takes the blue byte
                    if (placement == 2) {
                        expected = ColourOf(*source, x % 5, y % 4);
                    } else if (inside) {
                        expected = ColourOf(*source, x - left, y - top);
                    }
                    ASSERT_EQ(ColourOf(*image, x, y), expected) << x << ' ' << y;
                    if (depth == 48 && !inside && placement != 2) {
                        ASSERT_EQ(image->bits16[static_cast<size_t>((y * 12 + x) * 3)], 0x0303);
                    }
                    if (depth == 16 && !inside && placement != 2) {
                        ASSERT_EQ(image->bits16[static_cast<size_t>(y * 12 + x)], 0x0101);
                    }
                }
            }
        }
    }
    const auto image = Scene(24, 5, 4);
    EXPECT_FALSE(image->EnlargeCanvas(4, 9, 0, 0, 1));
    EXPECT_FALSE(image->EnlargeCanvas(9, 3, 0, 0, 1));
    EXPECT_FALSE(image->EnlargeCanvas(INT32_MAX, INT32_MAX, 0, 0, 1));
    EXPECT_EQ(image->Width(), 5);
    EXPECT_TRUE(image->undoStack.empty());
}

}  // namespace
}  // namespace kestr
