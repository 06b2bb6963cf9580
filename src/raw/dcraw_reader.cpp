#include "raw/dcraw_reader.h"

#include <algorithm>
#include <utility>

#include "base/callback.h"
#include "base/picture_size.h"
#include "raw/demosaic.h"
#include "raw/neutral_estimate.h"
#include "raw/raw_finish.h"

namespace kestr {
namespace {

constexpr int kPixelSamples = 3;
// Kelvin of the lights that the tables of camera matrices are for.
constexpr uint16_t kIlluminantA = 2850;
constexpr uint16_t kDaylight = 6500;

/// The picture inside the margins; empty when they leave nothing.
CRawBox InnerBox(const CRawSamples& samples, uint32_t marginX, uint32_t marginY) {
    if (samples.width / 2 < marginX || samples.height / 2 < marginY) return {};
    return {marginX, marginY, samples.width - 2 * marginX, samples.height - 2 * marginY};
}

}  // namespace

bool CDCRawReader::Load(const KESTR_CHAR* path, int page) {
    if (!Open(path, page)) return false;
    if (!NeedsRawDecode()) return true;
    if (CheckAbort()) return false;
    PrepareRawDecode();
    if (CheckAbort() || !Develop()) return false;
    m_errorText.clear();  // of the refusal that Open() had ready
    m_has16Bit = true;
    m_nextRow = 0;
    if (!m_thumbnailRequested) m_thumbnailWidth = m_thumbnailHeight = 0;
    return true;
}

bool CDCRawReader::Develop() {
    const auto filter = MakeFilterTable(m_cfaPattern, m_cfaRepeat[0], m_cfaRepeat[1], m_colorCount,
                                        m_cfaPlaneColors);
    if (!filter || m_whiteLevel == 0) return false;
    CRawSensorImage image;
    image.filter = *filter;
    image.passCount = RawPassCount(m_interpolationMethod, m_colorCount);
    image.samples = CRawSamples(m_bufferWidth, m_bufferHeight, m_colorCount);

    if (!ReadSensorData(image) || CheckAbort()) return false;
    if (m_colorCount == kPixelSamples && m_asShotNeutral.empty()) {
        m_estimatedNeutral = EstimateNeutralFromSamples(image, m_blackLevel, m_whiteLevel);
        m_asShotNeutral = m_estimatedNeutral;
        if (CheckAbort()) return false;
    }
    if (m_outputHeight != 0 && m_rawHeight != 0) {
        image.rowScale = static_cast<double>(m_outputHeight) / m_rawHeight;
    }
    if (!Demosaic(m_interpolationMethod, image, this,
                  {.cameraColor = m_cameraColor,
                   .analogBalance = m_analogBalance,
                   .neutral = m_asShotNeutral,
                   .black = m_blackLevel,
                   .white = m_whiteLevel})) {
        return false;
    }
    AfterInterpolate(image);
    return !CheckAbort() && Finish(image);
}

/// Colours, crop and levels.
bool CDCRawReader::Finish(CRawSensorImage& image) {
    m_temperatureOverride = static_cast<uint16_t>(callback::ColorTemperature(m_session));
    const CRawBox inner = InnerBox(image.samples, m_marginX, m_marginY);
    if (m_colorCount == 4 && m_asShotNeutral.empty()) {
        m_estimatedNeutral = EstimateNeutralFromBox(image.samples, inner, m_clipLevel);
        m_asShotNeutral = m_estimatedNeutral;
    }
    const CRawFinish finish{.cameraColor = m_cameraColor,
                            .analogBalance = m_analogBalance,
                            .neutral = m_asShotNeutral,
                            .black = m_blackLevel,
                            .white = m_whiteLevel,
                            .temperature = m_temperatureOverride,
                            .crop = inner,
                            .outputWidth = m_outputWidth,
                            .outputHeight = m_outputHeight,
                            .lowClipPerMille = m_lowClipPerMille,
                            .highClipPerMille = m_highClipPerMille};
    ConvertRawColors(*this, finish, image, m_histograms);
    return !CheckAbort() && TakeRawPicture(*this, finish, image.samples, m_histograms);
}

void CDCRawReader::SetRawSize(uint32_t width, uint32_t height, uint32_t bufferWidth,
                              uint32_t bufferHeight) {
    m_rawWidth = width;
    m_rawHeight = height;
    m_bufferWidth = bufferWidth != 0 ? bufferWidth : width;
    m_bufferHeight = bufferHeight != 0 ? bufferHeight : height;
}

void CDCRawReader::ForgetFile() {
    Close();
    m_preview.Drop();
    m_has16Bit = false;
    m_bits16.clear();
    m_rotation = 0;
    m_originalWidth = m_originalHeight = 0;
    m_levelsBlack = m_levelsWhite = 0;
    m_blackLevel = m_whiteLevel = 0;
    m_asShotNeutral.clear();
    m_analogBalance.clear();
    m_cameraColor = {};
    m_marginX = m_marginY = 2;
    m_cfaRepeat = {2, 2};
    m_cfaPlaneColors = nullptr;
    m_outputWidth = m_outputHeight = 0;
    m_nextRow = 0;
    SetRawSize(0, 0);
}

void CDCRawReader::TakeMetadata(const CRawDirectory& first) {
    TakeRawMetadata(*this, m_file.Bytes(), first);
}

void CDCRawReader::SetColorMatrices(std::span<const double> matrix1,
                                    std::span<const double> matrix2) {
    m_cameraColor.colorMatrix1.assign(matrix1.begin(), matrix1.end());
    m_cameraColor.illuminant1 = kIlluminantA;
    m_cameraColor.colorMatrix2.assign(matrix2.begin(), matrix2.end());
    m_cameraColor.illuminant2 = kDaylight;
}

bool CDCRawReader::SetPictureSize(uint64_t dataBytes, uint64_t mostSamplesPerByte) {
    if (m_rawWidth > kMostPictureSide || m_rawHeight > kMostPictureSide ||
        m_rawWidth <= 2 * m_marginX || m_rawHeight <= 2 * m_marginY) {
        return false;
    }
    if (uint64_t{m_rawWidth} * m_rawHeight / mostSamplesPerByte > dataBytes) return false;
    const uint32_t width = m_outputWidth != 0 ? m_outputWidth : m_rawWidth - 2 * m_marginX;
    const uint32_t height = m_outputHeight != 0 ? m_outputHeight : m_rawHeight - 2 * m_marginY;
    m_bitmapInfo.SetFormat(24, static_cast<int32_t>(width), static_cast<int32_t>(height));
    return true;
}

void CDCRawReader::ChoosePreview(const std::function<bool()>& open) {
    if (!m_thumbnailRequested && m_minPreviewSize == 0) return;
    const CBitmapInfo full = m_bitmapInfo;
    m_originalWidth = static_cast<uint32_t>(full.Width());
    m_originalHeight = static_cast<uint32_t>(full.Height());
    const bool found = open();
    const auto width = static_cast<uint32_t>(m_bitmapInfo.Width());
    const auto height = static_cast<uint32_t>(m_bitmapInfo.Height());
    if (!found ||
        (!m_thumbnailRequested && width < m_minPreviewSize && height < m_minPreviewSize)) {
        m_preview.Drop();
        m_bitmapInfo = full;
        m_originalWidth = m_originalHeight = 0;
    } else if (height > width) {
        // The camera has turned it.
        m_rotation = 0;
        if (m_exif) m_exif->Orientation = uint16_t{1};
    }
}

bool CDCRawReader::ReadLine(uint8_t* destination) {
    if (m_preview.IsTaken()) return m_preview.ReadLine(*this, destination);
    return ReadHighBytes(*this, m_nextRow++, destination);
}

void CDCRawReader::Close() {
    m_preview.Close();
    m_file.Close();
}

}  // namespace kestr
