// DNG files from a builder of our own and from elsewhere: samples, refusals, previews, and the
// whole road to a picture.
#include <cmath>
#include <cstring>

#include <gmock/gmock.h>

#include "metadata/tiff_parser.h"
#include "raw/dng_picture.h"
#include "raw/raw_sensor_image.h"
#include "readers/image_reader.h"
#include "readers/reader_registry.h"
#include "readers/type_ids.h"
#include "support/dng_builder.h"
#include "support/jpeg_builder.h"
#include "support/loaded_handle.h"
#include "support/picture.h"
#include "support/test_data.h"

namespace kestr::test {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using Samples = std::vector<uint16_t>;
using Bytes = std::vector<uint8_t>;

Samples Noise(size_t count, int bits) {
    CNoise noise(11);
    Samples samples(count);
    for (uint16_t& sample : samples) sample = uint16_t(noise.Word() & ((1 << bits) - 1));
    return samples;
}

/// What a file tells of its picture; nothing when it is refused.
std::optional<CDNGPicture> PictureOf(const Bytes& bytes) {
    CMappedFileImpl file;
    file.Wrap(bytes);
    const CTIFFParser parser(&file, true, true);
    const auto& directories = parser.Directories();
    if (directories.empty()) return {};
    const auto children = GetSubDirectories(directories[0]);
    const CRawDirectory first(file, parser.BigEndian(), directories[0]);
    const CRawDirectory raw(file, parser.BigEndian(), children ? children->at(0) : directories[0]);
    return ReadDNGPicture(first, raw, parser.BigEndian(), bytes.size());
}

/// The samples of a file as they are stored, one after the other; none when it is refused.
Samples StoredSamples(const Bytes& bytes) {
    const auto picture = PictureOf(bytes);
    if (!picture) return {};
    const CDNGData& data = picture->data;
    CRawSensorImage image;
    image.samples = CRawSamples(data.width, data.height, uint8_t(data.samplesPerPixel));
    if (!ReadDNGData(bytes, data, image, nullptr)) return {};
    return {image.samples.samples.begin(), image.samples.samples.end()};
}

TEST(DngData, ReadsFilesThatAnotherDecoderHasRead) {
    for (const char* name : {"u8", "u12", "u12o", "u16", "lin", "lj1", "lj7", "tile"}) {
        SCOPED_TRACE(name);
        const std::string path = std::string("raw/") + name + ".dng";
        const auto samples = StoredSamples(ReadFile(TestData(path)));
        const Bytes pgm = ReadFile(TestData(path + ".pgm"));
        ASSERT_FALSE(samples.empty());
        ASSERT_GE(pgm.size(), 2 * samples.size());
        const uint8_t* raster = pgm.data() + pgm.size() - 2 * samples.size();
        for (size_t i = 0; i < samples.size(); ++i) {
            ASSERT_EQ(samples[i], raster[2 * i] << 8 | raster[2 * i + 1]) << i;
        }
    }
}

CDNGBuilder Mosaic(uint32_t width, uint32_t height) {
    CDNGBuilder b;
    b.width = width;
    b.height = height;
    return b;
}

TEST(DngData, ReadsUncompressedStripsAndTiles) {
    for (const uint16_t bits : {8, 12, 16}) {
        for (const uint16_t samples : {1, 3, 4}) {
            for (const int form : {0, 1, 2, 3}) {
                SCOPED_TRACE(testing::Message() << bits << " " << samples << " " << form);
                CDNGBuilder b = Mosaic(37, 22);
                b.bits = bits;
                b.bigEndian = form % 2 != 0;
                b.samplesPerPixel = samples;
                if (samples > 1) b.photometric = 34892;
                if (form >= 2) b.tileWidth = 16, b.tileHeight = 10;
                if (form == 1) b.rowsPerStrip = 5;
                const Samples values = Noise(size_t{37} * 22 * samples, bits);
                EXPECT_EQ(StoredSamples(b.Plain(values).File()), values);
            }
        }
    }
}

TEST(DngData, ReadsStreamsWhoseRowsAreNotThoseOfTheTile) {
    const struct {
        uint16_t samples;
        uint32_t components, rowsToOne;
        bool tiled;
    } rows[] = {{1, 1, 1, false}, {1, 2, 1, false}, {1, 2, 2, false}, {1, 4, 2, true},
                {3, 3, 1, true},  {3, 1, 1, false}, {4, 4, 2, true}};
    for (const auto& row : rows) {
        for (const Bytes& version : {Bytes{1, 0, 0, 0}, {1, 1, 0, 0}}) {
            SCOPED_TRACE(testing::Message() << row.samples << row.components << row.rowsToOne);
            CDNGBuilder b = Mosaic(36, 20);
            b.version = version;
            b.samplesPerPixel = row.samples;
            if (row.samples > 1) b.photometric = 34892;
            if (row.tiled) b.tileWidth = 16, b.tileHeight = 8;
            CLosslessJPEGBuilder jpeg{
                .components = row.components, .precision = 16, .predictor = 6};
            jpeg.bitsBehind16 = version[1] == 0;
            Samples values = Noise(size_t{36} * 20 * row.samples, 16);
            values[row.samples] = uint16_t(values[0] + 32768);  // a difference of category 16
            EXPECT_EQ(StoredSamples(b.Compressed(values, jpeg).File()), values);
        }
    }
}

TEST(DngData, StopsAtAStreamThatCannotBeDecoded) {
    CDNGBuilder b = Mosaic(36, 20);
    b.tileWidth = 16, b.tileHeight = 8;
    const Samples values = Noise(36 * 20, 16);
    b.Compressed(values, {.components = 2, .precision = 16});
    ASSERT_EQ(StoredSamples(b.File()), values);
    CDNGBuilder cut = b;
    cut.tiles[4].resize(cut.tiles[4].size() / 2);
    EXPECT_TRUE(StoredSamples(cut.File()).empty());
    CDNGBuilder fewer = b;
    fewer.tiles.pop_back();
    EXPECT_TRUE(StoredSamples(fewer.File()).empty());
    b.tiles[0] = {1, 2, 3};
    EXPECT_TRUE(StoredSamples(b.File()).empty());
}

TEST(DngData, MapsSamplesByTheTable) {
    CDNGBuilder b = Mosaic(16, 16);
    b.bits = 8;
    b.linearization = {5, 700, 60000};
    Samples values(256, 0);
    values[1] = 1, values[2] = 2, values[3] = 255;
    const auto got = StoredSamples(b.Plain(values).File());
    ASSERT_EQ(got.size(), 256u);
    EXPECT_THAT(Samples(got.begin(), got.begin() + 5), ElementsAre(5, 700, 60000, 60000, 5));
}

// The 2 x 2 pattern of the diagonal buffer must be what the 2 x 4 pattern of the mosaic becomes.
TEST(DngData, StaggeredSamplesFitTheirFilters) {
    constexpr uint32_t kWidth = 20, kHeight = 10;
    const Bytes pattern{0, 1, 2, 1, 2, 1, 0, 1};
    CDNGData data;
    data.width = kWidth, data.height = kHeight;
    data.staggered = true;
    data.bitsPerSample = 8;
    data.tileWidth = kWidth, data.tileHeight = kHeight;
    data.offsets = {0};
    Bytes file;
    for (uint32_t i = 0; i < kWidth * kHeight; ++i) file.push_back(uint8_t(1 + i));
    CRawSensorImage image;
    const CStaggeredGrid grid(data);
    ASSERT_EQ(grid.bufferHeight, kHeight + kWidth / 2);
    ASSERT_EQ(grid.bufferWidth, kHeight + kWidth / 2 - 1);
    image.samples = CRawSamples(uint32_t(grid.bufferWidth), uint32_t(grid.bufferHeight), 3);
    image.filter = *MakeFilterTable(Bytes{pattern[1], pattern[0], pattern[4], pattern[5]}, 2, 2, 3);
    ASSERT_TRUE(ReadDNGData(file, data, image, nullptr));
    size_t found = 0;
    for (uint32_t r = 0; r < image.samples.height; ++r) {
        for (uint32_t c = 0; c < image.samples.width; ++c) {
            for (uint32_t plane = 0; plane < 3; ++plane) {
                const uint16_t value = image.samples.Pixel(r, c)[plane];
                if (value == 0) continue;
                ++found;
                const uint32_t y = uint32_t(value - 1) / kWidth, x = uint32_t(value - 1) % kWidth;
                EXPECT_EQ(plane, pattern[y % 2 * 4 + x % 4]) << x << "," << y;
            }
        }
    }
    EXPECT_EQ(found, size_t{kWidth} * kHeight);
}

const CDNGBuilder::Reals kThreePlanes{0.7732, -0.2422, -0.0789, -0.8238, 1.5884,
                                      0.2498, -0.0859, 0.0783,  0.7330};
const CDNGBuilder::Reals kFourPlanes{-0.5547, 1.1762, 0.2189, 0.5814, -0.0558, 0.3342,
                                     -0.4924, 0.9840, 0.5949, 0.0688, 0.9083,  0.0096};

// Of which a picture has none, one pair or two; what has another length counts as missing.
TEST(DngData, TakesTheColoursOfTheFile) {
    using Reals = CDNGBuilder::Reals;
    const Reals nine{0.5, 0.25, -0.125, 0, 1, 0.5, 0.75, -1, 2}, ten(10, 0.5);
    const Reals twelve(12, 0.5), balance{1.5, 1, 2}, neutral{0.5, 1, 0.75};
    const Reals neutralOfFour{0.5, 1, 0.75, 1};
    const struct {
        const char* name;
        Reals matrix1, matrix2, neutral;
        Reals used1, used2, usedNeutral;
        uint16_t illuminant2;
        uint8_t colors;
    } rows[] = {
        {"none", {}, nine, neutral, {}, {}, {}, 0, 4},
        {"one", kThreePlanes, {}, neutral, kThreePlanes, kThreePlanes, neutral, 2850, 3},
        {"two", kThreePlanes, nine, {}, kThreePlanes, nine, {}, 6500, 3},
        {"of four planes", kFourPlanes, twelve, {}, kFourPlanes, twelve, {}, 6500, 4},
        {"a neutral of three",
         kFourPlanes,
         {},
         neutral,
         kFourPlanes,
         kFourPlanes,
         neutralOfFour,
         2850,
         4},
        {"unequal", kThreePlanes, twelve, neutral, kThreePlanes, kThreePlanes, neutral, 2850, 3},
        {"of no such length", ten, nine, neutral, {}, {}, {}, 0, 4},
        {"a neutral with a 0", nine, {}, {0, 1, 1}, nine, nine, {}, 2850, 3},
    };
    for (const auto& row : rows) {
        for (const bool bigEndian : {false, true}) {
            SCOPED_TRACE(row.name);
            CDNGBuilder b = Mosaic(20, 20);
            b.bigEndian = bigEndian;
            b.matrix1 = row.matrix1, b.matrix2 = row.matrix2, b.neutral = row.neutral;
            b.balance = balance;
            b.calibrations = {twelve, nine};
            b.reductions = {nine, twelve};
            const auto picture = PictureOf(b.Plain(Samples(400)).File());
            ASSERT_TRUE(picture);
            EXPECT_EQ(picture->color.colorMatrix1, row.used1);
            EXPECT_EQ(picture->color.colorMatrix2, row.used2);
            EXPECT_EQ(picture->neutral, row.usedNeutral);
            EXPECT_EQ(picture->BufferColors(), row.colors);
            EXPECT_EQ(picture->HasMatrix(), !row.used1.empty());
            if (row.used1.empty()) continue;
            EXPECT_EQ(picture->color.illuminant1, 2850);
            EXPECT_EQ(picture->color.illuminant2, row.illuminant2);
            EXPECT_EQ(picture->color.calibration[0], twelve);
            EXPECT_EQ(picture->color.calibration[1], nine);
            EXPECT_EQ(picture->color.reduction[0], nine);
            EXPECT_EQ(picture->color.reduction[1], twelve);
            EXPECT_EQ(picture->analogBalance, balance);
        }
    }
}

class DngReader : public testing::Test {
protected:
    static CDNGBuilder Plain(uint32_t width = 40, uint32_t height = 30) {
        CDNGBuilder b = Mosaic(width, height);
        b.matrix1 = kThreePlanes;
        b.neutral = {0.5, 1, 0.75};
        return b.Plain(Noise(size_t{width} * height, 12));
    }
    /// Opens a file's bytes as a query does.
    std::unique_ptr<CImageReader> Open(const Bytes& bytes,
                                       const std::function<void(CImageReader&)>& ask = {}) {
        WriteFile(m_path, bytes);
        auto reader = CreateReader(kTypeDNG, true, false, {});
        if (ask) ask(*reader);
        m_opened = reader->Open(WidePath(m_path).c_str(), 0);
        reader->Close();
        return reader;
    }
    bool Opens(const CDNGBuilder& b) {
        const auto reader = Open(b.File());
        EXPECT_EQ(reader->m_errorText, m_opened ? "" : "Not a DNG file.");
        return m_opened;
    }
    /// The 16-bit samples of a load by the matrix route; none when it fails.
    Samples Load(const CDNGBuilder& b, CHandle& handle, bool linearGamma = true) {
        WriteFile(m_path, b.File());
        cUseCIECAM02(handle, 0);
        cSetGeneralRawParams(handle, 0, linearGamma);
        if (!handle.Load(m_path)) return {};
        uint16_t* samples = nullptr;
        cGetBits16Ptr(handle, &samples);
        const auto info = handle.Info();
        const size_t count = size_t{info.width} * info.height * (info.isGray == 1 ? 1 : 3);
        return samples != nullptr ? Samples(samples, samples + count) : Samples{};
    }
    CTemporaryFolder m_folder;
    std::filesystem::path m_path = m_folder / "picture.dng";
    bool m_opened = false;
};

TEST_F(DngReader, TellsWhatItFound) {
    CDNGBuilder b = Plain();
    const auto plain = Open(b.File());
    ASSERT_TRUE(m_opened);
    EXPECT_EQ(plain->m_description,
              "Format: Adobe DNG (Digital NeGative)\r\nModel: Test\r\nCompression: None\r\n"
              "Color planes: 3\r\nTiled: No\r\nLinear: No");
    EXPECT_TRUE(plain->IsCameraRaw());
    EXPECT_TRUE(plain->Has16BitData());
    b = Mosaic(40, 30);
    b.samplesPerPixel = 4;
    b.photometric = 34892;
    b.tileWidth = b.tileHeight = 16;
    b.Compressed(Noise(40 * 30 * 4, 16), {.components = 4, .precision = 16});
    EXPECT_THAT(Open(b.File())->m_description,
                HasSubstr("Compression: LJPEG\r\nColor planes: 4\r\nTiled: Yes\r\nLinear: Yes"));
}

TEST_F(DngReader, AnswersAQueryWithCameraDateAndIPTC) {
    CDNGBuilder b = Plain();
    // Record 2, dataset 120 (caption), filled up to a multiple of four.
    b.iptc = {28, 2, 0, 0, 2, 0, 2, 28, 2, 120, 0, 5, 'h', 'e', 'l', 'l', 'o', 0, 0, 0};
    for (const bool longs : {false, true}) {
        b.iptcAsLongs = longs;
        WriteFile(m_path, b.File());
        int32_t type = 0;
        uint32_t width = 0, height = 0;
        uint8_t bits = 0;
        BSTR camera = nullptr, date = nullptr;
        CIPTC_Members* iptc = nullptr;
        ASSERT_EQ(cGetImageFileInfoExW(WidePath(m_path).c_str(), 0, 0, &type, &width, &height,
                                       &bits, nullptr, nullptr, nullptr, &camera, &date, nullptr,
                                       reinterpret_cast<::CIPTC_Members**>(&iptc), nullptr, nullptr,
                                       nullptr),
                  1);
        EXPECT_EQ(type, 70);
        EXPECT_EQ(width, 34u);
        EXPECT_EQ(height, 24u);
        EXPECT_EQ(bits, 48);
        EXPECT_THAT(TakeText(camera), HasSubstr("Kestr"));
        EXPECT_THAT(TakeText(date), HasSubstr("2006"));
        EXPECT_NE(iptc, nullptr) << longs;
        cDestroyIPTC(reinterpret_cast<::CIPTC_Members*>(iptc));
    }
}

TEST_F(DngReader, CropsAsTheFileSays) {
    const struct {
        const char* name;
        CDNGBuilder::Numbers origin, size;
        bool rationals;
        CDNGBuilder::Reals scale, best;
        int32_t width, height;
    } rows[] = {
        {"none", {}, {}, false, {}, {}, 34, 24},
        {"size alone", {}, {30, 20}, false, {}, {}, 30, 20},
        {"both", {4, 2}, {30, 20}, false, {}, {}, 30, 20},
        {"halves", {4, 2}, {30, 20}, true, {}, {}, 30, 20},
        {"origin alone", {5, 7}, {}, false, {}, {}, 34, 23},
        {"beyond the edge", {10, 10}, {35, 35}, false, {}, {}, 30, 20},
        {"scaled", {0, 0}, {20, 10}, false, {1, 2}, {}, 20, 20},
        {"scaled for quality", {0, 0}, {20, 10}, false, {0.5, 1}, {2}, 20, 20},
        {"scaled beyond reason", {0, 0}, {20, 10}, false, {100, 1}, {}, 20, 10},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        CDNGBuilder b = Plain();
        b.cropOrigin = row.origin;
        b.cropSize = row.size;
        b.cropAsRationals = row.rationals;
        b.scale = row.scale;
        b.bestScale = row.best;
        const auto reader = Open(b.File());
        ASSERT_TRUE(m_opened);
        EXPECT_EQ(reader->m_bitmapInfo.Width(), row.width);
        EXPECT_EQ(reader->m_bitmapInfo.Height(), row.height);
        CHandle handle;
        EXPECT_EQ(Load(b, handle).size(), size_t(row.width) * size_t(row.height) * 3);
    }
}

TEST_F(DngReader, RefusesWhatItCannotDevelop) {
    using B = CDNGBuilder;
    using Entries = std::vector<B::CEntry>;
    const auto without = [](uint32_t tag) {
        return [tag](CTIFFBuilder&, Entries& entries) {
            std::erase_if(entries, [&](const B::CEntry& e) { return e.tag == tag; });
        };
    };
    const struct {
        const char* name;
        std::function<void(B&)> change;
    } rows[] = {
        {"no version", [](B& b) { b.version.reset(); }},
        {"short version",
         [](B& b) {
             b.version = Bytes{1, 1};
         }},
        {"14 bits", [](B& b) { b.bits = 14; }},
        {"compression", [](B& b) { b.compression = 8; }},
        {"no width", [&](B& b) { b.changeRaw = without(256); }},
        {"no height", [&](B& b) { b.changeRaw = without(257); }},
        {"no bits", [&](B& b) { b.changeRaw = without(258); }},
        {"no compression", [&](B& b) { b.changeRaw = without(259); }},
        {"no strips", [&](B& b) { b.changeRaw = without(273); }},
        {"no repeat", [](B& b) { b.repeat = {2}; }},
        {"repeat of nothing",
         [](B& b) {
             b.repeat = {0, 2};
         }},
        {"short pattern",
         [](B& b) {
             b.pattern = {0, 1, 1};
         }},
        {"four planes, matrix of three",
         [](B& b) {
             b.pattern = {0, 1, 3, 2};
         }},
        {"mosaic of three samples", [](B& b) { b.samplesPerPixel = 3; }},
        {"linear of two samples", [](B& b) { b.photometric = 34892, b.samplesPerPixel = 2; }},
        {"staggered with a short pattern", [](B& b) { b.layout = 2; }},
        {"no rows in a strip",
         [](B& b) {
             b.changeRaw = [](CTIFFBuilder& t, Entries& e) { e.push_back({278, 4, 1, t.U32(0)}); };
         }},
        {"more than its data", [](B& b) { b.width = 60000, b.height = 60000; }},
        {"sides without end", [](B& b) { b.width = b.height = 0xFFFFFFFF; }},
        {"nothing within the edge", [](B& b) { b.width = 6; }},
        {"crop of nothing",
         [](B& b) {
             b.cropSize = {0, 10};
         }},
        {"crop outside",
         [](B& b) {
             b.cropOrigin = {40, 0}, b.cropSize = {10, 10};
         }},
    };
    ASSERT_TRUE(Opens(Plain()));
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        CDNGBuilder b = Plain();
        row.change(b);
        EXPECT_FALSE(Opens(b));
    }
    for (const Bytes& bytes : {Bytes(100), {'I', 'I', 42, 0, 8, 0, 0, 0, 0, 0, 0, 0, 0, 0}}) {
        EXPECT_EQ(Open(bytes)->m_errorText, "Not a DNG file.");
    }
}

