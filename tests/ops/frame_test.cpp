// The operation frame: which pixels an operation sees, and how they come back.

#include <cmath>
#include <stdexcept>

#include <gmock/gmock.h>

#include "base/integer_root.h"
#include "ops/merge.h"
#include "ops/operation.h"
#include "ops/pixel_format.h"
#include "support/picture.h"

namespace kestr {
namespace {

using test::ColourOf;
using test::IndexOf;
using test::Picture16;
using test::Picture24;
using test::PicturePalette;
using testing::ElementsAre;

/// Makes everything it is given one value, and remembers what it was given.
class CFill final : public CImageBits::COperation {
public:
    explicit CFill(uint16_t value) : m_value(value) {}
    void Apply16(CPixelWords& samples, int32_t w, int32_t h, int samplesOfPixel) override {
        width = w;
        height = h;
        channels = samplesOfPixel;
        std::fill(samples.begin(), samples.end(), m_value);
    }
    void Apply8(CPixelBytes& pixels, CBitmapInfo& info, bool isGray) override {
        width = info.Width();
        height = info.Height();
        channels = info.BitCount() / 8;
        gray = isGray;
        std::fill(pixels.begin(), pixels.end(), static_cast<uint8_t>(m_value));
    }

    int width = 0, height = 0, channels = 0;
    bool gray = false;

private:
    uint16_t m_value;
};

class CThrows final : public CImageBits::COperation {
public:
    void Apply16(CPixelWords&, int32_t, int32_t, int) override { throw std::bad_alloc(); }
    void Apply8(CPixelBytes&, CBitmapInfo&, bool) override { throw std::length_error("x"); }
};

std::unique_ptr<CImageBits> Flat24(int width, int height, uint8_t level) {
    return Picture24(width, height, [=](int, int) {
        return std::array<uint8_t, 3>{level, level, level};
    });
}

TEST(FrameTest, RectangleStoresSortedInclusiveSides) {
    struct CCase {
        int x1, y1, x2, y2;
        std::array<int, 4> stored;  // left, top, right, bottom
        bool valid;
    };
    constexpr CCase kCases[] = {
        {50, 10, 60, 20, {50, 10, 61, 21}, true},
        {50, 60, 10, 20, {10, 20, 51, 61}, true},
        {90, 70, 100, 80, {90, 70, 100, 80}, true},
        {7, 7, 7, 7, {7, 7, 8, 8}, true},
        {100, 0, 100, 0, {100, 0, 100, 1}, false},
        {-1, -1, -1, -1, {-1, -1, 0, 0}, false},
        {0, 0, INT32_MAX, INT32_MAX, {0, 0, 100, 80}, true},
    };
    const auto image = Flat24(100, 80, 0);
    for (const CCase& c : kCases) {
        image->SetOpRect(c.x1, c.y1, c.x2, c.y2, 3);
        const CSelectionRect& rect = image->opRect;
        EXPECT_THAT((std::array{rect.left, rect.top, rect.right, rect.bottom}),
                    testing::ElementsAreArray(c.stored));
        EXPECT_EQ(image->IsOpRectValid(), c.valid);
    }
}

TEST(FrameTest, MaskRepeatsItsLastColumnAndRow) {
    const auto image = Flat24(9, 9, 0);
    image->SetOpRect(1, 1, 3, 2, 0);  // stored as 3 x 2; the mask given has 2 x 1
    const uint8_t given[] = {10, 20};
    image->LoadOpMask(given);
    EXPECT_THAT(image->opMask, ElementsAre(10, 20, 20, 10, 20, 20));
    image->SetOpRect(4, 1, 4, 8, 0);  // one column: the mask given has none
    image->LoadOpMask(given);
    EXPECT_TRUE(image->opMask.empty());
    image->ClearOpRect();
    image->LoadOpMask(given);
    EXPECT_TRUE(image->opMask.empty());
}

TEST(FrameTest, RectangleAndInverseInBothStores) {
    for (const bool inverse : {false, true}) {
        for (const int channels : {1, 3}) {
            SCOPED_TRACE(testing::Message() << inverse << " " << channels);
            const auto deep = Picture16(channels, 5, 4, [](int, int, int) { return 0x1234; });
            const auto flat = channels == 3
                                  ? Flat24(5, 4, 0x12)
                                  : PicturePalette(8, 5, 4, [](int, int) { return 0x12; });
            for (CImageBits* image : {deep.get(), flat.get()}) {
                image->SetOpRect(1, 0, 2, 1, 0);
                image->inverseSelect = inverse;
                CFill fill(0xABCD);
                image->RunOperation(fill, 0);
                EXPECT_EQ(fill.width, inverse ? 5 : 2);
                EXPECT_EQ(fill.height, inverse ? 4 : 2);
                EXPECT_EQ(fill.channels, channels);
                for (int y = 0; y < 4; ++y) {
                    for (int x = 0; x < 5; ++x) {
                        const bool inside = x >= 1 && x < 3 && y < 2;
                        const bool changed = inside != inverse;
                        const int expected = !changed ? 0x12 : image == deep.get() ? 0xAB : 0xCD;
                        EXPECT_EQ(ColourOf(*image, x, y)[0], expected) << x << "," << y;
                        if (image == deep.get()) {
                            EXPECT_EQ(image->bits16[static_cast<size_t>((y * 5 + x) * channels)],
                                      changed ? 0xABCD : 0x1234);
                        }
                    }
                }
            }
        }
    }
}

TEST(FrameTest, RectangleChangesTheFormatOfAPaletteImage) {
    struct CCase {
        const char* name;
        int bitCount;
        bool coloured;
        int becomes;
    };
    constexpr CCase kCases[] = {{"1 gray", 1, false, 8},   {"4 gray", 4, false, 8},
                                {"8 gray", 8, false, 8},   {"1 colour", 1, true, 24},
                                {"4 colour", 4, true, 24}, {"8 colour", 8, true, 24}};
    for (const CCase& c : kCases) {
        SCOPED_TRACE(c.name);
        const auto image =
            PicturePalette(c.bitCount, 9, 3, [&](int x, int y) { return (x + y) % 2; });
        if (c.coloured) image->bitmapInfo.Palette()[1] = {1, 2, 3, 0};
        if (!c.coloured) image->bitmapInfo.Palette()[1] = {77, 77, 77, 0};
        image->SetOpRect(0, 0, 0, 0, 0);
        CFill fill(0);
        image->RunOperation(fill, 0);
        EXPECT_EQ(image->bitmapInfo.BitCount(), c.becomes);
        EXPECT_EQ(fill.gray, !c.coloured);
        const uint8_t level = c.coloured ? 1 : 77;
        EXPECT_EQ(ColourOf(*image, 0, 1)[0], level);
        EXPECT_EQ(ColourOf(*image, 8, 1)[0], level);
        if (c.becomes == 8 && c.bitCount != 8) {
            EXPECT_EQ(IndexOf(*image, 0, 1), 77);
        }
    }
}

TEST(FrameTest, PushesUndoOnlyWhenAsked) {
    const auto image = Flat24(4, 4, 9);
    CFill fill(1);
    image->RunOperation(fill, 0);
    EXPECT_EQ(image->undoStack.size(), 0u);
    image->PushRedo();
    image->RunOperation(fill, 1);
    EXPECT_EQ(image->undoStack.size(), 1u);
    EXPECT_EQ(image->redoStack.size(), 0u);
}

TEST(FrameTest, AnExceptionBecomesWordsAndKeepsTheUndo) {
    for (const bool deep : {false, true}) {
        const auto image =
            deep ? Picture16(3, 2, 2, [](int, int, int) { return 7; }) : Flat24(2, 2, 9);
        CThrows throws;
        image->RunOperation(throws, 1);
        EXPECT_EQ(image->errorText, ".");
        EXPECT_EQ(image->undoStack.size(), 1u);
    }
}

TEST(FrameTest, APictureWithoutPixelsIsLeftAlone) {
    CImageBits image;
    image.bitmapInfo.SetFormat(24, 5, 0);
    image.loaded = true;
    CFill fill(1);
    image.RunOperation(fill, 1);
    EXPECT_EQ(fill.width, 0);
    EXPECT_TRUE(image.errorText.empty());
}

TEST(FrameTest, NormalFormOfTwoColours) {
    const auto image = PicturePalette(1, 3, 1, [](int x, int) { return x == 1; });
    std::swap(image->bitmapInfo.Palette()[0], image->bitmapInfo.Palette()[1]);
    image->NormalizeBilevel();
    EXPECT_EQ(image->bitmapInfo.Palette()[0].rgbRed, 0);
    EXPECT_THAT((std::array{ColourOf(*image, 0, 0)[0], ColourOf(*image, 1, 0)[0]}),
                ElementsAre(255, 0));
    EXPECT_EQ(IndexOf(*image, 0, 0), 1);
}

// ---- the merge, against the words of its rule taken one pixel at a time ------------------------

int RootBySubtraction(int sum) {
    int count = 0;
    for (int odd = 1, rest = sum; rest >= 0; odd += 2) {
        rest -= odd;
        ++count;
    }
    return (count - 1) * count + 1 <= sum ? count : count - 1;
}

int KeepOfFeather(int x, int y, int width, int height, unsigned feather, int opacity) {
    int sum = 0;
    for (const unsigned distance :
         {unsigned(x), unsigned(width - x), unsigned(y), unsigned(height - y)}) {
        if (distance >= feather) continue;
        const auto term = static_cast<int>((uint64_t{feather} - distance) * 100 / feather);
        sum += term * term;
    }
    return std::min(100, RootBySubtraction(sum) + (255 - opacity) * 100 / 255);
}

TEST(MergeTest, RootIsTheOneOfOddNumbers) {
    for (int sum = 0; sum < 50000; ++sum) {
        ASSERT_EQ(RoundedRoot(static_cast<uint32_t>(sum)), RootBySubtraction(sum)) << sum;
    }
    EXPECT_EQ(RoundedRoot(195075), 442u);
    EXPECT_EQ(RoundedRoot(0xFFFFFFFF), 65536u);
}

template <typename Sample>
void CheckMerge(int channels, int width, int height, const CMergeRule& rule) {
    test::CNoise noise(static_cast<uint32_t>(width * 31 + height));
    const size_t count = static_cast<size_t>(width * height * channels);
    std::vector<Sample> source(count), before(count);
    for (Sample& s : source) s = static_cast<Sample>(noise() >> 8);
    for (Sample& s : before) s = static_cast<Sample>(noise() >> 8);
    std::vector<Sample> after = before;
    Merge(CPixelView<const Sample>{source.data(), width, height, channels, width * channels},
          CPixelView<Sample>{after.data(), width, height, channels, width * channels}, rule);
    for (size_t i = 0; i < count; ++i) {
        const int x = static_cast<int>(i) / channels % width;
        const int y = static_cast<int>(i) / channels / width;
        int64_t keep = 0;
        if (rule.mask) {
            const int m = rule.mask[static_cast<size_t>(y) * rule.maskStep + size_t(x)];
            keep = 100 - rule.opacity * m / 255 * 100 / 255;
        } else {
            keep = KeepOfFeather(x, y, width, height, static_cast<unsigned>(int{rule.feather}),
                                 rule.opacity);
        }
        const int64_t expected = source[i] - (int64_t{source[i]} - before[i]) * keep / 100;
        ASSERT_EQ(after[i], expected) << "x " << x << " y " << y << " keep " << keep;
    }
}

TEST(MergeTest, FollowsItsRule) {
    test::CNoise noise(7);
    std::vector<uint8_t> mask(64 * 40);
    for (uint8_t& m : mask) m = noise.Byte();
    struct CSize {
        int width, height;
    };
    for (const CSize size : {CSize{1, 1}, {2, 1}, {7, 5}, {64, 40}}) {
        for (const int feather : {0, 1, 2, 7, 20, 100, 32767, -1, -32768}) {
            for (const int opacity : {0, 1, 100, 254, 255}) {
                for (const bool masked : {false, true}) {
                    for (const int channels : {1, 3}) {
                        SCOPED_TRACE(testing::Message()
                                     << size.width << "x" << size.height << " feather " << feather
                                     << " opacity " << opacity << " mask " << masked);
                        const CMergeRule rule{.feather = static_cast<int16_t>(feather),
                                              .opacity = static_cast<uint8_t>(opacity),
                                              .mask = masked ? mask.data() : nullptr,
                                              .maskStep = static_cast<size_t>(size.width)};
                        CheckMerge<uint8_t>(channels, size.width, size.height, rule);
                        CheckMerge<uint16_t>(channels, size.width, size.height, rule);
                    }
                }
            }
        }
    }
}

// Every difference under every percentage, so that the quick division stands proven.
TEST(MergeTest, BlendsEveryDifferenceExactly) {
    constexpr int kSamples = 65536;
    std::vector<uint16_t> source(kSamples), after(kSamples);
    std::vector<uint8_t> mask(kSamples);
    for (int i = 0; i < kSamples; ++i) source[size_t(i)] = static_cast<uint16_t>(i);
    for (int m = 0; m < 256; ++m) {
        std::fill(mask.begin(), mask.end(), static_cast<uint8_t>(m));
        std::fill(after.begin(), after.end(), uint16_t{0});
        Merge(CPixelView<const uint16_t>{source.data(), kSamples, 1, 1, kSamples},
              CPixelView<uint16_t>{after.data(), kSamples, 1, 1, kSamples},
              {.mask = mask.data(), .maskStep = kSamples});
        const int64_t keep = 100 - m * 100 / 255;
        for (int64_t i = 0; i < kSamples; ++i) {
            ASSERT_EQ(after[size_t(i)], i - i * keep / 100) << i << " " << keep;
        }
    }
}

}  // namespace
}  // namespace kestr
