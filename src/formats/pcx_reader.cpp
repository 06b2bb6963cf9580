// ZSoft PCX, type id 8. Little-endian, run-length coded lines of one or more planes, top row first.
// Layout: ZSoft's "PCX Technical Reference Manual".

#include <algorithm>
#include <array>
#include <cstring>
#include <vector>

#include "base/byte_cursor.h"
#include "base/messages.h"
#include "base/pixel_planes.h"
#include "base/stated_size.h"
#include "formats/pcx.h"
#include "readers/reader_registry.h"
#include "readers/type_ids.h"

namespace kestr {

constexpr char kBadId[] = "Invalid PCX header ID.";
constexpr char kBadSize[] = "Bad image dimensions.";
constexpr char kTooManyColors[] = "Too many colors specified in PCX header.";
constexpr char kBadEncoding[] = "Unsupported PCX encoding format.";
constexpr char kBadPlaneBits[] = "Unsupported bits per plane.";

constexpr size_t kHeaderSize = 128;
constexpr uint8_t kPaletteMark = 12;  // before the 256 entries behind the pixels
constexpr size_t kPaletteBytes = 768;
constexpr uint64_t kMostPerByte = 1024;  // bytes of a picture for one of the file, at the most
constexpr int kDecodePass = 1;
constexpr int kDeliverPass = 2;
constexpr int kPasses = 2;

/// The bytes behind the runs of a file.
class CPCXReader::CRuns {
public:
    CRuns(std::span<const uint8_t> file, size_t start)
        : m_file(file), m_at(std::min(start, file.size())) {}

    /// Fills `line`; what the file no longer holds is 0. False at the end of the file.
    bool Fill(std::span<uint8_t> line) {
        uint8_t* out = line.data();
        uint8_t* const end = out + line.size();
        for (;;) {
            const size_t piece = std::min(m_left, static_cast<size_t>(end - out));
            // Most runs are short: a fill of a fixed size is quicker, where there is room for it.
            if (piece <= kShortRun && static_cast<size_t>(end - out) >= kShortRun) {
                std::memset(out, m_value, kShortRun);
            } else {
                std::memset(out, m_value, piece);
            }
            m_left -= piece;
            out += piece;
            // Bytes without a count come one behind the other.
            while (out != end && m_at < m_file.size() && m_file[m_at] < kCount) {
                *out++ = m_file[m_at++];
            }
            if (out == end) return true;
            if (!NextRun()) {
                std::memset(out, 0, static_cast<size_t>(end - out));
                return false;
            }
        }
    }
    [[nodiscard]] size_t Position() const { return m_at; }

private:
    static constexpr uint8_t kCount = 0xC0;  // from here on the low six bits are a count
    static constexpr size_t kShortRun = 16;

    /// Goes to the next count and its value.
    bool NextRun() {
        if (m_file.size() - m_at < 2) {
            m_at = m_file.size();
            return false;
        }
        m_left = m_file[m_at] & 63;
        m_value = m_file[m_at + 1];
        m_at += 2;
        return true;
    }

