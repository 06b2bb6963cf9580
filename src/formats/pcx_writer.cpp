// Writes PCX files of version 5, type id 8, and appends them to DCX containers, type id 3.

#include <algorithm>
#include <array>
#include <bit>
#include <vector>

#include "base/byte_cursor.h"
#include "base/messages.h"
#include "base/pixel_planes.h"
#include "formats/pcx.h"
#include "image/image_bits.h"
#include "image/row_access.h"
#include "image/writer_registry.h"
#include "platform/files.h"
#include "readers/type_ids.h"

namespace kestr {
namespace {

constexpr char kBadSignature[] = "Invalid DCX signature.";
constexpr char kTruncatedTable[] = "Truncated page table. Cannot append to this file.";
constexpr uint8_t kCount = 0xC0;  // from here on the low six bits are a count
constexpr uint8_t kLongestRun = 63;
constexpr size_t kBlock = size_t{1} << 16;  // bytes gathered before they are written
constexpr int32_t kLongestSide = 65535;

/// Packets of one plane of a line: runs of two and more, and single bytes that look like a count,
/// get a count byte.
class CLinePacker {
public:
    CLinePacker(const uint8_t* line, uint8_t* packed) : m_line(line), m_packed(packed) {}

    /// Gives the end of what it wrote; at most two bytes for each byte, and one more is touched.
    uint8_t* Pack(size_t count) {
        constexpr uint64_t kLow = 0x7F7F7F7F7F7F7F7F;
        size_t i = 0;
        for (; i + 8 < count; i += 8) {
            // Eight bytes beside those that follow them: a high bit is set where a run ends.
            const uint64_t differing = Load(i) ^ Load(i + 1);
            uint64_t ends = (((differing & kLow) + kLow) | differing) & ~kLow;
            for (; ends != 0; ends &= ends - 1) {
                EndRun(i + static_cast<size_t>(std::countr_zero(ends)) / 8 + 1);
            }
        }
        for (; i + 1 < count; ++i) {
            if (m_line[i] != m_line[i + 1]) EndRun(i + 1);
        }
        if (m_start < count) EndRun(count);
        return m_packed;
    }

private:
    [[nodiscard]] uint64_t Load(size_t at) const {
        return LoadNumber<uint64_t, std::endian::little>(m_line + at);
    }

    /// Without a branch for the short runs, which come in no order.
    void EndRun(size_t end) {
        const uint8_t value = m_line[m_start];
        size_t length = end - m_start;
        for (; length > kLongestRun; length -= kLongestRun) {
            *m_packed++ = kCount | kLongestRun;
            *m_packed++ = value;
        }
        const size_t counted =
            static_cast<size_t>(length > 1) | static_cast<size_t>(value >= kCount);
        m_packed[0] = static_cast<uint8_t>(kCount | length);
        m_packed[counted] = value;
        m_packed += 1 + counted;
        m_start = end;
    }

