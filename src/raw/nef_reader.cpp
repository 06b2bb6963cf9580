// Nikon's NEF: a TIFF file whose first directory leads to others by tag 330, the last of which has
// the sensor's samples.

#include <algorithm>
#include <cstring>
#include <memory>
#include <optional>
#include <string>

#include "base/channel_order.h"
#include "base/picture_size.h"
#include "metadata/tiff_bytes.h"
#include "metadata/tiff_parser.h"
#include "raw/dcraw_reader.h"
#include "raw/nef_data.h"
#include "raw/nef_models.h"
#include "readers/reader_registry.h"
#include "readers/type_ids.h"

namespace kestr {
namespace {

constexpr char kNotNEF[] = "Not a NEF file.";

namespace tag {
constexpr uint16_t kWidth = 256;
constexpr uint16_t kHeight = 257;
constexpr uint16_t kBitsPerSample = 258;
constexpr uint16_t kCompression = 259;
constexpr uint16_t kPhotometric = 262;
constexpr uint16_t kModel = 272;
constexpr uint16_t kStripOffsets = 273;
constexpr uint16_t kRowsPerStrip = 278;
constexpr uint16_t kStripByteCounts = 279;
constexpr uint16_t kJPEGOffset = 513;
constexpr uint16_t kJPEGLength = 514;
constexpr uint16_t kCFARepeat = 33421;
constexpr uint16_t kCFAPattern = 33422;
constexpr uint16_t kProfile = 34675;
}  // namespace tag

constexpr uint32_t kUncompressed = 1;
constexpr uint32_t kNikonCompressed = 34713;
constexpr uint16_t kMosaic = 32803;
constexpr uint16_t kRGB = 2;
constexpr uint16_t kGray = 1;
// Kelvin of the lights that the two colour matrices are for.
constexpr uint16_t kIlluminantA = 2850;
constexpr uint16_t kDaylight = 6500;
// No code for a difference is shorter than two bits, and no photograph comes near that: a file that
// states more samples for a byte is cut short beyond use, or lies.
constexpr uint64_t kMostSamplesPerByte = 8;

}  // namespace

class CNEFReader final : public CDCRawReader {
public:
    bool Open(const KESTR_CHAR* path, int page) override;
    bool ReadLine(uint8_t* destination) override;
    void Close() override;
    bool NeedsRawDecode() override;
    void PrepareRawDecode() override;
    [[nodiscard]] bool ReadSensorData(CRawSensorImage& image) override;

private:
    struct CSize {
        uint32_t width, height;
    };

    void Reset();
    [[nodiscard]] bool ReadFile();
    [[nodiscard]] bool OpenSensorData(const CTIFFDirectory& directory);
    [[nodiscard]] bool ReadFilterPattern(const CTIFFDirectory& directory);
    [[nodiscard]] bool OpenPicture(const CTIFFDirectory& directory, CSize size);
    void OpenPreview(const CTIFFDirectory& first, const CTIFFDirectoryList& children);
    [[nodiscard]] bool OpenJPEG(const CTIFFDirectory& directory);
    [[nodiscard]] bool OpenJPEG(CNotePreview place);
    [[nodiscard]] bool OpenRGB(const CTIFFDirectory& directory);
    [[nodiscard]] std::span<const uint8_t> SensorBytes() const;
    [[nodiscard]] bool IsPadded() const;
    [[nodiscard]] std::span<const uint8_t> PictureBytes(const CTIFFDirectory& directory, CSize size,
                                                        uint32_t bytesPerPixel) const;
    [[nodiscard]] std::optional<CSize> SizeIn(const CTIFFDirectory& directory) const;
    [[nodiscard]] std::optional<uint32_t> Long(const CTIFFDirectory& directory, uint16_t tag) const;
    [[nodiscard]] std::optional<uint16_t> Short(const CTIFFDirectory& directory,
                                                uint16_t tag) const;

