#pragma once

#include <cstdint>

#include "raw/raw_processor.h"

namespace kestr {

/// Levels, 0..256, that become black and white; both 0 when there is nothing to stretch.
struct CRawLevels {
    uint16_t black = 0;
    uint16_t white = 0;
    friend bool operator==(const CRawLevels&, const CRawLevels&) = default;
};

/// The levels that clip the stated share of `pixels`, in thousandths, at either end.
[[nodiscard]] CRawLevels LevelsFromHistograms(const CRawHistograms& histograms, uint64_t pixels,
                                              uint32_t lowClipPerMille, uint32_t highClipPerMille);

}  // namespace kestr
