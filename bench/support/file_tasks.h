// Files of many pixels, read and written by Kestr and, where the machine has it, by ImageMagick.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include <benchmark/benchmark.h>

namespace kestr::bench {

/// A colour picture as a file of a type. The picture is one that a photograph would give, with runs
/// in a quarter of its pixels.
struct CFileTask {
    const char* name;   // of the file; its extension tells ImageMagick the format
    int32_t typeId;     // that Kestr saves it with
    bool packed;        // what ImageMagick saves: run-length coded, or plain
    bool deep = false;  // 16 bits a sample
    uint32_t width = 6000;
    uint32_t height = 4000;
};

/// Blue, green, red of each pixel, top row first.
std::vector<uint8_t> TaskSamples(const CFileTask& task);
/// The same at 16 bits.
std::vector<uint16_t> TaskDeepSamples(const CFileTask& task);

/// Loads the file that `make` writes to a path, again and again; it is removed at the end.
using CFileMaker = std::function<void(const std::string& path)>;
void LoadFile(benchmark::State& state, const CFileTask& task, const CFileMaker& make);
void SaveFile(benchmark::State& state, const CFileTask& task);
/// Has Kestr write the task's file.
void MakeFile(const CFileTask& task, const std::string& path);

/// The same by ImageMagick with one thread, from the file to its own store and back.
void MagickLoadFile(benchmark::State& state, const CFileTask& task, const CFileMaker& make);
void MagickSaveFile(benchmark::State& state, const CFileTask& task);

}  // namespace kestr::bench
