// Tagged Image File Format, through libtiff: one page, alone or behind those of a file.
#include <algorithm>
#include <cstring>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include <tiffio.h>

#include "base/channel_order.h"
#include "base/messages.h"
#include "formats/tiff_support.h"
#include "image/image_bits.h"
#include "image/writer_registry.h"
#include "ops/pixel_format.h"
#include "platform/files.h"
#include "platform/mapped_file.h"
#include "readers/type_ids.h"

namespace kestr {
namespace {

constexpr char kInvalidCompression[] = "Invalid TIFF compression for image.";
constexpr char kWriteFailed[] = "IO error writing TIFF file.";
constexpr uint16_t kDefaultResolution = 300;  // pixels per inch
constexpr size_t kLeastIPTC = 8;              // bytes; a record below that holds nothing
constexpr size_t kStreamBuffer = size_t{1} << 20;

// What the samples of a row are.
enum class ERow { kBits, kGray, kRGB };

struct CPlan {
    ERow row = ERow::kRGB;
    uint16_t compression = COMPRESSION_NONE;
    uint16_t bits = 8;  // of a sample
    uint16_t samples = 3;
    uint16_t photometric = PHOTOMETRIC_RGB;
    bool hasMask = false;
};

std::optional<uint16_t> CompressionOf(int32_t typeId, int depth) {
    switch (typeId) {
        case kTypeTIFF:
            return uint16_t{COMPRESSION_NONE};
        case kTypeTIFFLZW:
            return uint16_t{COMPRESSION_LZW};
        case kTypeTIFFZip:
            return uint16_t{COMPRESSION_ADOBE_DEFLATE};
        case kTypeTIFFJPEG:
            if (depth >= 8) return uint16_t{COMPRESSION_JPEG};
            return std::nullopt;
        default:
            break;
    }
    if (depth != 1) return std::nullopt;
    switch (typeId) {
        case kTypeTIFFHuffman:
            return uint16_t{COMPRESSION_CCITTRLE};
        case kTypeTIFFGroup3:
            return uint16_t{COMPRESSION_CCITTFAX3};
        case kTypeTIFFGroup4:
            return uint16_t{COMPRESSION_CCITTFAX4};
        case kTypeTIFFMacintosh:
            return uint16_t{COMPRESSION_PACKBITS};
        default:
            return std::nullopt;
    }
}

bool IsFax(uint16_t compression) {
    return compression == COMPRESSION_CCITTRLE || compression == COMPRESSION_CCITTFAX3 ||
           compression == COMPRESSION_CCITTFAX4;
}

bool IsLevel(const CRGBQuad& entry, int level) {
    return entry.IsGray() && entry.rgbRed == level;
}

// 1 for a palette that rises from black to white in equal steps, -1 for one that falls, else 0.
int RampOf(const CBitmapInfo& info) {
    const int entries = 1 << info.BitCount();
    if (info.ColorCount() != entries) return 0;
    bool rises = true;
    bool falls = true;
    for (int i = 0; i < entries; ++i) {
        const CRGBQuad& entry = info.Palette()[static_cast<size_t>(i)];
        rises = rises && IsLevel(entry, i * 255 / (entries - 1));
        falls = falls && IsLevel(entry, 255 - i * 255 / (entries - 1));
    }
    return rises ? 1 : falls ? -1 : 0;
}

// Nothing when the picture cannot be saved under this type id.
std::optional<CPlan> MakePlan(CImageBits& image, const CSaveRequest& request) {
    const CBitmapInfo& info = image.bitmapInfo;
    const int depth = info.BitCount();
    const auto compression = CompressionOf(request.typeId, depth);
    if (!compression) return std::nullopt;
    CPlan plan;
    plan.compression = *compression;
    const bool isJPEG = plan.compression == COMPRESSION_JPEG;
    const bool hasMask = image.alpha.size() ==
                         static_cast<size_t>(image.Width()) * static_cast<size_t>(image.Height());
    const bool usesPlane = image.Has16Bit() && request.writeMetadata && !isJPEG;
    if (depth == 24 || isJPEG) {
        plan.bits = usesPlane ? 16 : 8;
        plan.hasMask = hasMask;
        plan.samples = hasMask ? 4 : 3;
        return plan;
    }
    plan.samples = 1;
    plan.bits = static_cast<uint16_t>(depth);
    const int ramp = RampOf(info);
    if (depth == 1) {
        plan.row = ERow::kBits;
        const bool darkFirst = info.Palette()[0].rgbRed == 0;
        plan.photometric = darkFirst ? PHOTOMETRIC_MINISBLACK : PHOTOMETRIC_MINISWHITE;
        // Two other colours than black and white need a map, where the compression allows one.
        if (ramp == 0 && !IsFax(plan.compression)) plan.photometric = PHOTOMETRIC_PALETTE;
    } else if (image.IsGray() && (ramp == 1 || (ramp == -1 && depth == 4))) {
        plan.row = depth == 8 ? ERow::kGray : ERow::kBits;
        plan.photometric = ramp == 1 ? PHOTOMETRIC_MINISBLACK : PHOTOMETRIC_MINISWHITE;
        if (depth == 8 && usesPlane) plan.bits = 16;
        plan.hasMask = depth == 8 && hasMask;
        plan.samples = plan.hasMask ? 2 : 1;
    } else {
        plan.row = ERow::kBits;
        plan.photometric = PHOTOMETRIC_PALETTE;
    }
    return plan;
}

// The characters of a record's text as the bytes that they were.
std::string Bytes(const WideString& text) {
    std::string bytes;
    for (const KESTR_CHAR unit : text) bytes += static_cast<char>(unit);
    return bytes;
}

class CTIFFWriter {
public:
    CTIFFWriter(CImageBits& image, TIFF* tiff, const CPlan& plan)
        : m_image(image), m_tiff(tiff), m_plan(plan) {}

