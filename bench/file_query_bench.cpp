// Questions to a thousand photographs beside Exiv2 on the same fields.
//
// KESTR_BENCH_PHOTOS names a folder of JPEG files, which are taken again and again until there are
// a thousand. Beside ExifTool: `time exiftool -fast FILE` over the same files, a call each.
#include <cstdlib>
#include <filesystem>
#include <vector>

#include <benchmark/benchmark.h>
#include <kestr/kestr.h>

#include "platform/automation.h"

#ifdef KESTR_BENCH_HAS_EXIV2
#include <exiv2/exiv2.hpp>
#endif

namespace kestr::bench {
namespace {

constexpr size_t kPhotos = 1000;

const std::vector<std::filesystem::path>& Photos() {
    static const std::vector<std::filesystem::path> photos = [] {
        std::vector<std::filesystem::path> all;
        const char* folder = std::getenv("KESTR_BENCH_PHOTOS");
        if (!folder) return all;
        for (const auto& entry : std::filesystem::recursive_directory_iterator(folder)) {
            const auto extension = entry.path().extension();
            if (extension == ".jpg" || extension == ".jpeg") all.push_back(entry.path());
        }
        for (size_t i = 0; !all.empty() && all.size() < kPhotos; ++i) {
            all.push_back(std::filesystem::path(all[i]));
        }
        return all;
    }();
    return photos;
}

template <typename Action>
void OverPhotos(benchmark::State& state, Action action) {
    if (Photos().empty()) return state.SkipWithError("KESTR_BENCH_PHOTOS names no photographs");
    for (auto _ : state) {
        for (const auto& photo : Photos()) action(photo);
    }
    state.SetItemsProcessed(static_cast<int64_t>(state.iterations() * Photos().size()));
}

void FileQuery(benchmark::State& state) {
    OverPhotos(state, [](const std::filesystem::path& photo) {
        int32_t typeId = 0;
        uint32_t width = 0, height = 0, pages = 0;
        uint8_t bits = 0;
        uint16_t mcuWidth = 0, mcuHeight = 0;
        BSTR texts[4] = {};
        benchmark::DoNotOptimize(cGetImageFileInfo(
            photo.string().c_str(), 0, &typeId, &width, &height, &bits, &pages, &texts[0],
            &texts[1], &texts[2], &texts[3], &mcuWidth, &mcuHeight, nullptr));
        for (BSTR text : texts) automation::FreeText(text);
    });
}
BENCHMARK(FileQuery)->Unit(benchmark::kMillisecond);

#ifdef KESTR_BENCH_HAS_EXIV2
void FileQueryExiv2(benchmark::State& state) {
    Exiv2::LogMsg::setLevel(Exiv2::LogMsg::mute);
    OverPhotos(state, [](const std::filesystem::path& photo) {
        try {
            const auto image = Exiv2::ImageFactory::open(photo.string());
            image->readMetadata();
            benchmark::DoNotOptimize(image->pixelWidth() + image->pixelHeight());
            const Exiv2::ExifData& data = image->exifData();
            for (const auto& datum : data) {
                // Maker notes are not told as text, and so not asked of the other library either.
                const std::string group = datum.groupName();
                if (group == "Image" || group == "Photo" || group == "GPSInfo" || group == "Iop") {
                    benchmark::DoNotOptimize(datum.print(&data));
                }
            }
        } catch (const Exiv2::Error&) {  // such a file counts as read
        }
    });
}
BENCHMARK(FileQueryExiv2)->Unit(benchmark::kMillisecond);
#endif

}  // namespace
}  // namespace kestr::bench
