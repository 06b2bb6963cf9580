#include "support/raw_tasks.h"

#include <cstdio>

#include <kestr/kestr.h>

#ifdef KESTR_BENCH_HAS_LIBRAW
#include <libraw/libraw.h>
#endif

#include "support/bench_files.h"

namespace kestr::bench {

std::vector<uint16_t> NoisyMosaic(uint32_t width, uint32_t height) {
    std::vector<uint16_t> mosaic(size_t{width} * height);
    uint32_t random = 1;
    for (uint32_t y = 0; y < height; ++y) {
        for (uint32_t x = 0; x < width; ++x) {
            random = random * 1664525 + 1013904223;
            const uint32_t light = 900 + (x * 5 + y * 3) % 9000;
            const uint32_t plane = y % 2 + x % 2;
            const uint32_t share = plane == 0 ? 6 : plane == 1 ? 8 : 7;
            mosaic[size_t{y} * width + x] =
                static_cast<uint16_t>(light * share / 8 + (random >> 16) % 120);
        }
    }
    return mosaic;
}

CScratchFile::CScratchFile(const char* name, std::span<const uint8_t> bytes) {
    const auto wide = ScratchPath(name);
    m_path.assign(wide.begin(), wide.end());
    std::FILE* const out = std::fopen(m_path.c_str(), "wb");
    std::fwrite(bytes.data(), 1, bytes.size(), out);
    std::fclose(out);
}

CScratchFile::~CScratchFile() {
    std::remove(m_path.c_str());
}

void LoadRaw(benchmark::State& state, const char* extension, std::span<const uint8_t> file,
             int64_t pixels) {
    const CScratchFile scratch((std::string("bench") + extension).c_str(), file);
    for (auto _ : state) {
        const HKESTRSESSION session = cNewSession();
        cSetRawInterpolationMethod(session, 0);
        cUseCIECAM02(session, 0);
        if (cLoadImageEx(session, scratch.Path(), 0, 0, nullptr, 0) == 0) {
            state.SkipWithError("not loaded");
        }
        cDestroySession(session);
    }
    state.SetItemsProcessed(state.iterations() * pixels);
}

#ifdef KESTR_BENCH_HAS_LIBRAW
static void RunLibRaw(benchmark::State& state, std::span<const uint8_t> file, int64_t pixels,
                      bool develop) {
    for (auto _ : state) {
        LibRaw raw;
        raw.imgdata.params.user_qual = 0;
        raw.imgdata.params.use_camera_wb = 1;
        raw.imgdata.params.output_bps = 16;
        if (raw.open_buffer(const_cast<uint8_t*>(file.data()), file.size()) != LIBRAW_SUCCESS ||
            raw.unpack() != LIBRAW_SUCCESS || (develop && raw.dcraw_process() != LIBRAW_SUCCESS)) {
            state.SkipWithError("not read");
            break;
        }
    }
    state.SetItemsProcessed(state.iterations() * pixels);
}
#else
static void RunLibRaw(benchmark::State& state, std::span<const uint8_t>, int64_t, bool) {
    state.SkipWithError("no LibRaw here");
}
#endif

void UnpackByLibRaw(benchmark::State& state, std::span<const uint8_t> file, int64_t pixels) {
    RunLibRaw(state, file, pixels, false);
}
void LoadByLibRaw(benchmark::State& state, std::span<const uint8_t> file, int64_t pixels) {
    RunLibRaw(state, file, pixels, true);
}

}  // namespace kestr::bench
