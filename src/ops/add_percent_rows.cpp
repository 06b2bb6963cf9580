#include "ops/add_percent_rows.h"

#include <algorithm>
#include <cstddef>
#include <limits>

#include "ops/percent_scale.h"

namespace kestr {
namespace {

constexpr size_t kLanes = 48;  // whole pixels and whole vectors

/// One scale for each of 48 samples that follow each other.
struct CScaleLanes {
    explicit CScaleLanes(const std::array<int, 3>& percents, int channels) {
        for (size_t i = 0; i < kLanes; ++i) {
            const int percent = percents[i % static_cast<size_t>(channels)];
            const auto scale = CPercentScale::ForAdding(percent);
            whole[i] = scale.whole;
            rest[i] = scale.rest;
            reciprocal[i] = scale.reciprocal;
            carryFrom[i] = scale.carryFrom;
            carryTwice[i] = scale.carryTwice;
        }
    }
    [[nodiscard]] CPercentScale At(size_t i) const {
        CPercentScale scale;
        scale.whole = whole[i];
        scale.rest = rest[i];
        scale.reciprocal = reciprocal[i];
        scale.carryFrom = carryFrom[i];
        scale.carryTwice = carryTwice[i];
        return scale;
    }

    std::array<uint16_t, kLanes> whole, rest, reciprocal, carryFrom, carryTwice;
};

template <typename Sample>
Sample ScaleClipped(Sample value, const CPercentScale& scale) {
    constexpr uint16_t kLimit = std::numeric_limits<Sample>::max();
    if constexpr (sizeof(Sample) == 1) {
        // A whole part above 255 makes white of everything but black, as 255 does.
        const auto whole = std::min<uint16_t>(scale.whole, kLimit);
        const auto share = static_cast<uint16_t>(value * whole + scale.OfRest(value));
        return static_cast<Sample>(std::min(share, kLimit));
    } else {
        return scale.Overflow(value) != 0 ? kLimit : scale.Of(value);
    }
}

template <typename Sample>
void AddRows(const CPixelView<Sample>& pixels, const std::array<int, 3>& percents) {
    const CScaleLanes lanes(percents, pixels.channels);
    const size_t count = pixels.RowSamples();
    for (int32_t y = 0; y < pixels.height; ++y) {
        Sample* const row = pixels.Row(y);
        size_t done = 0;
        for (; done + kLanes <= count; done += kLanes) {
            Sample* const block = row + done;
            for (size_t i = 0; i < kLanes; ++i) block[i] = ScaleClipped(block[i], lanes.At(i));
        }
        for (size_t i = 0; done < count; ++done, ++i) {
            row[done] = ScaleClipped(row[done], lanes.At(i));
        }
    }
}

}  // namespace

void AddPercentClipped(const CPixelView<uint8_t>& pixels, const std::array<int, 3>& percents) {
    AddRows(pixels, percents);
}

void AddPercentClipped(const CPixelView<uint16_t>& pixels, const std::array<int, 3>& percents) {
    AddRows(pixels, percents);
}

}  // namespace kestr
