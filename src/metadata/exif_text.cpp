#include "metadata/exif_text.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <cstdio>
#include <initializer_list>
#include <string_view>

namespace kestr {
namespace {

using M = CEXIF_Members;
using Names = std::span<const std::string_view>;

constexpr std::array<std::string_view, 3> kPositioning{"0", "Centered", "Co-sited"};
constexpr std::array<std::string_view, 7> kMetering{
    "Unidentified", "Average", "Center Weighted Average", "Spot", "Multispot",
    "Pattern",      "Partial"};
constexpr std::array<std::string_view, 2> kNoYes{"No", "Yes"};
constexpr std::array<std::string_view, 4> kFlashMode{"Unknown", "Fill", "Off", "Auto"};
constexpr std::array<std::string_view, 4> kFlashReturn{
    "No strobe return detection function", "Invalid value", "Strobe return not detected",
    "Strobe return detected"};
constexpr std::array<std::string_view, 2> kFlashFunction{"Flash present", "No flash function"};
constexpr std::array<std::string_view, 2> kFlashRedEye{"No red-eye function",
                                                       "Red-eye function available"};
constexpr std::array<std::string_view, 9> kProgram{
    "Unidentified",     "Manual",         "Program Normal", "Aperture Priority", "Shutter Priority",
    "Program Creative", "Program Action", "Portrait Mode",  "Landscape Mode"};
constexpr std::array<std::string_view, 4> kUnits{"Invalid", "Invalid", "Inch", "Centimeter"};
constexpr std::array<std::string_view, 9> kSensing{"Undefined",
                                                   "Undefined",
                                                   "One chip color area",
                                                   "Two chip color area",
                                                   "Three chip color area",
                                                   "Color sequential area",
                                                   "Undefined",
                                                   "Trilinear",
                                                   "Color sequential linear"};
constexpr std::array<std::string_view, 4> kFileSource{"Others", "Transparency scanner",
                                                      "Reflective scanner", "DSC"};
constexpr std::array<std::string_view, 9> kOrientation{"0",
                                                       "Upper Left (1)",
                                                       "Horizontal Mirror (2)",
                                                       "Rotated 180 (3)",
                                                       "Vertical Mirror (4)",
                                                       "Mirrored and Rotated 90 (5)",
                                                       "Rotated -90 (6)",
                                                       "Mirrored and Rotated -90 (7)",
                                                       "Rotated 90 (8)"};
constexpr std::array<std::string_view, 2> kRendered{"Normal process", "Custom process"};
constexpr std::array<std::string_view, 3> kExposureMode{"Auto", "Manual", "Auto bracket"};
constexpr std::array<std::string_view, 2> kBalance{"Auto", "Manual"};
constexpr std::array<std::string_view, 4> kCapture{"Standard", "Landscape", "Portrait",
                                                   "Night scene"};
constexpr std::array<std::string_view, 5> kGain{"None", "Low gain up", "High gain up",
                                                "Low gain down", "High gain down"};
constexpr std::array<std::string_view, 3> kContrast{"Normal", "Soft", "Hard"};
constexpr std::array<std::string_view, 3> kSaturation{"Normal", "Low", "High"};
constexpr std::array<std::string_view, 4> kDistance{"Unknown", "Macro", "Close", "Distant"};
constexpr std::array<std::string_view, 2> kAltitude{"Sea level", "Sea level reference"};
constexpr std::array<std::string_view, 2> kDimensions{"2 dimensional", "3 dimensional"};
constexpr std::array<std::string_view, 2> kDifferential{"Without differential correction",
                                                        "With differential correction"};

struct CLightSource {
    uint16_t value;
    std::string_view name;
};
constexpr auto kLightSources = std::to_array<CLightSource>({
    {1, "Daylight"},
    {2, "Fluorescent"},
    {3, "Tungsten"},
    {9, "Fine weather"},
    {10, "Cloudy weather"},
    {11, "Shade"},
    {12, "Daylight fluorescent (D 5700 - 7100K)"},
    {13, "Day white fluorescent (N 4600 - 5400K)"},
    {14, "Cool white fluorescent (W 3900 - 4500K)"},
    {15, "White fluorescent (WW 3200 - 3700K)"},
    {17, "Standard Illuminant A"},
    {18, "Standard Illuminant B"},
    {19, "Standard Illuminant C"},
    {20, "D55 Illuminant"},
    {21, "D65 Illuminant"},
    {22, "D75 Illuminant"},
    {23, "D50 Illuminant"},
    {24, "ISO studio tungsten"},
});
constexpr uint16_t kColorTemperature = 0x8000;  // marks the rest as one, in kelvin

/// "%.2f" into characters: room for any double.
class CFixed {
public:
    explicit CFixed(double value) {
        if (std::isfinite(value)) {
            const auto end =
                std::to_chars(m_characters.data(), m_characters.data() + m_characters.size(), value,
                              std::chars_format::fixed, 2);
            m_length = static_cast<size_t>(end.ptr - m_characters.data());
        } else {
            // Only a double in the file can be one of these; written as printf does.
            m_length = static_cast<size_t>(
                std::snprintf(m_characters.data(), m_characters.size(), "%.2f", value));
        }
    }
    [[nodiscard]] std::string_view View() const { return {m_characters.data(), m_length}; }

private:
    std::array<char, 336> m_characters;
    size_t m_length = 0;
};

class CExifText {
public:
    CExifText(const M& record, WideView separator, WideView lineEnd)
        : m_record(record), m_separator(separator), m_lineEnd(lineEnd) {
        m_text.reserve(4096);
    }

