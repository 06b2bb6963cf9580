// EXIF blocks beside the libraries that one would take instead.
//
// KESTR_BENCH_PHOTOS may name a folder of JPEG files: their blocks are then used too.
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <vector>

#include <benchmark/benchmark.h>

#include "metadata/exif_members.h"
#include "metadata/exif_text.h"
#include "metadata/jpeg_segments.h"

#ifdef KESTR_BENCH_HAS_EXIF
#include <libexif/exif-data.h>
#endif
#ifdef KESTR_BENCH_HAS_EXIV2
#include <exiv2/exiv2.hpp>
#endif

namespace kestr::bench {
namespace {

using Bytes = std::vector<uint8_t>;
using Record = kestr::CEXIF_Members;

/// A camera's block of about 60 KB: some sixty fields, a maker note of 40 KB, a thumbnail.
Bytes LargeBlock() {
    Record r;
    r.Make = TextToWide("Kestrel Optical");
    r.Model = TextToWide("K-1 Mark II");
    r.Software = TextToWide("1.0.3");
    r.DateTime = r.DateTimeOriginal = r.DateTimeDigitized = TextToWide("2004:02:29 13:05:09");
    r.Orientation = 6;
    r.SetResolutionDPI(300, 300);
    for (auto* ratio : {&r.ExposureTime, &r.FNumber, &r.CompressedBitsPerPixel, &r.FocalLength,
                        &r.ShutterSpeedValue, &r.ApertureValue, &r.BrightnessValue,
                        &r.ExposureBiasValue, &r.MaxApertureValue, &r.SubjectDistance,
                        &r.FocalPlaneXResolution, &r.FocalPlaneYResolution, &r.ExposureIndex,
                        &r.DigitalZoomRatio, &r.Gamma, &r.GPSAltitude, &r.GPSDOP}) {
        *ratio = CExifRational::Unsigned(17, 10);
    }
    for (auto* number : {&r.ExposureProgram, &r.ISOSpeedRatings, &r.MeteringMode, &r.LightSource,
                         &r.Flash, &r.ColorSpace, &r.SensingMethod, &r.CustomRendered,
                         &r.ExposureMode, &r.WhiteBalance, &r.SceneCaptureType, &r.GainControl,
                         &r.Contrast, &r.Saturation, &r.Sharpness, &r.SubjectDistanceRange}) {
        *number = uint16_t{2};
    }
    r.GPSLatitudeRef = TextToWide("N");
    r.GPSLatitude = Record::Rationals(3, CExifRational::Unsigned(31, 1));
    r.UserComment = Bytes(264, ' ');
    r.MakerNote = Bytes(40'000, 0x5A);
    for (uint16_t tag = 50000; tag < 50040; ++tag) r.otherTags0.push_back({tag, 7, Bytes(100, 1)});
    r.thumbnailTags.push_back({513, 4, Bytes(4)});
    r.thumbnail = Bytes(15'000, 0x33);
    const Bytes app1 = r.Serialise(true);
    return {app1.begin() + 6, app1.end()};
}

/// The EXIF blocks of the folder's files, or of nothing.
const std::vector<Bytes>& Photos() {
    static const std::vector<Bytes> blocks = [] {
        std::vector<Bytes> all;
        const char* folder = std::getenv("KESTR_BENCH_PHOTOS");
        if (!folder) return all;
        for (const auto& entry : std::filesystem::recursive_directory_iterator(folder)) {
            if (!entry.is_regular_file()) continue;
            std::ifstream in(entry.path(), std::ios::binary);
            const Bytes file{std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
            for (const CJPEGSegment& segment : ScanJPEG(file)) {
                if (!segment.isExif || segment.length < 18) continue;
                const auto start = file.begin() + static_cast<ptrdiff_t>(segment.offset);
                all.emplace_back(start + 10, start + static_cast<ptrdiff_t>(segment.length));
                break;
            }
        }
        return all;
    }();
    return blocks;
}

void ParseAndPatch(benchmark::State& state) {
    const Bytes block = LargeBlock();
    for (auto _ : state) {
        Record record;
        record.Parse(block, false, true);
        record.Orientation = 1;
        benchmark::DoNotOptimize(record.Serialise(true));
    }
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * block.size()));
}
BENCHMARK(ParseAndPatch)->Unit(benchmark::kMicrosecond);

void ParseAndRebuild(benchmark::State& state) {
    const Bytes block = LargeBlock();
    for (auto _ : state) {
        Record record;
        record.Parse(block, false, true);
        record.originalBlock.clear();
        benchmark::DoNotOptimize(record.Serialise(true));
    }
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * block.size()));
}
BENCHMARK(ParseAndRebuild)->Unit(benchmark::kMicrosecond);

template <typename Action>
void OverPhotos(benchmark::State& state, Action action) {
    if (Photos().empty()) return state.SkipWithError("KESTR_BENCH_PHOTOS names no photographs");
    for (auto _ : state) {
        for (const Bytes& block : Photos()) action(block);
    }
    state.SetItemsProcessed(static_cast<int64_t>(state.iterations() * Photos().size()));
}

void PhotosAsText(benchmark::State& state) {
    const WideString separator = TextToWide(":\t"), lineEnd = TextToWide("\r\n");
    OverPhotos(state, [&](const Bytes& block) {
        Record record;
        record.Parse(block, false, true);
        benchmark::DoNotOptimize(ExifAsText(record, separator, lineEnd));
    });
}
BENCHMARK(PhotosAsText)->Unit(benchmark::kMicrosecond);

#ifdef KESTR_BENCH_HAS_EXIF
void PhotosAsTextLibexif(benchmark::State& state) {
    OverPhotos(state, [](const Bytes& block) {
        constexpr std::string_view kMark("Exif\0\0", 6);
        Bytes app1(kMark.begin(), kMark.end());
        app1.insert(app1.end(), block.begin(), block.end());
        ExifData* const data = exif_data_new();
        exif_data_load_data(data, app1.data(), static_cast<unsigned>(app1.size()));
        exif_data_foreach_content(
            data,
            [](ExifContent* content, void*) {
                exif_content_foreach_entry(
                    content,
                    [](ExifEntry* entry, void*) {
                        char text[1024];
                        benchmark::DoNotOptimize(exif_entry_get_value(entry, text, sizeof text));
                    },
                    nullptr);
            },
            nullptr);
        exif_data_unref(data);
    });
}
BENCHMARK(PhotosAsTextLibexif)->Unit(benchmark::kMicrosecond);
#endif

#ifdef KESTR_BENCH_HAS_EXIV2
void PhotosAsTextExiv2(benchmark::State& state) {
    Exiv2::LogMsg::setLevel(Exiv2::LogMsg::mute);
    OverPhotos(state, [](const Bytes& block) {
        Exiv2::ExifData data;
        try {
            Exiv2::ExifParser::decode(data, block.data(), static_cast<uint32_t>(block.size()));
            for (const auto& datum : data) benchmark::DoNotOptimize(datum.print(&data));
        } catch (const Exiv2::Error&) {  // such a file counts as read
        }
    });
}
BENCHMARK(PhotosAsTextExiv2)->Unit(benchmark::kMicrosecond);
#endif

}  // namespace
}  // namespace kestr::bench
