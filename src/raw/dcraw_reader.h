// Base of the readers that develop a camera's sensor data: a reader finds the data and knows the
// camera's numbers; the road from there to the picture is this one.
#pragma once

#include <array>
#include <cstdint>
#include <functional>
#include <span>
#include <vector>

#include "platform/mapped_file.h"
#include "raw/camera_color_data.h"
#include "raw/raw_directory.h"
#include "raw/raw_preview.h"
#include "raw/raw_processor.h"
#include "raw/raw_sensor_image.h"
#include "readers/image_reader.h"

namespace kestr {

class CDCRawReader : public CImageReader {
public:
    bool IsCameraRaw() override { return true; }
    bool Has16BitData() override { return m_has16Bit || NeedsRawDecode(); }
    /// Open() and, unless a preview serves, all of the development into m_bits16.
    bool Load(const KESTR_CHAR* path, int page) override;
    /// A row of the preview, or of what Load() has developed.
    bool ReadLine(uint8_t* destination) override;
    void Close() override;

    /// False when Open() has settled on a preview or on a picture that is finished already: rows
    /// come from there.
    virtual bool NeedsRawDecode() { return !m_preview.IsTaken(); }
    /// Fills in what the development wants to know: planes and filter pattern, margins, clipped
    /// shares, levels and neutral. Nothing is read before it.
    virtual void PrepareRawDecode() = 0;
    /// Stores each sensor value at its pixel, at the sample that FC() tells; other samples stay 0.
    /// Asks StartRawRow() at each row. False, with m_errorText set, when the load cannot go on.
    [[nodiscard]] virtual bool ReadSensorData(CRawSensorImage& image) = 0;
    /// Between demosaicing and colours: turns a rotated grid upright.
    virtual void AfterInterpolate(CRawSensorImage& /*image*/) {}

protected:
    /// Makes the reader as new for the next Open().
    void ForgetFile();
    /// Takes EXIF from the file's own TIFF structure, and the profile of its first directory.
    void TakeMetadata(const CRawDirectory& first);
    /// Matrices from XYZ to the sensor's planes, row by row, for lights of 2850 K and 6500 K.
    void SetColorMatrices(std::span<const double> matrix1, std::span<const double> matrix2);
    /// Sizes of the sensor and of the sample buffer; 0 for the latter means the former.
    void SetRawSize(uint32_t width, uint32_t height, uint32_t bufferWidth = 0,
                    uint32_t bufferHeight = 0);
    /// Gives the bitmap its format, from the raw size and margins, or the output size when that is
    /// set. False when margins leave nothing, or when so few bytes of data cannot hold the sensor.
    [[nodiscard]] bool SetPictureSize(uint64_t dataBytes, uint64_t mostSamplesPerByte);
    /// When the caller wants a thumbnail, or any picture of some size: looks for a smaller picture
    /// that will do, and keeps it in m_preview. `open` opens it there. Otherwise, and when none
    /// does, the sensor's samples will be developed.
    void ChoosePreview(const std::function<bool()>& open);
    void SetLevelsGamma(double gamma) { m_levelsGamma = gamma; }

    CMappedFileImpl m_file;
    CRawPreview m_preview;
    uint16_t m_blackLevel = 0;            // sample of black
    uint16_t m_whiteLevel = 0;            // sample of saturation
    uint16_t m_clipLevel = 65535;         // largest sample that a balance of four colours counts
    std::vector<double> m_asShotNeutral;  // one value a plane, the largest normally 1
    std::vector<double> m_analogBalance;  // gain applied in the camera; empty or three values
    CameraColorData m_cameraColor;
    uint32_t m_marginX = 2;          // columns cut off at left and at right
    uint32_t m_marginY = 2;          // rows cut off at top and at bottom
    uint32_t m_lowClipPerMille = 1;  // share of the pixels that automatic levels may clip
    uint32_t m_highClipPerMille = 1;
    std::span<const uint8_t> m_cfaPattern;                     // CFilterColor codes, row by row
    std::array<uint32_t, 2> m_cfaRepeat{2, 2};                 // rows and columns of the pattern
    const std::array<uint8_t, 4>* m_cfaPlaneColors = nullptr;  // code of each of four planes
    uint32_t m_nextRow = 0;
    uint8_t m_colorCount = 3;    // planes of the sensor; not the palette's entries
    uint32_t m_outputWidth = 0;  // size to resample to, 0 for none
    uint32_t m_outputHeight = 0;
    uint32_t m_rawWidth = 0;
    uint32_t m_rawHeight = 0;
    uint32_t m_bufferWidth = 0;
    uint32_t m_bufferHeight = 0;
    std::vector<double> m_estimatedNeutral;
    uint16_t m_temperatureOverride = 0;  // kelvin; outside 4000..25000 as shot
    CRawHistograms m_histograms{};

private:
    [[nodiscard]] bool Develop();
    [[nodiscard]] bool Finish(CRawSensorImage& image);
};

}  // namespace kestr
