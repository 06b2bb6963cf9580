// Epson's ERF of the R-D1: a TIFF file with packed values in its largest directory, and white
// balance and preview in the camera's own note.

#include <vector>

#include "base/byte_cursor.h"
#include "metadata/maker_notes.h"
#include "metadata/tiff_parser.h"
#include "raw/dcraw_reader.h"
#include "raw/filter_patterns.h"
#include "raw/gain_neutral.h"
#include "raw/packed_samples.h"
#include "readers/reader_registry.h"
#include "readers/type_ids.h"

namespace kestr {
namespace {

constexpr char kNotERF[] = "Not an ERF file.";
constexpr char kModel[] = "R-D1";
constexpr uint32_t kEpsonCompressed = 32769;
constexpr uint16_t kBits = 12;

// Published DNG colour data for daylight, which stands for both lights: XYZ to camera planes, row
// by row.
constexpr double kDaylight[] = {0.6827, -0.1878, -0.0732, -0.8429, 1.6012,
                                0.2564, -0.0704, 0.0592,  0.7145};
constexpr uint16_t kBlackLevel = 63;
constexpr uint16_t kWhiteLevel = 4095;
constexpr CPackedLayout kLayout{.packing = CSamplePacking::k12HighFirst, .padded = true};
// Two values take more than three bytes.
constexpr uint64_t kMostSamplesPerByte = 1;
// Bytes before the note's directory, which its offsets count from.
constexpr uint64_t kNoteHead = 8;

}  // namespace

class CERFReader final : public CDCRawReader {
public:
    bool Open(const KESTR_CHAR* path, int page) override;
    void PrepareRawDecode() override;
    [[nodiscard]] bool ReadSensorData(CRawSensorImage& image) override;

private:
    [[nodiscard]] bool ReadFile();
    [[nodiscard]] bool OpenSensorData(const CTIFFParser& parser);
    [[nodiscard]] bool OpenPreview();

    uint64_t m_dataOffset = 0;
    uint64_t m_noteOffset = 0;
    CEpsonNote m_note;
};

bool CERFReader::Open(const KESTR_CHAR* path, int) {
    ForgetFile();
    m_note = {};
    m_errorText = kNotERF;
    m_typeId = kTypeEpson;
    if (!m_file.OpenRead(path) || !ReadFile()) {
        Close();
        return false;
    }
    m_description += "Epson R-D1 RAW";
    m_errorText.clear();
    return true;
}

bool CERFReader::ReadFile() {
    const CTIFFParser parser(&m_file, false, true);
    if (parser.Directories().empty()) return false;
    const CRawDirectory first(m_file, parser.BigEndian(), parser.Directories()[0]);
    if (first.Text(raw_tag::kModel) != kModel || !OpenSensorData(parser)) return false;
    TakeMetadata(first);
    uint32_t note = 0;
    if (m_exif && m_exif->GetMakerNoteOffset(note) == 0) {
        m_noteOffset = note;
        m_note = ReadEpsonNote(m_file.Bytes(), note);
    }
    SetColorMatrices(kDaylight, kDaylight);
    m_blackLevel = kBlackLevel;
    m_whiteLevel = kWhiteLevel;
    ChoosePreview([&] { return OpenPreview(); });
    return true;
}

/// Takes the largest of the first directory and those below it that has packed values.
bool CERFReader::OpenSensorData(const CTIFFParser& parser) {
    std::vector<const CTIFFDirectory*> all{&parser.Directories()[0]};
    const auto children = GetSubDirectories(parser.Directories()[0]);
    if (children) {
        for (const CTIFFDirectory& child : *children) all.push_back(&child);
    }
    CRawDirectory::CSize size;
    for (const CTIFFDirectory* directory : all) {
        const CRawDirectory fields(m_file, parser.BigEndian(), *directory);
        const auto stated = fields.Size();
        const auto data = fields.Long(raw_tag::kStripOffsets);
        if (!stated || !data || fields.Long(raw_tag::kCompression) != kEpsonCompressed ||
            fields.Short(raw_tag::kBitsPerSample) != kBits ||
            uint64_t{stated->width} * stated->height <= uint64_t{size.width} * size.height) {
            continue;
        }
        size = *stated;
        m_dataOffset = *data;
    }
    SetRawSize(size.width, size.height);
    return SetPictureSize(SubRange(m_file.Bytes(), m_dataOffset).size(), kMostSamplesPerByte);
}

/// The note's own offsets count from its directory; programs that have rewritten a file may have
/// left the preview where the offset counts from the file's start.
bool CERFReader::OpenPreview() {
    for (const uint64_t base : {m_noteOffset + kNoteHead, uint64_t{0}}) {
        const auto stream =
            SubRange(m_file.Bytes(), base + m_note.preview.offset, m_note.preview.length);
        if (stream.size() < 2 || stream[0] != 0xFF || stream[1] != 0xD8) continue;
        if (m_preview.OpenJPEG(*this, stream)) return true;
    }
    return false;
}

void CERFReader::PrepareRawDecode() {
    m_colorCount = 3;
    m_cfaPattern = kRGGB;
    SetLevelsGamma(1.0);
    m_asShotNeutral = ScaledNeutral(m_note.multipliers);
}

bool CERFReader::ReadSensorData(CRawSensorImage& image) {
    return ReadPackedSamples(SubRange(m_file.Bytes(), m_dataOffset), kLayout, image, this);
}

namespace {

const CReaderRegistration kReaders{{kTypeEpson}, &MakeReader<CERFReader>};

}  // namespace
}  // namespace kestr
