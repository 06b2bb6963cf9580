// NEF files from a builder of our own: samples, refusals, previews, and the whole road to a
// picture.
#include <gmock/gmock.h>

#include "raw/nef_data.h"
#include "raw/nef_models.h"
#include "raw/packed_samples.h"
#include "raw/raw_sensor_image.h"
#include "readers/image_reader.h"
#include "readers/reader_registry.h"
#include "readers/type_ids.h"
#include "support/jpeg_builder.h"
#include "support/loaded_handle.h"
#include "support/nef_builder.h"
#include "support/picture.h"
#include "support/sensor_probe.h"
#include "support/test_data.h"

namespace kestr::test {
namespace {

using testing::Each;
using testing::HasSubstr;
using Samples = std::vector<uint16_t>;

Samples Mosaic(uint32_t width, uint32_t height, uint32_t most) {
    CNoise noise(7);
    Samples samples(size_t{width} * height);
    for (uint32_t y = 0; y < height; ++y) {
        for (uint32_t x = 0; x < width; ++x) {
            const uint32_t level = most / 4 + (x * 31 + y * 17) % (most / 3) + noise() % 97;
            samples[size_t{y} * width + x] = uint16_t(noise() % 50 == 0 ? most : level);
        }
    }
    return samples;
}

/// A sensor image of one sample a pixel, so that it shows what was stored where.
struct CSensor {
    CSensor(uint32_t width, uint32_t height) { image.samples = CRawSamples(width, height, 1); }
    Samples All() const { return {image.samples.Row(0), image.samples.Row(0) + Count()}; }
    size_t Count() const { return size_t{image.samples.width} * image.samples.height; }
    CRawSensorImage image;
};

TEST(NefData, ReadsPackedSamples) {
    for (const bool interlaced : {false, true}) {
        for (const bool padded : {false, true}) {
            for (const auto& [width, height] : {std::pair{32u, 20u}, {27u, 6u}, {10u, 2u}}) {
                SCOPED_TRACE(testing::Message() << interlaced << padded << width);
                CNEFBuilder b;
                b.height = height;
                const Samples samples = Mosaic(width, height, 4095);
                b.Packed(samples, interlaced, padded);
                CSensor sensor(width, height);
                ASSERT_TRUE(ReadPackedSamples(
                    b.data, {.padded = padded, .fieldRows = interlaced ? height : 0}, sensor.image,
                    nullptr));
                EXPECT_EQ(sensor.All(), samples);
            }
        }
    }
}

// The rule of the two fields leads out of a picture of odd height: that row is dropped.
TEST(NefData, SurvivesAnOddHeightOfTwoFields) {
    for (const uint32_t height : {1u, 3u, 7u}) {
        CSensor sensor(4, height);
        const std::vector<uint8_t> data(100, 0xFF);
        EXPECT_TRUE(ReadPackedSamples(data, {.fieldRows = height}, sensor.image, nullptr));
    }
}

TEST(NefData, ReadsEachHuffmanTable) {
    for (uint32_t table = 0; table < 6; ++table) {
        SCOPED_TRACE(table);
        CNEFBuilder b;
        b.width = 60;
        b.height = 40;
        Samples values = Mosaic(60, 40, table < 3 ? 4095 : 16383);
        b.Compressed(values, 0x46, 0x30, {}, table);
        CSensor sensor(60, 40);
        CNikonCompression compression{.huffmanTable = table,
                                      .startPredictors = {1000, 1100, 1200, 1300}};
        ASSERT_TRUE(ReadCompressedNEF(b.data, compression, sensor.image, nullptr));
        EXPECT_EQ(sensor.All(), values);

        // A curve shorter than a value gives its last entry.
        compression.curve.resize(2000);
        for (size_t i = 0; i < 2000; ++i) compression.curve[i] = uint16_t(3 * i + 1);
        for (uint16_t& value : values) {
            value = uint16_t(3 * std::min<int>(value, 1999) + 1);
        }
        ASSERT_TRUE(ReadCompressedNEF(b.data, compression, sensor.image, nullptr));
        EXPECT_EQ(sensor.All(), values);
    }
}

TEST(NefData, RepeatsItsPredictorsBehindTheEnd) {
    CSensor sensor(6, 5);
    ASSERT_TRUE(
        ReadCompressedNEF({}, {.startPredictors = {10, 20, 30, 40}}, sensor.image, nullptr));
    EXPECT_THAT(sensor.All(),
                testing::ElementsAre(10, 20, 10, 20, 10, 20, 30, 40, 30, 40, 30, 40,  //
                                     10, 20, 10, 20, 10, 20, 30, 40, 30, 40, 30, 40,  //
                                     10, 20, 10, 20, 10, 20));
    // Wherever the data ends, what came before it stands.
    CNEFBuilder b;
    b.width = 24;
    b.height = 10;
    Samples values = Mosaic(24, 10, 4095);
    b.Compressed(values, 0x46, 0x30, {}, 0);
    for (size_t length = 0; length < b.data.size(); ++length) {
        CSensor cut(24, 10);
        const CNikonCompression c{.startPredictors = {1000, 1100, 1200, 1300}};
        ASSERT_TRUE(ReadCompressedNEF(std::span(b.data).first(length), c, cut.image, nullptr));
        const Samples got = cut.All();
        const auto same = std::mismatch(got.begin(), got.end(), values.begin()).first - got.begin();
        // No difference takes more than 9 + 12 bits.
        ASSERT_GE(size_t(same) * 21 + 21, length * 8);
    }
}

TEST(NefData, KnowsPaddingFromCompression) {
    std::vector<uint8_t> data(256, 0xAB);
    EXPECT_TRUE(IsReallyCompressed(data));
    for (size_t at = 15; at < 256; at += 16) data[at] = 0;
    EXPECT_FALSE(IsReallyCompressed(data));
    data[255] = 1;
    EXPECT_TRUE(IsReallyCompressed(data));
    EXPECT_FALSE(IsReallyCompressed(std::span(data).first(255)));
    EXPECT_FALSE(IsReallyCompressed({}));
}

class NefReader : public testing::Test {
protected:
    static CNEFBuilder Plain(uint32_t width = 40, uint32_t height = 30) {
        CNEFBuilder b;
        b.width = width;
        b.height = height;
        return b.Packed(Mosaic(width, height, 4095));
    }
    std::unique_ptr<CImageReader> Reader() { return CreateReader(kTypeNikon, true, false, {}); }
    /// Opens a file's bytes as a query does.
    std::unique_ptr<CImageReader> Open(const std::vector<uint8_t>& bytes,
                                       const std::function<void(CImageReader&)>& ask = {}) {
        WriteFile(m_path, bytes);
        auto reader = Reader();
        if (ask) ask(*reader);
        m_opened = reader->Open(WidePath(m_path).c_str(), 0);
        reader->Close();
        return reader;
    }
    bool Opens(const CNEFBuilder& b) {
        const auto reader = Open(b.File());
        EXPECT_EQ(reader->m_errorText, m_opened ? "" : "Not a NEF file.");
        return m_opened;
    }
    CTemporaryFolder m_folder;
    std::filesystem::path m_path = m_folder / "picture.nef";
    bool m_opened = false;
};

TEST_F(NefReader, KnowsItsModels) {
    const struct {
        const char* name;
        bool fourColors, needsPattern;
    } models[] = {
        {"E5000", true, false},       {"E5700", true, false},       {"E8400", false, false},
        {"E8800", false, false},      {"NIKON D1", false, false},   {"NIKON D1H", false, false},
        {"NIKON D1X", false, false},  {"NIKON D2H", false, false},  {"NIKON D2X", false, false},
        {"NIKON D2Xs", false, false}, {"NIKON D3", false, false},   {"NIKON D300", false, false},
        {"NIKON D40", false, false},  {"NIKON D40X", false, true},  {"NIKON D50", false, false},
        {"NIKON D70", false, false},  {"NIKON D70s", false, false}, {"NIKON D100", false, false},
        {"NIKON D200", false, false}, {"NIKON D80", false, false},  {"NIKON D700", false, false},
    };
    for (const auto& m : models) {
        SCOPED_TRACE(m.name);
        CNEFBuilder b = Plain();
        b.model = m.name;
        EXPECT_EQ(Opens(b), !m.needsPattern);
        b.pattern = {0, 1, 1, 2};
        const auto reader = Open(b.File());
        ASSERT_TRUE(m_opened);
        EXPECT_THAT(reader->m_description, HasSubstr(std::string("Nikon NEF (") + m.name + ")"));
        EXPECT_TRUE(reader->IsCameraRaw());
        EXPECT_TRUE(reader->Has16BitData());
        EXPECT_EQ(reader->m_bitmapInfo.BitCount(), 24);
        const CNEFModel* const model = FindNEFModel(m.name);
        ASSERT_NE(model, nullptr);
        const size_t values = m.fourColors ? 12 : 9;
        EXPECT_EQ(model->colorMatrix1.size(), values);
        EXPECT_EQ(model->colorMatrix2.size(), values);
    }
    for (const char* name : {"NIKON D90", "NIKON D70 ", "nikon d70", "E500", ""}) {
        CNEFBuilder b = Plain();
        b.model = name;
        b.pattern = {0, 1, 1, 2};
        EXPECT_FALSE(Opens(b)) << name;
    }
}

TEST_F(NefReader, StatesTheSizeWithoutMargins) {
    const struct {
        const char* model;
        int32_t width, height;
    } rows[] = {{"NIKON D70", 36, 26}, {"NIKON D2H", 28, 26}, {"NIKON D1X", 3008, 1960}};
    for (const auto& row : rows) {
        CNEFBuilder b = Plain();
        b.model = row.model;
        const auto reader = Open(b.File());
        ASSERT_TRUE(m_opened);
        EXPECT_EQ(reader->m_bitmapInfo.Width(), row.width);
        EXPECT_EQ(reader->m_bitmapInfo.Height(), row.height);
    }
    // Packed with padding though it says that it is compressed: six columns more.
    CNEFBuilder b = Plain(200, 30);
    b.Packed(Mosaic(206, 30, 4095), false, true);
    b.compression = 34713;
    b.model = "NIKON D100";
    EXPECT_EQ(Open(b.File())->m_bitmapInfo.Width(), 202);
    b.data[31] = 1;
    EXPECT_EQ(Open(b.File())->m_bitmapInfo.Width(), 196);
}

TEST_F(NefReader, RefusesWhatItCannotDevelop) {
    using B = CNEFBuilder;
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
        {"10 bits", [](B& b) { b.bits = 10; }},
        {"photometric", [](B& b) { b.photometric = 34892; }},
        {"compression", [](B& b) { b.compression = 7; }},
        {"one repeat", [](B& b) { b.repeat = {2}; }},
        {"three repeats",
         [](B& b) {
             b.repeat = {2, 2, 1};
         }},
        {"short pattern",
         [](B& b) {
             b.pattern = {0, 1, 1};
         }},
        {"pattern of nothing",
         [](B& b) {
             b.repeat = {0, 2}, b.pattern = B::Bytes{};
         }},
        {"no width", [&](B& b) { b.LastDirectory(without(256)); }},
        {"no height", [&](B& b) { b.LastDirectory(without(257)); }},
        {"no compression", [&](B& b) { b.LastDirectory(without(259)); }},
        {"no strips", [&](B& b) { b.LastDirectory(without(273)); }},
        {"no rows per strip", [&](B& b) { b.LastDirectory(without(278)); }},
        {"no strip lengths", [&](B& b) { b.LastDirectory(without(279)); }},
        {"margins alone", [](B& b) { b.width = 4; }},
        {"more than its data", [](B& b) { b.width = 60000, b.height = 60000; }},
        {"sides without end", [](B& b) { b.width = 0xFFFFFFFF, b.height = 0xFFFFFFFF; }},
    };
    ASSERT_TRUE(Opens(Plain()));
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        CNEFBuilder b = Plain();
        row.change(b);
        EXPECT_FALSE(Opens(b));
    }
    for (const auto& bytes :
         {std::vector<uint8_t>(100), {'I', 'I', 42, 0, 8, 0, 0, 0, 0, 0, 0, 0, 0, 0}}) {
        EXPECT_EQ(Open(bytes)->m_errorText, "Not a NEF file.");
    }
}