/// A card that reflects all colours alike, so that each plane has its share of the light.
CDNGBuilder GrayCard(bool fourPlanes, bool linear, bool staggered) {
    CDNGBuilder b = Mosaic(48, 40);
    b.matrix1 = fourPlanes ? kFourPlanes : kThreePlanes;
    b.white = {16000};
    // As the camera sees light of 5000 K (ICC's D50).
    const double light[] = {0.9642, 1, 0.8249};
    double most = 0;
    for (size_t i = 0; i < b.matrix1.size(); i += 3) {
        double plane = 0;
        for (size_t j = 0; j < 3; ++j) plane += b.matrix1[i + j] * light[j];
        b.neutral.push_back(plane);
        most = std::max(most, plane);
    }
    for (double& plane : b.neutral) plane /= most;
    if (fourPlanes) b.pattern = {1, 4, 3, 5}, b.planeColors = {1, 4, 3, 5};
    if (staggered) b.layout = 2, b.pattern = {0, 1, 2, 1, 2, 1, 0, 1}, b.repeat = {2, 4};
    if (linear) b.photometric = 34892, b.samplesPerPixel = uint16_t(b.neutral.size());
    Samples values;
    for (uint32_t y = 0; y < 40; ++y) {
        for (uint32_t x = 0; x < 48; ++x) {
            if (linear) {
                for (const double plane : b.neutral) values.push_back(uint16_t(6000 * plane));
                continue;
            }
            const uint8_t code = b.pattern[y % b.repeat[0] * b.repeat[1] + x % b.repeat[1]];
            const size_t plane = !fourPlanes ? code : code == 1 ? 0 : code == 4 ? 1 : code - 1u;
            const size_t index = fourPlanes && code == 3 ? 2 : fourPlanes && code == 5 ? 3 : plane;
            values.push_back(uint16_t(6000 * b.neutral[index]));
        }
    }
    return b.Plain(values);
}