    WideString Run() {
        Camera();
        Colour();
        Picture();
        Dates();
        Exposure();
        Light();
        Sensor();
        File();
        Rendering();
        Interoperability();
        Place();
        return std::move(m_text);
    }

private:
    void Camera();
    void Colour();
    void Picture();
    void Dates();
    void Exposure();
    void Light();
    void Sensor();
    void File();
    void Rendering();
    void Interoperability();
    void Place();
    void Copyright();
    void SubjectArea();

    // Starts a line and ends it: label, then `values` one behind the other.
    template <typename... Values>
    void Line(std::string_view label, const Values&... values) {
        Append(label);
        m_text.append(m_separator);
        (Append(values), ...);
        m_text.append(m_lineEnd);
    }
    void Append(std::string_view ascii) { m_text.append(ascii.begin(), ascii.end()); }
    void Append(WideView text) { m_text.append(text); }
    void Append(const CFixed& number) { Append(number.View()); }
    void Append(uint32_t number) {
        std::array<char, 10> digits;
        const auto end = std::to_chars(digits.data(), digits.data() + digits.size(), number);
        Append(std::string_view(digits.data(), static_cast<size_t>(end.ptr - digits.data())));
    }
    void Append(double number) { Append(CFixed(number)); }

    void Text(std::string_view label, const M::Text& text) {
        const WideView characters = ExifCharacters(text);
        if (!characters.empty()) Line(label, characters);
    }
    template <typename T>
    void Number(std::string_view label, const std::optional<T>& number) {
        if (number) Line(label, uint32_t{*number});
    }
    void Ratio(std::string_view label, const M::Rational& value) {
        if (value) Line(label, value->value);
    }
    void Size(std::string_view label, const M::Bytes& bytes) {
        if (!bytes.empty()) Line(label, static_cast<uint32_t>(bytes.size()));
    }
    template <typename T>
    void Name(std::string_view label, const std::optional<T>& value, Names names) {
        if (!value) return;
        if (*value < names.size()) {
            Line(label, names[*value]);
        } else {
            Line(label, uint32_t{*value});
        }
    }
    void List(std::string_view label, const M::Rationals& values) {
        if (values.empty()) return;
        Append(label);
        m_text.append(m_separator);
        for (size_t i = 0; i < values.size(); ++i) {
            if (i != 0) Append(", ");
            Append(values[i].value);
        }
        m_text.append(m_lineEnd);
    }
    // A line for each value, when there are as many as labels.
    void Each(const M::Rationals& values, std::initializer_list<std::string_view> labels) {
        if (values.size() != labels.size()) return;
        for (size_t i = 0; i < values.size(); ++i) Line(labels.begin()[i], values[i].value);
    }

