// Raw files of some 12 Mpixel of Olympus, Pentax and Fujifilm, beside LibRaw: codes unpacked alone,
// and files to the picture by bilinear interpolation.

#include <cstdio>
#include <string>
#include <vector>

#include <benchmark/benchmark.h>
#include <kestr/kestr.h>

#ifdef KESTR_BENCH_HAS_LIBRAW
#include <libraw/libraw.h>
#endif

#include "raw/orf_data.h"
#include "raw/pef_data.h"
#include "raw/raw_sensor_image.h"
#include "support/bench_files.h"
#include "support/maker_raw_builders.h"

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
    const char* extension;
    uint32_t width, height;
    std::vector<uint8_t> data, file;
};

const CRawFile& Olympus() {
    static const CRawFile kFile = [] {
        test::CPlainRawBuilder b;
        b.model = "E-3            ";
        b.width = 3720;
        b.height = 2800;
        b.data = test::CompressORF(b.width, b.height, Scene);
        return CRawFile{".orf", b.width, b.height, b.data, b.File()};
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
        return CRawFile{".pef", b.width, b.height, b.data, b.File()};
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
        return CRawFile{".raf", b.fullWidth, b.fullHeight, b.data, b.File()};
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

void Load(benchmark::State& state, const CRawFile& raw) {
    const auto wide = ScratchPath((std::string("bench") + raw.extension).c_str());
    const std::string path(wide.begin(), wide.end());
    std::FILE* const out = std::fopen(path.c_str(), "wb");
    std::fwrite(raw.file.data(), 1, raw.file.size(), out);
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
    state.SetItemsProcessed(state.iterations() * raw.width * raw.height);
    std::remove(path.c_str());
}
void LoadORF(benchmark::State& state) {
    Load(state, Olympus());
}
void LoadPEF(benchmark::State& state) {
    Load(state, Pentax());
}
void LoadRAF(benchmark::State& state) {
    Load(state, Fujifilm());
}
BENCHMARK(LoadORF)->Name("orf_load_bilinear/kestr")->Unit(benchmark::kMillisecond);
BENCHMARK(LoadPEF)->Name("pef_load_bilinear/kestr")->Unit(benchmark::kMillisecond);
BENCHMARK(LoadRAF)->Name("raf_load_bilinear/kestr")->Unit(benchmark::kMillisecond);

#ifdef KESTR_BENCH_HAS_LIBRAW
void Peer(benchmark::State& state, const CRawFile& raw, bool develop) {
    for (auto _ : state) {
        LibRaw peer;
        peer.imgdata.params.user_qual = 0;
        peer.imgdata.params.output_bps = 16;
        if (peer.open_buffer(const_cast<uint8_t*>(raw.file.data()), raw.file.size()) !=
                LIBRAW_SUCCESS ||
            peer.unpack() != LIBRAW_SUCCESS ||
            (develop && peer.dcraw_process() != LIBRAW_SUCCESS)) {
            state.SkipWithError("not read");
            break;
        }
    }
    state.SetItemsProcessed(state.iterations() * raw.width * raw.height);
}
void PeerUnpackORF(benchmark::State& state) {
    Peer(state, Olympus(), false);
}
void PeerUnpackPEF(benchmark::State& state) {
    Peer(state, Pentax(), false);
}
void PeerORF(benchmark::State& state) {
    Peer(state, Olympus(), true);
}
void PeerPEF(benchmark::State& state) {
    Peer(state, Pentax(), true);
}
void PeerRAF(benchmark::State& state) {
    Peer(state, Fujifilm(), true);
}
BENCHMARK(PeerUnpackORF)->Name("orf_unpack/libraw")->Unit(benchmark::kMillisecond);
BENCHMARK(PeerUnpackPEF)->Name("pef_unpack/libraw")->Unit(benchmark::kMillisecond);
BENCHMARK(PeerORF)->Name("orf_load_bilinear/libraw")->Unit(benchmark::kMillisecond);
BENCHMARK(PeerPEF)->Name("pef_load_bilinear/libraw")->Unit(benchmark::kMillisecond);
BENCHMARK(PeerRAF)->Name("raf_load_bilinear/libraw")->Unit(benchmark::kMillisecond);
#endif

}  // namespace
}  // namespace kestr::bench
