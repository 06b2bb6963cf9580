// Olympus's ORF: a TIFF file with a magic number of its own, whose first directory describes the
// sensor's samples.

#include <algorithm>
#include <optional>
#include <string_view>

#include "base/byte_cursor.h"
#include "base/picture_size.h"
#include "metadata/maker_notes.h"
#include "metadata/tiff_bytes.h"
#include "raw/dcraw_reader.h"
#include "raw/gain_neutral.h"
#include "raw/orf_data.h"
#include "raw/orf_models.h"
#include "raw/packed_samples.h"
#include "readers/reader_registry.h"
#include "readers/type_ids.h"

namespace kestr {
namespace {

constexpr char kNotORF[] = "Not an ORF file.";

constexpr uint16_t kMagicRO = 0x4F52;
constexpr uint16_t kMagicRS = 0x5352;
constexpr uint32_t kUncompressed = 1;  // what compressed files say as well
constexpr uint16_t kTwoFields = 2;     // of tag 262
// No code of a compressed sample is shorter than six bits; a file that states more samples than
// that for a byte by far is cut short beyond use, or lies.
constexpr uint64_t kMostSamplesPerByte = 8;

/// The cell of a pattern that EXIF has: its rows and columns, then its codes.
const CBayerCell* CellOf(std::span<const uint8_t> exifPattern, bool bigEndian) {
    if (exifPattern.size() != 8) return nullptr;
    if (LoadTIFF<uint16_t>(exifPattern.data(), bigEndian) != 2 ||
        LoadTIFF<uint16_t>(exifPattern.data() + 2, bigEndian) != 2) {
        return nullptr;
    }
    for (const CBayerCell* cell : {&kRGGB, &kBGGR, &kGRBG, &kGBRG}) {
        if (std::ranges::equal(*cell, exifPattern.subspan(4))) return cell;
    }
    return nullptr;
}

}  // namespace

class CORFReader final : public CDCRawReader {
public:
    bool Open(const KESTR_CHAR* path, int page) override;
    void PrepareRawDecode() override;
    [[nodiscard]] bool ReadSensorData(CRawSensorImage& image) override;

private:
    void Reset();
    [[nodiscard]] bool ReadFile();
    [[nodiscard]] bool ReadLayout(const CRawDirectory& directory);
    void ReadNote();
    [[nodiscard]] bool OpenPreview();
    [[nodiscard]] std::span<const uint8_t> SensorBytes() const {
        return SubRange(m_file.Bytes(), m_dataOffset);
    }

