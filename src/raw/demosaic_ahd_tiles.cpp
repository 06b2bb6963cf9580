// AHD for patterns that are not Bayer's: by tiles that overlap, pixel by pixel. Where green is not
// every second pixel the outcome is what these steps give, and no better.

#include <algorithm>
#include <array>
#include <cstdlib>
#include <memory>

#include "raw/demosaic.h"
#include "raw/demosaic_ahd.h"

namespace kestr {
namespace {

constexpr int kTile = 256;
constexpr int kTileStep = kTile - 2 * kAHDBorder;
enum CWay { kAlongRows, kAlongColumns };

struct CTileBuffers {
    using Colors = std::array<std::array<std::array<uint16_t, 3>, kTile>, kTile>;
    using Labs = std::array<std::array<std::array<int32_t, 3>, kTile>, kTile>;
    using Votes = std::array<std::array<uint8_t, kTile>, kTile>;
    std::array<Colors, 2> rgb;
    std::array<Labs, 2> lab;
    std::array<Votes, 2> votes;
};

/// One tile, whose left top pixel is at (`top`, `left`). Rows and columns are those of the picture.
class CTileInterpolator {
public:
    CTileInterpolator(CRawSensorImage& image, CRawColor3MatrixRGB& colors, CTileBuffers& buffers,
                      int top, int left)
        : m_image(image),
          m_colors(colors),
          m_buffers(buffers),
          m_top(top),
          m_left(left),
          m_height(static_cast<int>(image.samples.height)),
          m_width(static_cast<int>(image.samples.width)) {}

    void Run() {
        m_buffers.rgb = {};
        FillGreen();
        for (const CWay way : {kAlongRows, kAlongColumns}) FillColors(way);
        m_buffers.votes = {};
        Vote();
        Choose();
    }

private:
    [[nodiscard]] uint8_t FC(int y, int x) const {
        return m_image.FC(static_cast<uint32_t>(y), static_cast<uint32_t>(x));
    }
    [[nodiscard]] uint16_t* Pixel(int y, int x) {
        return m_image.samples.Pixel(static_cast<uint32_t>(y), static_cast<uint32_t>(x));
    }
    template <typename Plane>
    [[nodiscard]] auto& At(Plane& plane, int y, int x) {
        return plane[static_cast<size_t>(y - m_top)][static_cast<size_t>(x - m_left)];
    }

    void FillGreen() {
        for (int y = std::max(m_top, 2); y < std::min(m_top + kTile, m_height - 2); ++y) {
            int x = m_left + (FC(y, m_left) == 1);
            if (x < 2) x += 2;
            const uint8_t own = FC(y, x);
            for (; x < std::min(m_left + kTile, m_width - 2); x += 2) {
                const auto between = [&](int dy, int dx) {
                    const int before = Pixel(y - dy, x - dx)[1], after = Pixel(y + dy, x + dx)[1];
                    const int value =
                        ((before + Pixel(y, x)[own] + after) * 2 -
                         Pixel(y - 2 * dy, x - 2 * dx)[own] - Pixel(y + 2 * dy, x + 2 * dx)[own]) >>
                        2;
                    return static_cast<uint16_t>(AHDBetween(value, before, after));
                };
                At(m_buffers.rgb[kAlongRows], y, x)[1] = between(0, 1);
                At(m_buffers.rgb[kAlongColumns], y, x)[1] = between(1, 0);
            }
        }
    }

    void FillColors(CWay way) {
        CTileBuffers::Colors& rgb = m_buffers.rgb[way];
        const auto green = [&](int y, int x) { return int{At(rgb, y, x)[1]}; };
        for (int y = m_top + 1; y < std::min(m_top + kTile - 1, m_height - 1); ++y) {
            for (int x = m_left + 1; x < std::min(m_left + kTile - 1, m_width - 1); ++x) {
                auto& result = At(rgb, y, x);
                const uint8_t own = FC(y, x);
                if (own == 1) {
                    const int below = FC(y + 1, x), beside = 2 - below;
                    const int here = Pixel(y, x)[1];
                    const auto set = [&](int plane, int dy, int dx) {
                        const int sum = Pixel(y - dy, x - dx)[plane] +
                                        Pixel(y + dy, x + dx)[plane] - green(y - dy, x - dx) -
                                        green(y + dy, x + dx);
                        result[static_cast<size_t>(plane)] =
                            static_cast<uint16_t>(AHDClip(here + (sum >> 1)));
                    };
                    set(beside, 0, 1);
                    set(below, 1, 0);
                } else {
                    const int plane = 2 - own;
                    int sum = 1;
                    for (const int dy : {-1, 1}) {
                        for (const int dx : {-1, 1}) {
                            sum += Pixel(y + dy, x + dx)[plane] - green(y + dy, x + dx);
                        }
                    }
                    result[static_cast<size_t>(plane)] =
                        static_cast<uint16_t>(AHDClip(result[1] + (sum >> 2)));
                }
                result[own] = Pixel(y, x)[own];
                // The third value is the first of the next pixel, which is still 0.
                double lab[3];
                if (!m_colors.ToLab(result[0], result[1], At(rgb, y, x + 1)[0], lab)) continue;
                auto& kept = At(m_buffers.lab[way], y, x);
                for (size_t i = 0; i < 3; ++i) kept[i] = static_cast<int32_t>(lab[i]);
            }
        }
    }

