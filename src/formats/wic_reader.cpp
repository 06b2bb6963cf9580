// Pictures by way of a codec of the system, type id 76: whatever the codec makes of a file, as long
// as its pixels are of a kind that a bitmap of ours holds.
#include "formats/wic_reader.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <limits>
#include <utility>

#include "base/channel_order.h"
#include "base/messages.h"
#include "base/picture_size.h"
#include "readers/type_ids.h"

namespace kestr {

constexpr char kCodec[] = "WIC CODEC";
constexpr char kPixelType[] = "\r\nWIC Pixel Type: ";
constexpr char kBadPixels[] = "Unsupported WIC pixel format.";
constexpr char kBadSize[] = "Bad image dimensions.";
constexpr char kNoPalette[] = "No palette.";

// A call of the codec costs as much as a few rows of a small picture: rows are asked for by the
// band, of this many bytes at the most.
constexpr uint32_t kBandBytes = 256 << 10;

enum class EColors : uint8_t { kPalette, kGray, kDirect };
enum class ERow : uint8_t { kSame, kWiden2To4, kSwapped, kWithAlpha, kGray16, kRGB48 };

struct CWICReader::CPixelFormat {
    ECodecPixels pixels;
    const char* name;
    int sourceBits;  // a pixel
    int depth;       // of the bitmap
    EColors colors;
    ERow row;
};

const CWICReader::CPixelFormat* CWICReader::FindFormat(const CCodecPicture* picture) {
    using enum ECodecPixels;
    static constexpr auto kFormats = std::to_array<CPixelFormat>({
        {k1bppIndexed, "PixelFormat1bppIndexed", 1, 1, EColors::kPalette, ERow::kSame},
        {k2bppIndexed, "PixelFormat2bppIndexed", 2, 4, EColors::kPalette, ERow::kWiden2To4},
        {k4bppIndexed, "PixelFormat4bppIndexed", 4, 4, EColors::kPalette, ERow::kSame},
        {k8bppIndexed, "PixelFormat8bppIndexed", 8, 8, EColors::kPalette, ERow::kSame},
        {kBlackWhite, "PixelFormatBlackWhite", 1, 1, EColors::kGray, ERow::kSame},
        {k2bppGray, "PixelFormat2bppGray", 2, 4, EColors::kGray, ERow::kWiden2To4},
        {k4bppGray, "PixelFormat4bppGray", 4, 4, EColors::kGray, ERow::kSame},
        {k8bppGray, "PixelFormat8bppGray", 8, 8, EColors::kGray, ERow::kSame},
        {k16bppGray, "PixelFormat16bppGray", 16, 8, EColors::kGray, ERow::kGray16},
        {k24bppBGR, "PixelFormat24bppBGR", 24, 24, EColors::kDirect, ERow::kSame},
        {k24bppRGB, "PixelFormat24bppRGB", 24, 24, EColors::kDirect, ERow::kSwapped},
        {k32bppBGRA, "PixelFormat32bppBGRA", 32, 24, EColors::kDirect, ERow::kWithAlpha},
        {k48bppRGB, "PixelFormat48bppRGB", 48, 24, EColors::kDirect, ERow::kRGB48},
    });
    if (!picture) return nullptr;
    const auto found = std::ranges::find(kFormats, picture->Pixels(), &CPixelFormat::pixels);
    return found != kFormats.end() ? &*found : nullptr;
}

CWICReader::CWICReader(COpener opener) : m_opener(std::move(opener)) {}

CWICReader::~CWICReader() = default;

bool CWICReader::Open(const KESTR_CHAR* path, int page) {
    Close();
    m_nextRow = m_bandEnd = 0;
    m_typeId = kTypeWIC;
    if (ReadHeader(path, page)) return true;
    Close();
    return false;
}

bool CWICReader::ReadHeader(const KESTR_CHAR* path, int page) {
    m_file = m_opener(path);
    if (m_file && page >= 0) m_picture = m_file->Frame(static_cast<uint32_t>(page));
    if (!m_picture) return Fail(Message(message::kCannotOpenInput));
    if (m_pageCount < 0) {
        constexpr uint32_t kMost = std::numeric_limits<int32_t>::max();
        m_pageCount = static_cast<int32_t>(std::min(m_file->FrameCount(), kMost));
    }
    const std::string name = m_file->CodecName();
    m_description += name.empty() ? kCodec : name;
    if (m_loading || m_headerOnly) ReadMetadata();
    if (m_thumbnailRequested) ChooseSmallPicture();
    m_format = FindFormat(m_picture.get());
    if (!m_format) return Fail(kBadPixels);
    m_description += kPixelType;
    m_description += m_format->name;

    const uint32_t width = m_picture->Width();
    const uint32_t height = m_picture->Height();
    if (width > kMostPictureSide || height > kMostPictureSide) return Fail(kBadSize);
    m_sourceRowBytes = static_cast<uint32_t>(
        (uint64_t{width} * static_cast<uint32_t>(m_format->sourceBits) + 7) / 8);
    if (!StoreBytes(m_sourceRowBytes, height)) return Fail(kBadSize);
    m_bitmapInfo.SetFormat(m_format->depth, static_cast<int32_t>(width),
                           static_cast<int32_t>(height));
    m_has16Bit = m_format->row == ERow::kGray16 || m_format->row == ERow::kRGB48;
    return InstallPalette() ? true : Fail(kNoPalette);
}

void CWICReader::ReadMetadata() {
    WicMetadata::CTreeBuilder builder;
    m_picture->VisitMetadata(builder);
    m_metadataBlocks = builder.Take();
    m_exif = std::make_unique<CEXIF_Members>();
    if (!WicMetadata::FillExif(m_metadataBlocks, *m_exif)) m_exif.reset();
    WicMetadata::FillIPTC(m_metadataBlocks, m_iptc);
}

/// Takes the preview or the thumbnail that the file has in the place of the frame; without either
/// the request is no more.
void CWICReader::ChooseSmallPicture() {
    auto small = m_file->Preview();
    if (!FindFormat(small.get())) small = m_file->Thumbnail();
    if (!FindFormat(small.get())) {
        m_thumbnailRequested = false;
        return;
    }
    m_originalWidth = m_picture->Width();
    m_originalHeight = m_picture->Height();
    m_picture = std::move(small);
}

bool CWICReader::InstallPalette() {
    auto& palette = m_bitmapInfo.Palette();
    size_t count = 0;
    if (m_format->colors == EColors::kPalette) {
        const std::vector<uint32_t> colors = m_picture->Palette();
        if (colors.empty()) return false;
        count = std::min(colors.size(), size_t{1} << m_format->sourceBits);
        std::transform(colors.begin(), colors.begin() + static_cast<ptrdiff_t>(count),
                       palette.begin(), [](uint32_t argb) {
                           return CRGBQuad{uint8_t(argb), uint8_t(argb >> 8), uint8_t(argb >> 16)};
                       });
    } else if (m_format->colors == EColors::kGray) {
        count = size_t{1} << std::min(m_format->sourceBits, 8);
        for (size_t i = 0; i < count; ++i) {
            const auto level = static_cast<uint8_t>(i * 255 / (count - 1));
            palette[i] = {level, level, level, 0};
        }
    }
    m_colorCount = static_cast<uint32_t>(count);
    m_bitmapInfo.SetColorCount(static_cast<uint8_t>(count));  // 256 is all that there are
    return true;
}

bool CWICReader::Load(const KESTR_CHAR* path, int page) {
    if (!Open(path, page)) return false;
    const auto height = static_cast<uint32_t>(m_bitmapInfo.Height());
    m_bandRows = std::clamp(kBandBytes / m_sourceRowBytes, uint32_t{1}, height);
    m_band.ResizeUninitialized(size_t{m_bandRows} * m_sourceRowBytes);
    // A codec that took the file and cannot give its first row has not read it.
    if (!ReadBand(0)) {
        Close();
        return Fail(Message(message::kCannotOpenInput));
    }
    if (m_format->row == ERow::kWithAlpha) StartMask();
    if (m_has16Bit) StartPlane16(m_format->row == ERow::kRGB48 ? 3 : 1);
    return true;
}

/// Has the codec write row `row` and as many of those behind it as there is room for. Where it
/// stumbles over one of them it is asked for this row alone.
bool CWICReader::ReadBand(uint32_t row) {
    const uint32_t rows = std::min(m_bandRows, static_cast<uint32_t>(m_bitmapInfo.Height()) - row);
    m_bandStart = row;
    m_bandEnd = row + rows;
    if (m_picture->CopyRows(row, rows, m_sourceRowBytes, m_band.data())) return true;
    m_bandRows = 1;
    m_bandEnd = row + 1;
    if (rows > 1 && m_picture->CopyRows(row, 1, m_sourceRowBytes, m_band.data())) return true;
    m_bandEnd = row;
    return false;
}

bool CWICReader::ReadLine(uint8_t* destination) {
    if (!m_picture || m_nextRow >= static_cast<uint32_t>(m_bitmapInfo.Height())) return false;
    ReportProgress(m_nextRow, 1, 1);
    if (CheckAbort()) return false;
    if (m_nextRow >= m_bandEnd && !ReadBand(m_nextRow)) return false;
    Deliver(m_band.data() + size_t{m_nextRow - m_bandStart} * m_sourceRowBytes, destination);
    ++m_nextRow;
    return true;
}

void CWICReader::Deliver(const uint8_t* source, uint8_t* destination) {
    const auto width = static_cast<size_t>(m_bitmapInfo.Width());
    const size_t start = m_nextRow * width;  // pixels before this row
    switch (m_format->row) {
        case ERow::kSame:
            std::memcpy(destination, source, m_sourceRowBytes);
            break;
        case ERow::kWiden2To4: {
            const size_t bytes = (width + 1) / 2;
            for (size_t i = 0; i < bytes; ++i) {  // a half byte of the source, high one first
                const int two = source[i / 2] >> (i % 2 == 0 ? 4 : 0) & 15;
                destination[i] = static_cast<uint8_t>((two & 12) << 2 | (two & 3));
            }
            break;
        }
        case ERow::kSwapped:
            SwapRedBlue(source, destination, width);
            break;
        case ERow::kWithAlpha: {
            uint8_t* const alpha = m_alpha.data() + start;
            for (size_t x = 0; x < width; ++x) {
                destination[3 * x] = source[4 * x];
                destination[3 * x + 1] = source[4 * x + 1];
                destination[3 * x + 2] = source[4 * x + 2];
                alpha[x] = source[4 * x + 3];
            }
            break;
        }
        case ERow::kGray16: {
            uint16_t* const plane = m_bits16.data() + start;
            std::memcpy(plane, source, 2 * width);
            for (size_t x = 0; x < width; ++x) destination[x] = static_cast<uint8_t>(plane[x] >> 8);
            break;
        }
        case ERow::kRGB48: {
            uint16_t* const plane = m_bits16.data() + 3 * start;
            for (size_t x = 0; x < width; ++x) {
                std::array<uint16_t, 3> rgb;
                std::memcpy(rgb.data(), source + 6 * x, sizeof rgb);
                for (size_t c = 0; c < 3; ++c) {
                    plane[3 * x + c] = rgb[2 - c];
                    destination[3 * x + c] = static_cast<uint8_t>(rgb[2 - c] >> 8);
                }
            }
            break;
        }
    }
}

void CWICReader::Close() {
    m_picture.reset();
    m_file.reset();
    m_band.clear();
    ZeroPlanesFrom(m_nextRow);
}

}  // namespace kestr
