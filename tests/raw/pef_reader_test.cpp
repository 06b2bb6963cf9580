#include <gmock/gmock.h>

#include "raw/pef_data.h"
#include "raw/pef_models.h"
#include "readers/type_ids.h"
#include "support/impatient_caller.h"
#include "support/jpeg_builder.h"
#include "support/maker_raw_builders.h"
#include "support/picture.h"
#include "support/sensor_probe.h"

namespace kestr::test {
namespace {

using testing::HasSubstr;
using Bytes = std::vector<uint8_t>;

constexpr uint32_t kWidth = 3040, kHeight = 2024;

uint16_t Smooth(uint32_t y, uint32_t x) {
    return uint16_t(300 + (y * 3 + x * 5) % 3000 + (x * x + y) % 37);
}
/// Red, green and blue of a card that reflects all colours alike, by gains of 2 and 4 / 3.
uint16_t Card(uint32_t y, uint32_t x) {
    const uint32_t plane = y % 2 + x % 2;
    return uint16_t(128 + (plane == 0 ? 800 : plane == 1 ? 1600 : 1200));
}

// Files of these cameras have one size, which is that of millions of samples.
class PefReader : public testing::Test {
protected:
    static CPlainRawBuilder Empty(const char* model, size_t dataBytes) {
        CPlainRawBuilder b;
        b.make = "PENTAX Corporation";
        b.magic.clear();
        b.bigEndian = true;
        b.model = model;
        b.width = kWidth;
        b.height = kHeight;
        b.data.resize(dataBytes);
        return b;
    }
    static constexpr size_t kWordBytes = size_t{2} * kWidth * kHeight;
    static constexpr size_t kPackedBytes = size_t{kWidth} * kHeight * 3 / 2;

