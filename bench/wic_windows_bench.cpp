// A PNG of 24 Mpixel by way of the Windows Imaging Component, beside the shortest loop over the
// same codec and our own reader.

#include <windows.h>
#include <algorithm>
#include <vector>
#include <wincodec.h>

#include <benchmark/benchmark.h>

#include "image/image_bits.h"
#include "platform/com_windows.h"
#include "platform/files.h"
#include "support/bench_files.h"

namespace kestr::bench {
namespace {

constexpr uint32_t kWidth = 6000;
constexpr uint32_t kHeight = 4000;
constexpr int kLoads = 4;  // the first of a process waits for the system's library
constexpr int kTypePNG = 11;
constexpr int kTypeWIC = 76;

void Report(benchmark::State& state) {
    state.SetItemsProcessed(static_cast<int64_t>(state.iterations()) * kWidth * kHeight);
}

const std::wstring& File() {
    static const std::wstring path = [] {
        const std::wstring made = ScratchPath("wic.png");
        NoisyImage(kWidth, kHeight).Save(made.c_str(), kTypePNG, 0, true, true, false, nullptr);
        return made;
    }();
    return path;
}

void Load(benchmark::State& state, int type) {
    File();
    for (auto _ : state) {
        CImageBits image;
        if (!image.Load(File().c_str(), type, true, 0, nullptr, 0)) state.SkipWithError("refused");
        benchmark::DoNotOptimize(image.bits.data());
    }
    Report(state);
}
BENCHMARK_CAPTURE(Load, wic, kTypeWIC)->Iterations(kLoads)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(Load, ours, kTypePNG)->Iterations(kLoads)->Unit(benchmark::kMillisecond);

/// What any caller of the component has to do for the pixels.
bool CopyByCodec(std::vector<uint8_t>& pixels) {
    const auto factory = TakeCom<IWICImagingFactory>([](IWICImagingFactory** out) {
        return CoCreateInstance(CLSID_WICImagingFactory, nullptr, CLSCTX_INPROC_SERVER,
                                __uuidof(IWICImagingFactory), reinterpret_cast<void**>(out));
    });
    if (!factory) return false;
    const auto decoder = TakeCom<IWICBitmapDecoder>([&](IWICBitmapDecoder** out) {
        return factory->CreateDecoderFromFilename(File().c_str(), nullptr, GENERIC_READ,
                                                  WICDecodeMetadataCacheOnDemand, out);
    });
    if (!decoder) return false;
    const auto frame = TakeCom<IWICBitmapFrameDecode>(
        [&](IWICBitmapFrameDecode** out) { return decoder->GetFrame(0, out); });
    return frame && SUCCEEDED(frame->CopyPixels(nullptr, kWidth * 3,
                                                static_cast<UINT>(pixels.size()), pixels.data()));
}

void BareCodec(benchmark::State& state) {
    File();
    const CComApartment apartment;
    for (auto _ : state) {
        std::vector<uint8_t> pixels(size_t{kWidth} * kHeight * 3);
        if (!CopyByCodec(pixels)) state.SkipWithError("refused");
        benchmark::DoNotOptimize(pixels.data());
    }
    Report(state);
}
BENCHMARK(BareCodec)->Iterations(kLoads)->Unit(benchmark::kMillisecond);

}  // namespace
}  // namespace kestr::bench
