// Operations that change the size of a picture or move its pixels.
#include "geometry_operations.h"

#include <array>
#include <charconv>
#include <cstdint>
#include <optional>
#include <string_view>
#include <utility>

#include <kestr/kestr.h>

namespace tool {
namespace {

int g_method = 6;  // Lanczos

/// Numbers with single characters between them: "800x600" by the pattern "x", "8x6+1+2" by "x++".
template <size_t kCount>
std::optional<std::array<int, kCount>> ParseNumbers(std::string_view text,
                                                    const char (&separators)[kCount]) {
    std::array<int, kCount> numbers{};
    const char* at = text.data();
    const char* const end = at + text.size();
    for (size_t i = 0; i < kCount; ++i) {
        if (i > 0) {
            if (at == end || *at != separators[i - 1]) return std::nullopt;
            ++at;
        }
        const auto parsed = std::from_chars(at, end, numbers[i]);
        if (parsed.ec != std::errc() || numbers[i] < 0) return std::nullopt;
        at = parsed.ptr;
    }
    return at == end ? std::optional(numbers) : std::nullopt;
}

/// A value and the one behind its comma, which may be missing.
std::pair<std::string_view, std::string_view> SplitAtComma(std::string_view text) {
    const size_t comma = text.find(',');
    if (comma == std::string_view::npos) return {text, {}};
    return {text.substr(0, comma), text.substr(comma + 1)};
}

bool Refuse(std::string& error, const char* words) {
    error = words;
    return false;
}

bool Resize(HKESTRSESSION session, const std::string& value, std::string& error) {
    std::string_view text = value;
    const bool exact = text.ends_with('!');
    if (exact) text.remove_suffix(1);
    const auto size = ParseNumbers(text, "x");
    if (!size || (*size)[0] == 0 || (*size)[1] == 0) {
        return Refuse(error, "takes a size such as 800x600, or 800x600! to stretch");
    }
    uint32_t width = 0;
    uint32_t height = 0;
    cGetImageInfo(session, &width, &height, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr,
                  nullptr);
    const auto wantedWidth = static_cast<uint32_t>((*size)[0]);
    const auto wantedHeight = static_cast<uint32_t>((*size)[1]);
    if (width == wantedWidth && height == wantedHeight) return true;
    return cOpResizeExL(session, (*size)[0], wantedHeight, static_cast<uint8_t>(g_method),
                        !exact) != 0;
}

bool Canvas(HKESTRSESSION session, const std::string& value, std::string& error) {
    const auto [sizeText, colourText] = SplitAtComma(value);
    const auto size = ParseNumbers(sizeText, "x");
    const auto colour = ParseColour(colourText.empty() ? "FFFFFF" : colourText);
    if (!size || !colour) return Refuse(error, "takes a size such as 800x600, or 800x600,RRGGBB");
    if (cEnlargeImage(session, (*size)[0], (*size)[1], 1, *colour)) return true;
    return Refuse(error, "failed: the canvas must be at least as large as the picture");
}

bool Crop(HKESTRSESSION session, const std::string& value, std::string& error) {
    const auto rect = ParseNumbers(value, "x++");
    if (!rect || (*rect)[0] == 0 || (*rect)[1] == 0) {
        return Refuse(error, "takes WIDTHxHEIGHT+LEFT+TOP");
    }
    const auto [width, height, left, top] = *rect;
    // The sides of a rectangle are inclusive.
    const auto last = [](int first, int count) {
        return first > INT32_MAX - count ? INT32_MAX : first + count - 1;
    };
    cSetOpRectangle(session, left, top, last(left, width), last(top, height), 0);
    if (cOpCrop(session)) return true;
    return Refuse(error, "failed: the rectangle lies outside the picture");
}

bool CropBorder(HKESTRSESSION session, const std::string& value, std::string& error) {
    const auto [colourText, toleranceText] = SplitAtComma(value);
    const auto colour = ParseColour(colourText);
    const auto tolerance = ParseNumber(toleranceText.empty() ? "0" : toleranceText, 0, 1000);
    if (!colour || !tolerance) {
        return Refuse(error, "takes RRGGBB or RRGGBB,TOLERANCE from 0 to 1000");
    }
    // High and low byte alike serve both precisions.
    const auto doubled = [](uint32_t level) { return static_cast<uint16_t>((level & 0xFF) * 257); };
    cOpCropBorderEx(session, doubled(*colour), doubled(*colour >> 8), doubled(*colour >> 16),
                    static_cast<uint32_t>(*tolerance));
    return true;  // a picture without such a border stays as it is
}

bool Rotate(HKESTRSESSION session, const std::string& value, std::string& error) {
    const auto [angleText, colourText] = SplitAtComma(value);
    double degrees = 0;
    const std::string angle(angleText);
    const char* const end = angle.c_str() + angle.size();
    const auto parsed = std::from_chars(angle.c_str(), end, degrees);
    const auto colour = ParseColour(colourText.empty() ? "FFFFFF" : colourText);
    if (parsed.ec != std::errc() || parsed.ptr != end || !colour) {
        return Refuse(error, "takes degrees, clockwise, or DEGREES,RRGGBB");
    }
    cSetBackgroundColor(session, *colour);
    return cOpRotateFine(session, degrees) != 0;
}

bool Mirror(HKESTRSESSION session, const std::string&, std::string&) {
    return cOpMirror(session) != 0;
}

bool DeInterlace(HKESTRSESSION session, const std::string& value, std::string& error) {
    const auto field = ParseNumber(value, 0, 1);
    if (!field) return Refuse(error, "takes 0 to replace odd rows or 1 to replace even ones");
    return cOpDeInterlace(session, static_cast<uint32_t>(*field), 1) != 0;
}

constexpr COperation kOperations[] = {
    {{"--resize", "WxH[!]", "scale into a box, or with ! to exactly that size"}, &Resize},
    {{"--canvas", "WxH[,RGB]", "enlarge the canvas around the picture"}, &Canvas},
    {{"--crop", "WxH+X+Y", "cut a rectangle out"}, &Crop},
    {{"--crop-border", "RGB[,T]", "cut a border of a colour away, T thousandths of tolerance"},
     &CropBorder},
    {{"--rotate", "DEG[,RGB]", "turn clockwise by any angle"}, &Rotate},
    {{"--mirror", "", "mirror left to right"}, &Mirror},
    {{"--deinterlace", "FIELD", "replace odd (0) or even (1) rows by what lies around them"},
     &DeInterlace},
};

}  // namespace

bool SetResizeMethod(const std::string& value) {
    const auto method = ParseNumber(value, 0, 7);
    if (method) g_method = *method;
    return method.has_value();
}

std::span<const COperation> GeometryOperations() {
    return kOperations;
}

}  // namespace tool