TEST_F(DngReader, DevelopsAGrayCardToGray) {
    for (const int card : {0, 1, 2, 3, 4}) {
        const bool four = card == 1 || card == 3;
        WriteFile(m_path, GrayCard(four, card >= 2 && card < 4, card == 4).File());
        for (const int16_t method : {0, 1, 2}) {
            for (const int16_t ciecam : {0, 1}) {
                if (ciecam == 1 && method != 1) continue;  // its table takes long
                SCOPED_TRACE(testing::Message() << card << " " << method << " " << ciecam);
                CHandle handle;
                cSetRawInterpolationMethod(handle, uint32_t(method));
                cUseCIECAM02(handle, ciecam);
                ASSERT_TRUE(handle.Load(m_path)) << handle.ErrorText();
                EXPECT_EQ(handle.Info().typeId, kTypeDNG);
                EXPECT_EQ(handle.Info().width, 42u);
                uint16_t red = 0, green = 0, blue = 0;
                cGetPixelColor(handle, 20, 17, &red, &green, &blue);
                EXPECT_NEAR(red, green, 150);
                EXPECT_NEAR(blue, green, 150);
                EXPECT_GT(green, 10000);
            }
        }
    }
    // By the neutral of the file: the card is green in light that has more red.
    CDNGBuilder b = GrayCard(false, false, false);
    b.neutral[0] *= 1.25;
    CHandle handle;
    cUseCIECAM02(handle, 0);
    ASSERT_FALSE(Load(b, handle).empty());
    uint16_t red = 0, green = 0, blue = 0;
    cGetPixelColor(handle, 20, 17, &red, &green, &blue);
    EXPECT_LT(red + 3000, green);
}

