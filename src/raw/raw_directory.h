#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "metadata/tiff_parser.h"

namespace kestr {

class CImageReader;

/// Tags that the makers' directories share (TIFF 6.0, TIFF/EP).
namespace raw_tag {
inline constexpr uint16_t kWidth = 256;
inline constexpr uint16_t kHeight = 257;
inline constexpr uint16_t kBitsPerSample = 258;
inline constexpr uint16_t kCompression = 259;
inline constexpr uint16_t kPhotometric = 262;
inline constexpr uint16_t kMake = 271;
inline constexpr uint16_t kModel = 272;
inline constexpr uint16_t kStripOffsets = 273;
inline constexpr uint16_t kSamplesPerPixel = 277;
inline constexpr uint16_t kRowsPerStrip = 278;
inline constexpr uint16_t kStripByteCounts = 279;
inline constexpr uint16_t kSubDirectories = 330;
inline constexpr uint16_t kJPEGOffset = 513;
inline constexpr uint16_t kJPEGLength = 514;
inline constexpr uint16_t kCFARepeat = 33421;
inline constexpr uint16_t kCFAPattern = 33422;
inline constexpr uint16_t kProfile = 34675;
}  // namespace raw_tag

/// One directory of a raw file. Each value is missing where the tag is, where its type does not
/// fit, or where its data lies outside the file.
class CRawDirectory {
public:
    struct CSize {
        uint32_t width = 0;  // pixels
        uint32_t height = 0;
    };

    /// All that it is given must outlive it.
    CRawDirectory(const CMappedFileImpl& file, bool bigEndian, const CTIFFDirectory& directory)
        : m_file(&file), m_directory(&directory), m_bigEndian(bigEndian) {}

    [[nodiscard]] bool Has(uint16_t tag) const { return HasTag(tag, *m_directory); }
    [[nodiscard]] std::optional<uint32_t> Long(uint16_t tag) const;  // types 3, 4 and 9
    [[nodiscard]] std::optional<uint16_t> Short(uint16_t tag) const;
    // Empty without a value.
    [[nodiscard]] std::vector<uint32_t> Longs(uint16_t tag) const;
    [[nodiscard]] std::vector<uint16_t> Shorts(uint16_t tag) const;
    [[nodiscard]] std::vector<double> Rationals(uint16_t tag) const;
    [[nodiscard]] std::vector<uint8_t> Bytes(uint16_t tag) const;
    [[nodiscard]] std::string Text(uint16_t tag) const;
    /// Tags 256 and 257.
    [[nodiscard]] std::optional<CSize> Size() const;
    /// The file's bytes that tags 513 and 514 tell; empty when there are none.
    [[nodiscard]] std::span<const uint8_t> EmbeddedJPEG() const;
    /// The bytes of an uncompressed picture of one strip; empty when the file lacks some of them.
    [[nodiscard]] std::span<const uint8_t> PictureBytes(CSize size, uint32_t bytesPerPixel) const;

private:
    const CMappedFileImpl* m_file;
    const CTIFFDirectory* m_directory;
    bool m_bigEndian;
};

/// Gives the reader the EXIF record of a file that is a TIFF structure, and the profile of its
/// first directory.
void TakeRawMetadata(CImageReader& reader, std::span<const uint8_t> file,
                     const CRawDirectory& first);

}  // namespace kestr
