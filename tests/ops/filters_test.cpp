// Neighbourhood filters against slow plain forms of them, and cases worked by hand.

#include <algorithm>
#include <array>
#include <climits>
#include <cmath>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "image/image_bits.h"
#include "support/picture.h"

namespace kestr {
namespace {

using test::CNoise;

/// Samples of a picture, top row first, channel by channel of each pixel.
struct CSamples {
    int width = 0;
    int height = 0;
    int channels = 0;
    std::vector<int> at;

    int& operator()(int x, int y, int channel) {
        return at[static_cast<size_t>((y * width + x) * channels + channel)];
    }
    int operator()(int x, int y, int channel) const {
        return at[static_cast<size_t>((y * width + x) * channels + channel)];
    }
    friend bool operator==(const CSamples&, const CSamples&) = default;
};

CSamples SamplesOf(const CImageBits& image) {
    CSamples samples{image.Width(), image.Height(), image.bitmapInfo.BitCount() / 8, {}};
    for (int y = 0; y < samples.height; ++y) {
        for (int i = 0; i < samples.width * samples.channels; ++i) {
            samples.at.push_back(
                image.Has16Bit()
                    ? image.bits16[static_cast<size_t>(y * samples.width * samples.channels + i)]
                    : image.RowFromTop(y)[i]);
        }
    }
    return samples;
}

/// The sizes that the vector loops divide differently.
constexpr std::array<std::array<int, 2>, 9> kSizes{
    {{1, 1}, {1, 9}, {7, 1}, {2, 3}, {3, 3}, {5, 4}, {33, 17}, {70, 11}, {140, 9}}};

enum class EKind { kGray8, kPalette8, kColour24, kGray16, kColour48 };
constexpr std::array kKinds{EKind::kGray8, EKind::kPalette8, EKind::kColour24, EKind::kGray16,
                            EKind::kColour48};

/// A picture of noise; a small `spread` gives many equal values.
std::unique_ptr<CImageBits> Noise(EKind kind, int width, int height, int spread, uint32_t seed) {
    CNoise noise(seed);
    const auto byte = [&] { return static_cast<uint8_t>(90 + noise.Byte() % spread); };
    const auto word = [&](int, int, int) {
        return static_cast<uint16_t>(noise.Word() % (spread * 256));
    };
    switch (kind) {
        case EKind::kColour24:
            return test::Picture24(width, height, [&](int, int) {
                return std::array{byte(), byte(), byte()};
            });
        case EKind::kGray16:
            return test::Picture16(1, width, height, word);
        case EKind::kColour48:
            return test::Picture16(3, width, height, word);
        default:
            break;
    }
    auto image = test::PicturePalette(8, width, height, [&](int, int) { return byte(); });
    if (kind == EKind::kPalette8) {
        for (CRGBQuad& entry : image->bitmapInfo.Palette())
            entry = {noise.Byte(), noise.Byte(), static_cast<uint8_t>(noise.Byte() & 0xF0), 0};
        image->bitmapInfo.Palette()[91] =
            image->bitmapInfo.Palette()[90];  // two indices, one colour
        image->PixelsChanged();
    }
    return image;
}

std::string NameOf(EKind kind, const std::array<int, 2>& size, int parameter) {
    return "kind " + std::to_string(static_cast<int>(kind)) + ", " + std::to_string(size[0]) + "x" +
           std::to_string(size[1]) + ", " + std::to_string(parameter);
}

// ---- convolution ----------------------------------------------------------------------------

int Wrap(int64_t value) {
    return static_cast<int>(static_cast<uint32_t>(static_cast<uint64_t>(value)));
}

CSamples ConvolvePlain(const CSamples& in, int n, int m, const std::vector<int16_t>& matrix,
                       const std::array<int, 3>& bias, int limit) {
    std::vector<int> table(matrix.size());
    for (int x = 0; x < n; ++x) {
        for (int y = 0; y < m; ++y)
            table[static_cast<size_t>(y * n + x)] = matrix[static_cast<size_t>(x * m + y)];
    }
    CSamples out = in;
    for (int y = 0; y < in.height; ++y) {
        for (int x = 0; x < in.width; ++x) {
            int weights = 0;
            std::array<int, 3> sums{};
            size_t next = 0;
            for (int i = 0; i < n; ++i) {
                for (int j = 0; j < m; ++j) {
                    const int k = table[next++];
                    weights = Wrap(int64_t{weights} + k);
                    int sx = x + i - n / 2;
                    int sy = y + j - m / 2;
                    if (sx < 0 || sy < 0 || sx >= in.width || sy >= in.height) sx = x, sy = y;
                    for (int c = 0; c < in.channels; ++c) {
                        sums[static_cast<size_t>(c)] =
                            Wrap(sums[static_cast<size_t>(c)] + int64_t{k} * in(sx, sy, c));
                    }
                }
            }
            const int divisor = std::max(weights == INT_MIN ? INT_MIN : std::abs(weights), 1);
            for (int c = 0; c < in.channels; ++c) {
                out(x, y, c) = std::clamp(Wrap(int64_t{sums[static_cast<size_t>(c)] / divisor} +
                                               bias[static_cast<size_t>(c)]),
                                          0, limit);
            }
        }
    }
    return out;
}

struct CKernelCase {
    const char* name;
    int16_t width, height;
    std::vector<int16_t> weights;  // as many as fit are random where empty
    std::array<uint16_t, 3> bias;  // red, green, blue
    int range;                     // of random weights
};

const std::vector<CKernelCase> kKernels{
    {"identity", 3, 3, {0, 0, 0, 0, 1, 0, 0, 0, 0}, {0, 0, 0}, 0},
    {"edges", 3, 3, {-1, -1, -1, -1, 8, -1, -1, -1, -1}, {0, 0, 0}, 0},
    {"sideways", 3, 3, {1, 2, 1, 0, 0, 0, -1, -2, -1}, {128, 128, 128}, 0},
    {"negative sum", 3, 3, {-1, -3, 0, 0, -4, 1, 0, -2, -2}, {200, 200, 200}, 0},
    {"common divisor", 3, 3, {50, 50, 50, 50, 450, 50, 50, 50, 50}, {0, 0, 0}, 0},
    {"three biases", 3, 3, {1, 1, 1, 1, 2, 1, 1, 1, 1}, {10, 20, 30}, 0},
    {"large weights", 3, 3, {}, {0, 0, 0}, 30000},
    {"row", 5, 1, {}, {1, 1, 1}, 9},
    {"column", 1, 5, {}, {0, 0, 0}, 9},
    {"even", 4, 2, {}, {7, 0, 9}, 40},
    {"wide", 5, 3, {}, {0, 5, 0}, 100},
    {"larger than most", 9, 19, {}, {65535, 65535, 65535}, 3},
    {"wraps", 24, 24, {}, {0, 65535, 0}, 65536},
    {"empty", 0, 3, {}, {11, 12, 13}, 0},
    {"negative size", -3, 3, {}, {11, 12, 13}, 0},
};

TEST(FiltersTest, ConvolvesAsTheWalkOverTheMatrixDoes) {
    for (const CKernelCase& c : kKernels) {
        std::vector<int16_t> weights = c.weights;
        CNoise noise(5);
        if (weights.empty() && c.width > 0 && c.height > 0) {
            for (int i = 0; i < c.width * c.height; ++i) {
                weights.push_back(static_cast<int16_t>(
                    static_cast<int>(noise.Word() % static_cast<unsigned>(c.range)) - c.range / 3));
            }
        }
        for (const EKind kind :
             {EKind::kGray8, EKind::kColour24, EKind::kGray16, EKind::kColour48}) {
            for (const auto& size : kSizes) {
                SCOPED_TRACE(std::string(c.name) + ", " + NameOf(kind, size, 0));
                const auto image = Noise(kind, size[0], size[1], 166, 3);
                const CSamples before = SamplesOf(*image);
                const bool wide = image->Has16Bit();
                const auto& [red, green, blue] = c.bias;
                const std::array<int, 3> bias = wide ? std::array<int, 3>{green, green, red}
                                                : before.channels == 1
                                                    ? std::array<int, 3>{blue, 0, 0}
                                                    : std::array<int, 3>{blue, green, red};
                ASSERT_TRUE(
                    image->OpConvolveEx(c.width, c.height, weights.data(), red, green, blue, 0));
                ASSERT_TRUE(SamplesOf(*image) == ConvolvePlain(before, c.width, c.height, weights,
                                                               bias, wide ? 65535 : 255));
            }
        }
    }
}

TEST(FiltersTest, SharpensAndSoftensByTheirKernels) {
    for (const int16_t strength : {100, 50, 0, 37, -100, 300, 32767, -32768}) {
        const auto s = static_cast<int>(strength);
        const auto c = static_cast<int16_t>((100 - s) / 2 + 13);
        const std::vector<int16_t> sharpen{-1, -2, -1, -2, c, -2, -1, -2, -1};
        for (const EKind kind : {EKind::kColour24, EKind::kColour48}) {
            SCOPED_TRACE(NameOf(kind, {40, 9}, s));
            auto image = Noise(kind, 40, 9, 166, 8);
            const int limit = image->Has16Bit() ? 65535 : 255;
            const CSamples before = SamplesOf(*image);
            ASSERT_TRUE(image->OpSharpen(strength, 0));
            EXPECT_TRUE(SamplesOf(*image) == ConvolvePlain(before, 3, 3, sharpen, {}, limit));
            if (s < -3000 || s > 3000)
                continue;  // the centre would not fit the matrix of the plain form
            const std::vector<int16_t> soften{
                strength, strength, strength, strength, static_cast<int16_t>(7 * s + 100),
                strength, strength, strength, strength};
            image = Noise(kind, 40, 9, 166, 8);
            ASSERT_TRUE(image->OpSoften(strength, 0));
            EXPECT_TRUE(SamplesOf(*image) == ConvolvePlain(before, 3, 3, soften, {}, limit));
        }
    }
}

TEST(FiltersTest, KeepsFlatAreasWhenSharpening) {
    const auto image = test::Picture24(6, 5, [](int, int) {
        return std::array<uint8_t, 3>{10, 200, 77};
    });
    const CSamples before = SamplesOf(*image);
    ASSERT_TRUE(image->OpSharpen(100, 0));
    EXPECT_TRUE(SamplesOf(*image) == before);
}

TEST(FiltersTest, SharpensByHand) {
    // Strength 100: centre 13, sum 1. In the middle 13 * 100 - (1 + 2 + 1 + 2 + 2 + 1 + 2 + 1)
    // * 90.
    const auto image =
        test::PicturePalette(8, 3, 3, [](int x, int y) { return x == 1 && y == 1 ? 100 : 90; });
    ASSERT_TRUE(image->OpSharpen(100, 0));
    EXPECT_EQ(test::IndexOf(*image, 1, 1), 220);
    // In the corner three neighbours and five times the pixel itself: 13 * 90 - 11 * 90 - 100.
    EXPECT_EQ(test::IndexOf(*image, 0, 0), 80);
}

TEST(FiltersTest, ChangesFormatsBeforeAConvolution) {
    auto image = test::PicturePalette(4, 5, 2, [](int x, int) { return static_cast<uint8_t>(x); });
    const auto identity = std::to_array<int16_t>({1});
    ASSERT_TRUE(image->OpConvolveEx(1, 1, identity.data(), 0, 0, 0, 1));
    EXPECT_EQ(image->bitmapInfo.BitCount(), 8);
    EXPECT_EQ(test::IndexOf(*image, 3, 1), 51);  // the level, no longer the index
    EXPECT_EQ(image->undoStack.size(), 1u);
    EXPECT_EQ(image->undoStack[0]->bitmapInfo.BitCount(), 4);
    image = Noise(EKind::kPalette8, 5, 2, 20, 1);
    ASSERT_TRUE(image->OpConvolveEx(1, 1, identity.data(), 0, 0, 0, 0));
    EXPECT_EQ(image->bitmapInfo.BitCount(), 24);
    EXPECT_FALSE(image->OpConvolveEx(1, 1, nullptr, 0, 0, 0, 1));
    EXPECT_TRUE(image->undoStack.empty());
}

// ---- medians --------------------------------------------------------------------------------

struct CCandidate {
    int key;
    std::array<int, 2> from;
};

void ShellSort(std::vector<CCandidate>& list) {
    const int n = static_cast<int>(list.size());
    for (int gap = n / 2; gap > 0; gap /= 2) {
        for (int i = gap; i < n; ++i) {
            for (int j = i; j >= gap && list[static_cast<size_t>(j - gap)].key >
                                            list[static_cast<size_t>(j)].key;
                 j -= gap) {
                std::swap(list[static_cast<size_t>(j - gap)], list[static_cast<size_t>(j)]);
            }
        }
    }
}

std::vector<CCandidate> Window(const CSamples& in, int x, int y, int radius,
                               const std::function<int(int, int)>& key) {
    std::vector<CCandidate> list;
    for (int dx = -radius; dx <= radius; ++dx) {
        for (int dy = -radius; dy <= radius; ++dy) {
            const int sx = x + dx;
            const int sy = y + dy;
            if (sx >= 0 && sy >= 0 && sx < in.width && sy < in.height)
                list.push_back({key(sx, sy), {sx, sy}});
        }
    }
    return list;
}

int Weighted(double weight, int level) {
    return static_cast<int>(level * weight * 256 + 0.5);
}
int LuminanceSumOf(int blue, int green, int red) {
    return Weighted(0.30, red) + Weighted(0.59, green) + Weighted(0.11, blue);
}

/// The luminance of a pixel in 1/256, or at 16 bits the sorting key.
std::function<int(int, int)> KeyOf(const CImageBits& image, const CSamples& in) {
    return [&image, &in](int x, int y) {
        if (image.Has16Bit()) {
            return in.channels == 1 ? in(x, y, 0)
                                    : static_cast<int>(0.3 * in(x, y, 2) + 0.59 * in(x, y, 1) +
                                                       0.11 * in(x, y, 0));
        }
        if (in.channels == 3) return LuminanceSumOf(in(x, y, 0), in(x, y, 1), in(x, y, 2));
        const CRGBQuad entry = image.bitmapInfo.Palette()[static_cast<size_t>(in(x, y, 0))];
        return LuminanceSumOf(entry.rgbBlue, entry.rgbGreen, entry.rgbRed);
    };
}

CSamples MedianPlain(const CSamples& in, int radius, const std::function<int(int, int)>& key) {
    CSamples out = in;
    for (int y = 0; y < in.height; ++y) {
        for (int x = 0; x < in.width; ++x) {
            std::vector<CCandidate> list = Window(in, x, y, radius, key);
            ShellSort(list);
            const auto [sx, sy] = list[list.size() / 2].from;
            for (int c = 0; c < in.channels; ++c) out(x, y, c) = in(sx, sy, c);
        }
    }
    return out;
}

CSamples TrimmedPlain(const CSamples& in, int radius) {
    CSamples out = in;
    for (int y = 0; y < in.height; ++y) {
        for (int x = 0; x < in.width; ++x) {
            for (int c = 0; c < in.channels; ++c) {
                std::vector<CCandidate> s =
                    Window(in, x, y, radius, [&](int sx, int sy) { return in(sx, sy, c); });
                ShellSort(s);
                const size_t n = s.size();
                int m = s[n / 2].key;
                if (m == s[0].key) {
                    size_t i = 1;
                    while (i + 1 < n && s[i].key == s[0].key) ++i;
                    m = i + 1 < n ? s[i].key : s[n - 1].key;
                } else if (m == s[n - 1].key) {
                    size_t i = n - 2;
                    while (i > 0 && s[i].key == s[n - 1].key) --i;
                    m = i > 0 ? s[i].key : s[0].key;
                }
                out(x, y, c) = m;
            }
        }
    }
    return out;
}

constexpr std::array kRadii{0, 1, 2, 3, 7, 8, 11, 400};

TEST(FiltersTest, TakesTheMedianThatTheSortLeavesInTheMiddle) {
    for (const EKind kind : kKinds) {
        for (const int spread : {3, 160}) {
            for (const auto& size : kSizes) {
                for (const int radius : kRadii) {
                    if ((radius > 8 || radius == 7) && size[0] > 40)
                        continue;  // the plain form would take minutes
                    SCOPED_TRACE(NameOf(kind, size, radius) + ", spread " + std::to_string(spread));
                    const auto image = Noise(kind, size[0], size[1], spread, 77);
                    image->NormalizeGray();
                    const CSamples in = SamplesOf(*image);
                    const CSamples wanted = MedianPlain(in, radius, KeyOf(*image, in));
                    ASSERT_TRUE(image->OpMedianFilter(static_cast<int16_t>(radius), 0));
                    ASSERT_TRUE(SamplesOf(*image) == wanted);
                }
            }
        }
    }
}

TEST(FiltersTest, ReducesNoiseWithoutKeepingExtremes) {
    for (const EKind kind : kKinds) {
        for (const int spread : {3, 160}) {
            for (const auto& size : kSizes) {
                for (const int radius : {0, 1, 3, 7, 8, 400}) {
                    if (radius > 3 && size[0] > 70) continue;
                    if (radius > 8 && size[0] > 40) continue;
                    SCOPED_TRACE(NameOf(kind, size, radius) + ", spread " + std::to_string(spread));
                    const auto image = Noise(kind, size[0], size[1], spread, 78);
                    const CSamples in = SamplesOf(*image);
                    const CSamples wanted = image->Has16Bit()
                                                ? MedianPlain(in, radius, KeyOf(*image, in))
                                                : TrimmedPlain(in, radius);
                    ASSERT_TRUE(image->OpReduceNoise(static_cast<int16_t>(radius), 0));
                    ASSERT_TRUE(SamplesOf(*image) == wanted);
                }
            }
        }
    }
}

TEST(FiltersTest, RemovesALonelyPixelByHand) {
    // Eight of 50 and one of 200: the median is the least, so the first other value comes: 200.
    const auto flat =
        test::PicturePalette(8, 3, 3, [](int x, int y) { return x == 1 && y == 1 ? 200 : 50; });
    ASSERT_TRUE(flat->OpReduceNoise(1, 0));
    EXPECT_EQ(test::IndexOf(*flat, 1, 1), 200);
    // 10 20 30 40 50 60 70 80 and 255 in the middle: the fifth.
    const auto slope = test::PicturePalette(8, 3, 3, [](int x, int y) {
        const int i = y * 3 + x;
        return static_cast<uint8_t>(i == 4 ? 255 : i < 4 ? 10 * (i + 1) : 10 * i);
    });
    ASSERT_TRUE(slope->OpReduceNoise(1, 0));
    EXPECT_EQ(test::IndexOf(*slope, 1, 1), 50);
}

TEST(FiltersTest, RefusesMediansWithoutAMiddle) {
    const auto bilevel =
        test::PicturePalette(1, 9, 3, [](int x, int) { return static_cast<uint8_t>(x & 1); });
    EXPECT_FALSE(bilevel->OpMedianFilter(1, 1));
    EXPECT_FALSE(bilevel->OpReduceNoise(1, 1));
    const auto colour = Noise(EKind::kColour24, 4, 4, 9, 1);
    EXPECT_FALSE(colour->OpMedianFilter(-1, 1));
    EXPECT_FALSE(colour->OpReduceNoise(-32768, 1));
    EXPECT_FALSE(colour->OilPaint24(-1, 1));
    EXPECT_TRUE(colour->undoStack.empty());
    const auto nibbles =
        test::PicturePalette(4, 5, 5, [](int x, int) { return static_cast<uint8_t>(x); });
    ASSERT_TRUE(nibbles->OpMedianFilter(0, 1));
    EXPECT_EQ(nibbles->bitmapInfo.BitCount(), 8);
    // Widening comes before the snapshot.
    EXPECT_EQ(nibbles->undoStack.back()->bitmapInfo.BitCount(), 8);
}

// ---- oil paint ------------------------------------------------------------------------------

CSamples OilPaintPlain(const CSamples& in, int radius, const std::function<int(int, int)>& key) {
    CSamples out = in;
    for (int y = 0; y < in.height; ++y) {
        for (int x = 0; x < in.width; ++x) {
            std::array<int, 256> counters{};
            int best = 0;
            for (const CCandidate& c : Window(in, x, y, radius, key)) {
                if (++counters[static_cast<size_t>(c.key >> 8)] <= best) continue;
                ++best;
                for (int i = 0; i < in.channels; ++i) out(x, y, i) = in(c.from[0], c.from[1], i);
            }
        }
    }
    return out;
}

TEST(FiltersTest, PaintsWithTheFirstToReachTheHighestCount) {
    for (const EKind kind : {EKind::kPalette8, EKind::kColour24}) {
        for (const int spread : {3, 20, 160}) {
            for (const auto& size : kSizes) {
                for (const int radius : {0, 1, 3, 5, 22, 23, 300}) {
                    if (radius > 23 && size[0] > 40) continue;
                    SCOPED_TRACE(NameOf(kind, size, radius) + ", spread " + std::to_string(spread));
                    const auto image = Noise(kind, size[0], size[1], spread, 99);
                    const CSamples in = SamplesOf(*image);
                    if (image->IsGray()) continue;
                    const CSamples wanted = OilPaintPlain(in, radius, KeyOf(*image, in));
                    ASSERT_TRUE(image->OilPaint24(static_cast<int16_t>(radius), 0));
                    ASSERT_TRUE(SamplesOf(*image) == wanted);
                }
            }
        }
    }
}

TEST(FiltersTest, PaintsAWidePictureInSegments) {
    // With a radius of 22 a row of more than 16000 pixels begins anew.
    const auto image = Noise(EKind::kColour24, 17000, 2, 6, 4);
    const CSamples in = SamplesOf(*image);
    const CSamples wanted = OilPaintPlain(in, 22, KeyOf(*image, in));
    ASSERT_TRUE(image->OilPaint24(22, 0));
    EXPECT_TRUE(SamplesOf(*image) == wanted);
}

TEST(FiltersTest, PaintsOnlyColours) {
    const auto gray = Noise(EKind::kGray16, 5, 5, 20, 3);
    EXPECT_TRUE(gray->OilPaint24(2, 1));
    EXPECT_TRUE(gray->undoStack.empty());
    EXPECT_TRUE(gray->Has16Bit());
    const auto deep = Noise(EKind::kColour48, 5, 5, 20, 3);
    EXPECT_TRUE(deep->OilPaint24(0, 1));
    EXPECT_EQ(deep->undoStack.size(), 1u);
    EXPECT_FALSE(deep->Has16Bit());
    // In a rectangle a palette picture becomes a colour picture.
    const auto palette = Noise(EKind::kPalette8, 9, 9, 20, 3);
    palette->SetOpRect(2, 2, 5, 5, 0);
    EXPECT_TRUE(palette->OilPaint24(1, 0));
    EXPECT_EQ(palette->bitmapInfo.BitCount(), 24);
}

// ---- neon -----------------------------------------------------------------------------------

int RootBySubtraction(int square) {
    int rest = square;
    int k = 0;
    for (int odd = 1; rest >= 0; odd += 2, ++k) rest -= odd;
    return (k - 1) * k + 1 > square ? k - 1 : k;
}

TEST(FiltersTest, GlowsAtEdges) {
    for (const auto& size : kSizes) {
        for (const int width : {size[0], size[0] + 1, size[0] + 2, size[0] + 3}) {
            SCOPED_TRACE(NameOf(EKind::kColour24, {width, size[1]}, 0));
            CNoise noise(6);
            const auto image = test::Picture24(width, size[1], [&](int, int) {
                return std::array{noise.Byte(), noise.Byte(), noise.Byte()};
            });
            // The store as a run of bytes with zeros behind it, as the effect walks over it.
            std::vector<uint8_t> memory(image->bits.begin(), image->bits.end());
            memory.resize(memory.size() + 3);
            const auto stride = static_cast<ptrdiff_t>(image->RowBytes());
            std::vector<uint8_t> wanted(image->bits.size());
            for (int y = 0; y < size[1] - 1; ++y) {
                for (int x = 0; x < width; ++x) {
                    const ptrdiff_t at = (size[1] - 1 - y) * stride + 3 * x;
                    const uint8_t* pixel = memory.data() + at;
                    const auto edge = [&](int c) {
                        const int across = pixel[c] - pixel[c + 3];
                        const int down = pixel[c] - pixel[c - stride];
                        return static_cast<uint8_t>(
                            std::min(255, 2 * RootBySubtraction(across * across + down * down)));
                    };
                    wanted[static_cast<size_t>(at)] = pixel[5];
                    wanted[static_cast<size_t>(at) + 1] = edge(2);
                    wanted[static_cast<size_t>(at) + 2] = edge(0);
                }
            }
            ASSERT_TRUE(image->OpNeon(0));
            ASSERT_EQ(std::vector<uint8_t>(image->bits.begin(), image->bits.end()), wanted);
        }
    }
    const auto palette = Noise(EKind::kPalette8, 4, 4, 20, 1);
    ASSERT_TRUE(palette->OpNeon(0));
    EXPECT_EQ(palette->bitmapInfo.BitCount(), 24);
}

// ---- selections -----------------------------------------------------------------------------

TEST(FiltersTest, SeeOnlyTheRectangle) {
    // A median inside a rectangle is that of the rectangle cut out.
    const auto image = Noise(EKind::kColour24, 20, 12, 200, 4);
    const auto part =
        test::Picture24(9, 5, [&](int x, int y) { return test::ColourOf(*image, x + 4, y + 3); });
    const CSamples before = SamplesOf(*image);
    image->SetOpRect(4, 3, 12, 7, 0);
    ASSERT_TRUE(image->OpMedianFilter(2, 0));
    ASSERT_TRUE(part->OpMedianFilter(2, 0));
    for (int y = 0; y < 12; ++y) {
        for (int x = 0; x < 20; ++x) {
            const bool inside = x >= 4 && x < 13 && y >= 3 && y < 8;
            for (int c = 0; c < 3; ++c) {
                const int wanted = inside
                                       ? test::ColourOf(*part, x - 4, y - 3)[static_cast<size_t>(c)]
                                       : before(x, y, c);
                ASSERT_EQ(SamplesOf(*image)(x, y, c), wanted) << x << ", " << y;
            }
        }
    }
}

}  // namespace
}  // namespace kestr
