// Samples of 12 Mpixel out of a camera's file, beside LibRaw: Nikon's compression and lossless JPEG
// unpacked alone, and a compressed NEF from the file to the picture.

#include <string>
#include <vector>

#include <benchmark/benchmark.h>

#include "raw/lossless_jpeg.h"
#include "raw/nef_data.h"
#include "raw/raw_sensor_image.h"
#include "support/lossless_jpeg_builder.h"
#include "support/nef_builder.h"
#include "support/raw_tasks.h"

namespace kestr::bench {
namespace {

constexpr uint32_t kWidth = 4288;
constexpr uint32_t kHeight = 2848;
constexpr int64_t kPixels = int64_t{kWidth} * kHeight;

struct CNEF {
    CNEF() {
        test::CNEFBuilder b;
        b.model = "NIKON D700";
        b.width = kWidth;
        b.height = kHeight;
        b.bits = 14;
        b.pattern = {0, 1, 1, 2};
        const test::CTIFFBuilder n(true);
        b.note.push_back(
            {12, 5, 4,
             n.Join({n.Rational(4, 3), n.Rational(8, 7), n.Rational(1, 1), n.Rational(1, 1)})});
        auto values = NoisyMosaic(kWidth, kHeight);
        b.Compressed(values, 0x46, 0x30, {}, 5);
        file = b.File();
        data = b.data;
    }
    std::vector<uint8_t> file, data;
};
const CNEF& NEF() {
    static const CNEF kNEF;
    return kNEF;
}

struct CDNG {
    CDNG() {
        const test::CLosslessJPEGBuilder jpeg{
            .columns = kWidth / 2,
            .rows = kHeight,
            .components = 2,
            .precision = 14,
            .tableNumber = 0};  // LibRaw takes them in order, whatever the scan says
        stream = jpeg.Encode(NoisyMosaic(kWidth, kHeight));
        test::CTIFFBuilder b(false, 0);
        const uint32_t at = b.Add(stream);
        const std::string name = "Bench";
        const uint32_t text = b.Add(test::CTIFFBuilder::Text(name + '\0'));
        b.Patch32(4, b.Directory({{254, 4, 1, b.U32(0)},
                                  {256, 4, 1, b.U32(kWidth)},
                                  {257, 4, 1, b.U32(kHeight)},
                                  {258, 3, 1, b.U16(14)},
                                  {259, 3, 1, b.U16(7)},
                                  {262, 3, 1, b.U16(32803)},
                                  {271, 2, 6, b.U32(text)},
                                  {272, 2, 6, b.U32(text)},
                                  {273, 4, 1, b.U32(at)},
                                  {277, 3, 1, b.U16(1)},
                                  {278, 4, 1, b.U32(kHeight)},
                                  {279, 4, 1, b.U32(static_cast<uint32_t>(stream.size()))},
                                  {33421, 3, 2, b.Join({b.U16(2), b.U16(2)})},
                                  {33422, 1, 4, {0, 1, 1, 2}},
                                  {50706, 1, 4, {1, 4, 0, 0}},
                                  {50708, 2, 6, b.U32(text)}}));
        file = b.All();
    }
    std::vector<uint8_t> file, stream;
};
const CDNG& DNG() {
    static const CDNG kDNG;
    return kDNG;
}

void UnpackNEF(benchmark::State& state) {
    const auto& data = NEF().data;
    CRawSensorImage image;
    image.samples = CRawSamples(kWidth, kHeight, 1);
    const CNikonCompression compression{.huffmanTable = 5,
                                        .startPredictors = {1000, 1100, 1200, 1300}};
    for (auto _ : state) {
        if (!ReadCompressedNEF(data, compression, image, nullptr)) state.SkipWithError("not read");
    }
    state.SetItemsProcessed(state.iterations() * kPixels);
}
BENCHMARK(UnpackNEF)->Name("nef_unpack/kestr")->Unit(benchmark::kMillisecond);

void UnpackJPEG(benchmark::State& state) {
    const auto& stream = DNG().stream;
    for (auto _ : state) {
        uint32_t sum = 0;
        const auto decoder = CLosslessJPEG::Open(stream);
        for (auto row = decoder->NextRow(); !row.empty(); row = decoder->NextRow()) sum += row[1];
        benchmark::DoNotOptimize(sum);
    }
    state.SetItemsProcessed(state.iterations() * kPixels);
}
BENCHMARK(UnpackJPEG)->Name("lossless_jpeg/kestr")->Unit(benchmark::kMillisecond);

void LoadNEF(benchmark::State& state) {
    LoadRaw(state, ".nef", NEF().file, kPixels);
}
BENCHMARK(LoadNEF)->Name("nef_load_bilinear/kestr")->Unit(benchmark::kMillisecond);

void PeerNEF(benchmark::State& state) {
    UnpackByLibRaw(state, NEF().file, kPixels);
}
void PeerJPEG(benchmark::State& state) {
    UnpackByLibRaw(state, DNG().file, kPixels);
}
void PeerLoad(benchmark::State& state) {
    LoadByLibRaw(state, NEF().file, kPixels);
}
BENCHMARK(PeerNEF)->Name("nef_unpack/libraw")->Unit(benchmark::kMillisecond);
BENCHMARK(PeerJPEG)->Name("lossless_jpeg/libraw")->Unit(benchmark::kMillisecond);
BENCHMARK(PeerLoad)->Name("nef_load_bilinear/libraw")->Unit(benchmark::kMillisecond);

}  // namespace
}  // namespace kestr::bench
