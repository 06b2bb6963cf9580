// Kodak's KDC of the P850 and P880: a TIFF file whose first directory shows a JPEG preview and
// leads to the packed values by tags of Kodak's own (ExifTool's Kodak tables). Other cameras' files
// of the same extension have other forms and are refused.

#include <algorithm>
#include <iterator>
#include <string>
#include <string_view>
#include <vector>

#include "base/byte_cursor.h"
#include "metadata/maker_notes.h"
#include "metadata/tiff_bytes.h"
#include "metadata/tiff_parser.h"
#include "raw/dcraw_reader.h"
#include "raw/filter_patterns.h"
#include "raw/gain_neutral.h"
#include "raw/loose_directory.h"
#include "raw/packed_samples.h"
#include "readers/reader_registry.h"
#include "readers/type_ids.h"

namespace kestr {
namespace {

constexpr char kNotKDC[] = "Not a KDC file.";

namespace tag {
constexpr uint16_t kOffsets = 64772;  // of the data, as the sum of two of its numbers
constexpr uint16_t kPattern = 64777;
constexpr uint16_t kKodakDirectory = 65024;
// In that directory:
constexpr uint16_t kBalanceMode = 64013;
constexpr uint16_t kSensorWidth = 64019;
constexpr uint16_t kSensorHeight = 64020;
}  // namespace tag

constexpr size_t kOffsetsBytes = 52;
constexpr size_t kFirstOffsetAt = 16;
constexpr size_t kSecondOffsetAt = 48;
// Two values take three bytes.
constexpr uint64_t kMostSamplesPerByte = 2;

/// Tags of the red, green and blue gains, by the white balance that the camera was set to.
struct CBalance {
    uint32_t mode;
    uint16_t gains;
};
constexpr CBalance kBalances[] = {{0, 64037}, {1, 64040}, {2, 64039}, {3, 64041}, {6, 64042}};

struct CModel {
    std::string_view mark;  // what tag 272 holds somewhere
    std::string_view formatName;
    std::span<const double> colorMatrix1;  // for 2850 K; XYZ to camera planes, row by row
    std::span<const double> colorMatrix2;  // for 6500 K
    uint16_t whiteLevel;
    std::span<const uint8_t> pattern;  // empty when only the file knows it
};

// Published DNG colour data; of the P850 for daylight only, which stands for both lights.
constexpr double kP850Daylight[] = {1.0511, -0.3836, -0.1102, -0.6946, 1.4587,
                                    0.2558, -0.1481, 0.1792,  0.6246};
constexpr double kP880A[] = {1.5463, -0.7578, 0.0196, -0.5835, 1.3172,
                             0.2976, -0.0626, 0.1273, 0.8044};
constexpr double kP880Daylight[] = {1.2805, -0.4662, -0.1376, -0.7480, 1.5267,
                                    0.2360, -0.1626, 0.2194,  0.7904};
constexpr CModel kModels[] = {
    {"850", "Kodak P850 RAW", kP850Daylight, kP850Daylight, 3964, {}},
    {"880", "Kodak P880 RAW", kP880A, kP880Daylight, 3963, kBGGR},
};

const CModel* FindModel(std::string_view text) {
    const auto found = std::ranges::find_if(
        kModels, [&](const CModel& m) { return text.find(m.mark) != std::string_view::npos; });
    return found == std::end(kModels) ? nullptr : &*found;
}

}  // namespace

class CKDCReader final : public CDCRawReader {
public:
    bool Open(const KESTR_CHAR* path, int page) override;
    void PrepareRawDecode() override;
    [[nodiscard]] bool ReadSensorData(CRawSensorImage& image) override;

private:
    [[nodiscard]] bool ReadFile();
    [[nodiscard]] bool OpenSensorData(const CRawDirectory& first);
    void ReadBalance(const CLooseDirectory& directory);

