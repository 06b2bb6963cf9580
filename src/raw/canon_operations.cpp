#include "raw/canon_operations.h"

#include <array>

#include "base/callback.h"
#include "base/format_text.h"
#include "metadata/camera_text.h"

namespace kestr {
namespace {

constexpr uint32_t kSettable = 0x1001;  // kind of a property
constexpr int16_t kLeaveAsShot = -10;
constexpr uint32_t kAsShot = 0xFF;
constexpr uint32_t kWhiteBalance = 0x7002;
constexpr uint32_t kPlain = 0x400D;  // develops without any of the camera's settings
constexpr uint32_t kCurves[] = {0x400B, 0x200E};
constexpr uint32_t kBrightness = 0x2008;
constexpr uint32_t kResolutionX = 4;
constexpr uint32_t kResolutionY = 5;
constexpr uint16_t kCentimeters = 3;
constexpr uint16_t kInches = 2;

using CNames = std::span<const char* const>;

constexpr const char* kPrograms[] = {
    "Auto",        "Program",    "TV",       "AV",        "Manual",       "A Dependent",
    "M Dependent", "Bulb",       "Manual 2", "Far Scene", "Fast Shutter", "Slow Shutter",
    "Night Scene", "Gray Scale", "Sepia",    "Portrait",  "Spot",         "Macro",
    "BW",          "Pan Focus",  "Vivid",    "Neutral"};
constexpr const char* kFocusModes[] = {"Single AF",   "Continuous AF", "Pan",    "One-shot AF",
                                       "AI Servo AF", "AI Focus AF",   "Manual", "Unknown"};
constexpr const char* kSharpnesses[] = {"Default", "Up 1", "Up 2"};
constexpr const char* kSensitivities[] = {"Auto",    "ISO 50",  "ISO 100", "ISO 200",
                                          "ISO 400", "ISO 800", "Unknown"};

struct CLabel {
    const char* text;
    CNames values;  // by number, if any
};
// In the order of ECanonProperty.
constexpr auto kLabels = std::to_array<CLabel>({
    {"Owner", {}},
    {"Image Time", {}},
    {"Config", {}},
    {"Exposure Compensation", {}},
    {"Macro", {}},
    {"Focus", {}},
    {"Drive Mode", {}},
    {"Frame Number", {}},
    {"Lens Type", {}},
    {"Focal Length (mm)", {}},
    {"Sensor Size X (inches)", {}},
    {"Sensor Size Y (inches)", {}},
    {"White Balance", {}},
    {"Slow Shutter", {}},
    {"Actual Focal Length (mm)", {}},
    {"Quality", {}},
    {"Shooting Mode", kPrograms},
    {"Digital Zoom", {}},
    {"Contrast", {}},
    {"Color Gain", {}},
    {"Sharpness", kSharpnesses},
    {"Sensitivity", kSensitivities},
    {"Light Weight Mode", {}},
    {"ISO", {}},
    {"Body ID", {}},
    {"External Strobe", {}},
    {"Focus Mode", kFocusModes},
    {"Max Focal Length (mm)", {}},
    {"Min Focal Length (mm)", {}},
    {"Serial #", {}},
});
static_assert(kLabels.size() == static_cast<size_t>(ECanonProperty::kSerialNumber) + 1);

struct CValueText {
    const CCanonProperty& property;
    const CNames names;

    std::string operator()(const std::string& text) const { return text; }
    std::string operator()(uint32_t number) const {
        if (property.what == ECanonProperty::kImageTime) return ClockText(number);
        return number < names.size() ? names[number] : FormatText("%u", unsigned{number});
    }
    std::string operator()(double number) const { return FormatText("%.2f", number); }
    std::string operator()(CAperture aperture) const {
        return FormatText("f/%.2f", aperture.number);
    }
    std::string operator()(CExposureTime time) const {
        const bool isFraction = time.seconds > 0 && time.seconds < 1;
        return isFraction ? FormatText("1/%.2f", 1 / time.seconds)
                          : FormatText("%.2f", time.seconds);
    }
};

uint16_t PixelsPerInch(const std::optional<CCanonResolution>& resolution) {
    if (!resolution || (resolution->unit != kInches && resolution->unit != kCentimeters)) return 0;
    // Divided where it ought to be multiplied, as with EXIF: callers rely on it.
    const double inches =
        resolution->unit == kCentimeters ? resolution->value / 2.54 : resolution->value;
    return inches >= 0 && inches < 65535.5 ? static_cast<uint16_t>(inches + 0.5) : uint16_t{0};
}

}  // namespace

CPathParts SplitPath(const std::string& path) {
    CPathParts parts;
    size_t at = 0;
    if (path.size() > 1 && path[1] == ':') {
        parts.drive = path.substr(0, 2);
        at = 2;
    }
    const size_t slash = path.find_last_of("\\/");
    const size_t name = slash == path.npos || slash < at ? at : slash + 1;
    const size_t dot = path.find_last_of('.');
    const size_t extension = dot == path.npos || dot < name ? path.size() : dot;
    parts.directory = path.substr(at, name - at);
    parts.name = path.substr(name, extension - name);
    parts.extension = path.substr(extension);
    return parts;
}

bool ApplyCanonParams(CCanonOperations& operations, CCanonOperations::Handle picture,
                      CCallbackCls* session) {
    const auto setIfSettable = [&](uint32_t property, uint32_t value) {
        return operations.PropertyKind(picture, property) != kSettable ||
               operations.SetProperty(picture, property, value);
    };
    if (callback::CanonCameraDefaults(session)) return setIfSettable(kPlain, 1);

    // What cannot be set stays as the camera had it.
    (void)operations.ResetToShotSettings(picture);
    const bool adjust = callback::CanonApplyAdjust(session);
    if (adjust) {
        const int16_t balance = callback::CanonAdjust4(session);
        const auto value = static_cast<uint32_t>(int32_t{balance});
        (void)setIfSettable(kWhiteBalance, balance == kLeaveAsShot ? kAsShot : value);
    }
    for (const uint32_t curve : kCurves) {
        (void)setIfSettable(curve, callback::CanonLinearFlag(session) ? 0 : 1);
    }
    const int16_t brightness = callback::CanonAdjust1(session);
    if (adjust && brightness != kLeaveAsShot) {
        (void)setIfSettable(kBrightness, static_cast<uint32_t>(int32_t{brightness}));
    }
    return true;
}

std::string CanonPropertyLine(const CCanonProperty& property) {
    const CLabel& label = kLabels[static_cast<size_t>(property.what)];
    return label.text + std::string(":\t") +
           std::visit(CValueText{property, label.values}, property.value) + "\r\n";
}

void CollectCanonProperties(CCanonOperations& operations, CCanonOperations::Handle picture,
                            CCanonPicture& into) {
    operations.EnumerateProperties(picture, [&](const CCanonProperty& property) {
        into.properties += CanonPropertyLine(property);
    });
    into.physicalX = PixelsPerInch(operations.ReadResolution(picture, kResolutionX));
    into.physicalY = PixelsPerInch(operations.ReadResolution(picture, kResolutionY));
}

}  // namespace kestr