    bool m_bigEndian = false;
    const COlympusModel* m_model = nullptr;
    const CBayerCell* m_cell = nullptr;
    uint32_t m_dataOffset = 0;
    std::optional<CPackedLayout> m_layout;  // none of compressed samples
    COlympusNote m_note;
    uint64_t m_noteBase = 0;  // what places in the note count from
};

bool CORFReader::Open(const KESTR_CHAR* path, int) {
    Reset();
    m_errorText = kNotORF;
    m_typeId = kTypeOlympus;
    m_description += "Olympus ORF";
    if (!m_file.OpenRead(path) || !ReadFile()) {
        Close();
        return false;
    }
    m_errorText.clear();
    return true;
}

/// Forgets what an earlier Open() found.
void CORFReader::Reset() {
    ForgetFile();
    m_model = nullptr;
    m_cell = nullptr;
    m_layout.reset();
    m_note = {};
    m_noteBase = 0;
}

bool CORFReader::ReadFile() {
    const CTIFFParser parser(&m_file, false, false);
    if (parser.Directories().empty() ||
        (parser.Magic() != kMagicRO && parser.Magic() != kMagicRS)) {
        return false;
    }
    m_bigEndian = parser.BigEndian();
    const CRawDirectory first(m_file, m_bigEndian, parser.Directories()[0]);
    TakeMetadata(first);
    m_model = FindOlympusModel(first.Text(raw_tag::kMake), first.Text(raw_tag::kModel));
    if (m_model == nullptr) return false;
    if (m_exif) m_cell = CellOf(m_exif->CFAPattern, m_bigEndian);
    if (m_cell == nullptr) m_cell = m_model->pattern;
    if (m_cell == nullptr) return false;
    SetColorMatrices(m_model->colorMatrix1, m_model->colorMatrix2);
    m_whiteLevel = m_model->whiteLevel;
    m_blackLevel = m_model->blackLevel;
    if (!ReadLayout(first)) return false;
    ReadNote();
    ChoosePreview([&] { return OpenPreview(); });
    return true;
}

/// Which of its layouts a file has shows in the bytes that it has for its samples.
bool CORFReader::ReadLayout(const CRawDirectory& directory) {
    const auto size = directory.Size();
    const auto offsets = directory.Longs(raw_tag::kStripOffsets);
    const auto counts = directory.Longs(raw_tag::kStripByteCounts);
    if (!size || size->width > kMostPictureSide || size->height > kMostPictureSide ||
        offsets.empty() || counts.empty() ||
        directory.Long(raw_tag::kCompression) != kUncompressed) {
        return false;
    }
    m_dataOffset = offsets[0];  // the strips follow each other
    uint64_t bytes = 0;
    for (const uint32_t count : counts) bytes += count;
    uint32_t width = size->width;
    const uint64_t samples = uint64_t{size->width} * size->height;
    if (bytes >= 2 * samples) {
        m_layout = {
            .packing = m_bigEndian ? CSamplePacking::kBigWords : CSamplePacking::kLittleWords,
            .shift = m_model->wordShift,
            .rowBytes = uint64_t{2} * width};
        if (width <= m_model->wordColumnsUnused) return false;
        width -= m_model->wordColumnsUnused;
        if (m_model->wordsWhite != 0) m_whiteLevel = m_model->wordsWhite;
        m_blackLevel = m_model->wordsBlack.value_or(m_blackLevel);
    } else if (bytes >= samples / 10 * 16) {
        m_layout = {.packing = CSamplePacking::k12LowFirst,
                    .padded = true,
                    .rowBytes = uint64_t{16} * width / 10};
    } else if (bytes >= samples * 3 / 2 && directory.Short(raw_tag::kPhotometric) == kTwoFields) {
        // The second field begins on a block of the camera's card.
        constexpr uint64_t kBlock = 2048;
        const uint32_t rows = size->height + size->height % 2;
        m_layout = {.packing = CSamplePacking::k12HighFirst,
                    .rowBytes = (uint64_t{3} * width + 1) / 2,
                    .fieldRows = rows};
        const uint64_t fieldBytes = m_layout->rowBytes * (rows / 2);
        m_layout->secondField = (fieldBytes + kBlock - 1) / kBlock * kBlock;
    } else if (offsets.size() != 1 || directory.Short(raw_tag::kBitsPerSample) != 16) {
        return false;
    }
    SetRawSize(width, size->height);
    return SetPictureSize(SensorBytes().size(), kMostSamplesPerByte);
}

/// Old notes count their places from the start of the file, new ones from their own.
void CORFReader::ReadNote() {
    uint32_t offset = 0;
    if (!m_exif || m_exif->GetMakerNoteOffset(offset) != 0) return;
    const auto file = m_file.Bytes();
    const auto signature = SubRange(file, offset, 8);
    const std::string_view text(reinterpret_cast<const char*>(signature.data()), signature.size());
    if (text == std::string_view("OLYMPUS\0", 8)) {
        m_noteBase = offset;
        m_note = ReadOlympusNote(file, uint64_t{offset} + 12, m_noteBase, m_bigEndian);
    } else if (text.starts_with(std::string_view("OLYMP\0", 6))) {
        m_note = ReadOlympusNote(file, uint64_t{offset} + 8, 0, m_bigEndian);
    }
}

bool CORFReader::OpenPreview() {
    const auto file = m_file.Bytes();
    if (m_note.previewValid) {
        const auto& place = m_note.preview;
        const auto stream = SubRange(file, m_noteBase + place.offset, place.length);
        if (m_preview.OpenJPEG(*this, stream)) return true;
    }
    return m_model->previewOffset != 0 &&
           m_preview.OpenJPEG(*this, SubRange(file, m_model->previewOffset));
}

void CORFReader::PrepareRawDecode() {
    m_colorCount = 3;
    m_cfaPattern = *m_cell;
    m_lowClipPerMille = 1;
    m_highClipPerMille = 1;
    SetLevelsGamma(1.0);
    if (const auto& levels = m_note.blackLevels) {
        uint32_t sum = 0;
        for (const uint16_t level : *levels) sum += level;
        // One that leaves no light would be no level of black.
        if (sum / 4 < m_whiteLevel) m_blackLevel = static_cast<uint16_t>(sum / 4);
    }
    constexpr uint16_t kOne = 256;  // what a camera that has not measured writes
    const uint16_t red = m_note.red.value_or(0), blue = m_note.blue.value_or(0);
    if (red != kOne && blue != kOne) m_asShotNeutral = NeutralFromGains(red, kOne, blue);
}

bool CORFReader::ReadSensorData(CRawSensorImage& image) {
    if (m_layout) return ReadPackedSamples(SensorBytes(), *m_layout, image, this);
    return ReadCompressedORF(SensorBytes(), image, this);
}

namespace {

const CReaderRegistration kReaders{{kTypeOlympus}, &MakeReader<CORFReader>};

}  // namespace
}  // namespace kestr
