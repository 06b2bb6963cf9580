// The last steps of a raw load: demosaiced samples become the reader's picture.
#pragma once

#include <cstdint>
#include <span>

#include "raw/raw_processor.h"
#include "raw/raw_sensor_image.h"
#include "readers/image_reader.h"

namespace kestr {

struct CRawFinish {
    const CameraColorData& cameraColor;
    std::span<const double> analogBalance;
    std::span<const double> neutral;
    uint16_t black = 0;
    uint16_t white = 0;        // never 0
    uint16_t temperature = 0;  // kelvin; outside 4000..25000 as shot
    CRawBox crop;              // of the samples, which is kept
    uint32_t outputWidth = 0;  // size to resample to, 0 for that of the crop
    uint32_t outputHeight = 0;
    uint32_t lowClipPerMille = 1;  // share of the pixels that automatic levels may clip
    uint32_t highClipPerMille = 1;
};

/// Turns the samples from the crop's left top corner on into blue, green, red, by the colour route
/// that the reader's caller has chosen, counts them in the histograms, and gives the reader its
/// colour temperature.
void ConvertRawColors(CImageReader& reader, const CRawFinish& finish, CRawSensorImage& image,
                      CRawHistograms& histograms);

/// Cuts the crop out of converted samples and gives the reader picture and levels. False when the
/// samples do not hold the crop.
[[nodiscard]] bool TakeRawPicture(CImageReader& reader, const CRawFinish& finish,
                                  CRawSamples& samples, const CRawHistograms& histograms);

/// Gives the reader its picture, `width` x `height` pixels of 1 or 3 `channels` (blue, green, red),
/// resampled to the output size unless that is 0 or the same.
void SetRawPicture(CImageReader& reader, CPixelWords&& samples, uint32_t width, uint32_t height,
                   int channels, uint32_t outputWidth, uint32_t outputHeight);

/// Row `row` of the reader's m_bits16 as the high bytes of its samples; false behind the last.
[[nodiscard]] bool ReadHighBytes(const CImageReader& reader, uint32_t row, uint8_t* destination);

}  // namespace kestr
