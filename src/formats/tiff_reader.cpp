// Tagged Image File Format, through libtiff: type id by compression. Little- or big-endian.
// Layout: Aldus' and Adobe's "TIFF Revision 6.0".
#include <algorithm>
#include <array>
#include <cstring>
#include <memory>
#include <optional>
#include <string>

#include "base/channel_order.h"
#include "base/format_text.h"
#include "base/messages.h"
#include "base/picture_size.h"
#include "color/lab.h"
#include "formats/tiff_rows.h"
#include "formats/tiff_support.h"
#include "platform/mapped_file.h"
#include "readers/image_reader.h"
#include "readers/reader_registry.h"
#include "readers/type_ids.h"

namespace kestr {
namespace {

constexpr char kUnsupported[] = "Unsupported TIFF format.";
constexpr char kNotTIFF[] = "Not a TIFF file.";
constexpr char kPageNotFound[] = "Page not found.";

constexpr uint32_t kLeastFile = 21;     // bytes, for metadata to be looked for
constexpr uint32_t kLeastForIPTC = 49;  // bytes

struct CCompression {
    uint16_t tag;  // value of tag 259
    int32_t typeId;
    const char* name;  // null when the reader refuses it
};
constexpr CCompression kCompressions[] = {
    {COMPRESSION_NONE, kTypeTIFF, "None"},
    {COMPRESSION_CCITTRLE, kTypeTIFFHuffman, "CCITT modified Huffman RLE"},
    {COMPRESSION_CCITTFAX3, kTypeTIFFGroup3, "CCITT Group 3 fax"},
    {COMPRESSION_CCITTFAX4, kTypeTIFFGroup4, "CCITT Group 4 fax"},
    {COMPRESSION_LZW, kTypeTIFFLZW, "LZW"},
    {COMPRESSION_OJPEG, kTypeTIFFOldJPEG, nullptr},
    {COMPRESSION_JPEG, kTypeTIFFJPEG, "JPEG"},
    {COMPRESSION_ADOBE_DEFLATE, kTypeTIFFZip, "ZIP"},
    {COMPRESSION_DEFLATE, kTypeTIFFZip, "ZIP"},
    {COMPRESSION_NEXT, kTypeTIFFPackBits, nullptr},
    {COMPRESSION_CCITTRLEW, kTypeTIFFWordAligned, "#1 w/ word alignment"},
    {COMPRESSION_PACKBITS, kTypeTIFFMacintosh, "Macintosh RLE"},
    {COMPRESSION_THUNDERSCAN, kTypeTIFFThunderScan, "ThunderScan RLE"},
};

// How a row of samples becomes a row of the picture.
enum class EPixels { kIndexes, kGray, kInkBits, kRGB4, kRGB, kInks, kLab, kRGBA };

class CTIFFReader final : public CImageReader {
public:
    bool Open(const KESTR_CHAR* path, int page) override;
    bool Load(const KESTR_CHAR* path, int page) override;
    bool ReadLine(uint8_t* destination) override;
    void Close() override;

private:
    void ReadMetadata(int page);
    bool OpenPage(int page);
    bool ReadTags();
    void ReadResolution();
    std::optional<int> ChoosePixels();
    std::optional<int> DescribeGray();
    std::optional<int> DescribeRGB();
    std::optional<int> DescribeInks();
    bool DescribeCompression();
    bool TryScaledRead(const KESTR_CHAR* path, int page);
    void ReadProfile();
    void ReadXmp();
    void InstallPalette();
    bool ReadAsRGBA();
    bool StartRows();
    [[nodiscard]] bool IsContiguous() const { return m_layout.planarConfig == 1; }
    [[nodiscard]] bool HasExtraSample() const;
    [[nodiscard]] uint8_t* MaskRow();
    [[nodiscard]] uint16_t* PlaneRow();
    bool DeliverRow(uint8_t* destination);
    void DeliverRGBA(uint8_t* destination);
    void ConvertIndexes(const uint8_t* row, uint8_t* destination) const;
    void ConvertGray(const uint8_t* row, uint8_t* destination);
    void ConvertRGB4(const uint8_t* row, uint8_t* destination);
    template <typename Sample>
    void ConvertColour(std::span<const uint8_t* const> planes, uint8_t* destination);
    void ConvertLab(const uint8_t* row, uint8_t* destination) const;

