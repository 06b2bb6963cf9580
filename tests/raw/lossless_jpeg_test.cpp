// Lossless JPEG against an encoder that shares no code with it, and against streams of another one.
#include "raw/lossless_jpeg.h"

#include <gmock/gmock.h>

#include "metadata/tiff_parser.h"
#include "support/lossless_jpeg_builder.h"
#include "support/test_data.h"

namespace kestr::test {
namespace {

using testing::ElementsAreArray;

// Smooth with leaps to the ends of the range, so that every category occurs.
std::vector<uint16_t> Picture(const CLosslessJPEGBuilder& b) {
    std::vector<uint16_t> samples(size_t{b.columns} * b.rows * b.components);
    const uint32_t mask = (1u << (b.precision - b.pointTransform)) - 1;
    uint32_t random = 12345;
    for (size_t i = 0; i < samples.size(); ++i) {
        random = random * 1664525 + 1013904223;
        const uint32_t spread = random >> 27;  // 0..31: how many bits of noise
        const uint32_t noise = (random >> 9) & ((1u << spread % 17) - 1);
        samples[i] = uint16_t((i * 7 + noise + (spread == 31 ? mask : 0)) & mask);
    }
    return samples;
}

std::vector<uint16_t> Decode(const std::vector<uint8_t>& stream, bool bitsBehind16 = false) {
    std::vector<uint16_t> out;
    const auto decoder = CLosslessJPEG::Open(stream, bitsBehind16);
    if (!decoder) return out;
    for (auto row = decoder->NextRow(); !row.empty(); row = decoder->NextRow()) {
        out.insert(out.end(), row.begin(), row.end());
    }
    return out;
}

TEST(LosslessJPEG, GivesTheSamplesOfEachPredictor) {
    for (uint32_t components = 1; components <= 4; ++components) {
        for (int predictor = 1; predictor <= 7; ++predictor) {
            for (const int precision : {2, 8, 12, 14, 16}) {
                for (const uint32_t restartRows : {0u, 1u, 4u}) {
                    SCOPED_TRACE(testing::Message()
                                 << components << " components, predictor " << predictor
                                 << ", bits " << precision << ", restart " << restartRows);
                    const CLosslessJPEGBuilder b{.columns = 23,
                                                 .rows = 19,
                                                 .components = components,
                                                 .precision = precision,
                                                 .predictor = predictor,
                                                 .restartRows = restartRows};
                    const auto samples = Picture(b);
                    ASSERT_EQ(Decode(b.Encode(samples)), samples);
                }
            }
        }
    }
}

TEST(LosslessJPEG, TakesTheSizesOfTheFrame) {
    const CLosslessJPEGBuilder b{.columns = 300, .rows = 3, .components = 2, .precision = 12};
    const auto stream = b.Encode(Picture(b));
    const auto decoder = CLosslessJPEG::Open(stream);
    ASSERT_TRUE(decoder);
    EXPECT_EQ(decoder->Columns(), 300u);
    EXPECT_EQ(decoder->Rows(), 3u);
    EXPECT_EQ(decoder->Components(), 2u);
    EXPECT_EQ(decoder->Precision(), 12);
}

TEST(LosslessJPEG, ShiftsByThePointTransform) {
    const CLosslessJPEGBuilder b{
        .columns = 17, .rows = 9, .precision = 14, .predictor = 6, .pointTransform = 3};
    auto samples = Picture(b);
    const auto stream = b.Encode(samples);
    for (uint16_t& sample : samples) sample = uint16_t(sample << 3);
    EXPECT_EQ(Decode(stream), samples);
}

TEST(LosslessJPEG, ReadsBitsBehindCategory16WhenAsked) {
    // From the middle of the range, 32768, to 0 and up to 65535.
    const std::vector<uint16_t> samples{0, 32768, 65535, 32767, 0};
    CLosslessJPEGBuilder b{.columns = 5, .precision = 16};
    EXPECT_EQ(Decode(b.Encode(samples)), samples);
    b.bitsBehind16 = true;
    EXPECT_EQ(Decode(b.Encode(samples), true), samples);
    EXPECT_NE(Decode(b.Encode(samples), false), samples);
}

TEST(LosslessJPEG, EndsWithTheData) {
    for (const uint32_t restartRows : {0u, 3u}) {
        const CLosslessJPEGBuilder b{
            .columns = 13, .rows = 11, .components = 2, .predictor = 4, .restartRows = restartRows};
        const auto samples = Picture(b);
        const auto stream = b.Encode(samples);
        for (size_t length = 0; length < stream.size(); ++length) {
            const auto got = Decode({stream.begin(), stream.begin() + ptrdiff_t(length)});
            ASSERT_LE(got.size(), samples.size());
            ASSERT_TRUE(std::equal(got.begin(), got.end(), samples.begin())) << length;
        }
    }
}

TEST(LosslessJPEG, RefusesWhatIsNotOfItsKind) {
    const CLosslessJPEGBuilder good{.columns = 8, .rows = 8, .components = 2};
    const auto with = [&](auto change) {
        CLosslessJPEGBuilder b = good;
        change(b);
        return b;
    };
    using B = CLosslessJPEGBuilder;
    const struct {
        const char* name;
        CLosslessJPEGBuilder builder;
    } rows[] = {
        {"baseline", with([](B& b) { b.frameMarker = 0xC0; })},
        {"arithmetic", with([](B& b) { b.frameMarker = 0xCB; })},
        {"1 bit", with([](B& b) { b.precision = 1; })},
        {"17 bits", with([](B& b) { b.precision = 17; })},
        {"predictor 0", with([](B& b) { b.predictor = 0; })},
        {"predictor 8", with([](B& b) { b.predictor = 8; })},
        {"shift of all bits", with([](B& b) { b.pointTransform = 14; })},
        {"subsampled", with([](B& b) { b.sampling = 0x21; })},
        {"restart within a row", with([](B& b) { b.restartInterval = 12; })},
        {"more codes than bits", with([](B& b) {
             b.counts = {2, 1, 4, 10};
         })},
        {"no codes", with([](B& b) { b.counts = {}, b.values = {}; })},
        {"category 17", with([](B& b) { b.values[16] = 17; })},
        {"no rows", with([](B& b) { b.rows = 0; })},
        {"no columns", with([](B& b) { b.columns = 0; })},
        {"5 components", with([](B& b) { b.components = 5; })},
    };
    const std::vector<uint16_t> none(8 * 8 * 2, 8192);
    ASSERT_TRUE(CLosslessJPEG::Open(good.Encode(none)));
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        CLosslessJPEGBuilder b = row.builder;
        // The samples are written as a good stream has them: the header alone is looked at.
        const auto broken = [&] {
            CLosslessJPEGBuilder empty = b;
            empty.rows = 0;
            auto bytes = empty.Encode({});
            const size_t height = 2 + 6 + 4 + 1;  // behind SOI, the comment and the frame's bits
            bytes[height] = uint8_t(b.rows >> 8);
            bytes[height + 1] = uint8_t(b.rows);
            return bytes;
        }();
        EXPECT_FALSE(CLosslessJPEG::Open(broken));
    }
}

// Written by the tool that made the sample, whose picture lies beside it.
TEST(LosslessJPEG, ReadsAnotherEncodersStream) {
    for (const char* name : {"raw/lj1.dng", "raw/lj7.dng"}) {
        SCOPED_TRACE(name);
        const auto bytes = ReadFile(TestData(name));
        CMappedFileImpl file;
        ASSERT_TRUE(file.Wrap(bytes));
        const CTIFFParser parser(&file, false, false);
        ASSERT_EQ(parser.Directories().size(), 1u);
        uint32_t offset = 0;
        ASSERT_TRUE(GetLong(file, 273, parser.BigEndian(), parser.Directories()[0], offset));
        const auto samples = Decode({bytes.begin() + offset, bytes.end()});
        const auto pgm = ReadFile(TestData(std::string(name) + ".pgm"));
        ASSERT_GE(pgm.size(), 2 * samples.size());
        const uint8_t* raster = pgm.data() + pgm.size() - 2 * samples.size();
        std::vector<uint16_t> expected(samples.size());
        for (size_t i = 0; i < expected.size(); ++i) {
            expected[i] = uint16_t(raster[2 * i] << 8 | raster[2 * i + 1]);
        }
        ASSERT_EQ(samples.size(), size_t{96} * 64);
        EXPECT_THAT(samples, ElementsAreArray(expected));
    }
}

}  // namespace
}  // namespace kestr::test
