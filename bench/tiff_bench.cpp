// TIFF files of 24 Mpixel beside memcpy and beside the shortest loop over the same libtiff: whole
// strips, then red and blue swapped into a bottom-up bitmap.

#include <cstring>
#include <vector>

#include <benchmark/benchmark.h>
#include <tiffio.h>

#include "image/image_bits.h"
#include "platform/files.h"
#include "support/bench_files.h"

namespace kestr::bench {
namespace {

constexpr uint32_t kWidth = 6000;
constexpr uint32_t kHeight = 4000;
constexpr size_t kRowBytes = size_t{kWidth} * 3;
constexpr int kTypeNone = 18;
constexpr int kTypeLZW = 24;
constexpr int kTypeZip = 54;

void Report(benchmark::State& state) {
    state.SetItemsProcessed(static_cast<int64_t>(state.iterations()) * kWidth * kHeight);
}

const char* NameOf(int typeId) {
    return typeId == kTypeNone ? "none.tif" : typeId == kTypeLZW ? "lzw.tif" : "zip.tif";
}

std::basic_string<KESTR_CHAR> FileOf(int typeId) {
    static bool made[kTypeZip + 1] = {};
    const auto path = ScratchPath(NameOf(typeId));
    if (!made[typeId]) {
        NoisyImage(kWidth, kHeight).Save(path.c_str(), typeId, 0, true, true, false, nullptr);
    }
    made[typeId] = true;
    return path;
}

std::string Narrow(const std::basic_string<KESTR_CHAR>& path) {
    return {path.begin(), path.end()};
}

void Load(benchmark::State& state, int typeId) {
    const auto path = FileOf(typeId);
    for (auto _ : state) {
        CImageBits image;
        if (!image.Load(path.c_str(), 0, true, 0, nullptr, 0)) state.SkipWithError("refused");
        benchmark::DoNotOptimize(image.bits.data());
    }
    Report(state);
}

void BareDecode(benchmark::State& state, int typeId) {
    const std::string path = Narrow(FileOf(typeId));
    for (auto _ : state) {
        TIFF* tiff = TIFFOpen(path.c_str(), "r");
        uint32_t rowsPerStrip = 0;
        TIFFGetField(tiff, TIFFTAG_ROWSPERSTRIP, &rowsPerStrip);
        std::vector<uint8_t> strip(static_cast<size_t>(TIFFStripSize(tiff)));
        CPixelBytes bits;
        bits.ResizeUninitialized(kRowBytes * kHeight);
        for (uint32_t y = 0; y < kHeight; ++y) {
            if (y % rowsPerStrip == 0) {
                TIFFReadEncodedStrip(tiff, y / rowsPerStrip, strip.data(),
                                     static_cast<tmsize_t>(strip.size()));
            }
            const uint8_t* from = strip.data() + y % rowsPerStrip * kRowBytes;
            uint8_t* to = bits.data() + (kHeight - 1 - y) * kRowBytes;
            for (uint32_t x = 0; x < kWidth; ++x, from += 3, to += 3) {
                to[0] = from[2];
                to[1] = from[1];
                to[2] = from[0];
            }
        }
        TIFFClose(tiff);
        benchmark::DoNotOptimize(bits.data());
    }
    Report(state);
}

void Copy(benchmark::State& state) {
    const CImageBits& image = NoisyImage(kWidth, kHeight);
    for (auto _ : state) {
        CPixelBytes bits;
        bits.ResizeUninitialized(kRowBytes * kHeight);
        std::memcpy(bits.data(), image.bits.data(), kRowBytes * kHeight);
        benchmark::DoNotOptimize(bits.data());
    }
    Report(state);
}

void Save(benchmark::State& state, int typeId) {
    CImageBits& image = NoisyImage(kWidth, kHeight);
    const auto path = ScratchPath("saved.tif");
    for (auto _ : state) {
        if (!image.Save(path.c_str(), typeId, 0, true, true, false, nullptr)) {
            state.SkipWithError("refused");
        }
    }
    RemoveFile(path.c_str());
    Report(state);
}

void BareEncode(benchmark::State& state, int typeId) {
    const CImageBits& image = NoisyImage(kWidth, kHeight);
    const auto path = ScratchPath("saved.tif");
    const std::string name = Narrow(path);
    for (auto _ : state) {
        TIFF* tiff = TIFFOpen(name.c_str(), "w");
        TIFFSetField(tiff, TIFFTAG_IMAGEWIDTH, kWidth);
        TIFFSetField(tiff, TIFFTAG_IMAGELENGTH, kHeight);
        TIFFSetField(tiff, TIFFTAG_BITSPERSAMPLE, 8);
        TIFFSetField(tiff, TIFFTAG_SAMPLESPERPIXEL, 3);
        TIFFSetField(tiff, TIFFTAG_PHOTOMETRIC, PHOTOMETRIC_RGB);
        TIFFSetField(tiff, TIFFTAG_PLANARCONFIG, PLANARCONFIG_CONTIG);
        TIFFSetField(tiff, TIFFTAG_COMPRESSION,
                     typeId == kTypeNone  ? COMPRESSION_NONE
                     : typeId == kTypeLZW ? COMPRESSION_LZW
                                          : COMPRESSION_ADOBE_DEFLATE);
        if (typeId == kTypeLZW) TIFFSetField(tiff, TIFFTAG_PREDICTOR, PREDICTOR_HORIZONTAL);
        TIFFSetField(tiff, TIFFTAG_ROWSPERSTRIP, TIFFDefaultStripSize(tiff, 0));
        std::vector<uint8_t> row(kRowBytes);
        for (uint32_t y = 0; y < kHeight; ++y) {
            const uint8_t* from = image.bits.data() + (kHeight - 1 - y) * kRowBytes;
            for (size_t i = 0; i < kRowBytes; i += 3) {
                row[i] = from[i + 2];
                row[i + 1] = from[i + 1];
                row[i + 2] = from[i];
            }
            TIFFWriteScanline(tiff, row.data(), y, 0);
        }
        TIFFClose(tiff);
    }
    RemoveFile(path.c_str());
    Report(state);
}

BENCHMARK_CAPTURE(Load, tiff, kTypeNone)->Unit(benchmark::kMillisecond);
BENCHMARK(Copy)->Name("Copy/tiff")->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(BareDecode, tiff, kTypeNone)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(Load, tiff_lzw, kTypeLZW)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(BareDecode, tiff_lzw, kTypeLZW)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(Load, tiff_zip, kTypeZip)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(BareDecode, tiff_zip, kTypeZip)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(Save, tiff, kTypeNone)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(BareEncode, tiff, kTypeNone)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(Save, tiff_lzw, kTypeLZW)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(BareEncode, tiff_lzw, kTypeLZW)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(Save, tiff_zip, kTypeZip)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(BareEncode, tiff_zip, kTypeZip)->Unit(benchmark::kMillisecond);

}  // namespace
}  // namespace kestr::bench