TEST_F(NefReader, DevelopsAGrayCardToGray) {
    // The card reflects all colours alike; the camera answers by its neutral. The model of
    // appearance goes through a table, which is exact to a thousandth.
    for (const bool compressed : {false, true}) {
        SCOPED_TRACE(compressed);
        CNEFBuilder b;
        b.width = 48;
        b.height = 40;
        b.pattern = {0, 1, 1, 2};
        Samples values(size_t{48} * 40);
        for (uint32_t y = 0; y < 40; ++y) {
            for (uint32_t x = 0; x < 48; ++x) {
                const int plane = int(y % 2 + x % 2);
                values[size_t{y} * 48 + x] = uint16_t(plane == 0 ? 800 : plane == 1 ? 1600 : 1200);
            }
        }
        if (compressed) {
            Samples curve(4096);
            for (size_t i = 0; i < curve.size(); ++i) curve[i] = uint16_t(i);
            b.Compressed(values, 0x44, 0x10, curve, 0);
        } else {
            b.Packed(values);
        }
        // Gains of 2 and 4 / 3 for red and blue.
        const CTIFFBuilder n(true);
        b.note.push_back(
            {12, 5, 4,
             n.Join({n.Rational(2, 1), n.Rational(4, 3), n.Rational(1, 1), n.Rational(1, 1)})});
        WriteFile(m_path, b.File());
        ExpectGrayCard(m_path);
    }
}

