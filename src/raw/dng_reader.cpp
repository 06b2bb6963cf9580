// Digital Negative, type id 70: a TIFF file of either byte order. The first directory describes the
// camera, its first sub-directory (or itself, when it has none) holds the sensor's samples, and the
// last one often a preview.
// Layout: Adobe's "Digital Negative (DNG) Specification", 1.1.0.0.

#include <algorithm>
#include <array>
#include <cmath>
#include <string>

#include "base/callback.h"
#include "base/format_text.h"
#include "metadata/tiff_bytes.h"
#include "metadata/tiff_parser.h"
#include "platform/mapped_file.h"
#include "raw/demosaic.h"
#include "raw/dng_picture.h"
#include "raw/neutral_estimate.h"
#include "raw/raw_finish.h"
#include "raw/raw_preview.h"
#include "raw/rotated_grid.h"
#include "readers/reader_registry.h"
#include "readers/type_ids.h"

namespace kestr {
namespace {

constexpr char kNotDNG[] = "Not a DNG file.";
constexpr char kName[] = "Adobe DNG (Digital NeGative)";

constexpr uint32_t kUncompressed = 1;
constexpr uint32_t kJPEG = 7;
constexpr uint16_t kWhiteIsZero = 0;
constexpr uint16_t kRGB = 2;
constexpr uint16_t kYCbCr = 6;

const char* YesOrNo(bool value) {
    return value ? "Yes" : "No";
}

/// The crop of a staggered mosaic in the upright picture, whose pixels are square: a column is half
/// a diagonal wide and a row a whole one high.
CRawBox UprightCrop(const CRawBox& crop, const CRawSamples& upright) {
    const double across = std::sqrt(0.5), down = std::sqrt(2.0);
    CRawBox box{static_cast<uint32_t>(crop.x * across), static_cast<uint32_t>(crop.y * down),
                static_cast<uint32_t>(crop.width * across),
                static_cast<uint32_t>(crop.height * down)};
    box.x = std::min(box.x, upright.width);
    box.y = std::min(box.y, upright.height);
    box.width = std::min(box.width, upright.width - box.x);
    box.height = std::min(box.height, upright.height - box.y);
    return box;
}

}  // namespace

class CDNGReader final : public CImageReader {
public:
    bool IsCameraRaw() override { return true; }
    bool Has16BitData() override { return !m_preview.IsTaken(); }
    bool Open(const KESTR_CHAR* path, int page) override;
    bool Load(const KESTR_CHAR* path, int page) override;
    bool ReadLine(uint8_t* destination) override;
    void Close() override;

private:
    void ForgetFile();
    [[nodiscard]] bool ReadFile();
    void ReadIPTC(const CRawDirectory& first);
    [[nodiscard]] bool OpenPreview(const CRawDirectory& directory);
    [[nodiscard]] bool OpenPreviewPixels(const CRawDirectory& directory, CRawDirectory::CSize size);
    void Describe();
    [[nodiscard]] bool Develop();
    [[nodiscard]] bool ReadSamples(CRawSensorImage& image);
    [[nodiscard]] bool Interpolate(CRawSensorImage& image);
    [[nodiscard]] bool Finish(CRawSensorImage& image);
    [[nodiscard]] bool TakePlainPicture(CRawSamples& samples, const CRawBox& crop);

