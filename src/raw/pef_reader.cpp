// Pentax's PEF: a TIFF file whose first directory describes the sensor's samples.

#include <optional>
#include <string>

#include "base/byte_cursor.h"
#include "metadata/maker_notes.h"
#include "raw/dcraw_reader.h"
#include "raw/filter_patterns.h"
#include "raw/gain_neutral.h"
#include "raw/packed_samples.h"
#include "raw/pef_data.h"
#include "raw/pef_models.h"
#include "readers/reader_registry.h"
#include "readers/type_ids.h"

namespace kestr {
namespace {

constexpr char kNotPEF[] = "Not a PEF file.";

constexpr uint32_t kUncompressed = 1;
constexpr uint32_t kUncompressedToo = 32773;  // elsewhere run lengths, never here
constexpr uint32_t kPentaxCompressed = 65535;
// No code for a difference is shorter than two bits, and no photograph comes near that.
constexpr uint64_t kMostSamplesPerByte = 8;

}  // namespace

class CPEFReader final : public CDCRawReader {
public:
    bool Open(const KESTR_CHAR* path, int page) override;
    void PrepareRawDecode() override;
    [[nodiscard]] bool ReadSensorData(CRawSensorImage& image) override;

private:
    [[nodiscard]] bool ReadFile();
    [[nodiscard]] bool ReadLayout(const CRawDirectory& directory);
    [[nodiscard]] std::span<const uint8_t> SensorBytes() const {
        return SubRange(m_file.Bytes(), m_dataOffset);
    }

    const CPentaxModel* m_model = nullptr;
    uint32_t m_dataOffset = 0;
    std::optional<CPackedLayout> m_layout;  // none of compressed samples
    CPentaxNote m_note;
};

bool CPEFReader::Open(const KESTR_CHAR* path, int) {
    ForgetFile();
    m_layout.reset();
    m_note = {};
    m_errorText = kNotPEF;
    m_typeId = kTypePentax;
    if (!m_file.OpenRead(path) || !ReadFile()) {
        Close();
        return false;
    }
    m_description += std::string(m_model->name) + " RAW";
    m_errorText.clear();
    return true;
}

bool CPEFReader::ReadFile() {
    const CTIFFParser parser(&m_file, false, false);
    if (parser.Directories().empty()) return false;
    const CRawDirectory first(m_file, parser.BigEndian(), parser.Directories()[0]);
    TakeMetadata(first);
    std::string name = first.Text(raw_tag::kModel);
    name.erase(name.find_last_not_of(' ') + 1);
    m_model = FindPentaxModel(name);
    if (m_model == nullptr) return false;
    SetColorMatrices(m_model->colorMatrix1, m_model->colorMatrix2);
    m_blackLevel = m_model->blackLevel;
    m_whiteLevel = m_model->whiteLevel;
    if (!ReadLayout(first)) return false;
    uint32_t offset = 0;
    if (m_exif && m_exif->GetMakerNoteOffset(offset) == 0) {
        m_note = ReadPentaxNote(m_file.Bytes(), offset);
    }
    ChoosePreview([&] {
        const auto& place = m_note.preview;
        return m_preview.OpenJPEG(*this, SubRange(m_file.Bytes(), place.offset, place.length));
    });
    return true;
}

/// Sizes are those of the camera. Whether samples are words or packed shows in the bytes that the
/// file has for them.
bool CPEFReader::ReadLayout(const CRawDirectory& directory) {
    const auto compression = directory.Long(raw_tag::kCompression);
    const auto offsets = directory.Longs(raw_tag::kStripOffsets);
    const auto counts = directory.Longs(raw_tag::kStripByteCounts);
    if (offsets.empty() || counts.empty()) return false;
    m_dataOffset = offsets[0];
    SetRawSize(m_model->width, m_model->height);
    if (m_model->codedWidth != 0) {
        if (compression != kPentaxCompressed) return false;
    } else {
        if (compression != kUncompressed && compression != kUncompressedToo) return false;
        uint64_t bytes = 0;
        for (const uint32_t count : counts) bytes += count;
        const uint64_t samples = uint64_t{m_rawWidth} * m_rawHeight;
        if (bytes < samples * 3 / 2) return false;
        m_layout = {.packing = bytes >= 2 * samples ? CSamplePacking::kBigWords
                                                    : CSamplePacking::k12HighFirst};
    }
    return SetPictureSize(SensorBytes().size(), kMostSamplesPerByte);
}

void CPEFReader::PrepareRawDecode() {
    m_colorCount = 3;
    m_cfaPattern = kRGGB;
    m_lowClipPerMille = 1;
    m_highClipPerMille = 10;
    SetLevelsGamma(1.0);
    m_asShotNeutral = NeutralFromGains(m_note.red.value_or(0), 256, m_note.blue.value_or(0));
}

bool CPEFReader::ReadSensorData(CRawSensorImage& image) {
    if (m_layout) return ReadPackedSamples(SensorBytes(), *m_layout, image, this);
    return ReadCompressedPEF(SensorBytes(), m_model->codedWidth, image, this);
}

namespace {

const CReaderRegistration kReaders{{kTypePentax}, &MakeReader<CPEFReader>};

}  // namespace
}  // namespace kestr