TEST_F(NefReader, ServesAThumbnailFromThePreview) {
    CNEFBuilder b = Plain(200, 150);
    b.jpeg = CJPEGBuilder().Size(96, 72).File();
    b.orientation = 6;
    const auto ask = [](CImageReader& reader) { reader.RequestThumbnail(48, 48, 0); };
    auto reader = Open(b.File(), ask);
    ASSERT_TRUE(m_opened);
    EXPECT_FALSE(reader->Has16BitData());
    EXPECT_EQ(reader->m_bitmapInfo.Width(), 48);  // by JPEG's own reduction
    EXPECT_EQ(reader->m_originalWidth, 196u);
    EXPECT_EQ(reader->m_originalHeight, 146u);
    EXPECT_EQ(reader->m_exif->Orientation, 6);
    // Upright already.
    b.jpeg = CJPEGBuilder().Size(72, 96).File();
    reader = Open(b.File(), ask);
    EXPECT_EQ(reader->m_bitmapInfo.Height(), 48);
    EXPECT_EQ(reader->m_exif->Orientation, 1);
    // Without one in the directories, that of the note; then that of red, green and blue bytes.
    b.jpeg.clear();
    b.notePreview = CJPEGBuilder().Size(57, 38).File();
    b.thumbnailWidth = 16;
    for (int i = 0; i < 16 * 12; ++i) b.thumbnail.insert(b.thumbnail.end(), {200, 100, 50});
    EXPECT_EQ(Open(b.File(), ask)->m_bitmapInfo.Width(), 57);
    b.notePreview.clear();
    reader = Open(b.File(), ask);
    EXPECT_EQ(reader->m_bitmapInfo.Width(), 16);
    EXPECT_EQ(reader->m_bitmapInfo.Height(), 12);
    CHandle handle;
    ASSERT_EQ(cLoadThumbnailEx(handle, m_path.string().c_str(), 16, 16, 0), 1);
    uint16_t red = 0, green = 0, blue = 0;
    cGetPixelColor(handle, 5, 5, &red, &green, &blue);
    EXPECT_THAT((std::vector{red, green, blue}), testing::ElementsAre(200, 100, 50));
}

