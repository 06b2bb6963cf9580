// Mirror, turns, crops, fine rotation, de-interlacing.

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

TEST(GeometryTest, CropTakesTheRectangle) {
    ForEachPicture([](int depth, int w, int h) {
        if (w < 3 || h < 2) return;
        const auto source = NoisePicture(depth, w, h);
        const auto image = source->Copy(false);
        image->alpha.ResizeZeroed(static_cast<size_t>(w * h));
        image->alpha[static_cast<size_t>(w + 1)] = 9;  // column 1, row 1: the first that is kept
        EXPECT_FALSE(image->OpCrop(1));
        EXPECT_TRUE(image->undoStack.empty());
        image->SetOpRect(1, 1, w - 2, h, 4);
        EXPECT_TRUE(image->OpCrop(1));
        EXPECT_EQ(image->undoStack.size(), 1u);
        EXPECT_EQ(image->opRect.left, -1);
        EXPECT_EQ(image->opFeather, 4);
        EXPECT_EQ(image->alpha.size(), static_cast<size_t>((w - 2) * (h - 1)));
        EXPECT_EQ(image->alpha[0], 9);
        ExpectMoved(*source, *image, w - 2, h - 1, [](int x, int y) {
            return std::array{x + 1, y + 1};
        });
    });
}

TEST(GeometryTest, CropBorderFindsTheOtherColours) {
    struct CCase {
        const char* name;
        std::vector<std::string> rows;  // '.' is the border, ',' nearly so, '#' something else
        int16_t tolerance;
        std::array<int, 4> kept;  // left, top, right, bottom; all 0 when nothing is cut
    };
    const CCase kCases[] = {
        {"flat", {".....", ".....", "....."}, 0, {}},
        {"box", {".....", ".##..", ".#...", "....."}, 0, {1, 1, 3, 3}},
        {"spread", {"#....", ".....", "...#."}, 0, {0, 0, 4, 3}},
        {"whole", {"#...#", ".....", "...#."}, 0, {}},
        {"one row", {".....", ".###.", "....."}, 0, {}},
        {"one column", {"..#..", "..#..", "....."}, 0, {}},
        // ',' is 4 levels away in one channel: 442 * 9 / 1000 = 3, and 442 * 10 / 1000 = 4.
        {"near, exact", {",....", ".##..", ".##..", "....."}, 0, {0, 0, 3, 3}},
        {"near, within 3", {",....", ".##..", ".##..", "....."}, 9, {0, 0, 3, 3}},
        {"near, within 4", {",....", ".##..", ".##..", "....."}, 10, {1, 1, 3, 3}},
        {"near, below 0", {",....", ".##..", ".##..", "....."}, -10, {1, 1, 3, 3}},
        {"everything matches", {"#....", ".##..", "....."}, 1000, {}},
    };
    for (const CCase& c : kCases) {
        for (const int depth : {4, 8, 24, 48}) {
            SCOPED_TRACE(testing::Message() << c.name << ' ' << depth);
            const auto width = static_cast<int>(c.rows[0].size());
            const auto height = static_cast<int>(c.rows.size());
            const auto level = [&](int x, int y) {
                const char pixel = c.rows[static_cast<size_t>(y)][static_cast<size_t>(x)];
                return static_cast<uint8_t>(pixel == '.' ? 100 : pixel == ',' ? 104 : 200);
            };
            std::unique_ptr<CImageBits> source;
            if (depth < 24) {
                source = PicturePalette(depth, width, height, [&](int x, int y) {
                    return static_cast<uint8_t>(level(x, y) % 11);
                });
                auto& palette = source->bitmapInfo.Palette();
                palette[100 % 11] = {100, 0, 50, 0};
                palette[104 % 11] = {104, 0, 50, 0};
                palette[200 % 11] = {200, 0, 50, 0};
            } else if (depth == 24) {
                source = Picture24(width, height, [&](int x, int y) {
                    return std::array<uint8_t, 3>{level(x, y), 0, 50};
                });
            } else {
                source = Picture16(3, width, height, [&](int x, int y, int channel) {
                    const int high = channel == 0 ? level(x, y) : channel == 1 ? 0 : 50;
                    return static_cast<uint16_t>(high << 8 | 0x77);
                });
            }
            const auto image = source->Copy(false);
            const int shift = depth == 48 ? 8 : 0;
            const bool cut = c.kept[2] != 0;
            EXPECT_EQ(image->OpCropBorder(static_cast<uint16_t>(50 << shift), 0,
                                          static_cast<uint16_t>(100 << shift), c.tolerance, 1),
                      cut);
            EXPECT_EQ(image->undoStack.size(), cut ? 1u : 0u);
            ExpectMoved(*source, *image, cut ? c.kept[2] - c.kept[0] : width,
                        cut ? c.kept[3] - c.kept[1] : height, [&](int x, int y) {
                            return std::array{x + c.kept[0], y + c.kept[1]};
                        });
        }
    }
}

