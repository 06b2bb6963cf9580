// Writing an EXIF block anew. Order in the block: TIFF header, main, EXIF, GPS and
// interoperability directories, their values, the thumbnail's directory with its values, the
// thumbnail.
#include <algorithm>
#include <array>
#include <optional>
#include <string_view>
#include <utility>

#include "metadata/exif_fields.h"
#include "metadata/tiff_bytes.h"

namespace kestr {
namespace {

using enum EExifDirectory;

constexpr std::array<uint8_t, 6> kMark{'E', 'x', 'i', 'f', 0, 0};
constexpr size_t kHeaderBytes = 8;
constexpr uint32_t kDefaultResolution = 300;
constexpr uint16_t kInches = 2;
constexpr uint16_t kExifVersion = 36864;
constexpr uint16_t kComponentsConfiguration = 37121;
constexpr uint16_t kColorSpace = 40961;
constexpr uint16_t kStandardRGB = 1;

/// The entries of a directory to be, in ascending order of tags.
class CDirectory {
public:
    void Add(uint16_t tag, CExifValue value) {
        if (value.count != 0) m_entries.push_back({tag, std::move(value)});
    }
    void AddLong(uint16_t tag, uint32_t number, bool bigEndian) {
        CExifValue value{tiff_type::kLong, 1, std::vector<uint8_t>(4)};
        StoreTIFF(value.bytes.data(), number, bigEndian);
        Add(tag, std::move(value));
    }
    /// A tag kept as it was, its numbers turned into another byte order when `swap` is set.
    void AddKept(const CExifTag& kept, bool swap) {
        CExifValue value{kept.type, 0, kept.bytes};
        value.count = static_cast<uint32_t>(kept.bytes.size() / TIFFTypeBytes(kept.type));
        const size_t each = swap ? TIFFNumberBytes(kept.type) : 1;
        for (size_t i = 0; i + each <= value.bytes.size() && each > 1; i += each) {
            std::reverse(value.bytes.begin() + i, value.bytes.begin() + i + each);
        }
        Add(kept.tag, std::move(value));
    }
    [[nodiscard]] bool Empty() const { return m_entries.empty(); }
    [[nodiscard]] size_t Bytes() const { return 2 + m_entries.size() * kTIFFEntryBytes + 4; }
    /// Bytes of the values that do not fit into their entries, each at an even place.
    [[nodiscard]] size_t ValueBytes() const {
        size_t bytes = 0;
        for (const CEntry& entry : m_entries) {
            const size_t size = entry.value.bytes.size();
            if (size > 4) bytes += size + size % 2;
        }
        return bytes;
    }