TEST_F(DngReader, EstimatesANeutralThatTheFileLacks) {
    for (const int card : {0, 1, 2, 3}) {
        CDNGBuilder b = GrayCard(card % 2 != 0, card >= 2, false);
        b.neutral.clear();
        CHandle handle;
        ASSERT_FALSE(Load(b, handle).empty());
        uint16_t red = 0, green = 0, blue = 0;
        cGetPixelColor(handle, 20, 17, &red, &green, &blue);
        EXPECT_NEAR(red, green, 150) << card;
        EXPECT_NEAR(blue, green, 150) << card;
    }
}

TEST_F(DngReader, TakesTheLevelsOfTheFile) {
    // Half way between black and white is half the light, whatever the levels are.
    const auto level = [&](CDNGBuilder b, uint16_t value) {
        b.matrix1 = {1, 0, 0, 0, 1, 0, 0, 0, 1};
        b.neutral = {1, 1, 1};
        b.Plain(Samples(40 * 30, value));
        CHandle handle;
        const auto samples = Load(b, handle);
        return samples.empty() ? 0 : samples[0];
    };
    const int half = int(std::pow(0.5, 1 / 2.2) * 65535);
    CDNGBuilder b = Plain();
    EXPECT_NEAR(level(b, 32767), half, 40);
    b.white = {4000};
    EXPECT_NEAR(level(b, 2000), half, 40);
    b.black = {200.5};
    b.blackDeltaV = {300.2};
    b.blackDeltaH = {-101.4};
    EXPECT_NEAR(level(b, 2200), half, 40);  // black is 201 + 300 - 101
    b.bits = 8;
    b.black = b.blackDeltaV = b.blackDeltaH = {};
    b.white = {};
    EXPECT_NEAR(level(b, 51), std::pow(0.2, 1 / 2.2) * 65535, 40);
    // Canon's own middle.
    CDNGBuilder canon = Plain();
    for (const char* make : {"Canon", "Kestr"}) {
        canon.make = make;
        WriteFile(m_path, canon.File());
        const auto reader = CreateReader(kTypeDNG, true, false, {});
        ASSERT_TRUE(reader->StartLoad(WidePath(m_path).c_str(), 0, nullptr));
        EXPECT_EQ(reader->m_levelsGamma, make[0] == 'C' ? 1.25 : 1.0);
        reader->Close();
    }
}

