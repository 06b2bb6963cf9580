#include "raw/raw_samples.h"

#include <algorithm>
#include <cstring>
#include <new>
#include <utility>

#include "base/picture_size.h"

namespace kestr {

CRawSamples::CRawSamples(uint32_t width_, uint32_t height_, uint8_t colors_)
    : width(width_), height(height_), colors(colors_) {
    const auto bytes = ImageBytes(width, height, 2u * colors);
    if (!bytes) throw std::bad_alloc();
    samples.ResizeZeroed(*bytes / 2);
}

bool CRawSamples::Compact(uint32_t marginX, uint32_t marginY) {
    if (width / 2 < marginX || height / 2 < marginY) return false;
    return Crop({marginX, marginY, width - 2 * marginX, height - 2 * marginY});
}

bool CRawSamples::Crop(const CRawBox& box) {
    constexpr uint8_t kKept = 3;
    if (box.width == 0 || box.height == 0 || box.x > width || box.y > height ||
        box.width > width - box.x || box.height > height - box.y) {
        return false;
    }
    if (box.width == width && box.height == height && colors == kKept) return true;

    uint16_t* to = samples.data();
    for (uint32_t y = 0; y < box.height; ++y) {
        const uint16_t* from = Pixel(y + box.y, box.x);
        if (colors == kKept) {
            std::memmove(to, from, size_t{box.width} * kKept * sizeof *to);
            to += size_t{box.width} * kKept;
            continue;
        }
        for (uint32_t x = 0; x < box.width; ++x, from += colors) {
            for (int c = 0; c < kKept; ++c) *to++ = from[c];
        }
    }
    width = box.width;
    height = box.height;
    colors = kKept;
    layoutChanged = true;
    samples.Truncate(size_t{box.width} * box.height * kKept);
    return true;
}

namespace {

template <int Colors>
void CopyPixel(const uint16_t* from, uint16_t* to) {
    for (int c = 0; c < Colors; ++c) to[c] = from[c];
}

/// Both ways of a half turn and of a mirrored row: pixels change places from the ends inwards.
template <int Colors>
void ReversePixels(uint16_t* first, size_t pixels) {
    uint16_t* last = first + pixels * Colors;
    for (size_t i = 0; i < pixels / 2; ++i, first += Colors) {
        last -= Colors;
        for (int c = 0; c < Colors; ++c) std::swap(first[c], last[c]);
    }
}

/// A quarter turn, in squares that fit the cache both ways.
template <int Colors>
void TurnSideways(CRawSamples& samples, bool clockwise) {
    constexpr uint32_t kSquare = 32;  // pixels
    const uint32_t width = samples.width, height = samples.height;
    CRawSamples turned;
    turned.width = height;
    turned.height = width;
    turned.colors = Colors;
    turned.samples.ResizeUninitialized(samples.samples.size());
    for (uint32_t top = 0; top < height; top += kSquare) {
        for (uint32_t left = 0; left < width; left += kSquare) {
            const uint32_t bottom = std::min(top + kSquare, height);
            const uint32_t right = std::min(left + kSquare, width);
            for (uint32_t x = left; x < right; ++x) {
                for (uint32_t y = top; y < bottom; ++y) {
                    uint16_t* to = clockwise ? turned.Pixel(x, height - 1 - y)
                                             : turned.Pixel(width - 1 - x, y);
                    CopyPixel<Colors>(samples.Pixel(y, x), to);
                }
            }
        }
    }
    samples = std::move(turned);
}

template <int Colors>
void TurnPixels(CRawSamples& samples, CRawTurn turn) {
    switch (turn) {
        case CRawTurn::kCounterClockwise:
        case CRawTurn::kClockwise:
            TurnSideways<Colors>(samples, turn == CRawTurn::kClockwise);
            break;
        case CRawTurn::kHalf:
            ReversePixels<Colors>(samples.samples.data(), size_t{samples.width} * samples.height);
            break;
        case CRawTurn::kMirror:
            for (uint32_t y = 0; y < samples.height; ++y) {
                ReversePixels<Colors>(samples.Row(y), samples.width);
            }
            break;
    }
}

}  // namespace

void Turn(CRawSamples& samples, CRawTurn turn) {
    samples.colors == 4 ? TurnPixels<4>(samples, turn) : TurnPixels<3>(samples, turn);
    samples.layoutChanged = true;
}

}  // namespace kestr
