// JPEG files of 24 Mpixel beside the shortest loop over the same libjpeg: rows straight into a
// bottom-up bitmap, blue, green, red.

#include <algorithm>
#include <cstdio>
#include <vector>

#include <benchmark/benchmark.h>
#include <jpeglib.h>

#include "base/pixel_buffer.h"
#include "formats/jpeg_reader.h"
#include "image/image_bits.h"
#include "platform/files.h"
#include "platform/mapped_file.h"
#include "support/bench_files.h"

namespace kestr::bench {
namespace {

constexpr uint32_t kWidth = 6000;
constexpr uint32_t kHeight = 4000;
constexpr size_t kRowBytes = size_t{kWidth} * 3;
constexpr int kRowsACall = 4;

void Report(benchmark::State& state) {
    state.SetItemsProcessed(static_cast<int64_t>(state.iterations()) * kWidth * kHeight);
}

CImageBits& PictureToSave() {
    return NoisyImage(kWidth, kHeight);
}

std::basic_string<KESTR_CHAR> FileOf(int typeId) {
    const auto path = ScratchPath(typeId == 5 ? "progressive.jpg" : "baseline.jpg");
    static bool made[6] = {};
    if (!made[typeId]) PictureToSave().Save(path.c_str(), typeId, 0, true, true, false, nullptr);
    made[typeId] = true;
    return path;
}

void Load(benchmark::State& state, int typeId, bool highQuality) {
    const auto path = FileOf(typeId);
    for (auto _ : state) {
        CImageBits image;
        image.jpegHighQuality = highQuality;
        if (!image.Load(path.c_str(), 0, true, 0, nullptr, 0)) state.SkipWithError("refused");
        benchmark::DoNotOptimize(image.bits.data());
    }
    Report(state);
}

void Decode(std::span<const uint8_t> file, bool highQuality, unsigned divisor, CPixelBytes& bits) {
    jpeg_decompress_struct info{};
    jpeg_error_mgr errors{};
    info.err = jpeg_std_error(&errors);
    jpeg_create_decompress(&info);
    jpeg_mem_src(&info, file.data(), static_cast<unsigned long>(file.size()));
    jpeg_read_header(&info, TRUE);
    info.out_color_space = JCS_EXT_BGR;
    info.scale_num = 1;
    info.scale_denom = divisor;
    info.dct_method = highQuality ? JDCT_ISLOW : JDCT_IFAST;
    info.do_fancy_upsampling = highQuality ? TRUE : FALSE;
    jpeg_start_decompress(&info);
    const size_t rowBytes = (size_t{info.output_width} * 3 + 3) & ~size_t{3};
    bits.ResizeUninitialized(rowBytes * info.output_height);
    while (info.output_scanline < info.output_height) {
        JSAMPROW rows[kRowsACall];
        for (unsigned i = 0; i < kRowsACall; ++i) {
            const unsigned y = std::min(info.output_scanline + i, info.output_height - 1);
            rows[i] = bits.data() + (info.output_height - 1 - y) * rowBytes;
        }
        jpeg_read_scanlines(&info, rows, kRowsACall);
    }
    jpeg_destroy_decompress(&info);
}

void BareDecode(benchmark::State& state, int typeId, bool highQuality, unsigned divisor) {
    const auto path = FileOf(typeId);
    for (auto _ : state) {
        CMappedFileImpl file;
        CPixelBytes bits;
        if (!file.OpenRead(path.c_str())) state.SkipWithError("not opened");
        Decode(file.Bytes(), highQuality, divisor, bits);
        benchmark::DoNotOptimize(bits.data());
    }
    Report(state);
}

void Thumbnail(benchmark::State& state) {
    const auto path = FileOf(4);
    for (auto _ : state) {
        CImageBits image;
        if (!image.LoadThumbnail({.path = path.c_str(), .width = 160, .height = 160})) {
            state.SkipWithError("refused");
        }
        benchmark::DoNotOptimize(image.bits.data());
    }
    Report(state);
}

void HeaderQuery(benchmark::State& state) {
    const auto path = FileOf(4);
    for (auto _ : state) {
        CJPEGReader reader;
        reader.m_headerOnly = true;
        if (!reader.Probe(path.c_str(), 0)) state.SkipWithError("refused");
        benchmark::DoNotOptimize(reader.m_bitmapInfo);
    }
}

void Save(benchmark::State& state, int typeId) {
    CImageBits& image = PictureToSave();
    const auto path = ScratchPath("saved.jpg");
    for (auto _ : state) {
        if (!image.Save(path.c_str(), typeId, 0, true, true, false, nullptr)) {
            state.SkipWithError("refused");
        }
    }
    RemoveFile(path.c_str());
    Report(state);
}

void BareEncode(benchmark::State& state, int typeId) {
    const CPixelBytes& bits = PictureToSave().bits;
    const auto path = ScratchPath("saved.jpg");
    for (auto _ : state) {
        COutputFile file;
        if (!file.Create(path.c_str())) state.SkipWithError("not created");
        jpeg_compress_struct info{};
        jpeg_error_mgr errors{};
        info.err = jpeg_std_error(&errors);
        jpeg_create_compress(&info);
        jpeg_stdio_dest(&info, file.Stream());
        info.image_width = kWidth;
        info.image_height = kHeight;
        info.input_components = 3;
        info.in_color_space = JCS_EXT_BGR;
        jpeg_set_defaults(&info);
        jpeg_set_quality(&info, 75, TRUE);
        if (typeId == 5) jpeg_simple_progression(&info);
        jpeg_start_compress(&info, TRUE);
        while (info.next_scanline < kHeight) {
            JSAMPROW rows[kRowsACall];
            for (unsigned i = 0; i < kRowsACall; ++i) {
                const size_t y = kHeight - 1 - std::min(info.next_scanline + i, kHeight - 1);
                rows[i] = const_cast<JSAMPROW>(bits.data() + y * kRowBytes);
            }
            jpeg_write_scanlines(&info, rows, kRowsACall);
        }
        jpeg_finish_compress(&info);
        jpeg_destroy_compress(&info);
        file.Close();
    }
    RemoveFile(path.c_str());
    Report(state);
}

BENCHMARK_CAPTURE(Load, jpeg, 4, true)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(BareDecode, jpeg, 4, true, 1)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(Load, jpeg_fast, 4, false)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(BareDecode, jpeg_fast, 4, false, 1)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(Load, jpeg_progressive, 5, true)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(BareDecode, jpeg_progressive, 5, true, 1)->Unit(benchmark::kMillisecond);
BENCHMARK(Thumbnail)->Name("Thumbnail/jpeg_160")->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(BareDecode, jpeg_an_eighth, 4, true, 8)->Unit(benchmark::kMillisecond);
BENCHMARK(HeaderQuery)->Name("HeaderQuery/jpeg")->Unit(benchmark::kMicrosecond);
BENCHMARK_CAPTURE(Save, jpeg, 4)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(BareEncode, jpeg, 4)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(Save, jpeg_progressive, 5)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(BareEncode, jpeg_progressive, 5)->Unit(benchmark::kMillisecond);

}  // namespace
}  // namespace kestr::bench
