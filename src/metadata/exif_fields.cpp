#include "metadata/exif_fields.h"

#include <algorithm>
#include <array>
#include <string_view>
#include <type_traits>
#include <utility>

#include "metadata/tiff_bytes.h"

namespace kestr {
namespace {

using enum EExifDirectory;
using enum EExifKind;
using M = CEXIF_Members;

constexpr auto kFields = std::to_array<CExifField>({
    {kMain, 270, kText, &M::ImageDescription},
    {kMain, 271, kText, &M::Make},
    {kMain, 272, kText, &M::Model},
    {kMain, 273, kLong, &M::StripOffsets},
    {kMain, 274, kShort, &M::Orientation},
    {kMain, 279, kSingleLong, &M::StripByteCounts},
    {kMain, 282, kRational, &M::XResolution},
    {kMain, 283, kRational, &M::YResolution},
    {kMain, 296, kShort, &M::ResolutionUnit},
    {kMain, 305, kText, &M::Software},
    {kMain, 306, kText, &M::DateTime},
    {kMain, 315, kText, &M::Artist},
    {kMain, 318, kRationals, &M::WhitePoint},
    {kMain, 319, kRationals, &M::PrimaryChromaticities},
    {kMain, 529, kRationals, &M::YCbCrCoefficients},
    {kMain, 531, kShort, &M::YCbCrPositioning},
    {kMain, 33432, kRawText, &M::Copyright},

    {kExif, 33434, kRational, &M::ExposureTime},
    {kExif, 33437, kRational, &M::FNumber},
    {kExif, 34850, kShort, &M::ExposureProgram},
    {kExif, 34852, kText, &M::SpectralSensitivity},
    {kExif, 34855, kShort, &M::ISOSpeedRatings},
    {kExif, 34856, kBytes, &M::OECF},
    {kExif, 36864, kFourChars, &M::ExifVersion},
    {kExif, 36867, kText, &M::DateTimeOriginal},
    {kExif, 36868, kText, &M::DateTimeDigitized},
    {kExif, 37121, kFourDigits, &M::ComponentsConfiguration},
    {kExif, 37122, kRational, &M::CompressedBitsPerPixel},
    {kExif, 37377, kApex, &M::ShutterSpeedValue},
    {kExif, 37378, kRational, &M::ApertureValue},
    {kExif, 37379, kApex, &M::BrightnessValue},
    {kExif, 37380, kSignedRational, &M::ExposureBiasValue},
    {kExif, 37381, kRational, &M::MaxApertureValue},
    {kExif, 37382, kDistance, &M::SubjectDistance},
    {kExif, 37383, kShort, &M::MeteringMode},
    {kExif, 37384, kShort, &M::LightSource},
    {kExif, 37385, kShort, &M::Flash},
    {kExif, 37386, kRational, &M::FocalLength},
    {kExif, 37396, kArea, &M::SubjectArea},
    {kExif, 37500, kMakerNote, &M::MakerNote},
    {kExif, 37510, kUserComment, &M::UserComment},
    {kExif, 37520, kText, &M::SubSecTime},
    {kExif, 37521, kText, &M::SubSecTimeOriginal},
    {kExif, 37522, kText, &M::SubSecTimeDigitized},
    {kExif, 40961, kShort, &M::ColorSpace},
    {kExif, 40962, kDimension, &M::PixelXDimension},
    {kExif, 40963, kDimension, &M::PixelYDimension},
    {kExif, 40964, kText, &M::RelatedSoundFile},
    {kExif, 41483, kRational, &M::FlashEnergy, true},
    {kExif, 41484, kBytes, &M::SpatialFrequencyResponse},
    {kExif, 41486, kRational, &M::FocalPlaneXResolution, true},
    {kExif, 41487, kRational, &M::FocalPlaneYResolution, true},
    {kExif, 41488, kShort, &M::FocalPlaneResolutionUnit, true},
    {kExif, 41492, kLocation, &M::SubjectLocationX},
    {kExif, 41493, kRational, &M::ExposureIndex, true},
    {kExif, 41495, kShort, &M::SensingMethod},
    {kExif, 41728, kShortFromByte, &M::FileSource},
    {kExif, 41729, kShortFromByte, &M::SceneType},
    {kExif, 41730, kBytes, &M::CFAPattern},
    {kExif, 41985, kShort, &M::CustomRendered},
    {kExif, 41986, kShort, &M::ExposureMode},
    {kExif, 41987, kShort, &M::WhiteBalance},
    {kExif, 41988, kRational, &M::DigitalZoomRatio},
    {kExif, 41989, kShort, &M::FocalLengthIn35mmFilm},
    {kExif, 41990, kShort, &M::SceneCaptureType},
    {kExif, 41991, kShort, &M::GainControl},
    {kExif, 41992, kShort, &M::Contrast},
    {kExif, 41993, kShort, &M::Saturation},
    {kExif, 41994, kShort, &M::Sharpness},
    {kExif, 41995, kBytes, &M::DeviceSettingDescription},
    {kExif, 41996, kShort, &M::SubjectDistanceRange},
    {kExif, 42016, kText, &M::ImageUniqueID},
    {kExif, 42240, kRational, &M::Gamma},

    {kGPS, 0, kDigits, &M::GPSVersionID},
    {kGPS, 1, kText, &M::GPSLatitudeRef},
    {kGPS, 2, kTriple, &M::GPSLatitude},
    {kGPS, 3, kText, &M::GPSLongitudeRef},
    {kGPS, 4, kTriple, &M::GPSLongitude},
    {kGPS, 5, kByte, &M::GPSAltitudeRef},
    {kGPS, 6, kRational, &M::GPSAltitude},
    {kGPS, 7, kTriple, &M::GPSTimeStamp},
    {kGPS, 8, kText, &M::GPSSatellites},
    {kGPS, 9, kText, &M::GPSStatus},
    {kGPS, 10, kText, &M::GPSMeasureMode},
    {kGPS, 11, kRational, &M::GPSDOP},
    {kGPS, 12, kText, &M::GPSSpeedRef},
    {kGPS, 13, kRational, &M::GPSSpeed},
    {kGPS, 14, kText, &M::GPSTrackRef},
    {kGPS, 15, kRational, &M::GPSTrack},
    {kGPS, 16, kText, &M::GPSImgDirectionRef},
    {kGPS, 17, kRational, &M::GPSImgDirection},
    {kGPS, 18, kText, &M::GPSMapDatum},
    {kGPS, 19, kText, &M::GPSDestLatitudeRef},
    {kGPS, 20, kTriple, &M::GPSDestLatitude},
    {kGPS, 21, kText, &M::GPSDestLongitudeRef},
    {kGPS, 22, kTriple, &M::GPSDestLongitude},
    {kGPS, 23, kText, &M::GPSDestBearingRef},
    {kGPS, 24, kRational, &M::GPSDestBearing},
    {kGPS, 25, kText, &M::GPSDestDistanceRef},
    {kGPS, 26, kRational, &M::GPSDestDistance},
    {kGPS, 27, kBytes, &M::GPSProcessingMethod},
    {kGPS, 28, kBytes, &M::GPSAreaInformation},
    {kGPS, 29, kText, &M::GPSDateStamp},
    {kGPS, 30, kShort, &M::GPSDifferential},

    {kInteroperability, 1, kText, &M::InteroperabilityIndex},
    {kInteroperability, 2, kFourChars, &M::InteroperabilityVersion},
    {kInteroperability, 4096, kText, &M::RelatedImageFileFormat},
    {kInteroperability, 4097, kLong, &M::RelatedImageWidth},
    {kInteroperability, 4098, kLong, &M::RelatedImageLength},
});

constexpr bool Before(const CExifField& a, const CExifField& b) {
    return a.directory != b.directory ? a.directory < b.directory : a.tag < b.tag;
}
static_assert(std::ranges::is_sorted(kFields, Before));

struct CTagRange {
    uint16_t first, last;
};
// TIFF 6.0, its technical notes, DNG 1.0 and the picture tags of some writers.
constexpr auto kBaseline = std::to_array<CTagRange>({
    {254, 259},     {262, 266},     {269, 274},     {277, 293},     {296, 297},     {300, 301},
    {305, 306},     {315, 328},     {330, 330},     {332, 334},     {336, 341},     {347, 347},
    {512, 515},     {517, 521},     {529, 532},     {32953, 32956}, {32995, 32998}, {33300, 33301},
    {33405, 33405}, {33421, 33422}, {33432, 33432}, {33723, 33723}, {34016, 34029}, {34232, 34232},
    {34377, 34377}, {34675, 34675}, {34750, 34750}, {34908, 34910}, {34929, 34929}, {37439, 37439},
    {50706, 50741}, {50778, 50780}, {65535, 65535},
});
static_assert(std::ranges::is_sorted(kBaseline, {}, &CTagRange::first));

constexpr int CountBaseline() {
    int count = 0;
    for (const CTagRange& range : kBaseline) count += range.last - range.first + 1;
    return count;
}
static_assert(CountBaseline() == 156);

// ---- writing ------------------------------------------------------------------------------------

/// Collects the numbers of one value.
class CEncoder {
public:
    CEncoder(uint16_t type, bool bigEndian) : m_bigEndian(bigEndian) { m_value.type = type; }

