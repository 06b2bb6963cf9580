// A quarter turn of a JPEG file of 24 Mpixel without loss, beside the transform of libjpeg-turbo,
// which is that of jpegtran: from file to file, all markers kept, standard Huffman tables.
#include <cstdio>
#include <vector>

#include <benchmark/benchmark.h>

#include "image/image_bits.h"
#include "image/rotate_file.h"
#include "platform/files.h"
#include "platform/mapped_file.h"
#include "support/bench_files.h"

#ifdef KESTR_BENCH_HAS_TURBOJPEG
#include <turbojpeg.h>
#endif

namespace kestr::bench {
namespace {

constexpr uint32_t kWidth = 6000;
constexpr uint32_t kHeight = 4000;

std::basic_string<KESTR_CHAR> FileToTurn(int32_t typeId) {
    const auto path = ScratchPath(typeId == 5 ? "turn-progressive.jpg" : "turn-baseline.jpg");
    static bool made[6] = {};
    if (!made[typeId]) {
        NoisyImage(kWidth, kHeight).Save(path.c_str(), typeId, 0, true, true, false, nullptr);
    }
    made[typeId] = true;
    return path;
}

void Turn(benchmark::State& state, int32_t typeId) {
    const auto from = FileToTurn(typeId);
    const auto to = ScratchPath("turned.jpg");
    for (auto _ : state) {
        std::string errorText;
        if (!RotateImageFile({.source = from.c_str(), .destination = to.c_str()}, errorText)) {
            state.SkipWithError("refused");
        }
    }
    RemoveFile(to.c_str());
    state.SetItemsProcessed(static_cast<int64_t>(state.iterations()) * kWidth * kHeight);
}
BENCHMARK_CAPTURE(Turn, jpeg, 4)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(Turn, jpeg_progressive, 5)->Unit(benchmark::kMillisecond);

#ifdef KESTR_BENCH_HAS_TURBOJPEG
void TurnTurboJPEG(benchmark::State& state, int32_t typeId) {
    const auto from = FileToTurn(typeId);
    const auto to = ScratchPath("turned.jpg");
    for (auto _ : state) {
        CMappedFileImpl source;
        COutputFile destination;
        if (!source.OpenRead(from.c_str()) || !destination.Create(to.c_str())) {
            return state.SkipWithError("not opened");
        }
        tjtransform transform{};
        transform.op = TJXOP_ROT90;
        if (typeId == 5) transform.options = TJXOPT_PROGRESSIVE;
        unsigned char* result = nullptr;
        unsigned long size = 0;
        const tjhandle handle = tjInitTransform();
        if (tjTransform(handle, source.Bytes().data(),
                        static_cast<unsigned long>(source.Bytes().size()), 1, &result, &size,
                        &transform, 0) != 0) {
            state.SkipWithError("refused");
        }
        std::fwrite(result, 1, size, destination.Stream());
        destination.Close();
        tjFree(result);
        tjDestroy(handle);
    }
    RemoveFile(to.c_str());
    state.SetItemsProcessed(static_cast<int64_t>(state.iterations()) * kWidth * kHeight);
}
BENCHMARK_CAPTURE(TurnTurboJPEG, jpeg, 4)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(TurnTurboJPEG, jpeg_progressive, 5)->Unit(benchmark::kMillisecond);
#endif

}  // namespace
}  // namespace kestr::bench
