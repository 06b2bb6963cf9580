// Reading an EXIF block: a TIFF structure whose main directory points at the EXIF and GPS
// directories, the EXIF directory at the one for interoperability. Layout: Exif 2.3, section 4.5.
#include <algorithm>
#include <array>
#include <bit>
#include <string_view>
#include <type_traits>

#include "metadata/exif_fields.h"
#include "metadata/tiff_bytes.h"

namespace kestr {
namespace {

using enum EExifDirectory;
using enum EExifKind;
using M = CEXIF_Members;

constexpr uint32_t kMostValues = 0xFA000;   // a count above it is taken for garbage
constexpr uint32_t kGarbageValues = 1024;   // and read as this
constexpr uint32_t kMostSubEntries = 1000;  // in the EXIF, GPS and interoperability directories
constexpr uint32_t kMostKeptValues = 65535;
constexpr size_t kMostOriginalBytes = 65536;
constexpr uint64_t kSharedBytes = 65536;  // values may share their place in a file to this extent
constexpr std::array<uint8_t, 8> kAsciiComment{'A', 'S', 'C', 'I', 'I', 0, 0, 0};

struct CEntry {
    uint16_t tag = 0;
    uint16_t type = 0;
    uint32_t count = 0;
    uint32_t stored = 0;             // the value field as one number: an offset, unless inline
    std::span<const uint8_t> bytes;  // of the values that can be had
};

bool IsByteType(uint16_t type) {
    return type == tiff_type::kByte || type == tiff_type::kSignedByte ||
           type == tiff_type::kUndefined;
}
bool IsShortType(uint16_t type) {
    return type == tiff_type::kShort || type == tiff_type::kSignedShort;
}
bool IsLongType(uint16_t type) {
    return type == tiff_type::kLong || type == tiff_type::kSignedLong;
}
bool IsRationalType(uint16_t type) {
    return type == tiff_type::kRational || type == tiff_type::kSignedRational;
}

std::string_view Characters(std::span<const uint8_t> bytes) {
    return {reinterpret_cast<const char*>(bytes.data()), bytes.size()};
}

std::string_view WithoutLastNul(std::string_view text) {
    if (text.ends_with('\0')) text.remove_suffix(1);
    return text;
}

std::string_view Stripped(std::string_view text) {
    constexpr std::string_view kSpace = " \t\r\n\v\f";
    const size_t first = text.find_first_not_of(kSpace);
    if (first == text.npos) return {};
    return text.substr(first, text.find_last_not_of(kSpace) - first + 1);
}

// One walk over the directories of a block, which fills a record.
class CExifParser {
public:
    CExifParser(std::span<const uint8_t> data, bool offsetsPlusEight, M& record,
                std::vector<CExifPlace>& places)
        : m_in(data, record.bigEndian),
          m_plus(offsetsPlusEight ? 8 : 0),
          m_record(record),
          m_places(places),
          m_budget(uint64_t{data.size()} + kSharedBytes) {}

    bool Run(bool readThumbnail);

private:
    static constexpr size_t kDirectories = 5;

    bool ReadDirectory(EExifDirectory directory, uint32_t offset);
    CEntry ReadEntry(uint64_t at);
    void Take(EExifDirectory directory, const CEntry& entry);
    void TakeThumbnail(const CEntry& entry);
    void CopyThumbnail();
    void TakeField(const CExifField& field, const CEntry& entry);
    void TakeText(const CExifField& field, const CEntry& entry);
    void TakeRational(const CExifField& field, const CEntry& entry);
    void Keep(const CEntry& entry);
    void NotePointer(EExifDirectory directory, const CEntry& entry);

    // The first value as a number, if it is one.
    [[nodiscard]] std::optional<uint32_t> Number(const CEntry& entry, size_t index = 0) const;
    [[nodiscard]] M::Rationals Rationals(const CEntry& entry, bool isSigned) const;

