// Minolta's MRW: named blocks, among them a whole TIFF structure, then the sensor's samples. All
// numbers are big-endian.

#include <algorithm>
#include <cstring>
#include <iterator>
#include <memory>
#include <optional>
#include <string_view>
#include <vector>

#include "metadata/maker_notes.h"
#include "metadata/tiff_bytes.h"
#include "raw/dcraw_reader.h"
#include "raw/filter_patterns.h"
#include "raw/gain_neutral.h"
#include "raw/mrw_models.h"
#include "raw/packed_samples.h"
#include "readers/reader_registry.h"
#include "readers/type_ids.h"

namespace kestr {
namespace {

constexpr char kNotMRW[] = "Not an MRW file.";

constexpr uint64_t kBlockHead = 8;  // of the file as well: a name and a length
// How samples are stored.
constexpr uint8_t kWords = 0x52;
constexpr uint8_t kPacked = 0x59;
// Two samples take three bytes; a file that states many more is cut short beyond use, or lies.
constexpr uint64_t kMostSamplesPerByte = 8;

struct CMinoltaPattern {
    uint16_t number;  // as the file has it
    const CBayerCell* cell;
    // Of the four values of the white balance.
    uint8_t red, green, blue;
};
constexpr CMinoltaPattern kPatterns[] = {{1, &kRGGB, 0, 1, 3}, {4, &kGBRG, 2, 0, 1}};

/// What the blocks hold; those that are missing are empty.
struct CBlocks {
    std::span<const uint8_t> sensor;   // PRD
    std::span<const uint8_t> tiff;     // TTW
    std::span<const uint8_t> balance;  // WBG
};

CBlocks FindBlocks(std::span<const uint8_t> file, uint64_t end) {
    const CTIFFBytes in(file.first(static_cast<size_t>(end)), true);
    CBlocks blocks;
    for (uint64_t at = kBlockHead; in.Holds(at, kBlockHead);) {
        const std::string_view name(reinterpret_cast<const char*>(file.data() + at), 4);
        const uint64_t length = in.U32(at + 4);
        const auto data = SubRange(in.Bytes(), at + kBlockHead, length);
        if (name == std::string_view("\0PRD", 4)) blocks.sensor = data;
        if (name == std::string_view("\0TTW", 4)) blocks.tiff = data;
        if (name == std::string_view("\0WBG", 4)) blocks.balance = data;
        at += kBlockHead + length;
    }
    return blocks;
}

}  // namespace

class CMRWReader final : public CDCRawReader {
public:
    bool Open(const KESTR_CHAR* path, int page) override;
    void PrepareRawDecode() override;
    [[nodiscard]] bool ReadSensorData(CRawSensorImage& image) override;

private:
    [[nodiscard]] bool ReadFile();
    [[nodiscard]] bool ReadSensorBlock(std::span<const uint8_t> block);
    void ReadMetadata(std::span<const uint8_t> tiff);
    void ReadBalance(const CBlocks& blocks);
    [[nodiscard]] bool OpenPreview(std::span<const uint8_t> tiff);
    [[nodiscard]] std::span<const uint8_t> SensorBytes() const {
        return SubRange(m_file.Bytes(), m_dataOffset);
    }

