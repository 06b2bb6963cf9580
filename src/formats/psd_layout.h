// What the header, the sections and the layer records of a Photoshop file say. Big-endian.
// Layout: Adobe Photoshop File Formats Specification.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <vector>

#include "base/pixel_buffer.h"

namespace kestr {

enum CPSDMode : uint16_t {
    kPSDBitmap = 0,
    kPSDGray = 1,
    kPSDIndexed = 2,
    kPSDRGB = 3,
    kPSDCMYK = 4,
    kPSDDuotone = 8,
    kPSDLab = 9,
};

struct CPSDHeader {
    uint16_t channels = 0;
    uint32_t height = 0;
    uint32_t width = 0;
    uint16_t depth = 0;  // bits a sample
    uint16_t mode = 0;

    /// Planes that make the picture; alpha and spot channels lie behind them.
    [[nodiscard]] size_t Planes() const {
        return mode == kPSDRGB || mode == kPSDLab ? 3 : mode == kPSDCMYK ? 4 : 1;
    }
    /// Bytes of a row of one plane.
    [[nodiscard]] uint64_t RowBytes() const {
        return depth == 1 ? (uint64_t{width} + 7) / 8 : uint64_t{width} * (depth / 8);
    }
};
inline constexpr size_t kPSDHeaderSize = 26;
/// Nothing when the signature or the version is another.
std::optional<CPSDHeader> ParsePSDHeader(std::span<const uint8_t> file);

/// A section that begins with its length in 32 bits; what is not in the file is not in `data`.
struct CPSDSection {
    uint32_t length = 0;   // as stated
    size_t dataStart = 0;  // offset in the file
    std::span<const uint8_t> data;
    uint64_t end = 0;  // offset of the next section, which may lie outside of the file
};
CPSDSection ParsePSDSection(std::span<const uint8_t> file, uint64_t offset);

struct CPSDChannel {
    int16_t id = 0;                 // 0 up: a plane; negative: transparency or a mask
    std::span<const uint8_t> data;  // from the compression word on
};
struct CPSDLayer {
    int32_t top = 0;
    int32_t left = 0;
    int32_t bottom = 0;
    int32_t right = 0;
    uint8_t opacity = 255;
    uint8_t flags = 0;
    bool skip = false;  // another blend mode, or a mask
    std::vector<CPSDChannel> channels;

    [[nodiscard]] bool IsHidden() const { return (flags & 2) != 0; }
};
/// The layers of the layer and mask section, the lowest first. Nothing when there are too many of
/// them, or a record has too many channels, another signature or is cut short. Channels may be.
std::optional<std::vector<CPSDLayer>> ParsePSDLayers(std::span<const uint8_t> section);

/// Lays a layer of 8-bit samples over `planes`, which holds the picture's planes one behind the
/// other.
void ComposePSDLayer(const CPSDLayer& layer, const CPSDHeader& header, CPixelBytes& planes);

}  // namespace kestr