    std::unique_ptr<CImageReader> Open(const Bytes& bytes, const CThumbnailRequest& ask = {}) {
        WriteFile(m_path, bytes);
        auto reader = CreateReader(kTypePentax, true, false, ask);
        m_opened = reader->Open(WidePath(m_path).c_str(), 0);
        EXPECT_EQ(reader->m_errorText, m_opened ? "" : "Not a PEF file.");
        reader->Close();
        return reader;
    }
    void ExpectValues(const CPlainRawBuilder& b, uint32_t width, uint32_t height) {
        WriteFile(m_path, b.File());
        const auto got = ProbeSensor(kTypePentax, m_path);
        ASSERT_EQ(got.width, width);
        ASSERT_EQ(got.height, height);
        size_t wrong = 0;
        for (uint32_t y = 0; y < height; ++y) {
            for (uint32_t x = 0; x < width; ++x) {
                wrong += got.values[size_t{y} * width + x] != Smooth(y, x);
            }
        }
        EXPECT_EQ(wrong, 0u);
    }
    CTemporaryFolder m_folder;
    std::filesystem::path m_path = m_folder / "picture.pef";
    bool m_opened = false;
};

TEST_F(PefReader, StoresWhatAnotherDecoderReads) {
    const auto file = ReadFile(FuzzSeed("pef/k10d.pef"));
    const auto expected = ReadPGM(TestData("raw/k10d.pef.pgm"));
    CRawSensorImage image;
    image.samples = CRawSamples(expected.width, expected.height, 1);
    constexpr size_t kData = 4096;
    ASSERT_TRUE(ReadCompressedPEF(std::span(file).subspan(kData), expected.width, image, nullptr));
    EXPECT_TRUE(std::equal(expected.values.begin(), expected.values.end(), image.samples.Row(0)));
    // The size that this file states is that of no camera.
    Open(file);
    EXPECT_FALSE(m_opened);
}

TEST_F(PefReader, ReadsEachStorage) {
    for (const uint32_t compression : {1u, 32773u}) {
        SCOPED_TRACE(compression);
        // The bytes of the file tell words from packed samples, whatever the model.
        CPlainRawBuilder b = Empty(compression == 1 ? "PENTAX *ist D" : "PENTAX *ist DS", 0);
        b.compression = compression;
        b.Words(Smooth, 0);
        ExpectValues(b, kWidth, kHeight);
        b.Packed(Smooth);
        ExpectValues(b, kWidth, kHeight);
    }
    CPlainRawBuilder b = Empty("PENTAX K10D", 0);
    b.compression = 65535;
    b.data = CompressPEF(3936, 2624, Smooth);
    ExpectValues(b, 3896, 2616);
}

TEST_F(PefReader, KnowsItsModels) {
    const struct {
        const char* model;
        size_t bytes;
        uint32_t compression;
        int32_t width, height;
        uint16_t black, white;
    } rows[] = {{"PENTAX *ist D", kWordBytes, 1, 3036, 2020, 128, 4095},
                {"PENTAX *ist DS", kPackedBytes, 1, 3036, 2020, 128, 3950},
                {"PENTAX *ist DL", kPackedBytes, 1, 3036, 2020, 128, 3950},
                {"PENTAX K100D", kPackedBytes, 1, 3036, 2020, 128, 3950},
                {"PENTAX K100D Super", kPackedBytes, 1, 3036, 2020, 128, 3950},
                {"PENTAX K10D", 9000000, 65535, 3892, 2612, 0, 4095}};
    for (const auto& row : rows) {
        SCOPED_TRACE(row.model);
        CPlainRawBuilder b = Empty(row.model, row.bytes);
        b.compression = row.compression;
        const auto reader = Open(b.File());
        ASSERT_TRUE(m_opened);
        EXPECT_EQ(reader->m_bitmapInfo.Width(), row.width);
        EXPECT_EQ(reader->m_bitmapInfo.Height(), row.height);
        EXPECT_THAT(reader->m_description, HasSubstr(std::string(row.model) + " RAW"));
        const CPentaxModel& model = *FindPentaxModel(row.model);
        EXPECT_EQ(model.blackLevel, row.black);
        EXPECT_EQ(model.whiteLevel, row.white);
        EXPECT_EQ(model.colorMatrix1.size(), 9u);
        EXPECT_EQ(model.colorMatrix2.size(), 9u);
        b.compression = row.compression == 1 ? 65535 : 1;
        Open(b.File());
        EXPECT_FALSE(m_opened);
    }
    for (const char* model : {"PENTAX K200D", "PENTAX K10", "K10D", ""}) {
        Open(Empty(model, kWordBytes).File());
        EXPECT_FALSE(m_opened) << model;
    }
    Open(Empty("PENTAX K100D", kPackedBytes - 1).File());
    EXPECT_FALSE(m_opened);
    CPlainRawBuilder lies = Empty("PENTAX K100D", 500000);
    lies.statedBytes = kWordBytes;
    Open(lies.File());
    EXPECT_FALSE(m_opened);
}

TEST_F(PefReader, DevelopsAGrayCardToGray) {
    CPlainRawBuilder b = Empty("PENTAX *ist D", 0);
    b.Words(Card, 0);
    const Bytes gains = b.Shorts({2 * 8192, 8192, 8192, 8192 * 4 / 3});
    // Its place may count from the note's directory or from the file.
    for (const bool fromFile : {false, true}) {
        SCOPED_TRACE(fromFile);
        const uint32_t at = fromFile ? CPlainRawBuilder::kExtraAt : 2 + 12 + 4;
        b.extra = fromFile ? gains : Bytes();
        b.note = CTIFFBuilder().Join({CTIFFBuilder::Text({"AOC\0MM", 6}),
                                      b.Directory({{513, 3, 4, b.U32(at)}}),
                                      fromFile ? Bytes() : gains});
        WriteFile(m_path, b.File());
        if (fromFile) {
            ExpectGrayCard(m_path);
            continue;
        }
        CHandle handle;
        cSetRawInterpolationMethod(handle, 0);
        cUseCIECAM02(handle, 0);
        ASSERT_TRUE(handle.Load(m_path));
        uint16_t red = 0, green = 0, blue = 0;
        cGetPixelColor(handle, 1500, 1000, &red, &green, &blue);
        EXPECT_NEAR(red, green, 100);
        EXPECT_NEAR(blue, green, 100);
    }
}

TEST_F(PefReader, ServesAThumbnailFromTheNotesPreview) {
    CPlainRawBuilder b = Empty("PENTAX K100D", kPackedBytes);
    b.extra = CJPEGBuilder().Size(96, 72).File();
    b.note = CTIFFBuilder().Join({CTIFFBuilder::Text({"AOC\0MM", 6}),
                                  b.Directory({{2, 3, 2, b.Shorts({96, 72})},
                                               {3, 4, 1, b.U32(uint32_t(b.extra.size()))},
                                               {4, 4, 1, b.U32(CPlainRawBuilder::kExtraAt)}})});
    auto reader = Open(b.File(), {true, 48, 48});
    ASSERT_TRUE(m_opened);
    EXPECT_EQ(reader->m_bitmapInfo.Width(), 48);
    EXPECT_EQ(reader->m_originalWidth, 3036u);
    EXPECT_EQ(Open(b.File())->m_bitmapInfo.Width(), 3036);
}

/// A file with a preview and just enough data to be opened, and the places of its numbers.
struct CSmallFile {
    Bytes bytes;
    std::vector<size_t> places;
};
CSmallFile SmallFile() {
    CPlainRawBuilder b;
    b.make = "PENTAX Corporation";
    b.model = "PENTAX K10D";
    b.magic.clear();
    b.bigEndian = true;
    b.compression = 65535;
    b.data.resize(3896 * 2616 / 8 + 1);
    b.extra = CJPEGBuilder().Size(48, 36).File();
    b.note = CTIFFBuilder().Join({CTIFFBuilder::Text({"AOC\0MM", 6}),
                                  b.Directory({{3, 4, 1, b.U32(uint32_t(b.extra.size()))},
                                               {4, 4, 1, b.U32(CPlainRawBuilder::kExtraAt)}})});
    CSmallFile small{b.File(), {}};
    // All but the samples: header, preview, EXIF and note before them, the directory behind.
    const size_t before = 8 + b.extra.size() + 200, behind = 200;
    for (size_t i = 0; i < small.bytes.size(); ++i) {
        if (i < before || i >= small.bytes.size() - behind) small.places.push_back(i);
    }
    return small;
}

// Samples of these sizes take too long for thousands of loads: damage is opened, and its preview
// read.
TEST_F(PefReader, AnswersCleanlyToDamage) {
    const CSmallFile small = SmallFile();
    const auto tryFile = [&](const Bytes& bytes, const char* what, size_t where) {
        SCOPED_TRACE(testing::Message() << what << where);
        WriteFile(m_path, bytes);
        const auto reader = CreateReader(kTypePentax, true, false, {true, 20, 20});
        const bool opened = reader->Open(WidePath(m_path).c_str(), 0);
        EXPECT_EQ(reader->m_errorText, opened ? "" : "Not a PEF file.");
        if (opened && !reader->Has16BitData()) {
            Bytes row(size_t(reader->m_bitmapInfo.RowBytes()));
            while (reader->ReadLine(row.data()) && where-- != 0) {
            }
        }
        reader->Close();
        EXPECT_TRUE(std::filesystem::remove(m_path));
        return opened;
    };
    EXPECT_TRUE(tryFile(small.bytes, "whole", 100));
    for (const size_t place : small.places) {
        Bytes bytes = small.bytes;
        bytes[place] ^= uint8_t(1 << place % 8);
        tryFile(bytes, "bit in ", place);
        if (place % 8 != 0) continue;
        bytes.resize(place);
        const bool opened = tryFile(bytes, "cut at ", place);
        EXPECT_FALSE(opened && place < small.bytes.size() / 2)
            << "without its directory: " << place;
    }
}

TEST_F(PefReader, EndsWhenItsCallerWantsIt) {
    WriteFile(m_path, SmallFile().bytes);
    for (const int patience : {0, 1, 2, 500}) {
        CImpatientCaller caller(patience);
        const auto reader = CreateReader(kTypePentax, true, false, {});
        EXPECT_FALSE(reader->StartLoad(WidePath(m_path).c_str(), 0, &caller)) << patience;
        EXPECT_EQ(reader->m_errorText, "Load aborted.");
        reader->Close();
    }
}

}  // namespace
}  // namespace kestr::test
