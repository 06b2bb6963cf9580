// The forms that Sony's cameras store sensor values in.
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <span>
#include <vector>

#include "raw/sensor_window.h"

namespace kestr {

class CImageReader;
class CRawSensorImage;

/// All fill the image with the window's part of `storedWidth` columns of values. `reader` serves
/// for progress and may be null. False when its caller has asked for an end.

/// Enciphered big-endian words. `maskedMean`, when not null, receives the mean of the first
/// `maskedColumns` columns. What lies behind the end of the data is 0.
[[nodiscard]] bool ReadCipheredWords(std::span<const uint8_t> data, uint32_t key,
                                     uint32_t storedWidth, const CSensorWindow& window,
                                     CRawSensorImage& image, CImageReader* reader,
                                     uint32_t maskedColumns = 0, uint16_t* maskedMean = nullptr);

/// Differences by prefix codes, column by column from the last to the first; of each column the
/// even rows, then the odd ones. Behind the end of the data the last value stands.
[[nodiscard]] bool ReadColumnCodes(std::span<const uint8_t> data, uint32_t storedWidth,
                                   uint32_t storedHeight, const CSensorWindow& window,
                                   CRawSensorImage& image, CImageReader* reader);

/// The sample of each value of 11 bits that the blocks have, by the four bends of the file's curve;
/// nothing when there are not four.
[[nodiscard]] std::optional<std::vector<uint16_t>> BlockSamples(std::span<const uint16_t> bends);

/// Blocks of 16 bytes, each for every second one of 32 columns; columns behind the last whole pair
/// of blocks are 0. `samples` has 2048 entries.
[[nodiscard]] bool ReadValueBlocks(std::span<const uint8_t> data, std::span<const uint16_t> samples,
                                   uint32_t storedWidth, const CSensorWindow& window,
                                   CRawSensorImage& image, CImageReader* reader);

}  // namespace kestr