    const CMinoltaModel* m_model = nullptr;
    const CMinoltaPattern* m_pattern = nullptr;
    uint64_t m_dataOffset = 0;
    CSamplePacking m_packing = CSamplePacking::kBigWords;
    std::optional<uint32_t> m_noteDirectory;  // in the TIFF structure
    std::vector<double> m_balance;            // neutral of the file
    std::vector<uint8_t> m_previewBytes;
};

bool CMRWReader::Open(const KESTR_CHAR* path, int) {
    ForgetFile();
    m_noteDirectory.reset();
    m_balance.clear();
    m_errorText = kNotMRW;
    m_typeId = kTypeMinolta;
    m_description += "Minolta MRW";
    if (!m_file.OpenRead(path) || !ReadFile()) {
        Close();
        return false;
    }
    m_errorText.clear();
    return true;
}

bool CMRWReader::ReadFile() {
    const CTIFFBytes in(m_file.Bytes(), true);
    if (!in.Holds(0, kBlockHead) || std::memcmp(in.Bytes().data(), "\0MRM", 4) != 0) return false;
    m_dataOffset = kBlockHead + in.U32(4);
    if (m_dataOffset > in.Size()) return false;
    const CBlocks blocks = FindBlocks(in.Bytes(), m_dataOffset);
    if (!ReadSensorBlock(blocks.sensor)) return false;
    ReadMetadata(blocks.tiff);
    ReadBalance(blocks);
    ChoosePreview([&] { return OpenPreview(blocks.tiff); });
    return true;
}

bool CMRWReader::ReadSensorBlock(std::span<const uint8_t> block) {
    constexpr uint64_t kIdCharacters = 8, kHeight = 8, kWidth = 10, kStorage = 18, kPattern = 22;
    const CTIFFBytes in(block, true);
    if (!in.Holds(kPattern, 2)) return false;
    m_model = FindMinoltaModel({reinterpret_cast<const char*>(block.data()), kIdCharacters});
    m_pattern = std::ranges::find(kPatterns, in.U16(kPattern), &CMinoltaPattern::number);
    if (m_model == nullptr || m_pattern == std::end(kPatterns)) return false;
    if (block[kStorage] != kWords && block[kStorage] != kPacked) return false;
    m_packing =
        block[kStorage] == kPacked ? CSamplePacking::k12HighFirst : CSamplePacking::kBigWords;
    SetColorMatrices(m_model->colorMatrix1, m_model->colorMatrix2);
    m_whiteLevel = m_model->whiteLevel;
    SetRawSize(in.U16(kWidth), in.U16(kHeight));
    return SetPictureSize(SensorBytes().size(), kMostSamplesPerByte);
}

void CMRWReader::ReadMetadata(std::span<const uint8_t> tiff) {
    auto exif = std::make_unique<CEXIF_Members>();
    if (!exif->Parse(tiff, false, false)) return;
    m_exif = std::move(exif);
    uint32_t offset = 0;
    if (m_exif->GetMakerNoteOffset(offset) == 0) m_noteDirectory = offset;
}

/// The balance of the file's own block; without one, that of the maker note.
void CMRWReader::ReadBalance(const CBlocks& blocks) {
    constexpr uint64_t kScales = 4;
    const CTIFFBytes in(blocks.balance, true);
    const auto gain = [&](uint8_t place) { return in.U16(kScales + 2 * uint64_t{place}); };
    m_balance =
        NeutralFromGains(gain(m_pattern->red), gain(m_pattern->green), gain(m_pattern->blue));
    if (!m_balance.empty() || !m_noteDirectory) return;
    constexpr uint32_t kOne = 256;
    const auto note = ReadMinoltaNote(blocks.tiff, *m_noteDirectory);
    if (note.red != kOne && note.blue != kOne) {
        m_balance = NeutralFromGains(note.red, kOne, note.blue);
    }
}

/// The maker note's JPEG, whose first byte the camera has spoiled.
bool CMRWReader::OpenPreview(std::span<const uint8_t> tiff) {
    if (!m_noteDirectory) return false;
    const auto place = ReadMinoltaPreview(tiff, *m_noteDirectory);
    const auto stream = SubRange(tiff, place.offset, place.length);
    if (stream.empty()) return false;
    m_previewBytes.assign(stream.begin(), stream.end());
    m_previewBytes[0] = 0xFF;
    return m_preview.OpenJPEG(*this, m_previewBytes);
}

void CMRWReader::PrepareRawDecode() {
    m_colorCount = 3;
    m_cfaPattern = *m_pattern->cell;
    m_lowClipPerMille = 1;
    m_highClipPerMille = 1;
    SetLevelsGamma(1.0);
    m_asShotNeutral = m_balance;
}

bool CMRWReader::ReadSensorData(CRawSensorImage& image) {
    return ReadPackedSamples(SensorBytes(), {.packing = m_packing}, image, this);
}

namespace {

const CReaderRegistration kReaders{{kTypeMinolta}, &MakeReader<CMRWReader>};

}  // namespace
}  // namespace kestr
