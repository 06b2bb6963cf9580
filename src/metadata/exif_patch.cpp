// Bringing the block that a record was parsed from up to date. What has not changed in the record
// keeps its bytes and its place; the maker note above all, which holds offsets of its own.
#include <algorithm>
#include <array>
#include <optional>
#include <utility>

#include "metadata/exif_fields.h"
#include "metadata/tiff_bytes.h"

namespace kestr {
namespace {

using enum EExifDirectory;

constexpr size_t kMostPatchedBytes = 65530;  // exclusive

struct CEntry {
    uint16_t tag = 0;
    uint16_t type = 0;
    uint32_t count = 0;
    std::array<uint8_t, 4> field{};  // the value or its offset, in the block's byte order
};

struct CDirectory {
    EExifDirectory which = kMain;
    uint32_t at = 0;    // 0 for one that is not in the block yet
    uint32_t room = 0;  // entries that there is room for
    std::vector<CEntry> entries;
    uint32_t next = 0;
};

struct CRange {
    uint64_t begin, end;
    bool Meets(const CRange& other) const { return begin < other.end && other.begin < end; }
};

class CExifPatch {
public:
    CExifPatch(const CEXIF_Members& record, const CEXIF_Members& before,
               std::span<const CExifPlace> places)
        : m_record(record), m_before(before), m_block(record.originalBlock) {
        for (size_t i = 0; i < m_directories.size(); ++i) {
            m_directories[i].which = static_cast<EExifDirectory>(i);
        }
        for (const CExifPlace& place : places) ReadDirectory(place);
        for (const CDirectory& directory : m_directories) NoteRanges(directory);
    }

    std::vector<uint8_t> Run() {
        for (const CExifField& field : ExifFields()) {
            if (!SameExifField(m_record, m_before, field)) Change(field);
        }
        // Children first: their parents hold their offsets.
        for (const auto which : {kInteroperability, kGPS, kExif, kMain}) WriteDirectory(which);
        return std::move(m_block);
    }

private:
    void ReadDirectory(const CExifPlace& place);
    void NoteRanges(const CDirectory& directory);
    void Change(const CExifField& field);
    void SetValue(CEntry& entry, const CExifValue& value);
    void WriteDirectory(EExifDirectory which);
    void SetPointer(EExifDirectory which, uint32_t offset);
    CDirectory& Directory(EExifDirectory which) { return m_directories[size_t(which)]; }

    [[nodiscard]] std::optional<CRange> ValueRange(const CEntry& entry) const;
    template <typename T>
    void Store(size_t at, T number) {
        StoreTIFF(m_block.data() + at, number, m_record.bigEndian);
    }

