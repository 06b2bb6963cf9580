#include "raw/demosaic.h"

#include <algorithm>
#include <array>

#include "platform/vector_clones.h"
#include "raw/demosaic_rows.h"
#include "readers/image_reader.h"

namespace kestr {
namespace {

constexpr uint8_t kGreenPlane = 1;

/// Sets the missing planes of a pixel to the means of the samples recorded around it.
void FillFromNeighbours(CRawSensorImage& image, uint32_t y, uint32_t x) {
    CRawSamples& samples = image.samples;
    std::array<uint32_t, 4> sums{};
    std::array<uint32_t, 4> counts{};
    for (uint32_t row = y - (y > 0); row <= std::min(y + 1, samples.height - 1); ++row) {
        for (uint32_t column = x - (x > 0); column <= std::min(x + 1, samples.width - 1);
             ++column) {
            const uint8_t plane = image.FC(row, column);
            sums[plane] += samples.Pixel(row, column)[plane];
            ++counts[plane];
        }
    }
    uint16_t* pixel = samples.Pixel(y, x);
    for (uint8_t plane = 0; plane < samples.colors; ++plane) {
        if (plane != image.FC(y, x) && counts[plane] != 0) {
            pixel[plane] = static_cast<uint16_t>(sums[plane] / counts[plane]);
        }
    }
}

}  // namespace

uint16_t RawPassCount(uint32_t method, uint8_t colors) {
    constexpr uint32_t kMost = 65534;
    uint32_t passes = method;
    if (method == kBilinear) passes = 1;
    if (method == kVNG || (method == kAHD && colors == 4)) passes = 2;
    if (method == kAHD && colors == 3) passes = 1;
    return static_cast<uint16_t>(1 + std::min(passes, kMost));
}

bool Demosaic(uint32_t method, CRawSensorImage& image, CImageReader* reader,
              const CRawColorInputs& inputs) {
    if (image.samples.colors == 3 && method == kAHD) return DemosaicAHD(image, reader, inputs);
    return method == kBilinear ? DemosaicBilinear(image, reader) : DemosaicVNG(image, reader);
}

bool StartRawRow(const CRawSensorImage& image, CImageReader* reader, uint32_t row) {
    if (reader == nullptr) return true;
    if (image.passIndex != 0) {
        reader->ReportProgress(static_cast<uint32_t>(row * image.rowScale), image.passIndex,
                               image.passCount);
    }
    return !reader->CheckAbort();
}

void FillBorder(CRawSensorImage& image, uint32_t border) {
    const uint32_t width = image.samples.width, height = image.samples.height;
    for (uint32_t y = 0; y < height; ++y) {
        const bool inner = y >= border && y + border < height;
        for (uint32_t x = 0; x < width; ++x) {
            if (inner && x == border && x + border < width) x = width - border;
            FillFromNeighbours(image, y, x);
        }
    }
}

std::optional<CBayerPattern> BayerPatternOf(const CRawSensorImage& image) {
    if (image.samples.colors != 3) return std::nullopt;
    const CBayerPattern pattern{
        .greenParity = image.FC(0, 0) == kGreenPlane ? 0u : 1u,
        .plane = image.FC(0, 0) == kGreenPlane ? image.FC(0, 1) : image.FC(0, 0)};
    if (pattern.plane == kGreenPlane) return std::nullopt;
    for (uint32_t y = 0; y < 8; ++y) {
        for (uint32_t x = 0; x < 8; ++x) {
            const bool green = (x & 1) == pattern.GreenParity(y);
            if (image.FC(y, x) != (green ? kGreenPlane : pattern.Plane(y))) return std::nullopt;
        }
    }
    return pattern;
}

std::array<std::vector<uint16_t>, 2> GreenMasks(size_t width) {
    std::array<std::vector<uint16_t>, 2> masks;
    for (size_t parity = 0; parity < 2; ++parity) {
        masks[parity].resize(width);
        for (size_t x = parity; x < width; x += 2) masks[parity][x] = 0xFFFF;
    }
    return masks;
}

void GatherRow(const CRawSensorImage& image, uint32_t y, uint16_t* row) {
    constexpr uint32_t kPeriod = 8;
    const uint32_t colors = image.samples.colors, width = image.samples.width;
    std::array<uint32_t, kPeriod> offsets;
    for (uint32_t x = 0; x < kPeriod; ++x) offsets[x] = x * colors + image.FC(y, x);
    const uint16_t* pixels = image.samples.Row(y);
    uint32_t x = 0;
    for (; x + kPeriod <= width; x += kPeriod, pixels += kPeriod * colors) {
        for (uint32_t i = 0; i < kPeriod; ++i) row[x + i] = pixels[offsets[i]];
    }
    for (uint32_t i = 0; x + i < width; ++i) row[x + i] = pixels[offsets[i]];
}

KESTR_VECTOR_CLONES void ScatterRow(const uint16_t* plane0, const uint16_t* plane1,
                                    const uint16_t* plane2, size_t count, uint16_t* pixels) {
    for (size_t i = 0; i < count; ++i) {
        pixels[3 * i] = plane0[i];
        pixels[3 * i + 1] = plane1[i];
        pixels[3 * i + 2] = plane2[i];
    }
}

}  // namespace kestr
