// PNG files of 24 Mpixel beside the shortest loop over the same libpng with the same settings.

#include <cstdio>
#include <vector>

#include <benchmark/benchmark.h>
#include <png.h>

#include "image/image_bits.h"
#include "platform/files.h"
#include "platform/mapped_file.h"
#include "support/bench_files.h"

namespace kestr::bench {
namespace {

constexpr uint32_t kWidth = 6000;
constexpr uint32_t kHeight = 4000;
constexpr size_t kRowBytes = size_t{kWidth} * 3;
constexpr int kTypePNG = 11;
constexpr int kCompressionLevel = 1;
constexpr int kFilter = PNG_FILTER_AVG;

void Report(benchmark::State& state) {
    state.SetItemsProcessed(static_cast<int64_t>(state.iterations()) * kWidth * kHeight);
}

std::basic_string<KESTR_CHAR> File() {
    static const auto path = [] {
        const auto made = ScratchPath("load.png");
        NoisyImage(kWidth, kHeight).Save(made.c_str(), kTypePNG, 0, true, true, false, nullptr);
        return made;
    }();
    return path;
}

void Load(benchmark::State& state) {
    const auto path = File();
    for (auto _ : state) {
        CImageBits image;
        if (!image.Load(path.c_str(), 0, true, 0, nullptr, 0)) state.SkipWithError("refused");
        benchmark::DoNotOptimize(image.bits.data());
    }
    Report(state);
}

void BareDecode(benchmark::State& state) {
    const auto path = File();
    for (auto _ : state) {
        CMappedFileImpl file;
        if (!file.OpenRead(path.c_str())) state.SkipWithError("not opened");
        std::span<const uint8_t> rest = file.Bytes();
        png_structp png = png_create_read_struct(PNG_LIBPNG_VER_STRING, nullptr, nullptr, nullptr);
        png_infop info = png_create_info_struct(png);
        png_set_read_fn(png, &rest, [](png_structp from, png_bytep to, size_t count) {
            auto& bytes = *static_cast<std::span<const uint8_t>*>(png_get_io_ptr(from));
            std::copy_n(bytes.data(), count, to);
            bytes = bytes.subspan(count);
        });
        png_read_info(png, info);
        png_set_bgr(png);
        CPixelBytes bits;
        bits.ResizeUninitialized(kRowBytes * kHeight);
        for (uint32_t y = kHeight; y-- > 0;) {
            png_read_row(png, bits.data() + y * kRowBytes, nullptr);
        }
        png_read_end(png, nullptr);
        png_destroy_read_struct(&png, &info, nullptr);
        benchmark::DoNotOptimize(bits.data());
    }
    Report(state);
}

void Save(benchmark::State& state) {
    CImageBits& image = NoisyImage(kWidth, kHeight);
    const auto path = ScratchPath("saved.png");
    for (auto _ : state) {
        if (!image.Save(path.c_str(), kTypePNG, 0, true, true, false, nullptr)) {
            state.SkipWithError("refused");
        }
    }
    RemoveFile(path.c_str());
    Report(state);
}

void BareEncode(benchmark::State& state) {
    const CImageBits& image = NoisyImage(kWidth, kHeight);
    const auto path = ScratchPath("saved.png");
    for (auto _ : state) {
        COutputFile file;
        if (!file.Create(path.c_str())) state.SkipWithError("not created");
        png_structp png = png_create_write_struct(PNG_LIBPNG_VER_STRING, nullptr, nullptr, nullptr);
        png_infop info = png_create_info_struct(png);
        png_init_io(png, file.Stream());
        png_set_compression_level(png, kCompressionLevel);
        png_set_filter(png, PNG_FILTER_TYPE_BASE, kFilter);
        png_set_IHDR(png, info, kWidth, kHeight, 8, PNG_COLOR_TYPE_RGB, PNG_INTERLACE_NONE,
                     PNG_COMPRESSION_TYPE_DEFAULT, PNG_FILTER_TYPE_DEFAULT);
        png_write_info(png, info);
        png_set_bgr(png);
        for (uint32_t y = kHeight; y-- > 0;) png_write_row(png, image.bits.data() + y * kRowBytes);
        png_write_end(png, nullptr);
        png_destroy_write_struct(&png, &info);
        file.Close();
    }
    RemoveFile(path.c_str());
    Report(state);
}

BENCHMARK(Load)->Name("Load/png")->Unit(benchmark::kMillisecond);
BENCHMARK(BareDecode)->Name("BareDecode/png")->Unit(benchmark::kMillisecond);
BENCHMARK(Save)->Name("Save/png")->Unit(benchmark::kMillisecond);
BENCHMARK(BareEncode)->Name("BareEncode/png")->Unit(benchmark::kMillisecond);

}  // namespace
}  // namespace kestr::bench
