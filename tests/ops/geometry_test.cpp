// Mirror, turns, crops, fine rotation, de-interlacing.

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

/// A picture of every kind of store: bits a pixel, or 48 and 16 for one with both stores.
std::unique_ptr<CImageBits> NoisePicture(int depth, int width, int height) {
    CNoise noise(static_cast<uint32_t>(depth * 1000 + width * 31 + height));
    if (depth == 24) {
        return Picture24(width, height, [&](int, int) {
            return std::array<uint8_t, 3>{noise.Byte(), noise.Byte(), noise.Byte()};
        });
    }
    if (depth == 48 || depth == 16) {
        return Picture16(depth / 16, width, height, [&](int, int, int) { return noise.Word(); });
    }
    return PicturePalette(depth, width, height, [&](int, int) {
        return static_cast<uint8_t>(noise.Byte() & ((1 << depth) - 1));
    });
}

/// Where the pixel at x, y of a result comes from.
using CFrom = std::function<std::array<int, 2>(int x, int y)>;

/// Holds a result against its source, pixel by pixel, in both stores.
void ExpectMoved(const CImageBits& source, const CImageBits& result, int width, int height,
                 const CFrom& from) {
    ASSERT_EQ(result.Width(), width);
    ASSERT_EQ(result.Height(), height);
    ASSERT_EQ(result.bitmapInfo.BitCount(), source.bitmapInfo.BitCount());
    ASSERT_EQ(result.Has16Bit(), source.Has16Bit());
    const auto samples = static_cast<size_t>(source.Samples16());
    for (int y = 0; y < height; ++y) {
        for (int x = 0; x < width; ++x) {
            const auto [fromX, fromY] = from(x, y);
            ASSERT_EQ(ColourOf(result, x, y), ColourOf(source, fromX, fromY)) << x << ' ' << y;
            for (size_t c = 0; source.Has16Bit() && c < samples; ++c) {
                const auto at = [=](const CImageBits& image, int column, int row) {
                    return image
                        .bits16[static_cast<size_t>(row * image.Width() + column) * samples + c];
                };
                ASSERT_EQ(at(result, x, y), at(source, fromX, fromY)) << x << ' ' << y;
            }
        }
    }
}

constexpr int kDepths[] = {1, 4, 8, 24, 16, 48};
struct CSize {
    int width, height;
};
constexpr CSize kSizes[] = {{1, 1},  {1, 7},   {9, 1},   {3, 2},    {8, 8},   {13, 11},
                            {32, 5}, {33, 70}, {64, 64}, {67, 129}, {131, 66}};

void ForEachPicture(const std::function<void(int depth, int width, int height)>& test) {
    for (const int depth : kDepths) {
        for (const CSize& size : kSizes) {
            SCOPED_TRACE(testing::Message()
                         << depth << " bits " << size.width << 'x' << size.height);
            test(depth, size.width, size.height);
            if (testing::Test::HasFatalFailure()) return;
        }
    }
}

TEST(GeometryTest, MirrorExchangesColumns) {
    ForEachPicture([](int depth, int w, int h) {
        const auto source = NoisePicture(depth, w, h);
        const auto image = source->Copy(false);
        EXPECT_TRUE(image->OpMirror(0));
        ExpectMoved(*source, *image, w, h, [=](int x, int y) { return std::array{w - 1 - x, y}; });
    });
}

