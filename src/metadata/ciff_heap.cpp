#include "metadata/ciff_heap.h"

#include <algorithm>
#include <string_view>

namespace kestr {
namespace {

constexpr size_t kRecordBytes = 10;
constexpr uint16_t kStorageMask = 0xC000;
constexpr uint16_t kStoredInDirectory = 0x4000;
constexpr uint16_t kKindMask = 0x3800;
constexpr uint16_t kBulkKind = 0x2000;  // sensor data and pictures
constexpr uint16_t kPreview = 0x2007;
constexpr uint16_t kMakeAndModel = 0x080A;
constexpr uint32_t kHeaderBytes = 26;
constexpr uint32_t kHeaderVersion = 0x00010002;
constexpr std::string_view kHeaderName = "HEAPJPGM";
constexpr size_t kMostHeaderBytes = 65000;  // so that it goes into a marker
constexpr int kDeepest = 8;
constexpr int kMostRecords = 4096;  // heaps may lie in each other in any way

std::string FindModel(const CCIFFHeap& heap, int depth, int& recordsLeft) {
    for (size_t i = 0; i < heap.Count() && recordsLeft-- > 0; ++i) {
        const CCIFFRecord record = heap.Record(i);
        if (record.IsHeap() && depth < kDeepest) {
            std::string found =
                FindModel(CCIFFHeap(record.value, heap.BigEndian()), depth + 1, recordsLeft);
            if (!found.empty()) return found;
        } else if (record.Tag() == kMakeAndModel) {
            const auto make = std::ranges::find(record.value, uint8_t{0});
            if (make == record.value.end()) return {};
            return {make + 1, std::find(make + 1, record.value.end(), uint8_t{0})};
        }
    }
    return {};
}

class CHeaderWriter {
public:
    explicit CHeaderWriter(bool bigEndian) : m_bigEndian(bigEndian) {}

    void U16(uint16_t value) { Number(value); }
    void U32(uint32_t value) { Number(value); }
    void Bytes(std::span<const uint8_t> bytes) {
        m_bytes.insert(m_bytes.end(), bytes.begin(), bytes.end());
    }
    [[nodiscard]] size_t Size() const { return m_bytes.size(); }
    std::vector<uint8_t> Take() { return std::move(m_bytes); }

private:
    template <typename T>
    void Number(T value) {
        m_bytes.resize(m_bytes.size() + sizeof value);
        StoreTIFF(m_bytes.data() + m_bytes.size() - sizeof value, value, m_bigEndian);
    }

    bool m_bigEndian;
    std::vector<uint8_t> m_bytes;
};

}  // namespace

CCIFFHeap::CCIFFHeap(std::span<const uint8_t> heap, bool bigEndian) : m_bytes(heap, bigEndian) {
    if (heap.size() < 6) return;
    const uint64_t at = m_bytes.U32(heap.size() - 4);
    if (!m_bytes.Holds(at, 2)) return;
    m_first = static_cast<size_t>(at + 2);
    m_count = std::min<size_t>(m_bytes.U16(at), (heap.size() - m_first) / kRecordBytes);
}

CCIFFRecord CCIFFHeap::Record(size_t index) const {
    const size_t at = m_first + index * kRecordBytes;
    CCIFFRecord record{.type = m_bytes.U16(at), .inDirectory = false, .value = {}};
    record.inDirectory = (record.type & kStorageMask) == kStoredInDirectory;
    record.value = record.inDirectory
                       ? SubRange(m_bytes.Bytes(), at + 2, 8)
                       : SubRange(m_bytes.Bytes(), m_bytes.U32(at + 6), m_bytes.U32(at + 2));
    return record;
}

CCIFFHeap RootHeap(std::span<const uint8_t> file) {
    const bool little = file.size() >= 6 && file[0] == 'I' && file[1] == 'I';
    const bool big = file.size() >= 6 && file[0] == 'M' && file[1] == 'M';
    if (!little && !big) return {{}, false};
    return {SubRange(file, CTIFFBytes(file, big).U32(2)), big};
}

std::span<const uint8_t> CIFFPreview(std::span<const uint8_t> file) {
    const CCIFFHeap heap = RootHeap(file);
    for (size_t i = 0; i < heap.Count(); ++i) {
        const CCIFFRecord record = heap.Record(i);
        if (record.type == kPreview) return record.value;
    }
    return {};
}

std::string CIFFModel(std::span<const uint8_t> file) {
    int recordsLeft = kMostRecords;
    return FindModel(RootHeap(file), 0, recordsLeft);
}

std::vector<uint8_t> CIFFCameraHeader(std::span<const uint8_t> file) {
    const CCIFFHeap heap = RootHeap(file);
    CHeaderWriter out(heap.BigEndian());
    CHeaderWriter directory(heap.BigEndian());
    out.Bytes(file.first(std::min<size_t>(file.size(), 2)));
    out.U32(kHeaderBytes);
    for (const char c : kHeaderName) out.Bytes({reinterpret_cast<const uint8_t*>(&c), 1});
    out.U32(kHeaderVersion);
    out.U32(0);
    out.U32(0);
    uint16_t count = 0;
    for (size_t i = 0; i < heap.Count(); ++i) {
        const CCIFFRecord record = heap.Record(i);
        const size_t size = out.Size() + directory.Size() + kRecordBytes +
                            (record.inDirectory ? 0 : record.value.size());
        if ((record.type & kKindMask) == kBulkKind || size > kMostHeaderBytes) continue;
        directory.U16(record.type);
        if (record.inDirectory) {
            directory.Bytes(record.value);
        } else {
            directory.U32(static_cast<uint32_t>(record.value.size()));
            directory.U32(static_cast<uint32_t>(out.Size() - kHeaderBytes));
            out.Bytes(record.value);
        }
        ++count;
    }
    if (count == 0) return {};
    const auto start = static_cast<uint32_t>(out.Size() - kHeaderBytes);
    out.U16(count);
    out.Bytes(directory.Take());
    out.U32(start);
    return out.Take();
}

}  // namespace kestr
