#include "raw/raw_processor.h"

#include <algorithm>

#include "base/luminance.h"
#include "raw/raw_samples.h"
#include "readers/image_reader.h"

namespace kestr {
namespace {

static_assert((LuminanceSum(255, 255, 255) + 127) >> 8 == 255);

/// Counts pixels of blue, green, red by turns in two sets, so that equal neighbours, the rule in
/// pictures, do not wait for one another.
class CRawCounts {
public:
    void CountRow(const uint16_t* pixels, size_t samplesPerPixel, size_t count) {
        for (; count >= 2; count -= 2, pixels += 2 * samplesPerPixel) {
            Count(m_sets[0], pixels);
            Count(m_sets[1], pixels + samplesPerPixel);
        }
        if (count > 0) Count(m_sets[0], pixels);
    }

    void AddTo(CRawHistograms& histograms) const {
        for (const CRawHistograms& set : m_sets) {
            for (size_t h = 0; h < set.size(); ++h) {
                for (size_t bin = 0; bin < set[h].size(); ++bin) {
                    histograms[h][bin] += set[h][bin];
                }
            }
        }
    }

private:
    static void Count(CRawHistograms& set, const uint16_t* pixel) {
        const auto blue = static_cast<uint8_t>(pixel[0] >> 8);
        const auto green = static_cast<uint8_t>(pixel[1] >> 8);
        const auto red = static_cast<uint8_t>(pixel[2] >> 8);
        ++set[0][(LuminanceSum(red, green, blue) + 127) >> 8];
        ++set[1][red];
        ++set[2][green];
        ++set[3][blue];
    }

    std::array<CRawHistograms, 2> m_sets{};
};

CRawColorInputs ColorInputs(const CameraColorData& camera, const CRawPass& pass) {
    return {camera,     pass.analogBalance, pass.neutral,     pass.black,
            pass.white, pass.temperature,   pass.surroundings};
}

/// The rows and columns at the far edges are margins too, but take part.
template <typename Color>
uint16_t ProcessRows(const Color& color, const CRawPass& pass, CRawSamples& samples,
                     CRawHistograms& histograms) {
    CRawCounts counts;
    const uint32_t first = std::min(pass.marginX, samples.width);
    const size_t count = samples.width - first;
    for (uint32_t row = pass.marginY; row < samples.height; ++row) {
        if (pass.reader != nullptr) {
            pass.reader->ReportProgress(static_cast<uint32_t>(row * pass.rowScale), pass.passIndex,
                                        pass.passCount);
        }
        uint16_t* pixels = samples.Pixel(row, first);
        color.ConvertRow(pixels, count);
        counts.CountRow(pixels, samples.colors, count);
    }
    counts.AddTo(histograms);
    return color.GetColorTemperature();
}

}  // namespace

class CProcessRawCIECAM02 final : public CProcessRawImage {
public:
    using CProcessRawImage::CProcessRawImage;
    uint16_t Process3(const CRawPass& pass, CRawSamples& samples,
                      CRawHistograms& histograms) const override {
        const auto color = CreateRawColor3(true, ColorInputs(m_cameraColor, pass));
        return ProcessRows(*color, pass, samples, histograms);
    }
    /// Keeps to the common surroundings, whatever the caller asks for.
    uint16_t Process4(const CRawPass& pass, CRawSamples& samples,
                      CRawHistograms& histograms) const override {
        CRawColorInputs inputs = ColorInputs(m_cameraColor, pass);
        inputs.surroundings = CSurroundings{};
        const auto color = CreateRawColor4(true, inputs);
        return ProcessRows(*color, pass, samples, histograms);
    }
};

class CProcessRawMatrixLab final : public CProcessRawImage {
public:
    using CProcessRawImage::CProcessRawImage;
    uint16_t Process3(const CRawPass& pass, CRawSamples& samples,
                      CRawHistograms& histograms) const override {
        const auto color = CreateRawColor3(false, ColorInputs(m_cameraColor, pass));
        return ProcessRows(*color, pass, samples, histograms);
    }
    uint16_t Process4(const CRawPass& pass, CRawSamples& samples,
                      CRawHistograms& histograms) const override {
        const auto color = CreateRawColor4(false, ColorInputs(m_cameraColor, pass));
        return ProcessRows(*color, pass, samples, histograms);
    }
};

std::unique_ptr<CProcessRawImage> CreateRawProcessor(bool useCIECAM02,
                                                     const CameraColorData& cameraColor) {
    if (useCIECAM02) return std::make_unique<CProcessRawCIECAM02>(cameraColor);
    return std::make_unique<CProcessRawMatrixLab>(cameraColor);
}

}  // namespace kestr
