// Mirror, turns and rotation beside libvips on one thread and a memcpy of the picture.

#include <cstring>
#include <memory>

#include <benchmark/benchmark.h>

#include "image/image_bits.h"
#include "support/bench_files.h"
#ifdef KESTR_BENCH_HAS_VIPS
#include <vips/vips.h>
#endif

namespace kestr::bench {
namespace {

/// 24 Mpixel at 8 bits a sample, 12 Mpixel at 16: the masters have the same bytes.
std::unique_ptr<CImageBits> Picture(bool deep) {
    const uint32_t width = deep ? 4000 : 6000;
    const uint32_t height = deep ? 3000 : 4000;
    const std::vector<uint8_t> samples = NoisyPicture(width, height, 3);
    auto image = std::make_unique<CImageBits>();
    if (deep) {
        const std::vector<uint16_t> words(samples.begin(), samples.end());
        image->LoadBits({}, words, width, height, false, nullptr);
    } else {
        image->LoadBits(samples, {}, width, height, false, nullptr);
    }
    return image;
}

void Report(benchmark::State& state, const CImageBits& image) {
    const auto runs = static_cast<int64_t>(state.iterations());
    state.SetItemsProcessed(runs * image.Width() * image.Height());
    state.SetBytesProcessed(runs * image.Width() * image.Height() * (image.Has16Bit() ? 6 : 3));
}

void Mirror(benchmark::State& state) {
    const auto image = Picture(state.range(0) != 0);
    for (auto _ : state) image->OpMirror(0);
    Report(state, *image);
}
void Turn90(benchmark::State& state) {
    const auto image = Picture(state.range(0) != 0);
    for (auto _ : state) image->TurnQuarters(90);
    Report(state, *image);
}
void Turn180(benchmark::State& state) {
    const auto image = Picture(state.range(0) != 0);
    for (auto _ : state) image->TurnQuarters(180);
    Report(state, *image);
}
void Rotate7Point5(benchmark::State& state) {
    const auto source = Picture(state.range(0) != 0);
    for (auto _ : state) {
        state.PauseTiming();
        const auto image = source->Copy(false);
        state.ResumeTiming();
        image->OpRotateFine(7.5, 0xFFFFFF, 0);
    }
    Report(state, *source);
}
void CopyPicture(benchmark::State& state) {
    const auto image = Picture(false);
    CPixelBytes copy = image->bits;
    for (auto _ : state) {
        std::memcpy(copy.data(), image->bits.data(), copy.size());
        benchmark::ClobberMemory();
    }
    Report(state, *image);
}
BENCHMARK(Mirror)->ArgName("deep")->Arg(0)->Arg(1)->Unit(benchmark::kMillisecond);
BENCHMARK(Turn90)->ArgName("deep")->Arg(0)->Arg(1)->Unit(benchmark::kMillisecond);
BENCHMARK(Turn180)->ArgName("deep")->Arg(0)->Arg(1)->Unit(benchmark::kMillisecond);
BENCHMARK(Rotate7Point5)->ArgName("deep")->Arg(0)->Arg(1)->Unit(benchmark::kMillisecond);
BENCHMARK(CopyPicture)->Unit(benchmark::kMillisecond);

#ifdef KESTR_BENCH_HAS_VIPS
void VipsTurn90(benchmark::State& state) {
    static const bool started = VIPS_INIT("kestr_bench") == 0;
    vips_concurrency_set(1);
    vips_cache_set_max(0);
    const std::vector<uint8_t> samples = NoisyPicture(6000, 4000, 3);
    for (auto _ : state) {
        VipsImage* in = vips_image_new_from_memory(samples.data(), samples.size(), 6000, 4000, 3,
                                                   VIPS_FORMAT_UCHAR);
        VipsImage* out = nullptr;
        size_t size = 0;
        if (!started || vips_rot(in, &out, VIPS_ANGLE_D90, nullptr) != 0) {
            state.SkipWithError("vips");
            break;
        }
        void* made = vips_image_write_to_memory(out, &size);
        benchmark::DoNotOptimize(made);
        g_free(made);
        g_object_unref(out);
        g_object_unref(in);
    }
    state.SetItemsProcessed(static_cast<int64_t>(state.iterations()) * 24000000);
}
BENCHMARK(VipsTurn90)->Unit(benchmark::kMillisecond);
#endif

}  // namespace
}  // namespace kestr::bench
