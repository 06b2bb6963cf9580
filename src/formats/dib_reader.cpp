// Windows and OS/2 bitmaps, type ids 0 (run-length), 1 (field mapped), 2 (plain). Little-endian.
// Layout: Microsoft's "Bitmap Storage" and BITMAPINFOHEADER pages.

#include <algorithm>
#include <cstring>
#include <optional>

#include "base/byte_cursor.h"
#include "base/field_mask.h"
#include "base/format_text.h"
#include "base/messages.h"
#include "base/picture_size.h"
#include "base/stated_size.h"
#include "formats/dib_run_length.h"
#include "platform/mapped_file.h"
#include "readers/image_reader.h"
#include "readers/reader_registry.h"
#include "readers/type_ids.h"

namespace kestr {
namespace {

constexpr char kNoSignature[] = "BMP file signature not found.";
constexpr char kBadHeaderSize[] = "Invalid BMP header size.";
constexpr char kBadPlanes[] = "Unsupported BMP plane index.";
constexpr char kBadCompression[] = "Unsupported BMP compression.";
constexpr char kTooShort[] = "File too short.";

constexpr size_t kShortestFile = 30;
constexpr size_t kHeaderStart = 14;  // the file header lies before it
constexpr uint32_t kCoreHeader = 12;
constexpr uint32_t kInfoHeader = 40;

enum CCompression : uint32_t { kPlain = 0, kRLE8 = 1, kRLE4 = 2, kFieldMapped = 3 };

// Bytes of a picture for one of the file, at the most: a run-length move of four bytes skips 255 x
// 255 pixels.
constexpr uint64_t kMostPerByte = 16;
constexpr uint64_t kMostPerPackedByte = 32768;

struct CDIBHeader {
    bool core = false;         // OS/2: three bytes a palette entry
    uint32_t pixelOffset = 0;  // bytes from the start of the file
    int32_t width = 0;         // pixels
    int32_t height = 0;        // rows, positive; the file's sign is kept in topDown
    bool topDown = false;
    int bits = 0;  // a pixel, in the file
    uint32_t compression = kPlain;
    uint32_t colors = 0;  // palette entries; 0 above 8 bits
    int32_t xPerMeter = 0;
    int32_t yPerMeter = 0;
    CFieldMask red, green, blue;

    [[nodiscard]] bool IsPacked() const { return compression == kRLE8 || compression == kRLE4; }
    [[nodiscard]] int DeliveredBits() const { return bits == 16 || bits == 32 ? 24 : bits; }
    /// Bytes of a row in the file, with its padding.
    [[nodiscard]] uint64_t SourceRow() const { return CBitmapInfo::RowBytes(bits, width); }
    /// Bytes of a row that hold pixels.
    [[nodiscard]] uint64_t UsedRow() const { return (static_cast<uint64_t>(width) * bits + 7) / 8; }
};

uint16_t PixelsPerInch(int32_t perMeter) {
    return static_cast<uint16_t>(static_cast<int64_t>(perMeter * 2.54 / 100 + 0.5));
}

}  // namespace

class CDIBReader final : public CImageReader {
public:
    bool Open(const KESTR_CHAR* path, int page) override;
    bool Load(const KESTR_CHAR* path, int page) override;
    bool ReadLine(uint8_t* destination) override;
    void Close() override;

private:
    bool ReadHeader();
    bool ReadCoreHeader(CLittleEndianCursor& in);
    bool ReadInfoHeader(CLittleEndianCursor& in);
    bool CheckCompression();
    bool CheckSize();
    void ReadPalette();
    const uint8_t* NextRow();

