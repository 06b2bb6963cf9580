// What a DNG file says of its picture.
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <vector>

#include "raw/camera_color_data.h"
#include "raw/dng_data.h"
#include "raw/raw_directory.h"
#include "raw/raw_samples.h"

namespace kestr {

namespace dng_tag {
inline constexpr uint16_t kIPTC = 33723;
inline constexpr uint16_t kVersion = 50706;
}  // namespace dng_tag

struct CDNGPicture {
    CDNGData data;
    // Of a mosaic.
    std::vector<uint8_t> pattern;                       // CFilterColor codes, row by row
    std::array<uint32_t, 2> repeat{};                   // rows and columns of the pattern
    std::optional<std::array<uint8_t, 4>> planeColors;  // code of each of four planes
    uint32_t planes = 3;                                // colours that a pixel has in the end
    // Colours. A picture without matrices is delivered as it is.
    CameraColorData color;
    std::vector<double> analogBalance;
    std::vector<double> neutral;  // empty when the file does not tell
    uint16_t black = 0;
    uint16_t white = 0;        // above black
    bool whiteStated = false;  // by the file
    // The part of the recorded pixels that is the picture, and the picture's size.
    CRawBox crop;
    uint32_t pictureWidth = 0;
    uint32_t pictureHeight = 0;

    [[nodiscard]] bool HasMatrix() const { return !color.colorMatrix1.empty(); }
    /// Samples a pixel in the buffer: 3 for matrices of three planes, 4 for all else.
    [[nodiscard]] uint8_t BufferColors() const { return color.colorMatrix1.size() == 9 ? 3 : 4; }
    /// One sample of light a pixel, without colour.
    [[nodiscard]] bool IsGray() const { return data.linear && data.samplesPerPixel == 1; }
};

/// Reads the directory of the recorded samples, and the colours of the file's first one. Nothing
/// when a tag is missing that must be there, when samples lie in a form that is not known, or when
/// `fileBytes` cannot hold so many.
[[nodiscard]] std::optional<CDNGPicture> ReadDNGPicture(const CRawDirectory& first,
                                                        const CRawDirectory& raw, bool bigEndian,
                                                        uint64_t fileBytes);

/// DNGVersion, its four bytes as one number; nothing when the file is no DNG.
[[nodiscard]] std::optional<uint32_t> DNGVersion(const CRawDirectory& first);

}  // namespace kestr