TEST(GeometryTest, QuarterTurnsMovePixels) {
    ForEachPicture([](int depth, int w, int h) {
        struct CCase {
            int16_t degrees;
            int width, height;
            CFrom from;
        };
        const CFrom right = [=](int x, int y) { return std::array{y, h - 1 - x}; };
        const CFrom half = [=](int x, int y) { return std::array{w - 1 - x, h - 1 - y}; };
        const CFrom left = [=](int x, int y) { return std::array{w - 1 - y, x}; };
        const CFrom none = [](int x, int y) { return std::array{x, y}; };
        const CCase kCases[] = {{90, h, w, right},  {-270, h, w, right}, {180, w, h, half},
                                {-180, w, h, half}, {270, h, w, left},   {-90, h, w, left},
                                {45, w, h, none},   {0, w, h, none},     {360, w, h, none}};
        const auto source = NoisePicture(depth, w, h);
        for (const CCase& c : kCases) {
            SCOPED_TRACE(c.degrees);
            const auto image = source->Copy(false);
            image->TurnQuarters(c.degrees);
            ExpectMoved(*source, *image, c.width, c.height, c.from);
        }
    });
}

TEST(GeometryTest, TurnsClearRectangleAndAlphaAndKeepFeather) {
    const auto image = NoisePicture(24, 5, 4);
    image->SetOpRect(1, 1, 2, 2, 3);
    image->alpha.ResizeZeroed(20);
    image->OpMirror(0);
    EXPECT_EQ(image->opRect.left, 1);
    EXPECT_TRUE(image->alpha.empty());
    image->alpha.ResizeZeroed(20);
    image->TurnQuarters(90);
    EXPECT_EQ(image->opRect.left, -1);
    EXPECT_EQ(image->opFeather, 3);
    EXPECT_TRUE(image->alpha.empty());
}

TEST(GeometryTest, TurnsUpright) {
    // Where the pixel at x, y of a picture stored 3 wide and 2 high comes from when it is shown.
    struct CCase {
        uint16_t orientation;
        int angle;
        bool turned;
        int width, height;
        CFrom from;
        uint16_t after;
    };
    constexpr int kW = 3;
    constexpr int kH = 2;
    const CCase kCases[] = {
        {1, 0, false, kW, kH,
         [](int x, int y) {
             return std::array{x, y};
         },
         1},
        {2, 0, true, kW, kH,
         [](int x, int y) {
             return std::array{kW - 1 - x, y};
         },
         1},
        {3, 0, true, kW, kH,
         [](int x, int y) {
             return std::array{kW - 1 - x, kH - 1 - y};
         },
         1},
        {4, 0, true, kW, kH,
         [](int x, int y) {
             return std::array{x, kH - 1 - y};
         },
         1},
        // Turned left, then mirrored: the picture's diagonal stays.
        {5, 0, true, kH, kW,
         [](int x, int y) {
             return std::array{kW - 1 - y, kH - 1 - x};
         },
         1},
        {6, 0, true, kH, kW,
         [](int x, int y) {
             return std::array{y, kH - 1 - x};
         },
         1},
        {7, 0, true, kH, kW,
         [](int x, int y) {
             return std::array{y, x};
         },
         1},
        {8, 0, true, kH, kW,
         [](int x, int y) {
             return std::array{kW - 1 - y, x};
         },
         1},
        {9, 0, true, kW, kH,
         [](int x, int y) {
             return std::array{x, y};
         },
         1},
        // The reader's own angle comes first, and leaves the record alone.
        {6, 180, true, kW, kH,
         [](int x, int y) {
             return std::array{kW - 1 - x, kH - 1 - y};
         },
         6},
        {1, -90, true, kH, kW,
         [](int x, int y) {
             return std::array{kW - 1 - y, x};
         },
         1},
    };
    for (const CCase& c : kCases) {
        SCOPED_TRACE(testing::Message() << c.orientation << ' ' << c.angle);
        const auto source = NoisePicture(24, kW, kH);
        const auto image = source->Copy(false);
        image->exif = std::make_unique<CEXIF_Members>();
        image->exif->Orientation = c.orientation;
        EXPECT_EQ(image->TurnUpright(c.angle), c.turned);
        EXPECT_EQ(image->exif->Orientation, c.after);
        ExpectMoved(*source, *image, c.width, c.height, c.from);
    }
}

}  // namespace
}  // namespace kestr
