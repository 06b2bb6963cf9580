#include "metadata/exif_members.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <string_view>

#include "color/icc_profile.h"

namespace kestr {
namespace {

constexpr double kCentimetresPerInch = 2.54;

uint16_t RoundedResolution(double value) {
    return static_cast<uint16_t>(std::clamp(value + 0.5, 0.0, 65535.0));
}

// Whether the value, rounded to `precision` parts of 1, is the target.
bool Near(double value, double target, double precision) {
    const double rounded = std::trunc(value * precision + 0.5) / precision;
    return std::abs(rounded - target) < 0.001;
}

template <size_t Count>
bool Near(const CEXIF_Members::Rationals& values, const std::array<double, Count>& targets,
          double precision) {
    return std::ranges::equal(values, targets, [&](const CExifRational& value, double target) {
        return Near(value.value, target, precision);
    });
}

bool IsText(const WideString& text, std::string_view ascii) {
    return std::ranges::equal(text, ascii, {}, {}, [](char c) { return KESTR_CHAR(c); });
}

}  // namespace

CExifRational CExifRational::Unsigned(uint32_t numerator, uint32_t denominator) {
    const double value = denominator == 0 ? 1.0 : double(numerator) / double(denominator);
    return {numerator, denominator, value};
}

CExifRational CExifRational::Signed(uint32_t numerator, uint32_t denominator) {
    const double value =
        denominator == 0 ? 1.0 : double(int32_t(numerator)) / double(int32_t(denominator));
    return {numerator, denominator, value};
}

CEXIF_Members::CEXIF_Members() = default;
CEXIF_Members::CEXIF_Members(const CEXIF_Members&) = default;
CEXIF_Members& CEXIF_Members::operator=(const CEXIF_Members&) = default;
CEXIF_Members::~CEXIF_Members() = default;

bool CEXIF_Members::IsAdobeRGB() const {
    if (!IsText(InteroperabilityIndex, "R03") || !IsText(InteroperabilityVersion, "0100") ||
        !IsText(ExifVersion, "0221") || !ColorSpace || *ColorSpace == 1) {
        return false;
    }
    if (!YCbCrCoefficients.empty() && !Near<3>(YCbCrCoefficients, {0.299, 0.587, 0.114}, 1000)) {
        return false;
    }
    return Near<2>(WhitePoint, {0.313, 0.329}, 1000) &&
           Near<6>(PrimaryChromaticities, {0.64, 0.33, 0.21, 0.71, 0.15, 0.06}, 100) && Gamma &&
           Near(Gamma->value, 2.2, 10);
}

bool CEXIF_Members::DetectAdobeRGB(std::vector<uint8_t>& out) const {
    out.clear();
    if (!IsAdobeRGB()) return false;
    const auto profile = AdobeRGBProfile();
    out.assign(profile.begin(), profile.end());
    return true;
}

void CEXIF_Members::ResolutionAsDPI(uint16_t& x, uint16_t& y) const {
    if (!XResolution || !YResolution || !ResolutionUnit) return;
    if (*ResolutionUnit != 2 && *ResolutionUnit != 3) return;
    const double unit = *ResolutionUnit == 3 ? kCentimetresPerInch : 1.0;
    x = RoundedResolution(XResolution->value / unit);
    y = RoundedResolution(YResolution->value / unit);
}

void CEXIF_Members::SetResolutionDPI(uint16_t x, uint16_t y) {
    XResolution = CExifRational::Unsigned(x, 1);
    YResolution = CExifRational::Unsigned(y, 1);
    ResolutionUnit = 2;
}

uint32_t CEXIF_Members::GetMakerNoteOffset(uint32_t& offset) const {
    if (MakerNote.empty()) return kExifNoValue;
    offset = makerNoteOffset;
    return 0;
}

}  // namespace kestr
