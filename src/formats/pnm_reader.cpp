// Portable anymaps P1 to P6, type ids 7 (bitmap), 9 (graymap), 13 (pixmap). Text header; samples as
// text or as bytes, two big-endian bytes each when the largest value exceeds 255.
// Layout: Netpbm's pages "pbm", "pgm", "ppm".

#include <algorithm>
#include <array>
#include <string>

#include "base/byte_cursor.h"
#include "base/channel_order.h"
#include "base/messages.h"
#include "base/stated_size.h"
#include "platform/mapped_file.h"
#include "readers/image_reader.h"
#include "readers/reader_registry.h"
#include "readers/type_ids.h"

namespace kestr {
namespace {

constexpr size_t kLongestComment = 250;  // characters of a comment line that are kept
constexpr uint64_t kMostPerByte = 64;    // bytes of a picture for one of the file, at the most
constexpr uint32_t kMostSide = kMostPictureSide;

struct CForm {
    int32_t typeId;
    int bits;
    bool binary;
    const char* description;
};

// P1 to P6.
constexpr CForm kForms[] = {
    {kTypePBM, 1, false, "Portable Bitmap (ASCII)"},
    {kTypePGM, 8, false, "Portable Graymap (ASCII)"},
    {kTypePPM, 24, false, "Portable Pixelmap (ASCII)"},
    {kTypePBM, 1, true, "Portable Bitmap (RAWBITS)"},
    {kTypePGM, 8, true, "Portable Graymap (RAWBITS)"},
    {kTypePPM, 24, true, "Portable Pixelmap (RAWBITS)"},
};

constexpr bool IsDigit(int c) {
    return c >= '0' && c <= '9';
}

/// The characters of the file in order, with the numbers, bits and comments among them.
class CPNMText {
public:
    void Start(std::span<const uint8_t> file, std::string& comment) {
        m_file = file;
        m_comment = &comment;
        m_at = 0;
    }

    /// The next character, or -1 at the end.
    int Next() { return m_at < m_file.size() ? m_file[m_at++] : -1; }

    /// The next run of digits, and the character behind it eaten; 0 at the end of the file. A
    /// number beyond 32 bits stays at the largest one.
    uint32_t Number() {
        for (int c = Next(); c >= 0; c = Next()) {
            if (c == '#') {
                ReadComment(true);
            } else if (IsDigit(c)) {
                uint64_t value = 0;
                for (; IsDigit(c); c = Next()) {
                    value =
                        std::min<uint64_t>(value * 10 + static_cast<uint64_t>(c - '0'), UINT32_MAX);
                }
                return static_cast<uint32_t>(value);
            }
        }
        return 0;
    }

    /// The next "0" or "1"; 0 at the end of the file.
    int Bit() {
        for (int c = Next(); c >= 0; c = Next()) {
            if (c == '#') ReadComment(false);
            if (c == '0' || c == '1') return c - '0';
        }
        return 0;
    }

    /// The next `count` bytes, or as many as there are.
    std::span<const uint8_t> Bytes(size_t count) {
        const auto bytes = SubRange(m_file, m_at, count);
        m_at += bytes.size();
        return bytes;
    }

    [[nodiscard]] bool AtEnd() const { return m_at >= m_file.size(); }

private:
    /// Appends the rest of the line to the comment. A comment between the header's numbers loses
    /// its first blank, wherever that stands.
    void ReadComment(bool dropFirstBlank) {
        std::string text;
        for (int c = Next(); c >= 0 && c != '\n'; c = Next()) {
            if (text.size() < kLongestComment) text += static_cast<char>(c);
        }
        const size_t blank = dropFirstBlank ? text.find(' ') : std::string::npos;
        if (blank != std::string::npos) text.erase(blank, 1);
        *m_comment += text + "\r\n";
    }

    std::span<const uint8_t> m_file;
    size_t m_at = 0;
    std::string* m_comment = nullptr;
};

}  // namespace

class CPBMReader final : public CImageReader {
public:
    bool Open(const KESTR_CHAR* path, int page) override;
    bool Load(const KESTR_CHAR* path, int page) override;
    bool ReadLine(uint8_t* destination) override;
    void Close() override { m_file.Close(); }

private:
    bool ReadHeader();
    void ReadBits(uint8_t* destination, size_t width);
    void ReadSamples(uint8_t* destination, size_t count);