    template <typename T>
    void Number(T number) {
        const size_t at = m_value.bytes.size();
        m_value.bytes.resize(at + sizeof(T));
        StoreTIFF(m_value.bytes.data() + at, number, m_bigEndian);
    }
    void Rational(const CExifRational& value) {
        Number(value.numerator);
        Number(value.denominator);
    }
    void Characters(const WideString& text, int lessEach = 0) {
        for (const auto unit : text) Number(static_cast<uint8_t>(unit - lessEach));
    }
    void Bytes(std::span<const uint8_t> bytes) {
        m_value.bytes.insert(m_value.bytes.end(), bytes.begin(), bytes.end());
    }
    CExifValue Take() {
        m_value.count = static_cast<uint32_t>(m_value.bytes.size() / TIFFTypeBytes(m_value.type));
        return std::move(m_value);
    }

private:
    CExifValue m_value;
    bool m_bigEndian;
};

constexpr uint16_t WrittenType(EExifKind kind) {
    switch (kind) {
        case kText:
        case kRawText:
            return tiff_type::kAscii;
        case kDigits:
        case kByte:
            return tiff_type::kByte;
        case kShort:
        case kArea:
        case kLocation:
            return tiff_type::kShort;
        case kLong:
        case kSingleLong:
        case kDimension:
            return tiff_type::kLong;
        case kRational:
        case kRationals:
        case kTriple:
        case kDistance:
            return tiff_type::kRational;
        case kApex:
        case kSignedRational:
            return tiff_type::kSignedRational;
        default:
            return tiff_type::kUndefined;
    }
}

template <typename T>
const T& Get(const M& record, const CExifField& field) {
    return record.*std::get<T M::*>(field.member);
}

void EncodeText(const M& record, const CExifField& field, CEncoder& out) {
    const auto& text = Get<M::Text>(record, field);
    if (text.empty()) return;
    switch (field.kind) {
        case kFourDigits:
        case kDigits:
            out.Characters(text, '0');
            break;
        case kFourChars:
            out.Characters(text);
            break;
        default:
            out.Characters(text);
            out.Number(uint8_t{0});
    }
}

void EncodeShort(const M& record, const CExifField& field, CEncoder& out) {
    const auto& value = Get<M::Short>(record, field);
    if (!value) return;
    if (field.kind == kShortFromByte) return out.Number(static_cast<uint8_t>(*value));
    out.Number(*value);
    if (field.kind == kLocation) out.Number(record.SubjectLocationY.value_or(0));
}

void EncodeRational(const M& record, const CExifField& field, CEncoder& out) {
    const auto& value = Get<M::Rational>(record, field);
    if (!value) return;
    out.Rational(*value);
    if (field.kind == kDistance && record.SubjectDistanceMax) {
        out.Rational(*record.SubjectDistanceMax);
    }
}

bool DimensionsAreShort(const M& record) {
    return record.PixelXDimension.value_or(0) < 65536 && record.PixelYDimension.value_or(0) < 65536;
}

}  // namespace

std::span<const CExifField> ExifFields() {
    return kFields;
}

const CExifField* FindExifField(EExifDirectory directory, uint16_t tag) {
    if (directory == kMain && tag == 36867) directory = kExif;
    const auto key = std::pair{directory, tag};
    const auto found = std::ranges::lower_bound(kFields, key, {}, [](const CExifField& field) {
        return std::pair{field.directory, field.tag};
    });
    const bool same = found != kFields.end() && found->directory == directory && found->tag == tag;
    return same ? &*found : nullptr;
}

bool IsBaselineTag(uint16_t tag) {
    const auto next = std::ranges::upper_bound(kBaseline, tag, {}, &CTagRange::first);
    return next != kBaseline.begin() && tag <= std::prev(next)->last;
}

CExifValue EncodeExifField(const CEXIF_Members& record, const CExifField& field, bool bigEndian) {
    const bool shortened = field.kind == kDimension && DimensionsAreShort(record);
    CEncoder out(shortened ? tiff_type::kShort : WrittenType(field.kind), bigEndian);
    std::visit(
        [&](const auto member) {
            using T = std::remove_cvref_t<decltype(record.*member)>;
            const T& value = record.*member;
            if constexpr (std::is_same_v<T, M::Text>) {
                EncodeText(record, field, out);
            } else if constexpr (std::is_same_v<T, M::Short>) {
                EncodeShort(record, field, out);
            } else if constexpr (std::is_same_v<T, M::Long>) {
                if (!value) return;
                if (shortened) return out.Number(static_cast<uint16_t>(*value));
                out.Number(*value);
            } else if constexpr (std::is_same_v<T, M::Byte>) {
                if (value) out.Number(*value);
            } else if constexpr (std::is_same_v<T, M::Rational>) {
                EncodeRational(record, field, out);
            } else if constexpr (std::is_same_v<T, M::Rationals>) {
                for (const CExifRational& each : value) out.Rational(each);
            } else if constexpr (std::is_same_v<T, M::Bytes>) {
                out.Bytes(value);
            } else {
                for (const uint16_t each : value) out.Number(each);
            }
        },
        field.member);
    return out.Take();
}

bool SameExifField(const CEXIF_Members& a, const CEXIF_Members& b, const CExifField& field) {
    const bool same =
        std::visit([&](const auto member) { return a.*member == b.*member; }, field.member);
    if (field.kind == kLocation) return same && a.SubjectLocationY == b.SubjectLocationY;
    if (field.kind == kDistance) return same && a.SubjectDistanceMax == b.SubjectDistanceMax;
    return same;
}

}  // namespace kestr
