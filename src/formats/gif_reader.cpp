// Graphics Interchange Format, type ids 66 (plain) and 67 (interlaced).
#include <algorithm>
#include <cstring>
#include <memory>

#include "base/format_text.h"
#include "base/messages.h"
#include "formats/gif_file.h"
#include "formats/gif_lzw.h"
#include "ops/pixel_format.h"
#include "platform/mapped_file.h"
#include "readers/image_reader.h"
#include "readers/reader_registry.h"
#include "readers/type_ids.h"

namespace kestr {
namespace {

constexpr char kReadError[] = "GIF Read error.";
constexpr char kZeroDimension[] = "GIF zero dimension.";
constexpr size_t kLeastFile = 20;  // bytes
constexpr uint32_t kMostDisposal = 4;

// Where the rows of each pass of an interlaced frame begin, in the order of the file: every eighth
// row from 0, every eighth from 4, every fourth from 2, every second from 1.
struct CInterlace {
    constexpr explicit CInterlace(uint32_t height)
        : pass2((height + 7) / 8),
          pass3(pass2 + (height + 3) / 8),
          pass4(pass3 + (height + 1) / 4) {}
    [[nodiscard]] constexpr uint32_t FileRow(uint32_t y) const {
        if (y % 8 == 0) return y / 8;
        if (y % 8 == 4) return pass2 + y / 8;
        if (y % 2 == 0) return pass3 + y / 4;
        return pass4 + y / 2;
    }
    uint32_t pass2;
    uint32_t pass3;
    uint32_t pass4;
};
static_assert(CInterlace(9).FileRow(8) == 1 && CInterlace(9).FileRow(4) == 2);
static_assert(CInterlace(9).FileRow(6) == 4 && CInterlace(9).FileRow(7) == 8);

class CGIFReader final : public CImageReader {
public:
    bool Open(const KESTR_CHAR* path, int page) override;
    bool Load(const KESTR_CHAR* path, int page) override;
    bool ReadLine(uint8_t* destination) override;
    void Close() override;

private:
    bool ParsePage(int page);
    void DecodeInterlaced();
    bool ReadFrameRow(uint32_t y, uint8_t* pixels);

    CMappedFileImpl m_file;
    CGIFScreen m_screen;
    CGIFFrame m_frame;
    bool m_isParsed = false;  // m_frame is that of the open file

    // Where the frames begin; kept from page to page of the same file, so that an animation is
    // walked through once.
    std::vector<uint32_t> m_starts;
    std::vector<uint8_t> m_walkedHead;  // bytes before the first frame of the file walked through
    uint32_t m_walkedSize = 0;

