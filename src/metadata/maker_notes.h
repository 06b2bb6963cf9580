// Makers' private directories inside EXIF, as far as the raw readers want them: white balance,
// black levels, places of previews. Everything here reads within the bytes that it is given and
// leaves the defaults where a note is not there or does not fit. `file` is the whole mapped file,
// and an offset counts from its start unless a line says otherwise.
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <span>
#include <vector>

namespace kestr {

/// Where a preview lies; `length` 0 means that there is none.
struct CNotePreview {
    uint32_t offset = 0;
    uint32_t length = 0;  // bytes
};

struct CEpsonNote {
    CNotePreview preview;             // its offset as the note states it
    std::vector<double> multipliers;  // red, green, blue; empty, or three values
};
/// @param note  offset of the maker note, with its signature of 8 bytes.
[[nodiscard]] CEpsonNote ReadEpsonNote(std::span<const uint8_t> file, uint64_t note);

struct CKodakNote {
    std::vector<double> multipliers;  // red, green, blue; empty, or three values
};
/// @param note  offset of the maker note, which is the directory.
[[nodiscard]] CKodakNote ReadKodakNote(std::span<const uint8_t> file, uint64_t note);

struct CMinoltaNote {
    uint32_t red = 256;  // multipliers; 256 means 1
    uint32_t blue = 256;
};
/// @param directory  offset of the note's directory.
[[nodiscard]] CMinoltaNote ReadMinoltaNote(std::span<const uint8_t> file, uint64_t directory);
/// @param tiff  the TIFF structure that the note is in; places count from its start.
[[nodiscard]] CNotePreview ReadMinoltaPreview(std::span<const uint8_t> tiff, uint64_t directory);

struct CPentaxNote {
    CNotePreview preview;
    std::optional<uint16_t> red;  // multipliers; 256 means 1
    std::optional<uint16_t> blue;
};
/// @param note  offset of the maker note, with its signature of 6 bytes.
[[nodiscard]] CPentaxNote ReadPentaxNote(std::span<const uint8_t> file, uint64_t note);

/// Of the directory that tag 17 of a Nikon note leads to.
/// @param base  offset of the TIFF header that the directory's offsets count from.
[[nodiscard]] CNotePreview ReadNikonPreview(std::span<const uint8_t> file, uint64_t directory,
                                            uint64_t base, bool bigEndian);

struct COlympusNote {
    std::optional<std::array<uint16_t, 4>> blackLevels;
    std::optional<uint16_t> red;  // multipliers; 256 means 1
    std::optional<uint16_t> blue;
    std::optional<std::array<double, 9>> colorMatrix;
    bool previewValid = false;
    CNotePreview preview;  // its offset counts from the note's base
};
/// @param directory  offset of the note's directory.
/// @param base       what offsets in it count from: 0 for the start of the file, else the note's.
[[nodiscard]] COlympusNote ReadOlympusNote(std::span<const uint8_t> file, uint64_t directory,
                                           uint64_t base, bool bigEndian);

}  // namespace kestr
