// Samples of 12 Mpixel out of a camera's file, beside LibRaw: Nikon's compression and lossless JPEG
// unpacked alone, and a compressed NEF from the file to the picture.

#include <cstdio>
#include <string>
#include <vector>

#include <benchmark/benchmark.h>
#include <kestr/kestr.h>

#ifdef KESTR_BENCH_HAS_LIBRAW
#include <libraw/libraw.h>
#endif

#include "raw/lossless_jpeg.h"
#include "raw/nef_data.h"
#include "raw/raw_sensor_image.h"
#include "support/bench_files.h"
#include "support/lossless_jpeg_builder.h"
#include "support/nef_builder.h"

namespace kestr::bench {
namespace {

constexpr uint32_t kWidth = 4288;
constexpr uint32_t kHeight = 2848;
constexpr int64_t kPixels = int64_t{kWidth} * kHeight;

/// A smooth scene with the noise of a sensor, 14 bits, through filters R G / G B.
std::vector<uint16_t> Mosaic() {
    std::vector<uint16_t> mosaic(static_cast<size_t>(kPixels));
    uint32_t random = 1;
    for (uint32_t y = 0; y < kHeight; ++y) {
        for (uint32_t x = 0; x < kWidth; ++x) {
            random = random * 1664525 + 1013904223;
            const uint32_t light = 900 + (x * 5 + y * 3) % 9000;
            const uint32_t plane = y % 2 + x % 2;
            const uint32_t share = plane == 0 ? 6 : plane == 1 ? 8 : 7;
            mosaic[size_t{y} * kWidth + x] =
                static_cast<uint16_t>(light * share / 8 + (random >> 16) % 120);
        }
    }
    return mosaic;
}

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
        auto values = Mosaic();
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
        stream = jpeg.Encode(Mosaic());
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
    const auto wide = ScratchPath("bench.nef");
    const std::string path(wide.begin(), wide.end());
    std::FILE* const out = std::fopen(path.c_str(), "wb");
    std::fwrite(NEF().file.data(), 1, NEF().file.size(), out);
    std::fclose(out);
    for (auto _ : state) {
        const HKESTRSESSION session = cNewSession();
        cSetRawInterpolationMethod(session, 0);
        cUseCIECAM02(session, 0);
        if (cLoadImageEx(session, path.c_str(), 0, 0, nullptr, 0) == 0) {
            state.SkipWithError("not loaded");
        }
        cDestroySession(session);
    }
    state.SetItemsProcessed(state.iterations() * kPixels);
    std::remove(path.c_str());
}
BENCHMARK(LoadNEF)->Name("nef_load_bilinear/kestr")->Unit(benchmark::kMillisecond);

#ifdef KESTR_BENCH_HAS_LIBRAW
void PeerUnpack(benchmark::State& state, const std::vector<uint8_t>& file, bool develop) {
    for (auto _ : state) {
        LibRaw raw;
        raw.imgdata.params.user_qual = 0;
        raw.imgdata.params.use_camera_wb = 1;
        raw.imgdata.params.output_bps = 16;
        if (raw.open_buffer(const_cast<uint8_t*>(file.data()), file.size()) != LIBRAW_SUCCESS ||
            raw.unpack() != LIBRAW_SUCCESS || (develop && raw.dcraw_process() != LIBRAW_SUCCESS)) {
            state.SkipWithError("not read");
        }
    }
    state.SetItemsProcessed(state.iterations() * kPixels);
}
void PeerNEF(benchmark::State& state) {
    PeerUnpack(state, NEF().file, false);
}
void PeerJPEG(benchmark::State& state) {
    PeerUnpack(state, DNG().file, false);
}
void PeerLoad(benchmark::State& state) {
    PeerUnpack(state, NEF().file, true);
}
BENCHMARK(PeerNEF)->Name("nef_unpack/libraw")->Unit(benchmark::kMillisecond);
BENCHMARK(PeerJPEG)->Name("lossless_jpeg/libraw")->Unit(benchmark::kMillisecond);
BENCHMARK(PeerLoad)->Name("nef_load_bilinear/libraw")->Unit(benchmark::kMillisecond);
#endif

}  // namespace
}  // namespace kestr::bench
