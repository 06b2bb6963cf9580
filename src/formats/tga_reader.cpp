// Truevision Targa, type ids 16 (plain) and 17 (run-length). Little-endian, rows from the bottom
// unless the descriptor says otherwise.
// Layout: Truevision's "TGA File Format Specification", version 2.0.

#include <algorithm>
#include <array>
#include <cstring>
#include <vector>

#include "base/byte_cursor.h"
#include "base/format_text.h"
#include "base/stated_size.h"
#include "platform/mapped_file.h"
#include "readers/image_reader.h"
#include "readers/reader_registry.h"
#include "readers/type_ids.h"

namespace kestr {
namespace {

constexpr char kNotTarga[] = "Not a Targa image.";
constexpr char kShortFile[] = "Short file.";

constexpr size_t kHeaderSize = 18;
// Bytes of a picture for one of the file, at the most: a packet of two bytes stands for 128 pixels.
constexpr uint64_t kMostPerByte = 16;
constexpr uint64_t kMostPerPackedByte = 512;

struct CTargaHeader {
    uint8_t idLength = 0;
    uint8_t mapType = 0;
    uint8_t imageType = 0;
    uint16_t mapLength = 0;  // entries
    uint8_t mapEntryBits = 0;
    uint16_t width = 0;
    uint16_t height = 0;
    uint8_t depth = 0;  // bits a pixel in the file
    uint8_t descriptor = 0;

    [[nodiscard]] bool IsMonochrome() const { return imageType == 3 || imageType == 11; }
    [[nodiscard]] bool IsMapped() const { return imageType == 1 || imageType == 9; }
    [[nodiscard]] bool IsPacked() const { return imageType >= 9 && imageType <= 11; }
    [[nodiscard]] bool TopFirst() const { return (descriptor & 0x20) != 0; }
    [[nodiscard]] int Interleave() const { return descriptor >> 6; }
    [[nodiscard]] bool HasAlpha() const {
        return (descriptor & 8) != 0 && (imageType == 2 || imageType == 10) && depth == 32;
    }
    [[nodiscard]] size_t PixelBytes() const { return (depth + size_t{7}) / 8; }
    [[nodiscard]] size_t MapEntryBytes() const {
        switch (mapEntryBits) {
            case 15:
            case 16:
                return 2;
            case 24:
                return 3;
            case 32:
                return 4;
            default:
                return 1;
        }
    }
};

CTargaHeader ParseHeader(std::span<const uint8_t> file) {
    CLittleEndianCursor in(file);
    CTargaHeader h;
    h.idLength = in.U8();
    h.mapType = in.U8();
    h.imageType = in.U8();
    in.U16();  // first entry of the colour map
    h.mapLength = in.U16();
    h.mapEntryBits = in.U8();
    in.U32();  // origin on the screen
    h.width = in.U16();
    h.height = in.U16();
    h.depth = in.U8();
    h.descriptor = in.U8();
    return h;
}

bool IsTarga(const CTargaHeader& h) {
    constexpr std::array<uint8_t, 7> kDepths{1, 4, 8, 15, 16, 24, 32};
    return h.mapType <= 2 && h.imageType != 0 && h.imageType <= 11 && h.width != 0 &&
           h.height != 0 && std::ranges::find(kDepths, h.depth) != kDepths.end();
}

/// Blue, green and red of a pixel or entry of 5-5-5 bits.
void Expand555(const uint8_t* bytes, uint8_t* pixel) {
    const int value = bytes[0] | bytes[1] << 8;
    pixel[0] = static_cast<uint8_t>(value << 3);
    pixel[1] = static_cast<uint8_t>(value >> 2 & 0xF8);
    pixel[2] = static_cast<uint8_t>(value >> 7 & 0xF8);
}

}  // namespace

class CTargaReader final : public CImageReader {
public:
    bool Open(const KESTR_CHAR* path, int page) override;
    bool Load(const KESTR_CHAR* path, int page) override;
    bool ReadLine(uint8_t* destination) override;
    void Close() override;

private:
    bool ReadHeader();
    void ReadPalette();
    bool ReadsFileRows() const;
    bool Decode();
    template <size_t kStored>
    bool DecodeRow(uint8_t* row);
    void ReadFileRow(uint8_t* destination);