    const uint8_t* m_line;
    uint8_t* m_packed;
    size_t m_start = 0;  // of the run
};

uint8_t* PackLine(const uint8_t* line, size_t count, uint8_t* packed) {
    return CLinePacker(line, packed).Pack(count);
}

std::array<uint8_t, 128> Header(const CImageBits& image, size_t planeLine) {
    const int bits = image.bitmapInfo.BitCount();
    std::array<uint8_t, 128> header{};
    const auto put16 = [&](size_t at, int value) {
        StoreNumber<uint16_t, std::endian::little>(header.data() + at,
                                                   static_cast<uint16_t>(value));
    };
    header[0] = 10;
    header[1] = 5;
    header[2] = 1;
    header[3] = bits == 1 ? 1 : 8;
    put16(8, image.Width() - 1);
    put16(10, image.Height() - 1);
    for (size_t i = 0; i < 16; ++i) {
        const CRGBQuad& entry = image.bitmapInfo.Palette()[i];
        header[16 + 3 * i] = entry.rgbRed;
        header[17 + 3 * i] = entry.rgbGreen;
        header[18 + 3 * i] = entry.rgbBlue;
    }
    header[65] = bits == 24 ? 3 : 1;
    put16(66, static_cast<int>(planeLine));
    put16(68, 1);
    return header;
}

/// A picture of 65535 pixels and rows is the largest that the header's fields can tell.
bool FitsHeader(const CImageBits& image) {
    return image.Width() <= kLongestSide && image.Height() <= kLongestSide;
}

}  // namespace

bool WritePCX(CImageBits& image, COutputFile& file) {
    const int bits = image.bitmapInfo.BitCount();
    const auto width = static_cast<size_t>(image.Width());
    const size_t planeLine = bits == 1 ? (width + 7) / 8 : width;
    file.Write(Header(image, planeLine));
    std::vector<uint8_t> line(width);
    std::vector<uint8_t> block(kBlock + 6 * planeLine + 1);
    uint8_t* end = block.data();
    for (int32_t y = 0; y < image.Height(); ++y) {
        const uint8_t* row = image.RowFromTop(y);
        if (bits == 24) {
            for (size_t plane = 0; plane < 3; ++plane) {  // red, green, blue
                TakeChannel(row + 2 - plane, width, line.data());
                end = PackLine(line.data(), width, end);
            }
        } else if (bits == 4) {
            UnpackIndices(row, bits, width, line.data());
            end = PackLine(line.data(), width, end);
        } else {
            end = PackLine(row, planeLine, end);
        }
        const auto filled = static_cast<size_t>(end - block.data());
        if (filled >= kBlock || y + 1 == image.Height()) {
            if (!file.Write(block.data(), filled)) return false;
            end = block.data();
        }
        image.ReportSaveProgress(static_cast<uint32_t>(y));
    }
    if (bits != 4 && bits != 8) return true;
    std::vector<uint8_t> palette{12};
    for (const CRGBQuad& entry : image.bitmapInfo.Palette()) {
        palette.insert(palette.end(), {entry.rgbRed, entry.rgbGreen, entry.rgbBlue});
    }
    return file.Write(palette);
}

namespace {

bool SavePCX(CImageBits& image, const CSaveRequest& request) {
    if (!FitsHeader(image)) {
        image.errorText = Message(message::kDepthNotSupported);
        return false;
    }
    COutputFile file;
    if (!file.Create(request.path)) {
        image.errorText = Message(message::kCannotCreate);
        return false;
    }
    const bool written = WritePCX(image, file);
    return file.Close() && written;
}

/// The table of a container that is there, as far as it is filled; null words when it may grow.
const char* ReadTable(const KESTR_CHAR* path, std::vector<uint32_t>& pages, uint32_t& fileSize) {
    CMappedFileImpl file;
    if (!file.OpenRead(path)) return kBadSignature;
    CLittleEndianCursor in(file.Bytes());
    if (in.U32() != kDCXSignature) return kBadSignature;
    while (pages.size() < kDCXPages) {
        const uint32_t offset = in.U32();
        if (offset == 0) break;
        if (offset < kDCXFirstPage) return kTruncatedTable;
        pages.push_back(offset);
    }
    fileSize = std::max(file.Size(), kDCXFirstPage);
    // The last entry stays zero, so that the table has an end.
    return pages.size() < kDCXPages - 1 ? nullptr : kTruncatedTable;
}

/// Writes the picture as the only page, or with an option that is not 0 as one more page.
bool SaveDCX(CImageBits& image, const CSaveRequest& request) {
    if (!FitsHeader(image)) {
        image.errorText = Message(message::kDepthNotSupported);
        return false;
    }
    if (request.option == 0) RemoveFile(request.path);
    COutputFile file;
    std::vector<uint32_t> pages;
    uint32_t end = kDCXFirstPage;
    if (CanReadFile(request.path)) {
        if (const char* words = ReadTable(request.path, pages, end)) {
            image.errorText = words;
            return false;
        }
        if (!file.Open(request.path)) {
            image.errorText = Message(message::kCannotCreate);
            return false;
        }
    } else if (!file.Create(request.path)) {
        image.errorText = Message(message::kCannotCreate);
        return false;
    }
    pages.push_back(end);
    pages.resize(kDCXPages);
    std::array<uint8_t, kDCXFirstPage> table{};
    StoreNumber<uint32_t, std::endian::little>(table.data(), kDCXSignature);
    for (size_t i = 0; i < pages.size(); ++i) {
        StoreNumber<uint32_t, std::endian::little>(table.data() + 4 + 4 * i, pages[i]);
    }
    file.Write(table);
    file.Seek(end);
    const bool written = WritePCX(image, file);
    return file.Close() && written;
}

const CWriterRegistration kPCXWriter{{kTypePCX}, &SavePCX};
const CWriterRegistration kDCXWriter{{kTypeDCX}, &SaveDCX};

}  // namespace
}  // namespace kestr