    bool m_bigEndian = false;
    std::string m_modelName;
    const CNEFModel* m_model = nullptr;
    uint32_t m_compression = 0;
    std::vector<uint32_t> m_stripOffsets;
    uint16_t m_bitsPerSample = 0;
    CNikonNote m_note;
    std::vector<uint8_t> m_cfaBytes;
    std::unique_ptr<CImageReader> m_previewReader;
    std::vector<uint8_t> m_previewBits;  // red, green, blue; rows top-down and unpadded
    bool m_greyPreview = false;          // m_bits16 holds it, one sample a pixel
};

bool CNEFReader::Open(const KESTR_CHAR* path, int) {
    Reset();
    m_errorText = kNotNEF;
    m_typeId = kTypeNikon;
    m_description += "Nikon NEF";
    if (!m_file.OpenRead(path) || !ReadFile()) {
        Close();
        return false;
    }
    if (!m_modelName.empty()) m_description += " (" + m_modelName + ")";
    m_errorText.clear();
    return true;
}

/// Forgets what an earlier Open() found.
void CNEFReader::Reset() {
    Close();
    m_previewReader.reset();
    m_previewBits.clear();
    m_modelName.clear();
    m_model = nullptr;
    m_stripOffsets.clear();
    m_note = {};
    m_cfaBytes.clear();
    m_greyPreview = false;
    m_has16Bit = false;
    m_bits16.clear();
    m_rotation = 0;
    m_originalWidth = m_originalHeight = 0;
    m_levelsBlack = m_levelsWhite = 0;
    m_asShotNeutral.clear();
    m_analogBalance.clear();
    m_cameraColor = {};
    m_marginX = m_marginY = 2;
    m_cfaRepeat = {2, 2};
    m_outputWidth = m_outputHeight = 0;
    m_nextRow = 0;
    SetRawSize(0, 0);
}

bool CNEFReader::ReadFile() {
    const CTIFFParser parser(&m_file, false, true);
    if (parser.Directories().empty()) return false;
    const CTIFFDirectory& first = parser.Directories()[0];
    m_bigEndian = parser.BigEndian();
    auto exif = std::make_unique<CEXIF_Members>();
    if (exif->Parse(m_file.Bytes(), false, false)) m_exif = std::move(exif);
    std::vector<uint8_t> profile;
    if (GetBytes(m_file, tag::kProfile, m_bigEndian, first, profile)) SetICCProfile(profile);
    if (GetText(m_file, tag::kModel, m_bigEndian, first, m_modelName)) {
        m_model = FindNEFModel(m_modelName);
    }

    const auto children = GetSubDirectories(first);
    if (!children || children->empty()) return false;
    const CTIFFDirectory& last = children->back();
    m_bitsPerSample = Short(last, tag::kBitsPerSample).value_or(0);
    uint32_t noteOffset = 0;
    if (m_exif && m_exif->GetMakerNoteOffset(noteOffset) == 0) {
        m_note = ReadNikonNote(m_file.Bytes(), noteOffset, m_bigEndian, m_bitsPerSample, m_model);
        m_rotation = m_note.rotation;
    }
    const auto size = SizeIn(last);
    if (size) SetRawSize(size->width, size->height);
    if ((m_bitsPerSample == 12 || m_bitsPerSample == 14) &&
        Short(last, tag::kPhotometric) == kMosaic) {
        if (!size || !OpenSensorData(last)) return false;
        if (m_thumbnailRequested || m_minPreviewSize != 0) OpenPreview(first, *children);
        return true;
    }
    return size ? OpenPicture(last, *size) : OpenJPEG(last);
}

/// The numbers of the sensor's samples; tests that the file can hold what they say.
bool CNEFReader::OpenSensorData(const CTIFFDirectory& directory) {
    std::vector<uint32_t> stripCounts;
    m_compression = Long(directory, tag::kCompression).value_or(0);
    if (m_compression != kUncompressed && m_compression != kNikonCompressed) return false;
    if (!GetLongs(m_file, tag::kStripOffsets, m_bigEndian, directory, m_stripOffsets) ||
        !GetLongs(m_file, tag::kStripByteCounts, m_bigEndian, directory, stripCounts) ||
        m_stripOffsets.empty() || stripCounts.empty() || !Long(directory, tag::kRowsPerStrip)) {
        return false;
    }
    if (m_model == nullptr || !ReadFilterPattern(directory)) return false;
    const CNEFModel& model = *m_model;
    m_cameraColor.colorMatrix1.assign(model.colorMatrix1.begin(), model.colorMatrix1.end());
    m_cameraColor.illuminant1 = kIlluminantA;
    m_cameraColor.colorMatrix2.assign(model.colorMatrix2.begin(), model.colorMatrix2.end());
    m_cameraColor.illuminant2 = kDaylight;
    m_whiteLevel = model.whiteLevel;
    m_marginX = model.marginX;
    m_outputWidth = model.outputSize[0];
    m_outputHeight = model.outputSize[1];
    if (model.analogBalance[0] != 0) {
        m_analogBalance.assign(model.analogBalance.begin(), model.analogBalance.end());
    }
    // Columns of padded files that the stated width leaves out.
    constexpr uint32_t kMoreColumns = 6;
    if (IsPadded()) SetRawSize(m_rawWidth + kMoreColumns, m_rawHeight);

    if (m_rawWidth > kMostPictureSide || m_rawHeight > kMostPictureSide ||
        m_rawWidth <= 2 * m_marginX || m_rawHeight <= 2 * m_marginY) {
        return false;
    }
    const uint64_t samples = uint64_t{m_rawWidth} * m_rawHeight;
    if (samples / kMostSamplesPerByte > SensorBytes().size()) return false;
    const uint32_t width = m_outputWidth != 0 ? m_outputWidth : m_rawWidth - 2 * m_marginX;
    const uint32_t height = m_outputHeight != 0 ? m_outputHeight : m_rawHeight - 2 * m_marginY;
    m_bitmapInfo.SetFormat(24, static_cast<int32_t>(width), static_cast<int32_t>(height));
    return true;
}

/// The file's own pattern, or that of the model.
bool CNEFReader::ReadFilterPattern(const CTIFFDirectory& directory) {
    std::vector<uint16_t> repeat;
    if (!GetShorts(m_file, tag::kCFARepeat, m_bigEndian, directory, repeat) || repeat.size() != 2) {
        return false;
    }
    if (HasTag(tag::kCFAPattern, directory)) {
        if (!GetBytes(m_file, tag::kCFAPattern, m_bigEndian, directory, m_cfaBytes)) return false;
        m_cfaRepeat = {repeat[0], repeat[1]};
        return !m_cfaBytes.empty() && m_cfaBytes.size() == uint64_t{repeat[0]} * repeat[1];
    }
    m_cfaBytes.assign(m_model->pattern.begin(), m_model->pattern.end());
    return !m_cfaBytes.empty();
}

/// A picture that a program has developed already.
bool CNEFReader::OpenPicture(const CTIFFDirectory& directory, CSize size) {
    if (Long(directory, tag::kCompression) != kUncompressed) return false;
    const auto photometric = Short(directory, tag::kPhotometric);
    if (photometric == kRGB && m_bitsPerSample == 8) return OpenRGB(directory);
    if (photometric != kGray || m_bitsPerSample != 16) return false;
    const auto bytes = PictureBytes(directory, size, 2);
    if (bytes.empty()) return false;
    m_bitmapInfo.SetFormat(8, static_cast<int32_t>(size.width), static_cast<int32_t>(size.height));
    m_bitmapInfo.SetGrayPalette();
    StartPlane16(1);
    for (size_t i = 0; i < m_bits16.size(); ++i) {
        m_bits16[i] = LoadTIFF<uint16_t>(bytes.data() + 2 * i, m_bigEndian);
    }
    m_greyPreview = true;
    m_has16Bit = true;
    return true;
}

/// Looks for a smaller picture that will do; without one the sensor's samples are developed.
void CNEFReader::OpenPreview(const CTIFFDirectory& first, const CTIFFDirectoryList& children) {
    const CBitmapInfo full = m_bitmapInfo;
    m_originalWidth = static_cast<uint32_t>(full.Width());
    m_originalHeight = static_cast<uint32_t>(full.Height());
    const bool found = (children.size() >= 2 && OpenJPEG(children[children.size() - 2])) ||
                       (m_thumbnailRequested && OpenJPEG(m_note.preview)) ||
                       (Long(first, tag::kCompression) == kUncompressed && OpenRGB(first));
    const auto width = static_cast<uint32_t>(m_bitmapInfo.Width());
    const auto height = static_cast<uint32_t>(m_bitmapInfo.Height());
    if (!found ||
        (!m_thumbnailRequested && width < m_minPreviewSize && height < m_minPreviewSize)) {
        m_previewReader.reset();
        m_previewBits.clear();
        m_bitmapInfo = full;
        m_originalWidth = m_originalHeight = 0;
    } else if (height > width) {
        // The camera has turned it.
        m_rotation = 0;
        if (m_exif) m_exif->Orientation = uint16_t{1};
    }
}

bool CNEFReader::OpenJPEG(const CTIFFDirectory& directory) {
    const auto offset = Long(directory, tag::kJPEGOffset);
    const auto length = Long(directory, tag::kJPEGLength);
    return offset && length && OpenJPEG({*offset, *length});
}

bool CNEFReader::OpenJPEG(CNotePreview place) {
    const auto stream = SubRange(m_file.Bytes(), place.offset, place.length);
    if (stream.empty()) return false;
    auto reader = CreateReader(kTypeJPEG, false, false, {});
    if (!reader || !reader->SetMemorySource(stream)) return false;
    reader->m_jpegHighQuality = m_jpegHighQuality;
    if (m_thumbnailRequested) {
        reader->RequestThumbnail(m_thumbnailWidth, m_thumbnailHeight, m_thumbnailFit);
    }
    reader->m_headerOnly = !m_loading;
    if (!reader->StartLoad(nullptr, 0, m_session)) return false;
    m_bitmapInfo = reader->m_bitmapInfo;
    m_previewReader = std::move(reader);
    return true;
}

bool CNEFReader::OpenRGB(const CTIFFDirectory& directory) {
    const auto size = SizeIn(directory);
    const auto bytes = size ? PictureBytes(directory, *size, 3) : std::span<const uint8_t>();
    if (bytes.empty()) return false;
    m_previewBits.assign(bytes.begin(), bytes.end());
    m_bitmapInfo.SetFormat(24, static_cast<int32_t>(size->width),
                           static_cast<int32_t>(size->height));
    return true;
}

bool CNEFReader::NeedsRawDecode() {
    return !m_previewReader && m_previewBits.empty() && !m_greyPreview;
}

void CNEFReader::PrepareRawDecode() {
    const bool fourColors = std::ranges::find(m_cfaBytes, uint8_t{kCyan}) != m_cfaBytes.end();
    m_colorCount = fourColors ? 4 : 3;
    m_cfaPattern = m_cfaBytes;
    m_cfaPlaneColors = m_model->planeColors;
    SetLevelsGamma(1.0);
    m_lowClipPerMille = 2;
    m_highClipPerMille = 2;
    if (m_model->neutralUsable) m_asShotNeutral = m_note.neutral;
    if (m_asShotNeutral.size() == 3 && m_colorCount == 4) m_asShotNeutral.push_back(1.0);
    m_clipLevel = static_cast<uint16_t>(m_whiteLevel * 60 / 100);
}

bool CNEFReader::ReadSensorData(CRawSensorImage& image) {
    const auto data = SensorBytes();
    if (m_compression == kUncompressed || IsPadded()) {
        return ReadPackedNEF(data, {.interlaced = m_model->interlaced, .padded = IsPadded()}, image,
                             this);
    }
    return ReadCompressedNEF(data, m_note.compression.value_or(CNikonCompression{}), image, this);
}

bool CNEFReader::ReadLine(uint8_t* destination) {
    if (m_previewReader) return m_previewReader->ReadLine(destination);
    if (NeedsRawDecode()) return ReadLine8(destination);
    ReportProgress(m_nextRow, 1, 1);
    if (CheckAbort() || m_nextRow >= static_cast<uint32_t>(m_bitmapInfo.Height())) return false;
    const auto width = static_cast<size_t>(m_bitmapInfo.Width());
    const size_t first = m_nextRow++ * width;
    if (m_greyPreview) {
        for (size_t x = 0; x < width; ++x) {
            destination[x] = static_cast<uint8_t>(m_bits16[first + x] >> 8);
        }
    } else {
        SwapRedBlue(m_previewBits.data() + 3 * first, destination, width);
    }
    return true;
}

void CNEFReader::Close() {
    if (m_previewReader) m_previewReader->Close();  // it reads the mapped bytes
    m_file.Close();
}

/// From the first strip to the end of the file: the strips follow each other.
std::span<const uint8_t> CNEFReader::SensorBytes() const {
    return SubRange(m_file.Bytes(), m_stripOffsets[0]);
}

/// Whether samples that are said to be compressed are packed with padding.
bool CNEFReader::IsPadded() const {
    return m_model->mayBePadded && m_compression == kNikonCompressed &&
           !IsReallyCompressed(SensorBytes());
}

/// The bytes of an uncompressed picture; empty when the file does not hold them all.
std::span<const uint8_t> CNEFReader::PictureBytes(const CTIFFDirectory& directory, CSize size,
                                                  uint32_t bytesPerPixel) const {
    const auto offset = Long(directory, tag::kStripOffsets);
    if (!offset || size.width > kMostPictureSide || size.height > kMostPictureSide) return {};
    const auto wanted = ImageBytes(size.width, size.height, bytesPerPixel);
    if (!wanted) return {};
    const auto bytes = SubRange(m_file.Bytes(), *offset, *wanted);
    return bytes.size() == *wanted ? bytes : std::span<const uint8_t>();
}

std::optional<CNEFReader::CSize> CNEFReader::SizeIn(const CTIFFDirectory& directory) const {
    const auto width = Long(directory, tag::kWidth);
    const auto height = Long(directory, tag::kHeight);
    if (!width || !height) return std::nullopt;
    return CSize{*width, *height};
}

std::optional<uint32_t> CNEFReader::Long(const CTIFFDirectory& directory, uint16_t tag) const {
    uint32_t value = 0;
    if (!GetLong(m_file, tag, m_bigEndian, directory, value)) return std::nullopt;
    return value;
}

std::optional<uint16_t> CNEFReader::Short(const CTIFFDirectory& directory, uint16_t tag) const {
    uint16_t value = 0;
    if (!GetShort(m_file, tag, m_bigEndian, directory, value)) return std::nullopt;
    return value;
}

namespace {

const CReaderRegistration kReaders{{kTypeNikon}, &MakeReader<CNEFReader>};

}  // namespace
}  // namespace kestr
