// From demosaiced camera samples to display samples: a plain matrix with the curve of 1 / 2.2, or
// the colour appearance model CIECAM02 through a table of 65 points an axis. Both work in place.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>

#include "raw/camera_color_data.h"

namespace kestr {

/// How a scene and its picture are looked at, as Little CMS wants it.
struct CSurroundings {
    double Yb = 50.0;       // luminance of the background, per cent of the white's
    double La = 60.0;       // luminance of the adapting field, cd/m2
    double D = 1.0;         // degree of adaptation
    uint32_t surround = 1;  // 1 average, 2 dim, 3 dark, 4 cut sheet
    friend bool operator==(const CSurroundings&, const CSurroundings&) = default;
};

/// What is known of a picture's colours.
struct CRawColorInputs {
    const CameraColorData& cameraColor;
    std::span<const double> analogBalance;  // one value a plane, else all count as 1
    std::span<const double> neutral;        // the camera's response to a neutral object; one value
                                            // a plane, else it is missing
    uint16_t black = 0;
    uint16_t white = 0;        // the sensor's saturation; never 0
    uint16_t temperature = 0;  // kelvin; outside 4000..25000 the neutral tells the white
    CSurroundings surroundings{};
};

/// Colours of a sensor of three planes.
class CRawColor3 {
public:
    virtual ~CRawColor3() = default;
    /// One pixel in place: camera samples in, display samples out.
    virtual void Convert(uint16_t& r, uint16_t& g, uint16_t& b) const;
    /// The correlated colour temperature of the scene's white, in kelvin.
    [[nodiscard]] virtual uint16_t GetColorTemperature() const = 0;
    /// `count` adjacent pixels, which come as red, green, blue and leave as blue, green, red.
    virtual void ConvertRow(uint16_t* pixels, size_t count) const = 0;
};

/// Colours of a sensor of four planes.
class CRawColor4 {
public:
    virtual ~CRawColor4() = default;
    virtual void Convert(const uint16_t* in, uint16_t& r, uint16_t& g, uint16_t& b) const;
    [[nodiscard]] virtual uint16_t GetColorTemperature() const = 0;
    /// `count` adjacent pixels of four samples, of which the first three become blue, green and red
    /// and the fourth is left alone.
    virtual void ConvertRow(uint16_t* pixels, size_t count) const = 0;
};

std::unique_ptr<CRawColor3> CreateRawColor3(bool useCIECAM02, const CRawColorInputs& inputs);
std::unique_ptr<CRawColor4> CreateRawColor4(bool useCIECAM02, const CRawColorInputs& inputs);

}  // namespace kestr
