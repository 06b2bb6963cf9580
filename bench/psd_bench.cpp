// The composite of Photoshop files, plain and packed, at 8 and 16 bits; layers laid over a matte.
#include <fstream>

#include "support/file_tasks.h"

namespace kestr::bench {
namespace {

using Bytes = std::vector<uint8_t>;

constexpr CFileTask kPlain{"plain.psd", 31, false};
constexpr CFileTask kPacked{"packed.psd", 31, true};
constexpr CFileTask kDeep{"deep.psd", 31, false, true, 4000, 3000};
constexpr CFileTask kLayers{"layers.psd", 31, true};

void Put(Bytes& out, uint64_t value, int bytes) {
    for (int i = bytes - 1; i >= 0; --i) out.push_back(static_cast<uint8_t>(value >> 8 * i));
}

/// Appends a row as packets: runs from 3 on, else the bytes as they are.
void PackRow(const Bytes& row, Bytes& packed) {
    const auto runAt = [&](size_t at) {
        size_t length = 1;
        while (length < 128 && at + length < row.size() && row[at + length] == row[at]) ++length;
        return length;
    };
    for (size_t i = 0; i < row.size();) {
        const size_t run = runAt(i);
        if (run >= 3) {
            Put(packed, 257 - run, 1);
            packed.push_back(row[i]);
            i += run;
            continue;
        }
        size_t end = i + 1;
        while (end < row.size() && end - i < 128 && runAt(end) < 3) ++end;
        Put(packed, end - i - 1, 1);
        packed.insert(packed.end(), row.begin() + static_cast<ptrdiff_t>(i),
                      row.begin() + static_cast<ptrdiff_t>(end));
        i = end;
    }
}

/// The rows' lengths and packets of the planes from `first` to `last`, 0 being red.
void PackPlanes(const CFileTask& task, const Bytes& samples, size_t first, size_t last,
                Bytes& out) {
    Bytes lengths, packets, row(task.width);
    for (size_t plane = first; plane <= last; ++plane) {
        for (uint32_t y = 0; y < task.height; ++y) {
            for (uint32_t x = 0; x < task.width; ++x) {
                row[x] = samples[(size_t{y} * task.width + x) * 3 + 2 - plane];
            }
            const size_t before = packets.size();
            PackRow(row, packets);
            Put(lengths, packets.size() - before, 2);
        }
    }
    Put(out, 1, 2);
    out.insert(out.end(), lengths.begin(), lengths.end());
    out.insert(out.end(), packets.begin(), packets.end());
}

/// A packed file, with a layer over the whole picture that lets a third of the matte through, or
/// without.
void MakePacked(const CFileTask& task, bool layer, const std::string& path) {
    const Bytes samples = TaskSamples(task);
    Bytes file{'8', 'B', 'P', 'S', 0, 1, 0, 0, 0, 0, 0, 0, 0, 3};
    Put(file, task.height, 4);
    Put(file, task.width, 4);
    Put(file, 8, 2);
    Put(file, 3, 2);
    Put(file, 0, 4);  // colours
    Put(file, 0, 4);  // resources
    Bytes info;
    if (layer) {
        std::vector<Bytes> channels(3);
        for (size_t i = 0; i < 3; ++i) PackPlanes(task, samples, i, i, channels[i]);
        Put(info, 1, 2);
        for (const uint32_t side : {0u, 0u, task.height, task.width}) Put(info, side, 4);
        Put(info, 3, 2);
        for (size_t i = 0; i < 3; ++i) Put(info, i, 2), Put(info, channels[i].size(), 4);
        for (const char c : {'8', 'B', 'I', 'M', 'n', 'o', 'r', 'm'}) Put(info, c & 0x7F, 1);
        Put(info, 0xAA000000, 4);  // opacity, clipping, flags
        Put(info, 4, 4);           // no mask
        Put(info, 0, 4);
        for (const Bytes& channel : channels) {
            info.insert(info.end(), channel.begin(), channel.end());
        }
        Bytes section;
        Put(section, info.size(), 4);
        section.insert(section.end(), info.begin(), info.end());
        info = section;
    }
    Put(file, info.size(), 4);
    file.insert(file.end(), info.begin(), info.end());
    PackPlanes(task, samples, 0, 2, file);
    std::ofstream(path, std::ios::binary)
        .write(reinterpret_cast<const char*>(file.data()),
               static_cast<std::streamsize>(file.size()));
}

CFileMaker MakerOf(const CFileTask& task, bool layer) {
    return [&task, layer](const std::string& path) {
        task.packed ? MakePacked(task, layer, path) : MakeFile(task, path);
    };
}

void LoadPhotoshop(benchmark::State& state, const CFileTask& task, bool layer) {
    LoadFile(state, task, MakerOf(task, layer));
}
void MagickLoadPhotoshop(benchmark::State& state, const CFileTask& task) {
    MagickLoadFile(state, task, MakerOf(task, false));
}

BENCHMARK_CAPTURE(LoadPhotoshop, Plain, kPlain, false)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(MagickLoadPhotoshop, Plain, kPlain)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(LoadPhotoshop, Packed, kPacked, false)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(MagickLoadPhotoshop, Packed, kPacked)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(LoadPhotoshop, Deep, kDeep, false)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(MagickLoadPhotoshop, Deep, kDeep)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(LoadPhotoshop, Layer, kLayers, true)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(SaveFile, Photoshop, kPlain)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(MagickSaveFile, Photoshop, kPlain)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(SaveFile, PhotoshopDeep, kDeep)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(MagickSaveFile, PhotoshopDeep, kDeep)->Unit(benchmark::kMillisecond);

}  // namespace
}  // namespace kestr::bench
