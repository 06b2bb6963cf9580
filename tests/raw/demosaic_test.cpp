// Demosaicing against the published steps, done pixel by pixel without tables.

#include "raw/demosaic.h"

#include <algorithm>
#include <array>
#include <cstdlib>
#include <random>
#include <vector>

#include <gtest/gtest.h>

#include "raw/raw_color_matrix.h"

namespace kestr {
namespace {

/// One step after the other, with nothing kept that could be looked up.
class CLiteral {
public:
    CLiteral(const CRawSensorImage& image)
        : height(static_cast<int>(image.samples.height)),
          width(static_cast<int>(image.samples.width)),
          colors(image.samples.colors),
          samples(image.samples.samples.begin(), image.samples.samples.end()),
          m_filter(image.filter) {}

    int FC(int y, int x) const {
        return m_filter(static_cast<uint32_t>(y + 8), static_cast<uint32_t>(x + 8));
    }
    uint16_t& At(int y, int x, int plane) {
        return samples[(static_cast<size_t>(y) * width + x) * colors + plane];
    }

    void Bilinear() {
        for (int y = 1; y < height - 1; ++y) {
            for (int x = 1; x < width - 1; ++x) {
                const int phase = x % 2 == 1 ? 1 : 2;
                int sums[4] = {}, totals[4] = {};
                for (int dy = -1; dy <= 1; ++dy) {
                    for (int dx = -1; dx <= 1; ++dx) {
                        if (dy == 0 && dx == 0) continue;
                        const int plane = FC(y + dy, phase + dx), weight = dy * dx == 0 ? 2 : 1;
                        sums[plane] += At(y + dy, x + dx, plane) * weight;
                        totals[plane] += weight;
                    }
                }
                for (int c = 0; c < colors; ++c) {
                    if (c == FC(y, phase)) continue;
                    At(y, x, c) = static_cast<uint16_t>(totals[c] == 0 ? 0 : sums[c] / totals[c]);
                }
            }
        }
    }