    /// A packet of a run-length picture that goes on into the next row.
    struct CPacket {
        size_t left = 0;  // pixels
        bool isRun = false;
        std::array<uint8_t, 4> value{};
    };

    CMappedFileImpl m_file;
    CTargaHeader m_header;
    size_t m_at = 0;         // offset in the file: behind what was read
    size_t m_pixels = 0;     // offset of the first row, on the fast road
    CPixelBytes m_buffer;    // decoded rows from the top; empty on the fast road
    size_t m_bufferRow = 0;  // bytes of a row of it
    CPacket m_packet;
    uint32_t m_rowsRead = 0;
};

bool CTargaReader::Open(const KESTR_CHAR* path, int) {
    m_pageCount = 1;
    m_errorText = kNotTarga;
    if (!m_file.OpenRead(path)) return false;
    if (!ReadHeader()) {
        Close();
        return false;
    }
    m_errorText.clear();
    return true;
}

bool CTargaReader::ReadHeader() {
    const auto file = m_file.Bytes();
    if (file.size() < kHeaderSize) return false;
    m_header = ParseHeader(file);
    const CTargaHeader& h = m_header;
    if (!IsTarga(h)) return false;
    m_description += "TARGA Format\r\nImage type: ";
    int bits = 24;
    uint32_t colors = 0;
    if (h.IsMonochrome()) {
        m_description += "Monochrome";
        // The length of a colour map that is not there tells one bit from eight.
        bits = h.mapLength == 2 ? 1 : 8;
        colors = h.mapLength == 2 ? 2 : std::min<uint32_t>(h.mapLength, 256);
    } else if (h.IsMapped()) {
        m_description += FormatText("%d mapped colors", h.mapLength);
        bits = h.depth == 8 ? 8 : 24;
        colors = std::min<uint32_t>(h.mapLength, 256);
        if (bits == 8 && colors == 0) return false;
    } else {
        m_description += "RGB";
    }
    m_description += "\r\nCompression: ";
    m_description += h.IsPacked() ? "RLE" : "None";
    m_typeId = h.IsPacked() ? kTypeTargaRunLength : kTypeTarga;
    if (h.HasAlpha()) m_description += "\r\nAlpha Channel: Yes";
    m_bitmapInfo.SetFormat(bits, h.width, h.height);
    m_colorCount = bits == 24 ? 0 : colors;
    if (m_colorCount < 256) m_bitmapInfo.SetColorCount(static_cast<uint8_t>(m_colorCount));
    const auto id = SubRange(file, kHeaderSize, h.idLength);
    if (!id.empty()) SetComment({reinterpret_cast<const char*>(id.data()), id.size()});
    m_at = std::min(kHeaderSize + h.idLength, file.size());
    return IsPlausibleSize(uint64_t{h.width} * std::max<size_t>(h.PixelBytes(), 3), h.height,
                           file.size(), h.IsPacked() ? kMostPerPackedByte : kMostPerByte);
}

bool CTargaReader::Load(const KESTR_CHAR* path, int page) {
    if (!Open(path, page)) return false;
    m_rowsRead = 0;
    ReadPalette();
    if (!ReadsFileRows()) return Decode();
    m_pixels = m_at;
    return true;
}

void CTargaReader::ReadPalette() {
    const int bits = m_bitmapInfo.BitCount();
    auto& palette = m_bitmapInfo.Palette();
    if (m_header.IsMapped() && m_header.mapType != 0) {
        const size_t entryBytes = m_header.MapEntryBytes();
        const auto map = SubRange(m_file.Bytes(), m_at, m_header.mapLength * entryBytes);
        m_at += map.size();
        for (size_t i = 0; bits == 8 && i < m_colorCount && (i + 1) * entryBytes <= map.size();
             ++i) {
            const uint8_t* entry = map.data() + i * entryBytes;
            std::array<uint8_t, 3> color{entry[0], entry[0], entry[0]};
            if (entryBytes == 2) Expand555(entry, color.data());
            if (entryBytes >= 3) std::copy_n(entry, 3, color.begin());
            palette[i] = {color[0], color[1], color[2], 0};
        }
    } else if (bits == 1) {
        m_bitmapInfo.SetColorCount(0);
        palette[0] = {0, 0, 0, 0};
        palette[1] = {255, 255, 255, 0};
    } else if (bits == 8) {
        m_bitmapInfo.SetGrayPalette();
    }
}

/// Rows that lie in the file as they are delivered, or nearly so, are taken from there.
bool CTargaReader::ReadsFileRows() const {
    return m_header.Interleave() == 0 && !m_header.IsPacked() && m_header.depth <= 24;
}

/// Decodes the whole picture into m_buffer. False at an abort, or at a packet without a header.
bool CTargaReader::Decode() {
    const bool wide = m_bitmapInfo.BitCount() > 8;
    const size_t stored = !wide ? 1 : m_header.HasAlpha() ? 4 : 3;
    m_bufferRow = m_header.width * stored;
    m_buffer.ResizeZeroed(m_bufferRow * m_header.height);
    if (m_header.HasAlpha()) m_alpha.ResizeZeroed(size_t{m_header.width} * m_header.height);
    m_packet = {};
    const size_t step = m_header.Interleave() == 2 ? 2 : 1;
    const size_t height = m_header.height;
    for (size_t row = 0, start = 0, done = 0; done < height; ++done) {
        if (CheckAbort()) return false;
        if (m_at >= m_file.Size() && m_packet.left == 0 && !m_header.IsPacked()) return true;
        const size_t y = m_header.TopFirst() ? row : height - 1 - row;
        uint8_t* line = m_buffer.data() + y * m_bufferRow;
        const bool whole = stored == 1   ? DecodeRow<1>(line)
                           : stored == 3 ? DecodeRow<3>(line)
                                         : DecodeRow<4>(line);
        if (!whole) return m_errorText.empty();
        row += step;
        if (row >= height) row = ++start;
    }
    return true;
}

/// One row of pixels, `kStored` bytes each. False at the end of the file; m_errorText then tells
/// whether that is an error.
template <size_t kStored>
bool CTargaReader::DecodeRow(uint8_t* row) {
    const auto file = m_file.Bytes();
    const size_t pixelBytes = m_header.PixelBytes();
    const auto store = [&](const uint8_t* source, uint8_t* destination) {
        if (pixelBytes == 2) {
            std::array<uint8_t, 4> color{};
            Expand555(source, color.data());
            std::memcpy(destination, color.data(), kStored);
        } else if (pixelBytes >= kStored) {
            std::memcpy(destination, source, kStored);
        } else {
            std::memset(destination, source[0], kStored);
        }
    };
    for (size_t x = 0; x < m_header.width;) {
        size_t count = m_header.width - x;  // pixels that go on without a new header
        if (m_header.IsPacked()) {
            if (m_packet.left == 0) {
                if (m_at >= file.size()) return Fail(kShortFile);
                const uint8_t head = file[m_at++];
                m_packet.left = (head & 127) + size_t{1};
                m_packet.isRun = (head & 128) != 0;
                if (m_packet.isRun) {
                    if (file.size() - m_at < pixelBytes) return false;
                    store(file.data() + m_at, m_packet.value.data());
                    m_at += pixelBytes;
                }
            }
            count = std::min(count, m_packet.left);
            m_packet.left -= count;
        }
        uint8_t* destination = row + x * kStored;
        x += count;
        if (m_header.IsPacked() && m_packet.isRun) {
            if constexpr (kStored == 1) {
                std::memset(destination, m_packet.value[0], count);
            } else {
                const auto value = m_packet.value;
                for (size_t i = 0; i < count; ++i) {
                    std::memcpy(destination + i * kStored, value.data(), kStored);
                }
            }
            continue;
        }
        const size_t there = std::min(count, (file.size() - m_at) / pixelBytes);
        if (pixelBytes == kStored && pixelBytes != 2) {
            std::memcpy(destination, file.data() + m_at, there * kStored);
        } else {
            for (size_t i = 0; i < there; ++i) {
                store(file.data() + m_at + i * pixelBytes, destination + i * kStored);
            }
        }
        m_at += there * pixelBytes;
        if (there != count) {
            m_at = file.size();
            return false;
        }
    }
    return true;
}

bool CTargaReader::ReadLine(uint8_t* destination) {
    ReportProgress(m_rowsRead, 1, 1);
    if (CheckAbort() || m_rowsRead >= m_header.height) return false;
    const size_t width = m_header.width;
    if (m_buffer.empty()) {
        ReadFileRow(destination);
    } else if (m_bitmapInfo.BitCount() == 1) {
        const uint8_t bits = m_buffer[0] != 0 ? 0xFF : 0;
        std::memset(destination, bits, width / 8);
        if (width % 8 != 0) destination[width / 8] = static_cast<uint8_t>(bits << (8 - width % 8));
    } else if (!m_header.HasAlpha()) {
        std::memcpy(destination, m_buffer.data() + m_rowsRead * m_bufferRow, m_bufferRow);
    } else {
        const uint8_t* source = m_buffer.data() + m_rowsRead * m_bufferRow;
        uint8_t* alpha = m_alpha.data() + m_rowsRead * width;
        for (size_t x = 0; x < width; ++x) {
            std::memcpy(destination + 3 * x, source + 4 * x, 3);
            alpha[x] = source[4 * x + 3];
        }
    }
    ++m_rowsRead;
    return true;
}

/// The fast road: what the file no longer holds is 0.
void CTargaReader::ReadFileRow(uint8_t* destination) {
    const size_t width = m_header.width;
    const int bits = m_bitmapInfo.BitCount();
    const size_t sourceRow = bits == 24 ? m_header.PixelBytes() * width : width;
    const auto rowAt = [&](uint32_t fromTop) {
        const uint64_t row = m_header.TopFirst() ? fromTop : m_header.height - 1u - fromTop;
        return SubRange(m_file.Bytes(), m_pixels + row * sourceRow, sourceRow);
    };
    if (bits == 1) {
        // Every pixel takes the value of the picture's first one; callers know this form so.
        const auto first = rowAt(0);
        const uint8_t value = !first.empty() && first[0] != 0 ? 0xFF : 0;
        std::memset(destination, value, width / 8);
        if (width % 8 != 0) destination[width / 8] = static_cast<uint8_t>(value << (8 - width % 8));
        return;
    }
    const auto row = rowAt(m_rowsRead);
    if (bits == 8 || m_header.PixelBytes() == 3) {
        const size_t used = bits == 8 ? width : 3 * width;
        std::ranges::copy(row, destination);
        std::memset(destination + row.size(), 0, used - row.size());
        return;
    }
    for (size_t x = 0; x < width; ++x) {
        const std::array<uint8_t, 2> pixel{2 * x < row.size() ? row[2 * x] : uint8_t{0},
                                           2 * x + 1 < row.size() ? row[2 * x + 1] : uint8_t{0}};
        Expand555(pixel.data(), destination + 3 * x);
    }
}

void CTargaReader::Close() {
    m_file.Close();
    m_buffer.clear();
}

namespace {

const CReaderRegistration kReaders{{kTypeTarga, kTypeTargaRunLength}, &MakeReader<CTargaReader>};

}  // namespace
}  // namespace kestr