    std::span<const uint8_t> m_file;
    size_t m_at;
    uint8_t m_value = 0;
    size_t m_left = 0;
};

bool CPCXReader::Open(const KESTR_CHAR* path, int) {
    m_pageCount = 1;
    m_typeId = kTypePCX;
    m_description += "PCX Format";
    if (!m_file.OpenRead(path)) return Fail(Message(message::kCannotOpenInput));
    if (ReadHeader(0)) return true;
    Close();
    return false;
}

bool CPCXReader::ReadHeader(size_t start) {
    CLittleEndianCursor in(m_file.Bytes(), start);
    CPCXHeader& h = m_header;
    h.manufacturer = in.U8();
    h.version = in.U8();
    h.encoding = in.U8();
    h.bits = in.U8();
    const int xMin = in.U16();
    const int yMin = in.U16();
    h.width = in.U16() - xMin + 1;
    h.height = in.U16() - yMin + 1;
    in.U32();  // resolution of the device
    const auto palette = in.Bytes(h.palette.size());
    std::ranges::copy(palette, h.palette.begin());
    in.U8();
    h.planes = in.U8();
    h.planeLine = in.U16();
    h.paletteInfo = in.U16();
    m_dataStart = start + kHeaderSize;
    if (h.manufacturer != 10 || h.version >= 6) return Fail(kBadId);
    if (h.width < 1 || h.height < 1) return Fail(kBadSize);
    if (h.PixelBits() > 8 && !h.IsPlane24()) return Fail(kTooManyColors);
    if (h.encoding != 1) return Fail(kBadEncoding);
    const int pixelBits = h.PixelBits();
    const int delivered = pixelBits == 1 ? 1 : pixelBits <= 4 ? 4 : h.IsPlane24() ? 24 : 8;
    m_bitmapInfo.SetFormat(delivered, h.width, h.height);
    m_colorCount = h.IsPlane24() ? 0 : 1u << pixelBits;
    if (m_colorCount < 256) m_bitmapInfo.SetColorCount(static_cast<uint8_t>(m_colorCount));
    const bool plausible =
        IsPlausibleSize(static_cast<uint64_t>(h.width) * 3, static_cast<uint64_t>(h.height),
                        m_file.Size(), kMostPerByte);
    return plausible ? true : Fail(kBadSize);
}

bool CPCXReader::Load(const KESTR_CHAR* path, int page) {
    return Open(path, page) && LoadFrom(m_file.Size());
}

/// Decodes the picture and reads its palette, which ends before `paletteLimit`.
bool CPCXReader::LoadFrom(uint32_t paletteLimit) {
    m_nextRow = 0;
    CRuns runs(m_file.Bytes(), m_dataStart);
    if (!Decode(runs)) return false;
    if (!m_header.IsPlane24()) ReadPalette(runs.Position(), paletteLimit);
    return true;
}

bool CPCXReader::Decode(CRuns& runs) {
    const int bits = m_header.bits;
    if (bits != 1 && bits != 2 && bits != 4 && bits != 8) return Fail(kBadPlaneBits);
    return m_header.IsPlane24() ? Decode24(runs) : DecodePlanes(runs);
}

/// One plane is kept as it is packed; several are merged to one byte a pixel, plane p giving the
/// bits from p x bits on.
bool CPCXReader::DecodePlanes(CRuns& runs) {
    const auto width = static_cast<size_t>(m_header.width);
    const int bits = m_header.bits;
    const size_t perByte = 8 / static_cast<size_t>(bits);
    const bool merged = m_header.planes > 1;
    m_bufferRow = merged ? width : (width * static_cast<size_t>(bits) + 7) / 8;
    m_buffer.ResizeZeroed(m_bufferRow * static_cast<size_t>(m_header.height));
    std::vector<uint8_t> line(m_header.planeLine);
    if (line.empty()) return true;
    for (int y = 0; y < m_header.height; ++y) {
        if (CheckAbort()) return false;
        ReportProgress(static_cast<uint32_t>(y), kDecodePass, kPasses);
        uint8_t* row = m_buffer.data() + static_cast<size_t>(y) * m_bufferRow;
        for (int plane = 0; plane < m_header.planes; ++plane) {
            const bool whole = runs.Fill(line);
            if (!merged) {
                std::memcpy(row, line.data(), std::min(m_bufferRow, line.size()));
            } else {
                const int mask = (1 << bits) - 1;
                for (size_t x = 0; x < std::min(width, line.size() * perByte); ++x) {
                    const int shift = 8 - bits * static_cast<int>(x % perByte + 1);
                    row[x] |=
                        static_cast<uint8_t>((line[x / perByte] >> shift & mask) << (plane * bits));
                }
            }
            if (!whole) return true;
        }
    }
    return true;
}

bool CPCXReader::Decode24(CRuns& runs) {
    const auto width = static_cast<size_t>(m_header.width);
    m_bufferRow = 3 * width;
    m_buffer.ResizeZeroed(m_bufferRow * static_cast<size_t>(m_header.height));
    const size_t planeLine = m_header.planeLine;
    std::vector<uint8_t> lines(3 * planeLine);  // red, green, blue
    if (lines.empty()) return true;
    const uint8_t* const red = lines.data();
    for (int y = 0; y < m_header.height; ++y) {
        if (CheckAbort()) return false;
        ReportProgress(static_cast<uint32_t>(y), kDecodePass, kPasses);
        const bool whole = runs.Fill(lines);
        JoinPlanes(red, red + planeLine, red + 2 * planeLine, std::min(width, planeLine),
                   m_buffer.data() + static_cast<size_t>(y) * m_bufferRow);
        if (!whole) return true;
    }
    return true;
}

void CPCXReader::ReadPalette(size_t from, uint32_t limit) {
    auto& palette = m_bitmapInfo.Palette();
    const auto put = [&](std::span<const uint8_t> entries) {
        for (size_t i = 0; i < entries.size() / 3; ++i) {
            palette[i] = {entries[3 * i + 2], entries[3 * i + 1], entries[3 * i], 0};
        }
    };
    if (m_colorCount > 16 || m_header.version == 5) {
        // What lies between the pixels and the palette is not always empty: look for its mark.
        const auto rest = SubRange(m_file.Bytes().first(std::min(limit, m_file.Size())), from);
        const auto mark = std::ranges::find(rest, kPaletteMark);
        const auto behind = static_cast<size_t>(rest.end() - mark);
        if (mark != rest.end() && behind > kPaletteBytes) {
            put(rest.subspan(static_cast<size_t>(mark - rest.begin()) + 1, kPaletteBytes));
        } else {
            const uint32_t most = (1u << m_bitmapInfo.BitCount()) - 1;
            for (uint32_t i = 0; i <= most; ++i) {
                const auto level = static_cast<uint8_t>(i * 255 / most);
                palette[i] = {level, level, level, 0};
            }
        }
    } else {
        put(m_header.palette);
    }
    if (m_colorCount == 2) SetTwoColors();
}

/// Many writers of two-colour files leave no sensible palette.
void CPCXReader::SetTwoColors() {
    auto& palette = m_bitmapInfo.Palette();
    constexpr CRGBQuad kBlack{0, 0, 0, 0};
    constexpr CRGBQuad kWhite{255, 255, 255, 0};
    const bool trusted =
        m_header.paletteInfo != 0 && m_header.paletteInfo != 2 && m_header.version != 3;
    if (!trusted) {
        palette[0] = kBlack;
        palette[1] = kWhite;
        return;
    }
    const auto sum = [](const CRGBQuad& c) {
        return 16 * c.rgbGreen + 11 * c.rgbBlue + 5 * c.rgbRed;
    };
    if ((sum(palette[0]) ^ sum(palette[1])) > 31) return;
    palette[0] = kWhite;
    palette[1] = kBlack;
}

bool CPCXReader::ReadLine(uint8_t* destination) {
    ReportProgress(m_nextRow, kDeliverPass, kPasses);
    if (CheckAbort() || m_nextRow >= static_cast<uint32_t>(m_header.height)) return false;
    const uint8_t* row = m_buffer.data() + m_nextRow++ * m_bufferRow;
    const auto width = static_cast<size_t>(m_header.width);
    if (m_bitmapInfo.BitCount() != 4 || (m_header.planes == 1 && m_header.bits == 4)) {
        std::memcpy(destination, row, m_bufferRow);
    } else if (m_header.planes > 1) {  // a byte a pixel becomes a nibble
        for (size_t x = 0; x < width; x += 2) {
            const int right = x + 1 < width ? row[x + 1] : 0;
            destination[x / 2] = static_cast<uint8_t>(row[x] << 4 | right);
        }
    } else {  // two bits a pixel become a nibble
        const auto pixel = [&](size_t x) {
            // A picture of no planes has less than that.
            return x < width && x / 4 < m_bufferRow ? row[x / 4] >> (6 - 2 * (x % 4)) & 3 : 0;
        };
        for (size_t x = 0; x < width; x += 2) {
            destination[x / 2] = static_cast<uint8_t>(pixel(x) << 4 | pixel(x + 1));
        }
    }
    return true;
}

void CPCXReader::Close() {
    m_file.Close();
    m_buffer.clear();
}

namespace {

const CReaderRegistration kReaders{{kTypePCX}, &MakeReader<CPCXReader>};

}  // namespace
}  // namespace kestr