    CMappedFileImpl m_file;
    CPNMText m_text;
    bool m_binary = false;
    bool m_twoBytes = false;
    uint32_t m_maxValue = 255;            // after reduction to 8 bits
    int m_shift = 0;                      // how far samples are shifted down for it
    std::array<uint8_t, 256> m_levels{};  // a pixmap's samples, brought to 0..255
    uint32_t m_rowsRead = 0;
};

bool CPBMReader::Open(const KESTR_CHAR* path, int) {
    m_pageCount = 1;
    if (!m_file.OpenRead(path)) return Fail(Message(message::kCannotOpenInput));
    if (ReadHeader()) return true;
    Close();
    return false;
}

bool CPBMReader::ReadHeader() {
    m_text.Start(m_file.Bytes(), m_comment);
    if (m_text.Next() != 'P') return false;
    const int digit = m_text.Next();
    if (digit < '1' || digit > '6') return false;
    const CForm& form = kForms[digit - '1'];
    m_typeId = form.typeId;
    m_binary = form.binary;
    m_description += form.description;
    const uint32_t width = m_text.Number();
    const uint32_t height = m_text.Number();
    m_maxValue = 255;
    m_shift = 0;
    m_twoBytes = false;
    if (form.bits != 1) {
        m_maxValue = m_text.Number();
        if (m_maxValue < 1) return false;
        m_twoBytes = m_maxValue > 255;
        for (; m_maxValue > 255; m_maxValue /= 2) ++m_shift;
    }
    if (width > kMostSide || height > kMostSide) return false;
    m_bitmapInfo.SetFormat(form.bits, static_cast<int32_t>(width), static_cast<int32_t>(height));
    return IsPlausibleSize(m_bitmapInfo.RowBytes(), height, m_file.Size(), kMostPerByte);
}

bool CPBMReader::Load(const KESTR_CHAR* path, int page) {
    m_rowsRead = 0;
    if (!Open(path, page)) return false;
    auto& palette = m_bitmapInfo.Palette();
    if (m_typeId == kTypePBM) {
        m_colorCount = 2;
        palette[0] = {255, 255, 255, 0};
        palette[1] = {0, 0, 0, 0};
    } else {
        m_colorCount = m_typeId == kTypePGM ? m_maxValue + 1 : 0;
        for (uint32_t i = 0; i <= m_maxValue; ++i) {
            const auto level = static_cast<uint8_t>(i * 255 / m_maxValue);
            m_levels[i] = level;
            if (m_typeId == kTypePGM) palette[i] = {level, level, level, 0};
        }
    }
    m_bitmapInfo.SetColorCount(static_cast<uint8_t>(m_colorCount));
    return true;
}

/// A row is delivered whether or not the file still holds it: what is missing is 0.
bool CPBMReader::ReadLine(uint8_t* destination) {
    ReportProgress(m_rowsRead, 1, 1);
    if (CheckAbort()) return false;
    ++m_rowsRead;
    const auto width = static_cast<size_t>(m_bitmapInfo.Width());
    switch (m_typeId) {
        case kTypePBM:
            ReadBits(destination, width);
            return true;
        case kTypePGM:
            ReadSamples(destination, width);
            return true;
        default:
            break;
    }
    const size_t samples = 3 * width;
    if (m_binary && !m_twoBytes && m_maxValue == 255) {
        // The common form goes from the file to the row in one pass.
        const auto bytes = m_text.Bytes(samples);
        SwapRedBlue(bytes.data(), destination, bytes.size() / 3);
        const size_t whole = bytes.size() / 3 * 3;
        std::fill_n(destination + whole, samples - whole, uint8_t{0});
        for (size_t i = whole; i < bytes.size(); ++i) destination[2 * whole + 2 - i] = bytes[i];
        return true;
    }
    ReadSamples(destination, samples);
    if (m_maxValue < 255) {
        for (size_t i = 0; i < samples; ++i) destination[i] = m_levels[destination[i]];
    }
    SwapRedBlue(destination, destination, width);
    return true;
}

void CPBMReader::ReadBits(uint8_t* destination, size_t width) {
    const size_t rowBytes = (width + 7) / 8;
    if (m_binary) {
        const auto bytes = m_text.Bytes(rowBytes);
        std::ranges::copy(bytes, destination);
        std::fill_n(destination + bytes.size(), rowBytes - bytes.size(), uint8_t{0});
        return;
    }
    if (m_text.AtEnd()) {  // many rows may be stated behind it
        std::fill_n(destination, rowBytes, uint8_t{0});
        return;
    }
    // The last byte of a row keeps its bits at the low end, as they were gathered; callers know it
    // so.
    for (size_t x = 0; x < width; x += 8) {
        uint8_t byte = 0;
        for (size_t bit = x; bit < std::min(x + 8, width); ++bit) {
            byte = static_cast<uint8_t>(byte << 1 | m_text.Bit());
        }
        destination[x / 8] = byte;
    }
}

void CPBMReader::ReadSamples(uint8_t* destination, size_t count) {
    if (!m_binary && m_text.AtEnd()) {
        std::fill_n(destination, count, uint8_t{0});
        return;
    }
    if (!m_binary) {
        for (size_t i = 0; i < count; ++i) {
            destination[i] = static_cast<uint8_t>(m_text.Number() >> m_shift);
        }
        return;
    }
    const auto bytes = m_text.Bytes(m_twoBytes ? 2 * count : count);
    const size_t there = m_twoBytes ? bytes.size() / 2 : bytes.size();
    if (m_twoBytes) {
        for (size_t i = 0; i < there; ++i) {
            const int value = bytes[2 * i] << 8 | bytes[2 * i + 1];
            destination[i] = static_cast<uint8_t>(value >> m_shift);
        }
    } else {
        std::copy_n(bytes.begin(), there, destination);
    }
    std::fill_n(destination + there, count - there, uint8_t{0});
}

namespace {

const CReaderRegistration kReaders{{kTypePBM, kTypePGM, kTypePPM}, &MakeReader<CPBMReader>};

}  // namespace
}  // namespace kestr
