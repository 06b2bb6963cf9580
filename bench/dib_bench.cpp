// Plain bitmaps, load and save, beside a memcpy of the same bytes and a write of them.

#include <cstring>

#include <benchmark/benchmark.h>

#include "base/pixel_buffer.h"
#include "image/image_bits.h"
#include "platform/files.h"
#include "support/bench_files.h"

namespace kestr::bench {
namespace {

struct CSide {
    uint32_t width;
    uint32_t height;
};
constexpr CSide kSizes[] = {{6000, 4000}, {12000, 8400}};  // 24 and 100 Mpixel

/// A bitmap file of one of the sizes, removed at the end.
class CBitmapFile {
public:
    explicit CBitmapFile(const CSide& side) : path(ScratchPath("plain.bmp")) {
        CImageBits image;
        image.NewImage(side.width, side.height, 0x336699);
        bytes = image.bits.size();
        image.Save(path.c_str(), 2, 0, true, true, false, nullptr);
    }
    ~CBitmapFile() { RemoveFile(path.c_str()); }

    std::basic_string<KESTR_CHAR> path;
    size_t bytes = 0;
};

void Report(benchmark::State& state, const CSide& side, size_t bytes) {
    const auto runs = static_cast<int64_t>(state.iterations());
    state.SetBytesProcessed(runs * static_cast<int64_t>(bytes));
    state.SetItemsProcessed(runs * side.width * side.height);
}

void LoadBitmap(benchmark::State& state) {
    const CSide& side = kSizes[state.range(0)];
    const CBitmapFile file(side);
    for (auto _ : state) {
        CImageBits image;
        if (!image.Load(file.path.c_str(), 0, true, 0, nullptr, 0)) state.SkipWithError("refused");
        benchmark::DoNotOptimize(image.bits.data());
    }
    Report(state, side, file.bytes);
}

void CopyWarm(benchmark::State& state) {
    const CSide& side = kSizes[state.range(0)];
    CPixelBytes source, destination;
    source.ResizeZeroed(size_t{side.width} * side.height * 3);
    destination.ResizeZeroed(source.size());
    for (auto _ : state) {
        std::memcpy(destination.data(), source.data(), source.size());
        benchmark::ClobberMemory();
    }
    Report(state, side, source.size());
}

void SaveBitmap(benchmark::State& state) {
    const CSide& side = kSizes[state.range(0)];
    CImageBits image;
    image.NewImage(side.width, side.height, 0x336699);
    const auto path = ScratchPath("saved.bmp");
    for (auto _ : state) {
        if (!image.Save(path.c_str(), 2, 0, true, true, false, nullptr))
            state.SkipWithError("refused");
    }
    Report(state, side, image.bits.size());
    RemoveFile(path.c_str());
}

void WriteBytes(benchmark::State& state) {
    const CSide& side = kSizes[state.range(0)];
    CPixelBytes bytes;
    bytes.ResizeZeroed(size_t{side.width} * side.height * 3);
    const auto path = ScratchPath("written.bin");
    for (auto _ : state) {
        COutputFile file;
        const bool ok = file.Create(path.c_str()) && file.Write(bytes.data(), bytes.size());
        if (!file.Close() || !ok) state.SkipWithError("refused");
    }
    Report(state, side, bytes.size());
    RemoveFile(path.c_str());
}

BENCHMARK(LoadBitmap)->DenseRange(0, 1)->Unit(benchmark::kMillisecond);
BENCHMARK(CopyWarm)->DenseRange(0, 1)->Unit(benchmark::kMillisecond);
BENCHMARK(SaveBitmap)->DenseRange(0, 1)->Unit(benchmark::kMillisecond);
BENCHMARK(WriteBytes)->DenseRange(0, 1)->Unit(benchmark::kMillisecond);

}  // namespace
}  // namespace kestr::bench