TEST_F(DngReader, DeliversSamplesWithoutAMatrixAsTheyAre) {
    constexpr uint32_t kWidth = 9, kHeight = 7;
    for (const uint16_t samples : {1, 3, 4}) {
        for (const bool linearGamma : {false, true}) {
            SCOPED_TRACE(testing::Message() << samples << linearGamma);
            CDNGBuilder b = Mosaic(kWidth, kHeight);
            b.photometric = 34892;
            b.samplesPerPixel = samples;
            b.cropOrigin = {2, 1};
            b.cropSize = {5, 4};
            b.black = {1000};
            b.white = {50000};
            const Samples values = Noise(size_t{kWidth} * kHeight * samples, 16);
            CHandle handle;
            const Samples got = Load(b.Plain(values), handle, linearGamma);
            ASSERT_EQ(got.size(), 20u * (samples == 1 ? 1 : 3));
            const auto curve = [&](uint32_t sample) {
                if (!linearGamma) return sample;
                const double light = std::min(1.0, std::max(0.0, (double(sample) - 1000) / 49000));
                const double i = std::floor(light * 65535);
                return uint32_t(std::pow(i / 65535, 0.5) * 65535 + 0.5);
            };
            auto next = got.begin();
            for (uint32_t y = 0; y < 4; ++y) {
                for (uint32_t x = 0; x < 5; ++x) {
                    const uint16_t* p = &values[((y + 1) * kWidth + x + 2) * samples];
                    if (samples == 1) {
                        ASSERT_EQ(*next++, curve(p[0]));
                        continue;
                    }
                    const uint32_t green = samples == 4 ? (uint32_t{p[1]} + p[3]) / 2 : p[1];
                    ASSERT_EQ(*next++, curve(p[2]));
                    ASSERT_EQ(*next++, curve(green));
                    ASSERT_EQ(*next++, curve(p[0]));
                }
            }
        }
    }
    // A mosaic of flat planes, by each method.
    for (const uint32_t method : {0u, 1u, 2u}) {
        for (const bool staggered : {false, true}) {
            CDNGBuilder b = GrayCard(false, false, staggered);
            const CDNGBuilder::Reals shares = b.neutral;
            b.matrix1 = b.neutral = {};
            CHandle handle;
            cSetRawInterpolationMethod(handle, method);
            const Samples got = Load(b, handle, false);
            ASSERT_FALSE(got.empty());
            const size_t middle = (size_t{17} * 42 + 20) * 3;
            for (size_t c = 0; c < 3; ++c) {
                EXPECT_NEAR(got[middle + c], 6000 * shares[2 - c], 2) << method << staggered << c;
            }
        }
    }
}

