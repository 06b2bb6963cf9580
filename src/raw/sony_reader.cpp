// Sony's SRF, SR2 and ARW: TIFF files, each camera with a way of its own to store the sensor's
// values. Layouts: ExifTool's tag tables; a model row tells the form.

#include <algorithm>
#include <array>
#include <optional>
#include <string>
#include <vector>

#include "base/byte_cursor.h"
#include "metadata/tiff_bytes.h"
#include "metadata/tiff_parser.h"
#include "raw/dcraw_reader.h"
#include "raw/gain_neutral.h"
#include "raw/packed_samples.h"
#include "raw/sensor_window.h"
#include "raw/sony_data.h"
#include "raw/sony_models.h"
#include "raw/sony_private.h"
#include "readers/reader_registry.h"
#include "readers/type_ids.h"

namespace kestr {
namespace {

constexpr char kNotSony[] = "Not a Sony raw file.";

constexpr uint16_t kCurveBends = 28688;
constexpr uint16_t kPrivateData = 50740;
constexpr uint32_t kUncompressed = 1;
constexpr uint32_t kSonyCompressed = 32767;
// No code is shorter than three bits with its difference.
constexpr uint64_t kMostSamplesPerByte = 3;
// Of the A100, whose data has one column more than it states.
constexpr uint32_t kColumnsWidth = 3880;
constexpr uint32_t kColumnsHeight = 2608;
// Rows that a file of the A700 has below its stated height when its values have codes.
constexpr uint32_t kRowsBelow = 8;

}  // namespace

class CSonyReader final : public CDCRawReader {
public:
    bool Open(const KESTR_CHAR* path, int page) override;
    void PrepareRawDecode() override;
    [[nodiscard]] bool ReadSensorData(CRawSensorImage& image) override;

private:
    enum class CStorage { kCiphered, kBigWords, k12LowFirst, kColumns, kBlocks };

    [[nodiscard]] bool ReadFile();
    [[nodiscard]] bool OpenCiphered(const CRawDirectory& first);
    [[nodiscard]] bool OpenColumns(const CRawDirectory& first);
    [[nodiscard]] bool OpenDirectory(const CTIFFDirectoryList& directories);
    [[nodiscard]] bool OpenPacked(const CRawDirectory& sensor, CRawDirectory::CSize size);
    [[nodiscard]] std::optional<uint32_t> PrivateOffset(const CRawDirectory& first) const;
    [[nodiscard]] bool SetSensor(uint32_t width, uint32_t height, uint64_t dataOffset);
    [[nodiscard]] bool OpenPreview(const CTIFFDirectoryList& directories);
    [[nodiscard]] CRawDirectory Fields(const CTIFFDirectory& directory) const {
        return {m_file, m_bigEndian, directory};
    }

