#include "raw/raw_levels.h"

#include <algorithm>

namespace kestr {
namespace {

constexpr uint16_t kLevels = 256;
constexpr uint16_t kLeastWhite = 2;

/// One past the first bin after which more than `share` pixels are counted.
uint16_t BlackLevel(const std::array<uint32_t, kLevels>& bins, uint64_t share) {
    uint64_t sum = 0;
    uint16_t level = 0;
    while (level < kLevels) {
        sum += bins[level++];
        if (sum > share) break;
    }
    return level;
}

/// The last bin, from the bright end, that is needed to count `share` pixels.
uint16_t WhiteLevel(const std::array<uint32_t, kLevels>& bins, uint64_t share) {
    uint64_t sum = 0;
    uint16_t level = kLevels - 1;
    while (level > kLeastWhite) {
        sum += bins[level];
        if (sum >= share) break;
        --level;
    }
    return level;
}

}  // namespace

CRawLevels LevelsFromHistograms(const CRawHistograms& histograms, uint64_t pixels,
                                uint32_t lowClipPerMille, uint32_t highClipPerMille) {
    const uint64_t low = lowClipPerMille * pixels / 1000, high = highClipPerMille * pixels / 1000;
    CRawLevels levels{.black = BlackLevel(histograms[0], low)};
    for (size_t channel = 1; channel < histograms.size(); ++channel) {
        levels.white = std::max(levels.white, WhiteLevel(histograms[channel], high));
    }
    return levels.white > levels.black ? levels : CRawLevels{};
}

}  // namespace kestr
