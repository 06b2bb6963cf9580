// Raw files of Leica's and Panasonic's early cameras: a TIFF structure with the number 0x55 in its
// header and tags of its own in the only directory. Layout: ExifTool's table for Panasonic's raw.

#include <array>
#include <optional>
#include <string>
#include <vector>

#include "base/byte_cursor.h"
#include "metadata/tiff_parser.h"
#include "raw/dcraw_reader.h"
#include "raw/filter_patterns.h"
#include "raw/gain_neutral.h"
#include "raw/leica_models.h"
#include "raw/packed_samples.h"
#include "raw/sensor_window.h"
#include "readers/reader_registry.h"
#include "readers/type_ids.h"

namespace kestr {
namespace {

constexpr char kNotLeica[] = "Not a Leica or Panasonic raw file.";
constexpr uint16_t kMagic = 0x55;

namespace tag {
constexpr uint16_t kSensorWidth = 2;
constexpr uint16_t kSensorHeight = 3;
constexpr uint16_t kTop = 4;  // of the picture; its bottom and right are behind its last cells
constexpr uint16_t kLeft = 5;
constexpr uint16_t kBottom = 6;
constexpr uint16_t kRight = 7;
constexpr uint16_t kPattern = 9;  // 1 to 4
constexpr uint16_t kRedGain = 17;
constexpr uint16_t kBlueGain = 18;
constexpr uint16_t kBlackLevel = 28;    // of red, green and blue in three tags
constexpr uint16_t kWhiteBalance = 36;  // red, green and blue in three tags
}  // namespace tag

constexpr CBayerCell kPatterns[] = {kRGGB, kGRBG, kGBRG, kBGGR};
constexpr uint32_t kBlackIsMore = 15;  // than its tags say
constexpr double kGainOfOne = 256;

/// Three tags in a row, when all are there.
std::optional<std::array<uint32_t, 3>> Three(const CRawDirectory& directory, uint16_t firstTag) {
    std::array<uint32_t, 3> values;
    for (uint16_t i = 0; i < 3; ++i) {
        const auto value = directory.Long(static_cast<uint16_t>(firstTag + i));
        if (!value) return std::nullopt;
        values[i] = *value;
    }
    return values;
}

/// As the file states it; nothing when it does not, or not within the sensor.
std::optional<CSensorWindow> StatedWindow(const CRawDirectory& directory, uint32_t width,
                                          uint32_t height) {
    const auto top = directory.Long(tag::kTop);
    const auto left = directory.Long(tag::kLeft);
    const auto bottom = directory.Long(tag::kBottom);
    const auto right = directory.Long(tag::kRight);
    if (!top || !left || !bottom || !right) return std::nullopt;
    if (*left >= *right || *right > width || *top >= *bottom || *bottom > height) {
        return std::nullopt;
    }
    return CSensorWindow{*left, *top, *right - *left, *bottom - *top};
}

}  // namespace

class CLeicaReader final : public CDCRawReader {
public:
    bool Open(const KESTR_CHAR* path, int page) override;
    void PrepareRawDecode() override;
    [[nodiscard]] bool ReadSensorData(CRawSensorImage& image) override;

private:
    [[nodiscard]] bool ReadFile();
    [[nodiscard]] bool OpenSensorData(const CRawDirectory& directory);

    const CLeicaModel* m_model = nullptr;
    uint64_t m_dataOffset = 0;
    uint32_t m_storedWidth = 0;
    CPackedLayout m_layout;
    CSensorWindow m_window;
    CBayerCell m_pattern{};
    std::vector<double> m_statedNeutral;
};

bool CLeicaReader::Open(const KESTR_CHAR* path, int) {
    ForgetFile();
    m_errorText = kNotLeica;
    m_typeId = kTypeLeica;
    if (!m_file.OpenRead(path) || !ReadFile()) {
        Close();
        return false;
    }
    m_errorText.clear();
    return true;
}

bool CLeicaReader::ReadFile() {
    const CTIFFParser parser(&m_file, false, false);
    if (parser.Directories().empty() || parser.BigEndian() || parser.Magic() != kMagic) {
        return false;
    }
    const CRawDirectory directory(m_file, false, parser.Directories()[0]);
    m_model = FindLeicaModel(directory.Text(raw_tag::kModel));
    if (m_model == nullptr || !OpenSensorData(directory)) return false;
    TakeMetadata(directory);
    SetColorMatrices(m_model->colorMatrix1, m_model->colorMatrix2);
    m_whiteLevel = m_model->whiteLevel;
    if (const auto black = Three(directory, tag::kBlackLevel)) {
        const uint64_t sum = uint64_t{(*black)[0]} + (*black)[1] + (*black)[2];
        m_blackLevel = static_cast<uint16_t>(sum / 3 + kBlackIsMore);
    }
    if (m_blackLevel >= m_whiteLevel) return false;

    if (const auto gains = Three(directory, tag::kWhiteBalance)) {
        m_statedNeutral = NeutralFromGains((*gains)[0], (*gains)[1], (*gains)[2]);
    } else {
        m_statedNeutral = NeutralFromGains(directory.Long(tag::kRedGain).value_or(0), kGainOfOne,
                                           directory.Long(tag::kBlueGain).value_or(0));
    }
    m_typeId = m_model->panasonic ? kTypePanasonic : kTypeLeica;
    m_description += m_model->panasonic ? "Panasonic " : "Leica ";
    m_description += std::string(m_model->name) + " RAW";
    return true;
}

/// Sizes and places; how the values are stored is told by the length of their data alone.
bool CLeicaReader::OpenSensorData(const CRawDirectory& directory) {
    const uint32_t width = directory.Long(tag::kSensorWidth).value_or(0);
    const uint32_t height = directory.Long(tag::kSensorHeight).value_or(0);
    const uint32_t pattern = directory.Long(tag::kPattern).value_or(0);
    const auto data = directory.Long(raw_tag::kStripOffsets);
    if (!data || pattern < 1 || pattern > std::size(kPatterns)) return false;
    m_dataOffset = *data;
    m_storedWidth = width;
    const uint64_t length = SubRange(m_file.Bytes(), m_dataOffset).size();
    const uint64_t values = uint64_t{width} * height;
    if (length >= 2 * values) {
        m_layout = {.packing = CSamplePacking::kLittleWords, .shift = 4};
    } else if (2 * length >= 3 * values) {
        m_layout = {.packing = CSamplePacking::k12LowFirst, .padded = true};
    } else {
        return false;
    }
    m_window = StatedWindow(directory, width, height)
                   .value_or(WindowInside(width, height, LeicaBorder(*m_model, height)));
    m_pattern = PatternInWindow(kPatterns[pattern - 1], m_window);
    SetRawSize(m_window.width, m_window.height);
    return SetPictureSize(length, 1);
}

void CLeicaReader::PrepareRawDecode() {
    m_colorCount = 3;
    m_cfaPattern = m_pattern;
    SetLevelsGamma(1.0);
    m_asShotNeutral = m_statedNeutral;
}

bool CLeicaReader::ReadSensorData(CRawSensorImage& image) {
    return ReadPackedWindow(SubRange(m_file.Bytes(), m_dataOffset), m_layout, m_storedWidth,
                            m_window, image, this);
}

namespace {

const CReaderRegistration kReaders{{kTypeLeica, kTypePanasonic}, &MakeReader<CLeicaReader>};

}  // namespace
}  // namespace kestr
