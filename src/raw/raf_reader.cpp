// Fujifilm's RAF: a header with the places of a whole JPEG file, of a directory of its own form and
// of the sensor's samples. All numbers but the samples are big-endian.

#include <cstring>
#include <memory>
#include <optional>
#include <string>

#include "metadata/jpeg_segments.h"
#include "metadata/tiff_bytes.h"
#include "raw/dcraw_reader.h"
#include "raw/filter_patterns.h"
#include "raw/raf_layout.h"
#include "raw/raf_models.h"
#include "raw/rotated_grid.h"
#include "readers/reader_registry.h"
#include "readers/type_ids.h"

namespace kestr {
namespace {

constexpr char kNotRAF[] = "Not a RAF file.";
constexpr char kMarker[] = "FUJIFILMCCD";

// Samples are words; a file that states many more is cut short beyond use, or lies.
constexpr uint64_t kMostSamplesPerByte = 8;

}  // namespace

class CFujiReader final : public CDCRawReader {
public:
    bool Open(const KESTR_CHAR* path, int page) override;
    bool NeedsRawDecode() override { return !m_thumbnailRequested; }
    void PrepareRawDecode() override;
    [[nodiscard]] bool ReadSensorData(CRawSensorImage& image) override;
    void AfterInterpolate(CRawSensorImage& image) override;

private:
    [[nodiscard]] bool ReadFile();
    [[nodiscard]] bool SetSizes();
    void ReadMetadata(std::span<const uint8_t> jpeg);
    [[nodiscard]] std::span<const uint8_t> SensorBytes() const {
        return SubRange(m_file.Bytes(), m_dataOffset);
    }

    const CFujiModel* m_model = nullptr;
    CFujiLayout m_layout;
    std::vector<double> m_balance;  // neutral of the file
    uint32_t m_dataOffset = 0;
};

bool CFujiReader::Open(const KESTR_CHAR* path, int) {
    ForgetFile();
    m_errorText = kNotRAF;
    m_typeId = kTypeFuji;
    if (!m_file.OpenRead(path) || !ReadFile()) {
        Close();
        return false;
    }
    m_description += "Fujifilm " + std::string(m_model->name) + " RAW";
    m_errorText.clear();
    return true;
}

bool CFujiReader::ReadFile() {
    // Places in the header.
    constexpr uint64_t kModel = 28, kModelCharacters = 32, kJPEG = 84, kDirectory = 92, kData = 100;
    const auto file = m_file.Bytes();
    const CTIFFBytes in(file, true);
    if (!in.Holds(kData, 8) || std::memcmp(file.data(), kMarker, sizeof(kMarker) - 1) != 0) {
        return false;
    }
    std::string name(reinterpret_cast<const char*>(file.data() + kModel), kModelCharacters);
    name.resize(name.find_last_not_of(' ', name.find('\0') - 1) + 1);
    m_model = FindFujiModel(name);
    if (m_model == nullptr) return false;
    const auto jpeg = SubRange(file, in.U32(kJPEG), in.U32(kJPEG + 4));
    m_dataOffset = in.U32(kData);
    auto directory = ReadFujiDirectory(SubRange(file, in.U32(kDirectory), in.U32(kDirectory + 4)));
    m_balance = std::move(directory.neutral);
    const auto layout = MakeFujiLayout(*m_model, directory);
    if (!layout) return false;
    m_layout = *layout;
    ReadMetadata(jpeg);
    SetColorMatrices(m_model->colorMatrix1, m_model->colorMatrix2);
    m_whiteLevel = m_model->whiteLevel;
    m_blackLevel = m_model->blackLevel;
    if (!SetSizes()) return false;
    if (!m_thumbnailRequested) return true;
    ChoosePreview([&] { return m_preview.OpenJPEG(*this, jpeg); });
    return m_preview.IsTaken();
}

bool CFujiReader::SetSizes() {
    const uint64_t bytes = SensorBytes().size();
    if (m_model->square) {
        m_marginY = 8;  // its first rows are no picture
        SetRawSize(m_layout.width, m_layout.height);
        return SetPictureSize(bytes, kMostSamplesPerByte);
    }
    const uint64_t bufferSamples = uint64_t{m_layout.bufferWidth} * m_layout.bufferHeight;
    if (bufferSamples / kMostSamplesPerByte > bytes) return false;
    m_marginX = m_marginY = 0;
    const uint32_t wide = m_model->turned ? m_layout.high : m_layout.wide;
    const uint32_t high = m_model->turned ? m_layout.wide : m_layout.high;
    SetRawSize(wide, high, m_layout.bufferWidth, m_layout.bufferHeight);
    return SetPictureSize(bytes, kMostSamplesPerByte);
}

/// From the EXIF block of the JPEG file.
void CFujiReader::ReadMetadata(std::span<const uint8_t> jpeg) {
    constexpr size_t kHead = 10;  // marker, length, "Exif" and two NULs
    CJPEGSegmentWalk walk(jpeg);
    while (const auto segment = walk.Next()) {
        if (segment->isExif && segment->length > kHead) {
            auto exif = std::make_unique<CEXIF_Members>();
            const auto block = jpeg.subspan(segment->offset + kHead, segment->length - kHead);
            if (exif->Parse(block, false, false)) m_exif = std::move(exif);
            return;
        }
        if (segment->marker == CJPEGSegment::kStray) return;  // the picture has begun
    }
}

void CFujiReader::PrepareRawDecode() {
    m_colorCount = 3;
    // On a diagonal grid the cell's first row depends on where the corner lies.
    m_cfaPattern = m_layout.fujiWidth % 2 == 0 && !m_model->square ? kGBRG : kRGGB;
    m_lowClipPerMille = 1;
    m_highClipPerMille = 1;
    SetLevelsGamma(1.0);
    m_asShotNeutral = m_balance;
}

bool CFujiReader::ReadSensorData(CRawSensorImage& image) {
    return ReadFujiSamples(SensorBytes(), m_layout, image, this);
}

void CFujiReader::AfterInterpolate(CRawSensorImage& image) {
    if (m_model->square) return;
    TurnGridUpright(image.samples, m_layout.fujiWidth, m_layout.wide, m_layout.high);
    if (m_model->turned) Turn(image.samples, CRawTurn::kClockwise);
}

namespace {

// All groups of cameras share one form of file; what a file reports is the first group.
const CReaderRegistration kReaders{{kTypeFuji, kTypeFujiGroup2, kTypeFujiGroup3, kTypeFujiGroup4},
                                   &MakeReader<CFujiReader>};

}  // namespace
}  // namespace kestr
