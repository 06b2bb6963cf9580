#include "metadata/tiff_parser.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cstring>
#include <optional>
#include <unordered_set>

#include "base/byte_cursor.h"
#include "metadata/tiff_bytes.h"

namespace kestr {
namespace {

constexpr uint16_t kSubDirectories = 330;
// Real files nest two deep, and their directories do not overlap.
constexpr int kDeepest = 16;
constexpr uint64_t kSpareEntries = 4096;

// A number as it stands in the file, so that the same bytes come out of it.
template <typename T>
T Unswapped(const uint8_t* bytes) {
    T value;
    std::memcpy(&value, bytes, sizeof value);
    return value;
}

// An unswapped number in host order.
template <typename T>
T InHostOrder(T unswapped, bool bigEndian) {
    std::array<uint8_t, sizeof(T)> bytes;
    std::memcpy(bytes.data(), &unswapped, sizeof unswapped);
    return LoadTIFF<T>(bytes.data(), bigEndian);
}

class CTreeReader {
public:
    CTreeReader(std::span<const uint8_t> file, bool bigEndian, bool walkChain, bool followSubIFDs)
        : m_in(file, bigEndian),
          m_walkChain(walkChain),
          m_followSubIFDs(followSubIFDs),
          m_budget(file.size() / kTIFFEntryBytes * 2 + kSpareEntries) {}

    // Reads a directory, the chain behind it and then their children, those of the last first.
    bool Read(uint32_t offset, CTIFFDirectoryList& list, int depth) {
        const size_t first = list.size();
        std::unordered_set<uint32_t> met;
        bool ok = true;
        while (ok && offset != 0 && met.insert(offset).second) {
            const auto next = ReadOne(offset, list);
            ok = next.has_value();
            offset = ok && m_walkChain ? *next : 0;
        }
        if (offset == 0 && met.empty()) return false;
        for (size_t i = list.size(); ok && i-- > first;) ok = ReadChildren(list[i], depth);
        return ok;
    }

private:
    // Appends the directory, broken or not; gives the offset of the next one.
    std::optional<uint32_t> ReadOne(uint32_t offset, CTIFFDirectoryList& list) {
        if (!m_in.Holds(offset, 2) || m_budget == 0) return {};
        const uint32_t count = m_in.U16(offset);
        uint64_t at = uint64_t{offset} + 2;
        const uint64_t held = (m_in.Size() - at) / kTIFFEntryBytes;
        const auto taken = static_cast<uint32_t>(std::min({uint64_t{count}, held, m_budget - 1}));
        m_budget -= taken + 1;
        std::vector<CTIFFDirectory::CEntry> entries;
        entries.reserve(taken);
        for (uint32_t i = 0; i < taken; ++i, at += kTIFFEntryBytes) {
            const uint8_t* bytes = m_in.Bytes().data() + at;
            CTIFFDirectory::CEntry entry{
                m_in.U16(at),
                {Unswapped<uint16_t>(bytes), Unswapped<uint16_t>(bytes + 2),
                 Unswapped<uint32_t>(bytes + 4), Unswapped<uint32_t>(bytes + 8), nullptr}};
            if (entry.tag == kSubDirectories && m_followSubIFDs) {
                entry.data.children = std::make_shared<CTIFFDirectoryList>();
            }
            entries.push_back(std::move(entry));
        }
        list.emplace_back(std::move(entries));
        if (taken < count || !m_in.Holds(at, 4)) return {};
        return m_in.U32(at);
    }

    bool ReadChildren(const CTIFFDirectory& directory, int depth) {
        const auto* entry = directory.Find(kSubDirectories);
        if (!entry || !entry->children) return true;
        if (depth >= kDeepest) return false;
        const uint32_t count = InHostOrder(entry->count, m_in.BigEndian());
        const uint32_t value = InHostOrder(entry->value, m_in.BigEndian());
        if (count == 1) return Read(value, *entry->children, depth + 1);
        for (uint64_t i = 0; i < count; ++i) {
            const uint64_t at = value + i * 4;
            if (!m_in.Holds(at, 4)) return false;
            if (!Read(m_in.U32(at), *entry->children, depth + 1)) return false;
        }
        return true;
    }