    CMappedFileImpl m_file;
    CTIFFHandle m_tiff;
    CTIFFLayout m_layout;
    uint16_t m_photometric = 0;
    EPixels m_pixels = EPixels::kIndexes;
    bool m_hasMask = false;
    std::optional<CTIFFRows> m_rows;
    std::vector<uint32_t> m_rgbaPicture;         // red lowest, bottom row first
    std::unique_ptr<CImageReader> m_jpegReader;  // serves a scaled read
    uint32_t m_rowsRead = 0;
};

bool CTIFFReader::Open(const KESTR_CHAR* path, int page) {
    Close();
    m_rowsRead = 0;
    m_hasMask = false;
    if (!m_file.OpenRead(path)) return Fail(Message(message::kCannotOpenInput));
    const auto file = m_file.Bytes();
    if (file.size() >= kLeastFile) {
        const bool isMarked =
            (file[0] == 'I' && file[1] == 'I') || (file[0] == 'M' && file[1] == 'M');
        if (!isMarked) return false;
        ReadMetadata(page);
    }
    m_tiff = OpenTIFF(file);
    if (!m_tiff) return Fail(kNotTIFF);
    m_pageCount = static_cast<int32_t>(TIFFNumberOfDirectories(m_tiff.get()));
    if (!OpenPage(page)) return Fail(kPageNotFound);
    if (!ReadTags()) return Fail(kUnsupported);
    ReadResolution();
    m_description += "Tagged Image File Format\r\nPhotometric Interpretation: ";
    const auto depth = ChoosePixels();
    if (!depth || !DescribeCompression()) return Fail(kUnsupported);
    if (m_layout.tiled) m_description += "\r\nTiled: Yes";
    m_description += FormatText("\r\nBits per sample: %d\r\nSamples per pixel: %d",
                                static_cast<int>(m_layout.bitsPerSample),
                                static_cast<int>(m_layout.samplesPerPixel));
    m_bitmapInfo.SetFormat(*depth, static_cast<int32_t>(m_layout.width),
                           static_cast<int32_t>(m_layout.height));
    m_has16Bit = m_layout.bitsPerSample > 8 && m_pixels != EPixels::kRGBA;
    const char* text = nullptr;
    if (TIFFGetField(m_tiff.get(), TIFFTAG_IMAGEDESCRIPTION, &text) && text != nullptr) {
        SetComment(text);
    }
    if (TryScaledRead(path, page)) return true;
    if (!m_tiff) return Fail(kNotTIFF);
    if ((m_loading || m_headerOnly) && m_photometric < 3) ReadProfile();
    ReadXmp();
    return true;
}

void CTIFFReader::ReadMetadata(int page) {
    auto exif = std::make_unique<CEXIF_Members>();
    if (exif->Parse(m_file.Bytes(), false, false)) m_exif = std::move(exif);
    if (m_file.Size() < kLeastForIPTC) return;
    const auto block = FindRichTIFFIPTC(m_file.Bytes(), page);
    if (!block.empty()) m_iptc.Parse(block);
}

bool CTIFFReader::OpenPage(int page) {
    return page >= 0 && TIFFSetDirectory(m_tiff.get(), static_cast<tdir_t>(page)) != 0;
}

bool CTIFFReader::ReadTags() {
    TIFF* tiff = m_tiff.get();
    m_layout = {};
    TIFFGetFieldDefaulted(tiff, TIFFTAG_PLANARCONFIG, &m_layout.planarConfig);
    TIFFGetField(tiff, TIFFTAG_IMAGEWIDTH, &m_layout.width);
    TIFFGetField(tiff, TIFFTAG_IMAGELENGTH, &m_layout.height);
    TIFFGetFieldDefaulted(tiff, TIFFTAG_BITSPERSAMPLE, &m_layout.bitsPerSample);
    TIFFGetFieldDefaulted(tiff, TIFFTAG_SAMPLESPERPIXEL, &m_layout.samplesPerPixel);
    TIFFGetFieldDefaulted(tiff, TIFFTAG_COMPRESSION, &m_layout.compression);
    m_layout.tiled = TIFFIsTiled(tiff) != 0;
    if (!TIFFGetField(tiff, TIFFTAG_PHOTOMETRIC, &m_photometric)) {
        m_photometric = m_layout.bitsPerSample == 1 ? PHOTOMETRIC_MINISWHITE : 255;
    }
    const CTIFFLayout& l = m_layout;
    if (l.width == 0 || l.height == 0 || l.width > kMostPictureSide ||
        l.height > kMostPictureSide || l.samplesPerPixel == 0) {
        return false;
    }
    if (l.samplesPerPixel == 1) m_layout.planarConfig = PLANARCONFIG_CONTIG;  // the same
    const bool isGray = m_photometric <= PHOTOMETRIC_MINISBLACK;
    switch (l.bitsPerSample) {
        case 1:
        case 4:
        case 8:
            return true;
        case 2:
            return isGray;
        case 16:
            return isGray || m_photometric == PHOTOMETRIC_RGB ||
                   m_photometric == PHOTOMETRIC_SEPARATED;
        default:
            return false;
    }
}

void CTIFFReader::ReadResolution() {
    uint16_t unit = RESUNIT_NONE;
    float x = 0;
    float y = 0;
    // The standard's default would be the inch; a file without the tag tells no resolution here.
    TIFFGetField(m_tiff.get(), TIFFTAG_RESOLUTIONUNIT, &unit);
    if (unit == RESUNIT_NONE) return;
    TIFFGetField(m_tiff.get(), TIFFTAG_XRESOLUTION, &x);
    TIFFGetField(m_tiff.get(), TIFFTAG_YRESOLUTION, &y);
    const auto perInch = [unit](float value) {
        const double dots = unit == RESUNIT_CENTIMETER ? value * 2.54 + 0.5 : value;
        return static_cast<uint16_t>(dots > 0 && dots < 65536 ? dots : 0);
    };
    physicalX = perInch(x);
    physicalY = perInch(y);
}

bool CTIFFReader::HasExtraSample() const {
    uint16_t count = 0;
    uint16_t* kinds = nullptr;
    return TIFFGetField(m_tiff.get(), TIFFTAG_EXTRASAMPLES, &count, &kinds) && count > 0 &&
           kinds[0] != EXTRASAMPLE_UNSPECIFIED;
}

// The picture's bits a pixel; nothing when the page is none of those that are read.
std::optional<int> CTIFFReader::ChoosePixels() {
    const int bits = m_layout.bitsPerSample;
    switch (m_photometric) {
        case PHOTOMETRIC_MINISWHITE:
        case PHOTOMETRIC_MINISBLACK:
            return DescribeGray();
        case PHOTOMETRIC_RGB:
            return DescribeRGB();
        case PHOTOMETRIC_PALETTE:
            m_description += "Color mapped";
            m_pixels = EPixels::kIndexes;
            if (!IsContiguous()) return std::nullopt;
            return bits;
        case PHOTOMETRIC_SEPARATED:
            return DescribeInks();
        case PHOTOMETRIC_YCBCR:
            m_description += "YCbCr";
            m_pixels = EPixels::kRGBA;
            if (m_layout.tiled) return std::nullopt;
            return 24;
        case PHOTOMETRIC_CIELAB:
            m_description += "CIE L*a*b*";
            m_pixels = EPixels::kLab;
            if (bits != 8 || m_layout.samplesPerPixel < 3 || !IsContiguous()) return std::nullopt;
            return 24;
        default:
            m_description += "Unsupported";
            return std::nullopt;
    }
}

std::optional<int> CTIFFReader::DescribeGray() {
    const int bits = m_layout.bitsPerSample;
    m_description += bits == 1 ? "Bilevel" : "Gray scale";
    if (m_photometric == PHOTOMETRIC_MINISWHITE) m_description += " (0=White)";
    if (bits == 2) {
        m_pixels = EPixels::kRGBA;
        return 24;
    }
    if (!IsContiguous()) return std::nullopt;
    m_pixels = bits < 8 ? EPixels::kIndexes : EPixels::kGray;
    m_hasMask = bits >= 8 && m_layout.samplesPerPixel == 2;
    return std::min(bits, 8);
}

std::optional<int> CTIFFReader::DescribeRGB() {
    const int bits = m_layout.bitsPerSample;
    const int samples = m_layout.samplesPerPixel;
    m_description += IsContiguous() ? "Contiguous RGB" : "Separated RGB";
    m_pixels = EPixels::kRGB;
    if (samples < 3 || (m_layout.tiled && !IsContiguous() && bits == 8)) return std::nullopt;
    if (bits > 8 && !IsContiguous()) m_pixels = EPixels::kRGBA;
    if (bits < 8) {
        if (bits != 4 || !IsContiguous() || samples > 4) return std::nullopt;
        m_pixels = EPixels::kRGB4;
    }
    m_hasMask = samples == 4 && HasExtraSample();
    return 24;
}

std::optional<int> CTIFFReader::DescribeInks() {
    const int bits = m_layout.bitsPerSample;
    const int samples = m_layout.samplesPerPixel;
    if ((samples != 4 && samples != 5) || !IsContiguous()) return std::nullopt;
    m_description += "Color separated";
    if (bits == 1) {
        m_pixels = EPixels::kInkBits;
        return 4;
    }
    if (bits < 8) return std::nullopt;
    m_pixels = EPixels::kInks;
    m_hasMask = samples == 5 && HasExtraSample();
    return 24;
}

bool CTIFFReader::DescribeCompression() {
    m_description += "\r\nCompression: ";
    const auto found = std::ranges::find(kCompressions, m_layout.compression, &CCompression::tag);
    if (found == std::end(kCompressions)) return false;
    m_typeId = found->typeId;
    if (found->name == nullptr) return false;
    m_description += found->name;
    return true;
}

// A picture of one page is delivered small when there is a JPEG stream inside the file.
bool CTIFFReader::TryScaledRead(const KESTR_CHAR* path, int page) {
    const bool wanted =
        m_thumbnailRequested && m_pageCount == 1 && page == 0 && m_typeId != kTypeTIFFJPEG &&
        (!m_exif || m_exif->Software.find(Latin1ToWide("SilverFast")) == WideString::npos);
    if (!wanted) return false;
    m_jpegReader = CreateReader(kTypeJPEG, false, false, {});
    if (!m_jpegReader) return false;
    m_jpegReader->m_jpegHighQuality = m_jpegHighQuality;
    m_jpegReader->RequestThumbnail(m_thumbnailWidth, m_thumbnailHeight, m_thumbnailFit);
    if (m_jpegReader->StartLoad(path, page, m_session)) {
        m_originalWidth = m_layout.width;
        m_originalHeight = m_layout.height;
        m_bitmapInfo = m_jpegReader->m_bitmapInfo;
        m_has16Bit = false;
        return true;
    }
    m_jpegReader->Close();
    m_jpegReader.reset();
    return false;
}

void CTIFFReader::ReadProfile() {
    uint32_t size = 0;
    const void* profile = nullptr;
    if (TIFFGetField(m_tiff.get(), TIFFTAG_ICCPROFILE, &size, &profile) && profile != nullptr) {
        SetICCProfile({static_cast<const uint8_t*>(profile), size});
    }
}

void CTIFFReader::ReadXmp() {
    uint32_t size = 0;
    const uint8_t* packet = nullptr;
    if (TIFFGetField(m_tiff.get(), TIFFTAG_XMLPACKET, &size, &packet) && packet != nullptr) {
        m_xmpData.assign(packet, packet + size);
    }
}

bool CTIFFReader::Load(const KESTR_CHAR* path, int page) {
    if (!Open(path, page)) return false;
    if (m_jpegReader) return true;
    InstallPalette();
    if (m_pixels == EPixels::kRGBA ? !ReadAsRGBA() : !StartRows()) return Fail(kUnsupported);
    if (m_hasMask) StartMask();
    if (m_has16Bit) StartPlane16(m_bitmapInfo.BitCount() == 24 ? 3 : 1);
    return true;
}

void CTIFFReader::InstallPalette() {
    const int depth = m_bitmapInfo.BitCount();
    if (depth > 8) return;
    auto& palette = m_bitmapInfo.Palette();
    const size_t count = size_t{1} << depth;
    const uint16_t* red = nullptr;
    const uint16_t* green = nullptr;
    const uint16_t* blue = nullptr;
    if (m_photometric == PHOTOMETRIC_PALETTE &&
        TIFFGetField(m_tiff.get(), TIFFTAG_COLORMAP, &red, &green, &blue)) {
        for (size_t i = 0; i < count; ++i) {
            palette[i] = {static_cast<uint8_t>(blue[i] >> 8), static_cast<uint8_t>(green[i] >> 8),
                          static_cast<uint8_t>(red[i] >> 8), 0};
        }
        return;
    }
    if (m_pixels == EPixels::kInkBits) {
        // Cyan, magenta, yellow and black, the first in the highest bit.
        for (size_t i = 0; i < count; ++i) {
            const auto light = [i](size_t ink) {
                return static_cast<uint8_t>(i & (ink | 1) ? 0 : 255);
            };
            palette[i] = {light(2), light(4), light(8), 0};
        }
        return;
    }
    const bool whiteFirst = depth < 8 && m_photometric == PHOTOMETRIC_MINISWHITE;
    for (size_t i = 0; i < count; ++i) {
        const size_t step = whiteFirst ? count - 1 - i : i;
        const auto level = static_cast<uint8_t>(step * 255 / (count - 1));
        palette[i] = {level, level, level, 0};
    }
}

bool CTIFFReader::ReadAsRGBA() {
    const auto bytes = ImageBytes(m_layout.width, m_layout.height, sizeof(uint32_t));
    if (!bytes) throw std::bad_alloc();
    m_rgbaPicture.resize(*bytes / sizeof(uint32_t));
    // The picture is turned by the image, not here.
    TIFFSetField(m_tiff.get(), TIFFTAG_ORIENTATION, ORIENTATION_TOPLEFT);
    return TIFFReadRGBAImage(m_tiff.get(), m_layout.width, m_layout.height, m_rgbaPicture.data(),
                             0) != 0;
}

bool CTIFFReader::StartRows() {
    const int planes = IsContiguous() ? 1 : m_hasMask ? 4 : 3;
    m_rows = CTIFFRows::Start(m_tiff.get(), m_file.Bytes(), m_layout, planes);
    return m_rows.has_value();
}

bool CTIFFReader::ReadLine(uint8_t* destination) {
    ReportProgress(m_rowsRead, 1, 1);
    if (CheckAbort()) return false;
    if (m_jpegReader) {
        if (m_jpegReader->ReadLine(destination)) return true;
        return Fail(m_jpegReader->m_errorText);
    }
    if (!DeliverRow(destination)) return false;
    ++m_rowsRead;
    return true;
}

uint8_t* CTIFFReader::MaskRow() {
    return m_hasMask ? m_alpha.data() + size_t{m_rowsRead} * m_layout.width : nullptr;
}

uint16_t* CTIFFReader::PlaneRow() {
    const size_t samples = size_t{m_layout.width} * (m_bitmapInfo.BitCount() == 24 ? 3 : 1);
    return m_bits16.data() + size_t{m_rowsRead} * samples;
}

bool CTIFFReader::DeliverRow(uint8_t* destination) {
    if (m_pixels == EPixels::kRGBA) {
        DeliverRGBA(destination);
        return true;
    }
    const auto planes = m_rows->Row(m_rowsRead);
    if (planes.empty()) return false;
    switch (m_pixels) {
        case EPixels::kIndexes:
        case EPixels::kInkBits:
            ConvertIndexes(planes[0], destination);
            break;
        case EPixels::kGray:
            ConvertGray(planes[0], destination);
            break;
        case EPixels::kRGB4:
            ConvertRGB4(planes[0], destination);
            break;
        case EPixels::kRGB:
        case EPixels::kInks:
            if (m_layout.bitsPerSample == 16) {
                ConvertColour<uint16_t>(planes, destination);
            } else {
                ConvertColour<uint8_t>(planes, destination);
            }
            break;
        case EPixels::kLab:
            ConvertLab(planes[0], destination);
            break;
        case EPixels::kRGBA:
            break;
    }
    return true;
}

void CTIFFReader::DeliverRGBA(uint8_t* destination) {
    const size_t width = m_layout.width;
    const uint32_t* row = m_rgbaPicture.data() + (m_layout.height - 1 - m_rowsRead) * width;
    uint8_t* mask = MaskRow();
    for (size_t x = 0; x < width; ++x) {
        destination[3 * x] = static_cast<uint8_t>(TIFFGetB(row[x]));
        destination[3 * x + 1] = static_cast<uint8_t>(TIFFGetG(row[x]));
        destination[3 * x + 2] = static_cast<uint8_t>(TIFFGetR(row[x]));
        if (mask != nullptr) mask[x] = static_cast<uint8_t>(TIFFGetA(row[x]));
    }
}

// The first samples of each pixel: four for bits of inks, else one. Others are left out.
void CTIFFReader::ConvertIndexes(const uint8_t* row, uint8_t* destination) const {
    const size_t width = m_layout.width;
    const size_t fileBits = size_t{m_layout.bitsPerSample} * m_layout.samplesPerPixel;
    const auto bits = static_cast<size_t>(m_bitmapInfo.BitCount());
    if (fileBits == bits) {
        std::memcpy(destination, row, (width * bits + 7) / 8);
        return;
    }
    std::memset(destination, 0, (width * bits + 7) / 8);
    for (size_t x = 0; x < width; ++x) {
        for (size_t bit = 0; bit < bits; ++bit) {
            const size_t from = x * fileBits + bit;
            const size_t to = x * bits + bit;
            const int value = row[from / 8] >> (7 - from % 8) & 1;
            destination[to / 8] = static_cast<uint8_t>(destination[to / 8] | value << (7 - to % 8));
        }
    }
}

void CTIFFReader::ConvertGray(const uint8_t* row, uint8_t* destination) {
    const size_t width = m_layout.width;
    const size_t step = m_layout.samplesPerPixel;
    const unsigned flip = m_photometric == PHOTOMETRIC_MINISWHITE ? 0xFFFF : 0;
    uint8_t* mask = MaskRow();
    if (m_layout.bitsPerSample == 8) {
        for (size_t x = 0; x < width; ++x) {
            destination[x] = static_cast<uint8_t>(row[x * step] ^ flip);
        }
        for (size_t x = 0; mask != nullptr && x < width; ++x) mask[x] = row[x * step + 1];
        return;
    }
    const auto* samples = reinterpret_cast<const uint16_t*>(row);
    uint16_t* plane = PlaneRow();
    for (size_t x = 0; x < width; ++x) {
        plane[x] = static_cast<uint16_t>(samples[x * step] ^ flip);
        destination[x] = static_cast<uint8_t>(plane[x] >> 8);
    }
    for (size_t x = 0; mask != nullptr && x < width; ++x) {
        mask[x] = static_cast<uint8_t>(samples[x * step + 1] >> 8);
    }
}

void CTIFFReader::ConvertRGB4(const uint8_t* row, uint8_t* destination) {
    const size_t samples = m_layout.samplesPerPixel;
    uint8_t* mask = MaskRow();
    const auto level = [row](size_t sample) {
        const int value = sample % 2 == 0 ? row[sample / 2] >> 4 : row[sample / 2] & 15;
        return static_cast<uint8_t>(value * 16);
    };
    for (size_t x = 0; x < m_layout.width; ++x) {
        for (size_t c = 0; c < 3; ++c) destination[3 * x + 2 - c] = level(x * samples + c);
        if (mask != nullptr) mask[x] = level(x * samples + 3);
    }
}

// Red, green and blue, from one plane or three, or inks; the sample behind them is the mask's.
template <typename Sample>
void CTIFFReader::ConvertColour(std::span<const uint8_t* const> planes, uint8_t* destination) {
    constexpr int kShift = 8 * (sizeof(Sample) - 1);
    constexpr int kMost = (1 << (8 * sizeof(Sample))) - 1;
    const size_t width = m_layout.width;
    const size_t step = planes.size() == 1 ? m_layout.samplesPerPixel : 1;
    const bool isInks = m_pixels == EPixels::kInks;
    if constexpr (sizeof(Sample) == 1) {
        if (planes.size() == 1 && step == 3) {
            SwapRedBlue(planes[0], destination, width);
            return;
        }
    }
    const auto channel = [&](size_t c) {
        return planes.size() == 1 ? reinterpret_cast<const Sample*>(planes[0]) + c
                                  : reinterpret_cast<const Sample*>(planes[c]);
    };
    const Sample* red = channel(0);
    const Sample* green = planes.size() == 1 ? red + 1 : channel(1);
    const Sample* blue = planes.size() == 1 ? red + 2 : channel(2);
    uint16_t* plane = m_has16Bit ? PlaneRow() : nullptr;
    const auto put = [&](size_t at, int value) {
        if constexpr (sizeof(Sample) == 2) plane[at] = static_cast<uint16_t>(value);
        destination[at] = static_cast<uint8_t>(value >> kShift);
    };
    if (isInks) {
        const Sample* black = red + 3;
        for (size_t x = 0; x < width; ++x) {
            const int k = black[x * step];
            put(3 * x, kMost - std::min(blue[x * step] + k, kMost));
            put(3 * x + 1, kMost - std::min(green[x * step] + k, kMost));
            put(3 * x + 2, kMost - std::min(red[x * step] + k, kMost));
        }
    } else {
        for (size_t x = 0; x < width; ++x) {
            put(3 * x, blue[x * step]);
            put(3 * x + 1, green[x * step]);
            put(3 * x + 2, red[x * step]);
        }
    }
    if (uint8_t* mask = MaskRow()) {
        const Sample* alpha = planes.size() == 1 ? red + (isInks ? 4 : 3) : channel(3);
        for (size_t x = 0; x < width; ++x)
            mask[x] = static_cast<uint8_t>(alpha[x * step] >> kShift);
    }
}

// Lightness is unsigned, a and b are two's complement.
void CTIFFReader::ConvertLab(const uint8_t* row, uint8_t* destination) const {
    const size_t step = m_layout.samplesPerPixel;
    for (size_t x = 0; x < m_layout.width; ++x, row += step) {
        LabToBGR(row[0] * 100 / 255, static_cast<int8_t>(row[1]), static_cast<int8_t>(row[2]),
                 destination + 3 * x);
    }
}

void CTIFFReader::Close() {
    if (m_jpegReader) m_jpegReader->Close();
    m_jpegReader.reset();
    m_rows.reset();
    m_rgbaPicture = {};
    m_tiff.reset();
    m_file.Close();
    ZeroPlanesFrom(m_rowsRead);
}

const CReaderRegistration kReaders{
    {kTypeTIFF, kTypeTIFFHuffman, kTypeTIFFGroup3, kTypeTIFFGroup4, kTypeTIFFWordAligned,
     kTypeTIFFJPEG, kTypeTIFFLZW, kTypeTIFFPackBits, kTypeTIFFMacintosh, kTypeTIFFThunderScan,
     kTypeTIFFZip},
    &MakeReader<CTIFFReader>};

}  // namespace
}  // namespace kestr
