// The pieces of a raw load that stand alone: filter table, turns, rotated grid, neutrals, levels.

#include <algorithm>
#include <random>

#include <gmock/gmock.h>

#include "raw/neutral_estimate.h"
#include "raw/raw_levels.h"
#include "raw/rotated_grid.h"

namespace kestr {
namespace {

using testing::DoubleEq;
using testing::ElementsAre;
using testing::Pointwise;

TEST(FilterTableTest, CodesBecomePlanes) {
    constexpr std::array<uint8_t, 4> kPlanes = {kCyan, kYellow, kGreen, kMagenta};
    struct CCase {
        std::vector<uint8_t> pattern;
        uint32_t rows, columns;
        uint8_t colors;
        const std::array<uint8_t, 4>* planes;
        std::vector<int> firstRow, secondRow;
    };
    const CCase cases[] = {
        {{0, 1, 1, 2}, 2, 2, 3, nullptr, {0, 1, 0, 1, 0, 1, 0, 1}, {1, 2, 1, 2, 1, 2, 1, 2}},
        {{2, 1, 0}, 1, 3, 3, nullptr, {2, 1, 0, 2, 1, 0, 2, 1}, {2, 1, 0, 2, 1, 0, 2, 1}},
        {{1, 4, 3, 5}, 2, 2, 4, nullptr, {0, 1, 0, 1, 0, 1, 0, 1}, {2, 3, 2, 3, 2, 3, 2, 3}},
        {{1, 4, 3, 5}, 2, 2, 4, &kPlanes, {2, 3, 2, 3, 2, 3, 2, 3}, {0, 1, 0, 1, 0, 1, 0, 1}},
        {{0, 9, 2, 5}, 2, 2, 4, nullptr, {0, 0, 0, 0, 0, 0, 0, 0}, {0, 3, 0, 3, 0, 3, 0, 3}},
        {{3, 1, 1, 7}, 2, 2, 3, nullptr, {0, 1, 0, 1, 0, 1, 0, 1}, {1, 0, 1, 0, 1, 0, 1, 0}},
    };
    for (const CCase& c : cases) {
        const auto filter = MakeFilterTable(c.pattern, c.rows, c.columns, c.colors, c.planes);
        ASSERT_TRUE(filter);
        for (uint32_t x = 0; x < 8; ++x) {
            EXPECT_EQ((*filter)(0, x), c.firstRow[x]);
            EXPECT_EQ((*filter)(1, x), c.secondRow[x]);
        }
    }
    EXPECT_FALSE(MakeFilterTable({}, 2, 2, 3));
}

/// A picture whose pixels tell their number in every sample.
CRawSamples Numbered(uint32_t width, uint32_t height, uint8_t colors) {
    CRawSamples samples(width, height, colors);
    for (size_t i = 0; i < samples.samples.size(); ++i) {
        samples.samples[i] = static_cast<uint16_t>(i / colors + 100 * (i % colors));
    }
    return samples;
}

TEST(RawSamplesTest, TurnsMoveEveryPixel) {
    struct CCase {
        CRawTurn turn;
        uint32_t width;
        std::vector<uint16_t> pixels;
    };
    // 0 1 2
    // 3 4 5
    const CCase cases[] = {{CRawTurn::kCounterClockwise, 2, {2, 5, 1, 4, 0, 3}},
                           {CRawTurn::kClockwise, 2, {3, 0, 4, 1, 5, 2}},
                           {CRawTurn::kHalf, 3, {5, 4, 3, 2, 1, 0}},
                           {CRawTurn::kMirror, 3, {2, 1, 0, 5, 4, 3}}};
    for (const CCase& c : cases) {
        for (const uint8_t colors : {uint8_t{3}, uint8_t{4}}) {
            CRawSamples samples = Numbered(3, 2, colors);
            Turn(samples, c.turn);
            ASSERT_EQ(samples.width, c.width);
            ASSERT_EQ(samples.height, 6 / c.width);
            for (size_t i = 0; i < c.pixels.size(); ++i) {
                EXPECT_EQ(samples.samples[i * colors], c.pixels[i]);
                EXPECT_EQ(samples.samples[(i + 1) * colors - 1], c.pixels[i] + 100 * (colors - 1));
            }
        }
    }
    CRawSamples large = Numbered(67, 41, 3);
    const auto before = large.samples;
    Turn(large, CRawTurn::kClockwise);
    EXPECT_EQ(large.Pixel(66, 0)[0], before[(40 * 67 + 66) * 3]);
    for (int i = 0; i < 3; ++i) Turn(large, CRawTurn::kClockwise);
    EXPECT_EQ(large.samples, before);
}

TEST(RawSamplesTest, CompactKeepsThreeSamplesInsideTheMargins) {
    CRawSamples samples = Numbered(5, 4, 4);
    ASSERT_TRUE(samples.Compact(1, 1));
    EXPECT_EQ(samples.width, 3u);
    EXPECT_THAT(std::vector<uint16_t>(samples.samples.begin(), samples.samples.end()),
                ElementsAre(6, 106, 206, 7, 107, 207, 8, 108, 208, 11, 111, 211, 12, 112, 212, 13,
                            113, 213));
    EXPECT_FALSE(samples.Compact(0, 1));
    EXPECT_FALSE(samples.Compact(2, 0));
}

TEST(RotatedGridTest, LinearRampsStayLinear) {
    // Row r and column c of the sensor; what it does not cover is black.
    CRawSamples samples(60, 50, 3);
    for (uint32_t r = 0; r < 50; ++r) {
        for (uint32_t c = 0; c < 60; ++c) {
            samples.Pixel(r, c)[0] = static_cast<uint16_t>(1000 * r + 7);
            samples.Pixel(r, c)[1] = static_cast<uint16_t>(1000 * c + 7);
            samples.Pixel(r, c)[2] = 4321;
        }
    }
    constexpr uint32_t kFujiWidth = 20, kWide = 34, kHigh = 29;
    TurnGridUpright(samples, kFujiWidth, kWide, kHigh);
    ASSERT_EQ(samples.width, kWide);
    ASSERT_EQ(samples.height, kHigh);
    const double half = 0.70710678118654752;
    int covered = 0;
    for (int y = 0; y < static_cast<int>(kHigh); ++y) {
        for (int x = 0; x < static_cast<int>(kWide); ++x) {
            const uint16_t* pixel =
                samples.Pixel(static_cast<uint32_t>(y), static_cast<uint32_t>(x));
            const double r = kFujiWidth + (y - x) * half, c = (x + y) * half + 2;
            if (r <= -1 || r >= 49 || c >= 59) {
                EXPECT_EQ(pixel[2], 0);
                continue;
            }
            ++covered;
            EXPECT_NEAR(pixel[0], std::max(1000 * r + 7, 0.0), 1.01);
            EXPECT_NEAR(pixel[1], 1000 * c + 7, 1.01);
            EXPECT_NEAR(pixel[2], 4321, 1);
        }
    }
    EXPECT_GT(covered, 900);
    CRawSamples narrow(1, 9, 3);
    TurnGridUpright(narrow, 2, 3, 3);
    EXPECT_TRUE(std::ranges::all_of(narrow.samples, [](uint16_t s) { return s == 0; }));
}

/// Block by block and pixel by pixel.
std::vector<double> PlainEstimate(const CRawSensorImage& image, int black, int white) {
    double sums[4] = {}, counts[4] = {};
    const auto height = static_cast<int>(image.samples.height);
    const auto width = static_cast<int>(image.samples.width);
    for (int top = 0; top <= height - 5; ++top) {
        for (int left = 0; left <= width - 5; ++left) {
            double blockSums[4] = {}, blockCounts[4] = {};
            bool burnt = false;
            for (int i = 0; i < 16; ++i) {
                const uint16_t* pixel = image.samples.Pixel(static_cast<uint32_t>(top + i / 4),
                                                            static_cast<uint32_t>(left + i % 4));
                for (int c = 0; c < image.samples.colors; ++c) {
                    if (pixel[c] == 0) continue;
                    burnt |= pixel[c] - black > white - black - 25;
                    blockSums[c] += std::max(pixel[c] - black, 0);
                    ++blockCounts[c];
                }
            }
            if (burnt) continue;
            for (int c = 0; c < 4; ++c) {
                sums[c] += blockSums[c];
                counts[c] += blockCounts[c];
            }
        }
    }
    std::vector<double> neutral;
    double largest = 0;
    for (int c = 0; c < image.samples.colors; ++c) {
        neutral.push_back(sums[c] == 0 ? 1.0 : sums[c] / counts[c]);
        if (sums[c] != 0) largest = std::max(largest, neutral.back());
    }
    for (double& value : neutral) value = largest == 0 ? 1.0 : value / largest;
    return neutral;
}

TEST(NeutralEstimateTest, SamplesAsThePlainStepsSay) {
    struct CCase {
        uint32_t width, height;
        int burntPerMille;  // pixels at the white
        uint16_t black, white;
        std::vector<uint8_t> pattern;
    };
    const std::vector<uint8_t> bayer = {0, 1, 1, 2}, noBlue = {0, 1, 1, 0};
    const CCase cases[] = {
        {31, 22, 0, 500, 60000, bayer},   {31, 22, 20, 500, 60000, bayer},
        {64, 37, 5, 0, 4095, bayer},      {5, 5, 0, 500, 60000, bayer},
        {4, 30, 0, 500, 60000, bayer},    {30, 4, 0, 500, 60000, bayer},
        {3, 2, 0, 500, 60000, bayer},     {40, 40, 1000, 500, 60000, bayer},
        {23, 19, 10, 500, 60000, noBlue}, {23, 19, 0, 60000, 61000, bayer},
        {23, 19, 0, 0, 10, bayer},
    };
    std::mt19937 random(5);
    for (const CCase& c : cases) {
        SCOPED_TRACE(testing::Message() << c.width << " x " << c.height << ", " << c.burntPerMille);
        CRawSensorImage image;
        image.filter = *MakeFilterTable(c.pattern, 2, 2, 3);
        image.samples = CRawSamples(c.width, c.height, 3);
        for (uint32_t y = 0; y < c.height; ++y) {
            for (uint32_t x = 0; x < c.width; ++x) {
                const bool burnt = random() % 1000 < static_cast<unsigned>(c.burntPerMille);
                const uint32_t value =
                    random() % (c.white - c.white / 8u) * (image.FC(y, x) + 1) / 3;
                image.samples.Pixel(y, x)[image.FC(y, x)] =
                    static_cast<uint16_t>(burnt ? c.white - 24 : value);
            }
        }
        EXPECT_THAT(EstimateNeutralFromSamples(image, c.black, c.white),
                    Pointwise(DoubleEq(), PlainEstimate(image, c.black, c.white)));
    }
}

TEST(NeutralEstimateTest, ABoxCountsWhatIsNeitherDarkNorBurnt) {
    CRawSamples samples(4, 3, 3);
    const auto set = [&](uint32_t y, uint32_t x, std::array<uint16_t, 3> pixel) {
        std::ranges::copy(pixel, samples.Pixel(y, x));
    };
    set(0, 0, {9000, 9000, 9000});  // outside the box
    set(1, 1, {100, 400, 200});
    set(1, 2, {300, 400, 200});
    set(2, 1, {99, 400, 200});    // below 1600 / 16
    set(2, 2, {1601, 400, 200});  // above the limit
    const CRawBox box{1, 1, 2, 2};
    EXPECT_THAT(EstimateNeutralFromBox(samples, box, 1600), ElementsAre(0.5, 1.0, 0.5));
    // No pixel lies in 5..80: all four count.
    EXPECT_THAT(EstimateNeutralFromBox(samples, box, 80),
                ElementsAre(1.0, DoubleEq(400 / 525.0), DoubleEq(200 / 525.0)));
    EXPECT_THAT(EstimateNeutralFromBox(samples, {0, 0, 0, 0}, 80), ElementsAre(1.0, 1.0, 1.0));
    EXPECT_THAT(EstimateNeutralFromBox(CRawSamples(2, 2, 4), {0, 0, 2, 2}, 80),
                ElementsAre(1.0, 1.0, 1.0, 1.0));
}

TEST(RawLevelsTest, SharesAreClipped) {
    const auto histograms = [](std::vector<std::pair<int, uint32_t>> luminance,
                               std::vector<std::pair<int, uint32_t>> red, int green, int blue) {
        CRawHistograms bins{};
        for (const auto& [bin, count] : luminance) bins[0][static_cast<size_t>(bin)] = count;
        for (const auto& [bin, count] : red) bins[1][static_cast<size_t>(bin)] = count;
        bins[2][static_cast<size_t>(green)] = 10000;
        bins[3][static_cast<size_t>(blue)] = 10000;
        return bins;
    };
    struct CCase {
        const char* name;
        CRawHistograms bins;
        uint32_t low, high;
        CRawLevels levels;
    };
    const CCase cases[] = {
        {"ten pixels are not more than the share",
         histograms({{3, 10}, {5, 1}, {90, 9989}}, {{200, 10000}}, 100, 150),
         1,
         1,
         {6, 200}},
        {"eleven are", histograms({{3, 11}, {90, 9989}}, {{200, 10000}}, 100, 150), 1, 1, {4, 200}},
        {"the bin that makes the sum reach the share",
         histograms({{50, 10000}}, {{250, 9}, {230, 1}, {90, 9990}}, 100, 150),
         1,
         1,
         {51, 230}},
        {"no share at the bright end",
         histograms({{50, 10000}}, {{90, 10000}}, 100, 60),
         1,
         0,
         {51, 255}},
        {"the largest of the channels",
         histograms({{50, 10000}}, {{90, 10000}}, 100, 160),
         1,
         1,
         {51, 160}},
        {"all dark", histograms({{0, 10000}}, {{0, 10000}}, 0, 0), 1, 1, {1, 2}},
        {"nothing between them", histograms({{99, 10000}}, {{100, 10000}}, 100, 100), 1, 1, {0, 0}},
        {"a share of everything", histograms({{9, 10000}}, {{100, 10000}}, 9, 9), 1000, 1, {0, 0}},
    };
    for (const CCase& c : cases) {
        SCOPED_TRACE(c.name);
        const CRawLevels levels = LevelsFromHistograms(c.bins, 10000, c.low, c.high);
        EXPECT_EQ(levels.black, c.levels.black);
        EXPECT_EQ(levels.white, c.levels.white);
    }
}

}  // namespace
}  // namespace kestr
