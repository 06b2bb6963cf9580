// Nikon's NEF: a TIFF file whose first directory leads to others by tag 330, the last of which has
// the sensor's samples.

#include <algorithm>
#include <memory>
#include <string>

#include "metadata/tiff_bytes.h"
#include "metadata/tiff_parser.h"
#include "raw/dcraw_reader.h"
#include "raw/nef_data.h"
#include "raw/nef_models.h"
#include "raw/packed_samples.h"
#include "readers/reader_registry.h"
#include "readers/type_ids.h"

namespace kestr {
namespace {

constexpr char kNotNEF[] = "Not a NEF file.";

constexpr uint32_t kUncompressed = 1;
constexpr uint32_t kNikonCompressed = 34713;
constexpr uint16_t kMosaic = 32803;
constexpr uint16_t kRGB = 2;
constexpr uint16_t kGray = 1;
// No code for a difference is shorter than two bits, and no photograph comes near that: a file that
// states more samples for a byte is cut short beyond use, or lies.
constexpr uint64_t kMostSamplesPerByte = 8;

}  // namespace

class CNEFReader final : public CDCRawReader {
public:
    bool Open(const KESTR_CHAR* path, int page) override;
    bool ReadLine(uint8_t* destination) override;
    bool NeedsRawDecode() override { return !m_preview.IsTaken() && !m_greyPreview; }
    void PrepareRawDecode() override;
    [[nodiscard]] bool ReadSensorData(CRawSensorImage& image) override;

private:
    void Reset();
    [[nodiscard]] bool ReadFile();
    [[nodiscard]] bool OpenSensorData(const CRawDirectory& directory);
    [[nodiscard]] bool ReadFilterPattern(const CRawDirectory& directory);
    [[nodiscard]] bool OpenPicture(const CRawDirectory& directory, CRawDirectory::CSize size);
    [[nodiscard]] bool OpenPreview(const CTIFFDirectory& first, const CTIFFDirectoryList& children);
    [[nodiscard]] bool OpenRGB(const CRawDirectory& directory);
    [[nodiscard]] std::span<const uint8_t> SensorBytes() const;
    [[nodiscard]] bool IsPadded() const;
    [[nodiscard]] CRawDirectory Fields(const CTIFFDirectory& directory) const {
        return {m_file, m_bigEndian, directory};
    }

