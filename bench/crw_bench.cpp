// The picture inside Canon's raw files, beside libjpeg's own loop over the same bytes: whole, and
// as a thumbnail at an eighth of its size.

#include <cstdio>
#include <string>
#include <vector>

#include <benchmark/benchmark.h>
#include <jpeglib.h>
#include <kestr/kestr.h>

#include "base/pixel_buffer.h"
#include "platform/mapped_file.h"
#include "support/bench_files.h"
#include "support/canon_builder.h"

namespace kestr::bench {
namespace {

// Of an EOS 350D.
constexpr uint32_t kWidth = 1536;
constexpr uint32_t kHeight = 1024;
constexpr int kDivisor = 8;

/// A file written once, with its picture.
struct CFile {
    explicit CFile(bool isHeap) {
        CImageBits& picture = NoisyImage(kWidth, kHeight);
        const auto scratch = ScratchPath("preview.jpg");
        picture.Save(scratch.c_str(), 4, 0, true, true, false, nullptr);
        CMappedFileImpl jpeg;
        if (!jpeg.OpenRead(scratch.c_str())) return;
        preview.assign(jpeg.Bytes().begin(), jpeg.Bytes().end());
        const auto wide = ScratchPath(isHeap ? "bench.crw" : "bench.cr2");
        path.assign(wide.begin(), wide.end());
        const auto bytes =
            isHeap ? test::MakeCRW(preview) : test::CCR2Builder{.large = preview}.File();
        std::FILE* const out = std::fopen(path.c_str(), "wb");
        std::fwrite(bytes.data(), 1, bytes.size(), out);
        std::fclose(out);
    }
    std::string path;
    std::vector<uint8_t> preview;
};
const CFile& File(bool isHeap) {
    static const CFile kCRW(true), kCR2(false);
    return isHeap ? kCRW : kCR2;
}

void Report(benchmark::State& state) {
    state.SetItemsProcessed(state.iterations() * int64_t{kWidth} * kHeight);
}

void Load(benchmark::State& state, bool isHeap, int divisor) {
    const CFile& file = File(isHeap);
    for (auto _ : state) {
        const HKESTRSESSION session = cNewSession();
        const auto loaded = divisor == 1
                                ? cLoadImageEx(session, file.path.c_str(), 0, 0, nullptr, 0)
                                : cLoadThumbnailEx(session, file.path.c_str(),
                                                   static_cast<int16_t>(kWidth / divisor),
                                                   static_cast<int16_t>(kHeight / divisor), 0);
        if (loaded == 0) state.SkipWithError("refused");
        cDestroySession(session);
    }
    Report(state);
}

void BareDecode(benchmark::State& state, int divisor) {
    const auto& stream = File(true).preview;
    for (auto _ : state) {
        jpeg_decompress_struct info{};
        jpeg_error_mgr errors{};
        info.err = jpeg_std_error(&errors);
        jpeg_create_decompress(&info);
        jpeg_mem_src(&info, stream.data(), static_cast<unsigned long>(stream.size()));
        jpeg_read_header(&info, TRUE);
        info.out_color_space = JCS_EXT_BGR;
        info.scale_num = 1;
        info.scale_denom = static_cast<unsigned>(divisor);
        jpeg_start_decompress(&info);
        const size_t rowBytes = size_t{info.output_width} * 3;
        CPixelBytes bits;
        bits.ResizeUninitialized(rowBytes * info.output_height);
        while (info.output_scanline < info.output_height) {
            JSAMPROW row = bits.data() + (info.output_height - 1 - info.output_scanline) * rowBytes;
            jpeg_read_scanlines(&info, &row, 1);
        }
        jpeg_destroy_decompress(&info);
        benchmark::DoNotOptimize(bits.data());
    }
    Report(state);
}

void LoadCRW(benchmark::State& state) {
    Load(state, true, 1);
}
void ThumbnailCRW(benchmark::State& state) {
    Load(state, true, kDivisor);
}
void ThumbnailCR2(benchmark::State& state) {
    Load(state, false, kDivisor);
}
void BareLoad(benchmark::State& state) {
    BareDecode(state, 1);
}
void BareThumbnail(benchmark::State& state) {
    BareDecode(state, kDivisor);
}
BENCHMARK(LoadCRW)->Name("crw_preview/kestr")->Unit(benchmark::kMillisecond);
BENCHMARK(BareLoad)->Name("crw_preview/libjpeg")->Unit(benchmark::kMillisecond);
BENCHMARK(ThumbnailCRW)->Name("crw_thumbnail/kestr, CRW")->Unit(benchmark::kMillisecond);
BENCHMARK(ThumbnailCR2)->Name("crw_thumbnail/kestr, CR2")->Unit(benchmark::kMillisecond);
BENCHMARK(BareThumbnail)->Name("crw_thumbnail/libjpeg")->Unit(benchmark::kMillisecond);

}  // namespace
}  // namespace kestr::bench
