// The tags that an EXIF record has fields for: where each belongs, how it is read and written.
#pragma once

#include <cstdint>
#include <span>
#include <variant>
#include <vector>

#include "metadata/exif_members.h"

namespace kestr {

enum class EExifDirectory : uint8_t { kMain, kExif, kGPS, kInteroperability, kThumbnail };

/// How a field stands in the file. The kind settles the type that is written; reading takes any
/// type that gives such a value.
enum class EExifKind : uint8_t {
    kText,
    kRawText,     // without stripping
    kFourChars,   // type 7, count 4: the characters
    kFourDigits,  // type 7, count 4: each byte plus '0'
    kDigits,      // bytes, each plus '0'
    kShort,
    kShortFromByte,  // type 7, count 1
    kByte,
    kLong,
    kSingleLong,  // only with a count of 1
    kDimension,   // written short when both picture dimensions allow it
    kRational,
    kApex,            // a rational that is written signed and read as its type says
    kSignedRational,  // both numbers signed, whatever the type
    kRationals,
    kTriple,  // padded with zeros to three
    kBytes,
    kUserComment,
    kMakerNote,
    kArea,      // 2 to 4 shorts
    kLocation,  // 2 shorts, the field and kSecond
    kDistance,  // 1 or 2 rationals, the field and kSecond
};

using ExifMember =
    std::variant<CEXIF_Members::Text CEXIF_Members::*, CEXIF_Members::Short CEXIF_Members::*,
                 CEXIF_Members::Long CEXIF_Members::*, CEXIF_Members::Byte CEXIF_Members::*,
                 CEXIF_Members::Rational CEXIF_Members::*,
                 CEXIF_Members::Rationals CEXIF_Members::*, CEXIF_Members::Bytes CEXIF_Members::*,
                 CEXIF_Members::Shorts CEXIF_Members::*>;

struct CExifField {
    EExifDirectory directory;
    uint16_t tag;
    EExifKind kind;
    ExifMember member;
    bool firstKept = false;  // some cameras repeat the tag: the first one counts
};

/// Tags that point at directories.
inline constexpr uint16_t kExifPointer = 34665;
inline constexpr uint16_t kGPSPointer = 34853;
inline constexpr uint16_t kInteroperabilityPointer = 40965;
inline constexpr uint16_t kFlashpixVersion = 40960;
/// Tags that point at the bytes of a thumbnail: a JPEG file, or a strip.
inline constexpr uint16_t kThumbnailOffset = 513;
inline constexpr uint16_t kThumbnailLength = 514;
inline constexpr uint16_t kStripOffsets = 273;
inline constexpr uint16_t kStripByteCounts = 279;

/// All fields, by directory and ascending tag.
std::span<const CExifField> ExifFields();
/// The field of a tag met in a directory; null when there is none. DateTimeOriginal is taken in
/// the main directory too.
const CExifField* FindExifField(EExifDirectory directory, uint16_t tag);
/// Whether a tag of the main directory is dropped when it has no field: the picture itself or its
/// writer replaces it.
bool IsBaselineTag(uint16_t tag);

/// A value on its way into a directory, in the directory's byte order.
struct CExifValue {
    uint16_t type = 0;
    uint32_t count = 0;
    std::vector<uint8_t> bytes;
};

/// The field as it is written; a count of 0 when the record has no such value.
CExifValue EncodeExifField(const CEXIF_Members& record, const CExifField& field, bool bigEndian);
/// Whether two records agree in a field.
bool SameExifField(const CEXIF_Members& a, const CEXIF_Members& b, const CExifField& field);

/// Where a directory was found: offset of its count, and the entries that were read.
struct CExifPlace {
    EExifDirectory directory;
    uint32_t offset;
    uint32_t entries;
};
/// CEXIF_Members::Parse without originalBlock; tells where the directories lie.
bool ParseExif(std::span<const uint8_t> data, bool offsetsPlusEight, bool readThumbnail,
               CEXIF_Members& record, std::vector<CExifPlace>& places);

}  // namespace kestr