    bool m_bigEndian = false;
    std::string m_modelName;
    const CNEFModel* m_model = nullptr;
    uint32_t m_compression = 0;
    std::vector<uint32_t> m_stripOffsets;
    uint16_t m_bitsPerSample = 0;
    CNikonNote m_note;
    std::vector<uint8_t> m_cfaBytes;
    bool m_greyPreview = false;  // m_bits16 holds it, one sample a pixel
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
    ForgetFile();
    m_modelName.clear();
    m_model = nullptr;
    m_stripOffsets.clear();
    m_note = {};
    m_cfaBytes.clear();
    m_greyPreview = false;
}

bool CNEFReader::ReadFile() {
    const CTIFFParser parser(&m_file, false, true);
    if (parser.Directories().empty()) return false;
    m_bigEndian = parser.BigEndian();
    const CTIFFDirectory& firstDirectory = parser.Directories()[0];
    const CRawDirectory first = Fields(firstDirectory);
    TakeMetadata(first);
    m_modelName = first.Text(raw_tag::kModel);
    m_model = FindNEFModel(m_modelName);

    const auto children = GetSubDirectories(firstDirectory);
    if (!children || children->empty()) return false;
    const CRawDirectory last = Fields(children->back());
    m_bitsPerSample = last.Short(raw_tag::kBitsPerSample).value_or(0);
    uint32_t noteOffset = 0;
    if (m_exif && m_exif->GetMakerNoteOffset(noteOffset) == 0) {
        m_note = ReadNikonNote(m_file.Bytes(), noteOffset, m_bigEndian, m_bitsPerSample, m_model);
        m_rotation = m_note.rotation;
    }
    const auto size = last.Size();
    if (size) SetRawSize(size->width, size->height);
    if ((m_bitsPerSample == 12 || m_bitsPerSample == 14) &&
        last.Short(raw_tag::kPhotometric) == kMosaic) {
        if (!size || !OpenSensorData(last)) return false;
        ChoosePreview([&] { return OpenPreview(firstDirectory, *children); });
        return true;
    }
    return size ? OpenPicture(last, *size) : m_preview.OpenJPEG(*this, last.EmbeddedJPEG());
}

/// The numbers of the sensor's samples; tests that the file can hold what they say.
bool CNEFReader::OpenSensorData(const CRawDirectory& directory) {
    m_compression = directory.Long(raw_tag::kCompression).value_or(0);
    if (m_compression != kUncompressed && m_compression != kNikonCompressed) return false;
    m_stripOffsets = directory.Longs(raw_tag::kStripOffsets);
    if (m_stripOffsets.empty() || directory.Longs(raw_tag::kStripByteCounts).empty() ||
        !directory.Long(raw_tag::kRowsPerStrip)) {
        return false;
    }
    if (m_model == nullptr || !ReadFilterPattern(directory)) return false;
    const CNEFModel& model = *m_model;
    SetColorMatrices(model.colorMatrix1, model.colorMatrix2);
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
    return SetPictureSize(SensorBytes().size(), kMostSamplesPerByte);
}

/// The file's own pattern, or that of the model.
bool CNEFReader::ReadFilterPattern(const CRawDirectory& directory) {
    const auto repeat = directory.Shorts(raw_tag::kCFARepeat);
    if (repeat.size() != 2) return false;
    if (directory.Has(raw_tag::kCFAPattern)) {
        m_cfaBytes = directory.Bytes(raw_tag::kCFAPattern);
        m_cfaRepeat = {repeat[0], repeat[1]};
        return !m_cfaBytes.empty() && m_cfaBytes.size() == uint64_t{repeat[0]} * repeat[1];
    }
    m_cfaBytes.assign(m_model->pattern.begin(), m_model->pattern.end());
    return !m_cfaBytes.empty();
}

/// A picture that a program has developed already.
bool CNEFReader::OpenPicture(const CRawDirectory& directory, CRawDirectory::CSize size) {
    if (directory.Long(raw_tag::kCompression) != kUncompressed) return false;
    const auto photometric = directory.Short(raw_tag::kPhotometric);
    if (photometric == kRGB && m_bitsPerSample == 8) return OpenRGB(directory);
    if (photometric != kGray || m_bitsPerSample != 16) return false;
    const auto bytes = directory.PictureBytes(size, 2);
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

bool CNEFReader::OpenPreview(const CTIFFDirectory& first, const CTIFFDirectoryList& children) {
    if (children.size() >= 2) {
        const auto stream = Fields(children[children.size() - 2]).EmbeddedJPEG();
        if (m_preview.OpenJPEG(*this, stream)) return true;
    }
    if (m_thumbnailRequested) {
        const auto& place = m_note.preview;
        const auto stream = SubRange(m_file.Bytes(), place.offset, place.length);
        if (m_preview.OpenJPEG(*this, stream)) return true;
    }
    const CRawDirectory fields = Fields(first);
    return fields.Long(raw_tag::kCompression) == kUncompressed && OpenRGB(fields);
}

bool CNEFReader::OpenRGB(const CRawDirectory& directory) {
    const auto size = directory.Size();
    return size &&
           m_preview.OpenRGB(*this, directory.PictureBytes(*size, 3), size->width, size->height);
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
        const CPackedLayout layout{.packing = CSamplePacking::k12HighFirst,
                                   .padded = IsPadded(),
                                   .fieldRows = m_model->interlaced ? image.samples.height : 0};
        return ReadPackedSamples(data, layout, image, this);
    }
    return ReadCompressedNEF(data, m_note.compression.value_or(CNikonCompression{}), image, this);
}

bool CNEFReader::ReadLine(uint8_t* destination) {
    if (!m_greyPreview) return CDCRawReader::ReadLine(destination);
    ReportProgress(m_nextRow, 1, 1);
    if (CheckAbort() || m_nextRow >= static_cast<uint32_t>(m_bitmapInfo.Height())) return false;
    const auto width = static_cast<size_t>(m_bitmapInfo.Width());
    const size_t first = m_nextRow++ * width;
    for (size_t x = 0; x < width; ++x) {
        destination[x] = static_cast<uint8_t>(m_bits16[first + x] >> 8);
    }
    return true;
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

namespace {

const CReaderRegistration kReaders{{kTypeNikon}, &MakeReader<CNEFReader>};

}  // namespace
}  // namespace kestr
