#include "formats/tiff_support.h"

#include <algorithm>
#include <cstring>
#include <optional>

#include "base/byte_cursor.h"
#include "platform/files.h"

namespace kestr {
namespace {

// The most that libtiff takes for one block: a strip or tile, or the values of a tag.
constexpr tmsize_t kMostMemory = tmsize_t{1} << 30;

// Nothing goes on to the process-wide handlers: the reader or writer has words of its own.
int Silence(TIFF*, void*, const char*, const char*, va_list) {
    return 1;
}

CTIFFHandle OpenClient(const char* mode, thandle_t client, TIFFReadWriteProc read,
                       TIFFReadWriteProc write, TIFFSeekProc seek, TIFFCloseProc close,
                       TIFFSizeProc size, TIFFMapFileProc map, TIFFUnmapFileProc unmap) {
    struct CFreeOptions {
        void operator()(TIFFOpenOptions* options) const { TIFFOpenOptionsFree(options); }
    };
    const std::unique_ptr<TIFFOpenOptions, CFreeOptions> options(TIFFOpenOptionsAlloc());
    if (!options) return nullptr;
    TIFFOpenOptionsSetErrorHandlerExtR(options.get(), &Silence, nullptr);
    TIFFOpenOptionsSetWarningHandlerExtR(options.get(), &Silence, nullptr);
    TIFFOpenOptionsSetMaxSingleMemAlloc(options.get(), kMostMemory);
    return CTIFFHandle(TIFFClientOpenExt("", mode, client, read, write, seek, close, size, map,
                                         unmap, options.get()));
}

// ---- a file in memory --------------------------------------------------------------------------

struct CMemoryFile {
    std::span<const uint8_t> bytes;
    uint64_t position = 0;
};

tmsize_t ReadMemory(thandle_t client, void* buffer, tmsize_t count) {
    auto& file = *static_cast<CMemoryFile*>(client);
    const auto piece = SubRange(file.bytes, file.position, static_cast<uint64_t>(count));
    if (!piece.empty()) std::memcpy(buffer, piece.data(), piece.size());
    file.position += piece.size();
    return static_cast<tmsize_t>(piece.size());
}

tmsize_t WriteNothing(thandle_t, void*, tmsize_t) {
    return -1;
}

toff_t SeekMemory(thandle_t client, toff_t offset, int whence) {
    auto& file = *static_cast<CMemoryFile*>(client);
    const uint64_t base = whence == SEEK_SET   ? 0
                          : whence == SEEK_CUR ? file.position
                                               : file.bytes.size();
    file.position = base + offset;  // one beyond the end is no fault: nothing is read there
    return file.position;
}

int CloseMemory(thandle_t client) {
    const std::unique_ptr<CMemoryFile> owned(static_cast<CMemoryFile*>(client));
    return 0;
}

toff_t SizeOfMemory(thandle_t client) {
    return static_cast<CMemoryFile*>(client)->bytes.size();
}

int MapMemory(thandle_t client, void** base, toff_t* size) {
    const auto bytes = static_cast<CMemoryFile*>(client)->bytes;
    *base = const_cast<uint8_t*>(bytes.data());  // libtiff only reads
    *size = bytes.size();
    return 1;
}

void UnmapMemory(thandle_t, void*, toff_t) {}

// ---- a stream ----------------------------------------------------------------------------------

tmsize_t ReadStream(thandle_t client, void* buffer, tmsize_t count) {
    return static_cast<CTIFFStream*>(client)->Read(buffer, count);
}

tmsize_t WriteStream(thandle_t client, void* buffer, tmsize_t count) {
    return static_cast<CTIFFStream*>(client)->Write(buffer, count);
}

toff_t SeekTo(thandle_t client, toff_t offset, int whence) {
    return static_cast<CTIFFStream*>(client)->Seek(offset, whence);
}

int LeaveStream(thandle_t) {
    return 0;  // its owner closes it
}

toff_t SizeOfStream(thandle_t client) {
    return static_cast<CTIFFStream*>(client)->Size();
}

int MapNothing(thandle_t, void**, toff_t*) {
    return 0;
}

// ---- entries of a finished file ----------------------------------------------------------------

constexpr uint16_t kTagIPTC = 33723;
constexpr uint16_t kTypeByte = 1;
constexpr uint16_t kTypeLong = 4;
constexpr uint16_t kTypeDirectory = 13;  // TIFF Technical Note 1
constexpr uint32_t kEntryBytes = 12;
constexpr int kMostDirectories = 65536;  // an endless chain stops here

struct CFoundEntry {
    uint32_t entry = 0;  // bytes from the start of the file
    uint16_t type = 0;
    uint32_t count = 0;
    uint32_t offset = 0;
};

struct CFoundDirectory {
    uint32_t next = 0;
    std::optional<CFoundEntry> entry;  // the one that was looked for
};

template <std::endian Order>
std::optional<CFoundDirectory> SearchDirectory(std::span<const uint8_t> file, uint32_t offset,
                                               uint16_t wanted) {
    if (offset == 0) return std::nullopt;
    CByteCursor<Order> in(file, offset);
    const uint16_t entries = in.U16();
    CFoundDirectory directory;
    for (uint32_t i = 0; i < entries; ++i) {
        const uint32_t at = offset + 2 + i * kEntryBytes;
        const uint16_t tag = in.U16();
        const CFoundEntry entry{
            .entry = at, .type = in.U16(), .count = in.U32(), .offset = in.U32()};
        if (!in.Ok()) return std::nullopt;
        if (tag == wanted) directory.entry = entry;
    }
    directory.next = in.U32();
    if (!in.Ok()) directory.next = 0;
    return directory;
}

// The entry of a page, or with -1 of the last one.
template <std::endian Order>
std::optional<CFoundEntry> FindEntry(std::span<const uint8_t> file, int page, uint16_t tag) {
    uint32_t offset = CByteCursor<Order>(file, 4).U32();
    std::optional<CFoundEntry> found;
    for (int i = 0; i < kMostDirectories && (page < 0 || i <= page); ++i) {
        const auto directory = SearchDirectory<Order>(file, offset, tag);
        if (!directory) return page < 0 ? found : std::nullopt;
        found = directory->entry;
        offset = directory->next;
    }
    return found;
}

// An entry of the last page that has the type gets another, of as many bytes in all.
template <std::endian Order>
void ChangeType(std::span<uint8_t> file, uint16_t tag, uint16_t type, uint16_t newType,
                uint32_t countFactor) {
    const auto entry = FindEntry<Order>(file, -1, tag);
    if (!entry || entry->type != type) return;
    StoreNumber<uint16_t, Order>(file.data() + entry->entry + 2, newType);
    StoreNumber<uint32_t, Order>(file.data() + entry->entry + 4, entry->count * countFactor);
}

bool IsBigEndian(std::span<const uint8_t> file) {
    return file.size() > 1 && file[0] == 'M' && file[1] == 'M';
}

}  // namespace

CTIFFHandle OpenTIFF(std::span<const uint8_t> file) {
    auto client = std::make_unique<CMemoryFile>();
    client->bytes = file;
    // "c": strips stay as they are, so that they can be read whole.
    CTIFFHandle tiff = OpenClient("rc", client.get(), &ReadMemory, &WriteNothing, &SeekMemory,
                                  &CloseMemory, &SizeOfMemory, &MapMemory, &UnmapMemory);
    if (tiff) (void)client.release();  // CloseMemory has it now
    return tiff;
}

CTIFFHandle OpenTIFF(CTIFFStream& stream, const char* mode) {
    return OpenClient(mode, &stream, &ReadStream, &WriteStream, &SeekTo, &LeaveStream,
                      &SizeOfStream, &MapNothing, &UnmapMemory);
}

CTIFFStream::CTIFFStream(std::FILE* stream) : m_stream(stream) {
    if (std::fseek(stream, 0, SEEK_END) != 0) return;
    const long size = std::ftell(stream);
    m_size = m_actual = static_cast<uint64_t>(std::max(size, 0L));
}

// Between a write and a read, and back, C streams want a seek.
bool CTIFFStream::Reach(bool forWriting) {
    if (m_actual != m_position || m_wrote != forWriting) {
        if (!SeekStream(m_stream, m_position)) return false;
        m_actual = m_position;
    }
    m_wrote = forWriting;
    return true;
}

tmsize_t CTIFFStream::Read(void* buffer, tmsize_t count) {
    if (count < 0 || !Reach(false)) return -1;
    const size_t got = std::fread(buffer, 1, static_cast<size_t>(count), m_stream);
    m_position += got;
    m_actual = m_position;
    return static_cast<tmsize_t>(got);
}

tmsize_t CTIFFStream::Write(const void* buffer, tmsize_t count) {
    if (count < 0 || !Reach(true)) return -1;
    const size_t put = std::fwrite(buffer, 1, static_cast<size_t>(count), m_stream);
    m_position += put;
    m_actual = m_position;
    m_size = std::max(m_size, m_position);
    return static_cast<tmsize_t>(put);
}

toff_t CTIFFStream::Seek(toff_t offset, int whence) {
    const uint64_t base = whence == SEEK_SET ? 0 : whence == SEEK_CUR ? m_position : m_size;
    m_position = base + offset;
    return m_position;
}

std::span<const uint8_t> FindRichTIFFIPTC(std::span<const uint8_t> file, int page) {
    const auto entry = IsBigEndian(file) ? FindEntry<std::endian::big>(file, page, kTagIPTC)
                                         : FindEntry<std::endian::little>(file, page, kTagIPTC);
    if (!entry || file.size() < 10 || entry->offset >= file.size() - 10) return {};
    const uint64_t bytes = uint64_t{entry->count} * (entry->type == kTypeLong ? 4 : 1);
    return SubRange(file, entry->offset, bytes);
}

void FixRichTIFFIPTCType(std::span<uint8_t> file) {
    if (IsBigEndian(file)) {
        ChangeType<std::endian::big>(file, kTagIPTC, kTypeLong, kTypeByte, 4);
    } else {
        ChangeType<std::endian::little>(file, kTagIPTC, kTypeLong, kTypeByte, 4);
    }
}

void FixDirectoryPointerTypes(std::span<uint8_t> file) {
    for (const uint16_t tag : {TIFFTAG_EXIFIFD, TIFFTAG_GPSIFD}) {
        if (IsBigEndian(file)) {
            ChangeType<std::endian::big>(file, tag, kTypeDirectory, kTypeLong, 1);
        } else {
            ChangeType<std::endian::little>(file, tag, kTypeDirectory, kTypeLong, 1);
        }
    }
}

}  // namespace kestr
