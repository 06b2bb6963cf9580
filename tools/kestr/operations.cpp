#include "operations.h"

#include <algorithm>
#include <charconv>
#include <optional>
#include <vector>

#include <kestr/kestr.h>

#include "filter_operations.h"
#include "geometry_operations.h"
#include "profile_operations.h"

namespace tool {
namespace {

constexpr int kPercentMost = 32767;

/// Whole numbers between commas, from `fewest` to `most` of them, each within the range.
std::optional<std::vector<int>> ParseNumbers(std::string_view text, size_t fewest, size_t most,
                                             int smallest, int largest) {
    std::vector<int> numbers;
    for (size_t start = 0; start <= text.size();) {
        const size_t end = std::min(text.find(',', start), text.size());
        const auto number = ParseNumber(text.substr(start, end - start), smallest, largest);
        if (!number) return std::nullopt;
        numbers.push_back(*number);
        start = end + 1;
    }
    if (numbers.size() < fewest || numbers.size() > most) return std::nullopt;
    return numbers;
}

std::optional<double> ParseReal(std::string_view text) {
    double number = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    if (error != std::errc() || end != text.data() + text.size()) return std::nullopt;
    return number;
}

bool Takes(std::string& error, const char* what) {
    error = std::string("takes ") + what;
    return false;
}

bool Strip(HKESTRSESSION session, const std::string&, std::string&) {
    return cLoadXmp(session, nullptr, 0) != 0 && cRemoveMetadata(session) != 0;
}

bool Select(HKESTRSESSION session, const std::string& value, std::string& error) {
    const auto sides = ParseNumbers(value, 4, 5, 0, 0x7FFFFFFE);
    const bool feathered = sides && sides->size() == 5;
    if (!sides || (feathered && (*sides)[4] > 32767)) {
        return Takes(error, "four sides in pixels, LEFT,TOP,RIGHT,BOTTOM, and a feather if wanted");
    }
    const auto feather = static_cast<uint16_t>(feathered ? (*sides)[4] : 0);
    return cSetOpRectangle(session, (*sides)[0], (*sides)[1], (*sides)[2], (*sides)[3], feather) !=
           0;
}

bool InvertSelection(HKESTRSESSION session, const std::string&, std::string&) {
    cSetInverseSelect(session, 1);
    return true;
}

template <int32_t(KESTR_CALL* kCall)(HKESTRSESSION, int16_t)>
bool OnePercentage(HKESTRSESSION session, const std::string& value, std::string& error) {
    const auto percent = ParseNumber(value, -kPercentMost, kPercentMost);
    if (!percent) return Takes(error, "a percentage");
    return kCall(session, static_cast<int16_t>(*percent)) != 0;
}

template <int32_t(KESTR_CALL* kCall)(HKESTRSESSION, int16_t, int16_t, int16_t)>
bool ThreePercentages(HKESTRSESSION session, const std::string& value, std::string& error) {
    const auto percents = ParseNumbers(value, 3, 3, -kPercentMost, kPercentMost);
    if (!percents) return Takes(error, "three percentages between commas");
    return kCall(session, static_cast<int16_t>((*percents)[0]),
                 static_cast<int16_t>((*percents)[1]), static_cast<int16_t>((*percents)[2])) != 0;
}

template <int32_t(KESTR_CALL* kCall)(HKESTRSESSION)>
bool Plain(HKESTRSESSION session, const std::string&, std::string&) {
    return kCall(session) != 0;
}

bool Gamma(HKESTRSESSION session, const std::string& value, std::string& error) {
    const auto gamma = ParseReal(value);
    if (!gamma || !(*gamma > 0)) return Takes(error, "a number above 0");
    return cOpGammaAdjust(session, *gamma) != 0;
}

bool Levels(HKESTRSESSION session, const std::string& value, std::string& error) {
    auto levels = ParseNumbers(value, 3, 9, 0, 65535);
    if (!levels || (levels->size() != 3 && levels->size() != 9)) {
        return Takes(error, "LOW,MID,HIGH for all channels, or nine for red, green and blue");
    }
    if (levels->size() == 3) {
        const std::vector<int> one = *levels;
        for (int i = 0; i < 2; ++i) levels->insert(levels->end(), one.begin(), one.end());
    }
    const auto at = [&](size_t i) { return static_cast<uint32_t>((*levels)[i]); };
    return cOpAdjustLevels(session, at(0), at(1), at(2), at(3), at(4), at(5), at(6), at(7),
                           at(8)) != 0;
}

template <int32_t(KESTR_CALL* kCall)(HKESTRSESSION, double)>
bool ClippedShare(HKESTRSESSION session, const std::string& value, std::string& error) {
    const auto share = ParseReal(value);
    if (!share || !(*share >= 0 && *share <= 1)) return Takes(error, "a share from 0 to 1");
    return kCall(session, *share) != 0;
}

bool RedEye(HKESTRSESSION session, const std::string& value, std::string& error) {
    const auto numbers = ParseNumbers(value, 3, 3, -359, 359);
    if (!numbers || (*numbers)[0] < 0 || (*numbers)[0] > 100 || (*numbers)[2] < 0 ||
        (*numbers)[2] > 255) {
        return Takes(error, "SATURATION,HUE,VALUE: least percent, degrees, percent that remains");
    }
    return cOpRemoveRedEye(session, static_cast<uint8_t>((*numbers)[0]),
                           static_cast<int16_t>((*numbers)[1]),
                           static_cast<uint8_t>((*numbers)[2])) != 0;
}

constexpr COperation kOwnOperations[] = {
    {{"--strip", "", "drop EXIF, IPTC, XMP, comment and sound"}, &Strip},
    {{"--icc", "FILE", "convert to the colour profile in FILE (without one of its own: from sRGB)"},
     &ConvertToProfile},
    {{"--srgb", "", "convert to sRGB"}, &ConvertToSRGB},
    {{"--select", "L,T,R,B[,F]", "what follows acts in this rectangle, feathered by F pixels"},
     &Select},
    {{"--invert-selection", "", "what follows acts outside of the rectangle"}, &InvertSelection},
    {{"--brightness", "PERCENT", "add a percentage to every channel"},
     &OnePercentage<&cOpBrightness>},
    {{"--contrast", "PERCENT", "spread the levels around their mean"},
     &OnePercentage<&cOpContrast>},
    {{"--levels", "L,M,H", "stretch from L to H, M becoming the middle; nine for three channels"},
     &Levels},
    {{"--gamma", "G", "raise the levels to the power of 1 / G"}, &Gamma},
    {{"--hsv", "H,S,V", "add percentages to hue, saturation and value"},
     &ThreePercentages<&cOpHSVAdjust>},
    {{"--rgb", "R,G,B", "add percentages to red, green and blue"},
     &ThreePercentages<&cOpRGBAdjust>},
    {{"--gray", "", "make it gray"}, &Plain<&cOpGrayScale>},
    {{"--negative", "", "complement every channel"}, &Plain<&cOpNegative>},
    {{"--auto-level", "SHARE", "stretch each channel, clipping this share at both ends"},
     &ClippedShare<&cOpAutoLevelEx>},
    {{"--auto-contrast", "SHARE", "stretch all channels alike, clipping this share in all"},
     &ClippedShare<&cOpAutoContrastEx>},
    {{"--red-eye", "S,H,V", "in the selection, leave V percent of the value of hue H"}, &RedEye},
};

}  // namespace

std::span<const COperation> Operations() {
    static const std::vector<COperation> operations = [] {
        std::vector<COperation> all(std::begin(kOwnOperations), std::end(kOwnOperations));
        for (const auto& more : {GeometryOperations(), FilterOperations()}) {
            all.insert(all.end(), more.begin(), more.end());
        }
        return all;
    }();
    return operations;
}

const COperation* FindOperation(const COption& option) {
    const std::span<const COperation> all = Operations();
    const auto found = std::ranges::find(
        all, option.name, [](const COperation& operation) { return operation.option.name; });
    return found != all.end() ? &*found : nullptr;
}

}  // namespace tool