    bool m_bigEndian = false;
    const CSonyModel* m_model = nullptr;
    CStorage m_storage = CStorage::kBigWords;
    uint64_t m_dataOffset = 0;
    uint32_t m_storedWidth = 0;
    uint32_t m_storedHeight = 0;
    CSensorWindow m_window;
    uint32_t m_sensorKey = 0;              // of kCiphered
    std::vector<uint16_t> m_blockSamples;  // of kBlocks
    std::vector<double> m_levels;          // gains of red, green and blue, or none
    std::array<uint8_t, 4> m_pattern{};
};

bool CSonyReader::Open(const KESTR_CHAR* path, int) {
    ForgetFile();
    m_levels.clear();
    m_errorText = kNotSony;
    m_typeId = kTypeSony;
    if (!m_file.OpenRead(path) || !ReadFile()) {
        Close();
        return false;
    }
    m_description += m_model->formatName;
    m_errorText.clear();
    return true;
}

bool CSonyReader::ReadFile() {
    // What tag 330 has is a directory of some models only.
    const CTIFFParser chain(&m_file, true, false);
    if (chain.Directories().empty()) return false;
    m_bigEndian = chain.BigEndian();
    const CRawDirectory first = Fields(chain.Directories()[0]);
    m_model = FindSonyModel(first.Text(raw_tag::kModel));
    if (m_model == nullptr) return false;
    TakeMetadata(first);
    SetColorMatrices(m_model->colorMatrix1, m_model->colorMatrix2);
    m_blackLevel = m_model->blackLevel;
    m_whiteLevel = m_model->whiteLevel;
    m_pattern = m_model->pattern;
    bool opened = false;
    switch (m_model->form) {
        case CSonyForm::kCiphered:
            opened = OpenCiphered(first);
            break;
        case CSonyForm::kColumns:
            opened = OpenColumns(first);
            break;
        case CSonyForm::kWords:
        case CSonyForm::kPacked:
            const CTIFFParser tree(&m_file, false, true);
            opened = OpenDirectory(tree.Directories());
            if (const auto offset = PrivateOffset(first)) {
                m_levels = ReadSR2Levels(m_file.Bytes(), *offset, m_bigEndian);
            }
            break;
    }
    if (!opened) return false;
    ChoosePreview([&] { return OpenPreview(chain.Directories()); });
    return true;
}

bool CSonyReader::OpenCiphered(const CRawDirectory& first) {
    const auto size = first.Size();
    const auto keys = ReadSRFKeys(m_file.Bytes());
    if (!size || !keys) return false;
    m_sensorKey = keys->sensorKey;
    m_levels = keys->asShotLevels;
    m_storage = CStorage::kCiphered;
    return SetSensor(size->width, size->height, m_model->dataOffset);
}

bool CSonyReader::OpenColumns(const CRawDirectory& first) {
    const auto data = first.Long(raw_tag::kSubDirectories);
    if (!data) return false;
    CMRIBlocks blocks;
    if (const auto offset = PrivateOffset(first)) blocks = ReadMRIBlocks(m_file.Bytes(), *offset);
    m_levels = blocks.levels;
    m_storage = CStorage::kColumns;
    const bool told = blocks.width != 0 && blocks.height != 0;
    return SetSensor((told ? blocks.width : kColumnsWidth) + 1,
                     told ? blocks.height : kColumnsHeight, *data);
}

/// Takes the largest picture that the first directory or those below it have in the model's form.
bool CSonyReader::OpenDirectory(const CTIFFDirectoryList& directories) {
    const bool packed = m_model->form == CSonyForm::kPacked;
    std::optional<CRawDirectory> sensor;
    uint64_t most = 0;
    const auto weigh = [&](const CTIFFDirectory& directory) {
        const CRawDirectory fields = Fields(directory);
        const auto size = fields.Size();
        if (!size || !fields.Has(raw_tag::kStripOffsets)) return;
        if (fields.Long(raw_tag::kCompression) != (packed ? kSonyCompressed : kUncompressed)) {
            return;
        }
        const uint64_t area = uint64_t{size->width} * size->height;
        if (area <= most) return;
        most = area;
        sensor = fields;
    };
    if (directories.empty()) return false;
    weigh(directories[0]);
    if (const auto children = GetSubDirectories(directories[0])) {
        for (const CTIFFDirectory& child : *children) weigh(child);
    }
    const auto size = sensor ? sensor->Size() : std::nullopt;
    if (!size) return false;
    if (packed) return OpenPacked(*sensor, *size);
    m_storage = CStorage::kBigWords;
    const auto data = sensor->Long(raw_tag::kStripOffsets);
    return data && SetSensor(size->width, size->height, *data);
}

/// The form by the stated length of the data.
bool CSonyReader::OpenPacked(const CRawDirectory& sensor, CRawDirectory::CSize size) {
    auto [width, height] = size;
    const auto data = sensor.Long(raw_tag::kStripOffsets);
    const auto length = sensor.Long(raw_tag::kStripByteCounts);
    if (!data || !length) return false;
    if (const auto pattern = sensor.Bytes(raw_tag::kCFAPattern); pattern.size() == 4) {
        std::copy(pattern.begin(), pattern.end(), m_pattern.begin());
    }
    const uint64_t values = uint64_t{width} * height;
    if (*length == values) {
        m_storage = CStorage::kBlocks;
        const auto samples = BlockSamples(sensor.Shorts(kCurveBends));
        if (!samples) return false;
        m_blockSamples = *samples;
    } else if (uint64_t{*length} * 8 == values * 12) {
        m_storage = CStorage::k12LowFirst;
    } else {
        m_storage = CStorage::kColumns;
    }
    if (!SetSensor(width, height, *data)) return false;
    m_pattern = PatternInWindow(m_pattern, m_window);
    if (m_storage == CStorage::kColumns) m_storedHeight += kRowsBelow;
    return true;
}

/// The four bytes of the tag, whatever their type.
std::optional<uint32_t> CSonyReader::PrivateOffset(const CRawDirectory& first) const {
    if (const auto offset = first.Long(kPrivateData)) return offset;
    const auto bytes = first.Bytes(kPrivateData);
    if (bytes.size() != 4) return std::nullopt;
    return LoadTIFF<uint32_t>(bytes.data(), m_bigEndian);
}

/// Takes the stored size; false when the picture inside it is empty or the data far too short.
bool CSonyReader::SetSensor(uint32_t width, uint32_t height, uint64_t dataOffset) {
    m_storedWidth = width;
    m_storedHeight = height;
    m_dataOffset = dataOffset;
    m_window = WindowInside(width, height, m_model->border);
    if (m_model->mostColumns != 0) {
        m_window.width = std::min(m_window.width, m_model->mostColumns);
    }
    const uint64_t bytes = SubRange(m_file.Bytes(), m_dataOffset).size();
    if (uint64_t{width} * height / kMostSamplesPerByte > bytes) return false;
    SetRawSize(m_window.width, m_window.height);
    return SetPictureSize(bytes, kMostSamplesPerByte);
}

/// The first JPEG that the directories tell of.
bool CSonyReader::OpenPreview(const CTIFFDirectoryList& directories) {
    for (const CTIFFDirectory& directory : directories) {
        if (m_preview.OpenJPEG(*this, Fields(directory).EmbeddedJPEG())) return true;
    }
    return false;
}

void CSonyReader::PrepareRawDecode() {
    m_colorCount = m_model->planeColors != nullptr ? 4 : 3;
    m_cfaPattern = m_pattern;
    m_cfaPlaneColors = m_model->planeColors;
    SetLevelsGamma(1.0);
    if (m_levels.size() == 3)
        m_asShotNeutral = NeutralFromGains(m_levels[0], m_levels[1], m_levels[2]);
    if (m_asShotNeutral.size() == 3 && m_colorCount == 4) m_asShotNeutral.push_back(1.0);
    m_clipLevel = static_cast<uint16_t>(m_whiteLevel * 60 / 100);
}

bool CSonyReader::ReadSensorData(CRawSensorImage& image) {
    const auto data = SubRange(m_file.Bytes(), m_dataOffset);
    switch (m_storage) {
        case CStorage::kCiphered:
            return ReadCipheredWords(data, m_sensorKey, m_storedWidth, m_window, image, this,
                                     m_model->maskedColumns, &m_blackLevel);
        case CStorage::kBigWords:
            return ReadPackedWindow(data, {.packing = CSamplePacking::kBigWords}, m_storedWidth,
                                    m_window, image, this);
        case CStorage::k12LowFirst:
            return ReadPackedWindow(data, {.packing = CSamplePacking::k12LowFirst}, m_storedWidth,
                                    m_window, image, this);
        case CStorage::kColumns:
            return ReadColumnCodes(data, m_storedWidth, m_storedHeight, m_window, image, this);
        case CStorage::kBlocks:
            return ReadValueBlocks(data, m_blockSamples, m_storedWidth, m_window, image, this);
    }
    return false;
}

namespace {

const CReaderRegistration kReaders{{kTypeSony}, &MakeReader<CSonyReader>};

}  // namespace
}  // namespace kestr
