// DNG files of 12 Mpixel: lossless JPEG from the file to the picture, beside LibRaw; and a
// thumbnail from the preview, beside the bare decode of that preview by libjpeg at the same
// reduction.

#include <cstdio>
#include <vector>

#include <benchmark/benchmark.h>
#include <jpeglib.h>
#include <kestr/kestr.h>

#include "support/dng_builder.h"
#include "support/raw_tasks.h"

namespace kestr::bench {
namespace {

constexpr uint32_t kWidth = 4288;
constexpr uint32_t kHeight = 2848;
constexpr int64_t kPixels = int64_t{kWidth} * kHeight;
constexpr int kPreviewWidth = 1024;
constexpr int kPreviewHeight = 680;

/// A scene as a JPEG stream.
std::vector<uint8_t> PreviewStream() {
    jpeg_compress_struct info{};
    jpeg_error_mgr errors{};
    info.err = jpeg_std_error(&errors);
    jpeg_create_compress(&info);
    unsigned char* bytes = nullptr;
    unsigned long size = 0;
    jpeg_mem_dest(&info, &bytes, &size);
    info.image_width = kPreviewWidth;
    info.image_height = kPreviewHeight;
    info.input_components = 3;
    info.in_color_space = JCS_RGB;
    jpeg_set_defaults(&info);
    jpeg_set_quality(&info, 85, TRUE);
    jpeg_start_compress(&info, TRUE);
    std::vector<uint8_t> row(size_t{kPreviewWidth} * 3);
    uint32_t random = 1;
    for (int y = 0; y < kPreviewHeight; ++y) {
        for (size_t i = 0; i < row.size(); ++i) {
            random = random * 1664525 + 1013904223;
            row[i] = static_cast<uint8_t>(40 + (i / 9 + static_cast<size_t>(y) / 5) % 180 +
                                          (random >> 28));
        }
        JSAMPROW rows[] = {row.data()};
        jpeg_write_scanlines(&info, rows, 1);
    }
    jpeg_finish_compress(&info);
    std::vector<uint8_t> stream(bytes, bytes + size);
    jpeg_destroy_compress(&info);
    std::free(bytes);
    return stream;
}

struct CDNG {
    CDNG() : preview(PreviewStream()) {
        test::CDNGBuilder b;
        b.width = kWidth;
        b.height = kHeight;
        b.matrix1 = {0.7732, -0.2422, -0.0789, -0.8238, 1.5884, 0.2498, -0.0859, 0.0783, 0.7330};
        b.neutral = {0.75, 1, 0.875};
        b.white = {16383};
        // LibRaw takes the tables in order, whatever the scan says.
        b.Compressed(NoisyMosaic(kWidth, kHeight),
                     {.components = 2, .precision = 14, .tableNumber = 0});
        b.preview = preview;
        b.previewWidth = kPreviewWidth;
        b.previewHeight = kPreviewHeight;
        file = b.File();
    }
    std::vector<uint8_t> preview, file;
};
const CDNG& DNG() {
    static const CDNG kDNG;
    return kDNG;
}

void LoadBilinear(benchmark::State& state) {
    LoadRaw(state, ".dng", DNG().file, kPixels);
}
BENCHMARK(LoadBilinear)->Name("dng_load_bilinear/kestr")->Unit(benchmark::kMillisecond);

// Of 256 pixels what the reduction by 4 gives is the thumbnail; that of 160 is resampled from it.
void Thumbnail(benchmark::State& state) {
    const CScratchFile file("bench.dng", DNG().file);
    const auto side = static_cast<int16_t>(state.range(0));
    for (auto _ : state) {
        const HKESTRSESSION session = cNewSession();
        if (cLoadThumbnailEx(session, file.Path(), side, side, 0) == 0) {
            state.SkipWithError("not loaded");
        }
        cDestroySession(session);
    }
}
BENCHMARK(Thumbnail)
    ->Name("dng_thumbnail/kestr")
    ->Arg(256)
    ->Arg(160)
    ->Unit(benchmark::kMicrosecond);

// The reduction by 4 gives 256 x 170.
void PreviewAlone(benchmark::State& state) {
    const auto& stream = DNG().preview;
    std::vector<uint8_t> picture;
    for (auto _ : state) {
        jpeg_decompress_struct info{};
        jpeg_error_mgr errors{};
        info.err = jpeg_std_error(&errors);
        jpeg_create_decompress(&info);
        jpeg_mem_src(&info, stream.data(), stream.size());
        jpeg_read_header(&info, TRUE);
        info.scale_num = 1;
        info.scale_denom = 4;
        jpeg_start_decompress(&info);
        const size_t rowBytes = size_t{info.output_width} * 3;
        picture.resize(rowBytes * info.output_height);
        while (info.output_scanline < info.output_height) {
            JSAMPROW row = picture.data() + info.output_scanline * rowBytes;
            jpeg_read_scanlines(&info, &row, 1);
        }
        jpeg_finish_decompress(&info);
        jpeg_destroy_decompress(&info);
        benchmark::DoNotOptimize(picture.data());
    }
}
BENCHMARK(PreviewAlone)
    ->Name("dng_thumbnail/libjpeg_scaled_preview")
    ->Unit(benchmark::kMicrosecond);

void PeerLoad(benchmark::State& state) {
    LoadByLibRaw(state, DNG().file, kPixels);
}
BENCHMARK(PeerLoad)->Name("dng_load_bilinear/libraw")->Unit(benchmark::kMillisecond);

}  // namespace
}  // namespace kestr::bench