    const M& m_record;
    WideView m_separator;
    WideView m_lineEnd;
    WideString m_text;
};

void CExifText::Camera() {
    Text("EXIF Version", m_record.ExifVersion);
    Text("Make", m_record.Make);
    Text("Model", m_record.Model);
    Text("Description", m_record.ImageDescription);
    Size("MakerNote Size", m_record.MakerNote);
    if (!m_record.MakerNote.empty()) Line("MakerNote Offset", m_record.makerNoteOffset);
}

void CExifText::Colour() {
    if (m_record.ColorSpace) {
        Line("Color Space", std::string_view(*m_record.ColorSpace == 1 ? "sRGB" : "Uncalibrated"));
    }
    Each(m_record.WhitePoint, {"WhitePoint X", "WhitePoint Y"});
    Each(m_record.PrimaryChromaticities,
         {"Chromaticity Red(X)", "Chromaticity Red(Y)", "Chromaticity Green(X)",
          "Chromaticity Green(Y)", "Chromaticity Blue(X)", "Chromaticity Blue(Y)"});
    Each(m_record.YCbCrCoefficients,
         {"YCbCrCoefficient 1", "YCbCrCoefficient 2", "YCbCrCoefficient 3"});
    Ratio("Gamma", m_record.Gamma);
}

void CExifText::Picture() {
    Number("Pixel Columns", m_record.PixelXDimension);
    Number("Pixel Rows", m_record.PixelYDimension);
    Text("Component Configuration", m_record.ComponentsConfiguration);
    Ratio("Compressed Bits Per Pixel", m_record.CompressedBitsPerPixel);
    Name("YCbCr Positioning", m_record.YCbCrPositioning, kPositioning);
    constexpr std::string_view kAscii("ASCII\0\0\0", 8);
    const std::string_view comment(reinterpret_cast<const char*>(m_record.UserComment.data()),
                                   m_record.UserComment.size());
    if (comment.size() > kAscii.size() && comment.starts_with(kAscii)) {
        const std::string_view words = comment.substr(kAscii.size());
        Line("User Comment", WideView(TextToWide(words.substr(0, words.find('\0')))));
    }
    Size("User Comment Size", m_record.UserComment);
    Text("Related Sound File", m_record.RelatedSoundFile);
}

void CExifText::Dates() {
    Text("Date Time", m_record.DateTime);
    Text("Subsec Time", m_record.SubSecTime);
    Text("Date Time Original", m_record.DateTimeOriginal);
    Text("Subsec Time Original", m_record.SubSecTimeOriginal);
    Text("Date Time Digitized", m_record.DateTimeDigitized);
    Text("Subsec Time Digitized", m_record.SubSecTimeDigitized);
}

void CExifText::Exposure() {
    if (m_record.ExposureTime) {
        const double seconds = m_record.ExposureTime->value;
        if (seconds > 0 && seconds < 1) {
            Line("Exposure Time", std::string_view("1/"), 1 / seconds);
        } else {
            Line("Exposure Time", seconds);
        }
    }
    if (m_record.ShutterSpeedValue) {
        const double apex = m_record.ShutterSpeedValue->value;
        const double power = std::exp2(std::clamp(apex, -100.0, 100.0));
        if (apex > 0) {
            Line("Shutter Speed", std::string_view("1/"), power);
        } else {
            Line("Shutter Speed", 1 / power);
        }
    }
    const auto aperture = [this](std::string_view label, const M::Rational& apex) {
        if (!apex) return;
        Line(label, std::string_view("f/"), std::exp2(std::clamp(apex->value, 0.0, 20.0) * 0.5));
    };
    aperture("Aperture", m_record.ApertureValue);
    Ratio("Brightness Value", m_record.BrightnessValue);
    Ratio("Exposure Bias", m_record.ExposureBiasValue);
    aperture("Max Aperture", m_record.MaxApertureValue);
    if (m_record.SubjectDistanceMax) {
        Ratio("Subject Distance Min (M)", m_record.SubjectDistance);
        Ratio("Subject Distance Max (M)", m_record.SubjectDistanceMax);
    } else {
        Ratio("Subject Distance (M)", m_record.SubjectDistance);
    }
    Name("Metering Mode", m_record.MeteringMode, kMetering);
}

void CExifText::Light() {
    if (m_record.LightSource) {
        const uint16_t light = *m_record.LightSource;
        const auto* named = std::ranges::find(kLightSources, light, &CLightSource::value);
        if (light >= kColorTemperature) {
            Line("Light Source Temp", uint32_t(light & ~kColorTemperature));
        } else if (named != kLightSources.end()) {
            Line("Light Source", named->name);
        } else {
            Line("Light Source", std::string_view("Unidentified ("), uint32_t{light},
                 std::string_view(")"));
        }
    }
    if (!m_record.Flash) return;
    const uint32_t flash = *m_record.Flash;
    Line("Flash Fired", kNoYes[flash & 1]);
    Line("Flash Mode", kFlashMode[flash >> 3 & 3]);
    Line("Flash Return", kFlashReturn[flash >> 1 & 3]);
    Line("Flash Function", kFlashFunction[flash >> 5 & 1]);
    Line("Flash Red-eye", kFlashRedEye[flash >> 6 & 1]);
}

void CExifText::Sensor() {
    Ratio("Focal Length (mm)", m_record.FocalLength);
    Ratio("F Number", m_record.FNumber);
    Name("Exposure Program", m_record.ExposureProgram, kProgram);
    Text("Spectral Sensitivity", m_record.SpectralSensitivity);
    Number("ISO Speed", m_record.ISOSpeedRatings);
    Size("OECF Size", m_record.OECF);
    Ratio("Flash Energy", m_record.FlashEnergy);
    Size("Spatial Frequency Response Size", m_record.SpatialFrequencyResponse);
    Ratio("Focal Plane X Resolution", m_record.FocalPlaneXResolution);
    Ratio("Focal Plane Y Resolution", m_record.FocalPlaneYResolution);
    Name("Focal Plane Units", m_record.FocalPlaneResolutionUnit, kUnits);
    SubjectArea();
    Number("Subject X Location", m_record.SubjectLocationX);
    Number("Subject Y Location", m_record.SubjectLocationY);
    Ratio("Exposure Index", m_record.ExposureIndex);
    Name("Sensing Method", m_record.SensingMethod, kSensing);
    if (m_record.FileSource) {
        const size_t source = *m_record.FileSource;
        Line("File Source",
             source < kFileSource.size() ? kFileSource[source] : std::string_view("Invalid value"));
    }
    Number("Scene Type", m_record.SceneType);
    Size("CFA Pattern Size", m_record.CFAPattern);
}

void CExifText::SubjectArea() {
    constexpr std::array<std::string_view, 2> kPoint{"Subject Area X", "Subject Area Y"};
    constexpr std::array<std::string_view, 3> kCircle{
        "Subject Area X Center", "Subject Area Y Center", "Subject Area Diameter"};
    constexpr std::array<std::string_view, 4> kRectangle{
        "Subject Area X Center", "Subject Area Y Center", "Subject Area Width",
        "Subject Area Height"};
    const M::Shorts& area = m_record.SubjectArea;
    Names labels;
    if (area.size() == 2) labels = kPoint;
    if (area.size() == 3) labels = kCircle;
    if (area.size() == 4) labels = kRectangle;
    for (size_t i = 0; i < labels.size(); ++i) Line(labels[i], uint32_t{area[i]});
}

void CExifText::Copyright() {
    const WideView both = m_record.Copyright;
    const size_t end = both.find(KESTR_CHAR{0});
    const WideView photographer = both.substr(0, end);
    if (!photographer.empty()) Line("Photographer Copyright", photographer);
    if (end == both.npos) return;
    const WideView rest = both.substr(end + 1);
    const WideView editor = rest.substr(0, rest.find(KESTR_CHAR{0}));
    if (!editor.empty()) Line("Editor Copyright", editor);
}

void CExifText::File() {
    Copyright();
    Text("Artist", m_record.Artist);
    Name("Orientation", m_record.Orientation, kOrientation);
    Ratio("X Resolution", m_record.XResolution);
    Ratio("Y Resolution", m_record.YResolution);
    Name("Resolution Units", m_record.ResolutionUnit, kUnits);
    Text("Software", m_record.Software);
}

void CExifText::Rendering() {
    Name("Custom Rendered", m_record.CustomRendered, kRendered);
    Name("Exposure Mode", m_record.ExposureMode, kExposureMode);
    Name("White Balance", m_record.WhiteBalance, kBalance);
    if (m_record.DigitalZoomRatio && m_record.DigitalZoomRatio->numerator == 0) {
        Line("Digital Zoom Ratio", std::string_view("Off"));
    } else {
        Ratio("Digital Zoom Ratio", m_record.DigitalZoomRatio);
    }
    Number("Focal Length 35mm", m_record.FocalLengthIn35mmFilm);
    Name("Scene Capture Type", m_record.SceneCaptureType, kCapture);
    Name("Gain Control", m_record.GainControl, kGain);
    Name("Contrast", m_record.Contrast, kContrast);
    Name("Saturation", m_record.Saturation, kSaturation);
    Name("Sharpness", m_record.Sharpness, kContrast);
    Size("Device Settings Size", m_record.DeviceSettingDescription);
    Name("Subject Distance Range", m_record.SubjectDistanceRange, kDistance);
}

void CExifText::Interoperability() {
    Text("Image Unique ID", m_record.ImageUniqueID);
    Text("InteropIndex", m_record.InteroperabilityIndex);
    Text("InteropVersion", m_record.InteroperabilityVersion);
    Number("InteropWidth", m_record.RelatedImageWidth);
    Number("InteropHeight", m_record.RelatedImageLength);
}

void CExifText::Place() {
    Text("GPS Version", m_record.GPSVersionID);
    Text("GPS Latitude Ref", m_record.GPSLatitudeRef);
    List("GPS Latitude", m_record.GPSLatitude);
    Text("GPS Longitude Ref", m_record.GPSLongitudeRef);
    List("GPS Longitude", m_record.GPSLongitude);
    Name("Altitude Ref", m_record.GPSAltitudeRef, kAltitude);
    Ratio("GPS Altitude", m_record.GPSAltitude);
    List("GPS Timestamp", m_record.GPSTimeStamp);
    Text("GPS Satellites", m_record.GPSSatellites);
    Text("GPS Status", m_record.GPSStatus);
    // The file has a digit, "2" or "3".
    const WideView mode = ExifCharacters(m_record.GPSMeasureMode);
    if (mode.size() == 1 && mode[0] >= '0' && mode[0] <= '9') {
        const auto digit = static_cast<uint8_t>(mode[0] - '0');
        if (digit >= 2 && digit <= 3) {
            Line("GPS Measurement Mode", kDimensions[digit - 2]);
        } else {
            Name("GPS Measurement Mode", std::optional<uint8_t>(digit), kDimensions);
        }
    } else {
        Text("GPS Measurement Mode", m_record.GPSMeasureMode);
    }
    Ratio("GPS Degree of Precision", m_record.GPSDOP);
    Text("GPS Speed Ref", m_record.GPSSpeedRef);
    Ratio("GPS Speed", m_record.GPSSpeed);
    Text("GPS Track Ref", m_record.GPSTrackRef);
    Ratio("GPS Track", m_record.GPSTrack);
    Text("GPS Image Direction Ref", m_record.GPSImgDirectionRef);
    Ratio("GPS Image Direction", m_record.GPSImgDirection);
    Text("GPS Map Datum", m_record.GPSMapDatum);
    Text("GPS Destination Latitude Ref", m_record.GPSDestLatitudeRef);
    List("GPS Destination Latitude", m_record.GPSDestLatitude);
    Text("GPS Destination Longitude Ref", m_record.GPSDestLongitudeRef);
    List("GPS Destination Longitude", m_record.GPSDestLongitude);
    Text("GPS Destination Bearing Ref", m_record.GPSDestBearingRef);
    Ratio("GPS Destination Bearing", m_record.GPSDestBearing);
    Text("GPS Destination Distance Ref", m_record.GPSDestDistanceRef);
    Ratio("GPS Destination Distance", m_record.GPSDestDistance);
    Size("GPS Processing Method Size", m_record.GPSProcessingMethod);
    Size("GPS Area Information Size", m_record.GPSAreaInformation);
    Text("GPS Date Stamp", m_record.GPSDateStamp);
    Name("GPS Differential", m_record.GPSDifferential, kDifferential);
}

}  // namespace

WideView ExifCharacters(const CEXIF_Members::Text& text) {
    return WideView(text).substr(0, text.find(KESTR_CHAR{0}));
}

WideString ExifAsText(const CEXIF_Members& record, WideView separator, WideView lineEnd) {
    return CExifText(record, separator, lineEnd).Run();
}

WideString ExifDate(const CEXIF_Members& record) {
    for (const auto* text :
         {&record.DateTime, &record.DateTimeOriginal, &record.DateTimeDigitized}) {
        const WideView date = ExifCharacters(*text);
        if (!date.empty()) return WideString(date);
    }
    return {};
}

}  // namespace kestr