    bool m_bigEndian = false;
    const CModel* m_model = nullptr;
    uint64_t m_dataOffset = 0;
    std::vector<uint8_t> m_pattern;
    std::vector<double> m_statedNeutral;
};

bool CKDCReader::Open(const KESTR_CHAR* path, int) {
    ForgetFile();
    m_statedNeutral.clear();
    m_errorText = kNotKDC;
    m_typeId = kTypeKodakKDC;
    if (!m_file.OpenRead(path) || !ReadFile()) {
        Close();
        return false;
    }
    m_description += m_model->formatName;
    m_errorText.clear();
    return true;
}

bool CKDCReader::ReadFile() {
    const CTIFFParser parser(&m_file, false, false);
    if (parser.Directories().empty()) return false;
    m_bigEndian = parser.BigEndian();
    const CRawDirectory first(m_file, m_bigEndian, parser.Directories()[0]);
    m_model = FindModel(first.Text(raw_tag::kModel));
    if (m_model == nullptr) return false;
    TakeMetadata(first);
    if (!OpenSensorData(first)) return false;
    SetColorMatrices(m_model->colorMatrix1, m_model->colorMatrix2);
    m_whiteLevel = m_model->whiteLevel;
    ChoosePreview([&] {
        const auto offset = first.Long(raw_tag::kStripOffsets);
        const auto length = first.Long(raw_tag::kStripByteCounts);
        if (!offset) return false;
        return m_preview.OpenJPEG(*this,
                                  SubRange(m_file.Bytes(), *offset, length.value_or(UINT32_MAX)));
    });
    return true;
}

bool CKDCReader::OpenSensorData(const CRawDirectory& first) {
    const auto offsets = first.Bytes(tag::kOffsets);
    const auto directoryAt = first.Long(tag::kKodakDirectory);
    if (offsets.size() < kOffsetsBytes || !directoryAt) return false;
    const CTIFFBytes numbers(offsets, m_bigEndian);
    m_dataOffset = uint64_t{numbers.U32(kFirstOffsetAt)} + numbers.U32(kSecondOffsetAt);

    const CLooseDirectory kodak(m_file.Bytes(), *directoryAt, m_bigEndian);
    const uint32_t height = kodak.Number(tag::kSensorHeight);
    if (height == UINT32_MAX) return false;
    SetRawSize(kodak.Number(tag::kSensorWidth), height + height % 2);
    ReadBalance(kodak);

    const auto pattern = first.Bytes(tag::kPattern);
    if (pattern.size() == 4) {
        m_pattern = pattern;
    } else {
        m_pattern.assign(m_model->pattern.begin(), m_model->pattern.end());
    }
    return !m_pattern.empty() &&
           SetPictureSize(SubRange(m_file.Bytes(), m_dataOffset).size(), kMostSamplesPerByte);
}

/// By the camera's note, else by Kodak's directory.
void CKDCReader::ReadBalance(const CLooseDirectory& directory) {
    uint32_t note = 0;
    if (m_exif && m_exif->GetMakerNoteOffset(note) == 0) {
        m_statedNeutral = ScaledNeutral(ReadKodakNote(m_file.Bytes(), note).multipliers);
        if (!m_statedNeutral.empty()) return;
    }
    const auto balance =
        std::ranges::find(kBalances, directory.Number(tag::kBalanceMode), &CBalance::mode);
    if (balance == std::end(kBalances)) return;
    const auto gains = directory.Numbers(balance->gains);
    if (gains.size() == 3) m_statedNeutral = NeutralFromGains(gains[0], gains[1], gains[2]);
}

void CKDCReader::PrepareRawDecode() {
    m_colorCount = 3;
    m_cfaPattern = m_pattern;
    SetLevelsGamma(1.0);
    m_asShotNeutral = m_statedNeutral;
}

bool CKDCReader::ReadSensorData(CRawSensorImage& image) {
    return ReadPackedSamples(SubRange(m_file.Bytes(), m_dataOffset),
                             {.packing = CSamplePacking::k12HighFirst}, image, this);
}

namespace {

const CReaderRegistration kReaders{{kTypeKodakKDC}, &MakeReader<CKDCReader>};

}  // namespace
}  // namespace kestr
