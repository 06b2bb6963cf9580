// The blocks of a GIF file, from bytes to values. Little-endian. Layout: CompuServe's "Graphics
// Interchange Format, Version 89a".
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "base/bitmap_info.h"

namespace kestr {

struct CGIFColourTable {
    std::array<CRGBQuad, 256> colours{};
    uint32_t count = 0;  // entries of the table that was read last; 0 without one
};

/// What stands in front of the frames.
struct CGIFScreen {
    uint32_t width = 0;   // pixels
    uint32_t height = 0;  // rows
    CGIFColourTable table;
    uint32_t blocksStart = 0;  // bytes from the start of the file
};

struct CGIFFrame {
    uint32_t left = 0;  // pixels from the corner of the screen
    uint32_t top = 0;
    uint32_t width = 0;
    uint32_t height = 0;
    bool interlaced = false;
    CGIFColourTable table;  // the screen's, with the frame's own colours over it
    bool hasTransparency = false;
    uint8_t transparentIndex = 0;
    uint32_t disposal = 0;  // as stored, 0 to 7
    uint32_t delay = 0;     // milliseconds
    std::string comment;    // each comment with a line feed behind it
    int codeSize = 0;       // 2 to 11: bits of a pixel in the packed data
    uint32_t dataStart = 0;
};

/// Nothing when the signature is missing or the file ends too early.
[[nodiscard]] std::optional<CGIFScreen> ParseGIFScreen(std::span<const uint8_t> file);

/// Where each frame begins with its extensions: one number a frame, bytes from the start of the
/// file. The list ends before a frame that cannot be one.
[[nodiscard]] std::vector<uint32_t> FindGIFFrames(std::span<const uint8_t> file,
                                                  const CGIFScreen& screen);

/// The frame that begins, with its extensions, at `start`; nothing when there is none.
[[nodiscard]] std::optional<CGIFFrame> ParseGIFFrame(std::span<const uint8_t> file,
                                                     const CGIFScreen& screen, uint32_t start);

}  // namespace kestr
