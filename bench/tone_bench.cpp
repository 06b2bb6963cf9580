// Tone operations, selection and histogram beside a copy of the stores that they change and the
// same operations of another library.

#include <cstring>
#include <vector>

#include <benchmark/benchmark.h>

#ifdef KESTR_BENCH_HAS_MAGICKWAND
#include <wand/MagickWand.h>
#endif

#include "image/image_bits.h"
#include "ops/histogram.h"
#include "support/bench_files.h"

namespace kestr::bench {
namespace {

struct CTask {
    uint32_t width, height;
    bool deep;  // 16 bits a sample

    [[nodiscard]] int64_t Pixels() const { return int64_t{width} * height; }
};
constexpr CTask k8{6000, 4000, false};
constexpr CTask k16{4000, 3000, true};

std::vector<uint16_t> DeepSamples(const std::vector<uint8_t>& samples) {
    std::vector<uint16_t> words(samples.size());
    for (size_t i = 0; i < words.size(); ++i) {
        words[i] = static_cast<uint16_t>(samples[i] << 8 | (i * 2654435761u >> 24 & 255));
    }
    return words;
}

void LoadPicture(CImageBits& image, const CTask& task) {
    const std::vector<uint8_t> samples = NoisyPicture(task.width, task.height, 3);
    const std::vector<uint16_t> words = task.deep ? DeepSamples(samples) : std::vector<uint16_t>();
    image.LoadBits(samples, words, task.width, task.height, false, nullptr);
}

void Report(benchmark::State& state, const CTask& task) {
    state.SetItemsProcessed(static_cast<int64_t>(state.iterations()) * task.Pixels());
}

/// Runs an operation on the same picture again and again: it starts each time from the same pixels.
template <typename Operation>
void Measure(benchmark::State& state, const CTask& task, Operation operation) {
    CImageBits image;
    LoadPicture(image, task);
    const CPixelBytes bits = image.bits;
    const CPixelWords bits16 = image.bits16;
    const CBitmapInfo info = image.bitmapInfo;
    for (auto _ : state) {
        operation(image);
        benchmark::ClobberMemory();
        state.PauseTiming();
        image.bits = bits;
        image.bits16 = bits16;
        image.bitmapInfo = info;
        state.ResumeTiming();
    }
    Report(state, task);
}

/// The floor: both stores are read and written once.
void CopyStores(benchmark::State& state, const CTask& task) {
    CImageBits image;
    LoadPicture(image, task);
    CPixelBytes bits = image.bits;
    CPixelWords bits16 = image.bits16;
    for (auto _ : state) {
        std::memcpy(bits.data(), image.bits.data(), bits.size());
        std::memcpy(bits16.data(), image.bits16.data(), bits16.size() * sizeof(uint16_t));
        benchmark::ClobberMemory();
    }
    Report(state, task);
}
BENCHMARK_CAPTURE(CopyStores, 8, k8)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(CopyStores, 16, k16)->Unit(benchmark::kMillisecond);

void Brightness(benchmark::State& state, const CTask& task) {
    Measure(state, task, [](CImageBits& image) { image.OpBrighter(20, 0); });
}
BENCHMARK_CAPTURE(Brightness, 8, k8)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(Brightness, 16, k16)->Unit(benchmark::kMillisecond);

void Contrast(benchmark::State& state, const CTask& task) {
    Measure(state, task, [](CImageBits& image) { image.OpContrast(20, 0); });
}
BENCHMARK_CAPTURE(Contrast, 8, k8)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(Contrast, 16, k16)->Unit(benchmark::kMillisecond);

void Gamma(benchmark::State& state, const CTask& task) {
    Measure(state, task, [](CImageBits& image) { image.OpGammaTable(1.5, 1.0, 0); });
}
BENCHMARK_CAPTURE(Gamma, 8, k8)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(Gamma, 16, k16)->Unit(benchmark::kMillisecond);

void Levels(benchmark::State& state, const CTask& task) {
    const uint32_t unit = task.deep ? 256 : 1;
    const std::array<uint32_t, 3> levels{10 * unit, 120 * unit, 240 * unit};
    Measure(state, task,
            [&](CImageBits& image) { image.OpAdjustLevels(levels, levels, levels, 0, 0); });
}
BENCHMARK_CAPTURE(Levels, 8, k8)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(Levels, 16, k16)->Unit(benchmark::kMillisecond);

/// Three channels with tables of their own.
void LevelsOfChannels(benchmark::State& state, const CTask& task) {
    const uint32_t unit = task.deep ? 256 : 1;
    const auto levels = [unit](uint32_t low) {
        return std::array<uint32_t, 3>{low * unit, 120 * unit, 240 * unit};
    };
    Measure(state, task, [&](CImageBits& image) {
        image.OpAdjustLevels(levels(5), levels(10), levels(15), 0, 0);
    });
}
BENCHMARK_CAPTURE(LevelsOfChannels, 8, k8)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(LevelsOfChannels, 16, k16)->Unit(benchmark::kMillisecond);

void HSV(benchmark::State& state, const CTask& task) {
    Measure(state, task, [](CImageBits& image) { image.OpHSVAdjust(10, 20, 5, 0); });
}
BENCHMARK_CAPTURE(HSV, 8, k8)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(HSV, 16, k16)->Unit(benchmark::kMillisecond);

void Negative(benchmark::State& state, const CTask& task) {
    Measure(state, task, [](CImageBits& image) { image.OpNegative(0); });
}
BENCHMARK_CAPTURE(Negative, 8, k8)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(Negative, 16, k16)->Unit(benchmark::kMillisecond);

void GrayScale(benchmark::State& state, const CTask& task) {
    Measure(state, task, [](CImageBits& image) { image.OpGrayScale(0); });
}
BENCHMARK_CAPTURE(GrayScale, 8, k8)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(GrayScale, 16, k16)->Unit(benchmark::kMillisecond);

void AutoLevels(benchmark::State& state, const CTask& task) {
    Measure(state, task, [](CImageBits& image) { image.OpAutoLevel(10, 0); });
}
BENCHMARK_CAPTURE(AutoLevels, 8, k8)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(AutoLevels, 16, k16)->Unit(benchmark::kMillisecond);

/// The whole picture as the rectangle, its edges feathered so far that most pixels are blended.
void FeatheredMerge(benchmark::State& state, const CTask& task) {
    CImageBits image;
    LoadPicture(image, task);
    image.SetOpRect(0, 0, image.Width() - 1, image.Height() - 1, 2000);
    CBitmapInfo info;
    CPixelBytes part = image.CopyOpRect8(info);
    CPixelWords part16 = task.deep ? image.CopyOpRect16() : CPixelWords();
    for (uint8_t& sample : part) sample = static_cast<uint8_t>(~sample);
    for (uint16_t& sample : part16) sample = static_cast<uint16_t>(~sample);
    for (auto _ : state) {
        task.deep ? image.MergeOpRect16(part16) : image.MergeOpRect8(part, info);
        benchmark::ClobberMemory();
    }
    Report(state, task);
}
BENCHMARK_CAPTURE(FeatheredMerge, 8, k8)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(FeatheredMerge, 16, k16)->Unit(benchmark::kMillisecond);

/// An operation in the same rectangle from end to end: copy, operation and merge.
void FeatheredNegative(benchmark::State& state, const CTask& task) {
    CImageBits image;
    LoadPicture(image, task);
    image.SetOpRect(0, 0, image.Width() - 1, image.Height() - 1, 2000);
    for (auto _ : state) {
        image.OpNegative(0);
        benchmark::ClobberMemory();
    }
    Report(state, task);
}
BENCHMARK_CAPTURE(FeatheredNegative, 8, k8)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(FeatheredNegative, 16, k16)->Unit(benchmark::kMillisecond);

void Histogram(benchmark::State& state, bool luminance) {
    CImageBits image;
    LoadPicture(image, k8);
    for (auto _ : state) benchmark::DoNotOptimize(CountLevels(image, luminance));
    Report(state, k8);
}
BENCHMARK_CAPTURE(Histogram, channels, false)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(Histogram, luminance, true)->Unit(benchmark::kMillisecond);

/// What reading the pixels of the histogram costs alone.
void ReadPixels(benchmark::State& state) {
    CImageBits image;
    LoadPicture(image, k8);
    for (auto _ : state) {
        uint64_t sum = 0;
        for (size_t i = 0; i + 8 <= image.bits.size(); i += 8) {
            uint64_t eight = 0;
            std::memcpy(&eight, image.bits.data() + i, 8);
            sum ^= eight;
        }
        benchmark::DoNotOptimize(sum);
    }
    Report(state, k8);
}
BENCHMARK(ReadPixels)->Unit(benchmark::kMillisecond);

/// 100 x 100 pixels of 100 Mpixel: what is selected decides, not the picture.
void SmallRectangle(benchmark::State& state) {
    CImageBits image;
    image.NewImage(12000, 8400, 0x336699);
    image.SetOpRect(5000, 4000, 5099, 4099, 10);
    for (auto _ : state) {
        image.OpBrighter(20, 0);
        benchmark::ClobberMemory();
    }
    state.SetItemsProcessed(static_cast<int64_t>(state.iterations()) * 100 * 100);
}
BENCHMARK(SmallRectangle)->Unit(benchmark::kMicrosecond);

#ifdef KESTR_BENCH_HAS_MAGICKWAND
/// The same task by ImageMagick with one thread, in its own store.
template <typename Operation>
void MeasureMagick(benchmark::State& state, const CTask& task, Operation operation) {
    const std::vector<uint8_t> samples = NoisyPicture(task.width, task.height, 3);
    MagickWandGenesis();
    SetMagickResourceLimit(ThreadResource, 1);
    MagickWand* picture = NewMagickWand();
    if (task.deep) {
        MagickConstituteImage(picture, task.width, task.height, "BGR", ShortPixel,
                              DeepSamples(samples).data());
    } else {
        MagickConstituteImage(picture, task.width, task.height, "BGR", CharPixel, samples.data());
    }
    for (auto _ : state) {
        state.PauseTiming();
        MagickWand* wand = CloneMagickWand(picture);
        // The clone shares its pixels until the first write, which is not the operation's to pay.
        unsigned char first[3] = {};
        MagickImportImagePixels(wand, 0, 0, 1, 1, "BGR", CharPixel, first);
        state.ResumeTiming();
        operation(wand);
        state.PauseTiming();
        DestroyMagickWand(wand);
        state.ResumeTiming();
    }
    Report(state, task);
    DestroyMagickWand(picture);
    MagickWandTerminus();
}

void MagickGamma(benchmark::State& state, const CTask& task) {
    MeasureMagick(state, task, [](MagickWand* wand) { MagickGammaImage(wand, 1.5); });
}
BENCHMARK_CAPTURE(MagickGamma, 8, k8)->Unit(benchmark::kMillisecond)->Iterations(3);
BENCHMARK_CAPTURE(MagickGamma, 16, k16)->Unit(benchmark::kMillisecond)->Iterations(3);

void MagickLevels(benchmark::State& state, const CTask& task) {
    MeasureMagick(state, task, [](MagickWand* wand) { MagickLevelImage(wand, 2570, 1.1, 61680); });
}
BENCHMARK_CAPTURE(MagickLevels, 8, k8)->Unit(benchmark::kMillisecond)->Iterations(3);
BENCHMARK_CAPTURE(MagickLevels, 16, k16)->Unit(benchmark::kMillisecond)->Iterations(3);

void MagickModulate(benchmark::State& state, const CTask& task) {
    MeasureMagick(state, task, [](MagickWand* wand) { MagickModulateImage(wand, 105, 120, 110); });
}
BENCHMARK_CAPTURE(MagickModulate, 8, k8)->Unit(benchmark::kMillisecond)->Iterations(3);
BENCHMARK_CAPTURE(MagickModulate, 16, k16)->Unit(benchmark::kMillisecond)->Iterations(3);

void MagickNegate(benchmark::State& state, const CTask& task) {
    MeasureMagick(state, task, [](MagickWand* wand) { MagickNegateImage(wand, MagickFalse); });
}
BENCHMARK_CAPTURE(MagickNegate, 8, k8)->Unit(benchmark::kMillisecond)->Iterations(3);
BENCHMARK_CAPTURE(MagickNegate, 16, k16)->Unit(benchmark::kMillisecond)->Iterations(3);

void MagickBrightness(benchmark::State& state, const CTask& task) {
    MeasureMagick(state, task, [](MagickWand* wand) {
        MagickEvaluateImage(wand, MultiplyEvaluateOperator, 1.2);
    });
}
BENCHMARK_CAPTURE(MagickBrightness, 8, k8)->Unit(benchmark::kMillisecond)->Iterations(3);
BENCHMARK_CAPTURE(MagickBrightness, 16, k16)->Unit(benchmark::kMillisecond)->Iterations(3);
#endif

}  // namespace
}  // namespace kestr::bench