    void Vote() {
        for (int y = m_top + 2; y < std::min(m_top + kTile - 2, m_height - 1); ++y) {
            for (int x = m_left + 2; x < std::min(m_left + kTile - 2, m_width - 1); ++x) {
                int lightness[2][4], chroma[2][4];
                for (size_t way = 0; way < 2; ++way) {
                    const auto& labs = m_buffers.lab[way];
                    const auto& here = At(labs, y, x);
                    const std::array<int32_t, 3>* around[4] = {
                        &At(labs, y, x - 1), &At(labs, y, x + 1), &At(labs, y - 1, x),
                        &At(labs, y + 1, x)};
                    for (size_t i = 0; i < 4; ++i) {
                        const int a = here[1] - (*around[i])[1], b = here[2] - (*around[i])[2];
                        lightness[way][i] = std::abs(here[0] - (*around[i])[0]);
                        chroma[way][i] = a * a + b * b;
                    }
                }
                const auto limit = [](const int(&difference)[2][4]) {
                    return std::min(std::max(difference[0][0], difference[0][1]),
                                    std::max(difference[1][2], difference[1][3]));
                };
                const int mostLightness = limit(lightness), mostChroma = limit(chroma);
                for (size_t way = 0; way < 2; ++way) {
                    for (size_t i = 0; i < 4; ++i) {
                        At(m_buffers.votes[way], y, x) +=
                            lightness[way][i] <= mostLightness && chroma[way][i] <= mostChroma;
                    }
                }
            }
        }
    }

    void Choose() {
        const int border = kAHDBorder;
        for (int y = m_top + border; y < std::min(m_top + kTile, m_height) - border; ++y) {
            for (int x = m_left + border; x < std::min(m_left + kTile, m_width) - border; ++x) {
                int votes[2] = {0, 0};
                for (size_t way = 0; way < 2; ++way) {
                    for (int dy = -1; dy <= 1; ++dy) {
                        for (int dx = -1; dx <= 1; ++dx) {
                            votes[way] += At(m_buffers.votes[way], y + dy, x + dx);
                        }
                    }
                }
                const auto& rows = At(m_buffers.rgb[kAlongRows], y, x);
                const auto& columns = At(m_buffers.rgb[kAlongColumns], y, x);
                for (size_t c = 0; c < 3; ++c) {
                    uint16_t value = static_cast<uint16_t>((rows[c] + columns[c]) >> 1);
                    if (votes[1] > votes[0]) value = columns[c];
                    if (votes[1] < votes[0]) value = rows[c];
                    Pixel(y, x)[c] = value;
                }
            }
        }
    }

    CRawSensorImage& m_image;
    CRawColor3MatrixRGB& m_colors;
    CTileBuffers& m_buffers;
    int m_top, m_left, m_height, m_width;
};

}  // namespace

bool DemosaicAHDByTiles(CRawSensorImage& image, CImageReader* reader, CRawColor3MatrixRGB& colors) {
    const auto buffers = std::make_unique<CTileBuffers>();
    const auto height = static_cast<int>(image.samples.height);
    const auto width = static_cast<int>(image.samples.width);
    for (int top = 0; top < height; top += kTileStep) {
        for (int left = 0; left < width; left += kTileStep) {
            if (!StartRawRow(image, reader, static_cast<uint32_t>(top))) return false;
            CTileInterpolator(image, colors, *buffers, top, left).Run();
        }
    }
    return true;
}

}  // namespace kestr