TEST_F(DngReader, ServesAThumbnailFromThePreview) {
    CDNGBuilder b = Plain(200, 150);
    const auto ask = [](CImageReader& reader) { reader.RequestThumbnail(48, 48, 0); };
    const auto width = [&] {
        const auto reader = Open(b.File(), ask);
        EXPECT_TRUE(m_opened);
        EXPECT_EQ(reader->Has16BitData(), reader->m_bitmapInfo.Width() == 194);
        EXPECT_EQ(reader->m_originalWidth, reader->Has16BitData() ? 0u : 194u);
        return reader->m_bitmapInfo.Width();
    };
    EXPECT_EQ(width(), 194);  // there is none
    b.preview = CJPEGBuilder().Size(96, 72).File();
    b.previewWidth = 96, b.previewHeight = 72;
    EXPECT_EQ(width(), 48);  // by JPEG's own reduction
    b.previewWidth = 72, b.previewHeight = 96;
    EXPECT_EQ(width(), 48);  // it has been turned
    b.previewWidth = 95;
    EXPECT_EQ(width(), 194);
    b.previewCompression = 1;
    b.preview = Bytes(16 * 12 * 3, 90);
    b.previewWidth = 16, b.previewHeight = 12;
    EXPECT_EQ(width(), 194);  // no colours that are known
    b.previewPhotometric = 2;
    EXPECT_EQ(width(), 16);
    b.previewPhotometric = 1;
    b.previewSamples = 1;
    EXPECT_EQ(width(), 16);
    b.previewCompression = 5;
    EXPECT_EQ(width(), 194);
    // White first.
    b.previewCompression = 1;
    b.previewPhotometric = 0;
    b.bits = 14;  // the preview serves where the samples could not be read
    WriteFile(m_path, b.File());
    CHandle handle;
    ASSERT_EQ(cLoadThumbnailEx(handle, m_path.string().c_str(), 16, 16, 0), 1);
    uint16_t red = 0, green = 0, blue = 0;
    cGetPixelColor(handle, 5, 5, &red, &green, &blue);
    EXPECT_THAT((std::vector{red, green, blue}), ElementsAre(165, 165, 165));
}

}  // namespace
}  // namespace kestr::test
