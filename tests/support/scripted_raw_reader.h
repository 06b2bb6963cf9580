#pragma once

#include <cstdint>
#include <functional>
#include <vector>

#include "raw/dcraw_reader.h"

namespace kestr::test {

/// A camera whose files are what a test says: registered for files with the extension ".x3f", which
/// no reader of the library claims. The sensor is read from memory.
struct CRawScript {
    uint32_t width = 0, height = 0;  // of the sensor
    uint8_t colors = 3;
    std::vector<uint8_t> pattern = {kRed, kGreen, kGreen, kBlue};
    std::array<uint32_t, 2> patternSize{2, 2};  // rows and columns
    const std::array<uint8_t, 4>* planeColors = nullptr;
    std::vector<uint16_t> sensor = {};  // row by row; what it lacks is 0
    uint16_t black = 0, white = 65535, clip = 65535;
    std::vector<double> neutral = {};
    CameraColorData camera = DaylightCamera();
    uint32_t marginX = 2, marginY = 2;
    uint32_t lowClip = 1, highClip = 1;          // thousandths
    uint32_t outputWidth = 0, outputHeight = 0;  // 0 for none
    bool preview = false;                        // gray rows in place of the development
    std::function<void(CRawSensorImage&)> afterInterpolate = {};

    /// A camera of plain numbers: its planes are sRGB's primaries in daylight.
    static CameraColorData DaylightCamera();
};

/// Sets the script of the following loads, until the object's end.
class CRawScriptScope {
public:
    explicit CRawScriptScope(CRawScript script);
    ~CRawScriptScope();
    CRawScriptScope(const CRawScriptScope&) = delete;
    CRawScriptScope& operator=(const CRawScriptScope&) = delete;
};

}  // namespace kestr::test