    std::unique_ptr<CGIFDecoder> m_decoder;
    std::vector<uint8_t> m_fileRows;  // those of an interlaced frame that the data reach
    std::vector<uint8_t> m_row;       // one row of the picture, a byte a pixel
    std::vector<uint8_t> m_frameRow;  // one row of a frame that does not fill the picture's
    uint32_t m_left = 0;              // of the frame in the picture
    uint32_t m_top = 0;
    uint32_t m_rowsRead = 0;
};

bool CGIFReader::Open(const KESTR_CHAR* path, int page) {
    Close();
    m_rowsRead = 0;
    if (!m_file.OpenRead(path)) return Fail(Message(message::kCannotOpenInput));
    if (m_file.Size() < kLeastFile) return false;
    if (!ParsePage(page)) return Fail(kReadError);
    if (m_screen.width == 0 || m_screen.height == 0 || m_frame.width == 0 || m_frame.height == 0) {
        return Fail(kZeroDimension);
    }
    m_pageCount = static_cast<int32_t>(m_starts.size());
    m_frameDelay = m_frame.delay;
    m_frameDisposal = std::min(m_frame.disposal, kMostDisposal);
    m_frameRect = {m_frame.left, m_frame.top, m_frame.width, m_frame.height};
    m_colorCount = m_frame.table.count;
    m_transparentIndex = -1;
    if (m_frame.hasTransparency && m_frame.transparentIndex < m_colorCount) {
        m_transparentIndex = m_frame.transparentIndex;
    }

    // The frames of an animation share a canvas; a single one is the picture.
    const bool onCanvas = m_pageCount > 1 && !m_frameAlone;
    m_left = onCanvas ? m_frame.left : 0;
    m_top = onCanvas ? m_frame.top : 0;
    const uint32_t width = onCanvas ? std::max(m_screen.width, m_frame.width) : m_frame.width;
    const uint32_t height = onCanvas ? std::max(m_screen.height, m_frame.height) : m_frame.height;
    const int depth = m_colorCount < 3 ? 1 : m_colorCount < 17 ? 4 : 8;
    m_bitmapInfo.SetFormat(depth, static_cast<int32_t>(width), static_cast<int32_t>(height));
    m_bitmapInfo.SetColorCount(static_cast<uint8_t>(m_colorCount));
    m_typeId = m_frame.interlaced ? kTypeGIFInterlaced : kTypeGIF;
    m_description += "Graphics Interchange Format\r\nInterlaced: ";
    m_description += m_frame.interlaced ? "Yes" : "No";
    m_description += FormatText("\r\nColors: %d", static_cast<int>(m_colorCount));
    return true;
}

bool CGIFReader::ParsePage(int page) {
    const auto file = m_file.Bytes();
    const auto screen = ParseGIFScreen(file);
    if (!screen) return false;
    m_screen = *screen;
    const auto head = file.first(m_screen.blocksStart);
    if (m_walkedSize != m_file.Size() || !std::ranges::equal(m_walkedHead, head)) {
        m_starts = FindGIFFrames(file, m_screen);
        m_walkedHead.assign(head.begin(), head.end());
        m_walkedSize = m_file.Size();
    }
    if (page < 0 || static_cast<size_t>(page) >= m_starts.size()) return false;
    auto frame = ParseGIFFrame(file, m_screen, m_starts[static_cast<size_t>(page)]);
    if (!frame) return false;
    m_frame = std::move(*frame);
    m_isParsed = true;
    return true;
}

bool CGIFReader::Load(const KESTR_CHAR* path, int page) {
    if (!Open(path, page)) return false;
    m_bitmapInfo.Palette() = m_frame.table.colours;
    m_decoder =
        std::make_unique<CGIFDecoder>(m_file.Bytes().subspan(m_frame.dataStart), m_frame.codeSize);
    m_row.resize(static_cast<size_t>(m_bitmapInfo.Width()));
    m_fileRows.clear();
    if (m_frame.interlaced) DecodeInterlaced();
    return true;
}

// The rows in the order of the file. Their number is bound by the data, whatever the frame states.
void CGIFReader::DecodeInterlaced() {
    const size_t width = m_frame.width;
    const size_t rowsAtOnce = std::max<size_t>(1, (size_t{1} << 20) / width);
    size_t rows = 0;
    while (rows < m_frame.height && !m_decoder->IsAtEnd()) {
        const size_t more = std::min<size_t>(rowsAtOnce, m_frame.height - rows);
        m_fileRows.resize((rows + more) * width);
        m_decoder->Read(m_fileRows.data() + rows * width, more * width);
        rows += more;
    }
}

// False when the file's end cut the data short before this row.
bool CGIFReader::ReadFrameRow(uint32_t y, uint8_t* pixels) {
    const size_t width = m_frame.width;
    if (!m_frame.interlaced) return m_decoder->Read(pixels, width) > 0 || !m_decoder->WasCutShort();
    const size_t start = CInterlace(m_frame.height).FileRow(y) * width;
    if (start < m_fileRows.size()) {
        std::memcpy(pixels, m_fileRows.data() + start, width);
    } else {
        std::memset(pixels, 0, width);
    }
    return true;
}

bool CGIFReader::ReadLine(uint8_t* destination) {
    if (m_rowsRead == 0) ReportProgress(0, 1, 1);
    const auto width = static_cast<uint32_t>(m_bitmapInfo.Width());
    const uint32_t y = m_rowsRead++;
    const bool fillsRow = m_left == 0 && m_frame.width == width;
    // What the frame leaves free of the canvas shows through where it can.
    const int around = std::max(m_transparentIndex, 0);
    uint8_t* row = m_bitmapInfo.BitCount() == 8 ? destination : m_row.data();
    if (y < m_top || y - m_top >= m_frame.height) {
        std::memset(row, around, width);
    } else if (fillsRow) {
        if (!ReadFrameRow(y - m_top, row)) return Fail(kReadError);
    } else {
        m_frameRow.resize(m_frame.width);
        if (!ReadFrameRow(y - m_top, m_frameRow.data())) return Fail(kReadError);
        std::memset(row, around, width);
        if (m_left < width) {
            std::memcpy(row + m_left, m_frameRow.data(), std::min(width - m_left, m_frame.width));
        }
    }
    if (row != destination) {
        // The data may hold more colours than the table.
        const int bitCount = m_bitmapInfo.BitCount();
        const auto most = static_cast<uint8_t>((1 << bitCount) - 1);
        for (uint8_t& pixel : m_row) pixel &= most;
        PackIndices(row, bitCount, m_bitmapInfo.Width(), destination);
    }
    return true;
}

void CGIFReader::Close() {
    m_decoder.reset();
    m_fileRows.clear();
    m_row.clear();
    m_file.Close();
    if (m_isParsed) SetComment(m_frame.comment);
    m_isParsed = false;
}

const CReaderRegistration kReaders{{kTypeGIF, kTypeGIFInterlaced}, &MakeReader<CGIFReader>};

}  // namespace
}  // namespace kestr