    void VNG() {
        static constexpr int kTerms[64][6] = {
            {-2, -2, 0, -1, 0, 0x01}, {-2, -2, 0, 0, 1, 0x01},  {-2, -1, -1, 0, 0, 0x01},
            {-2, -1, 0, -1, 0, 0x02}, {-2, -1, 0, 0, 0, 0x03},  {-2, -1, 0, 1, 0, 0x01},
            {-2, 0, 0, -1, 0, 0x06},  {-2, 0, 0, 0, 1, 0x02},   {-2, 0, 0, 1, 0, 0x03},
            {-2, 1, -1, 0, 0, 0x04},  {-2, 1, 0, -1, 0, 0x04},  {-2, 1, 0, 0, 0, 0x06},
            {-2, 1, 0, 1, 0, 0x02},   {-2, 2, 0, 0, 1, 0x04},   {-2, 2, 0, 1, 0, 0x04},
            {-1, -2, -1, 0, 0, 0x80}, {-1, -2, 0, -1, 0, 0x01}, {-1, -2, 1, -1, 0, 0x01},
            {-1, -2, 1, 0, 0, 0x01},  {-1, -1, -1, 1, 0, 0x88}, {-1, -1, 1, -2, 0, 0x40},
            {-1, -1, 1, -1, 0, 0x22}, {-1, -1, 1, 0, 0, 0x33},  {-1, -1, 1, 1, 1, 0x11},
            {-1, 0, -1, 2, 0, 0x08},  {-1, 0, 0, -1, 0, 0x44},  {-1, 0, 0, 1, 0, 0x11},
            {-1, 0, 1, -2, 0, 0x40},  {-1, 0, 1, -1, 0, 0x66},  {-1, 0, 1, 0, 1, 0x22},
            {-1, 0, 1, 1, 0, 0x33},   {-1, 0, 1, 2, 0, 0x10},   {-1, 1, 1, -1, 1, 0x44},
            {-1, 1, 1, 0, 0, 0x66},   {-1, 1, 1, 1, 0, 0x22},   {-1, 1, 1, 2, 0, 0x10},
            {-1, 2, 0, 1, 0, 0x04},   {-1, 2, 1, 0, 0, 0x04},   {-1, 2, 1, 1, 0, 0x04},
            {0, -2, 0, 0, 1, 0x80},   {0, -1, 0, 1, 1, 0x88},   {0, -1, 1, -2, 0, 0x40},
            {0, -1, 1, 0, 0, 0x11},   {0, -1, 2, -2, 0, 0x40},  {0, -1, 2, -1, 0, 0x20},
            {0, -1, 2, 0, 0, 0x30},   {0, -1, 2, 1, 0, 0x10},   {0, 0, 0, 2, 1, 0x08},
            {0, 0, 2, -2, 1, 0x40},   {0, 0, 2, -1, 0, 0x60},   {0, 0, 2, 0, 1, 0x20},
            {0, 0, 2, 1, 0, 0x30},    {0, 0, 2, 2, 1, 0x10},    {0, 1, 1, 0, 0, 0x44},
            {0, 1, 1, 2, 0, 0x10},    {0, 1, 2, -1, 0, 0x40},   {0, 1, 2, 0, 0, 0x60},
            {0, 1, 2, 1, 0, 0x20},    {0, 1, 2, 2, 0, 0x10},    {1, -2, 1, 0, 0, 0x80},
            {1, -1, 1, 1, 0, 0x88},   {1, 0, 1, 2, 0, 0x08},    {1, 0, 2, -1, 0, 0x40},
            {1, 0, 2, 1, 0, 0x10}};
        static constexpr int kAround[8][2] = {{-1, -1}, {-1, 0}, {-1, 1}, {0, 1},
                                              {1, 1},   {1, 0},  {1, -1}, {0, -1}};
        Bilinear();
        CLiteral before(*this);
        for (int y = 2; y < height - 2; ++y) {
            for (int x = 2; x < width - 2; ++x) {
                const int column = x % 2;
                int gradients[8] = {};
                for (const auto& [y1, x1, y2, x2, shift, mask] : kTerms) {
                    const int plane = FC(y + y1, column + x1);
                    if (FC(y + y2, column + x2) != plane) continue;
                    const bool both = FC(y, column + 1) == plane && FC(y + 1, column) == plane;
                    const int diagonal = both ? 2 : 1;
                    if (std::abs(y1 - y2) == diagonal && std::abs(x1 - x2) == diagonal) continue;
                    const int difference = std::abs(before.At(y + y1, x + x1, plane) -
                                                    before.At(y + y2, x + x2, plane));
                    for (int g = 0; g < 8; ++g) {
                        if (mask >> g & 1) gradients[g] += difference << shift;
                    }
                }
                const int least = *std::min_element(gradients, gradients + 8);
                const int most = *std::max_element(gradients, gradients + 8);
                const int own = FC(y, column);
                int sums[4] = {}, count = 0;
                for (int g = 0; g < 8; ++g) {
                    if (gradients[g] > least + (most >> 1)) continue;
                    const auto [dy, dx] = kAround[g];
                    const bool behind = g % 2 == 0 && FC(y + dy, column + dx) != own &&
                                        FC(y + 2 * dy, column + 2 * dx) == own;
                    for (int c = 0; c < colors; ++c) {
                        sums[c] +=
                            c == own && behind
                                ? (before.At(y, x, own) + before.At(y + 2 * dy, x + 2 * dx, own)) >>
                                      1
                                : before.At(y + dy, x + dx, c);
                    }
                    ++count;
                }
                for (int c = 0; c < colors; ++c) {
                    const int value = before.At(y, x, own) + (sums[c] - sums[own]) / count;
                    At(y, x, c) = static_cast<uint16_t>(std::clamp(value, 0, 65535));
                }
            }
        }
    }

