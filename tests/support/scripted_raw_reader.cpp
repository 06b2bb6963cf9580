#include "support/scripted_raw_reader.h"

#include <cstring>
#include <optional>
#include <utility>

#include "raw/demosaic.h"
#include "readers/reader_registry.h"
#include "readers/type_ids.h"

namespace kestr::test {
namespace {

constexpr uint8_t kPreviewLevel = 77;

std::optional<CRawScript>& Script() {
    static std::optional<CRawScript> script;
    return script;
}

class CScriptedRawReader final : public CDCRawReader {
public:
    bool Open(const KESTR_CHAR*, int) override {
        m_errorText = "Not a scripted raw file.";
        if (!Script()) return false;
        const CRawScript& script = *Script();
        m_typeId = kTypeFoveon;
        m_pageCount = 1;
        SetRawSize(script.width, script.height);
        m_outputWidth = script.outputWidth;
        m_outputHeight = script.outputHeight;
        m_marginX = script.marginX;
        m_marginY = script.marginY;
        const bool sized = m_outputWidth != 0;
        m_bitmapInfo.SetFormat(
            24, static_cast<int32_t>(sized ? m_outputWidth : script.width - 2 * m_marginX),
            static_cast<int32_t>(sized ? m_outputHeight : script.height - 2 * m_marginY));
        m_cameraColor = script.camera;
        m_whiteLevel = script.white;
        return true;
    }
    bool ReadLine(uint8_t* destination) override {
        if (NeedsRawDecode()) return CDCRawReader::ReadLine(destination);
        std::memset(destination, kPreviewLevel, static_cast<size_t>(m_bitmapInfo.RowBytes()));
        return true;
    }
    void Close() override { m_file.Close(); }

    bool NeedsRawDecode() override { return Script() && !Script()->preview; }
    void PrepareRawDecode() override {
        const CRawScript& script = *Script();
        m_colorCount = script.colors;
        m_cfaPattern = script.pattern;
        m_cfaRepeat = script.patternSize;
        m_cfaPlaneColors = script.planeColors;
        m_blackLevel = script.black;
        m_clipLevel = script.clip;
        m_lowClipPerMille = script.lowClip;
        m_highClipPerMille = script.highClip;
        m_asShotNeutral = script.neutral;
        SetLevelsGamma(1.0);
    }
    bool ReadSensorData(CRawSensorImage& image) override {
        const std::vector<uint16_t>& sensor = Script()->sensor;
        size_t i = 0;
        for (uint32_t y = 0; y < image.samples.height; ++y) {
            if (!StartRawRow(image, this, y)) return false;
            for (uint32_t x = 0; x < image.samples.width && i < sensor.size(); ++x, ++i) {
                image.samples.Pixel(y, x)[image.FC(y, x)] = sensor[i];
            }
        }
        return true;
    }
    void AfterInterpolate(CRawSensorImage& image) override {
        if (Script()->afterInterpolate) Script()->afterInterpolate(image);
    }
};

const CReaderRegistration kReaders{{kTypeFoveon}, &MakeReader<CScriptedRawReader>};

}  // namespace

CameraColorData CRawScript::DaylightCamera() {
    CameraColorData camera;
    // The inverse of sRGB's primaries, so that a camera value is a linear sRGB value.
    camera.colorMatrix1 = {3.240479, -1.537150, -0.498535, -0.969256, 1.875992,
                           0.041556, 0.055648,  -0.204043, 1.057311};
    camera.illuminant1 = 6500;
    camera.colorMatrix2 = camera.colorMatrix1;
    camera.illuminant2 = 6500;
    return camera;
}

CRawScriptScope::CRawScriptScope(CRawScript script) {
    Script() = std::move(script);
}
CRawScriptScope::~CRawScriptScope() {
    Script().reset();
}

}  // namespace kestr::test
