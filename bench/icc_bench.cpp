// Conversions from Adobe RGB to sRGB beside bare calls of Little CMS, a row each: 24 Mpixel at 8
// bits, 12 Mpixel at 16 bits.

#include <vector>

#include <benchmark/benchmark.h>
#include <lcms2.h>

#include "color/icc_profile.h"
#include "image/image_bits.h"
#include "support/bench_files.h"

namespace kestr::bench {
namespace {

constexpr uint32_t kWidth = 6000;

std::vector<uint8_t> SRGBProfile() {
    const cmsHPROFILE profile = cmsCreate_sRGBProfile();
    cmsUInt32Number size = 0;
    cmsSaveProfileToMem(profile, nullptr, &size);
    std::vector<uint8_t> bytes(size);
    cmsSaveProfileToMem(profile, bytes.data(), &size);
    cmsCloseProfile(profile);
    return bytes;
}

void MakePicture(CImageBits& image, bool deep) {
    const uint32_t height = deep ? 2000 : 4000;
    const auto samples = NoisyPicture(kWidth, height, 3);
    std::vector<uint16_t> words;
    if (deep) {
        words.assign(samples.begin(), samples.end());
        for (uint16_t& word : words) word = static_cast<uint16_t>(word * 257);
    }
    image.LoadBits(deep ? std::span<const uint8_t>() : samples, words, kWidth, height, false,
                   nullptr);
}

void Convert(benchmark::State& state, bool deep) {
    CImageBits image;
    MakePicture(image, deep);
    const auto adobe = AdobeRGBProfile();
    const auto output = SRGBProfile();
    for (auto _ : state) {
        image.LoadICCProfile(adobe);
        if (!image.ApplyICCProfile(output, 0, 0, nullptr)) state.SkipWithError("refused");
    }
    state.SetItemsProcessed(static_cast<int64_t>(state.iterations()) * kWidth * image.Height());
}

void BareConvert(benchmark::State& state, bool deep) {
    CImageBits image;
    MakePicture(image, deep);
    const auto adobe = AdobeRGBProfile();
    const auto output = SRGBProfile();
    const cmsUInt32Number format = deep ? TYPE_BGR_16 : TYPE_BGR_8;
    for (auto _ : state) {
        const cmsHPROFILE from =
            cmsOpenProfileFromMem(adobe.data(), static_cast<cmsUInt32Number>(adobe.size()));
        const cmsHPROFILE to =
            cmsOpenProfileFromMem(output.data(), static_cast<cmsUInt32Number>(output.size()));
        const cmsHTRANSFORM transform =
            cmsCreateTransform(from, format, to, format, 0, cmsFLAGS_HIGHRESPRECALC);
        for (int32_t y = 0; y < image.Height(); ++y) {
            void* const row = deep
                                  ? static_cast<void*>(image.bits16.data() + size_t{kWidth} * 3 * y)
                                  : image.RowFromTop(y);
            cmsDoTransform(transform, row, row, kWidth);
        }
        cmsDeleteTransform(transform);
        cmsCloseProfile(from);
        cmsCloseProfile(to);
    }
    state.SetItemsProcessed(static_cast<int64_t>(state.iterations()) * kWidth * image.Height());
}

BENCHMARK_CAPTURE(Convert, icc_8, false)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(BareConvert, icc_8, false)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(Convert, icc_16, true)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(BareConvert, icc_16, true)->Unit(benchmark::kMillisecond);

}  // namespace
}  // namespace kestr::bench
