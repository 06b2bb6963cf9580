#include "metadata/camera_text.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <chrono>
#include <optional>
#include <string_view>

#include "base/byte_cursor.h"
#include "base/format_text.h"

namespace kestr {
namespace {

enum EKind : uint8_t { kLines = 1, kDC40 = 2, kDC50 = 3, kDC120 = 4, kHeap = 5, kPlain = 6 };

constexpr std::string_view kSpace = " \t\r\n\v\f";
constexpr uint32_t kMicroseconds = 1'000'000;

std::string_view AsText(std::span<const uint8_t> bytes) {
    return {reinterpret_cast<const char*>(bytes.data()), bytes.size()};
}

std::string_view CutAtNul(std::string_view text) {
    return text.substr(0, text.find('\0'));
}

// ---- kind 1: lines of key and value, from Olympus and its kin -----------------------------------

bool SameKey(std::string_view a, std::string_view b) {
    const auto lower = [](char c) { return c >= 'A' && c <= 'Z' ? char(c + ('a' - 'A')) : c; };
    return std::ranges::equal(a, b, {}, lower, lower);
}

// The number that a value begins with.
std::optional<int64_t> NumberIn(std::string_view value) {
    value.remove_prefix(std::min(value.find_first_not_of(kSpace), value.size()));
    int64_t number = 0;
    const auto end = std::from_chars(value.data(), value.data() + value.size(), number);
    if (end.ec != std::errc()) return {};
    return number;
}

struct CLine {
    std::string_view whole;
    std::string_view key;    // empty when it is no line of key and value
    std::string_view value;  // behind the "="
};

// Takes the next line off `rest`, without its end and the white space before it.
CLine NextLine(std::string_view& rest) {
    const size_t end = rest.find('\n');
    CLine line{rest.substr(0, end), {}, {}};
    rest = end == rest.npos ? std::string_view() : rest.substr(end + 1);
    line.whole = line.whole.substr(0, line.whole.find_last_not_of(kSpace) + 1);
    const size_t equals = line.whole.find('=');
    if (equals == line.whole.npos || equals == 0) return line;
    line.key = line.whole.substr(0, equals);
    line.value = line.whole.substr(equals + 1);
    return line;
}

std::string LongDate(int64_t seconds) {
    using namespace std::chrono;
    constexpr std::array<const char*, 12> kMonths{"January",   "February", "March",    "April",
                                                  "May",       "June",     "July",     "August",
                                                  "September", "October",  "November", "December"};
    const sys_seconds time{std::chrono::seconds(seconds)};
    const auto day = floor<days>(time);
    const year_month_day date(day);
    const hh_mm_ss clock(time - day);
    return FormatText("%s %02u, %d  %02d:%02d:%02d", kMonths[unsigned(date.month()) - 1],
                      unsigned(date.day()), int(date.year()), int(clock.hours().count()),
                      int(clock.minutes().count()), int(clock.seconds().count()));
}

// The focal length in millimetres that the position of the zoom motor stands for; 0 when the text
// does not tell it.
int FocalLength(std::string_view text) {
    int length = 0;
    while (!text.empty()) {
        const CLine line = NextLine(text);
        if (!SameKey(line.key, "mtr1")) continue;
        const auto steps = NumberIn(line.value);
        if (!steps || *steps <= 0 || *steps > INT32_MAX) continue;
        const double n = double(*steps);
        const double millimetres = 18.5848017 + n * (0.0681268935 + 3.64715963e-7 * n);
        if (millimetres < INT32_MAX) length = static_cast<int>(millimetres);
    }
    return length;
}

std::string ChangedLine(const CLine& line, int focalLength) {
    const std::string key(line.key);
    if (SameKey(line.key, "zoom") && focalLength != 0) {
        return FormatText("Zoom=%.1f:1 (%dmm)", focalLength / 36.0, focalLength);
    }
    const int64_t number = NumberIn(line.value).value_or(0);
    if (SameKey(line.key, "resolution") && number >= 1 && number <= 3) {
        constexpr std::array<const char*, 3> kQualities{"SQ", "HQ", "SHQ"};
        return key + "=" + kQualities[static_cast<size_t>(number - 1)];
    }
    if (SameKey(line.key, "shutter") && number > 0) {
        return FormatText("%s=1/%d", key.c_str(), static_cast<int>(kMicroseconds / number));
    }
    if (SameKey(line.key, "timedate") && number > 0 && number <= UINT32_MAX) {
        return key + "= " + LongDate(number);
    }
    return std::string(line.whole);
}

std::string LinesText(std::span<const uint8_t> block) {
    constexpr size_t kShortestName = 4;
    const std::string_view all = AsText(block);
    const size_t nameEnd = all.find('\0');
    if (nameEnd == all.npos || nameEnd < kShortestName) return {};
    const size_t start = all.find('[', nameEnd);
    if (start == all.npos) return {};
    std::string text(all.substr(start));
    std::erase_if(text, [](char c) { return c == 0 || uint8_t(c) >= 128; });
    text += '\n';

    const int focalLength = FocalLength(text);
    std::string out;
    for (std::string_view rest = text; !rest.empty();) {
        out += ChangedLine(NextLine(rest), focalLength);
        out += '\n';
    }
    return out;
}

// ---- kinds 2 to 4: headers of Kodak's cameras, little-endian ------------------------------------

using Names = std::span<const std::string_view>;

constexpr std::array<std::string_view, 2> kNoYes{"No", "Yes"};
constexpr std::array<std::string_view, 2> kTimer{"None", "10 second timer"};
constexpr std::array<std::string_view, 3> kFlashMode{"Off", "Fill", "Auto"};
constexpr std::array<std::string_view, 3> kQuality50{"Good", "Better", "Best"};
constexpr std::array<std::string_view, 4> kQuality120{"No Compression", "Best", "Better", "Good"};
constexpr std::array<std::string_view, 8> kZoom{"37mm", "46mm",  "61mm",  "77mm",
                                                "92mm", "100mm", "111mm", "Macro"};
constexpr std::array<std::string_view, 3> kFocus{"Close Up", "Single Zone", "Multiple Zones"};

// Builds the text field by field and stops for good where the block ends.
class CKodakText {
public:
    explicit CKodakText(std::span<const uint8_t> block) : m_block(block) {}

