// Tone operations against their rules taken literally, one pixel at a time.

#include <cmath>
#include <functional>
#include <limits>

#include <gmock/gmock.h>

#include "base/integer_hsv.h"
#include "image/pixel_color.h"
#include "ops/percent_scale.h"
#include "ops/spill_clamp.h"
#include "support/picture.h"

namespace kestr {
namespace {

using test::ColourOf;
using test::IndexOf;
using test::Picture16;
using test::Picture24;
using test::PicturePalette;
using testing::ElementsAre;

constexpr int kPercents[] = {-32768, -200, -150, -101, -100, -99, -50, -33, -7,  -1,   0,
                             1,      3,    15,   29,   50,   99,  100, 101, 250, 5000, 32767};
constexpr int kWidth = 37;  // two blocks of vector code and a rest
constexpr int kHeight = 9;

struct CRGB {
    int64_t red, green, blue;
};

/// A picture whose rows go from dark to full range, so that blocks with and without spill occur.
std::unique_ptr<CImageBits> Noise24(uint32_t seed) {
    test::CNoise noise(seed);
    return Picture24(kWidth, kHeight, [&](int, int y) {
        const int range = 32 << (y % 4);
        const auto channel = [&] { return static_cast<uint8_t>(noise.Byte() % range); };
        return std::array<uint8_t, 3>{channel(), channel(), channel()};
    });
}

std::unique_ptr<CImageBits> Noise16(int channels, uint32_t seed) {
    test::CNoise noise(seed);
    return Picture16(channels, kWidth, kHeight, [&](int, int y, int) {
        return static_cast<uint16_t>(noise.Word() % (8192 << (y % 4)));
    });
}

/// Applies `rule` to copies of each colour and compares with what the operation made of it.
void CheckColours(const std::function<void(CImageBits&)>& operation,
                  const std::function<CRGB(const CRGB&)>& rule, CImageBits& image) {
    const auto before = image.Copy(false);
    operation(image);
    for (int y = 0; y < kHeight; ++y) {
        for (int x = 0; x < kWidth; ++x) {
            const auto was = *ReadPixel(*before, x, y);
            const auto is = *ReadPixel(image, x, y);
            const CRGB expected = rule({was.red, was.green, was.blue});
            ASSERT_THAT((std::array<int64_t, 3>{is.red, is.green, is.blue}),
                        ElementsAre(expected.red, expected.green, expected.blue))
                << "from " << was.red << "," << was.green << "," << was.blue;
        }
    }
}

/// The clamp in the words of its rule.
CRGB Spill(CRGB c, int64_t limit) {
    auto& [r, g, b] = c;
    const auto inside = [&](int64_t v) { return v >= 0 && v <= limit; };
    while (!inside(r) || !inside(g) || !inside(b)) {
        if ((b < 0 && g < 1 && r < 1) || (b == 0 && g < 1 && r < 1)) {
            r = g = b = 0;
        } else if (b >= limit && g >= limit && r >= limit) {
            r = g = b = limit;
        } else if (b < 0) {
            g += b / 2, r += b / 2, b = 0;
        } else if (b > limit) {
            g += (b - limit) / 2, r += (b - limit) / 2, b = limit;
        }
        if (r < 0) {
            g += r / 2, b += r / 2, r = 0;
        } else if (r > limit) {
            g += (r - limit) / 2, b += (r - limit) / 2, r = limit;
        }
        if (g < 0) {
            b += g / 2, r += g / 2, g = 0;
        } else if (g > limit) {
            b += (g - limit) / 2, r += (g - limit) / 2, g = limit;
        }
    }
    return c;
}

int64_t Clip(int64_t value, int64_t limit) {
    return std::clamp<int64_t>(value, 0, limit);
}

int64_t Added(int64_t value, int64_t percent) {
    return value + value * percent / 100;
}

TEST(PercentTest, EveryPercentageOfEveryLevel) {
    for (int percent = -101; percent <= 1000; ++percent) {
        const auto scale = CPercentScale::ForAdding(percent);
        const int step = percent % 10 == 0 || percent < 130 ? 1 : 17;
        for (int value = 0; value < 65536; value += step) {
            const int64_t expected = std::max<int64_t>(Added(value, percent), 0);
            const bool fits = expected <= 65535;
            ASSERT_EQ(scale.Overflow(static_cast<uint16_t>(value)) == 0, fits)
                << value << " " << percent;
            if (fits) {
                ASSERT_EQ(scale.Of(static_cast<uint16_t>(value)), expected)
                    << value << " " << percent;
            }
        }
    }
}

TEST(ToneTest, SpillClampEndsAndFollowsItsRule) {
    test::CNoise noise(3);
    for (int i = 0; i < 200000; ++i) {
        const auto value = [&] { return static_cast<int32_t>(noise()) >> (8 + noise() % 20); };
        const int limit = i % 2 ? 255 : 65535;
        const CSpillColour colour{value(), value(), value()};
        const CSpillColour is = SpillClamp(colour, limit);
        const CRGB expected = Spill({colour.red, colour.green, colour.blue}, limit);
        ASSERT_THAT((std::array<int64_t, 3>{is.red, is.green, is.blue}),
                    ElementsAre(expected.red, expected.green, expected.blue));
    }
}

TEST(ToneTest, Brightness) {
    for (const int percent : kPercents) {
        SCOPED_TRACE(percent);
        const auto op = [=](CImageBits& image) { image.OpBrighter(percent, 0); };
        const auto clipped = [=](int64_t limit) {
            return [=](const CRGB& c) {
                return CRGB{Clip(Added(c.red, percent), limit),
                            Clip(Added(c.green, percent), limit),
                            Clip(Added(c.blue, percent), limit)};
            };
        };
        CheckColours(op, clipped(255), *Noise24(1));
        CheckColours(op, clipped(65535), *Noise16(1, 2));
        CheckColours(
            op,
            [=](const CRGB& c) {
                return Spill(
                    {Added(c.red, percent), Added(c.green, percent), Added(c.blue, percent)},
                    65535);
            },
            *Noise16(3, 3));
        test::CNoise noise(4);
        CheckColours(op, clipped(255),
                     *PicturePalette(8, kWidth, kHeight, [&](int, int) { return noise.Byte(); }));
        CheckColours(op, clipped(255), *PicturePalette(4, kWidth, kHeight, [&](int, int) {
                         return static_cast<uint8_t>(noise.Byte() & 15);
                     }));
    }
}

TEST(ToneTest, Contrast) {
    for (const int percent : kPercents) {
        SCOPED_TRACE(percent);
        const auto op = [=](CImageBits& image) { image.OpContrast(percent, 0); };
        const double factor = (percent + 100) / 100.0;
        const auto entry = [=](int64_t level, int64_t mean) {
            return static_cast<int64_t>(static_cast<double>(level - mean) * factor) + mean;
        };
        const auto rule = [&](CImageBits& image, int64_t limit, bool spill) {
            int64_t sum = 0;
            for (int y = 0; y < kHeight; ++y) {
                for (int x = 0; x < kWidth; ++x) {
                    const auto p = *ReadPixel(image, x, y);
                    const int shift = limit > 255 ? 8 : 0;
                    sum += ((p.red >> shift) + (p.green >> shift) + (p.blue >> shift)) / 3;
                }
            }
            const int64_t mean = sum / (kWidth * kHeight) * (limit > 255 ? 256 : 1);
            CheckColours(
                op,
                [=](const CRGB& c) {
                    const CRGB all{entry(c.red, mean), entry(c.green, mean), entry(c.blue, mean)};
                    return spill ? Spill(all, limit)
                                 : CRGB{Clip(all.red, limit), Clip(all.green, limit),
                                        Clip(all.blue, limit)};
                },
                image);
        };
        rule(*Noise24(5), 255, true);
        rule(*Noise16(3, 6), 65535, true);
        rule(*Noise16(1, 7), 65535, false);
        test::CNoise noise(8);
        const auto gray =
            PicturePalette(8, kWidth, kHeight, [&](int, int) { return noise.Byte() / 2; });
        rule(*gray, 255, false);
        const auto coloured =
            PicturePalette(4, kWidth, kHeight, [&](int x, int) { return uint8_t(x % 16); });
        coloured->bitmapInfo.Palette()[3] = {10, 20, 250, 0};
        rule(*coloured, 255, true);
    }
}

// The sum has 32 bits: ten million white pixels wrap it, and the mean becomes -174.
TEST(ToneTest, ContrastOfAVeryBrightLargePictureWraps) {
    constexpr int kSide = 3200;
    const auto image = Picture24(kSide, kSide, [](int x, int) {
        const uint8_t level = x == 0 ? 100 : 255;
        return std::array<uint8_t, 3>{level, level, level};
    });
    const int64_t sum = int64_t{kSide} * (100 + int64_t{kSide - 1} * 255);
    const int64_t mean = (sum - (int64_t{1} << 32)) / (int64_t{kSide} * kSide);
    ASSERT_LT(mean, 0);
    image->OpContrast(-20, 0);
    EXPECT_EQ(ColourOf(*image, 0, 7)[1], static_cast<int>((100 - mean) * 0.8) + mean);
    EXPECT_EQ(ColourOf(*image, 1, 7)[1], static_cast<int>((255 - mean) * 0.8) + mean);
}

TEST(ToneTest, Negative) {
    const auto op = [](CImageBits& image) { image.OpNegative(0); };
    const auto rule = [](int64_t limit) {
        return [=](const CRGB& c) { return CRGB{limit - c.red, limit - c.green, limit - c.blue}; };
    };
    CheckColours(op, rule(255), *Noise24(9));
    CheckColours(op, rule(65535), *Noise16(1, 9));
    CheckColours(op, rule(65535), *Noise16(3, 9));
    // An 8-bit gray image keeps its pixels; in a rectangle nothing changes at all.
    const auto gray = PicturePalette(8, kWidth, kHeight, [](int x, int) { return uint8_t(x); });
    CheckColours(op, rule(255), *gray);
    EXPECT_EQ(IndexOf(*gray, 5, 0), 5);
    gray->SetOpRect(0, 0, 20, 5, 0);
    CheckColours(
        op, [](const CRGB& c) { return c; }, *gray);
}

TEST(ToneTest, RGBAdjust) {
    for (const int percent : kPercents) {
        SCOPED_TRACE(percent);
        const auto op = [=](CImageBits& image) { image.OpRGBAdjust(percent, 20, -30, 0); };
        const auto rule = [=](int64_t limit) {
            return [=](const CRGB& c) {
                return CRGB{Clip(Added(c.red, percent), limit), Clip(Added(c.green, 20), limit),
                            Clip(Added(c.blue, -30), limit)};
            };
        };
        CheckColours(op, rule(255), *Noise24(10));
        CheckColours(op, rule(65535), *Noise16(3, 11));
        CheckColours(op, rule(255), *PicturePalette(8, kWidth, kHeight, [](int x, int) {
                         return uint8_t(x * 7);
                     }));
        // The single sample of a gray image takes the third percentage.
        const auto third = [=](CImageBits& image) { image.OpRGBAdjust(1, 2, percent, 0); };
        CheckColours(
            third,
            [=](const CRGB& c) {
                const int64_t v = Clip(Added(c.red, percent), 65535);
                return CRGB{v, v, v};
            },
            *Noise16(1, 12));
    }
}

/// Steps 1 to 6 of the integer procedure, written out.
CRGB AdjustedHSV(const CRGB& c, int h, int s, int v) {
    const int64_t r = c.red * 100 / 255, g = c.green * 100 / 255, b = c.blue * 100 / 255;
    int64_t value = std::max({r, g, b});
    const int64_t d = value - std::min({r, g, b});
    int64_t saturation = value == 0 ? 0 : 100 * d / value;
    int64_t hue = 0;
    if (saturation > 0) {
        const int64_t rc = (value - r) * 100 / d, gc = (value - g) * 100 / d,
                      bc = (value - b) * 100 / d;
        const int64_t n = value == r ? bc - gc : value == g ? 200 + rc - bc : 400 + gc - rc;
        hue = n * 60 / 100;
        if (hue < 0) hue += 360;
    }
    hue += hue * h / 100;
    if (hue >= 360) hue -= 360;
    if (hue < 0) hue += 360;
    saturation = Clip(saturation + saturation * s / 100, 100);
    value = Clip(value + value * v / 100, 100);
    CRGB out{value * 100, value * 100, value * 100};
    if (saturation >= 1) {
        const int64_t hh = hue < 360 ? hue * 100 / 60 : 0;
        const int64_t sector = hh / 100, f = hh - sector * 100;
        const int64_t p = (100 - saturation) * value, q = (100 - saturation * f / 100) * value,
                      t = (100 - saturation * (100 - f) / 100) * value, top = value * 100;
        out = sector == 0   ? CRGB{top, t, p}
              : sector == 1 ? CRGB{q, top, p}
              : sector == 2 ? CRGB{p, top, t}
              : sector == 3 ? CRGB{p, q, top}
              : sector == 4 ? CRGB{t, p, top}
                            : CRGB{top, p, q};
    }
    const auto level = [](int64_t x) { return (x * 255 + 5000) / 10000 & 255; };
    return {level(out.red), level(out.green), level(out.blue)};
}

CRGB AdjustedHSV16(const CRGB& c, int h, int s, int v) {
    const double r = c.red * 100.0 / 65535, g = c.green * 100.0 / 65535, b = c.blue * 100.0 / 65535;
    double value = std::max({r, g, b});
    const double d = value - std::min({r, g, b});
    double saturation = value == 0 ? 0 : d * 100 / value;
    double hue = 0;
    if (saturation > 0) {
        const double rc = (value - r) * 100 / d, gc = (value - g) * 100 / d,
                     bc = (value - b) * 100 / d;
        const double n = value == r ? bc - gc : value == g ? 200 + rc - bc : 400 + gc - rc;
        hue = n * 60 / 100;
        if (hue < 0) hue += 360;
    }
    hue += h * hue / 100;
    if (hue >= 360) hue -= 360;
    if (hue < 0) hue += 360;
    saturation = std::clamp(saturation + s * saturation / 100, 0.0, 100.0);
    value = std::clamp(value + v * value / 100, 0.0, 100.0);
    double R = value * 100, G = R, B = R;
    if (saturation > 0) {
        const double hh = hue == 360 ? 0 : hue * 100 / 60;
        const int sector = static_cast<int>(hh / 100);
        const double f = hh - 100 * sector;
        const double p = (100 - saturation) * value, q = (100 - saturation * f / 100) * value,
                     t = (100 - saturation * (100 - f) / 100) * value, top = value * 100;
        const double table[6][3] = {{top, t, p}, {q, top, p}, {p, top, t},
                                    {p, q, top}, {t, p, top}, {top, p, q}};
        const double* row = table[sector >= 0 && sector < 5 ? sector : 5];
        R = row[0], G = row[1], B = row[2];
    }
    const auto sample = [](double x) {
        return static_cast<int64_t>(static_cast<uint16_t>(int((x * 65535 + 5000) / 10000)));
    };
    return {sample(R), sample(G), sample(B)};
}

TEST(ToneTest, HSVAdjust) {
    constexpr int kCases[][3] = {{0, 0, 0},      {30, 0, 0},    {-30, 20, -10},
                                 {100, -100, 0}, {0, 300, 50},  {-250, 40, 10},
                                 {5000, 7, -3},  {32767, 1, 1}, {-32768, -32768, 32767}};
    for (const auto& [h, s, v] : kCases) {
        SCOPED_TRACE(testing::Message() << h << " " << s << " " << v);
        const auto op = [=](CImageBits& image) { image.OpHSVAdjust(h, s, v, 0); };
        for (uint32_t seed = 20; seed < 60; ++seed) {
            CheckColours(
                op, [=](const CRGB& c) { return AdjustedHSV(c, h, s, v); }, *Noise24(seed));
            CheckColours(
                op, [=](const CRGB& c) { return AdjustedHSV16(c, h, s, v); }, *Noise16(3, seed));
        }
    }
    // A picture large enough for each colour to be remembered.
    test::CNoise noise(99);
    const auto large = Picture24(640, 480, [&](int, int) {
        return std::array<uint8_t, 3>{noise.Byte(), noise.Byte(), noise.Byte()};
    });
    const auto before = large->Copy(false);
    large->OpHSVAdjust(-20, 35, 10, 0);
    for (int y = 0; y < 480; ++y) {
        for (int x = 0; x < 640; ++x) {
            const auto was = ColourOf(*before, x, y);
            const CRGB c = AdjustedHSV({was[2], was[1], was[0]}, -20, 35, 10);
            ASSERT_EQ(ColourOf(*large, x, y),
                      (std::array<uint8_t, 3>{uint8_t(c.blue), uint8_t(c.green), uint8_t(c.red)}));
        }
    }
    // A gray image with a 16-bit store is left alone, without a snapshot.
    const auto gray = Noise16(1, 1);
    CheckColours([](CImageBits& image) { image.OpHSVAdjust(10, 10, 10, 1); },
                 [](const CRGB& c) { return c; }, *gray);
    EXPECT_TRUE(gray->undoStack.empty());
}

int64_t Gray8(const CRGB& c) {
    const auto entry = [](int64_t i, double w) { return int64_t(double(i) * w * 256 + 0.5); };
    return (entry(c.red, 0.30) + entry(c.green, 0.59) + entry(c.blue, 0.11)) >> 8;
}

int64_t Gray16(const CRGB& c) {
    return std::min(65535, static_cast<int>(0.114 * double(c.blue) + 0.587 * double(c.green) +
                                            0.299 * double(c.red)));
}

TEST(ToneTest, GrayScaleOfTheWhole) {
    const auto op = [](CImageBits& image) { image.OpGrayScale(1); };
    const auto gray8 = [](const CRGB& c) { return CRGB{Gray8(c), Gray8(c), Gray8(c)}; };
    const auto gray16 = [](const CRGB& c) { return CRGB{Gray16(c), Gray16(c), Gray16(c)}; };
    const auto flat = Noise24(30);
    CheckColours(op, gray8, *flat);
    EXPECT_EQ(flat->bitmapInfo.BitCount(), 8);
    EXPECT_EQ(flat->undoStack.size(), 1u);
    const auto deep = Noise16(3, 31);
    CheckColours(op, gray16, *deep);
    EXPECT_EQ(deep->bitmapInfo.BitCount(), 8);
    EXPECT_EQ(deep->bits16.size(), size_t{kWidth * kHeight});
    EXPECT_EQ(IndexOf(*deep, 3, 2), deep->bits16[2 * kWidth + 3] >> 8);
    const auto palette = PicturePalette(8, kWidth, kHeight, [](int x, int) { return uint8_t(x); });
    palette->bitmapInfo.Palette()[4] = {1, 2, 200, 0};
    CheckColours(op, gray8, *palette);
    EXPECT_EQ(IndexOf(*palette, 4, 0), Gray8({200, 2, 1}));  // folded
    const auto again = palette->undoStack.size();
    palette->OpGrayScale(1);
    EXPECT_EQ(palette->undoStack.size(), again);
}

TEST(ToneTest, GrayScaleOfASelection) {
    for (const bool inverse : {false, true}) {
        for (const bool deep : {false, true}) {
            const auto image = deep ? Noise16(3, 32) : Noise24(32);
            const auto before = image->Copy(false);
            image->SetOpRect(3, 2, 9, 5, 0);
            image->inverseSelect = inverse;
            image->OpGrayScale(0);
            EXPECT_EQ(image->bitmapInfo.BitCount(), 24);
            for (int y = 0; y < kHeight; ++y) {
                for (int x = 0; x < kWidth; ++x) {
                    const bool inside = x >= 3 && x <= 9 && y >= 2 && y <= 5;
                    const auto was = *ReadPixel(*before, x, y);
                    const CRGB c{was.red, was.green, was.blue};
                    const int64_t level = deep ? Gray16(c) : Gray8(c);
                    const auto is = *ReadPixel(*image, x, y);
                    EXPECT_EQ(is.red, inside != inverse ? level : c.red);
                    EXPECT_EQ(is.blue, inside != inverse ? level : c.blue);
                }
            }
        }
    }
}

TEST(ToneTest, GrayScaleOfTwoColoursKeepsThePattern) {
    const auto image = PicturePalette(1, 9, 1, [](int x, int) { return x == 2; });
    image->bitmapInfo.Palette()[0] = {0, 200, 200, 0};
    image->bitmapInfo.Palette()[1] = {100, 0, 0, 0};
    image->OpGrayScale(0);
    EXPECT_EQ(image->bitmapInfo.BitCount(), 1);
    EXPECT_EQ(ColourOf(*image, 2, 0)[0], 0);
    EXPECT_EQ(ColourOf(*image, 3, 0)[0], 255);
    EXPECT_EQ(image->bitmapInfo.Palette()[0].rgbRed, 0);
    EXPECT_TRUE(image->IsGray());
}

TEST(ToneTest, GammaAndPowerCurve) {
    for (const auto& [gamma, factor] : {std::pair{2.0, 1.0},
                                        {0.5, 1.0},
                                        {0.45454545454545453, 3.3},
                                        {-1.0, 1.0},
                                        {1e300, 1.0},
                                        {0.7, 0.0}}) {
        SCOPED_TRACE(gamma);
        const auto op = [=](CImageBits& image) { image.OpGammaTable(gamma, factor, 1); };
        const double exponent = 1 / (gamma * factor);
        const auto byte = [=](int64_t i) {
            const double v = std::pow(double(i) / 255, exponent) * 255 + 0.5;
            return int64_t{std::abs(v) < 2e9 ? static_cast<uint8_t>(static_cast<int>(v)) : 0};
        };
        const auto rule = [=](const CRGB& c) {
            return CRGB{byte(c.red), byte(c.green), byte(c.blue)};
        };
        const auto flat = Noise24(40);
        CheckColours(op, rule, *flat);
        EXPECT_EQ(flat->gamma, gamma);
        EXPECT_EQ(flat->undoStack.size(), 1u);
        CheckColours(op, rule, *PicturePalette(8, kWidth, kHeight, [](int x, int) {
                         return uint8_t(x * 7);
                     }));
        const auto word = [=](int64_t s) {
            const double v = std::pow(double(s >> 2) / 16383, exponent) * 16383 + 0.5;
            return int64_t{std::abs(v) < 2e9 ? static_cast<uint16_t>(4 * static_cast<int>(v)) : 0};
        };
        CheckColours(
            op,
            [=](const CRGB& c) {
                return CRGB{word(c.red), word(c.green), word(c.blue)};
            },
            *Noise16(3, 41));
        const auto gray = Noise16(1, 42);
        CheckColours(
            op, [](const CRGB& c) { return c; }, *gray);
        EXPECT_EQ(gray->bitmapInfo.Palette()[100].rgbGreen, byte(100));
    }
    // What changes nothing pushes nothing.
    for (const auto& [gamma, factor] :
         {std::pair{1.0, 1.0}, {0.0, 1.0}, {0.45454545454545453, 2.2}, {0.9995, 1.0}}) {
        const auto image = Noise24(43);
        CheckColours([g = gamma, f = factor](CImageBits& i) { i.OpGammaTable(g, f, 1); },
                     [](const CRGB& c) { return c; }, *image);
        EXPECT_TRUE(image->undoStack.empty());
    }
    const auto black = Noise24(44);
    black->OpGammaTable(std::numeric_limits<double>::quiet_NaN(), 1.0, 0);
    EXPECT_EQ(ColourOf(*black, 0, 3)[0], ColourOf(*black, 0, 3)[0] == 255 ? 255 : 0);
}

TEST(ToneTest, Levels) {
    struct CCase {
        std::array<uint32_t, 3> levels;
    };
    for (const CCase& c : {CCase{{0, 128, 255}},
                           {{20, 90, 200}},
                           {{0, 64, 255}},
                           {{50, 50, 60}},
                           {{50, 60, 60}},
                           {{50, 70, 60}},
                           {{90, 90, 90}},
                           {{200, 100, 20}}}) {
        SCOPED_TRACE(testing::PrintToString(c.levels));
        const auto entry = [&](int64_t i, int scale) -> int64_t {
            const double low = c.levels[0] * scale, mid = c.levels[1] * scale,
                         high = c.levels[2] * scale;
            const int limit = scale == 1 ? 255 : 65535;
            if (double(i) < low) return 0;
            if (double(i) > high) return limit;
            const double gamma = std::log((mid - low) / (high - low)) / std::log(0.5);
            const double v = std::pow((double(i) - low) / (high - low), 1 / gamma) * limit + 0.5;
            if (!(std::abs(v) < 2e9)) return 0;
            return static_cast<int>(v) & limit;
        };
        const auto op = [&](CImageBits& image) {
            const uint32_t scale = image.Has16Bit() ? 256 : 1;
            const std::array<uint32_t, 3> levels{c.levels[0] * scale, c.levels[1] * scale,
                                                 c.levels[2] * scale};
            const std::array<uint32_t, 3> straight{0, 128 * scale, 255 * scale};
            EXPECT_TRUE(image.OpAdjustLevels(levels, straight, levels, 0, 0));
        };
        const auto straight = [](int64_t i, int scale) {
            const double limit = scale == 1 ? 255 : 65535;
            const double gamma = std::log(128.0 / 255) / std::log(0.5);
            if (double(i) > 255.0 * scale) return int64_t(limit);
            return int64_t(std::pow(double(i) / (255 * scale), 1 / gamma) * limit + 0.5);
        };
        const auto rule = [&](int scale) {
            return [=](const CRGB& x) {
                return CRGB{entry(x.red, scale), straight(x.green, scale), entry(x.blue, scale)};
            };
        };
        CheckColours(op, rule(1), *Noise24(50));
        CheckColours(op, rule(256), *Noise16(3, 51));
        const auto gray = [&](int scale) {
            return [=](const CRGB& x) {
                const int64_t v = entry(x.red, scale);
                return CRGB{v, v, v};
            };
        };
        CheckColours(op, gray(256), *Noise16(1, 52));
        test::CNoise noise(53);
        CheckColours(op, gray(1),
                     *PicturePalette(8, kWidth, kHeight, [&](int, int) { return noise.Byte(); }));
        CheckColours(op, rule(1),
                     *PicturePalette(4, kWidth, kHeight, [](int x, int) { return x % 16; }));
    }
    const auto bilevel = PicturePalette(1, 4, 4, [](int, int) { return 1; });
    EXPECT_FALSE(bilevel->OpAdjustLevels({0, 1, 2}, {0, 1, 2}, {0, 1, 2}, 0, 1));
    EXPECT_EQ(bilevel->errorText, ".");
    EXPECT_TRUE(bilevel->undoStack.empty());
}

TEST(ToneTest, ColourPoint) {
    constexpr uint32_t kColour = 0x50'64'A0;  // blue 80, green 100, red 160
    for (const int mode : {0, 1, 2, 7}) {
        SCOPED_TRACE(mode);
        const int64_t target = mode == 2 ? 0 : mode == 1 ? Gray8({160, 100, 80}) : 255;
        const auto entry = [=](int64_t i, int64_t channel, int64_t limit) {
            if (target == 0) return Clip(i - channel * (limit > 255 ? 256 : 1), limit);
            return std::min(limit, int64_t(double(i) / (double(channel) / double(target))));
        };
        const auto op = [=](CImageBits& image) {
            EXPECT_TRUE(image.OpSetColorPoint(static_cast<uint8_t>(mode), kColour, 1));
            EXPECT_EQ(image.undoStack.size(), 1u);
        };
        const auto rule = [=](int64_t limit) {
            return [=](const CRGB& c) {
                return CRGB{entry(c.red, 160, limit), entry(c.green, 100, limit),
                            entry(c.blue, 80, limit)};
            };
        };
        CheckColours(op, rule(255), *Noise24(60));
        CheckColours(op, rule(65535), *Noise16(3, 61));
        CheckColours(op, rule(255), *PicturePalette(8, kWidth, kHeight, [](int x, int) {
                         return uint8_t(x * 7);
                     }));
        CheckColours(
            op,
            [=](const CRGB& c) {
                const int64_t v = entry(c.red, 80, 65535);
                return CRGB{v, v, v};
            },
            *Noise16(1, 62));
    }
    const auto image = Noise24(63);
    CheckColours([](CImageBits& i) { EXPECT_TRUE(i.OpSetColorPoint(0, 0x00FFFF, 1)); },
                 [](const CRGB& c) { return c; }, *image);
    EXPECT_TRUE(image->undoStack.empty());
    const auto bilevel = PicturePalette(1, 4, 4, [](int, int) { return 1; });
    EXPECT_FALSE(bilevel->OpSetColorPoint(2, kColour, 1));
    EXPECT_EQ(bilevel->errorText, ".");
}

TEST(SetPixelTest, PaletteImages) {
    struct CCase {
        const char* name;
        int bitCount;
        uint32_t colours;  // in use; 0 for all
        std::array<uint16_t, 3> rgb;
        int becomes;
        uint32_t coloursAfter;
    };
    constexpr CCase kCases[] = {
        {"1 bit, present", 1, 0, {255, 255, 255}, 1, 0}, {"1 bit, new", 1, 0, {9, 8, 7}, 8, 3},
        {"4 bits, full", 4, 0, {9, 8, 7}, 8, 17},        {"4 bits, room", 4, 5, {9, 8, 7}, 4, 6},
        {"4 bits, last", 4, 15, {9, 8, 7}, 4, 0},        {"8 bits, room", 8, 40, {9, 8, 7}, 8, 41},
        {"8 bits, full", 8, 0, {9, 8, 7}, 24, 0},        {"8 bits, gray", 8, 0, {9, 9, 9}, 8, 0},
    };
    for (const CCase& c : kCases) {
        SCOPED_TRACE(c.name);
        const auto image = PicturePalette(c.bitCount, 5, 3, [](int, int) { return 0; });
        image->bitmapInfo.Header().biClrUsed = c.colours;
        image->OpSetPixelColor(3, 1, c.rgb[0], c.rgb[1], c.rgb[2], 1);
        EXPECT_EQ(image->bitmapInfo.BitCount(), c.becomes);
        EXPECT_EQ(image->bitmapInfo.Header().biClrUsed, c.coloursAfter);
        EXPECT_THAT(ColourOf(*image, 3, 1), ElementsAre(c.rgb[2], c.rgb[1], c.rgb[0]));
        EXPECT_THAT(ColourOf(*image, 2, 1), ElementsAre(0, 0, 0));
        EXPECT_THAT(ColourOf(*image, 4, 1), ElementsAre(0, 0, 0));
        EXPECT_EQ(image->undoStack.size(), 1u);
        image->OpSetPixelColor(5, 1, 1, 1, 1, 1);
        image->OpSetPixelColor(1, 0xFFFFFFFF, 1, 1, 1, 1);
        EXPECT_EQ(image->undoStack.size(), 1u);
    }
}

TEST(SetPixelTest, BothStores) {
    const auto colour = Noise16(3, 70);
    colour->OpSetPixelColor(4, 2, 0x1122, 0x3344, 0x5566, 0);
    const auto pixel = *ReadPixel(*colour, 4, 2);
    EXPECT_THAT((std::array{pixel.red, pixel.green, pixel.blue}),
                ElementsAre(0x1122, 0x3344, 0x5566));
    EXPECT_THAT(ColourOf(*colour, 4, 2), ElementsAre(0x55, 0x33, 0x11));
    const auto gray = Noise16(1, 71);
    gray->OpSetPixelColor(4, 2, 0x1122, 0x1122, 0x1122, 0);
    EXPECT_EQ(ReadPixel(*gray, 4, 2)->green, 0x1122);
    EXPECT_EQ(IndexOf(*gray, 4, 2), 0x11);
    gray->OpSetPixelColor(4, 2, 0x1122, 0x3344, 0x5566, 0);
    EXPECT_FALSE(gray->Has16Bit());
    EXPECT_THAT(ColourOf(*gray, 4, 2), ElementsAre(0x55, 0x33, 0x11));
}

TEST(RedEyeTest, WindowsOfHue) {
    struct CCase {
        int16_t hue;
        int selected;  // bit i for hue 15 * i
    };
    const auto bits = [](std::initializer_list<std::pair<int, int>> ranges) {
        int mask = 0;
        for (const auto& [from, to] : ranges) {
            for (int i = from; i <= to; ++i) mask |= 1 << i;
        }
        return mask;
    };
    const CCase kCases[] = {{0, bits({{0, 3}, {21, 23}})},   {-30, bits({{0, 1}, {19, 23}})},
                            {330, bits({{0, 1}, {19, 23}})}, {45, bits({{0, 6}})},
                            {180, bits({{9, 15}})},          {315, bits({{0, 0}, {18, 23}})}};
    // One pixel a hue, all of saturation and value 100.
    const auto hues = [](int x, int) { return BGRFromHSV({15 * x, 100, 100}); };
    for (const CCase& c : kCases) {
        for (const bool deep : {false, true}) {
            SCOPED_TRACE(testing::Message() << c.hue << " " << deep);
            const auto image =
                deep ? Picture16(3, 24, 1,
                                 [&](int x, int y, int channel) {
                                     return uint16_t(hues(x, y)[size_t(channel)] * 257);
                                 })
                     : Picture24(24, 1, hues);
            image->SetOpRect(0, 0, 23, 0, 0);
            EXPECT_TRUE(image->OpRemoveRedEye(50, c.hue, 0, 0));
            for (int x = 0; x < 24; ++x) {
                // A hue one degree off its multiple of 15 after the trip to colours stays untold.
                const int made = HSVFromRGB(hues(x, 0)[2], hues(x, 0)[1], hues(x, 0)[0]).hue;
                if (!deep && made != 15 * x) continue;
                if (deep && x % 4 != 0) continue;
                const auto now = ColourOf(*image, x, 0);
                EXPECT_EQ(now == (std::array<uint8_t, 3>{}), (c.selected >> x & 1) != 0) << 15 * x;
            }
        }
    }
}

TEST(RedEyeTest, RefusesAndKeepsWhatItPushed) {
    const auto gray = PicturePalette(8, 4, 4, [](int x, int) { return uint8_t(x); });
    EXPECT_FALSE(gray->OpRemoveRedEye(0, 0, 50, 1));
    EXPECT_EQ(gray->errorText, ".");
    EXPECT_TRUE(gray->undoStack.empty());
    const auto colour = Noise24(80);
    EXPECT_FALSE(colour->OpRemoveRedEye(0, 0, 50, 1));
    EXPECT_EQ(colour->errorText, "Selection area not set.");
    EXPECT_EQ(colour->undoStack.size(), 1u);
    const auto palette = PicturePalette(8, 4, 4, [](int x, int) { return uint8_t(x); });
    palette->bitmapInfo.Palette()[9] = {1, 2, 3, 0};
    palette->SetOpRect(0, 0, 1, 1, 0);
    EXPECT_TRUE(palette->OpRemoveRedEye(100, 0, 50, 0));
    EXPECT_EQ(palette->bitmapInfo.BitCount(), 24);
}

}  // namespace
}  // namespace kestr