    CTIFFBytes m_in;
    uint32_t m_plus;  // added to every offset
    M& m_record;
    std::vector<CExifPlace>& m_places;
    uint64_t m_budget;  // bytes of values still to be had: entries may all name the same bytes
    std::array<std::optional<uint32_t>, kDirectories> m_pending;
    std::array<bool, kDirectories> m_pointerMet{};
    uint32_t m_thumbnailOffset = 0;
    uint32_t m_thumbnailLength = 0;
    uint32_t m_stripOffset = 0;
    uint32_t m_stripLength = 0;
};

bool CExifParser::Run(bool readThumbnail) {
    if (m_in.Size() < 8) return false;
    const uint32_t first = m_in.U32(4);
    if (readThumbnail) {
        if (uint64_t{first} + m_plus > m_in.Size() - 8) return false;
        const uint64_t at = uint64_t{first} + m_plus;
        m_pending[size_t(kThumbnail)] = m_in.U32(at + 2 + kTIFFEntryBytes * m_in.U16(at));
    }
    std::optional<EExifDirectory> directory = kMain;
    uint32_t offset = first;
    while (directory && ReadDirectory(*directory, offset)) {
        directory.reset();
        for (const auto next : {kExif, kGPS, kInteroperability, kThumbnail}) {
            auto& pending = m_pending[size_t(next)];
            if (!pending) continue;
            directory = next;
            offset = *pending;
            pending.reset();
            break;
        }
    }
    if (readThumbnail) CopyThumbnail();
    return std::ranges::any_of(m_places, [](const CExifPlace& place) {
        return place.directory == kExif || place.directory == kGPS;
    });
}

void CExifParser::CopyThumbnail() {
    const auto copy = [&](uint32_t offset, uint32_t length, std::vector<uint8_t>& to) {
        if (offset == 0 || length == 0) return;
        const auto bytes = SubRange(m_in.Bytes(), uint64_t{offset} + m_plus, length);
        to.assign(bytes.begin(), bytes.end());
    };
    copy(m_thumbnailOffset, m_thumbnailLength, m_record.thumbnail);
    copy(m_stripOffset, m_stripLength, m_record.thumbnailStrip);
}

// False ends the parse.
bool CExifParser::ReadDirectory(EExifDirectory directory, uint32_t offset) {
    const uint64_t at = uint64_t{offset} + m_plus;
    if (offset == 0 || at > m_in.Size() - 8) return false;
    uint32_t count = m_in.U16(at);
    if (!m_in.Holds(at, 2 + uint64_t{count} * kTIFFEntryBytes)) return false;
    const bool sub = directory != kMain && directory != kThumbnail;
    if (sub && count > kMostSubEntries) count = 0;
    m_places.push_back({directory, static_cast<uint32_t>(at), 0});
    for (uint32_t i = 0; i < count; ++i) {
        const CEntry entry = ReadEntry(at + 2 + uint64_t{i} * kTIFFEntryBytes);
        if (entry.type == 0 || entry.type > tiff_type::kLast) return false;
        m_places.back().entries = i + 1;
        Take(directory, entry);
    }
    return true;
}

CEntry CExifParser::ReadEntry(uint64_t at) {
    CEntry entry{m_in.U16(at), m_in.U16(at + 2), m_in.U32(at + 4), m_in.U32(at + 8), {}};
    if (entry.count > kMostValues) entry.count = kGarbageValues;
    const size_t each = TIFFTypeBytes(entry.type);
    const uint64_t size = uint64_t{each} * entry.count;
    if (size <= 4) {
        entry.bytes = SubRange(m_in.Bytes(), at + 8, size);
        return entry;
    }
    auto bytes = SubRange(m_in.Bytes(), uint64_t{entry.stored} + m_plus, size);
    if (bytes.size() < size) {
        // Of bytes and rationals what is there, of others all or nothing.
        const bool partly = IsByteType(entry.type) || IsRationalType(entry.type);
        bytes = bytes.first(partly ? bytes.size() / each * each : 0);
    }
    if (bytes.size() > m_budget) return entry;
    m_budget -= bytes.size();
    entry.bytes = bytes;
    return entry;
}

void CExifParser::Take(EExifDirectory directory, const CEntry& entry) {
    if (directory == kThumbnail) return TakeThumbnail(entry);
    if (directory == kMain && entry.tag == kExifPointer) return NotePointer(kExif, entry);
    if (directory == kMain && entry.tag == kGPSPointer) return NotePointer(kGPS, entry);
    if (directory == kExif && entry.tag == kInteroperabilityPointer) {
        return NotePointer(kInteroperability, entry);
    }
    if (const CExifField* field = FindExifField(directory, entry.tag)) {
        return TakeField(*field, entry);
    }
    if (directory == kGPS) return;
    if (directory == kMain && IsBaselineTag(entry.tag)) return;
    // An offset kept as a mere number would point nowhere after a save.
    if (entry.tag == kExifPointer || entry.tag == kGPSPointer ||
        entry.tag == kInteroperabilityPointer || entry.tag == kFlashpixVersion) {
        return;
    }
    Keep(entry);
}

void CExifParser::NotePointer(EExifDirectory directory, const CEntry& entry) {
    bool& pointerMet = m_pointerMet[size_t(directory)];
    const auto offset = Number(entry);
    if (pointerMet || offset.value_or(0) == 0) return;
    pointerMet = true;
    m_pending[size_t(directory)] = offset;
}

void CExifParser::TakeThumbnail(const CEntry& entry) {
    if (entry.type == tiff_type::kLong) {
        if (entry.tag == kThumbnailOffset) m_thumbnailOffset = Number(entry).value_or(0);
        if (entry.tag == kThumbnailLength) m_thumbnailLength = Number(entry).value_or(0);
    }
    if (entry.count == 1) {
        if (entry.tag == kStripOffsets) m_stripOffset = Number(entry).value_or(0);
        if (entry.tag == kStripByteCounts) m_stripLength = Number(entry).value_or(0);
    }
    if (entry.bytes.empty()) return;
    m_record.thumbnailTags.push_back(
        {entry.tag, entry.type, {entry.bytes.begin(), entry.bytes.end()}});
}

void CExifParser::Keep(const CEntry& entry) {
    if (entry.count == 0 || entry.count > kMostKeptValues || entry.bytes.empty()) return;
    m_record.otherTags0.push_back(
        {entry.tag, entry.type, {entry.bytes.begin(), entry.bytes.end()}});
}

void CExifParser::TakeField(const CExifField& field, const CEntry& entry) {
    if (entry.bytes.empty()) return;
    std::visit(
        [&](const auto member) {
            using T = std::remove_cvref_t<decltype(m_record.*member)>;
            T& value = m_record.*member;
            if constexpr (std::is_same_v<T, M::Text>) {
                TakeText(field, entry);
            } else if constexpr (std::is_same_v<T, M::Rational>) {
                if (!(field.firstKept && value)) TakeRational(field, entry);
            } else if constexpr (std::is_same_v<T, M::Rationals>) {
                if (!IsRationalType(entry.type)) return;
                value = Rationals(entry, entry.type == tiff_type::kSignedRational);
                if (field.kind == kTriple && value.size() < 3) value.resize(3);
            } else if constexpr (std::is_same_v<T, M::Bytes>) {
                if (IsByteType(entry.type)) {
                    value.assign(entry.bytes.begin(), entry.bytes.end());
                    if (field.kind == kMakerNote) m_record.makerNoteOffset = entry.stored;
                } else if (field.kind == kUserComment && entry.type == tiff_type::kAscii) {
                    const auto text = Stripped(WithoutLastNul(Characters(entry.bytes)));
                    if (text.empty()) return;
                    value.assign(kAsciiComment.begin(), kAsciiComment.end());
                    value.insert(value.end(), text.begin(), text.end());
                }
            } else if constexpr (std::is_same_v<T, M::Shorts>) {
                if (!IsShortType(entry.type) || entry.count < 2) return;
                value.clear();
                for (size_t i = 0; i < std::min<size_t>(entry.count, 4); ++i) {
                    value.push_back(static_cast<uint16_t>(*Number(entry, i)));
                }
            } else {
                if (field.firstKept && value) return;
                if (field.kind == kSingleLong && entry.count != 1) return;
                if (field.kind == kShortFromByte &&
                    (entry.type != tiff_type::kUndefined || entry.count != 1)) {
                    return;
                }
                const auto number = Number(entry);
                if (!number) return;
                value = static_cast<typename T::value_type>(*number);
                if (field.kind == kLocation) {
                    const auto second = Number(entry, 1);
                    m_record.SubjectLocationY.reset();
                    if (second) m_record.SubjectLocationY = static_cast<uint16_t>(*second);
                }
            }
        },
        field.member);
}

void CExifParser::TakeText(const CExifField& field, const CEntry& entry) {
    M::Text& text = m_record.*std::get<M::Text M::*>(field.member);
    if (field.kind == kFourChars || field.kind == kFourDigits || field.kind == kDigits) {
        const bool four = entry.type == tiff_type::kUndefined && entry.count == 4;
        if (field.kind == kDigits ? !IsByteType(entry.type) : !four) return;
        text = Latin1ToWide(Characters(entry.bytes));
        if (field.kind == kFourChars) return;
        for (auto& unit : text) unit = static_cast<KESTR_CHAR>(unit + '0');
        return;
    }
    const auto characters = WithoutLastNul(Characters(entry.bytes));
    if (field.kind == kRawText) {
        if (entry.type == tiff_type::kAscii || IsByteType(entry.type)) {
            text = Latin1ToWide(characters);
        }
    } else if (entry.type == tiff_type::kAscii) {
        text = Latin1ToWide(Stripped(characters));
    }
}

void CExifParser::TakeRational(const CExifField& field, const CEntry& entry) {
    M::Rational& value = m_record.*std::get<M::Rational M::*>(field.member);
    if (entry.type == tiff_type::kDouble) {
        const uint64_t bits = LoadTIFF<uint64_t>(entry.bytes.data(), m_in.BigEndian());
        value = CExifRational{0, 0, std::bit_cast<double>(bits)};
        return;
    }
    if (!IsRationalType(entry.type)) return;
    const bool isSigned = entry.type == tiff_type::kSignedRational || field.kind == kSignedRational;
    const M::Rationals values = Rationals(entry, isSigned);
    if (values.empty()) return;
    value = values[0];
    if (field.kind != kDistance) return;
    m_record.SubjectDistanceMax.reset();
    if (values.size() > 1) m_record.SubjectDistanceMax = values[1];
}

std::optional<uint32_t> CExifParser::Number(const CEntry& entry, size_t index) const {
    const size_t each = TIFFTypeBytes(entry.type);
    if ((index + 1) * each > entry.bytes.size()) return {};
    const uint8_t* at = entry.bytes.data() + index * each;
    if (entry.type == tiff_type::kSignedByte) {
        return static_cast<uint32_t>(static_cast<int8_t>(*at));
    }
    if (IsByteType(entry.type)) return *at;
    if (IsShortType(entry.type)) return LoadTIFF<uint16_t>(at, m_in.BigEndian());
    if (IsLongType(entry.type)) return LoadTIFF<uint32_t>(at, m_in.BigEndian());
    return {};
}

M::Rationals CExifParser::Rationals(const CEntry& entry, bool isSigned) const {
    M::Rationals values;
    values.reserve(entry.bytes.size() / 8);
    for (size_t i = 0; i + 8 <= entry.bytes.size(); i += 8) {
        const auto numerator = LoadTIFF<uint32_t>(entry.bytes.data() + i, m_in.BigEndian());
        const auto denominator = LoadTIFF<uint32_t>(entry.bytes.data() + i + 4, m_in.BigEndian());
        values.push_back(isSigned ? CExifRational::Signed(numerator, denominator)
                                  : CExifRational::Unsigned(numerator, denominator));
    }
    return values;
}

}  // namespace

bool ParseExif(std::span<const uint8_t> data, bool offsetsPlusEight, bool readThumbnail,
               CEXIF_Members& record, std::vector<CExifPlace>& places) {
    record = {};
    record.bigEndian = !(data.size() >= 2 && data[0] == 'I' && data[1] == 'I');
    return CExifParser(data, offsetsPlusEight, record, places).Run(readThumbnail);
}

bool CEXIF_Members::Parse(std::span<const uint8_t> data, bool offsetsPlusEight,
                          bool readThumbnail) {
    std::vector<CExifPlace> places;
    const bool parsed = ParseExif(data, offsetsPlusEight, readThumbnail, *this, places);
    if (parsed && data.size() < kMostOriginalBytes && !MakerNote.empty()) {
        originalBlock.assign(data.begin(), data.end());
        m_originalPlusEight = offsetsPlusEight;
        m_originalThumbnail = readThumbnail;
    }
    return parsed;
}

}  // namespace kestr
