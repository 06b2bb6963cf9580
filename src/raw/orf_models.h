#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string_view>

#include "raw/filter_patterns.h"

namespace kestr {

/// A camera whose ORF files are known. Levels are those of samples, after the shift.
struct COlympusModel {
    std::string_view name;                 // tag 272 begins with it
    std::span<const double> colorMatrix1;  // for 2850 K; XYZ to camera planes, row by row
    std::span<const double> colorMatrix2;  // for 6500 K
    uint16_t blackLevel = 0;               // where the maker note has none
    uint16_t whiteLevel = 0;
    const CBayerCell* pattern = nullptr;  // at the first stored sample; null when only files know
    // Of files that store words:
    int wordShift = 4;        // bits below a sample
    uint16_t wordsWhite = 0;  // 0 for the same
    std::optional<uint16_t> wordsBlack{};
    uint32_t wordColumnsUnused = 0;  // at the end of each row
    uint32_t previewOffset = 0;      // of a JPEG up to the end of the file; 0 for none
};

/// Null for a camera that is not known.
const COlympusModel* FindOlympusModel(std::string_view make, std::string_view model);

}  // namespace kestr
