// Changes of size beside libvips on one thread and a memcpy of the source.

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

struct CTask {
    int32_t fromWidth, fromHeight, toWidth, toHeight;
};
constexpr CTask kTasks[] = {{6000, 4000, 1225, 817}, {1225, 817, 2450, 1634}};

/// A loaded colour picture of 8 bits a sample or, `deep`, with a 16-bit store.
std::unique_ptr<CImageBits> Picture(const CTask& task, bool deep) {
    const auto width = static_cast<uint32_t>(task.fromWidth);
    const auto height = static_cast<uint32_t>(task.fromHeight);
    const std::vector<uint8_t> samples = NoisyPicture(width, height, 3);
    auto image = std::make_unique<CImageBits>();
    if (!deep) {
        image->LoadBits(samples, {}, width, height, false, nullptr);
        return image;
    }
    std::vector<uint16_t> words(samples.size());
    for (size_t i = 0; i < words.size(); ++i) {
        words[i] = static_cast<uint16_t>(samples[i] << 8 | samples[words.size() - 1 - i]);
    }
    image->LoadBits({}, words, width, height, false, nullptr);
    return image;
}

void Report(benchmark::State& state, const CTask& task, bool deep) {
    const auto runs = static_cast<int64_t>(state.iterations());
    const int64_t pixels = int64_t{task.fromWidth} * task.fromHeight;
    state.SetItemsProcessed(runs * pixels);
    state.SetBytesProcessed(runs * pixels * (deep ? 6 : 3));
}

/// Arguments: the task, whether 16 bits, the method (3 to 7), 0 for interpolation or blocks.
void Resize(benchmark::State& state) {
    const CTask& task = kTasks[state.range(0)];
    const bool deep = state.range(1) != 0;
    const auto method = static_cast<uint8_t>(state.range(2));
    const auto source = Picture(task, deep);
    for (auto _ : state) {
        state.PauseTiming();
        const auto image = source->Copy(false);
        state.ResumeTiming();
        const bool done =
            method == 0 ? image->OpResize(task.toWidth, task.toHeight, false, true, 3, 0)
                        : image->OpResizeExL(task.toWidth, static_cast<uint32_t>(task.toHeight),
                                             method, false, 0);
        if (!done) state.SkipWithError("refused");
        benchmark::DoNotOptimize(image->bits.data());
    }
    Report(state, task, deep);
}
BENCHMARK(Resize)
    ->ArgNames({"task", "deep", "method"})
    ->ArgsProduct({{0, 1}, {0, 1}, {0, 3, 6}})
    ->Unit(benchmark::kMillisecond);

void CopySource(benchmark::State& state) {
    const CTask& task = kTasks[0];
    const auto source = Picture(task, false);
    CPixelBytes copy = source->bits;
    for (auto _ : state) {
        std::memcpy(copy.data(), source->bits.data(), copy.size());
        benchmark::ClobberMemory();
    }
    Report(state, task, false);
}
BENCHMARK(CopySource)->Unit(benchmark::kMillisecond);

#ifdef KESTR_BENCH_HAS_VIPS
void VipsResize(benchmark::State& state) {
    static const bool started = VIPS_INIT("kestr_bench") == 0;
    const CTask& task = kTasks[state.range(0)];
    const bool deep = state.range(1) != 0;
    const auto source = Picture(task, deep);
    vips_concurrency_set(1);
    vips_cache_set_max(0);
    std::vector<uint8_t> samples;
    const size_t rowBytes = static_cast<size_t>(task.fromWidth) * 3;
    for (int32_t y = 0; y < task.fromHeight && !deep; ++y) {
        samples.insert(samples.end(), source->RowFromTop(y), source->RowFromTop(y) + rowBytes);
    }
    const void* const data =
        deep ? static_cast<const void*>(source->bits16.data()) : samples.data();
    const size_t bytes = rowBytes * static_cast<size_t>(task.fromHeight) * (deep ? 2 : 1);
    for (auto _ : state) {
        VipsImage* in = vips_image_new_from_memory(data, bytes, task.fromWidth, task.fromHeight, 3,
                                                   deep ? VIPS_FORMAT_USHORT : VIPS_FORMAT_UCHAR);
        VipsImage* out = nullptr;
        size_t size = 0;
        const auto kernel = state.range(2) == 6 ? VIPS_KERNEL_LANCZOS3 : VIPS_KERNEL_LINEAR;
        const double scale = static_cast<double>(task.toWidth) / task.fromWidth;
        if (!started || vips_resize(in, &out, scale, "kernel", kernel, nullptr) != 0) {
            state.SkipWithError("vips");
            break;
        }
        void* made = vips_image_write_to_memory(out, &size);
        benchmark::DoNotOptimize(made);
        g_free(made);
        g_object_unref(out);
        g_object_unref(in);
    }
    Report(state, task, deep);
}
BENCHMARK(VipsResize)
    ->ArgNames({"task", "deep", "method"})
    ->ArgsProduct({{0, 1}, {0, 1}, {3, 6}})
    ->Unit(benchmark::kMillisecond);
#endif

}  // namespace
}  // namespace kestr::bench
