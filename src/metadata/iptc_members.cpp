// Layout of a block: datasets one behind the other, each 0x1C, record, number, big-endian length,
// value. A length with bit 15 set tells how many bytes of the real length follow.
#include "metadata/iptc_members.h"

#include <algorithm>
#include <limits>
#include <unordered_set>
#include <variant>

#include "base/byte_cursor.h"
#include "base/format_text.h"

namespace kestr {
namespace {

using M = CIPTC_Members;

constexpr uint8_t kMarker = 0x1C;
constexpr uint8_t kRecord = 2;
constexpr uint8_t kFirstWritten = 3;
constexpr uint8_t kRasterizedCaption = 125;  // a picture of a text, not kept
constexpr uint16_t kLongLength = 0x8000;
constexpr uint16_t kMostLengthBytes = 4;

using Member = std::variant<std::monostate, M::Text M::*, M::List M::*>;

struct CDataset {
    uint8_t number;
    std::string_view name;
    Member member;
};

// Names as callers know them, slips of the pen included.
constexpr auto kDatasets = std::to_array<CDataset>({
    {3, "Object Type Reference", &M::ObjectType},
    {4, "Object Attribute Reference", &M::ObjectAttribute},
    {5, "Object Name", &M::ObjectName},
    {7, "Edit Status", &M::EditStatus},
    {8, "Editorial Update", &M::EditorialUpdate},
    {10, "Urgency", &M::Urgency},
    {12, "Subject Reference", &M::SubjectReference},
    {15, "Category", &M::Category},
    {20, "Supplemental Category", &M::SupplementalCategory},
    {22, "Fixture Identifier", &M::FixtureIdentifier},
    {25, "Keywords", &M::Keywords},
    {26, "Content Location Code", &M::LocationCode},
    {27, "Content Location Name", &M::LocationName},
    {30, "Release Date", &M::ReleaseDate},
    {35, "Release Time", &M::ReleaseTime},
    {37, "Expiration Date", &M::ExpirationDate},
    {38, "Expiration Time", &M::ExpirationTime},
    {40, "Special Instructions", &M::SpecialInstructions},
    {42, "Action Advised", &M::ActionAdvised},
    {45, "Reference Service", &M::ReferenceService},
    {47, "Reference Date", &M::ReferenceDate},
    {50, "Reference Number", &M::ReferenceNumber},
    {55, "Date Created", &M::DateCreated},
    {60, "Time Created", &M::TimeCreated},
    {62, "Digital Creation Date", &M::DigitalCreationDate},
    {63, "Digital Creation Time", &M::DigitalCreationTime},
    {65, "Originating Program", &M::OriginatingProgram},
    {70, "Program Version", &M::ProgramVersion},
    {75, "Object Cycle", &M::ObjectCycle},
    {80, "By-line", &M::ByLine},
    {85, "By-line Title", &M::ByLineTitle},
    {90, "City", &M::City},
    {92, "Sublocation", &M::SubLocation},
    {95, "Province/State", &M::ProvinceState},
    {100, "Coutry/Primary Location Code", &M::CountryCode},
    {101, "Country/Primary Location Name", &M::CountryName},
    {103, "Original Transmission Reference", &M::TransmissionReference},
    {105, "Headline", &M::Headline},
    {110, "Credit", &M::Credit},
    {115, "Source", &M::Source},
    {116, "Copyright Notice", &M::CopyrightNotice},
    {118, "Contact", &M::Contact},
    {120, "Caption/Abstract", &M::Caption},
    {122, "Writer/Editor", &M::WriterEditor},
    {kRasterizedCaption, "Rasterized Caption", {}},
    {130, "Image Type", &M::ImageType},
    {131, "Image Orientation", &M::ImageOrientation},
    {135, "Language Identifier", &M::LanguageIdentifier},
    {231, "History", &M::History},
});
static_assert(std::ranges::is_sorted(kDatasets, {}, &CDataset::number));

struct CLabel {
    std::string_view label;
    uint8_t number;
};

// The order and labels of the text form; they differ from the names on purpose.
constexpr auto kLabels = std::to_array<CLabel>({
    {"Headline", 105},
    {"Action Advised", 42},
    {"By-Line", 80},
    {"By-Line Title", 85},
    {"Caption/Abstract", 120},
    {"Category", 15},
    {"City", 90},
    {"Contact", 118},
    {"Copyright Notice", 116},
    {"Country/Primary Location Code", 100},
    {"Country/Primary Location Name", 101},
    {"Credit", 110},
    {"Date Created", 55},
    {"Digital Creation Date", 62},
    {"Digital Creation Time", 63},
    {"Editorial Update", 8},
    {"Edit Status", 7},
    {"Expiration Date", 37},
    {"Expiration Time", 38},
    {"Fixture Identifier", 22},
    {"History", 231},
    {"Image Orientation", 131},
    {"Image Type", 130},
    {"Keyword", 25},
    {"Language Identifier", 135},
    {"Location Code", 26},
    {"Location Name", 27},
    {"Object Attribute", 4},
    {"Object Cycle", 75},
    {"Object Name", 5},
    {"Object Type", 3},
    {"Original Transmission Reference", 103},
    {"Originating Program", 65},
    {"Program Version", 70},
    {"Province/State", 95},
    {"Reference Date", 47},
    {"Reference Number", 50},
    {"Reference Service", 45},
    {"Release Date", 30},
    {"Release Time", 35},
    {"Source", 115},
    {"Special Instructions", 40},
    {"Subject Reference", 12},
    {"SubLocation", 92},
    {"Supplemental Category", 20},
    {"Time Created", 60},
    {"Urgency", 10},
    {"Writer/Editor", 122},
});
static_assert(kLabels.size() == kDatasets.size() - 1);

const CDataset* FindDataset(uint8_t number) {
    const auto found = std::ranges::lower_bound(kDatasets, number, {}, &CDataset::number);
    return found != kDatasets.end() && found->number == number ? &*found : nullptr;
}

// The values of a dataset that has a field.
std::span<const std::string> Values(const CIPTC_Members& record, const CDataset& dataset) {
    if (const auto* text = std::get_if<M::Text M::*>(&dataset.member)) {
        const std::string& value = record.*(*text);
        return {&value, value.empty() ? size_t{0} : size_t{1}};
    }
    if (const auto* list = std::get_if<M::List M::*>(&dataset.member)) return record.*(*list);
    return {};
}

// A value ends at a NUL; white space around it is dropped.
std::string_view Trimmed(std::span<const uint8_t> bytes) {
    constexpr std::string_view kSpace = " \t\r\n\v\f";
    std::string_view text(reinterpret_cast<const char*>(bytes.data()), bytes.size());
    text = text.substr(0, text.find('\0'));
    const size_t first = text.find_first_not_of(kSpace);
    if (first == text.npos) return {};
    return text.substr(first, text.find_last_not_of(kSpace) - first + 1);
}

// The length in front of a value; none where the block ends or the length makes no sense.
std::optional<uint32_t> ReadLength(CBigEndianCursor& in) {
    uint32_t length = in.U16();
    if ((length & kLongLength) != 0) {
        const uint32_t count = length & ~uint32_t{kLongLength};
        if (count > kMostLengthBytes) return {};
        length = 0;
        for (uint32_t i = 0; i < count; ++i) length = length << 8 | in.U8();
    }
    if (!in.Ok()) return {};
    return length;
}

void AppendDataset(std::vector<uint8_t>& block, uint8_t number, std::string_view value) {
    block.insert(block.end(), {kMarker, kRecord, number});
    const size_t size = value.size();
    if (size < kLongLength) {
        block.insert(block.end(), {uint8_t(size >> 8), uint8_t(size)});
    } else {
        block.insert(block.end(), {0x80, 4, uint8_t(size >> 24), uint8_t(size >> 16),
                                   uint8_t(size >> 8), uint8_t(size)});
    }
    block.insert(block.end(), value.begin(), value.end());
}

}  // namespace

bool CIPTC_Members::Empty() const {
    return extended.empty() && std::ranges::all_of(kDatasets, [this](const CDataset& dataset) {
               return Values(*this, dataset).empty();
           });
}

void CIPTC_Members::MergeFrom(const CIPTC_Members& other) {
    for (const CDataset& dataset : kDatasets) {
        const bool has = !Values(*this, dataset).empty();
        for (const std::string& value : Values(other, dataset)) {
            SetDataset(dataset.number, value, has);
        }
    }
    for (const auto& item : other.extended) {
        if (std::ranges::find(extended, item) == extended.end()) extended.push_back(item);
    }
}

bool CIPTC_Members::Parse(std::span<const uint8_t> data) {
    Clear();
    bool stored = false;
    std::array<bool, 256> met{};
    std::unordered_set<std::string> known;  // number and value of what lists and `extended` hold
    CBigEndianCursor in(data);
    while (in.Remaining() > 0) {
        if (in.U8() != kMarker) continue;
        const uint8_t record = in.U8();
        const uint8_t number = in.U8();
        const auto length = ReadLength(in);
        if (!length) break;
        const auto bytes = in.Bytes(std::min<size_t>(*length, in.Remaining()));
        if (record != kRecord || number == kRasterizedCaption) continue;
        const std::string_view value = Trimmed(bytes);
        if (value.empty()) continue;
        const CDataset* dataset = FindDataset(number);
        if (dataset && std::holds_alternative<Text M::*>(dataset->member)) {
            stored |= SetDataset(number, std::string(value), met[number]);
            met[number] = true;
        } else if (known.insert(char(number) + std::string(value)).second) {
            // New to the record, so there is no list to search.
            stored = true;
            if (dataset) {
                (this->*std::get<List M::*>(dataset->member)).emplace_back(value);
            } else {
                extended.emplace_back(number, value);
            }
        }
    }
    return stored;
}

std::vector<uint8_t> CIPTC_Members::Serialise() const {
    constexpr std::string_view kVersion("\0\4", 2);
    std::array<std::vector<const std::string*>, 256> others;
    for (const auto& [number, value] : extended) others[number].push_back(&value);
    std::vector<uint8_t> block;
    AppendDataset(block, 0, kVersion);
    for (int number = kFirstWritten; number < 256; ++number) {
        const auto dataset = static_cast<uint8_t>(number);
        if (const CDataset* known = FindDataset(dataset)) {
            for (const std::string& value : Values(*this, *known)) {
                AppendDataset(block, dataset, value);
            }
        }
        for (const std::string* value : others[dataset]) AppendDataset(block, dataset, *value);
    }
    return block;
}

bool CIPTC_Members::SetDataset(uint8_t number, std::string value, bool repeated) {
    const CDataset* dataset = FindDataset(number);
    if (!dataset) {
        if (!repeated) std::erase_if(extended, [&](auto& item) { return item.first == number; });
        if (value.empty()) return false;
        extended.emplace_back(number, std::move(value));
        return true;
    }
    if (const auto* text = std::get_if<Text M::*>(&dataset->member)) {
        if (repeated) return false;
        this->*(*text) = std::move(value);
        return !(this->*(*text)).empty();
    }
    const auto* list = std::get_if<List M::*>(&dataset->member);
    return list && !value.empty() && SetListItem(-1, std::move(value), this->*(*list));
}

bool CIPTC_Members::SetListItem(int index, std::string value, List& list) {
    if (std::ranges::find(list, value) != list.end()) return false;
    if (index < 0) {
        list.push_back(std::move(value));
        return true;
    }
    const auto place = static_cast<size_t>(index);
    if (place >= list.size()) list.resize(place + 1);
    list[place] = std::move(value);
    return true;
}

std::optional<uint8_t> CIPTC_Members::DatasetByName(std::string_view name) {
    const auto lower = [](char c) {
        return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
    };
    const auto found = std::ranges::find_if(kDatasets, [&](const CDataset& dataset) {
        return std::ranges::equal(dataset.name, name, {}, lower, lower);
    });
    if (found == kDatasets.end()) return {};
    return found->number;
}

WideString CIPTC_Members::AsText(WideView separator, WideView lineEnd) const {
    WideString text;
    const auto line = [&](std::string_view label, const std::string& value) {
        text.append(label.begin(), label.end()).append(separator);
        text.append(TextToWide(value)).append(lineEnd);
    };
    for (const CLabel& label : kLabels) {
        for (const std::string& value : Values(*this, *FindDataset(label.number))) {
            line(label.label, value);
        }
    }
    for (const auto& [number, value] : extended) line(FormatText("Ext(%d)", number), value);
    return text;
}

}  // namespace kestr
