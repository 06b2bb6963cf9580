// What Sony's cameras keep apart from the common tags: keys, sizes and the white balance.
// Structure: ExifTool's tag tables for SRF, SR2 and MRW. Numbers are little-endian where no line
// says otherwise; offsets count from the file's start.
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <vector>

namespace kestr {

/// Of an SRF file: a private directory under a first key gives two more.
struct CSRFKeys {
    uint32_t sensorKey = 0;            // of the sensor data
    uint32_t directoryKey = 0;         // of the directories behind it
    uint32_t directory = 0;            // offset of the first of those
    std::vector<double> asShotLevels;  // gains of red, green and blue; empty without them
};
/// Nothing when the file ends before the places of the keys.
[[nodiscard]] std::optional<CSRFKeys> ReadSRFKeys(std::span<const uint8_t> file);

/// Gains of red, green and blue in the enciphered block that the directory at `offset` tells of;
/// empty without them.
[[nodiscard]] std::vector<double> ReadSR2Levels(std::span<const uint8_t> file, uint64_t offset,
                                                bool bigEndian);

/// The blocks of the marker "MRI".
struct CMRIBlocks {
    uint32_t width = 0;  // of the sensor; 0 when they do not tell
    uint32_t height = 0;
    std::vector<double> levels;  // gains of red, green and blue; empty without them
};
[[nodiscard]] CMRIBlocks ReadMRIBlocks(std::span<const uint8_t> file, uint64_t offset);

}  // namespace kestr
