// Raw pictures of 12 Mpixel, from the file to 16-bit samples by the matrix route, beside LibRaw
// with the same method; and the demosaicing alone. The file is a DNG of 14 bits in 16, as it comes
// from a mosaicked picture.

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include <benchmark/benchmark.h>
#include <kestr/kestr.h>

#ifdef KESTR_BENCH_HAS_LIBRAW
#include <libraw/libraw.h>
#endif

#include "base/byte_cursor.h"
#include "platform/files.h"
#include "raw/dcraw_reader.h"
#include "raw/demosaic.h"
#include "raw/neutral_estimate.h"
#include "readers/reader_registry.h"
#include "readers/type_ids.h"
#include "support/bench_files.h"

namespace kestr::bench {
namespace {

constexpr uint32_t kWidth = 4000;
constexpr uint32_t kHeight = 3000;
constexpr uint32_t kDataOffset = 4096;
constexpr uint16_t kWhite = 16383;
constexpr uint8_t kPattern[] = {kRed, kGreen, kGreen, kBlue};
constexpr double kNeutral[] = {0.48, 1.0, 0.72};
// Nikon D70, daylight.
constexpr double kMatrix[] = {0.7732, -0.2422, -0.0789, -0.8238, 1.5884,
                              0.2498, -0.0859, 0.0783,  0.7330};

std::vector<uint16_t> Mosaic() {
    const auto picture = NoisyPicture(kWidth, kHeight, 3);
    std::vector<uint16_t> mosaic(size_t{kWidth} * kHeight);
    for (size_t i = 0; i < mosaic.size(); ++i) {
        const uint8_t plane = kPattern[i / kWidth % 2 * 2 + i % kWidth % 2];
        mosaic[i] = static_cast<uint16_t>(picture[i * 3 + plane] * kNeutral[plane] * 64);
    }
    return mosaic;
}

/// The directory of a DNG whose samples begin at kDataOffset.
class CDNGHeader {
public:
    CDNGHeader() {
        Add(254, 4, {0}), Add(256, 4, {kWidth}), Add(257, 4, {kHeight}), Add(258, 3, {16});
        Add(259, 3, {1}), Add(262, 3, {32803}), AddText(271, "Bench"), AddText(272, "Bench");
        Add(273, 4, {kDataOffset}), Add(274, 3, {1}), Add(277, 3, {1}), Add(278, 4, {kHeight});
        Add(279, 4, {kWidth * kHeight * 2}), Add(284, 3, {1}), Add(33421, 3, {2, 2});
        Add(33422, 1, {kPattern[0], kPattern[1], kPattern[2], kPattern[3]});
        Add(50706, 1, {1, 1, 0, 0}), AddText(50708, "Bench"), Add(50717, 4, {kWhite});
        AddRationals(50721, 10, kMatrix), AddRationals(50728, 5, kNeutral), Add(50778, 3, {21});
    }

    std::vector<uint8_t> Bytes() const {
        std::vector<uint8_t> bytes = {'I', 'I', 42, 0, 8, 0, 0, 0};
        Put(bytes, m_entries.size(), 2);
        size_t place = 8 + 2 + 12 * m_entries.size() + 4;
        std::vector<uint8_t> values;
        for (const CEntry& entry : m_entries) {
            Put(bytes, entry.tag, 2);
            Put(bytes, entry.type, 2);
            Put(bytes, entry.count, 4);
            if (entry.bytes.size() <= 4) {
                bytes.insert(bytes.end(), entry.bytes.begin(), entry.bytes.end());
                bytes.resize(bytes.size() + 4 - entry.bytes.size());
            } else {
                Put(bytes, place + values.size(), 4);
                values.insert(values.end(), entry.bytes.begin(), entry.bytes.end());
                values.resize((values.size() + 1) / 2 * 2);
            }
        }
        Put(bytes, 0, 4);
        bytes.insert(bytes.end(), values.begin(), values.end());
        bytes.resize(kDataOffset);
        return bytes;
    }

private:
    struct CEntry {
        uint16_t tag, type;
        size_t count;
        std::vector<uint8_t> bytes;
    };

