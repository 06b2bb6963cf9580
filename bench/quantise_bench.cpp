// A picture of 12 Mpixel to 256 colours, beside the same by another library.

#include <vector>

#include <benchmark/benchmark.h>

#ifdef KESTR_BENCH_HAS_MAGICKWAND
#include <wand/MagickWand.h>
#endif

#include "image/image_bits.h"
#include "support/bench_files.h"

namespace kestr::bench {
namespace {

constexpr uint32_t kWidth = 4000;
constexpr uint32_t kHeight = 3000;

void Count(benchmark::State& state) {
    state.SetItemsProcessed(static_cast<int64_t>(state.iterations()) * kWidth * kHeight);
}

void Quantise256(benchmark::State& state) {
    const std::vector<uint8_t> samples = NoisyPicture(kWidth, kHeight, 3);
    const bool dither = state.range(0) != 0;
    for (auto _ : state) {
        state.PauseTiming();
        CImageBits image;
        image.LoadBits(samples, {}, kWidth, kHeight, false, nullptr);
        state.ResumeTiming();
        image.OpReduceColors(256, 8, dither, 0);
        benchmark::DoNotOptimize(image.bits.data());
    }
    Count(state);
}
BENCHMARK(Quantise256)->ArgName("dither")->Arg(0)->Arg(1)->Unit(benchmark::kMillisecond);

void Halftone(benchmark::State& state) {
    const std::vector<uint8_t> samples = NoisyPicture(kWidth, kHeight, 3);
    for (auto _ : state) {
        state.PauseTiming();
        CImageBits image;
        image.LoadBits(samples, {}, kWidth, kHeight, false, nullptr);
        state.ResumeTiming();
        image.OpReduceColors(2, 1, false, 0);
        benchmark::DoNotOptimize(image.bits.data());
    }
    Count(state);
}
BENCHMARK(Halftone)->Unit(benchmark::kMillisecond);

#ifdef KESTR_BENCH_HAS_MAGICKWAND
void MagickQuantise256(benchmark::State& state) {
    const std::vector<uint8_t> samples = NoisyPicture(kWidth, kHeight, 3);
    MagickWandGenesis();
    SetMagickResourceLimit(ThreadResource, 1);
    for (auto _ : state) {
        state.PauseTiming();
        MagickWand* wand = NewMagickWand();
        MagickConstituteImage(wand, kWidth, kHeight, "BGR", CharPixel, samples.data());
        state.ResumeTiming();
        MagickQuantizeImage(wand, 256, RGBColorspace, 0,
                            state.range(0) != 0 ? MagickTrue : MagickFalse, MagickFalse);
        state.PauseTiming();
        DestroyMagickWand(wand);
        state.ResumeTiming();
    }
    Count(state);
    MagickWandTerminus();
}
BENCHMARK(MagickQuantise256)->ArgName("dither")->Arg(0)->Arg(1)->Unit(benchmark::kMillisecond);
#endif

}  // namespace
}  // namespace kestr::bench
