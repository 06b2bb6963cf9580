// Sensor values out of the files of Sony's and Panasonic's cameras, beside LibRaw: each form alone,
// and an A700's file to the picture.

#include <string>
#include <vector>

#include <benchmark/benchmark.h>

#include "raw/raw_sensor_image.h"
#include "raw/sensor_window.h"
#include "raw/sony_data.h"
#include "support/raw_tasks.h"
#include "support/sony_builder.h"

namespace kestr::bench {
namespace {

using Bytes = std::vector<uint8_t>;

struct CFile {
    uint32_t width, height;
    Bytes file;
    int64_t Pixels() const { return int64_t{width} * height; }
};

/// A smooth scene with the noise of a sensor; values below `limit`.
test::CSonyBuilder Scene(const char* model, uint32_t width, uint32_t height, uint32_t limit) {
    test::CSonyBuilder b;
    b.model = model;
    b.width = width;
    b.height = height;
    b.values.resize(size_t{width} * height);
    uint32_t random = 1;
    for (uint32_t y = 0; y < height; ++y) {
        for (uint32_t x = 0; x < width; ++x) {
            random = random * 1664525 + 1013904223;
            const uint32_t light = limit / 16 + (x + y * 2) * limit / 16384 % (limit / 2);
            b.values[size_t{y} * width + x] =
                static_cast<uint16_t>(light + (random >> 16) % (limit / 128));
        }
    }
    return b;
}

const CFile& A100() {
    static const CFile kFile{3881, 2608, Scene("DSLR-A100", 3881, 2608, 4075).A100()};
    return kFile;
}
const CFile& A700() {
    static const CFile kFile{
        4288, 2856, Scene("DSLR-A700", 4288, 2856, 2047).ARW(test::CSonyBuilder::CForm::kBlocks)};
    return kFile;
}
const CFile& F828() {
    static const CFile kFile{3360, 2460, Scene("DSC-F828", 3360, 2460, 16368).SRF(862144)};
    return kFile;
}
const CFile& LX2() {
    static const CFile kFile = [] {
        constexpr uint32_t kWidth = 4290, kHeight = 2391, kData = 1536;
        test::CTIFFBuilder b(false, 0);
        const uint32_t name = b.Add(test::CTIFFBuilder::Text(std::string("DMC-LX2") + '\0'));
        const uint32_t make = b.Add(test::CTIFFBuilder::Text(std::string("Panasonic") + '\0'));
        b.Patch32(4, b.Directory({{1, 7, 4, {'0', '2', '0', '0'}},
                                  {2, 3, 1, b.U16(kWidth)},
                                  {3, 3, 1, b.U16(kHeight)},
                                  {4, 3, 1, b.U16(0)},
                                  {5, 3, 1, b.U16(4)},
                                  {6, 3, 1, b.U16(kHeight - 3)},
                                  {7, 3, 1, b.U16(kWidth - 38)},
                                  {9, 3, 1, b.U16(3)},
                                  {10, 3, 1, b.U16(12)},
                                  {11, 3, 1, b.U16(34828)},
                                  {17, 3, 1, b.U16(400)},
                                  {18, 3, 1, b.U16(380)},
                                  {271, 2, 10, b.U32(make)},
                                  {272, 2, 8, b.U32(name)},
                                  {273, 4, 1, b.U32(kData)},
                                  {278, 4, 1, b.U32(kHeight)},
                                  {279, 4, 1, b.U32(kWidth * kHeight * 2)}}));
        Bytes file = b.All();
        file[2] = 0x55;
        file.resize(kData);
        for (const uint16_t value : Scene("", kWidth, kHeight, 4000).values) {
            file.push_back(static_cast<uint8_t>(value << 4));
            file.push_back(static_cast<uint8_t>(value >> 4));
        }
        return CFile{kWidth, kHeight, std::move(file)};
    }();
    return kFile;
}

/// Where the data of a file begins in those that the builder makes: behind the TIFF header.
constexpr size_t kBehindHeader = 8;

template <typename Read>
void Unpack(benchmark::State& state, const CFile& file, const Read& read) {
    CRawSensorImage image;
    image.samples = CRawSamples(file.width, file.height, 1);
    const CSensorWindow window{0, 0, file.width, file.height};
    for (auto _ : state) {
        if (!read(std::span(file.file), window, image)) state.SkipWithError("not read");
    }
    state.SetItemsProcessed(state.iterations() * file.Pixels());
}

void UnpackA100(benchmark::State& state) {
    const CFile& f = A100();
    Unpack(state, f, [&](auto bytes, const auto& window, auto& image) {
        return ReadColumnCodes(bytes.subspan(kBehindHeader), f.width, f.height, window, image,
                               nullptr);
    });
}
void UnpackA700(benchmark::State& state) {
    const CFile& f = A700();
    const auto samples = *BlockSamples(std::vector<uint16_t>{8000, 10400, 12900, 14100});
    Unpack(state, f, [&](auto bytes, const auto& window, auto& image) {
        return ReadValueBlocks(bytes.subspan(kBehindHeader), samples, f.width, window, image,
                               nullptr);
    });
}
void UnpackF828(benchmark::State& state) {
    const CFile& f = F828();
    Unpack(state, f, [&](auto bytes, const auto& window, auto& image) {
        return ReadCipheredWords(bytes.subspan(862144), 0x76543210, f.width, window, image,
                                 nullptr);
    });
}
void UnpackLX2(benchmark::State& state) {
    const CFile& f = LX2();
    Unpack(state, f, [&](auto bytes, const auto& window, auto& image) {
        return ReadPackedWindow(bytes.subspan(1536),
                                {.packing = CSamplePacking::kLittleWords, .shift = 4}, f.width,
                                window, image, nullptr);
    });
}
BENCHMARK(UnpackA100)->Name("a100_unpack/kestr")->Unit(benchmark::kMillisecond);
BENCHMARK(UnpackA700)->Name("a700_unpack/kestr")->Unit(benchmark::kMillisecond);
BENCHMARK(UnpackF828)->Name("f828_unpack/kestr")->Unit(benchmark::kMillisecond);
BENCHMARK(UnpackLX2)->Name("lx2_unpack/kestr")->Unit(benchmark::kMillisecond);

void LoadA700(benchmark::State& state) {
    LoadRaw(state, ".arw", A700().file, A700().Pixels());
}
void LoadLX2(benchmark::State& state) {
    LoadRaw(state, ".raw", LX2().file, LX2().Pixels());
}
BENCHMARK(LoadA700)->Name("a700_load_bilinear/kestr")->Unit(benchmark::kMillisecond);
BENCHMARK(LoadLX2)->Name("lx2_load_bilinear/kestr")->Unit(benchmark::kMillisecond);

void PeerA100(benchmark::State& state) {
    UnpackByLibRaw(state, A100().file, A100().Pixels());
}
void PeerA700(benchmark::State& state) {
    UnpackByLibRaw(state, A700().file, A700().Pixels());
}
void PeerF828(benchmark::State& state) {
    UnpackByLibRaw(state, F828().file, F828().Pixels());
}
void PeerLX2(benchmark::State& state) {
    UnpackByLibRaw(state, LX2().file, LX2().Pixels());
}
void PeerLoadA700(benchmark::State& state) {
    LoadByLibRaw(state, A700().file, A700().Pixels());
}
void PeerLoadLX2(benchmark::State& state) {
    LoadByLibRaw(state, LX2().file, LX2().Pixels());
}
BENCHMARK(PeerA100)->Name("a100_unpack/libraw")->Unit(benchmark::kMillisecond);
BENCHMARK(PeerA700)->Name("a700_unpack/libraw")->Unit(benchmark::kMillisecond);
BENCHMARK(PeerF828)->Name("f828_unpack/libraw")->Unit(benchmark::kMillisecond);
BENCHMARK(PeerLX2)->Name("lx2_unpack/libraw")->Unit(benchmark::kMillisecond);
BENCHMARK(PeerLoadA700)->Name("a700_load_bilinear/libraw")->Unit(benchmark::kMillisecond);
BENCHMARK(PeerLoadLX2)->Name("lx2_load_bilinear/libraw")->Unit(benchmark::kMillisecond);

}  // namespace
}  // namespace kestr::bench