TEST_F(NefReader, TakesAPreviewForAWholePictureWhenItIsLargeEnough) {
    CNEFBuilder b = Plain(200, 150);
    b.jpeg = CJPEGBuilder().Size(96, 72).File();
    const auto width = [&](uint32_t least) {
        return Open(b.File(), [&](CImageReader& r) { r.m_minPreviewSize = least; })
            ->m_bitmapInfo.Width();
    };
    EXPECT_EQ(width(0), 196);
    EXPECT_EQ(width(97), 196);
    EXPECT_EQ(width(96), 96);
}

TEST_F(NefReader, DeliversAPictureThatIsDevelopedAlready) {
    CNEFBuilder b;
    b.width = 5;
    b.height = 3;
    b.bits = 8;
    b.photometric = 2;
    for (int i = 0; i < 15; ++i) b.data.insert(b.data.end(), {uint8_t(i), uint8_t(100 + i), 250});
    WriteFile(m_path, b.File());
    CHandle colour;
    ASSERT_TRUE(colour.Load(m_path)) << colour.ErrorText();
    uint16_t red = 0, green = 0, blue = 0;
    cGetPixelColor(colour, 4, 2, &red, &green, &blue);
    EXPECT_THAT((std::vector{red, green, blue}), testing::ElementsAre(14, 114, 250));

    for (const bool bigEndian : {false, true}) {
        b.bigEndian = bigEndian;
        b.bits = 16;
        b.photometric = 1;
        b.data.clear();
        for (int i = 0; i < 15; ++i) {
            const auto word = CTIFFBuilder(bigEndian).U16(uint32_t(i * 4000 + 7));
            b.data.insert(b.data.end(), word.begin(), word.end());
        }
        WriteFile(m_path, b.File());
        CHandle gray;
        ASSERT_TRUE(gray.Load(m_path)) << gray.ErrorText();
        EXPECT_EQ(gray.Info().bits, 16);
        EXPECT_EQ(gray.Info().isGray, 1);
        uint16_t* samples = nullptr;
        ASSERT_EQ(cGetBits16Ptr(gray, &samples), 1);
        ASSERT_NE(samples, nullptr);
        for (int i = 0; i < 15; ++i) EXPECT_EQ(samples[i], i * 4000 + 7);
        cGetPixelColor(gray, 4, 2, &red, &green, &blue);
        EXPECT_EQ(red >> (red > 255 ? 8 : 0), (14 * 4000 + 7) >> 8);
    }
    b.data.pop_back();
    b.data.resize(10);
    b.LastDirectory([](CTIFFBuilder& t, auto& entries) {
        for (auto& e : entries) {
            if (e.tag == 257) e.field = t.U32(5000);
        }
    });
    EXPECT_FALSE(Opens(b));
}

TEST_F(NefReader, LooksForAJPEGWhereNoSizeIsStated) {
    CNEFBuilder b = Plain();
    const auto jpeg = CJPEGBuilder().Size(30, 20).File();
    b.bits = 8;
    b.LastDirectory([&](CTIFFBuilder& t, auto& entries) {
        std::erase_if(entries, [](const auto& e) { return e.tag < 258; });
        entries.push_back({513, 4, 1, t.U32(t.Add(jpeg))});
        entries.push_back({514, 4, 1, t.U32(uint32_t(jpeg.size()))});
    });
    WriteFile(m_path, b.File());
    CHandle handle;
    ASSERT_TRUE(handle.Load(m_path)) << handle.ErrorText();
    EXPECT_EQ(handle.Info().width, 30u);
    b.LastDirectory([](CTIFFBuilder&, auto& entries) {
        std::erase_if(entries, [](const auto& e) { return e.tag < 258; });
    });
    EXPECT_FALSE(Opens(b));
}

}  // namespace
}  // namespace kestr::test
