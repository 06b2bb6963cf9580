// Colours of 12 Mpixel of demosaiced samples, in place: by the matrix, by the appearance route with
// its table calculated and with its table kept; beside them Little CMS' own evaluation of a table
// of that size, and a copy of the samples.

#include <cstring>
#include <vector>

#include <benchmark/benchmark.h>
#include <lcms2.h>

#include "raw/raw_processor.h"
#include "raw/raw_samples.h"
#include "support/bench_files.h"

namespace kestr::bench {
namespace {

constexpr uint32_t kWidth = 4000;
constexpr uint32_t kHeight = 3000;
constexpr uint16_t kWhite = 4080;

const CameraColorData kCamera{
    {0.9504, -0.4310, 0.0220, -0.6712, 1.4078, 0.2902, -0.0318, 0.0420, 0.7267},
    2850,
    {0.7732, -0.2422, -0.0789, -0.8238, 1.5884, 0.2498, -0.0859, 0.0783, 0.7330},
    6500,
    {},
    {}};

/// 12 bits a sample, as daylight falls on such a sensor.
const CRawSamples& Sensor() {
    static const CRawSamples sensor = [] {
        constexpr double kNeutral[] = {0.48, 1.0, 0.72};
        const auto picture = NoisyPicture(kWidth, kHeight, 3);
        CRawSamples samples(kWidth, kHeight, 3);
        for (size_t i = 0; i < picture.size(); ++i) {
            samples.samples[i] = static_cast<uint16_t>(picture[i] * kNeutral[i % 3] * 16);
        }
        return samples;
    }();
    return sensor;
}

enum class CRoute { kMatrix, kCIECAM02First, kCIECAM02Kept };

void RawColor(benchmark::State& state, CRoute route) {
    CRawSamples samples = Sensor();
    const auto processor = CreateRawProcessor(route != CRoute::kMatrix, kCamera);
    double green = 1;
    for (auto _ : state) {
        state.PauseTiming();
        std::memcpy(samples.samples.data(), Sensor().samples.data(), samples.samples.size() * 2);
        if (route == CRoute::kCIECAM02First) green = 1.999 - green;  // another table each time
        const std::vector<double> neutral{0.48, green, 0.72};
        CRawPass pass;
        pass.neutral = neutral;
        pass.white = kWhite;
        CRawHistograms histograms{};
        state.ResumeTiming();
        benchmark::DoNotOptimize(processor->Process3(pass, samples, histograms));
    }
    state.SetItemsProcessed(state.iterations() * kWidth * kHeight);
}

void BareTable(benchmark::State& state) {
    cmsPipeline* pipeline = cmsPipelineAlloc(nullptr, 3, 3);
    const std::vector<cmsUInt16Number> table(65 * 65 * 65 * 3, 1000);
    cmsPipelineInsertStage(pipeline, cmsAT_END,
                           cmsStageAllocCLut16bit(nullptr, 65, 3, 3, table.data()));
    CRawSamples samples = Sensor();
    for (auto _ : state) {
        uint16_t out[3];
        for (uint32_t y = 0; y < kHeight; ++y) {
            for (uint32_t x = 0; x < kWidth; ++x) {
                cmsPipelineEval16(samples.Pixel(y, x), out, pipeline);
                benchmark::DoNotOptimize(out);
            }
        }
    }
    cmsPipelineFree(pipeline);
    state.SetItemsProcessed(state.iterations() * kWidth * kHeight);
}

void CopySamples(benchmark::State& state) {
    CRawSamples samples = Sensor();
    for (auto _ : state) {
        std::memcpy(samples.samples.data(), Sensor().samples.data(), samples.samples.size() * 2);
        benchmark::ClobberMemory();
    }
    state.SetItemsProcessed(state.iterations() * kWidth * kHeight);
}

BENCHMARK_CAPTURE(RawColor, matrix, CRoute::kMatrix)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(RawColor, ciecam02_first, CRoute::kCIECAM02First)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(RawColor, ciecam02_kept, CRoute::kCIECAM02Kept)->Unit(benchmark::kMillisecond);
BENCHMARK(BareTable)->Unit(benchmark::kMillisecond);
BENCHMARK(CopySamples)->Name("RawColor/memcpy")->Unit(benchmark::kMillisecond);

}  // namespace
}  // namespace kestr::bench
