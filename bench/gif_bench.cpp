// A large animation, and its frames packed, beside giflib doing the same with the same pixels.

#include <cstdio>
#include <vector>

#include <benchmark/benchmark.h>

#include "image/image_bits.h"
#include "platform/files.h"
#include "support/bench_files.h"

#ifdef KESTR_BENCH_HAS_GIF
#include <gif_lib.h>

namespace kestr::bench {
namespace {

constexpr int kWidth = 1280;
constexpr int kHeight = 720;
constexpr int kFrames = 48;
constexpr int kColours = 256;
constexpr int kTypeGIF = 66;
constexpr int kSide = 4000;  // of the still picture

/// Smooth stripes with some noise, that wander from frame to frame.
std::vector<uint8_t> Frame(int width, int height, int number) {
    std::vector<uint8_t> pixels(static_cast<size_t>(width) * static_cast<size_t>(height));
    uint32_t random = static_cast<uint32_t>(number) + 1;
    for (int y = 0; y < height; ++y) {
        for (int x = 0; x < width; ++x) {
            random = random * 1664525 + 1013904223;
            const int level = (x + 8 * number) / 12 + y / 9 + (random >> 29 == 0 ? 1 : 0);
            pixels[static_cast<size_t>(y) * static_cast<size_t>(width) + static_cast<size_t>(x)] =
                static_cast<uint8_t>(level);
        }
    }
    return pixels;
}

std::string Narrow(const std::basic_string<KESTR_CHAR>& path) {
    return {path.begin(), path.end()};
}

ColorMapObject* GrayMap() {
    ColorMapObject* map = GifMakeMapObject(kColours, nullptr);
    for (int i = 0; i < kColours; ++i) {
        const auto level = static_cast<GifByteType>(i);
        map->Colors[i] = {level, level, level};
    }
    return map;
}

void WriteWithGiflib(const std::string& path, int width, int height, int frames) {
    int error = 0;
    GifFileType* gif = EGifOpenFileName(path.c_str(), false, &error);
    EGifSetGifVersion(gif, true);
    ColorMapObject* map = GrayMap();
    EGifPutScreenDesc(gif, width, height, 8, 0, map);
    for (int i = 0; i < frames; ++i) {
        std::vector<uint8_t> pixels = Frame(width, height, i);
        EGifPutImageDesc(gif, 0, 0, width, height, false, nullptr);
        for (int y = 0; y < height; ++y) {
            EGifPutLine(gif, pixels.data() + static_cast<size_t>(y) * static_cast<size_t>(width),
                        width);
        }
    }
    EGifCloseFile(gif, &error);
    GifFreeMapObject(map);
}

std::basic_string<KESTR_CHAR> Animation() {
    static const auto path = [] {
        const auto made = ScratchPath("animation.gif");
        WriteWithGiflib(Narrow(made), kWidth, kHeight, kFrames);
        return made;
    }();
    return path;
}

void PlayAnimation(benchmark::State& state) {
    const auto path = Animation();
    for (auto _ : state) {
        CImageBits image;
        if (!image.Load(path.c_str(), 0, true, 0, nullptr, 0)) state.SkipWithError("refused");
        std::array<int32_t, 4> changed{};
        int frames = 1;
        while (frames < kFrames && image.LoadNextPage(changed, 0)) ++frames;
        if (frames != kFrames) state.SkipWithError("frames are missing");
        benchmark::DoNotOptimize(image.bits.data());
    }
    state.SetItemsProcessed(static_cast<int64_t>(state.iterations()) * kFrames * kWidth * kHeight);
}

void DecodeWithGiflib(benchmark::State& state) {
    const std::string path = Narrow(Animation());
    for (auto _ : state) {
        int error = 0;
        GifFileType* gif = DGifOpenFileName(path.c_str(), &error);
        if (DGifSlurp(gif) != GIF_OK || gif->ImageCount != kFrames) state.SkipWithError("refused");
        benchmark::DoNotOptimize(gif->SavedImages[kFrames - 1].RasterBits);
        DGifCloseFile(gif, &error);
    }
    state.SetItemsProcessed(static_cast<int64_t>(state.iterations()) * kFrames * kWidth * kHeight);
}

void SaveStill(benchmark::State& state) {
    const auto path = ScratchPath("still.gif");
    WriteWithGiflib(Narrow(path), kSide, kSide, 1);
    CImageBits image;
    if (!image.Load(path.c_str(), 0, true, 0, nullptr, 0)) state.SkipWithError("refused");
    for (auto _ : state) {
        if (!image.Save(path.c_str(), kTypeGIF, 0, true, true, false, nullptr)) {
            state.SkipWithError("refused");
        }
    }
    RemoveFile(path.c_str());
    state.SetItemsProcessed(static_cast<int64_t>(state.iterations()) * kSide * kSide);
}

void EncodeWithGiflib(benchmark::State& state) {
    const auto path = ScratchPath("still.gif");
    const std::string name = Narrow(path);
    std::vector<uint8_t> pixels = Frame(kSide, kSide, 0);
    for (auto _ : state) {
        int error = 0;
        GifFileType* gif = EGifOpenFileName(name.c_str(), false, &error);
        ColorMapObject* map = GrayMap();
        EGifPutScreenDesc(gif, kSide, kSide, 8, 0, map);
        EGifPutImageDesc(gif, 0, 0, kSide, kSide, false, nullptr);
        for (size_t y = 0; y < kSide; ++y) EGifPutLine(gif, pixels.data() + y * kSide, kSide);
        EGifCloseFile(gif, &error);
        GifFreeMapObject(map);
    }
    RemoveFile(path.c_str());
    state.SetItemsProcessed(static_cast<int64_t>(state.iterations()) * kSide * kSide);
}

BENCHMARK(PlayAnimation)->Name("Play/gif")->Unit(benchmark::kMillisecond);
BENCHMARK(DecodeWithGiflib)->Name("Play/gif_giflib")->Unit(benchmark::kMillisecond);
BENCHMARK(SaveStill)->Name("Save/gif")->Unit(benchmark::kMillisecond);
BENCHMARK(EncodeWithGiflib)->Name("Save/gif_giflib")->Unit(benchmark::kMillisecond);

}  // namespace
}  // namespace kestr::bench

#endif  // KESTR_BENCH_HAS_GIF
