#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <vector>

#include "platform/code_page.h"

namespace kestr {

/// What a getter answers when the record has no such value.
inline constexpr uint32_t kExifNoValue = 0x80040007;

/// A fraction as the file has it, with its value. A denominator of 0 gives the value 1.
struct CExifRational {
    uint32_t numerator = 0;
    uint32_t denominator = 1;
    double value = 0;

    static CExifRational Unsigned(uint32_t numerator, uint32_t denominator);
    /// Both numbers are two's complement.
    static CExifRational Signed(uint32_t numerator, uint32_t denominator);

    friend bool operator==(const CExifRational& a, const CExifRational& b) {
        return a.numerator == b.numerator && a.denominator == b.denominator;
    }
};

/// A tag that has no field of its own, as the file has it. Numbers stand in the byte order of the
/// record; the count follows from the bytes.
struct CExifTag {
    uint16_t tag = 0;
    uint16_t type = 0;  // of TIFF, 1 to 12
    std::vector<uint8_t> bytes;

    friend bool operator==(const CExifTag&, const CExifTag&) = default;
};

/// Parsed EXIF data: one field for each tag that is known, empty when the file has none. A reader
/// makes the record, the image holds it, the JPEG, TIFF and PSD writers write it back.
///
/// Texts hold the file's bytes as characters of equal number, NULs inside included. Tags are those
/// of Exif 2.3 (JEITA CP-3451C), under the standard's names.
class CEXIF_Members {
public:
    using Text = WideString;
    using Short = std::optional<uint16_t>;
    using Long = std::optional<uint32_t>;
    using Byte = std::optional<uint8_t>;
    using Rational = std::optional<CExifRational>;
    using Rationals = std::vector<CExifRational>;
    using Bytes = std::vector<uint8_t>;
    using Shorts = std::vector<uint16_t>;

    virtual ~CEXIF_Members();
    CEXIF_Members();
    CEXIF_Members(const CEXIF_Members&);
    CEXIF_Members& operator=(const CEXIF_Members&);

    /// Fills the record from a TIFF structure: the data of a JPEG's APP1 behind "Exif" and its two
    /// NULs, or a whole TIFF file.
    /// @param offsetsPlusEight  8 is added to every offset of the structure.
    /// @param readThumbnail     read the directory of the thumbnail too.
    /// @return whether an EXIF or a GPS directory was met; the fields of the main directory are
    ///         filled either way.
    bool Parse(std::span<const uint8_t> data, bool offsetsPlusEight, bool readThumbnail);

    /// The content of a JPEG's APP1, from "Exif" on, in the record's byte order.
    ///
    /// A block that came with a maker note is kept and only what has changed in the record is
    /// changed in it: maker notes hold offsets from the start of the block, and would break if they
    /// were moved. Any other record is written anew.
    [[nodiscard]] std::vector<uint8_t> Serialise(bool withThumbnail) const;

    /// The EXIF directory, the interoperability directory and their values, for a file in which
    /// they will stand at `baseOffset`, with which all offsets begin. Empty when a dimension is
    /// missing.
    [[nodiscard]] std::vector<uint8_t> SerialiseForTIFF(bool bigEndian, uint32_t baseOffset) const;
    /// The GPS directory in the same way; empty when there is none.
    [[nodiscard]] std::vector<uint8_t> SerialiseGPSForTIFF(bool bigEndian,
                                                           uint32_t baseOffset) const;

    /// Whether this is an Exif picture in Adobe RGB, as DCF 2.0 marks one.
    [[nodiscard]] bool IsAdobeRGB() const;
    /// Gives the built-in Adobe RGB profile to such a picture; false, with `out` emptied, to
    /// others.
    bool DetectAdobeRGB(std::vector<uint8_t>& out) const;

    /// Gives pixels per inch, rounded; leaves both alone when the record does not tell. A
    /// resolution in centimetres is divided by 2.54, which callers rely on.
    void ResolutionAsDPI(uint16_t& x, uint16_t& y) const;
    void SetResolutionDPI(uint16_t x, uint16_t y);

    /// Main directory.
    Text ImageDescription;
    Text Make;
    Text Model;
    Long StripOffsets;
    Short Orientation;  // 1 to 8 are defined
    Long StripByteCounts;
    Rational XResolution;
    Rational YResolution;
    Short ResolutionUnit;  // 2 inch, 3 centimetre
    Text Software;
    Text DateTime;
    Text Artist;
    Rationals WhitePoint;
    Rationals PrimaryChromaticities;
    Rationals YCbCrCoefficients;
    Short YCbCrPositioning;
    Text Copyright;  // photographer's and, behind a NUL, editor's

