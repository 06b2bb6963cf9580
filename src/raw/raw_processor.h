// The colour stage of a raw load: a whole buffer of demosaiced samples, with its histograms.
#pragma once

#include <array>
#include <cstdint>
#include <memory>
#include <span>

#include "raw/raw_color.h"

namespace kestr {

class CImageReader;
class CRawSamples;

/// Luminance, first, second and third output channel, 256 bins each, by the high byte of the
/// finished sample.
using CRawHistograms = std::array<std::array<uint32_t, 256>, 4>;

/// What a pass over the samples needs besides them.
struct CRawPass {
    std::span<const double> neutral;
    std::span<const double> analogBalance;
    uint16_t black = 0;
    uint16_t white = 0;
    uint16_t temperature = 0;        // kelvin; outside 4000..25000 as shot
    CImageReader* reader = nullptr;  // for progress only; may be null
    int passIndex = 1;               // from 1
    int passCount = 1;
    double rowScale = 1.0;  // rows reported for each row of the buffer
    CSurroundings surroundings{};
    uint32_t marginX = 0;  // columns at the left and rows at the top that stay as they are
    uint32_t marginY = 0;
};

class CProcessRawImage {
public:
    explicit CProcessRawImage(const CameraColorData& cameraColor) : m_cameraColor(cameraColor) {}
    virtual ~CProcessRawImage() = default;
    /// Turns the samples of a three-plane buffer into blue, green, red, counts them in the
    /// histograms and gives the colour temperature in kelvin.
    virtual uint16_t Process3(const CRawPass& pass, CRawSamples& samples,
                              CRawHistograms& histograms) const = 0;
    /// The same for a buffer of four planes; the fourth sample stays.
    virtual uint16_t Process4(const CRawPass& pass, CRawSamples& samples,
                              CRawHistograms& histograms) const = 0;

protected:
    CameraColorData m_cameraColor;
};

std::unique_ptr<CProcessRawImage> CreateRawProcessor(bool useCIECAM02,
                                                     const CameraColorData& cameraColor);

}  // namespace kestr
