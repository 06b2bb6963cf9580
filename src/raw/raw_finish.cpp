#include "raw/raw_finish.h"

#include <algorithm>
#include <utility>

#include "base/callback.h"
#include "base/picture_size.h"
#include "ops/filter_resampler.h"
#include "ops/pixel_view.h"
#include "raw/raw_levels.h"

namespace kestr {
namespace {

constexpr int kWindowedSinc = 7;  // the resampling filter with the sharpest picture
constexpr int kPixelSamples = 3;

CPixelView<uint16_t> ViewOf(CPixelWords& samples, uint32_t width, uint32_t height, int channels) {
    return View16(samples, static_cast<int32_t>(width), static_cast<int32_t>(height), channels);
}

}  // namespace

void ConvertRawColors(CImageReader& reader, const CRawFinish& finish, CRawSensorImage& image,
                      CRawHistograms& histograms) {
    const auto processor =
        CreateRawProcessor(callback::UseCIECAM02(reader.m_session), finish.cameraColor);
    const CRawPass pass{.neutral = finish.neutral,
                        .analogBalance = finish.analogBalance,
                        .black = finish.black,
                        .white = finish.white,
                        .temperature = finish.temperature,
                        .reader = &reader,
                        .passIndex = image.passIndex + 1,
                        .passCount = image.passCount,
                        .rowScale = image.rowScale,
                        .marginX = finish.crop.x,
                        .marginY = finish.crop.y};
    histograms = {};
    reader.m_colorTemperature = image.samples.colors == 4
                                    ? processor->Process4(pass, image.samples, histograms)
                                    : processor->Process3(pass, image.samples, histograms);
}

bool TakeRawPicture(CImageReader& reader, const CRawFinish& finish, CRawSamples& samples,
                    const CRawHistograms& histograms) {
    if (!samples.Crop(finish.crop)) return false;
    SetRawPicture(reader, std::move(samples.samples), samples.width, samples.height, kPixelSamples,
                  finish.outputWidth, finish.outputHeight);
    if (std::ranges::any_of(histograms[0], [](uint32_t bin) { return bin != 0; })) {
        const CBitmapInfo& info = reader.m_bitmapInfo;
        const auto pixels =
            static_cast<uint64_t>(info.Width()) * static_cast<uint32_t>(info.Height());
        const auto levels = LevelsFromHistograms(histograms, pixels, finish.lowClipPerMille,
                                                 finish.highClipPerMille);
        reader.m_levelsBlack = levels.black;
        reader.m_levelsWhite = levels.white;
    }
    return true;
}

void SetRawPicture(CImageReader& reader, CPixelWords&& samples, uint32_t width, uint32_t height,
                   int channels, uint32_t outputWidth, uint32_t outputHeight) {
    const bool resample =
        outputWidth != 0 && outputHeight != 0 && (outputWidth != width || outputHeight != height);
    if (resample) {
        const auto bytes =
            ImageBytes(outputWidth, outputHeight, 2 * static_cast<uint32_t>(channels));
        if (!bytes) throw std::bad_alloc();
        CPixelWords resampled;
        resampled.ResizeUninitialized(*bytes / 2);
        ResampleFiltered(ViewOf(samples, width, height, channels),
                         ViewOf(resampled, outputWidth, outputHeight, channels), kWindowedSinc);
        reader.m_bits16 = std::move(resampled);
        width = outputWidth;
        height = outputHeight;
    } else {
        reader.m_bits16 = std::move(samples);
    }
    // What the picture has is what is delivered, also where a header has said something else.
    reader.m_bitmapInfo.SetFormat(8 * channels, static_cast<int32_t>(width),
                                  static_cast<int32_t>(height));
}

bool ReadHighBytes(const CImageReader& reader, uint32_t row, uint8_t* destination) {
    const CBitmapInfo& info = reader.m_bitmapInfo;
    const size_t rowSamples =
        static_cast<size_t>(info.Width()) * static_cast<size_t>(info.BitCount() / 8);
    if (rowSamples == 0 || row >= reader.m_bits16.size() / rowSamples) return false;
    const uint16_t* samples = reader.m_bits16.data() + row * rowSamples;
    for (size_t i = 0; i < rowSamples; ++i) destination[i] = static_cast<uint8_t>(samples[i] >> 8);
    return true;
}

}  // namespace kestr
