#include "ops/color_quantizer.h"

#include <algorithm>
#include <limits>

namespace kestr {
namespace {

constexpr size_t kBuckets = 32;
constexpr size_t kCells = kBuckets * kBuckets * kBuckets;

constexpr size_t CellOf(size_t blue, size_t green, size_t red) {
    return (blue * kBuckets + green) * kBuckets + red;
}

bool AreGray(const uint8_t* pixels, size_t width) {
    uint8_t differences = 0;
    for (size_t i = 0; i < 3 * width; i += 3) {
        differences |= (pixels[i] ^ pixels[i + 1]) | (pixels[i] ^ pixels[i + 2]);
    }
    return differences == 0;
}

/// Narrows the bounds to the buckets that hold pixels.
void Shrink(ColorBox& box) {
    for (size_t axis = 0; axis < 3; ++axis) {
        const auto& histogram = box.histogram[axis];
        int32_t& low = box.low[axis];
        int32_t& high = box.high[axis];
        while (low < high && histogram[static_cast<size_t>(low)] == 0) ++low;
        while (low < high && histogram[static_cast<size_t>(high) - 1] == 0) --high;
    }
}

uint8_t LevelOf(double mean) {
    const auto level = static_cast<uint8_t>(static_cast<int32_t>(mean + 0.5) * 8);
    return level == 0 ? level : static_cast<uint8_t>(level | 7);
}

}  // namespace

ColorQuantizer::ColorQuantizer(uint32_t pixelCount) : m_pixelCount(pixelCount), m_cells(kCells) {}

void ColorQuantizer::AddRow(const uint8_t* pixels, size_t width) {
    m_allGray = m_allGray && AreGray(pixels, width);
    for (size_t x = 0; x < width; ++x, pixels += 3) {
        ++m_cells[CellOf(pixels[0] >> 3, pixels[1] >> 3, pixels[2] >> 3)];
    }
}

std::vector<CRGBQuad> ColorQuantizer::MakePalette(int32_t colours) {
    std::vector<CRGBQuad> palette(256);
    const auto wanted = static_cast<size_t>(std::clamp(colours, 0, 256));
    if (m_allGray) {
        for (size_t i = 0; i < wanted; ++i) {
            const auto level = static_cast<uint8_t>(i * 255 / wanted);
            palette[i] = {level, level, level};
        }
        return palette;
    }

    m_boxes.assign(1, ColorBox{});
    ColorBox& whole = m_boxes.front();
    whole.high.fill(kBuckets);
    whole.count = m_pixelCount;
    for (size_t cell = 0; cell < kCells; ++cell) {
        whole.histogram[0][cell / (kBuckets * kBuckets)] += m_cells[cell];
        whole.histogram[1][cell / kBuckets % kBuckets] += m_cells[cell];
        whole.histogram[2][cell % kBuckets] += m_cells[cell];
    }
    MeasureBox(whole);
    m_boxes.reserve(256);
    while (m_boxes.size() < wanted) {
        const auto widest = std::ranges::max_element(m_boxes, {}, &ColorBox::variance);
        if (!(widest->variance > 0)) break;
        ColorBox second;
        if (SplitBox(*widest, second)) {
            m_boxes.push_back(second);
        } else {
            widest->variance = 0;
        }
    }
    for (size_t i = 0; i < m_boxes.size(); ++i) {
        const auto& mean = m_boxes[i].mean;
        palette[i] = {LevelOf(mean[0]), LevelOf(mean[1]), LevelOf(mean[2])};
    }
    return palette;
}

/// Mean and variance from the histograms.
void ColorQuantizer::MeasureBox(ColorBox& box) const {
    box.variance = 0;
    if (box.count == 0) return;
    double variance = 0;
    for (size_t axis = 0; axis < 3; ++axis) {
        double sum = 0;
        double squares = 0;
        for (int32_t i = box.low[axis]; i < box.high[axis]; ++i) {
            const double weighted =
                i * static_cast<double>(box.histogram[axis][static_cast<size_t>(i)]);
            sum += weighted;
            squares += i * weighted;
        }
        const double mean = sum / box.count;
        box.mean[axis] = mean;
        variance += squares - mean * mean * box.count;
    }
    box.variance = std::max(variance / m_pixelCount, 0.0001);
}

/// Splits `box` along the axis that leaves the least variance; `box` becomes the first half.
bool ColorQuantizer::SplitBox(ColorBox& box, ColorBox& second) const {
    std::array<ColorBox, 3> left;
    std::array<ColorBox, 3> right;
    std::array<double, 3> rest{};
    for (size_t axis = 0; axis < 3; ++axis) {
        rest[axis] = SplitAxis(box, axis, left[axis], right[axis])
                         ? left[axis].variance + right[axis].variance
                         : std::numeric_limits<double>::infinity();
    }
    const auto best = static_cast<size_t>(std::ranges::min_element(rest) - rest.begin());
    if (rest[best] == std::numeric_limits<double>::infinity()) return false;
    box = left[best];
    second = right[best];
    return true;
}

/// The halves of a box cut across one axis; false when it cannot be cut there.
bool ColorQuantizer::SplitAxis(const ColorBox& box, size_t axis, ColorBox& left,
                               ColorBox& right) const {
    const int32_t low = box.low[axis];
    const int32_t high = box.high[axis];
    if (low + 1 == high) return false;
    const auto& histogram = box.histogram[axis];
    const auto countAt = [&](int32_t i) { return histogram[static_cast<size_t>(i)]; };
    const double mean = box.mean[axis];
    const auto first = static_cast<int32_t>((low + mean) * 0.5);
    const auto last = static_cast<int32_t>((high + mean) * 0.5);
    int32_t best = first;
    uint32_t bestCount = box.count;
    float bestValue = -1;
    uint32_t count = 0;
    for (int32_t i = low; i < first; ++i) count += countAt(i);
    // Kept as it is: the sum does not include the buckets below `first`, though the count does.
    float sum = 0;
    for (int32_t i = first; i <= last; ++i) {
        count += countAt(i);
        if (count == box.count) break;
        sum = static_cast<float>(sum + static_cast<double>(countAt(i)) * i / box.count);
        const float distance = static_cast<float>(mean) - sum;
        const float value = static_cast<float>(count) / static_cast<float>(box.count - count) *
                            (distance * distance);
        if (value > bestValue) {
            best = i;
            bestCount = count;
            bestValue = value;
        }
    }
    if (bestCount == 0 || bestCount == box.count) return false;
    left = right = box;
    left.high[axis] = right.low[axis] = best + 1;
    left.count = bestCount;
    right.count = box.count - bestCount;
    RebuildHalves(left, right);
    return true;
}

/// `right` holds the histograms of the whole box.
void ColorQuantizer::RebuildHalves(ColorBox& left, ColorBox& right) const {
    left.histogram = {};
    for (int32_t blue = left.low[0]; blue < left.high[0]; ++blue) {
        for (int32_t green = left.low[1]; green < left.high[1]; ++green) {
            const auto b = static_cast<size_t>(blue);
            const auto g = static_cast<size_t>(green);
            const uint32_t* cells = m_cells.data() + CellOf(b, g, 0);
            for (int32_t red = left.low[2]; red < left.high[2]; ++red) {
                const auto r = static_cast<size_t>(red);
                const uint32_t count = cells[r];
                left.histogram[0][b] += count;
                left.histogram[1][g] += count;
                left.histogram[2][r] += count;
            }
        }
    }
    for (size_t axis = 0; axis < 3; ++axis) {
        for (size_t i = 0; i < kBuckets; ++i) {
            right.histogram[axis][i] -= left.histogram[axis][i];
        }
    }
    Shrink(left);
    Shrink(right);
    MeasureBox(left);
    MeasureBox(right);
}

}  // namespace kestr