    void FillBorder(int border) {
        for (int y = 0; y < height; ++y) {
            for (int x = 0; x < width; ++x) {
                if (y >= border && y < height - border && x >= border && x < width - border) {
                    continue;
                }
                int sums[3] = {}, counts[3] = {};
                for (int row = std::max(y - 1, 0); row <= std::min(y + 1, height - 1); ++row) {
                    for (int col = std::max(x - 1, 0); col <= std::min(x + 1, width - 1); ++col) {
                        sums[FC(row, col)] += At(row, col, FC(row, col));
                        ++counts[FC(row, col)];
                    }
                }
                for (int c = 0; c < 3; ++c) {
                    if (c == FC(y, x) || counts[c] == 0) continue;
                    At(y, x, c) = static_cast<uint16_t>(sums[c] / counts[c]);
                }
            }
        }
    }

    /// By tiles of 256 pixels, 250 apart.
    void AHD(CRawColor3MatrixRGB color) {
        FillBorder(3);
        std::vector<std::array<std::array<int, 3>, 256 * 256>> rgb(2), lab(2);
        std::vector<std::array<int, 256 * 256>> votes(2);
        double unused[3];
        color.ToLab(0, 0, 0, unused);
        for (int top = 0; top < height; top += 250) {
            for (int left = 0; left < width; left += 250) {
                const auto at = [=](int y, int x) {
                    return static_cast<size_t>((y - top) * 256 + x - left);
                };
                for (auto& plane : rgb) plane.fill({});
                for (int y = std::max(top, 2); y < std::min(top + 256, height - 2); ++y) {
                    int x = FC(y, left) == 1 ? left + 1 : left;
                    if (x < 2) x += 2;
                    for (const int f = FC(y, x); x < std::min(left + 256, width - 2); x += 2) {
                        for (int d = 0; d < 2; ++d) {
                            const int dy = d, dx = 1 - d;
                            const int a = At(y - dy, x - dx, 1), b = At(y + dy, x + dx, 1);
                            const int value =
                                ((a + At(y, x, f) + b) * 2 - At(y - 2 * dy, x - 2 * dx, f) -
                                 At(y + 2 * dy, x + 2 * dx, f)) >>
                                2;
                            rgb[d][at(y, x)][1] = std::clamp(value, std::min(a, b), std::max(a, b));
                        }
                    }
                }
                const int yEnd = std::min(top + 255, height - 1);
                const int xEnd = std::min(left + 255, width - 1);
                for (int d = 0; d < 2; ++d) {
                    for (int y = top + 1; y < yEnd; ++y) {
                        for (int x = left + 1; x < xEnd; ++x) {
                            auto& r = rgb[d][at(y, x)];
                            const auto g = [&](int dy, int dx) {
                                return rgb[d][at(y + dy, x + dx)][1];
                            };
                            const auto clip = [](int v) { return std::clamp(v, 0, 65535); };
                            if (FC(y, x) == 1) {
                                const int c = FC(y + 1, x);
                                r[2 - c] =
                                    clip(At(y, x, 1) + ((At(y, x - 1, 2 - c) + At(y, x + 1, 2 - c) -
                                                         g(0, -1) - g(0, 1)) >>
                                                        1));
                                r[c] = clip(At(y, x, 1) + ((At(y - 1, x, c) + At(y + 1, x, c) -
                                                            g(-1, 0) - g(1, 0)) >>
                                                           1));
                            } else {
                                const int c = 2 - FC(y, x);
                                r[c] =
                                    clip(r[1] + ((At(y - 1, x - 1, c) + At(y - 1, x + 1, c) +
                                                  At(y + 1, x - 1, c) + At(y + 1, x + 1, c) -
                                                  g(-1, -1) - g(-1, 1) - g(1, -1) - g(1, 1) + 1) >>
                                                 2));
                            }
                            r[FC(y, x)] = At(y, x, FC(y, x));
                            double values[3];
                            color.ToLab(static_cast<uint16_t>(r[0]), static_cast<uint16_t>(r[1]),
                                        static_cast<uint16_t>(rgb[d][at(y, x + 1)][0]), values);
                            for (int i = 0; i < 3; ++i) {
                                lab[d][at(y, x)][i] = static_cast<int>(values[i]);
                            }
                        }
                    }
                }
                for (auto& plane : votes) plane.fill(0);
                for (int y = top + 2; y < std::min(top + 254, height - 2); ++y) {
                    for (int x = left + 2; x < std::min(left + 254, width - 2); ++x) {
                        static constexpr int kAround[4][2] = {{0, -1}, {0, 1}, {-1, 0}, {1, 0}};
                        int l[2][4], ab[2][4];
                        for (int d = 0; d < 2; ++d) {
                            for (int i = 0; i < 4; ++i) {
                                const auto& p = lab[d][at(y, x)];
                                const auto& q = lab[d][at(y + kAround[i][0], x + kAround[i][1])];
                                l[d][i] = std::abs(p[0] - q[0]);
                                ab[d][i] =
                                    (p[1] - q[1]) * (p[1] - q[1]) + (p[2] - q[2]) * (p[2] - q[2]);
                            }
                        }
                        const int leps =
                            std::min(std::max(l[0][0], l[0][1]), std::max(l[1][2], l[1][3]));
                        const int abeps =
                            std::min(std::max(ab[0][0], ab[0][1]), std::max(ab[1][2], ab[1][3]));
                        for (int d = 0; d < 2; ++d) {
                            for (int i = 0; i < 4; ++i) {
                                votes[d][at(y, x)] += l[d][i] <= leps && ab[d][i] <= abeps;
                            }
                        }
                    }
                }
                for (int y = top + 3; y < std::min(top + 253, height - 3); ++y) {
                    for (int x = left + 3; x < std::min(left + 253, width - 3); ++x) {
                        int hm[2] = {};
                        for (int i = 0; i < 9; ++i) {
                            for (int d = 0; d < 2; ++d) {
                                hm[d] += votes[d][at(y - 1 + i / 3, x - 1 + i % 3)];
                            }
                        }
                        const auto &r0 = rgb[0][at(y, x)], &r1 = rgb[1][at(y, x)];
                        for (int c = 0; c < 3; ++c) {
                            const int value = hm[0] == hm[1]  ? (r0[c] + r1[c]) >> 1
                                              : hm[1] > hm[0] ? r1[c]
                                                              : r0[c];
                            At(y, x, c) = static_cast<uint16_t>(value);
                        }
                    }
                }
            }
        }
    }