    const CEXIF_Members& m_record;
    const CEXIF_Members& m_before;
    std::vector<uint8_t> m_block;
    std::array<CDirectory, 4> m_directories;  // by EExifDirectory
    std::vector<CRange> m_ranges;  // of the block that directories and long values take up
};

void CExifPatch::ReadDirectory(const CExifPlace& place) {
    const CTIFFBytes in(m_block, m_record.bigEndian);
    const size_t all = in.U16(place.offset);
    m_ranges.push_back({place.offset, place.offset + 2 + all * kTIFFEntryBytes + 4});
    CDirectory thumbnail;
    CDirectory& directory = place.directory == kThumbnail ? thumbnail : Directory(place.directory);
    directory.at = place.offset;
    directory.room = static_cast<uint32_t>(all);
    // Entries that the parse did not reach are kept as they are.
    for (size_t i = 0; i < all; ++i) {
        const size_t at = place.offset + 2 + i * kTIFFEntryBytes;
        CEntry entry{in.U16(at), in.U16(at + 2), in.U32(at + 4), {}};
        std::copy_n(m_block.begin() + at + 8, 4, entry.field.begin());
        directory.entries.push_back(entry);
    }
    directory.next = in.U32(place.offset + 2 + all * kTIFFEntryBytes);
    if (place.directory == kThumbnail) {
        NoteRanges(thumbnail);
        const auto number = [&](uint16_t tag) -> uint64_t {
            const auto entry = std::ranges::find(thumbnail.entries, tag, &CEntry::tag);
            if (entry == thumbnail.entries.end()) return 0;
            return LoadTIFF<uint32_t>(entry->field.data(), m_record.bigEndian);
        };
        const uint64_t image = number(kThumbnailOffset);
        m_ranges.push_back({image, image + number(kThumbnailLength)});
    }
}

void CExifPatch::NoteRanges(const CDirectory& directory) {
    for (const CEntry& entry : directory.entries) {
        if (const auto range = ValueRange(entry)) m_ranges.push_back(*range);
    }
}

// Where the value of an entry stands, unless in the entry itself.
std::optional<CRange> CExifPatch::ValueRange(const CEntry& entry) const {
    const uint64_t bytes = uint64_t{entry.count} * TIFFTypeBytes(entry.type);
    if (bytes <= 4) return {};
    const uint64_t at = LoadTIFF<uint32_t>(entry.field.data(), m_record.bigEndian);
    return CRange{at, at + bytes};
}

void CExifPatch::Change(const CExifField& field) {
    const CExifValue value = EncodeExifField(m_record, field, m_record.bigEndian);
    bool found = false;
    for (CDirectory& directory : m_directories) {
        for (CEntry& entry : directory.entries) {
            const CExifField* own = FindExifField(directory.which, entry.tag);
            if (own != &field) continue;
            found = true;
            if (value.count != 0) SetValue(entry, value);
        }
        if (value.count == 0) {
            std::erase_if(directory.entries, [&](const CEntry& entry) {
                return FindExifField(directory.which, entry.tag) == &field;
            });
        }
    }
    if (found || value.count == 0) return;
    CEntry entry{field.tag, 0, 0, {}};
    SetValue(entry, value);
    auto& entries = Directory(field.directory).entries;
    entries.insert(std::ranges::upper_bound(entries, entry.tag, {}, &CEntry::tag), entry);
}

// Puts a value where the old one was if nothing else stands there, else at the end of the block.
void CExifPatch::SetValue(CEntry& entry, const CExifValue& value) {
    const auto old = ValueRange(entry);
    entry.type = value.type;
    entry.count = value.count;
    if (value.bytes.size() <= 4) {
        entry.field = {};
        std::ranges::copy(value.bytes, entry.field.begin());
        return;
    }
    const bool fits = old && value.bytes.size() <= old->end - old->begin &&
                      old->end <= m_record.originalBlock.size();
    if (fits &&
        std::ranges::count_if(m_ranges, [&](const CRange& r) { return r.Meets(*old); }) == 1) {
        std::ranges::copy(value.bytes, m_block.begin() + old->begin);
        return;
    }
    if (m_block.size() % 2 != 0) m_block.push_back(0);
    StoreTIFF(entry.field.data(), static_cast<uint32_t>(m_block.size()), m_record.bigEndian);
    m_block.insert(m_block.end(), value.bytes.begin(), value.bytes.end());
}

void CExifPatch::WriteDirectory(EExifDirectory which) {
    CDirectory& directory = Directory(which);
    if (directory.at == 0 && directory.entries.empty()) return;
    if (directory.at == 0 || directory.entries.size() > directory.room) {
        if (m_block.size() % 2 != 0) m_block.push_back(0);
        directory.at = static_cast<uint32_t>(m_block.size());
        m_block.resize(m_block.size() + 2 + directory.entries.size() * kTIFFEntryBytes + 4);
        SetPointer(which, directory.at);
    }
    size_t at = directory.at;
    Store(at, static_cast<uint16_t>(directory.entries.size()));
    at += 2;
    for (const CEntry& entry : directory.entries) {
        Store(at, entry.tag);
        Store(at + 2, entry.type);
        Store(at + 4, entry.count);
        std::ranges::copy(entry.field, m_block.begin() + at + 8);
        at += kTIFFEntryBytes;
    }
    if (at + 4 <= m_block.size()) Store(at, directory.next);
}

void CExifPatch::SetPointer(EExifDirectory which, uint32_t offset) {
    if (which == kMain) return Store(4, offset);
    const uint16_t tag = which == kExif  ? kExifPointer
                         : which == kGPS ? kGPSPointer
                                         : kInteroperabilityPointer;
    CDirectory& parent = Directory(which == kInteroperability ? kExif : kMain);
    auto entry = std::ranges::find(parent.entries, tag, &CEntry::tag);
    if (entry == parent.entries.end()) {
        entry = parent.entries.insert(
            std::ranges::upper_bound(parent.entries, tag, {}, &CEntry::tag), CEntry{tag, 0, 0, {}});
    }
    entry->type = tiff_type::kLong;
    entry->count = 1;
    StoreTIFF(entry->field.data(), offset, m_record.bigEndian);
}

}  // namespace

std::optional<std::vector<uint8_t>> CEXIF_Members::PatchOriginal() const {
    if (m_originalPlusEight) return {};
    CEXIF_Members before;
    std::vector<CExifPlace> places;
    ParseExif(originalBlock, false, m_originalThumbnail, before, places);
    const bool samePlain = before.bigEndian == bigEndian && before.MakerNote == MakerNote &&
                           before.otherTags0 == otherTags0 &&
                           before.thumbnailTags == thumbnailTags && before.thumbnail == thumbnail &&
                           before.thumbnailStrip == thumbnailStrip;
    if (!samePlain) return {};
    std::vector<uint8_t> block = CExifPatch(*this, before, places).Run();
    if (block.size() >= kMostPatchedBytes) return {};
    // A note that was cut off by the end of the block would go on into what was added behind it.
    CEXIF_Members after;
    ParseExif(block, false, m_originalThumbnail, after, places);
    if (after.MakerNote != MakerNote || after.makerNoteOffset != before.makerNoteOffset) return {};
    return block;
}

}  // namespace kestr
