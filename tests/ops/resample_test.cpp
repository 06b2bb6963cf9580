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

}  // namespace
}  // namespace kestr
