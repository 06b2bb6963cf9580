// Transparency, merging of pictures, histogram and automatic levels.

#include <cstring>
#include <limits>

#include <gmock/gmock.h>

#include "image/pixel_color.h"
#include "ops/histogram.h"
#include "support/loaded_handle.h"
#include "support/picture.h"

namespace kestr {
namespace {

using test::CHandle;
using test::ColourOf;
using test::IndexOf;
using test::Picture16;
using test::Picture24;
using test::PicturePalette;
using testing::ElementsAre;

std::unique_ptr<CImageBits> Noise24(int width, int height, uint32_t seed) {
    test::CNoise noise(seed);
    return Picture24(width, height, [&](int, int) {
        return std::array<uint8_t, 3>{noise.Byte(), noise.Byte(), noise.Byte()};
    });
}

TEST(TransparencyTest, KindsReplaceEachOther) {
    const CHandle handle;
    uint16_t index = 0;
    uint32_t colour = 0;
    uint16_t tolerance = 0;
    EXPECT_EQ(cGetTransparentColorIndex(nullptr, &index), 0);
    cNewImage(handle, 4, 3, 0x0000FF);
    EXPECT_EQ(cGetTransparentColorIndex(handle, &index), 1);
    EXPECT_EQ(index, 0xFFFF);
    EXPECT_EQ(cGetTransparentColorInfo(handle, &colour, &tolerance), 0);
    EXPECT_EQ(cSetTransparentColorInfo(handle, 0x123456, 70), 1);
    EXPECT_EQ(cGetTransparentColorInfo(handle, &colour, &tolerance), 1);
    EXPECT_EQ(colour, 0x123456u);
    EXPECT_EQ(tolerance, 70);
    EXPECT_EQ(cSetTransparentColorIndex(handle, 5), 1);
    EXPECT_EQ(cGetTransparentColorInfo(handle, &colour, &tolerance), 0);
    cGetTransparentColorIndex(handle, &index);
    EXPECT_EQ(index, 5);
    const std::vector<uint8_t> plane{0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 255};
    SAFEARRAY* array = nullptr;
    EXPECT_EQ(cGetAlphaMask(handle, &array), 0);
    EXPECT_EQ(cLoadAlphaMask(handle, nullptr), 1);
    EXPECT_EQ(cGetAlphaMask(handle, &array), 0);
    EXPECT_EQ(cLoadAlphaMask(handle, plane.data()), 1);
    cGetTransparentColorIndex(handle, &index);
    EXPECT_EQ(index, 0xFFFF);
    ASSERT_EQ(cGetAlphaMask(handle, &array), 1);
    EXPECT_EQ(test::TakeBytes(array), plane);
    cSetTransparentColorInfo(handle, 1, 1);
    EXPECT_EQ(cGetAlphaMask(handle, &array), 0);
    EXPECT_EQ(cUndefineTransparentColor(handle), 1);
    EXPECT_EQ(cMergeTransparency(handle, 0), 0);
}

TEST(TransparencyTest, FlattensByTheFirstKind) {
    // Red 240, green 130, blue 20 behind; red 10, green 200, blue 90 in front.
    constexpr uint32_t kBackground = 0x14'82'F0;
    const auto front = [](int, int) { return std::array<uint8_t, 3>{90, 200, 10}; };
    const auto plane = Picture24(3, 1, front);
    const uint8_t alpha[] = {0, 100, 255};
    plane->LoadAlphaMask(alpha);
    EXPECT_TRUE(plane->MergeTransparency(kBackground));
    EXPECT_THAT(ColourOf(*plane, 0, 0), ElementsAre(20, 130, 240));
    // 90 - 70 * 155 / 255 = 48, 200 - 70 * 155 / 255 = 158, 10 + 230 * 155 / 255 = 149
    EXPECT_THAT(ColourOf(*plane, 1, 0), ElementsAre(48, 158, 149));
    EXPECT_THAT(ColourOf(*plane, 2, 0), ElementsAre(90, 200, 10));
    EXPECT_TRUE(plane->alpha.empty());
    EXPECT_FALSE(plane->MergeTransparency(kBackground));

    const auto indexed = PicturePalette(4, 3, 1, [](int x, int) { return uint8_t(x); });
    indexed->SetTransparentIndex(1);
    EXPECT_TRUE(indexed->MergeTransparency(kBackground));
    EXPECT_THAT(ColourOf(*indexed, 1, 0), ElementsAre(20, 130, 240));
    EXPECT_THAT(ColourOf(*indexed, 2, 0), ElementsAre(34, 34, 34));

    // A palette's alpha alone is not enough; with an index it comes first.
    const auto table = PicturePalette(8, 3, 1, [](int x, int) { return uint8_t(100 * x); });
    table->paletteAlpha.assign(101, 255);
    table->paletteAlpha[100] = 100;
    EXPECT_FALSE(table->MergeTransparency(kBackground));
    table->transparentIndex = 0;
    EXPECT_TRUE(table->MergeTransparency(kBackground));
    EXPECT_THAT(ColourOf(*table, 0, 0), ElementsAre(0, 0, 0));
    // 100 - 80 * 155 / 255 = 52, 100 + 30 * 155 / 255 = 118, 100 + 140 * 155 / 255 = 185
    EXPECT_THAT(ColourOf(*table, 1, 0), ElementsAre(52, 118, 185));
}

TEST(TransparencyTest, ToleranceIsAShareOfTheDiagonal) {
    struct CCase {
        uint16_t tolerance;
        int taken;  // pixels from the left that become the background
    };
    // Radius 441 * tolerance / 1000: 100 takes distances up to 44.
    for (const CCase& c : {CCase{0, 1}, {2, 1}, {3, 2}, {100, 45}, {99, 44}, {1000, 256}}) {
        for (const bool palette : {false, true}) {
            const auto image =
                palette ? PicturePalette(8, 256, 1, [](int x, int) { return uint8_t(x); })
                        : Picture24(256, 1, [](int x, int) {
                              return std::array<uint8_t, 3>{uint8_t(x), 0, 0};
                          });
            if (palette) {
                for (size_t i = 0; i < 256; ++i) {
                    image->bitmapInfo.Palette()[i] = {uint8_t(i), 0, 0, 0};
                }
            }
            image->SetTransparentColour(0, c.tolerance);
            EXPECT_TRUE(image->MergeTransparency(0x0000FF));
            int taken = 0;
            for (int x = 0; x < 256; ++x) taken += ColourOf(*image, x, 0)[2] == 255;
            EXPECT_EQ(taken, c.tolerance == 0 ? 1 : c.taken) << c.tolerance;
        }
    }
}

TEST(MergeImageTest, ClipsAtEveryEdge) {
    struct CCase {
        int x, y;
        bool result;
    };
    constexpr CCase kCases[] = {{2, 1, true},          {-3, -2, true},      {7, 6, true},
                                {-5, 0, true},         {-6, 0, false},      {0, -9, false},
                                {9, 0, true},          {0, 8, true},        {0, 0, true},
                                {INT32_MIN, 0, false}, {3, INT32_MAX, true}};
    for (const CCase& c : kCases) {
        for (const bool deep : {false, true}) {
            SCOPED_TRACE(testing::Message() << c.x << "," << c.y << " " << deep);
            const auto sample = [](int seed) {
                return [noise = test::CNoise(seed)](int, int, int) mutable { return noise.Word(); };
            };
            const auto image = deep ? Picture16(3, 9, 8, sample(1)) : Noise24(9, 8, 1);
            const auto source = deep ? Picture16(3, 5, 4, sample(2)) : Noise24(5, 4, 2);
            const auto before = image->Copy(false);
            EXPECT_EQ(image->MergeImage(*source, c.x, c.y, 255, 0, 0), c.result);
            for (int y = 0; y < 8; ++y) {
                for (int x = 0; x < 9; ++x) {
                    const auto from = ReadPixel(*source, static_cast<int>(int64_t{x} - c.x),
                                                static_cast<int>(int64_t{y} - c.y));
                    const auto expected = from ? *from : *ReadPixel(*before, x, y);
                    EXPECT_EQ(ReadPixel(*image, x, y)->red, expected.red) << x << "," << y;
                    EXPECT_EQ(ReadPixel(*image, x, y)->blue, expected.blue) << x << "," << y;
                }
            }
        }
    }
}

TEST(MergeImageTest, DepthsMeet) {
    const auto gray16 = [](int, int, int) { return uint16_t{0x1234}; };
    const auto colour16 = [](int, int, int c) { return static_cast<uint16_t>(0x4000 + c); };
    {
        const auto image = Picture16(1, 4, 4, gray16);
        EXPECT_TRUE(image->MergeImage(*Picture16(3, 1, 1, colour16), 1, 1, 255, 0, 0));
        EXPECT_EQ(image->bitmapInfo.BitCount(), 24);
        EXPECT_EQ(image->bits16.size(), 48u);
        EXPECT_EQ(ReadPixel(*image, 1, 1)->red, 0x4002);
        EXPECT_EQ(ReadPixel(*image, 0, 1)->red, 0x1234);
    }
    {
        const auto image = Picture16(3, 4, 4, colour16);
        EXPECT_TRUE(image->MergeImage(*Picture16(1, 1, 1, gray16), 1, 1, 255, 0, 0));
        EXPECT_EQ(ReadPixel(*image, 1, 1)->green, 0x1234);
        EXPECT_THAT(ColourOf(*image, 1, 1), ElementsAre(0x12, 0x12, 0x12));
    }
    {
        const auto image = Picture16(3, 4, 4, colour16);
        const auto source = PicturePalette(1, 1, 1, [](int, int) { return uint8_t{1}; });
        source->alpha.ResizeZeroed(1);
        source->alpha[0] = 128;
        EXPECT_TRUE(image->MergeImage(*source, 0, 0, 255, 3, 1));
        EXPECT_FALSE(image->Has16Bit());
        // A share of 128 / 255 keeps 50 percent: 255 - (255 - 64) * 50 / 100 = 160
        EXPECT_THAT(ColourOf(*image, 0, 0), ElementsAre(160, 160, 160));
        EXPECT_EQ(image->undoStack.size(), 1u);
        EXPECT_EQ(source->bitmapInfo.BitCount(), 1);
        EXPECT_TRUE(image->MergeImage(*source, 0, 0, 0, 0, 1));
        EXPECT_TRUE(image->MergeImage(*source, 4, 0, 255, 0, 1));
        EXPECT_EQ(image->undoStack.size(), 1u);
    }
    const auto own = Noise24(6, 6, 9);
    const auto before = own->Copy(false);
    EXPECT_TRUE(own->MergeImage(*own, 1, 1, 255, 0, 0));
    EXPECT_EQ(ColourOf(*own, 5, 5), ColourOf(*before, 4, 4));
}

TEST(HistogramTest, CountsEachDepth) {
    for (const int bits : {1, 4, 8, 24}) {
        for (const bool luminance : {false, true}) {
            SCOPED_TRACE(testing::Message() << bits << luminance);
            test::CNoise noise(11);
            const auto image =
                bits == 24 ? Noise24(13, 7, 3) : PicturePalette(bits, 13, 7, [&](int, int) {
                    return static_cast<uint8_t>(noise.Byte() % (1 << bits));
                });
            if (bits < 24) image->bitmapInfo.Palette()[1] = {200, 100, 50, 0};
            CHistogram expected;
            for (int y = 0; y < 7; ++y) {
                for (int x = 0; x < 13; ++x) {
                    const auto c = ColourOf(*image, x, y);
                    ++expected.blue[c[0]];
                    ++expected.green[c[1]];
                    ++expected.red[c[2]];
                    if (luminance) {
                        const auto part = [](int i, double w) { return int(i * w * 256 + 0.5); };
                        const int sum = part(c[2], .30) + part(c[1], .59) + part(c[0], .11);
                        ++expected.combined[static_cast<size_t>(std::min(255, (sum + 127) >> 8))];
                    } else {
                        for (const uint8_t level : c) ++expected.combined[level];
                    }
                }
            }
            const CHistogram counted = CountLevels(*image, luminance);
            EXPECT_EQ(counted.combined, expected.combined);
            EXPECT_EQ(counted.red, expected.red);
            EXPECT_EQ(counted.green, expected.green);
            EXPECT_EQ(counted.blue, expected.blue);
        }
    }
}

TEST(HistogramTest, RectangleCountsFromTheStartOfMemoryRows) {
    const auto image = PicturePalette(8, 4, 4, [](int x, int y) { return uint8_t(10 * y + x); });
    image->SetOpRect(2, 0, 3, 0, 0);  // two pixels of memory row 0, which is the picture's last
    const CHistogram counted = CountLevelsInOpRect(*image, false);
    EXPECT_EQ(counted.red[30], 1u);
    EXPECT_EQ(counted.red[31], 1u);
    EXPECT_EQ(counted.combined[30], 3u);
    EXPECT_EQ(counted.red[2], 0u);
}

TEST(AutoLevelsTest, StretchesBetweenItsBounds) {
    // Levels 50 to 149, once each. Without clipping automatic levels reach exactly these.
    const auto ramp = [] {
        return PicturePalette(8, 100, 1, [](int x, int) { return uint8_t(50 + x); });
    };
    const auto level = [](int i, int low, int high) {
        if (i < low) return 0;
        if (i > high) return 255;
        return static_cast<int>(double(i - low) / (high - low) * 255 + 0.5);
    };
    struct CCase {
        uint32_t thousandths;
        int autoLow, autoHigh, contrastLow, contrastHigh;
    };
    // 100 thousandths clip 10 pixels of a channel; the search ends behind the eleventh. Contrast
    // clips half as many.
    for (const CCase& c : {CCase{0, 50, 149, 51, 148}, {100, 61, 138, 56, 143}}) {
        const auto levels = ramp();
        EXPECT_TRUE(levels->OpAutoLevel(c.thousandths, 1));
        const auto contrast = ramp();
        EXPECT_TRUE(contrast->OpAutoContrast(c.thousandths, 1));
        EXPECT_EQ(levels->undoStack.size() + contrast->undoStack.size(), 2u);
        for (int x = 0; x < 100; ++x) {
            EXPECT_EQ(IndexOf(*levels, x, 0), level(50 + x, c.autoLow, c.autoHigh)) << x;
            EXPECT_EQ(IndexOf(*contrast, x, 0), level(50 + x, c.contrastLow, c.contrastHigh)) << x;
        }
    }
    const auto flat = PicturePalette(8, 9, 1, [](int, int) { return uint8_t{7}; });
    EXPECT_TRUE(flat->OpAutoLevel(0, 1));
    EXPECT_TRUE(flat->OpAutoContrast(0, 1));
    EXPECT_TRUE(flat->undoStack.empty());
    const auto bilevel = PicturePalette(1, 9, 1, [](int, int) { return uint8_t{0}; });
    EXPECT_FALSE(bilevel->OpAutoLevel(0, 1));
    EXPECT_FALSE(bilevel->OpAutoContrast(0, 1));
    EXPECT_EQ(bilevel->errorText, ".");
}

TEST(AutoLevelsTest, FractionsThatAreNone) {
    const CHandle handle;
    cNewImage(handle, 4, 4, 0x102030);
    EXPECT_EQ(cOpAutoLevelEx(handle, -0.001), 0);
    EXPECT_EQ(cOpAutoContrastEx(handle, std::numeric_limits<double>::quiet_NaN()), 0);
    EXPECT_EQ(cOpAutoLevelEx(handle, 1e300), 1);
    EXPECT_EQ(cOpAutoLevelEx(nullptr, 0.1), 0);
}

TEST(HistogramTest, ThroughTheInterface) {
    const CHandle handle;
    cNewImage(handle, 5, 4, 0x102030);
    std::vector<uint32_t> red(256, 77);
    cGetImageHistogram(nullptr, nullptr, red.data(), nullptr, nullptr, 0);
    EXPECT_EQ(red[0], 77u);
    cGetImageHistogram(handle, nullptr, red.data(), nullptr, nullptr, 0);
    EXPECT_EQ(red[0x30], 20u);
    EXPECT_EQ(red[0], 0u);
    SAFEARRAY* combined = nullptr;
    cGetImageHistogramA(handle, &combined, nullptr, nullptr, nullptr, 0);
    ASSERT_NE(combined, nullptr);
    EXPECT_EQ(test::TakeNumbers(combined).at(0x10), 20);
}

TEST(SelectionTest, ThroughTheInterface) {
    const CHandle handle;
    EXPECT_EQ(cSetOpRectangle(handle, 0, 0, 1, 1, 0), 0);
    cNewImage(handle, 10, 10, 0x808080);
    EXPECT_EQ(cSetOpRectangle(handle, 2, 3, 4, 5, 0), 1);
    EXPECT_EQ(cOpBrightness(handle, 100), 1);
    uint16_t red = 0;
    cGetPixelColor(handle, 4, 5, &red, nullptr, nullptr);
    EXPECT_EQ(red, 255);
    cGetPixelColor(handle, 5, 5, &red, nullptr, nullptr);
    EXPECT_EQ(red, 128);
    cSetInverseSelect(handle, 1);
    EXPECT_EQ(cOpBrightness(handle, -100), 1);
    cGetPixelColor(handle, 5, 5, &red, nullptr, nullptr);
    EXPECT_EQ(red, 0);
    cGetPixelColor(handle, 4, 5, &red, nullptr, nullptr);
    EXPECT_EQ(red, 255);
    EXPECT_EQ(cSetOpRectangle(handle, -1, 0, 0, 0, 9), 1);
    cOpNegative(handle);
    cGetPixelColor(handle, 0, 0, &red, nullptr, nullptr);
    EXPECT_EQ(red, 255);
}

}  // namespace
}  // namespace kestr
