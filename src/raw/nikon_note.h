#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <span>
#include <vector>

#include "metadata/maker_notes.h"
#include "raw/nef_models.h"

namespace kestr {

/// How a camera has compressed its samples.
struct CNikonCompression {
    uint32_t huffmanTable = 0;                  // 0..5
    std::array<uint16_t, 4> startPredictors{};  // two columns each of an even and an odd row
    std::vector<uint16_t> curve{};              // sample of each decoded value; empty for itself
    uint32_t splitRow = 0;                      // from there on the next table serves; 0 for none
};

/// What a NEF file's maker note says.
struct CNikonNote {
    CNotePreview preview;  // its offset counts from the start of the file
    std::optional<CNikonCompression> compression;
    std::vector<double> neutral;  // red, green, blue; the largest is 1; empty when there is none
    int16_t rotation = 0;         // degrees
};

/// @param note           offset of the maker note from the start of the file.
/// @param fileBigEndian  byte order of the file, which notes without an order of their own have.
/// @param bits           bits a sample, 12 or 14.
[[nodiscard]] CNikonNote ReadNikonNote(std::span<const uint8_t> file, uint64_t note,
                                       bool fileBigEndian, int bits, const CNEFModel* model);

}  // namespace kestr
