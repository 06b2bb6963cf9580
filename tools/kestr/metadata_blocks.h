// Blocks of metadata, byte for byte as they stand in a JPEG file.
#pragma once

#include <cstdint>
#include <filesystem>
#include <span>
#include <vector>

namespace tool {

using Bytes = std::vector<uint8_t>;

/// All of a file; empty when it cannot be read.
[[nodiscard]] Bytes ReadWhole(const std::filesystem::path& path);

enum class CBlockKind {
    kExif,  // the TIFF structure behind "Exif" and its two NULs
    kIptc,  // the datasets in image resource 1028
};
/// The first block of a kind; empty when there is none.
[[nodiscard]] Bytes BlockInJPEG(std::span<const uint8_t> file, CBlockKind kind);

}  // namespace tool