    static void Put(std::vector<uint8_t>& bytes, uint64_t value, size_t count) {
        for (size_t i = 0; i < count; ++i) bytes.push_back(static_cast<uint8_t>(value >> 8 * i));
    }
    void Add(uint16_t tag, uint16_t type, const std::vector<uint32_t>& values) {
        CEntry& entry = m_entries.emplace_back(CEntry{tag, type, values.size(), {}});
        const size_t size = type == 4 ? 4 : type == 3 ? 2 : 1;
        for (const uint32_t value : values) Put(entry.bytes, value, size);
    }
    void AddText(uint16_t tag, const std::string& text) {
        m_entries.push_back({tag, 2, text.size() + 1, {text.begin(), text.end()}});
        m_entries.back().bytes.push_back(0);
    }
    void AddRationals(uint16_t tag, uint16_t type, std::span<const double> values) {
        CEntry& entry = m_entries.emplace_back(CEntry{tag, type, values.size(), {}});
        for (const double value : values) {
            const auto numerator =
                static_cast<int32_t>(value < 0 ? value * 1e4 - .5 : value * 1e4 + .5);
            Put(entry.bytes, static_cast<uint32_t>(numerator), 4);
            Put(entry.bytes, 10000, 4);
        }
    }

    std::vector<CEntry> m_entries;
};

const std::basic_string<KESTR_CHAR>& FileOfSensor() {
    static const auto file = [] {
        const auto path = ScratchPath("sensor.x3f");
        const auto mosaic = Mosaic();
        const auto header = CDNGHeader().Bytes();
        std::FILE* out = std::fopen(std::string(path.begin(), path.end()).c_str(), "wb");
        std::fwrite(header.data(), 1, header.size(), out);
        std::fwrite(mosaic.data(), 2, mosaic.size(), out);
        std::fclose(out);
        return path;
    }();
    return file;
}

/// Knows nothing but where the samples of that file are.
class CSensorReader final : public CDCRawReader {
public:
    bool Open(const KESTR_CHAR* path, int) override {
        if (!m_file.OpenRead(path) || m_file.Size() != kDataOffset + kWidth * kHeight * 2) {
            return Fail("Not the sensor's file.");
        }
        m_typeId = kTypeFoveon;
        m_pageCount = 1;
        SetRawSize(kWidth, kHeight);
        m_bitmapInfo.SetFormat(24, kWidth - 4, kHeight - 4);
        m_cameraColor.colorMatrix1 =
            m_cameraColor.colorMatrix2 = {std::begin(kMatrix), std::end(kMatrix)};
        m_cameraColor.illuminant1 = m_cameraColor.illuminant2 = 6500;
        m_whiteLevel = kWhite;
        return true;
    }
    void Close() override { m_file.Close(); }
    bool NeedsRawDecode() override { return true; }
    void PrepareRawDecode() override {
        m_cfaPattern = kPattern;
        m_asShotNeutral = {std::begin(kNeutral), std::end(kNeutral)};
        SetLevelsGamma(1.0);
    }
    bool ReadSensorData(CRawSensorImage& image) override {
        CByteCursor<std::endian::little> in(m_file.Bytes(), kDataOffset);
        for (uint32_t y = 0; y < kHeight; ++y) {
            if (!StartRawRow(image, this, y)) return false;
            uint16_t* row = image.samples.Row(y);
            for (uint32_t x = 0; x < kWidth; ++x) row[3 * x + image.FC(y, x)] = in.U16();
        }
        return true;
    }
};
const CReaderRegistration kReaders{{kTypeFoveon}, &MakeReader<CSensorReader>};

void Report(benchmark::State& state) {
    state.SetItemsProcessed(static_cast<int64_t>(state.iterations()) * kWidth * kHeight);
}

void DevelopRaw(benchmark::State& state, uint32_t method) {
    const auto& path = FileOfSensor();
    const HKESTRSESSION session = cNewSession();
    cUseCIECAM02(session, 0);
    cSetGeneralRawParams(session, 0, 0);
    cSetRawInterpolationMethod(session, method);
    for (auto _ : state) {
        if (cLoadImageExW(session, path.c_str(), 0, 0, nullptr, 0) != 1) {
            state.SkipWithError("refused");
        }
    }
    cDestroySession(session);
    Report(state);
}
BENCHMARK_CAPTURE(DevelopRaw, Bilinear, kBilinear)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(DevelopRaw, VNG, kVNG)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(DevelopRaw, AHD, kAHD)->Unit(benchmark::kMillisecond);

#ifdef KESTR_BENCH_HAS_LIBRAW
void DevelopRawByLibRaw(benchmark::State& state, int quality) {
    const std::string path(FileOfSensor().begin(), FileOfSensor().end());
    for (auto _ : state) {
        LibRaw raw;
        raw.imgdata.params.user_qual = quality;
        raw.imgdata.params.output_bps = 16;
        raw.imgdata.params.use_camera_wb = 1;
        raw.imgdata.params.no_auto_bright = 1;
        if (raw.open_file(path.c_str()) != 0 || raw.unpack() != 0 || raw.dcraw_process() != 0) {
            state.SkipWithError("refused");
            break;
        }
        libraw_processed_image_t* picture = raw.dcraw_make_mem_image();
        benchmark::DoNotOptimize(picture);
        LibRaw::dcraw_clear_mem(picture);
    }
    Report(state);
}
BENCHMARK_CAPTURE(DevelopRawByLibRaw, Bilinear, 0)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(DevelopRawByLibRaw, VNG, 1)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(DevelopRawByLibRaw, AHD, 3)->Unit(benchmark::kMillisecond);
#endif

/// A sensor of `colors` planes before demosaicing.
CRawSensorImage MakeSensor(uint8_t colors) {
    static const std::vector<uint16_t> mosaic = Mosaic();
    constexpr uint8_t kFourColors[] = {kGreen, kMagenta, kCyan, kYellow};
    CRawSensorImage image;
    image.filter = *MakeFilterTable(colors == 4 ? kFourColors : kPattern, 2, 2, colors);
    image.samples = CRawSamples(kWidth, kHeight, colors);
    for (size_t i = 0; i < mosaic.size(); ++i) {
        const auto y = static_cast<uint32_t>(i / kWidth), x = static_cast<uint32_t>(i % kWidth);
        image.samples.samples[i * colors + image.FC(y, x)] = mosaic[i];
    }
    return image;
}

void DemosaicRaw(benchmark::State& state, uint32_t method, uint8_t colors) {
    CRawSensorImage image = MakeSensor(colors);
    CameraColorData camera;
    camera.colorMatrix2 = {std::begin(kMatrix), std::end(kMatrix)};
    const CRawColorInputs inputs{
        .cameraColor = camera, .analogBalance = {}, .neutral = kNeutral, .white = kWhite};
    // What is filled in already is filled in again, from the same samples.
    for (auto _ : state) benchmark::DoNotOptimize(Demosaic(method, image, nullptr, inputs));
    Report(state);
}
BENCHMARK_CAPTURE(DemosaicRaw, Bilinear, kBilinear, 3)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(DemosaicRaw, VNG, kVNG, 3)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(DemosaicRaw, AHD, kAHD, 3)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(DemosaicRaw, BilinearFourColors, kBilinear, 4)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(DemosaicRaw, VNGFourColors, kVNG, 4)->Unit(benchmark::kMillisecond);

void EstimateRawNeutral(benchmark::State& state) {
    const CRawSensorImage image = MakeSensor(3);
    for (auto _ : state) benchmark::DoNotOptimize(EstimateNeutralFromSamples(image, 0, kWhite));
    Report(state);
}
BENCHMARK(EstimateRawNeutral)->Unit(benchmark::kMillisecond);

}  // namespace
}  // namespace kestr::bench