    CTIFFBytes m_in;
    bool m_walkChain;
    bool m_followSubIFDs;
    uint64_t m_budget;  // entries and directories still to be read
};

// The bytes of an entry's values: inline up to `mostInline` values, else from the offset. None when
// they lie outside the file.
std::optional<std::span<const uint8_t>> ValueBytes(const CMappedFileImpl& file,
                                                   const CTIFFParser::DirData& entry,
                                                   bool bigEndian, size_t each,
                                                   uint32_t leastInline, uint32_t mostInline) {
    const uint32_t count = InHostOrder(entry.count, bigEndian);
    const uint64_t size = uint64_t{count} * each;
    if (count >= leastInline && count <= mostInline) {
        return std::span(reinterpret_cast<const uint8_t*>(&entry.value), size_t(size));
    }
    if (count == 0) return std::span<const uint8_t>();
    const uint32_t offset = InHostOrder(entry.value, bigEndian);
    if (uint64_t{offset} + size > file.Size()) return {};
    return SubRange(file.Bytes(), offset, size);
}

uint16_t TypeOf(const CTIFFParser::DirData& entry, bool bigEndian) {
    return InHostOrder(entry.type, bigEndian);
}

template <typename T>
bool FirstValue(bool (*get)(const CMappedFileImpl&, uint16_t, bool, const CTIFFDirectory&,
                            std::vector<T>&),
                const CMappedFileImpl& file, uint16_t tag, bool bigEndian,
                const CTIFFDirectory& directory, T& value) {
    std::vector<T> values;
    if (!get(file, tag, bigEndian, directory, values) || values.empty()) return false;
    value = values[0];
    return true;
}

}  // namespace

CTIFFDirectory::CTIFFDirectory(std::vector<CEntry> inFileOrder)
    : m_entries(std::move(inFileOrder)) {
    // TIFF wants them sorted already.
    if (!std::ranges::is_sorted(m_entries, {}, &CEntry::tag)) {
        std::ranges::stable_sort(m_entries, {}, &CEntry::tag);
    }
    // Keeps the last of equal tags.
    size_t kept = 0;
    for (size_t i = 0; i < m_entries.size(); ++i) {
        if (i + 1 < m_entries.size() && m_entries[i + 1].tag == m_entries[i].tag) continue;
        if (kept != i) m_entries[kept] = std::move(m_entries[i]);
        ++kept;
    }
    m_entries.resize(kept);
}

const CTIFFParser::DirData* CTIFFDirectory::Find(uint16_t tag) const {
    const auto found = std::ranges::lower_bound(m_entries, tag, {}, &CEntry::tag);
    return found != m_entries.end() && found->tag == tag ? &found->data : nullptr;
}

CTIFFParser::CTIFFParser(const CMappedFileImpl* file, bool walkChain, bool followSubIFDs) {
    const auto bytes = file->Bytes();
    if (bytes.size() < 8) return;
    const bool little = bytes[0] == 'I' && bytes[1] == 'I';
    m_bigEndian = bytes[0] == 'M' && bytes[1] == 'M';
    if (!little && !m_bigEndian) return;
    const CTIFFBytes in(bytes, m_bigEndian);
    m_magic = in.U16(2);
    CTreeReader(bytes, m_bigEndian, walkChain, followSubIFDs).Read(in.U32(4), m_directories, 0);
}

bool HasTag(uint16_t tag, const CTIFFDirectory& directory) {
    return directory.Find(tag) != nullptr;
}

bool GetEntry(uint16_t tag, bool bigEndian, const CTIFFDirectory& directory,
              CTIFFParser::DirData& entry) {
    const auto* found = directory.Find(tag);
    if (!found) return false;
    entry = *found;
    entry.tag = InHostOrder(found->tag, bigEndian);
    entry.type = InHostOrder(found->type, bigEndian);
    entry.count = InHostOrder(found->count, bigEndian);
    return true;
}

bool GetBytes(const CMappedFileImpl& file, uint16_t tag, bool bigEndian,
              const CTIFFDirectory& directory, std::vector<uint8_t>& bytes) {
    const auto* entry = directory.Find(tag);
    if (!entry) return false;
    const uint16_t type = TypeOf(*entry, bigEndian);
    if (type != tiff_type::kByte && type != tiff_type::kSignedByte &&
        type != tiff_type::kUndefined) {
        return false;
    }
    const auto values = ValueBytes(file, *entry, bigEndian, 1, 0, 4);
    if (!values) return false;
    bytes.assign(values->begin(), values->end());
    return true;
}

bool GetText(const CMappedFileImpl& file, uint16_t tag, bool bigEndian,
             const CTIFFDirectory& directory, std::string& text) {
    const auto* entry = directory.Find(tag);
    if (!entry || TypeOf(*entry, bigEndian) != tiff_type::kAscii) return false;
    const auto values = ValueBytes(file, *entry, bigEndian, 1, 0, 4);
    if (!values) return false;
    text.assign(values->begin(), std::ranges::find(*values, uint8_t{0}));
    return true;
}

bool GetShorts(const CMappedFileImpl& file, uint16_t tag, bool bigEndian,
               const CTIFFDirectory& directory, std::vector<uint16_t>& shorts) {
    const auto* entry = directory.Find(tag);
    if (!entry) return false;
    const uint16_t type = TypeOf(*entry, bigEndian);
    if (type != tiff_type::kShort && type != tiff_type::kSignedShort) return false;
    const auto values = ValueBytes(file, *entry, bigEndian, 2, 0, 2);
    if (!values) return false;
    for (size_t i = 0; i < values->size(); i += 2) {
        shorts.push_back(LoadTIFF<uint16_t>(values->data() + i, bigEndian));
    }
    return true;
}

bool GetLongs(const CMappedFileImpl& file, uint16_t tag, bool bigEndian,
              const CTIFFDirectory& directory, std::vector<uint32_t>& longs) {
    const auto* entry = directory.Find(tag);
    if (!entry) return false;
    const uint16_t type = TypeOf(*entry, bigEndian);
    if (type == tiff_type::kShort) {
        std::vector<uint16_t> shorts;
        if (!GetShorts(file, tag, bigEndian, directory, shorts)) return false;
        longs.insert(longs.end(), shorts.begin(), shorts.end());
        return true;
    }
    if (type != tiff_type::kLong && type != tiff_type::kSignedLong) return false;
    const auto values = ValueBytes(file, *entry, bigEndian, 4, 1, 1);
    if (!values) return false;
    for (size_t i = 0; i < values->size(); i += 4) {
        longs.push_back(LoadTIFF<uint32_t>(values->data() + i, bigEndian));
    }
    return true;
}

bool GetShort(const CMappedFileImpl& file, uint16_t tag, bool bigEndian,
              const CTIFFDirectory& directory, uint16_t& value) {
    return FirstValue(&GetShorts, file, tag, bigEndian, directory, value);
}

bool GetLong(const CMappedFileImpl& file, uint16_t tag, bool bigEndian,
             const CTIFFDirectory& directory, uint32_t& value) {
    return FirstValue(&GetLongs, file, tag, bigEndian, directory, value);
}

bool GetRationals(const CMappedFileImpl& file, uint16_t tag, bool bigEndian,
                  const CTIFFDirectory& directory, std::vector<double>& doubles) {
    const auto* entry = directory.Find(tag);
    if (!entry) return false;
    const uint16_t type = TypeOf(*entry, bigEndian);
    if (type != tiff_type::kRational && type != tiff_type::kSignedRational) return false;
    constexpr uint32_t kNeverInline = 1;
    const auto values = ValueBytes(file, *entry, bigEndian, 8, kNeverInline, 0);
    if (!values) return false;
    for (size_t i = 0; i < values->size(); i += 8) {
        const auto numerator = LoadTIFF<uint32_t>(values->data() + i, bigEndian);
        const auto denominator = LoadTIFF<uint32_t>(values->data() + i + 4, bigEndian);
        if (denominator == 0) {
            doubles.push_back(0.0);
        } else if (type == tiff_type::kRational) {
            doubles.push_back(double(numerator) / double(denominator));
        } else {
            doubles.push_back(double(int32_t(numerator)) / double(int32_t(denominator)));
        }
    }
    return true;
}

std::shared_ptr<CTIFFDirectoryList> GetSubDirectories(const CTIFFDirectory& directory) {
    const auto* entry = directory.Find(kSubDirectories);
    return entry ? entry->children : nullptr;
}

void CTIFFParserLoop::Walk() {
    const CTIFFBytes in(m_directory, m_bigEndian);
    const size_t count = in.U16(0);
    for (size_t i = 0; i < count; ++i) {
        const size_t at = 2 + i * kTIFFEntryBytes;
        if (!in.Holds(at, kTIFFEntryBytes)) return;
        m_tag = in.U16(at);
        m_type = in.U16(at + 2);
        m_count = in.U32(at + 4);
        m_value = in.U32(at + 8);
        m_valueBytes = m_directory.subspan(at + 8, 4);
        if (!ProcessEntry()) return;
    }
}

std::span<const uint8_t> CTIFFParserLoop::AtOffset(uint64_t count) const {
    return SubRange(m_offsetBase, m_value, count);
}

}  // namespace kestr