    /// EXIF directory.
    Rational ExposureTime;
    Rational FNumber;
    Short ExposureProgram;
    Text SpectralSensitivity;
    Short ISOSpeedRatings;
    Bytes OECF;
    Text ExifVersion;
    Text DateTimeOriginal;
    Text DateTimeDigitized;
    Text ComponentsConfiguration;  // digits
    Rational CompressedBitsPerPixel;
    Rational ShutterSpeedValue;
    Rational ApertureValue;
    Rational BrightnessValue;
    Rational ExposureBiasValue;
    Rational MaxApertureValue;
    Rational SubjectDistance;
    Rational SubjectDistanceMax;  // the second value, if any
    Short MeteringMode;
    Short LightSource;
    Short Flash;
    Rational FocalLength;
    Shorts SubjectArea;  // 2 to 4 values
    Bytes MakerNote;
    Bytes UserComment;  // begins with eight bytes that name the character code
    Text SubSecTime;
    Text SubSecTimeOriginal;
    Text SubSecTimeDigitized;
    Short ColorSpace;
    Long PixelXDimension;
    Long PixelYDimension;
    Text RelatedSoundFile;
    Rational FlashEnergy;
    Bytes SpatialFrequencyResponse;
    Rational FocalPlaneXResolution;
    Rational FocalPlaneYResolution;
    Short FocalPlaneResolutionUnit;
    Short SubjectLocationX;
    Short SubjectLocationY;
    Rational ExposureIndex;
    Short SensingMethod;
    Short FileSource;
    Short SceneType;
    Bytes CFAPattern;
    Short CustomRendered;
    Short ExposureMode;
    Short WhiteBalance;
    Rational DigitalZoomRatio;
    Short FocalLengthIn35mmFilm;
    Short SceneCaptureType;
    Short GainControl;
    Short Contrast;
    Short Saturation;
    Short Sharpness;
    Bytes DeviceSettingDescription;
    Short SubjectDistanceRange;
    Text ImageUniqueID;
    Rational Gamma;

    /// GPS directory. A list that is there has three values at least.
    Text GPSVersionID;  // digits
    Text GPSLatitudeRef;
    Rationals GPSLatitude;
    Text GPSLongitudeRef;
    Rationals GPSLongitude;
    Byte GPSAltitudeRef;
    Rational GPSAltitude;
    Rationals GPSTimeStamp;
    Text GPSSatellites;
    Text GPSStatus;
    Text GPSMeasureMode;
    Rational GPSDOP;
    Text GPSSpeedRef;
    Rational GPSSpeed;
    Text GPSTrackRef;
    Rational GPSTrack;
    Text GPSImgDirectionRef;
    Rational GPSImgDirection;
    Text GPSMapDatum;
    Text GPSDestLatitudeRef;
    Rationals GPSDestLatitude;
    Text GPSDestLongitudeRef;
    Rationals GPSDestLongitude;
    Text GPSDestBearingRef;
    Rational GPSDestBearing;
    Text GPSDestDistanceRef;
    Rational GPSDestDistance;
    Bytes GPSProcessingMethod;
    Bytes GPSAreaInformation;
    Text GPSDateStamp;
    Short GPSDifferential;

    /// Interoperability directory.
    Text InteroperabilityIndex;
    Text InteroperabilityVersion;
    Text RelatedImageFileFormat;
    Long RelatedImageWidth;
    Long RelatedImageLength;

    bool bigEndian = false;  // byte order of the source, kept for writing
    /// Tags without a field, of the main, EXIF and interoperability directories. They are written
    /// into the EXIF directory.
    std::vector<CExifTag> otherTags0;
    std::vector<CExifTag> thumbnailTags;  // the whole directory of the thumbnail
    std::vector<uint8_t> thumbnail;       // a JPEG file
    std::vector<uint8_t> thumbnailStrip;  // pixels of a thumbnail that is one plain strip
    /// A copy of what was parsed, when it has a maker note and is below 65536 bytes.
    std::vector<uint8_t> originalBlock;
    /// Where the maker note begins: from the start of the structure, until a reader that knows the
    /// place in the file makes it absolute.
    uint32_t makerNoteOffset = 0;

    /// 0 with the offset, or kExifNoValue when there is no maker note.
    uint32_t GetMakerNoteOffset(uint32_t& offset) const;

private:
    [[nodiscard]] std::optional<std::vector<uint8_t>> PatchOriginal() const;
    [[nodiscard]] std::vector<uint8_t> Rebuild(bool withThumbnail) const;

    // How originalBlock was parsed.
    bool m_originalPlusEight = false;
    bool m_originalThumbnail = false;
};

/// The value of a field: 0, or kExifNoValue with `out` left alone when it has none.
template <typename T>
uint32_t GetExifValue(const std::optional<T>& field, T& out) {
    if (!field) return kExifNoValue;
    out = *field;
    return 0;
}
template <typename List>
uint32_t GetExifValue(const List& field, List& out) {
    if (field.empty()) return kExifNoValue;
    out = field;
    return 0;
}

}  // namespace kestr