// ---- fine rotation -----------------------------------------------------------------------------

/// One channel of a canvas.
struct CPlane {
    int width, height;
    std::vector<int64_t> samples;
    int64_t& At(int x, int y) { return samples[static_cast<size_t>(y * width + x)]; }
};

/// Moves the line of `length` samples that `at` reaches from 0 on: one sample at a time, from the
/// end that the motion leads to, the one before carried along. `limit` tells what lies outside.
void PlainShear(int length, double offset, int64_t background,
                const std::function<int64_t*(int)>& at) {
    if (offset == 0) return;
    const int step = offset > 0 ? 1 : -1;
    const double distance = std::abs(offset);
    const int whole = static_cast<int>(distance);
    const auto f = static_cast<int64_t>((distance - whole) * 65536 + 0.5);
    const auto put = [&](int position, int64_t value) {
        if (int64_t* sample = at(position)) *sample = value;
    };
    int64_t carried = background;
    const int first = offset > 0 ? length - 1 : 0;
    for (int i = 0, x = first; i < length; ++i, x -= step) {
        const int64_t current = *at(x);
        put(x + step * (whole + 1), (current * f + carried * (65536 - f) + 32768) >> 16);
        carried = current;
    }
    const int last = offset > 0 ? 0 : length - 1;
    put(last + step * whole, (background * f + carried * (65536 - f) + 32768) >> 16);
    for (int i = 0; i < std::min(whole, length); ++i) put(last + step * i, background);
}

CPlane PlainRotate(const CPlane& source, double degrees, int64_t background) {
    const double pi = 3.14159265358979323846;
    const double a = -std::tan(degrees * pi / 180 / 2);
    const double b = std::sin(degrees * pi / 180);
    const int w = source.width;
    const int h = source.height;
    const int w1 = w + static_cast<int>(std::ceil((h - 1) * std::abs(a)));
    const int m = static_cast<int>(std::ceil((h - 1) * std::abs(b)));
    const int n = static_cast<int>(std::ceil((w1 - 1) * std::abs(b)) / 2);
    CPlane canvas{w + 2 * m, h + 2 * n + 2, {}};
    canvas.samples.assign(static_cast<size_t>(canvas.width * canvas.height), background);
    for (int y = 0; y < h; ++y) {
        for (int x = 0; x < w; ++x) {
            canvas.At(m + x, n + 1 + y) = source.samples[static_cast<size_t>(y * w + x)];
        }
    }
    const auto pixel = [&](int x, int y) {
        const bool inside = x >= 0 && x < canvas.width && y >= 0 && y < canvas.height;
        return inside ? &canvas.At(x, y) : nullptr;
    };
    const auto middle = (canvas.width - w1) / 2;
    for (int i = 0; i < h; ++i) {
        PlainShear(w, (i - (h - 1) / 2.0) * a, background,
                   [&](int x) { return pixel(m + x, n + 1 + i); });
    }
    for (int i = 0; i < w1; ++i) {
        PlainShear(h, (i - (w1 - 1) / 2.0) * b, background,
                   [&](int y) { return pixel(middle + i, n + 1 + y); });
    }
    const int rows = canvas.height - 2;
    for (int i = 0; i < rows; ++i) {
        PlainShear(w1, (i - (rows - 1) / 2.0) * a, background,
                   [&](int x) { return pixel(middle + x, 1 + i); });
    }
    return canvas;
}

TEST(GeometryTest, FineRotationMatchesThePlainForm) {
    for (const int depth : {8, 24, 16, 48}) {
        for (const double degrees : {7.5, -7.5, 30.0, -44.9, 45.0, 1.0, -0.3, 0.001}) {
            for (const CSize size : {CSize{23, 17}, CSize{70, 9}, CSize{5, 80}, CSize{1, 6},
                                     CSize{6, 1}, CSize{1, 1}}) {
                SCOPED_TRACE(testing::Message() << depth << " bits " << degrees << ' ' << size.width
                                                << 'x' << size.height);
                const auto source = NoisePicture(depth, size.width, size.height);
                const auto image = source->Copy(false);
                ASSERT_TRUE(image->OpRotateFine(degrees, 0x0A6432, 0));
                EXPECT_EQ(image->backgroundColor, 0x0A6432u);
                const bool deep = source->Has16Bit();
                const int channels = source->Samples16();
                constexpr int kBackground[] = {0x0A, 0x64, 0x32};
                for (int c = 0; c < channels; ++c) {
                    CPlane plane{size.width, size.height, {}};
                    for (int y = 0; y < size.height; ++y) {
                        for (int x = 0; x < size.width; ++x) {
                            const auto i = static_cast<size_t>((y * size.width + x) * channels + c);
                            plane.samples.push_back(deep ? source->bits16[i]
                                                         : source->RowFromTop(y)[x * channels + c]);
                        }
                    }
                    CPlane expected =
                        PlainRotate(plane, degrees, kBackground[c] * (deep ? 257 : 1));
                    ASSERT_EQ(image->Width(), expected.width);
                    ASSERT_EQ(image->Height(), expected.height);
                    for (int y = 0; y < expected.height; ++y) {
                        for (int x = 0; x < expected.width; ++x) {
                            const auto i =
                                static_cast<size_t>((y * expected.width + x) * channels + c);
                            const int shown = image->RowFromTop(y)[x * channels + c];
                            const int64_t value = expected.At(x, y);
                            ASSERT_EQ(deep ? image->bits16[i] : shown, value) << x << ' ' << y;
                            ASSERT_EQ(shown, deep ? value >> 8 : value);
                        }
                    }
                }
            }
        }
    }
}