    void SetTags(const CSaveRequest& request);
    /// The EXIF and GPS directories, which lie before the pixels.
    bool WriteDirectories(CTIFFStream& stream);
    bool WriteRows();

private:
    bool WriteDirectory(CTIFFStream& stream, uint32_t tag, bool isGPS);
    void SetText(uint32_t tag, const WideString& text);
    void SetList(uint32_t tag, const CEXIF_Members::Rationals& list, size_t count);
    void SetExif();
    void SetResolution();
    void SetIPTC();
    void SetPixels();
    void SetPalette();
    void FillRow(int32_t y, uint8_t* row);
    template <typename Sample>
    void JoinRow(const Sample* from, size_t channels, int32_t y, Sample* row) const;

    CImageBits& m_image;
    TIFF* m_tiff;
    const CPlan m_plan;
    std::vector<uint8_t> m_indexes;  // one row, for palette colours
    std::vector<uint8_t> m_colours;
};

void CTIFFWriter::SetTags(const CSaveRequest& request) {
    TIFFSetField(m_tiff, TIFFTAG_IMAGEWIDTH, static_cast<uint32_t>(m_image.Width()));
    TIFFSetField(m_tiff, TIFFTAG_IMAGELENGTH, static_cast<uint32_t>(m_image.Height()));
    const CEXIF_Members* exif = m_image.exif.get();
    if (exif != nullptr) SetExif();
    const uint16_t orientation = exif != nullptr && exif->Orientation ? *exif->Orientation : 1;
    TIFFSetField(m_tiff, TIFFTAG_ORIENTATION, orientation);
    SetResolution();
    TIFFSetField(m_tiff, TIFFTAG_PLANARCONFIG, PLANARCONFIG_CONTIG);
    if (!m_image.comment.empty() && (exif == nullptr || exif->ImageDescription.empty())) {
        TIFFSetField(m_tiff, TIFFTAG_IMAGEDESCRIPTION, m_image.comment.c_str());
    }
    if (request.writeProfile && m_image.bitmapInfo.BitCount() >= 8 && !m_image.iccProfile.empty()) {
        TIFFSetField(m_tiff, TIFFTAG_ICCPROFILE, static_cast<uint32_t>(m_image.iccProfile.size()),
                     m_image.iccProfile.data());
    }
    SetIPTC();
    if (request.writeMetadata && !m_image.xmpData.empty()) {
        TIFFSetField(m_tiff, TIFFTAG_XMLPACKET, static_cast<uint32_t>(m_image.xmpData.size()),
                     m_image.xmpData.data());
    }
    SetPixels();
}

bool CTIFFWriter::WriteDirectories(CTIFFStream& stream) {
    return m_image.exif == nullptr || (WriteDirectory(stream, TIFFTAG_EXIFIFD, false) &&
                                       WriteDirectory(stream, TIFFTAG_GPSIFD, true));
}

// libtiff puts what comes later behind it, wherever the file ends then.
bool CTIFFWriter::WriteDirectory(CTIFFStream& stream, uint32_t tag, bool isGPS) {
    const CEXIF_Members& exif = *m_image.exif;
    const bool bigEndian = TIFFIsBigEndian(m_tiff) != 0;
    const toff_t end = stream.Size();
    const auto at = static_cast<uint32_t>(end + end % 2);
    if (at < end) return false;  // beyond what the format can name
    const std::vector<uint8_t> block =
        isGPS ? exif.SerialiseGPSForTIFF(bigEndian, at) : exif.SerialiseForTIFF(bigEndian, at);
    if (block.empty()) return true;
    static constexpr uint8_t kPadding = 0;
    stream.Seek(0, SEEK_END);
    if (at != end && stream.Write(&kPadding, 1) != 1) return false;
    const auto bytes = static_cast<tmsize_t>(block.size());
    return stream.Write(block.data(), bytes) == bytes &&
           TIFFSetField(m_tiff, tag, uint64_t{at}) != 0;
}

void CTIFFWriter::SetText(uint32_t tag, const WideString& text) {
    if (!text.empty()) TIFFSetField(m_tiff, tag, Bytes(text).c_str());
}

void CTIFFWriter::SetList(uint32_t tag, const CEXIF_Members::Rationals& list, size_t count) {
    if (list.size() < count) return;
    float values[6]{};
    for (size_t i = 0; i < count; ++i) values[i] = static_cast<float>(list[i].value);
    TIFFSetField(m_tiff, tag, values);
}

void CTIFFWriter::SetExif() {
    const CEXIF_Members& exif = *m_image.exif;
    SetText(TIFFTAG_IMAGEDESCRIPTION, exif.ImageDescription);
    SetText(TIFFTAG_MAKE, exif.Make);
    SetText(TIFFTAG_MODEL, exif.Model);
    SetText(TIFFTAG_SOFTWARE, exif.Software);
    SetText(TIFFTAG_DATETIME, exif.DateTime);
    SetText(TIFFTAG_ARTIST, exif.Artist);
    SetText(TIFFTAG_COPYRIGHT, exif.Copyright);
    if (exif.YCbCrPositioning) {
        TIFFSetField(m_tiff, TIFFTAG_YCBCRPOSITIONING, *exif.YCbCrPositioning);
    }
    SetList(TIFFTAG_WHITEPOINT, exif.WhitePoint, 2);
    SetList(TIFFTAG_PRIMARYCHROMATICITIES, exif.PrimaryChromaticities, 6);
    SetList(TIFFTAG_YCBCRCOEFFICIENTS, exif.YCbCrCoefficients, 3);
}

void CTIFFWriter::SetResolution() {
    double x = kDefaultResolution;
    double y = kDefaultResolution;
    uint16_t unit = RESUNIT_INCH;
    const CEXIF_Members* exif = m_image.exif.get();
    if (m_image.physicalX != 0 && m_image.physicalY != 0) {
        x = m_image.physicalX;
        y = m_image.physicalY;
    } else if (exif != nullptr && exif->XResolution && exif->YResolution && exif->ResolutionUnit) {
        x = exif->XResolution->value;
        y = exif->YResolution->value;
        unit = *exif->ResolutionUnit;
    }
    TIFFSetField(m_tiff, TIFFTAG_XRESOLUTION, x);
    TIFFSetField(m_tiff, TIFFTAG_YRESOLUTION, y);
    TIFFSetField(m_tiff, TIFFTAG_RESOLUTIONUNIT, unit);
}

// libtiff knows the tag as numbers of 32 bits; the type is put right in the finished file.
void CTIFFWriter::SetIPTC() {
    const std::vector<uint8_t> block = m_image.iptc.Serialise();
    if (block.size() < kLeastIPTC) return;
    std::vector<uint32_t> numbers((block.size() + 3) / 4);
    std::memcpy(numbers.data(), block.data(), block.size());
    // They are bytes: undo what writing in the other byte order will do to them.
    if (TIFFIsByteSwapped(m_tiff)) {
        TIFFSwabArrayOfLong(numbers.data(), static_cast<tmsize_t>(numbers.size()));
    }
    TIFFSetField(m_tiff, TIFFTAG_RICHTIFFIPTC, static_cast<uint32_t>(numbers.size()),
                 numbers.data());
}

void CTIFFWriter::SetPixels() {
    TIFFSetField(m_tiff, TIFFTAG_SAMPLESPERPIXEL, m_plan.samples);
    TIFFSetField(m_tiff, TIFFTAG_BITSPERSAMPLE, m_plan.bits);
    TIFFSetField(m_tiff, TIFFTAG_PHOTOMETRIC, m_plan.photometric);
    if (m_plan.hasMask) {
        const uint16_t kind = EXTRASAMPLE_UNASSALPHA;
        TIFFSetField(m_tiff, TIFFTAG_EXTRASAMPLES, 1, &kind);
    }
    TIFFSetField(m_tiff, TIFFTAG_COMPRESSION, m_plan.compression);
    switch (m_plan.compression) {
        case COMPRESSION_JPEG:
            TIFFSetField(m_tiff, TIFFTAG_JPEGQUALITY, static_cast<int>(m_image.jpegQuality));
            TIFFSetField(m_tiff, TIFFTAG_JPEGCOLORMODE, JPEGCOLORMODE_RGB);
            break;
        case COMPRESSION_LZW:
            if (m_plan.bits >= 8) TIFFSetField(m_tiff, TIFFTAG_PREDICTOR, PREDICTOR_HORIZONTAL);
            break;
        case COMPRESSION_CCITTFAX3:
            TIFFSetField(m_tiff, TIFFTAG_GROUP3OPTIONS, GROUP3OPT_FILLBITS);
            TIFFSetField(m_tiff, TIFFTAG_FILLORDER, FILLORDER_MSB2LSB);
            break;
        case COMPRESSION_CCITTFAX4:
            TIFFSetField(m_tiff, TIFFTAG_GROUP4OPTIONS, 0);
            TIFFSetField(m_tiff, TIFFTAG_FILLORDER, FILLORDER_MSB2LSB);
            break;
        default:
            break;
    }
    if (m_plan.photometric == PHOTOMETRIC_PALETTE) SetPalette();
    TIFFSetField(m_tiff, TIFFTAG_ROWSPERSTRIP, TIFFDefaultStripSize(m_tiff, 0));
}

void CTIFFWriter::SetPalette() {
    const CBitmapInfo& info = m_image.bitmapInfo;
    uint16_t red[256]{};
    uint16_t green[256]{};
    uint16_t blue[256]{};
    for (size_t i = 0; i < info.PaletteSize(); ++i) {
        red[i] = static_cast<uint16_t>(info.Palette()[i].rgbRed * 256);
        green[i] = static_cast<uint16_t>(info.Palette()[i].rgbGreen * 256);
        blue[i] = static_cast<uint16_t>(info.Palette()[i].rgbBlue * 256);
    }
    TIFFSetField(m_tiff, TIFFTAG_COLORMAP, red, green, blue);
}

// Whole strips: the quick way of libtiff's compressions is open to those only.
bool CTIFFWriter::WriteRows() {
    uint32_t rowsPerStrip = 1;
    TIFFGetFieldDefaulted(m_tiff, TIFFTAG_ROWSPERSTRIP, &rowsPerStrip);
    const auto height = static_cast<uint32_t>(m_image.Height());
    rowsPerStrip = std::clamp<uint32_t>(rowsPerStrip, 1, height);
    const tmsize_t rowBytes = TIFFScanlineSize(m_tiff);
    if (rowBytes <= 0) return false;
    std::vector<uint8_t> strip(static_cast<size_t>(rowBytes) * rowsPerStrip);
    for (uint32_t y = 0; y < height; y += rowsPerStrip) {
        const uint32_t rows = std::min(rowsPerStrip, height - y);
        for (uint32_t i = 0; i < rows; ++i) {
            FillRow(static_cast<int32_t>(y + i), strip.data() + i * static_cast<size_t>(rowBytes));
        }
        if (TIFFWriteEncodedStrip(m_tiff, y / rowsPerStrip, strip.data(),
                                  rowBytes * static_cast<tmsize_t>(rows)) < 0) {
            return false;
        }
        m_image.ReportSaveProgress(y + rows - 1);
    }
    return true;
}

void CTIFFWriter::FillRow(int32_t y, uint8_t* row) {
    const auto width = static_cast<size_t>(m_image.Width());
    const CBitmapInfo& info = m_image.bitmapInfo;
    const uint8_t* bits = m_image.RowFromTop(y);
    if (m_plan.row == ERow::kBits) {
        std::memcpy(row, bits, (width * m_plan.bits + 7) / 8);
        return;
    }
    const size_t channels = m_plan.row == ERow::kRGB ? 3 : 1;
    if (m_plan.bits == 16) {
        const uint16_t* plane = m_image.bits16.data() + static_cast<size_t>(y) * width * channels;
        JoinRow(plane, channels, y, reinterpret_cast<uint16_t*>(row));
        return;
    }
    if (m_plan.row == ERow::kRGB && info.BitCount() < 24) {
        m_indexes.resize(width);
        m_colours.resize(3 * width);
        UnpackIndices(bits, info.BitCount(), m_image.Width(), m_indexes.data());
        for (size_t x = 0; x < width; ++x) {
            std::memcpy(m_colours.data() + 3 * x, &info.Palette()[m_indexes[x]], 3);
        }
        bits = m_colours.data();
    }
    JoinRow(bits, channels, y, row);
}

// Blue, green, red go out as red, green, blue; the mask comes behind the last sample.
template <typename Sample>
void CTIFFWriter::JoinRow(const Sample* from, size_t channels, int32_t y, Sample* row) const {
    constexpr int kOpaque = sizeof(Sample) == 1 ? 1 : 257;  // 255 becomes the largest value
    const auto width = static_cast<size_t>(m_image.Width());
    const size_t start = static_cast<size_t>(y) * width;
    const uint8_t* mask = m_plan.hasMask ? m_image.alpha.data() + start : nullptr;
    const size_t step = m_plan.samples;
    if constexpr (sizeof(Sample) == 1) {
        if (step == 3) return SwapRedBlue(from, row, width);
    }
    if (channels == 1) {
        for (size_t x = 0; x < width; ++x) row[x * step] = from[x];
    } else {
        for (size_t x = 0; x < width; ++x) {
            row[x * step] = from[3 * x + 2];
            row[x * step + 1] = from[3 * x + 1];
            row[x * step + 2] = from[3 * x];
        }
    }
    for (size_t x = 0; mask != nullptr && x < width; ++x) {
        row[x * step + channels] = static_cast<Sample>(mask[x] * kOpaque);
    }
}

struct CStreamCloser {
    void operator()(std::FILE* stream) const { std::fclose(stream); }
};
using CStream = std::unique_ptr<std::FILE, CStreamCloser>;

bool SaveTIFF(CImageBits& image, const CSaveRequest& request) {
    if (request.typeId == kTypeTIFFJPEG && image.bitmapInfo.BitCount() < 8) return false;
    const auto plan = MakePlan(image, request);
    if (!plan) {
        image.errorText = kInvalidCompression;
        return false;
    }
    const bool append = request.option != 0 && CanReadFile(request.path);
    CStream stream(OpenStream(request.path, append ? "r+b" : "w+b"));
    if (!stream) {
        image.errorText = Message(message::kCannotCreate);
        return false;
    }
    std::vector<char> buffer(kStreamBuffer);
    std::setvbuf(stream.get(), buffer.data(), _IOFBF, buffer.size());
    bool written = false;
    {
        CTIFFStream client(stream.get());
        const CTIFFHandle tiff = OpenTIFF(client, append ? "a" : request.flag ? "wb" : "wl");
        if (tiff) {
            CTIFFWriter writer(image, tiff.get(), *plan);
            writer.SetTags(request);
            written = (!request.writeMetadata || writer.WriteDirectories(client)) &&
                      writer.WriteRows() && TIFFWriteDirectory(tiff.get()) != 0;
        }
    }
    // A stream that cannot be written to the end fails here at the latest.
    written = std::fclose(stream.release()) == 0 && written;
    if (!written) {
        image.errorText = kWriteFailed;
        return false;
    }
    CMappedFileImpl file;
    if (file.OpenReadWrite(request.path)) {
        const std::span<uint8_t> bytes(file.WritableData(), file.Size());
        FixRichTIFFIPTCType(bytes);
        FixDirectoryPointerTypes(bytes);
    }
    return true;
}

const CWriterRegistration kWriters{
    {kTypeTIFF, kTypeTIFFHuffman, kTypeTIFFGroup3, kTypeTIFFGroup4, kTypeTIFFWordAligned,
     kTypeTIFFJPEG, kTypeTIFFLZW, kTypeTIFFPackBits, kTypeTIFFMacintosh, kTypeTIFFThunderScan,
     kTypeTIFFZip},
    &SaveTIFF};

}  // namespace
}  // namespace kestr
