#include "raw/raw_directory.h"

#include "base/byte_cursor.h"
#include "base/picture_size.h"
#include "readers/image_reader.h"

namespace kestr {

std::optional<uint32_t> CRawDirectory::Long(uint16_t tag) const {
    uint32_t value = 0;
    if (!GetLong(*m_file, tag, m_bigEndian, *m_directory, value)) return std::nullopt;
    return value;
}

std::optional<uint16_t> CRawDirectory::Short(uint16_t tag) const {
    uint16_t value = 0;
    if (!GetShort(*m_file, tag, m_bigEndian, *m_directory, value)) return std::nullopt;
    return value;
}

std::vector<uint32_t> CRawDirectory::Longs(uint16_t tag) const {
    std::vector<uint32_t> values;
    if (!GetLongs(*m_file, tag, m_bigEndian, *m_directory, values)) values.clear();
    return values;
}

std::vector<uint16_t> CRawDirectory::Shorts(uint16_t tag) const {
    std::vector<uint16_t> values;
    if (!GetShorts(*m_file, tag, m_bigEndian, *m_directory, values)) values.clear();
    return values;
}

std::vector<double> CRawDirectory::Rationals(uint16_t tag) const {
    std::vector<double> values;
    if (!GetRationals(*m_file, tag, m_bigEndian, *m_directory, values)) values.clear();
    return values;
}

std::vector<uint8_t> CRawDirectory::Bytes(uint16_t tag) const {
    std::vector<uint8_t> bytes;
    if (!GetBytes(*m_file, tag, m_bigEndian, *m_directory, bytes)) bytes.clear();
    return bytes;
}

std::string CRawDirectory::Text(uint16_t tag) const {
    std::string text;
    if (!GetText(*m_file, tag, m_bigEndian, *m_directory, text)) text.clear();
    return text;
}

std::optional<CRawDirectory::CSize> CRawDirectory::Size() const {
    const auto width = Long(raw_tag::kWidth);
    const auto height = Long(raw_tag::kHeight);
    if (!width || !height) return std::nullopt;
    return CSize{*width, *height};
}

std::span<const uint8_t> CRawDirectory::EmbeddedJPEG() const {
    const auto offset = Long(raw_tag::kJPEGOffset);
    const auto length = Long(raw_tag::kJPEGLength);
    if (!offset || !length) return {};
    return SubRange(m_file->Bytes(), *offset, *length);
}

std::span<const uint8_t> CRawDirectory::PictureBytes(CSize size, uint32_t bytesPerPixel) const {
    const auto offset = Long(raw_tag::kStripOffsets);
    if (!offset || size.width > kMostPictureSide || size.height > kMostPictureSide) return {};
    const auto wanted = ImageBytes(size.width, size.height, bytesPerPixel);
    if (!wanted) return {};
    const auto bytes = SubRange(m_file->Bytes(), *offset, *wanted);
    return bytes.size() == *wanted ? bytes : std::span<const uint8_t>();
}

void TakeRawMetadata(CImageReader& reader, std::span<const uint8_t> file,
                     const CRawDirectory& first) {
    auto exif = std::make_unique<CEXIF_Members>();
    if (exif->Parse(file, false, false)) reader.m_exif = std::move(exif);
    const auto profile = first.Bytes(raw_tag::kProfile);
    if (!profile.empty()) reader.SetICCProfile(profile);
}

}  // namespace kestr