TEST(GeometryTest, FineRotationTakesQuarterTurnsFirst) {
    struct CCase {
        double degrees;
        int16_t quarters;  // degrees of the turn, 0 for none
    };
    constexpr CCase kCases[] = {{90, 90},       {-90, 270},       {180, 180}, {270, 270},
                                {360, 0},       {450, 90},        {-630, 90}, {0.00005, 0},
                                {90.00001, 90}, {3600000090, 90}, {-720, 0}};
    for (const CCase& c : kCases) {
        SCOPED_TRACE(c.degrees);
        const auto image = NoisePicture(4, 9, 5);
        const auto turned = image->Copy(false);
        turned->TurnQuarters(c.quarters);
        EXPECT_TRUE(image->OpRotateFine(c.degrees, 0, 1));
        EXPECT_EQ(image->bits, turned->bits);
        EXPECT_EQ(image->Width(), turned->Width());
        EXPECT_EQ(image->undoStack.size(), c.degrees == 0.00005 ? 0u : 1u);
    }
    // 100 degrees are a quarter and 10 more.
    const auto image = NoisePicture(24, 20, 10);
    const auto turned = image->Copy(false);
    turned->TurnQuarters(90);
    turned->OpRotateFine(10, 0xFFFFFF, 0);
    EXPECT_TRUE(image->OpRotateFine(100, 0xFFFFFF, 0));
    EXPECT_EQ(image->bits, turned->bits);
    for (const double strange : {std::nan(""), HUGE_VAL, -HUGE_VAL}) {
        EXPECT_FALSE(image->OpRotateFine(strange, 0, 1));
        EXPECT_TRUE(image->undoStack.empty());
    }
    EXPECT_TRUE(image->OpRotateFine(1e300, 0, 0));
}

TEST(GeometryTest, FineRotationChoosesTheFormat) {
    for (const int depth : {1, 4, 8}) {
        for (const bool colour : {false, true}) {
            const auto image = NoisePicture(depth, 9, 7);
            if (colour) image->bitmapInfo.Palette()[1] = {1, 2, 3, 0};
            EXPECT_TRUE(image->OpRotateFine(30, 0x123456, 0));
            EXPECT_EQ(image->bitmapInfo.BitCount(), colour ? 24 : 8);
            const std::array<uint8_t, 3> grayCorner{0x12, 0x12, 0x12};
            const std::array<uint8_t, 3> corner{0x12, 0x34, 0x56};
            EXPECT_EQ(ColourOf(*image, 0, 0), colour ? corner : grayCorner);
        }
    }
}

TEST(GeometryTest, DeInterlaceReplacesEveryOtherRow) {
    struct CCase {
        bool oddField, interpolate;
        std::vector<uint8_t> rows;
    };
    // Rows of 10, 21, 40, 81, 160, 255 and 0.
    const CCase kCases[] = {
        {false, true, {10, 25, 40, 100, 160, 80, 0}},
        {true, true, {10, 21, 51, 81, 168, 255, 0}},
        {false, false, {10, 40, 40, 160, 160, 0, 0}},
        {true, false, {21, 21, 81, 81, 255, 255, 0}},
    };
    constexpr uint8_t kRows[] = {10, 21, 40, 81, 160, 255, 0};
    for (const CCase& c : kCases) {
        for (const int depth : {8, 24, 48}) {
            std::unique_ptr<CImageBits> image;
            if (depth == 48) {
                image = Picture16(
                    3, 5, 7, [&](int, int y, int) { return static_cast<uint16_t>(kRows[y] << 8); });
            } else if (depth == 24) {
                image = Picture24(5, 7, [&](int, int y) {
                    return std::array{kRows[y], kRows[y], kRows[y]};
                });
            } else {
                image = PicturePalette(8, 5, 7, [&](int, int y) { return kRows[y]; });
            }
            EXPECT_TRUE(image->OpDeInterlace(c.oddField, c.interpolate, 0));
            EXPECT_FALSE(image->Has16Bit());
            for (int y = 0; y < 7; ++y) {
                EXPECT_EQ(ColourOf(*image, 4, y)[1], c.rows[static_cast<size_t>(y)])
                    << y << ' ' << depth << c.oddField << c.interpolate;
            }
        }
    }
}

}  // namespace
}  // namespace kestr