    CMappedFileImpl m_file;
    CRawPreview m_preview;
    std::string m_make;
    std::string m_modelName;
    CDNGPicture m_picture;
    uint32_t m_nextRow = 0;
};

bool CDNGReader::Open(const KESTR_CHAR* path, int) {
    ForgetFile();
    m_errorText = kNotDNG;
    m_typeId = kTypeDNG;
    m_description += kName;
    if (!m_file.OpenRead(path) || !ReadFile()) {
        Close();
        return false;
    }
    m_errorText.clear();
    return true;
}

/// Makes the reader as new for the next Open().
void CDNGReader::ForgetFile() {
    Close();
    m_preview.Drop();
    m_has16Bit = false;
    m_bits16.clear();
    m_rotation = 0;
    m_originalWidth = m_originalHeight = 0;
    m_levelsBlack = m_levelsWhite = 0;
    m_picture = {};
    m_nextRow = 0;
}

bool CDNGReader::ReadFile() {
    const CTIFFParser parser(&m_file, true, true);
    const auto& directories = parser.Directories();
    if (directories.empty()) return false;
    const auto fields = [&](const CTIFFDirectory& directory) {
        return CRawDirectory(m_file, parser.BigEndian(), directory);
    };
    const CRawDirectory first = fields(directories[0]);
    if (!DNGVersion(first)) return false;
    TakeRawMetadata(*this, m_file.Bytes(), first);
    ReadIPTC(first);
    m_make = first.Text(raw_tag::kMake);
    m_modelName = first.Text(raw_tag::kModel);

    const auto children = GetSubDirectories(directories[0]);
    const bool hasChildren = children && !children->empty();
    auto picture = ReadDNGPicture(first, fields(hasChildren ? children->front() : directories[0]),
                                  parser.BigEndian(), m_file.Size());
    if (picture) {
        m_picture = std::move(*picture);
        m_originalWidth = m_picture.pictureWidth;
        m_originalHeight = m_picture.pictureHeight;
        Describe();
    }
    // A preview serves a thumbnail also where the samples themselves could not be read.
    if (m_thumbnailRequested) {
        if (hasChildren && OpenPreview(fields(children->back()))) return true;
        if (OpenPreview(fields(directories.back()))) return true;
        m_thumbnailRequested = false;
        m_thumbnailWidth = m_thumbnailHeight = 0;
    }
    m_originalWidth = m_originalHeight = 0;
    if (!picture) return false;
    const CDNGPicture& p = m_picture;
    m_bitmapInfo.SetFormat(p.IsGray() ? 8 : 24, static_cast<int32_t>(p.pictureWidth),
                           static_cast<int32_t>(p.pictureHeight));
    if (p.IsGray()) m_bitmapInfo.SetGrayPalette();
    return true;
}

/// Bytes, or numbers of four bytes in the file's order, or, as some programs write them, in the
/// other one.
void CDNGReader::ReadIPTC(const CRawDirectory& first) {
    auto block = first.Bytes(dng_tag::kIPTC);
    if (!block.empty()) {
        m_iptc.Parse(block);
        return;
    }
    const auto numbers = first.Longs(dng_tag::kIPTC);
    block.resize(4 * numbers.size());
    for (const bool bigEndian : {false, true}) {
        for (size_t i = 0; i < numbers.size(); ++i) {
            StoreTIFF(block.data() + 4 * i, numbers[i], bigEndian);
        }
        if (m_iptc.Parse(block)) return;
    }
}

bool CDNGReader::OpenPreview(const CRawDirectory& directory) {
    const auto compression = directory.Long(raw_tag::kCompression);
    const auto photometric = directory.Short(raw_tag::kPhotometric);
    const auto size = directory.Size();
    if (!photometric || (*photometric > kRGB && *photometric != kYCbCr) || !size ||
        !directory.Has(raw_tag::kStripOffsets) || !directory.Has(raw_tag::kSamplesPerPixel)) {
        return false;
    }
    if (compression == kUncompressed) return OpenPreviewPixels(directory, *size);
    if (compression != kJPEG) return false;
    const auto offset = directory.Long(raw_tag::kStripOffsets);
    const auto length = directory.Long(raw_tag::kStripByteCounts);
    if (!offset) return false;
    const CBitmapInfo before = m_bitmapInfo;
    if (!m_preview.OpenJPEG(*this,
                            SubRange(m_file.Bytes(), *offset, length.value_or(UINT32_MAX)))) {
        return false;
    }
    const CRawBox full = m_preview.FullSize(*this);
    if (full.width == size->width && full.height == size->height) return true;
    if (full.width != size->height || full.height != size->width) {
        m_preview.Drop();
        m_bitmapInfo = before;
        return false;
    }
    // It stands upright already.
    if (m_exif) m_exif->Orientation = uint16_t{1};
    return true;
}

bool CDNGReader::OpenPreviewPixels(const CRawDirectory& directory, CRawDirectory::CSize size) {
    const auto samples = directory.Short(raw_tag::kSamplesPerPixel);
    const auto photometric = directory.Short(raw_tag::kPhotometric);
    if (directory.Short(raw_tag::kBitsPerSample) != 8) return false;
    if (samples == 3 && photometric == kRGB) {
        return m_preview.OpenRGB(*this, directory.PictureBytes(size, 3), size.width, size.height);
    }
    return samples == 1 && photometric.value_or(kRGB) < kRGB &&
           m_preview.OpenGray(*this, directory.PictureBytes(size, 1), size.width, size.height,
                              photometric == kWhiteIsZero);
}

void CDNGReader::Describe() {
    m_description += "\r\nModel: " + m_modelName;
    m_description += "\r\nCompression: ";
    m_description += m_picture.data.compressed ? "LJPEG" : "None";
    m_description += FormatText("\r\nColor planes: %d", m_picture.planes);
    m_description += "\r\nTiled: ";
    m_description += YesOrNo(m_picture.data.tiled);
    m_description += "\r\nLinear: ";
    m_description += YesOrNo(m_picture.data.linear);
}

bool CDNGReader::Load(const KESTR_CHAR* path, int page) {
    if (!Open(path, page)) return false;
    if (m_preview.IsTaken()) return true;
    m_levelsGamma = m_make == "Canon" ? 1.25 : 1.0;
    m_errorText = kNotDNG;
    if (CheckAbort() || !Develop()) return false;
    m_errorText.clear();
    m_has16Bit = true;
    m_nextRow = 0;
    return true;
}

bool CDNGReader::Develop() {
    CRawSensorImage image;
    if (!ReadSamples(image) || CheckAbort()) return false;
    if (!m_picture.data.linear && !Interpolate(image)) return false;
    return !CheckAbort() && Finish(image);
}

bool CDNGReader::ReadSamples(CRawSensorImage& image) {
    const CDNGData& data = m_picture.data;
    uint32_t width = data.width, height = data.height;
    if (data.staggered) {
        const CStaggeredGrid grid(data);
        width = static_cast<uint32_t>(grid.bufferWidth);
        height = static_cast<uint32_t>(grid.bufferHeight);
    }
    if (!data.linear) {
        image.passCount = m_picture.HasMatrix() && m_picture.whiteStated ? 4 : 5;
        const auto* planeColors = m_picture.planeColors ? &*m_picture.planeColors : nullptr;
        const auto filter =
            MakeFilterTable(m_picture.pattern, m_picture.repeat[0], m_picture.repeat[1],
                            static_cast<uint8_t>(m_picture.planes), planeColors);
        if (!filter) return false;
        image.filter = *filter;
    }
    image.samples = CRawSamples(width, height, m_picture.BufferColors());
    return ReadDNGData(m_file.Bytes(), data, image, this);
}

/// From a mosaic to whole pixels, upright.
bool CDNGReader::Interpolate(CRawSensorImage& image) {
    CDNGPicture& p = m_picture;
    if (image.samples.colors == 3 && p.neutral.empty()) {
        p.neutral = EstimateNeutralFromSamples(image, p.black, p.white);
        if (CheckAbort()) return false;
    }
    if (!Demosaic(m_interpolationMethod, image, this,
                  {.cameraColor = p.color,
                   .analogBalance = p.analogBalance,
                   .neutral = p.neutral,
                   .black = p.black,
                   .white = p.white})) {
        return false;
    }
    if (!p.data.staggered) return true;
    CRawSamples& samples = image.samples;
    if (!samples.Compact(0, 0)) return false;  // of the planes only three are in use
    const double diagonal = std::sqrt(0.5);
    const uint32_t rows = CStaggeredGrid(p.data).rows;
    const auto wide = static_cast<uint32_t>(rows / diagonal);
    const uint32_t pairs = p.data.width / 2;
    const auto high = static_cast<uint32_t>(pairs / diagonal);
    if (wide == 0 || high == 0) return false;
    TurnGridUpright(samples, rows, wide, high);
    Turn(samples, CRawTurn::kCounterClockwise);
    return true;
}

/// Colours, crop and the picture's size.
bool CDNGReader::Finish(CRawSensorImage& image) {
    CDNGPicture& p = m_picture;
    const CRawBox crop = p.data.staggered ? UprightCrop(p.crop, image.samples) : p.crop;
    if (!p.HasMatrix()) return TakePlainPicture(image.samples, crop);
    if (p.neutral.empty()) p.neutral = EstimateNeutralFromBox(image.samples, crop, p.white);
    const CRawFinish finish{
        .cameraColor = p.color,
        .analogBalance = p.analogBalance,
        .neutral = p.neutral,
        .black = p.black,
        .white = p.white,
        .temperature = static_cast<uint16_t>(callback::ColorTemperature(m_session)),
        .crop = crop,
        .outputWidth = p.pictureWidth,
        .outputHeight = p.pictureHeight,
        .lowClipPerMille = 2,
        .highClipPerMille = m_make == "Canon" ? 8u : 2u};
    CRawHistograms histograms{};
    ConvertRawColors(*this, finish, image, histograms);
    return !CheckAbort() && TakeRawPicture(*this, finish, image.samples, histograms);
}

/// Samples without a colour description: as they are, or by a curve that makes light look even.
bool CDNGReader::TakePlainPicture(CRawSamples& samples, const CRawBox& crop) {
    const CDNGPicture& p = m_picture;
    if (crop.width == 0 || crop.height == 0 || crop.x + crop.width > samples.width ||
        crop.y + crop.height > samples.height) {
        return false;
    }
    std::vector<uint16_t> curve(65536);  // of the sample as it was recorded
    const double range = p.white - p.black;
    for (size_t i = 0; i < curve.size(); ++i) {
        if (!m_linearGamma) {
            curve[i] = static_cast<uint16_t>(i);
            continue;
        }
        const double light = std::clamp((static_cast<double>(i) - p.black) / range, 0.0, 1.0);
        const double place = std::floor(light * 65535) / 65535;
        curve[i] = static_cast<uint16_t>(std::sqrt(place) * 65535 + 0.5);
    }
    const uint32_t channels = p.IsGray() ? 1 : 3;
    const bool twoGreens = p.planes == 4;
    const size_t colors = samples.colors;
    // In place: a pixel never gets longer.
    uint16_t* to = samples.samples.data();
    for (uint32_t y = 0; y < crop.height; ++y) {
        const uint16_t* from = samples.Pixel(y + crop.y, crop.x);
        for (uint32_t x = 0; x < crop.width; ++x, from += colors) {
            const uint16_t first = from[0];
            if (channels == 1) {
                *to++ = curve[first];
                continue;
            }
            const uint32_t second = twoGreens ? (uint32_t{from[1]} + from[3]) / 2 : from[1];
            *to++ = curve[from[2]];
            *to++ = curve[second];
            *to++ = curve[first];
        }
    }
    samples.samples.Truncate(size_t{crop.width} * crop.height * channels);
    SetRawPicture(*this, std::move(samples.samples), crop.width, crop.height,
                  static_cast<int>(channels), p.pictureWidth, p.pictureHeight);
    if (channels == 1) m_bitmapInfo.SetGrayPalette();
    return true;
}

bool CDNGReader::ReadLine(uint8_t* destination) {
    if (m_preview.IsTaken()) return m_preview.ReadLine(*this, destination);
    return ReadHighBytes(*this, m_nextRow++, destination);
}

void CDNGReader::Close() {
    m_preview.Close();
    m_file.Close();
}

namespace {

const CReaderRegistration kReaders{{kTypeDNG}, &MakeReader<CDNGReader>};

}  // namespace
}  // namespace kestr
