// Neighbourhood filters beside a plain form of the same, a copy of the picture and other libraries.

#include <algorithm>
#include <cstring>
#include <utility>
#include <vector>

#include <benchmark/benchmark.h>

#ifdef KESTR_BENCH_HAS_OPENCV
#include <opencv2/imgproc.hpp>
#endif

#include "base/luminance.h"
#include "image/image_bits.h"
#include "support/bench_files.h"

namespace kestr::bench {
namespace {

struct CTask {
    uint32_t width, height;
    bool deep;  // 16 bits a sample

    [[nodiscard]] int64_t Pixels() const { return int64_t{width} * height; }
};
constexpr CTask kLarge8{6000, 4000, false};
constexpr CTask kLarge16{4000, 3000, true};
constexpr CTask kSmall8{1632, 1224, false};
constexpr CTask kSmall16{1632, 1224, true};

void LoadPicture(CImageBits& image, const CTask& task) {
    const std::vector<uint8_t> samples = NoisyPicture(task.width, task.height, 3);
    std::vector<uint16_t> words;
    if (task.deep) {
        words.resize(samples.size());
        for (size_t i = 0; i < words.size(); ++i) {
            words[i] = static_cast<uint16_t>(samples[i] << 8 | (i * 2654435761u >> 24 & 255));
        }
    }
    image.LoadBits(samples, words, task.width, task.height, false, nullptr);
}

template <typename Operation>
void Measure(benchmark::State& state, const CTask& task, Operation operation) {
    CImageBits image;
    LoadPicture(image, task);
    for (auto _ : state) {
        operation(image);
        benchmark::ClobberMemory();
    }
    state.SetItemsProcessed(static_cast<int64_t>(state.iterations()) * task.Pixels());
}

void Sharpen(benchmark::State& state, const CTask& task) {
    Measure(state, task, [](CImageBits& image) { image.OpSharpen(50, 0); });
}
BENCHMARK_CAPTURE(Sharpen, 8, kLarge8)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(Sharpen, 16, kLarge16)->Unit(benchmark::kMillisecond);

void Soften(benchmark::State& state, const CTask& task) {
    Measure(state, task, [](CImageBits& image) { image.OpSoften(50, 0); });
}
BENCHMARK_CAPTURE(Soften, 8, kLarge8)->Unit(benchmark::kMillisecond);

void Convolve5(benchmark::State& state, const CTask& task) {
    std::vector<int16_t> matrix(25, 3);
    matrix[12] = 40;
    Measure(state, task,
            [&](CImageBits& image) { image.OpConvolveEx(5, 5, matrix.data(), 0, 0, 0, 0); });
}
BENCHMARK_CAPTURE(Convolve5, 8, kLarge8)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(Convolve5, 16, kLarge16)->Unit(benchmark::kMillisecond);

void Median3(benchmark::State& state, const CTask& task) {
    Measure(state, task, [](CImageBits& image) { image.OpMedianFilter(3, 0); });
}
BENCHMARK_CAPTURE(Median3, 8, kSmall8)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(Median3, 16, kSmall16)->Unit(benchmark::kMillisecond);

void Median12(benchmark::State& state, const CTask& task) {
    Measure(state, task, [](CImageBits& image) { image.OpMedianFilter(12, 0); });
}
BENCHMARK_CAPTURE(Median12, 8, kSmall8)->Unit(benchmark::kMillisecond);

void ReduceNoise3(benchmark::State& state, const CTask& task) {
    Measure(state, task, [](CImageBits& image) { image.OpReduceNoise(3, 0); });
}
BENCHMARK_CAPTURE(ReduceNoise3, 8, kSmall8)->Unit(benchmark::kMillisecond);

void OilPaint3(benchmark::State& state, const CTask& task) {
    Measure(state, task, [](CImageBits& image) { image.OilPaint24(3, 0); });
}
BENCHMARK_CAPTURE(OilPaint3, 8, kSmall8)->Unit(benchmark::kMillisecond);

void Neon(benchmark::State& state, const CTask& task) {
    Measure(state, task, [](CImageBits& image) { image.OpNeon(0); });
}
BENCHMARK_CAPTURE(Neon, 8, kLarge8)->Unit(benchmark::kMillisecond);

/// The median by a plain sort of each window, inner pixels only.
void Median3BySort(benchmark::State& state) {
    constexpr CTask kTask{408, 306, false};
    const std::vector<uint8_t> samples = NoisyPicture(kTask.width, kTask.height, 3);
    std::vector<uint8_t> result(samples.size());
    std::vector<std::pair<uint32_t, const uint8_t*>> window;
    for (auto _ : state) {
        for (size_t y = 3; y + 3 < kTask.height; ++y) {
            for (size_t x = 3; x + 3 < kTask.width; ++x) {
                window.clear();
                for (size_t wx = x - 3; wx <= x + 3; ++wx) {
                    for (size_t wy = y - 3; wy <= y + 3; ++wy) {
                        const uint8_t* pixel = &samples[3 * (wy * kTask.width + wx)];
                        window.emplace_back(LuminanceSum(pixel[2], pixel[1], pixel[0]), pixel);
                    }
                }
                std::ranges::stable_sort(window, {}, [](const auto& c) { return c.first; });
                std::copy_n(window[window.size() / 2].second, 3,
                            &result[3 * (y * kTask.width + x)]);
            }
        }
        benchmark::ClobberMemory();
    }
    state.SetItemsProcessed(static_cast<int64_t>(state.iterations()) * kTask.Pixels());
}
BENCHMARK(Median3BySort)->Unit(benchmark::kMillisecond);

void CopyOfPicture(benchmark::State& state) {
    CPixelBytes source, destination;
    source.ResizeZeroed(static_cast<size_t>(kLarge8.Pixels()) * 3);
    destination.ResizeZeroed(source.size());
    for (auto _ : state) {
        std::memcpy(destination.data(), source.data(), source.size());
        benchmark::ClobberMemory();
    }
    state.SetItemsProcessed(static_cast<int64_t>(state.iterations()) * kLarge8.Pixels());
}
BENCHMARK(CopyOfPicture)->Unit(benchmark::kMillisecond);

#ifdef KESTR_BENCH_HAS_OPENCV
cv::Mat PictureOf(const CTask& task) {
    std::vector<uint8_t> samples = NoisyPicture(task.width, task.height, 3);
    cv::Mat picture = cv::Mat(static_cast<int>(task.height), static_cast<int>(task.width), CV_8UC3,
                              samples.data())
                          .clone();
    if (task.deep) picture.convertTo(picture, CV_16UC3, 257);
    return picture;
}

void OpenCvSharpen(benchmark::State& state, const CTask& task) {
    cv::setNumThreads(1);
    const cv::Mat picture = PictureOf(task);
    const cv::Mat kernel = (cv::Mat_<float>(3, 3) << -1, -2, -1, -2, 38, -2, -1, -2, -1) / 26.0f;
    cv::Mat result;
    for (auto _ : state) cv::filter2D(picture, result, -1, kernel);
    state.SetItemsProcessed(static_cast<int64_t>(state.iterations()) * task.Pixels());
}
BENCHMARK_CAPTURE(OpenCvSharpen, 8, kLarge8)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(OpenCvSharpen, 16, kLarge16)->Unit(benchmark::kMillisecond);

void OpenCvMedian3(benchmark::State& state, const CTask& task) {
    cv::setNumThreads(1);
    const cv::Mat picture = PictureOf(task);
    cv::Mat result;
    for (auto _ : state) cv::medianBlur(picture, result, 7);
    state.SetItemsProcessed(static_cast<int64_t>(state.iterations()) * task.Pixels());
}
BENCHMARK_CAPTURE(OpenCvMedian3, 8, kSmall8)->Unit(benchmark::kMillisecond);
#endif

}  // namespace
}  // namespace kestr::bench
