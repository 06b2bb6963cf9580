// Rotation by any angle: quarter turns first, then three shears.

#include <algorithm>
#include <array>
#include <cmath>
#include <cstring>
#include <exception>
#include <stdexcept>
#include <utility>
#include <vector>

#include "base/messages.h"
#include "image/image_bits.h"
#include "ops/pixel_format.h"
#include "ops/pixel_view.h"
#include "platform/vector_clones.h"

namespace kestr {
namespace {

constexpr double kPi = 3.14159265358979323846;
constexpr double kNoTurn = 0.0001;  // degrees
constexpr int32_t kColumns = 32;    // columns that are sheared together

/// An angle as quarter turns and a rest of -45 to 45 degrees.
struct CTurnParts {
    int quarters = 0;
    double rest = 0;
};

CTurnParts SplitAngle(double degrees) {
    // Whole turns are taken off exactly; an angle of any size is split in a few steps.
    CTurnParts parts{0, std::fmod(degrees, 360.0)};
    while (parts.rest < -45.0) parts.rest += 360.0;
    while (parts.rest > 45.0) {
        parts.rest -= 90.0;
        ++parts.quarters;
    }
    parts.quarters %= 4;
    return parts;
}

/// The canvas on which a picture of `width` x `height` is sheared.
struct CShearPlan {
    CShearPlan(int32_t pictureWidth, int32_t pictureHeight, double degrees)
        : width(pictureWidth), height(pictureHeight) {
        const double radians = degrees * kPi / 180.0;
        across = -std::tan(radians / 2);
        down = std::sin(radians);
        const auto spread = static_cast<int32_t>(std::ceil((height - 1) * std::fabs(across)));
        middleWidth = width + spread;
        left = static_cast<int32_t>(std::ceil((height - 1) * std::fabs(down)));
        const auto rise = static_cast<int32_t>(std::ceil((middleWidth - 1) * std::fabs(down))) / 2;
        top = rise + 1;
        canvasWidth = width + 2 * left;
        canvasHeight = height + 2 * rise + 2;
        middleLeft = (canvasWidth - middleWidth) / 2;
    }

    int32_t width, height;  // of the picture
    double across = 0;      // horizontal offset from a row to the next
    double down = 0;        // vertical offset from a column to the next
    int32_t canvasWidth = 0, canvasHeight = 0;
    int32_t left = 0, top = 0;  // of the picture on the canvas
    int32_t middleLeft = 0;     // of the picture when it has been sheared once
    int32_t middleWidth = 0;
};

/// How far line `index` of `count` moves.
double OffsetOf(int32_t index, int32_t count, double slope) {
    return (index - (count - 1) / 2.0) * slope;
}

/// Samples of the background, as many as there are channels.
template <typename Sample>
using CColour = std::array<Sample, 3>;

template <typename Sample>
void Fill(Sample* pixels, int32_t count, int channels, const CColour<Sample>& colour) {
    for (int32_t i = 0; i < count; ++i) {
        for (int c = 0; c < channels; ++c) *pixels++ = colour[static_cast<size_t>(c)];
    }
}

/// A line of pixels with one of background at either end, as the shear meets it.
template <typename Sample>
struct CLine {
    CLine(int32_t pixels, int channelsOfPixel, const CColour<Sample>& colour)
        : length(pixels),
          channels(channelsOfPixel),
          samples(static_cast<size_t>(pixels + 2) * static_cast<size_t>(channelsOfPixel)) {
        Fill(samples.data(), 1, channels, colour);
        Fill(samples.data() + ptrdiff_t{pixels + 1} * channels, 1, channels, colour);
    }
    /// Pixel -1 to `length`.
    Sample* Pixel(int32_t x) { return samples.data() + ptrdiff_t{x + 1} * channels; }
    [[nodiscard]] const Sample* Pixel(int32_t x) const {
        return samples.data() + ptrdiff_t{x + 1} * channels;
    }

