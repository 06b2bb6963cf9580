// Raw files of many pixels, read by Kestr and, where the machine has it, by LibRaw.
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include <benchmark/benchmark.h>

namespace kestr::bench {

/// A smooth scene with the noise of a sensor, 14 bits, through filters R G / G B; row by row.
std::vector<uint16_t> NoisyMosaic(uint32_t width, uint32_t height);

/// A file on disk as long as it is asked for.
class CScratchFile {
public:
    CScratchFile(const char* name, std::span<const uint8_t> bytes);
    ~CScratchFile();
    CScratchFile(const CScratchFile&) = delete;
    CScratchFile& operator=(const CScratchFile&) = delete;
    [[nodiscard]] const char* Path() const { return m_path.c_str(); }

private:
    std::string m_path;
};

/// From the file to the picture, by bilinear interpolation and the matrix route. `extension` has
/// its dot.
void LoadRaw(benchmark::State& state, const char* extension, std::span<const uint8_t> file,
             int64_t pixels);

/// LibRaw's: the samples alone, or the picture by bilinear interpolation. Skipped without LibRaw.
void UnpackByLibRaw(benchmark::State& state, std::span<const uint8_t> file, int64_t pixels);
void LoadByLibRaw(benchmark::State& state, std::span<const uint8_t> file, int64_t pixels);

}  // namespace kestr::bench
