// Raw files of some 12 Mpixel of Olympus, Pentax and Fujifilm, beside LibRaw: codes unpacked alone,
// and files to the picture by bilinear interpolation.

#include <vector>

#include <benchmark/benchmark.h>

#include "raw/orf_data.h"
#include "raw/pef_data.h"
#include "raw/raw_sensor_image.h"
#include "support/maker_raw_builders.h"
#include "support/raw_tasks.h"

namespace kestr::bench {
namespace {

/// A smooth scene with the noise of a sensor, 12 bits, through filters R G / G B.
uint16_t Scene(uint32_t y, uint32_t x) {
    const uint32_t random = (y * 7919 + x) * 2654435761u;
    const uint32_t light = 300 + (x * 5 + y * 3) % 3000;
    const uint32_t plane = y % 2 + x % 2;
    const uint32_t share = plane == 0 ? 6 : plane == 1 ? 8 : 7;
    return static_cast<uint16_t>(light * share / 8 + (random >> 26));
}

struct CRawFile {
    uint32_t width, height;
    std::vector<uint8_t> data, file;
    [[nodiscard]] int64_t Pixels() const { return int64_t{width} * height; }
};

const CRawFile& Olympus() {
    static const CRawFile kFile = [] {
        test::CPlainRawBuilder b;
        b.model = "E-3            ";
        b.width = 3720;
        b.height = 2800;
        b.data = test::CompressORF(b.width, b.height, Scene);
        return CRawFile{b.width, b.height, b.data, b.File()};
    }();
    return kFile;
}

const CRawFile& Pentax() {
    static const CRawFile kFile = [] {
        test::CPlainRawBuilder b;
        b.make = "PENTAX Corporation";
        b.model = "PENTAX K10D";
        b.magic.clear();
        b.bigEndian = true;
        b.width = 3936;
        b.height = 2624;
        b.bits = 12;
        b.compression = 65535;
        b.photometric = 32803;
        b.data = test::CompressPEF(b.width, b.height, Scene);
        return CRawFile{b.width, b.height, b.data, b.File()};
    }();
    return kFile;
}

const CRawFile& Fujifilm() {
    static const CRawFile kFile = [] {
        test::CRAFBuilder b;
        b.fullWidth = 2048;
        b.fullHeight = 3080;
        b.usedWidth = 4096;
        b.usedHeight = 1540;
        b.Words(b.fullWidth, b.fullHeight,
                [](uint32_t y, uint32_t x) { return uint16_t(4 * Scene(y, x)); });
        // What LibRaw takes for a RAF file has a JPEG.
        b.jpeg.assign({0xFF, 0xD8, 0xFF, 0xD9});
        return CRawFile{b.fullWidth, b.fullHeight, b.data, b.File()};
    }();
    return kFile;
}

template <typename Read>
void Unpack(benchmark::State& state, const CRawFile& raw, const Read& read) {
    CRawSensorImage image;
    image.samples = CRawSamples(raw.width, raw.height, 1);
    for (auto _ : state) {
        if (!read(image)) state.SkipWithError("not read");
    }
    state.SetItemsProcessed(state.iterations() * raw.width * raw.height);
}
void UnpackORF(benchmark::State& state) {
    Unpack(state, Olympus(), [](CRawSensorImage& image) {
        return ReadCompressedORF(Olympus().data, image, nullptr);
    });
}
void UnpackPEF(benchmark::State& state) {
    Unpack(state, Pentax(), [](CRawSensorImage& image) {
        return ReadCompressedPEF(Pentax().data, Pentax().width, image, nullptr);
    });
}
BENCHMARK(UnpackORF)->Name("orf_unpack/kestr")->Unit(benchmark::kMillisecond);
BENCHMARK(UnpackPEF)->Name("pef_unpack/kestr")->Unit(benchmark::kMillisecond);

void LoadORF(benchmark::State& state) {
    LoadRaw(state, ".orf", Olympus().file, Olympus().Pixels());
}
void LoadPEF(benchmark::State& state) {
    LoadRaw(state, ".pef", Pentax().file, Pentax().Pixels());
}
void LoadRAF(benchmark::State& state) {
    LoadRaw(state, ".raf", Fujifilm().file, Fujifilm().Pixels());
}
BENCHMARK(LoadORF)->Name("orf_load_bilinear/kestr")->Unit(benchmark::kMillisecond);
BENCHMARK(LoadPEF)->Name("pef_load_bilinear/kestr")->Unit(benchmark::kMillisecond);
BENCHMARK(LoadRAF)->Name("raf_load_bilinear/kestr")->Unit(benchmark::kMillisecond);

void PeerUnpackORF(benchmark::State& state) {
    UnpackByLibRaw(state, Olympus().file, Olympus().Pixels());
}
void PeerUnpackPEF(benchmark::State& state) {
    UnpackByLibRaw(state, Pentax().file, Pentax().Pixels());
}
void PeerORF(benchmark::State& state) {
    LoadByLibRaw(state, Olympus().file, Olympus().Pixels());
}
void PeerPEF(benchmark::State& state) {
    LoadByLibRaw(state, Pentax().file, Pentax().Pixels());
}
void PeerRAF(benchmark::State& state) {
    LoadByLibRaw(state, Fujifilm().file, Fujifilm().Pixels());
}
BENCHMARK(PeerUnpackORF)->Name("orf_unpack/libraw")->Unit(benchmark::kMillisecond);
BENCHMARK(PeerUnpackPEF)->Name("pef_unpack/libraw")->Unit(benchmark::kMillisecond);
BENCHMARK(PeerORF)->Name("orf_load_bilinear/libraw")->Unit(benchmark::kMillisecond);
BENCHMARK(PeerPEF)->Name("pef_load_bilinear/libraw")->Unit(benchmark::kMillisecond);
BENCHMARK(PeerRAF)->Name("raf_load_bilinear/libraw")->Unit(benchmark::kMillisecond);

}  // namespace
}  // namespace kestr::bench