    int height, width, colors;
    std::vector<uint16_t> samples;

private:
    CFilterTable m_filter;
};

struct CPattern {
    const char* name;
    uint8_t colors;
    uint32_t rows, columns;
    std::vector<uint8_t> codes;
};
const std::vector<CPattern>& Patterns() {
    static const std::vector<CPattern> patterns = {
        {"RGGB", 3, 2, 2, {0, 1, 1, 2}},
        {"BGGR", 3, 2, 2, {2, 1, 1, 0}},
        {"GRBG", 3, 2, 2, {1, 0, 2, 1}},
        {"GBRG", 3, 2, 2, {1, 2, 0, 1}},
        {"no checks of green", 3, 2, 2, {0, 1, 2, 1}},
        {"rows of four", 3, 4, 2, {0, 1, 1, 2, 1, 0, 2, 1}},
        {"a colour missing", 3, 2, 2, {0, 1, 1, 0}},
        {"GMCY", 4, 2, 2, {1, 4, 3, 5}},
        {"four colours by eight rows", 4, 8, 2, {1, 4, 3, 5, 4, 1, 3, 5, 1, 4, 5, 3, 4, 1, 5, 3}},
    };
    return patterns;
}

CRawSensorImage MakeImage(const CPattern& pattern, uint32_t width, uint32_t height) {
    CRawSensorImage image;
    image.filter = *MakeFilterTable(pattern.codes, pattern.rows, pattern.columns, pattern.colors);
    image.samples = CRawSamples(width, height, pattern.colors);
    return image;
}

/// Noise over ramps of `strength` a pixel; all bits are used.
void Expose(CRawSensorImage& image, std::mt19937& random, int noise, int strength) {
    std::uniform_int_distribution<int> grain(0, noise);
    for (uint32_t y = 0; y < image.samples.height; ++y) {
        for (uint32_t x = 0; x < image.samples.width; ++x) {
            const int edge = (x / 5 + y / 7) % 3 * 9000;
            const int value = static_cast<int>(x + 2 * y) * strength + edge + grain(random);
            image.samples.Pixel(y, x)[image.FC(y, x)] = static_cast<uint16_t>(value % 65536);
        }
    }
}

const CameraColorData kCamera{
    .colorMatrix1 = {},
    .illuminant1 = 2850,
    // Nikon D70, daylight.
    .colorMatrix2 = {0.7732, -0.2422, -0.0789, -0.8238, 1.5884, 0.2498, -0.0859, 0.0783, 0.7330},
    .illuminant2 = 6500,
    .calibration = {},
    .reduction = {}};
const std::vector<double> kNeutral = {0.48, 1.0, 0.71};
const CRawColorInputs kColors{
    .cameraColor = kCamera, .analogBalance = {}, .neutral = kNeutral, .black = 100, .white = 60000};

struct CScene {
    uint32_t width, height;
    int noise, strength;
};
const CScene kScenes[] = {
    {1, 1, 65535, 0}, {2, 2, 65535, 0},   {3, 3, 65535, 0},  {4, 9, 65535, 0},  {9, 4, 65535, 0},
    {5, 5, 65535, 0}, {6, 7, 65535, 0},   {7, 6, 65535, 0},  {7, 7, 65535, 0},  {8, 8, 65535, 0},
    {20, 11, 0, 0},   {37, 23, 65535, 0}, {37, 23, 300, 90}, {64, 40, 2000, 7}, {83, 51, 40, 500},
};

void ExpectSameSamples(const CRawSensorImage& image, CLiteral& literal) {
    size_t wrong = 0;
    for (size_t i = 0; i < literal.samples.size(); ++i) {
        if (image.samples.samples[i] == literal.samples[i] || ++wrong > 3) continue;
        const size_t pixel = i / literal.colors;
        ADD_FAILURE() << "row " << pixel / literal.width << " column " << pixel % literal.width
                      << " plane " << i % literal.colors << ": " << image.samples.samples[i]
                      << " is not " << literal.samples[i];
    }
    EXPECT_EQ(wrong, 0u);
}

void CompareWithLiteral(uint32_t method, const CPattern& pattern, const CScene& scene) {
    std::mt19937 random(scene.width * 131 + method);
    CRawSensorImage image = MakeImage(pattern, scene.width, scene.height);
    Expose(image, random, scene.noise, scene.strength);
    CLiteral literal(image);
    ASSERT_TRUE(Demosaic(method, image, nullptr, kColors));
    if (method == kBilinear) literal.Bilinear();
    if (method == kVNG || (method == kAHD && pattern.colors == 4)) literal.VNG();
    if (method == kAHD && pattern.colors == 3) literal.AHD(CRawColor3MatrixRGB(kColors));
    ExpectSameSamples(image, literal);
}

TEST(DemosaicTest, GivesWhatThePlainStepsGive) {
    for (const uint32_t method : {kBilinear, kVNG, kAHD}) {
        for (const CPattern& pattern : Patterns()) {
            for (const CScene& scene : kScenes) {
                SCOPED_TRACE(testing::Message() << "method " << method << ", " << pattern.name
                                                << ", " << scene.width << " x " << scene.height);
                CompareWithLiteral(method, pattern, scene);
            }
        }
    }
}

TEST(DemosaicTest, DoesNotShowItsTiles) {
    for (const size_t pattern : {0u, 3u, 4u}) {
        CompareWithLiteral(kAHD, Patterns()[pattern],
                           {.width = 515, .height = 263, .noise = 900, .strength = 60});
    }
}

}  // namespace
}  // namespace kestr