    void Words(std::string_view words) {
        if (!m_ended) m_text += words;
    }
    void Flag(size_t at, std::string_view label, Names names) {
        if (const auto value = Field(at, 4)) Words(label, names[*value != 0]);
    }
    void Name(size_t at, std::string_view label, Names names) {
        const auto value = Field(at, 4);
        if (value) Words(label, *value < names.size() ? names[*value] : std::string_view());
    }
    void Number(size_t at, std::string_view label) {
        const auto value = Field(at, 4);
        if (value) Words(label, FormatText("%d", static_cast<int32_t>(*value)));
    }
    void ExposureTime(size_t at) {
        const auto value = Field(at, 4);
        if (!value || *value == 0) return;
        Words("\r\nExposure Time:\t", FormatText("1/%u", kMicroseconds / *value));
    }
    void FNumber(size_t at) {
        if (const auto value = Field(at, 2)) {
            Words("\r\nF Number:\t", FormatText("%.2f", *value / 10.0));
        }
    }
    std::string Take() { return std::move(m_text); }

private:
    void Words(std::string_view label, std::string_view value) {
        m_text += label;
        m_text += value;
    }
    std::optional<uint32_t> Field(size_t at, size_t bytes) {
        CLittleEndianCursor in(m_block, at);
        const uint32_t value = bytes == 2 ? in.U16() : in.U32();
        m_ended = m_ended || !in.Ok();
        if (m_ended) return {};
        return value;
    }

    std::span<const uint8_t> m_block;
    std::string m_text;
    bool m_ended = false;
};

std::string DC40Text(std::span<const uint8_t> block) {
    CKodakText text(block);
    text.Words("Camera:\tKodak DC40\r\nTimer:\t");
    text.Flag(5, "\r\nFlash:\t", kNoYes);
    text.ExposureTime(1);
    text.FNumber(9);
    return text.Take();
}

std::string DC50Text(std::span<const uint8_t> block, bool isDC120) {
    CKodakText text(block);
    text.Words(isDC120 ? "Camera:\tKodak DC120r\r\nTimer:\t" : "Camera:\tKodak DC50r\r\nTimer:\t");
    text.Flag(1, "", kTimer);
    text.Flag(5, "\r\nFlash:\t", kNoYes);
    text.Name(9, "\r\nFlash Mode:\t", kFlashMode);
    text.Name(13, "\r\nQuality:\t", isDC120 ? Names(kQuality120) : Names(kQuality50));
    text.Name(17, "\r\nZoom:\t", Names(kZoom).first(isDC120 ? 8 : 7));
    text.Flag(21, "\r\nManual Exposure:\t", kNoYes);
    text.ExposureTime(25);
    text.FNumber(29);
    text.Name(isDC120 ? 41 : 45, "\r\nFocus Mode:\t", kFocus);
    text.Number(isDC120 ? 45 : 49, "\r\nFocus Position:\t");
    return text.Take();
}

std::string_view DateKey(uint8_t kind) {
    switch (kind) {
        case kLines:
            return "TimeDate";
        case kHeap:
            return "Capture";
        case kPlain:
            return "Image Time";
        default:
            return "Date";
    }
}

}  // namespace

std::string CameraBlockText(std::span<const uint8_t> block) {
    if (block.empty()) return {};
    switch (block[0]) {
        case kLines:
            return LinesText(block.subspan(1));
        case kDC40:
            return DC40Text(block);
        case kDC50:
            return DC50Text(block, false);
        case kDC120:
            return DC50Text(block, true);
        case kHeap:
            return CIFFText(block.subspan(1));
        case kPlain:
            return std::string(CutAtNul(AsText(block.subspan(1))));
        default:
            return "Unknown";
    }
}

std::string CameraBlockDate(std::span<const uint8_t> block) {
    if (block.empty()) return {};
    const std::string text = CameraBlockText(block);
    const size_t key = text.find(DateKey(block[0]));
    if (key == text.npos) return {};
    const size_t mark = text.find_first_of("=:", key);
    if (mark == text.npos) return {};
    const size_t start = text.find_first_not_of(" \t", mark + 1);
    if (start == text.npos) return {};
    std::string date = text.substr(start, text.find('\n', start) - start);
    std::erase(date, '\r');
    return date;
}

std::string ClockText(uint32_t seconds) {
    using namespace std::chrono;
    const sys_seconds time{std::chrono::seconds(seconds)};
    const auto day = floor<days>(time);
    const year_month_day date(day);
    const hh_mm_ss clock(time - day);
    return FormatText("%04d:%02u:%02u %02d:%02d:%02d", int(date.year()), unsigned(date.month()),
                      unsigned(date.day()), int(clock.hours().count()),
                      int(clock.minutes().count()), int(clock.seconds().count()));
}

}  // namespace kestr