    int32_t length;
    int channels;
    std::vector<Sample> samples;
};

template <typename Sample>
KESTR_INLINE void Blend(const Sample* current, const Sample* previous, uint32_t fraction,
                        size_t count, Sample* out) {
    const uint32_t rest = 65536 - fraction;
    for (size_t i = 0; i < count; ++i) {
        out[i] = static_cast<Sample>((current[i] * fraction + previous[i] * rest + 32768U) >> 16);
    }
}

KESTR_VECTOR_CLONES void BlendPixels(const uint8_t* current, const uint8_t* previous,
                                     uint32_t fraction, size_t count, uint8_t* out) {
    Blend(current, previous, fraction, count, out);
}
KESTR_VECTOR_CLONES void BlendPixels(const uint16_t* current, const uint16_t* previous,
                                     uint32_t fraction, size_t count, uint16_t* out) {
    Blend(current, previous, fraction, count, out);
}

/// Puts a line that stands at `start` of a canvas line back, moved by `offset` and cut at the
/// canvas' ends. The walk begins at the end that the motion leads to and carries the pixel before,
/// at first the background; what the line leaves behind becomes background.
template <typename Sample>
void ShearLine(const CLine<Sample>& line, double offset, int32_t start,
               const CColour<Sample>& background, Sample* canvas, int32_t canvasLength) {
    const int channels = line.channels;
    const auto put = [&](int32_t begin, int32_t end, auto&& write) {
        begin = std::max(begin, -start);
        end = std::min(end, canvasLength - start);
        if (begin < end) {
            write(begin, end, canvas + (ptrdiff_t{begin} + start) * channels);
        }
    };
    if (offset == 0) {
        put(0, line.length, [&](int32_t begin, int32_t end, Sample* out) {
            std::copy(line.Pixel(begin), line.Pixel(end), out);
        });
        return;
    }
    const double distance = std::fabs(offset);
    const auto whole = static_cast<int32_t>(distance);
    const auto fraction = static_cast<uint32_t>((distance - whole) * 65536 + 0.5);
    const auto samples = [channels](int32_t begin, int32_t end) {
        return static_cast<size_t>(end - begin) * static_cast<size_t>(channels);
    };
    if (offset > 0) {
        put(whole, whole + line.length + 1, [&](int32_t begin, int32_t end, Sample* out) {
            BlendPixels(line.Pixel(begin - whole - 1), line.Pixel(begin - whole), fraction,
                        samples(begin, end), out);
        });
        put(0, std::min(whole, line.length), [&](int32_t begin, int32_t end, Sample* out) {
            Fill(out, end - begin, channels, background);
        });
    } else {
        put(-whole - 1, line.length - whole, [&](int32_t begin, int32_t end, Sample* out) {
            BlendPixels(line.Pixel(begin + whole + 1), line.Pixel(begin + whole), fraction,
                        samples(begin, end), out);
        });
        put(std::max(line.length - whole, 0), line.length,
            [&](int32_t begin, int32_t end, Sample* out) {
                Fill(out, end - begin, channels, background);
            });
    }
}

/// Shears columns [plan.middleLeft, + plan.middleWidth) of the picture's rows. A few columns at a
/// time become lines, so that the walk down the canvas meets each row once.
template <typename Sample>
void ShearDown(const CShearPlan& plan, const CPixelView<Sample>& canvas,
               const CColour<Sample>& background) {
    const int channels = canvas.channels;
    CLine<Sample> empty(plan.height, channels, background);
    std::vector<CLine<Sample>> lines(kColumns, empty);
    const size_t step = static_cast<size_t>(canvas.height) * static_cast<size_t>(channels);
    std::vector<Sample> sheared(step * kColumns);
    for (int32_t first = 0; first < plan.middleWidth; first += kColumns) {
        const int32_t count = std::min(kColumns, plan.middleWidth - first);
        const ptrdiff_t column = ptrdiff_t{plan.middleLeft + first} * channels;
        for (int32_t y = 0; y < canvas.height; ++y) {
            const Sample* from = canvas.Row(y) + column;
            const bool inside = y >= plan.top && y < plan.top + plan.height;
            for (int32_t i = 0; i < count; ++i, from += channels) {
                Sample* to = inside ? lines[static_cast<size_t>(i)].Pixel(y - plan.top)
                                    : sheared.data() + static_cast<size_t>(i) * step +
                                          ptrdiff_t{y} * channels;
                for (int c = 0; c < channels; ++c) to[c] = from[c];
            }
        }
        for (int32_t i = 0; i < count; ++i) {
            ShearLine(lines[static_cast<size_t>(i)],
                      OffsetOf(first + i, plan.middleWidth, plan.down), plan.top, background,
                      sheared.data() + static_cast<size_t>(i) * step, canvas.height);
        }
        for (int32_t y = 0; y < canvas.height; ++y) {
            Sample* to = canvas.Row(y) + column;
            const Sample* from = sheared.data() + ptrdiff_t{y} * channels;
            for (int32_t i = 0; i < count; ++i, to += channels, from += step) {
                for (int c = 0; c < channels; ++c) to[c] = from[c];
            }
        }
    }
}

template <typename Sample>
void Rotate(const CShearPlan& plan, const CPixelView<const Sample>& picture,
            const CPixelView<Sample>& canvas, const CColour<Sample>& background) {
    const int channels = canvas.channels;
    CLine<Sample> row(plan.width, channels, background);
    CLine<Sample> middle(plan.middleWidth, channels, background);
    for (int32_t y = 0; y < canvas.height; ++y) {
        Sample* const to = canvas.Row(y);
        Fill(to, canvas.width, channels, background);
        const int32_t line = y - plan.top;
        if (line < 0 || line >= plan.height) continue;
        std::copy_n(picture.Row(line), picture.RowSamples(), row.Pixel(0));
        ShearLine(row, OffsetOf(line, plan.height, plan.across), plan.left, background, to,
                  canvas.width);
    }
    ShearDown(plan, canvas, background);
    for (int32_t y = 1; y < canvas.height - 1; ++y) {
        Sample* const to = canvas.Row(y);
        std::copy_n(to + ptrdiff_t{plan.middleLeft} * channels,
                    ptrdiff_t{plan.middleWidth} * channels, middle.Pixel(0));
        ShearLine(middle, OffsetOf(y - 1, canvas.height - 2, plan.across), plan.middleLeft,
                  background, to, canvas.width);
    }
}

}  // namespace

void CImageBits::Shear(double degrees) {
    const CShearPlan plan(Width(), Height(), degrees);
    CBitmapInfo info = bitmapInfo;
    info.Header().biWidth = plan.canvasWidth;
    info.Header().biHeight = plan.canvasHeight;
    const std::array bgr{static_cast<uint8_t>(backgroundColor >> 16),
                         static_cast<uint8_t>(backgroundColor >> 8),
                         static_cast<uint8_t>(backgroundColor)};
    CPixelBytes canvas = MakeStore(info.BitCount(), plan.canvasWidth, plan.canvasHeight);
    if (Has16Bit()) {
        const int channels = Samples16();
        const auto doubled = [](uint8_t byte) { return static_cast<uint16_t>(byte << 8 | byte); };
        CPixelWords canvas16 = MakeStore16(channels, plan.canvasWidth, plan.canvasHeight);
        Rotate<uint16_t>(plan, View16(bits16, Width(), Height(), channels),
                         View16(canvas16, plan.canvasWidth, plan.canvasHeight, channels),
                         {doubled(bgr[0]), doubled(bgr[1]), doubled(bgr[2])});
        bits16 = std::move(canvas16);
    } else {
        Rotate<uint8_t>(plan, View8(bits, bitmapInfo), View8(canvas, info), bgr);
    }
    bits = std::move(canvas);
    bitmapInfo = info;
    RefreshDisplayData();
    ClearOpRect();
}

bool CImageBits::OpRotateFine(double degrees, uint32_t background, int undo) {
    if (bits.empty()) return false;
    backgroundColor = background;
    if (std::fabs(degrees) < kNoTurn) return true;
    try {
        if (!std::isfinite(degrees)) throw std::domain_error("angle");
        DropDisplayCaches();
        BeginUndoable(undo);
        alpha.clear();
        const CTurnParts parts = SplitAngle(degrees);
        if (parts.quarters != 0 && !TurnQuarters(static_cast<int16_t>(90 * parts.quarters))) {
            return false;
        }
        if (std::fabs(parts.rest) < kNoTurn) return true;
        if (bitmapInfo.BitCount() < 24) {
            IsGray() ? WidenTo8Bits() : ExpandTo24Bits();
            NormalizeGray();
        }
        Shear(parts.rest);
        return true;
    } catch (const std::exception&) {
        errorText = Message(message::kOperationException);
        return false;
    }
}

}  // namespace kestr
