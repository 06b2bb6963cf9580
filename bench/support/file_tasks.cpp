#include "support/file_tasks.h"

#ifdef KESTR_BENCH_HAS_MAGICKWAND
#include <wand/MagickWand.h>
#endif

#include "image/image_bits.h"
#include "platform/files.h"
#include "support/bench_files.h"

namespace kestr::bench {
namespace {

using Path = std::basic_string<KESTR_CHAR>;

Path PathOf(const CFileTask& task) {
    return ScratchPath(task.name);
}

std::string Narrow(const Path& path) {
    return {path.begin(), path.end()};
}

void LoadSamples(CImageBits& image, const CFileTask& task) {
    const auto words = task.deep ? TaskDeepSamples(task) : std::vector<uint16_t>();
    image.LoadBits(TaskSamples(task), words, task.width, task.height, false, nullptr);
}

void Report(benchmark::State& state, const CFileTask& task) {
    state.SetItemsProcessed(static_cast<int64_t>(state.iterations()) * task.width * task.height);
}

}  // namespace

std::vector<uint8_t> TaskSamples(const CFileTask& task) {
    std::vector<uint8_t> samples = NoisyPicture(task.width, task.height, 3);
    for (uint8_t& sample : samples) sample &= 0xF8;
    return samples;
}

std::vector<uint16_t> TaskDeepSamples(const CFileTask& task) {
    const std::vector<uint8_t> samples = TaskSamples(task);
    std::vector<uint16_t> words(samples.size());
    for (size_t i = 0; i < words.size(); ++i) {
        words[i] = static_cast<uint16_t>(samples[i] << 8 | (i * 2654435761u >> 24 & 255));
    }
    return words;
}

void MakeFile(const CFileTask& task, const std::string& path) {
    CImageBits image;
    LoadSamples(image, task);
    image.Save(Path(path.begin(), path.end()).c_str(), task.typeId, 0, true, true, false, nullptr);
}

void LoadFile(benchmark::State& state, const CFileTask& task, const CFileMaker& make) {
    const Path path = PathOf(task);
    make(Narrow(path));
    for (auto _ : state) {
        CImageBits image;
        if (!image.Load(path.c_str(), 0, true, 0, nullptr, 0)) state.SkipWithError("refused");
        benchmark::DoNotOptimize(image.bits.data());
    }
    Report(state, task);
    RemoveFile(path.c_str());
}

void SaveFile(benchmark::State& state, const CFileTask& task) {
    const Path path = PathOf(task);
    CImageBits image;
    LoadSamples(image, task);
    for (auto _ : state) {
        if (!image.Save(path.c_str(), task.typeId, 0, true, true, false, nullptr)) {
            state.SkipWithError("refused");
        }
    }
    Report(state, task);
    RemoveFile(path.c_str());
}

#ifdef KESTR_BENCH_HAS_MAGICKWAND
void MagickLoadFile(benchmark::State& state, const CFileTask& task, const CFileMaker& make) {
    const std::string path = Narrow(PathOf(task));
    make(path);
    MagickWandGenesis();
    SetMagickResourceLimit(ThreadResource, 1);
    // The first picture of a Photoshop file is the one beside its layers.
    const std::string first = path + "[0]";
    for (auto _ : state) {
        MagickWand* wand = NewMagickWand();
        if (!MagickReadImage(wand, first.c_str())) state.SkipWithError("refused");
        DestroyMagickWand(wand);
    }
    Report(state, task);
    MagickWandTerminus();
    RemoveFile(PathOf(task).c_str());
}

void MagickSaveFile(benchmark::State& state, const CFileTask& task) {
    MagickWandGenesis();
    SetMagickResourceLimit(ThreadResource, 1);
    MagickWand* wand = NewMagickWand();
    if (task.deep) {
        MagickConstituteImage(wand, task.width, task.height, "BGR", ShortPixel,
                              TaskDeepSamples(task).data());
    } else {
        MagickConstituteImage(wand, task.width, task.height, "BGR", CharPixel,
                              TaskSamples(task).data());
    }
    MagickSetImageDepth(wand, task.deep ? 16 : 8);
    MagickSetImageCompression(wand, task.packed ? RLECompression : NoCompression);
    const std::string path = Narrow(PathOf(task));
    for (auto _ : state) {
        if (!MagickWriteImage(wand, path.c_str())) state.SkipWithError("refused");
    }
    Report(state, task);
    DestroyMagickWand(wand);
    MagickWandTerminus();
    RemoveFile(PathOf(task).c_str());
}
#else
void MagickLoadFile(benchmark::State& state, const CFileTask&, const CFileMaker&) {
    state.SkipWithError("built without ImageMagick");
}
void MagickSaveFile(benchmark::State& state, const CFileTask&) {
    state.SkipWithError("built without ImageMagick");
}
#endif

}  // namespace kestr::bench
