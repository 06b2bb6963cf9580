// Portable pixmaps, Targa and PCX: load and save of 24 Mpixel.
#include "support/file_tasks.h"

namespace kestr::bench {
namespace {

constexpr CFileTask kPPM{"raster.ppm", 13, false};
constexpr CFileTask kTarga{"raster.tga", 16, false};
constexpr CFileTask kTargaPacked{"packed.tga", 17, true};
constexpr CFileTask kPCX{"raster.pcx", 8, true};

void Load(benchmark::State& state, const CFileTask& task) {
    LoadFile(state, task, [&](const std::string& path) { MakeFile(task, path); });
}
void MagickLoad(benchmark::State& state, const CFileTask& task) {
    MagickLoadFile(state, task, [&](const std::string& path) { MakeFile(task, path); });
}

#define KESTR_RASTER_BENCH(name, task)                                        \
    BENCHMARK_CAPTURE(Load, name, task)->Unit(benchmark::kMillisecond);       \
    BENCHMARK_CAPTURE(MagickLoad, name, task)->Unit(benchmark::kMillisecond); \
    BENCHMARK_CAPTURE(SaveFile, name, task)->Unit(benchmark::kMillisecond);   \
    BENCHMARK_CAPTURE(MagickSaveFile, name, task)->Unit(benchmark::kMillisecond)

KESTR_RASTER_BENCH(PPM, kPPM);
KESTR_RASTER_BENCH(Targa, kTarga);
KESTR_RASTER_BENCH(TargaPacked, kTargaPacked);
KESTR_RASTER_BENCH(PCX, kPCX);

}  // namespace
}  // namespace kestr::bench