    /// Writes the directory at `at` in the block and appends its long values to the block. Offsets
    /// count from the start of the block plus `base`.
    void Write(std::vector<uint8_t>& block, size_t at, uint32_t base, bool bigEndian);

private:
    struct CEntry {
        uint16_t tag;
        CExifValue value;
    };
    std::vector<CEntry> m_entries;
};

void CDirectory::Write(std::vector<uint8_t>& block, size_t at, uint32_t base, bool bigEndian) {
    std::ranges::stable_sort(m_entries, {}, &CEntry::tag);
    StoreTIFF(block.data() + at, static_cast<uint16_t>(m_entries.size()), bigEndian);
    at += 2;
    for (const CEntry& entry : m_entries) {
        const CExifValue& value = entry.value;
        StoreTIFF(block.data() + at, entry.tag, bigEndian);
        StoreTIFF(block.data() + at + 2, value.type, bigEndian);
        StoreTIFF(block.data() + at + 4, value.count, bigEndian);
        if (value.bytes.size() <= 4) {
            std::ranges::copy(value.bytes, block.begin() + at + 8);
        } else {
            const uint32_t offset = base + static_cast<uint32_t>(block.size());
            StoreTIFF(block.data() + at + 8, offset, bigEndian);
            block.insert(block.end(), value.bytes.begin(), value.bytes.end());
            if (block.size() % 2 != 0) block.push_back(0);
        }
        at += kTIFFEntryBytes;
    }
}

CDirectory Fields(const CEXIF_Members& record, EExifDirectory which, bool bigEndian) {
    CDirectory directory;
    for (const CExifField& field : ExifFields()) {
        if (field.directory != which) continue;
        // The strips of the file that was read are not in this one.
        if (field.tag == kStripOffsets || field.tag == kStripByteCounts) continue;
        directory.Add(field.tag, EncodeExifField(record, field, bigEndian));
    }
    return directory;
}

CExifValue Undefined(std::string_view fourCharacters) {
    return {tiff_type::kUndefined, 4, {fourCharacters.begin(), fourCharacters.end()}};
}

CExifValue Short(uint16_t number, bool bigEndian) {
    CExifValue value{tiff_type::kShort, 1, std::vector<uint8_t>(2)};
    StoreTIFF(value.bytes.data(), number, bigEndian);
    return value;
}

CExifValue WholeRational(uint32_t number, bool bigEndian) {
    CExifValue value{tiff_type::kRational, 1, std::vector<uint8_t>(8)};
    StoreTIFF(value.bytes.data(), number, bigEndian);
    StoreTIFF(value.bytes.data() + 4, uint32_t{1}, bigEndian);
    return value;
}

CDirectory MainDirectory(const CEXIF_Members& record) {
    const bool bigEndian = record.bigEndian;
    CDirectory directory = Fields(record, kMain, bigEndian);
    if (!record.XResolution) directory.Add(282, WholeRational(kDefaultResolution, bigEndian));
    if (!record.YResolution) directory.Add(283, WholeRational(kDefaultResolution, bigEndian));
    if (!record.ResolutionUnit) directory.Add(296, Short(kInches, bigEndian));
    return directory;
}

CDirectory ExifDirectory(const CEXIF_Members& record, bool bigEndian) {
    CDirectory directory;
    for (const CExifField& field : ExifFields()) {
        if (field.directory != kExif) continue;
        CExifValue value = EncodeExifField(record, field, bigEndian);
        if (field.tag == kExifVersion && value.count != 4) value = Undefined("0221");
        if (field.tag == kComponentsConfiguration && value.count != 4) {
            value = Undefined({"\1\2\3\0", 4});
        }
        if (field.tag == kColorSpace && value.count == 0) value = Short(kStandardRGB, bigEndian);
        directory.Add(field.tag, std::move(value));
    }
    directory.Add(kFlashpixVersion, Undefined("0100"));
    // A field that stood in the main directory by mistake comes to its place here, unless the block
    // had the field there too.
    for (const CExifTag& kept : record.otherTags0) {
        const CExifField* field = FindExifField(kExif, kept.tag);
        const bool isTaken = field && EncodeExifField(record, *field, bigEndian).count != 0;
        if (!isTaken) directory.AddKept(kept, bigEndian != record.bigEndian);
    }
    return directory;
}

/// Writes the thumbnail's directory and the thumbnail behind the block, and gives the offset of the
/// directory; 0 when there is no thumbnail.
uint32_t AppendThumbnail(const CEXIF_Members& record, std::vector<uint8_t>& block) {
    const bool isStrip = record.thumbnail.empty();
    const auto& thumbnail = isStrip ? record.thumbnailStrip : record.thumbnail;
    if (thumbnail.empty()) return 0;
    const bool bigEndian = record.bigEndian;
    const auto isPlace = [](uint16_t tag) {
        return tag == kThumbnailOffset || tag == kThumbnailLength || tag == kStripOffsets ||
               tag == kStripByteCounts;
    };
    CDirectory directory;
    for (const CExifTag& kept : record.thumbnailTags) {
        if (!isPlace(kept.tag)) directory.AddKept(kept, false);
    }
    const uint16_t offsetTag = isStrip ? kStripOffsets : kThumbnailOffset;
    const uint16_t lengthTag = isStrip ? kStripByteCounts : kThumbnailLength;
    directory.AddLong(lengthTag, static_cast<uint32_t>(thumbnail.size()), bigEndian);
    const size_t at = block.size();
    const size_t place = at + directory.Bytes() + kTIFFEntryBytes + directory.ValueBytes();
    directory.AddLong(offsetTag, static_cast<uint32_t>(place), bigEndian);
    block.resize(at + directory.Bytes());
    directory.Write(block, at, 0, bigEndian);
    block.insert(block.end(), thumbnail.begin(), thumbnail.end());
    return static_cast<uint32_t>(at);
}

}  // namespace

std::vector<uint8_t> CEXIF_Members::Serialise(bool withThumbnail) const {
    std::optional<std::vector<uint8_t>> block;
    if (withThumbnail && !originalBlock.empty()) block = PatchOriginal();
    if (!block) block = Rebuild(withThumbnail);
    block->insert(block->begin(), kMark.begin(), kMark.end());
    return std::move(*block);
}

std::vector<uint8_t> CEXIF_Members::Rebuild(bool withThumbnail) const {
    CDirectory main = MainDirectory(*this);
    CDirectory exif = ExifDirectory(*this, bigEndian);
    CDirectory gps = Fields(*this, kGPS, bigEndian);
    CDirectory interoperability = Fields(*this, kInteroperability, bigEndian);

    // Each directory's size is known before its pointer is: the pointers' own entries count too.
    const size_t mainBytes = main.Bytes() + kTIFFEntryBytes * (gps.Empty() ? 1 : 2);
    const size_t exifBytes = exif.Bytes() + (interoperability.Empty() ? 0 : kTIFFEntryBytes);
    const size_t exifAt = kHeaderBytes + mainBytes;
    const size_t gpsAt = exifAt + exifBytes;
    const size_t interoperabilityAt = gpsAt + (gps.Empty() ? 0 : gps.Bytes());
    const size_t valuesAt =
        interoperabilityAt + (interoperability.Empty() ? 0 : interoperability.Bytes());
    main.AddLong(kExifPointer, static_cast<uint32_t>(exifAt), bigEndian);
    if (!gps.Empty()) main.AddLong(kGPSPointer, static_cast<uint32_t>(gpsAt), bigEndian);
    if (!interoperability.Empty()) {
        exif.AddLong(kInteroperabilityPointer, static_cast<uint32_t>(interoperabilityAt),
                     bigEndian);
    }

    std::vector<uint8_t> block(valuesAt);
    block[0] = block[1] = bigEndian ? 'M' : 'I';
    StoreTIFF(block.data() + 2, uint16_t{42}, bigEndian);
    StoreTIFF(block.data() + 4, static_cast<uint32_t>(kHeaderBytes), bigEndian);
    main.Write(block, kHeaderBytes, 0, bigEndian);
    exif.Write(block, exifAt, 0, bigEndian);
    if (!gps.Empty()) gps.Write(block, gpsAt, 0, bigEndian);
    if (!interoperability.Empty()) {
        interoperability.Write(block, interoperabilityAt, 0, bigEndian);
    }
    if (withThumbnail) {
        const uint32_t thumbnailAt = AppendThumbnail(*this, block);
        StoreTIFF(block.data() + exifAt - 4, thumbnailAt, bigEndian);
    }
    return block;
}

std::vector<uint8_t> CEXIF_Members::SerialiseForTIFF(bool inBigEndian, uint32_t baseOffset) const {
    if (!PixelXDimension || !PixelYDimension) return {};
    CDirectory exif = ExifDirectory(*this, inBigEndian);
    CDirectory interoperability = Fields(*this, kInteroperability, inBigEndian);
    size_t valuesAt = exif.Bytes();
    if (!interoperability.Empty()) {
        valuesAt += kTIFFEntryBytes;
        exif.AddLong(kInteroperabilityPointer, baseOffset + static_cast<uint32_t>(valuesAt),
                     inBigEndian);
        valuesAt += interoperability.Bytes();
    }
    std::vector<uint8_t> block(valuesAt);
    exif.Write(block, 0, baseOffset, inBigEndian);
    if (!interoperability.Empty()) {
        interoperability.Write(block, exif.Bytes(), baseOffset, inBigEndian);
    }
    return block;
}

std::vector<uint8_t> CEXIF_Members::SerialiseGPSForTIFF(bool inBigEndian,
                                                        uint32_t baseOffset) const {
    CDirectory gps = Fields(*this, kGPS, inBigEndian);
    if (gps.Empty()) return {};
    std::vector<uint8_t> block(gps.Bytes());
    gps.Write(block, 0, baseOffset, inBigEndian);
    return block;
}

}  // namespace kestr