    CMappedFileImpl m_file;
    CDIBHeader m_header;
    CPixelBytes m_expanded;             // rows as the file orders them; empty when not packed
    std::span<const uint8_t> m_pixels;  // the rows, in the file or expanded
    uint32_t m_nextRow = 0;             // counted from the top of the picture
};

bool CDIBReader::Open(const KESTR_CHAR* path, int) {
    m_pageCount = 1;
    m_header = {};
    m_bitmapInfo = {};
    if (!m_file.OpenRead(path)) return Fail(Message(message::kCannotOpenInput));
    if (!ReadHeader()) {
        Close();
        return false;
    }
    const CDIBHeader& h = m_header;
    m_bitmapInfo.SetFormat(h.DeliveredBits(), h.width, h.height);
    m_colorCount = h.colors;
    if (h.colors != 0 && h.colors < 256) {
        m_bitmapInfo.SetColorCount(static_cast<uint8_t>(h.colors));
    }
    if (h.bits > 8 && h.bits != 24) m_description += FormatText("Bits/Pixel: %d\r\n", h.bits);
    if (h.DeliveredBits() < 9)
        m_description += FormatText("Colors: %d", static_cast<int>(h.colors));
    if (!h.core) {
        physicalX = PixelsPerInch(h.xPerMeter);
        physicalY = PixelsPerInch(h.yPerMeter);
    }
    return true;
}

bool CDIBReader::ReadHeader() {
    const auto file = m_file.Bytes();
    if (file.size() < kShortestFile) return Fail(Message(message::kBitmapTooShort));
    if (file[0] != 'B' || file[1] != 'M') return Fail(kNoSignature);
    CLittleEndianCursor in(file, 10);
    m_header.pixelOffset = in.U32();
    const uint32_t headerSize = in.U32();
    if (headerSize == kCoreHeader) return ReadCoreHeader(in);
    if (headerSize < kInfoHeader) return Fail(kBadHeaderSize);
    return ReadInfoHeader(in);
}

bool CDIBReader::ReadCoreHeader(CLittleEndianCursor& in) {
    m_description += "OS/2 Device Independent Bitmap File\r\n";
    m_header.core = true;
    m_header.width = in.U16();
    m_header.height = in.U16();
    if (in.U16() != 1) return Fail(kBadPlanes);
    m_header.bits = in.U16();
    if (m_header.bits < 9) m_header.colors = 1u << m_header.bits;
    m_typeId = kTypeBMP;
    return CheckCompression() && CheckSize();
}

bool CDIBReader::ReadInfoHeader(CLittleEndianCursor& in) {
    m_description += "Windows Device Independent Bitmap File\r\n";
    m_header.width = in.I32();
    const int64_t height = in.I32();
    m_header.topDown = height < 0;
    if (in.U16() != 1) return Fail(kBadPlanes);
    if (m_header.width < 0 || height == INT32_MIN) return Fail(kBadHeaderSize);
    m_header.height = static_cast<int32_t>(height < 0 ? -height : height);
    m_description += m_header.topDown ? "Orientation: Top down\r\n" : "Orientation: Bottom up\r\n";
    m_header.bits = in.U16();
    m_header.compression = in.U32();
    in.U32();  // size of the image, which nothing depends on
    m_header.xPerMeter = in.I32();
    m_header.yPerMeter = in.I32();
    const uint32_t colorsUsed = in.U32();
    m_description += "Compression: ";
    switch (m_header.compression) {
        case kPlain: {
            // The rows alone are weighed, without what lies before them: a file that is short by up
            // to that much loads in part.
            const auto bytes =
                StoreBytes(m_header.SourceRow(), static_cast<uint32_t>(m_header.height));
            if (!bytes || *bytes > m_file.Size()) return Fail(kTooShort);
            m_description += "Uncompressed\r\n";
            m_typeId = kTypeBMP;
            break;
        }
        case kRLE8:
            m_description += "8 bit run length encoded\r\n";
            m_typeId = kTypeBMPRunLength;
            break;
        case kRLE4:
            m_description += "4 bit run length encoded\r\n";
            m_typeId = kTypeBMPRunLength;
            break;
        case kFieldMapped:
            m_description += "Uncompressed field mapped\r\n";
            m_typeId = kTypeBMPFieldMapped;
            break;
        default:
            return false;  // without words, as callers know it
    }
    if (!CheckCompression()) return false;
    if (m_header.compression == kFieldMapped) {
        in.Seek(kHeaderStart + kInfoHeader);
        m_header.red = CFieldMask(in.U32());
        m_header.green = CFieldMask(in.U32());
        m_header.blue = CFieldMask(in.U32());
    }
    if (m_header.bits < 9) {
        m_header.colors = 1u << m_header.bits;
        if (colorsUsed != 0 && colorsUsed < m_header.colors) m_header.colors = colorsUsed;
    }
    return CheckSize();
}

bool CDIBReader::CheckCompression() {
    const int bits = m_header.bits;
    const uint32_t compression = m_header.compression;
    const bool known =
        bits == 1 || bits == 4 || bits == 8 || bits == 16 || bits == 24 || bits == 32;
    if (!known) return Fail(kBadCompression);
    if (compression == kPlain) return true;
    const bool refused = bits == 1 || ((bits == 16 || bits == 32) && compression != kFieldMapped) ||
                         (bits == 8 && compression != kRLE8) || (bits == 4 && compression != kRLE4);
    return refused ? Fail(kBadCompression) : true;
}

bool CDIBReader::CheckSize() {
    const uint64_t perByte = m_header.IsPacked() ? kMostPerPackedByte : kMostPerByte;
    const bool plausible = IsPlausibleSize(
        m_header.SourceRow(), static_cast<uint32_t>(m_header.height), m_file.Size(), perByte);
    return plausible ? true : Fail(kTooShort);
}

bool CDIBReader::Load(const KESTR_CHAR* path, int page) {
    if (!Open(path, page)) return false;
    m_nextRow = 0;
    if (m_header.colors != 0) ReadPalette();
    m_pixels = SubRange(m_file.Bytes(), m_header.pixelOffset);
    if (!m_header.IsPacked()) return true;
    const auto rowBytes = static_cast<size_t>(m_header.SourceRow());
    m_expanded.ResizeZeroed(rowBytes * static_cast<size_t>(m_header.height));
    if (m_header.compression == kRLE8) {
        ExpandRLE8(m_pixels, {m_expanded.data(), m_expanded.size()}, rowBytes);
    } else {
        ExpandRLE4(m_pixels, {m_expanded.data(), m_expanded.size()}, rowBytes);
    }
    m_pixels = {m_expanded.data(), m_expanded.size()};
    return true;
}

void CDIBReader::ReadPalette() {
    // Behind the first 40 bytes whatever the header's stated size: writers of longer headers that
    // readers of old stumbled over put the palette there.
    CLittleEndianCursor in(m_file.Bytes(),
                           kHeaderStart + (m_header.core ? kCoreHeader : kInfoHeader));
    bool allBlack = true;
    for (uint32_t i = 0; i < m_header.colors; ++i) {
        CRGBQuad& entry = m_bitmapInfo.Palette()[i];
        entry.rgbBlue = in.U8();
        entry.rgbGreen = in.U8();
        entry.rgbRed = in.U8();
        if (!m_header.core) in.U8();
        allBlack = allBlack && (entry.rgbBlue | entry.rgbGreen | entry.rgbRed) == 0;
    }
    // Some writers leave the palette of a black and white picture empty.
    if (allBlack) m_bitmapInfo.Palette()[1] = {255, 255, 255, 0};
}

/// The next row of the source, or null when the file does not hold it whole.
const uint8_t* CDIBReader::NextRow() {
    const auto rows = static_cast<uint32_t>(m_header.height);
    if (m_nextRow >= rows) return nullptr;
    const uint32_t line = m_header.topDown ? m_nextRow : rows - 1 - m_nextRow;
    const uint64_t offset = line * m_header.SourceRow();
    if (offset + m_header.UsedRow() > m_pixels.size()) return nullptr;
    ++m_nextRow;
    return m_pixels.data() + offset;
}

bool CDIBReader::ReadLine(uint8_t* destination) {
    if (CheckAbort()) return false;
    ReportProgress(m_nextRow, 1, 1);
    const uint8_t* source = NextRow();
    if (source == nullptr) {
        m_description += Message(message::kIncompleteRead);
        return false;
    }
    const auto width = static_cast<size_t>(m_header.width);
    switch (m_header.bits) {
        case 1:
        case 4: {
            const auto left = static_cast<size_t>(m_pixels.data() + m_pixels.size() - source);
            std::memcpy(destination, source,
                        std::min(static_cast<size_t>(m_header.SourceRow()), left));
            break;
        }
        case 8:
            std::memcpy(destination, source, width);
            break;
        case 24:
            std::memcpy(destination, source, 3 * width);
            break;
        case 16:
            for (size_t x = 0; x < width; ++x, destination += 3) {
                const auto value = LoadNumber<uint16_t, std::endian::little>(source + 2 * x);
                if (m_header.compression == kFieldMapped) {
                    const bool white = value == 0xFFFF;
                    destination[0] = white ? 255 : m_header.blue.Extract(value);
                    destination[1] = white ? 255 : m_header.green.Extract(value);
                    destination[2] = white ? 255 : m_header.red.Extract(value);
                } else {
                    const bool white = value == 0x7FFF;
                    destination[0] = white ? 255 : static_cast<uint8_t>(value << 3);
                    destination[1] = white ? 255 : static_cast<uint8_t>((value >> 2) & 0xF8);
                    destination[2] = white ? 255 : static_cast<uint8_t>((value >> 7) & 0xF8);
                }
            }
            break;
        default:
            for (size_t x = 0; x < width; ++x, destination += 3) {
                if (m_header.compression == kFieldMapped) {
                    const auto value = LoadNumber<uint32_t, std::endian::little>(source + 4 * x);
                    destination[0] = m_header.blue.Extract(value);
                    destination[1] = m_header.green.Extract(value);
                    destination[2] = m_header.red.Extract(value);
                } else {
                    destination[0] = source[4 * x];
                    destination[1] = source[4 * x + 1];
                    destination[2] = source[4 * x + 2];
                }
            }
            break;
    }
    return true;
}

void CDIBReader::Close() {
    m_pixels = {};
    m_file.Close();
    m_expanded.clear();
}

namespace {

const CReaderRegistration kReaders{{kTypeBMPRunLength, kTypeBMPFieldMapped, kTypeBMP},
                                   &MakeReader<CDIBReader>};

}  // namespace
}  // namespace kestr
