// SRF, SR2 and ARW: files made for this project whose values dcraw reads, and a builder of our own
// for what those do not show.
#include <gmock/gmock.h>

#include "raw/sony_cipher.h"
#include "raw/sony_data.h"
#include "raw/sony_models.h"
#include "raw/sony_private.h"
#include "readers/type_ids.h"
#include "support/jpeg_builder.h"
#include "support/picture.h"
#include "support/sensor_probe.h"
#include "support/sony_builder.h"

namespace kestr::test {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using Bytes = std::vector<uint8_t>;
using CForm = CSonyBuilder::CForm;

/// A scene of smooth and rough parts; values below `limit`.
std::vector<uint16_t> Scene(uint32_t width, uint32_t height, uint32_t limit) {
    CNoise noise(3);
    std::vector<uint16_t> values(size_t{width} * height);
    for (uint32_t y = 0; y < height; ++y) {
        for (uint32_t x = 0; x < width; ++x) {
            const uint32_t level = limit / 5 + (x * 7 + y * 5) % (limit / 2) + noise() % 60;
            values[size_t{y} * width + x] = uint16_t(noise() % 40 == 0 ? noise() % limit : level);
        }
    }
    return values;
}

CSonyBuilder Builder(const char* model, uint32_t width, uint32_t height, uint32_t limit) {
    CSonyBuilder b;
    b.model = model;
    b.width = width;
    b.height = height;
    b.values = Scene(width, height, limit);
    return b;
}

/// Colours of the cells of a gray card, by the planes of a 2 x 2 pattern at the first stored cell.
void MakeCard(CSonyBuilder& b, const std::array<int, 4>& planes, uint32_t black, uint32_t level) {
    b.gains = {512, 256, 384};
    const std::array<uint32_t, 4> share{level / 2, level, level * 2 / 3, level};
    for (uint32_t y = 0; y < b.height; ++y) {
        for (uint32_t x = 0; x < b.width; ++x) {
            const auto plane = size_t(planes[y % 2 * 2 + x % 2]);
            const bool masked = b.model == "DSC-V3" && x < 9;
            b.values[size_t{y} * b.width + x] = uint16_t(black + (masked ? 0 : share[plane]));
        }
    }
}

TEST(SonyCipher, RunsOnOverAnyParts) {
    Bytes expected(5000, 0x5A);
    Bytes whole = expected;
    CSonyBuilder::Encipher(expected, 0, expected.size(), 0xDEADBEEF);
    CSonyCipher(0xDEADBEEF).Apply(whole);
    EXPECT_EQ(whole, expected);
    Bytes parts(5000, 0x5A);
    CSonyCipher cipher(0xDEADBEEF);
    for (size_t at = 0, size = 2; at < parts.size(); at += size, size += 34) {
        size = std::min(size, parts.size() - at);
        cipher.Apply(std::span(parts).subspan(at, size));
    }
    EXPECT_EQ(parts, expected);
}

TEST(SonyData, ReadsEachLengthOfADifference) {
    // Each step up and down of each number of bits, within 16 bits.
    CSonyBuilder b;
    b.width = 1;
    b.values = {0};
    for (int bits = 0; bits <= 16; ++bits) {
        for (const int step : {(1 << bits) / 2, (1 << bits) - 1}) {
            b.values.push_back(uint16_t(std::min(step, 65535)));
            b.values.push_back(0);
        }
    }
    b.height = uint32_t(b.values.size());
    // Even rows lie before odd ones: let the order of the codes be that of the values.
    const auto inOrder = b.values;
    const size_t half = (inOrder.size() + 1) / 2;
    for (size_t i = 0; i < inOrder.size(); ++i) {
        b.values[i < half ? 2 * i : 2 * (i - half) + 1] = inOrder[i];
    }
    CRawSensorImage image;
    image.samples = CRawSamples(1, b.height, 1);
    ASSERT_TRUE(ReadColumnCodes(b.ColumnCodes(), 1, b.height, {0, 0, 1, b.height}, image, nullptr));
    EXPECT_EQ(std::vector(image.samples.Row(0), image.samples.Row(0) + b.height), b.values);
    // A difference of 17 bits is read too, and counts modulo 65536.
    CBitWriter out;
    out.Put(0, 15);
    out.Put(0x1FFFF, 17);
    image.samples = CRawSamples(1, 1, 1);
    ASSERT_TRUE(ReadColumnCodes(out.bytes, 1, 1, {0, 0, 1, 1}, image, nullptr));
    EXPECT_EQ(image.samples.Row(0)[0], 0xFFFF);
}

TEST(SonyData, StandsStillBehindTheEndOfTheCodes) {
    const CSonyBuilder b = Builder("", 40, 21, 4000);
    const Bytes codes = b.ColumnCodes();
    for (size_t length = 0; length < codes.size(); length += 7) {
        CRawSensorImage image;
        image.samples = CRawSamples(40, 21, 1);
        ASSERT_TRUE(ReadColumnCodes(std::span(codes).first(length), 40, 21, {0, 0, 40, 21}, image,
                                    nullptr));
        // Counted in the order of the file, what came before the end stands.
        std::vector<uint16_t> got, wanted;
        for (uint32_t x = 40; x-- > 0;) {
            for (const uint32_t first : {0u, 1u}) {
                for (uint32_t y = first; y < 21; y += 2) {
                    got.push_back(image.samples.Row(y)[x]);
                    wanted.push_back(b.values[y * 40 + x]);
                }
            }
        }
        const auto same = std::mismatch(got.begin(), got.end(), wanted.begin()).first - got.begin();
        ASSERT_GE(size_t(same) * 28 + 28, length * 8);
        ASSERT_EQ(got.back(), got[std::min<size_t>(got.size() - 1, size_t(same) + 1)]);
    }
}

TEST(SonyData, ReadsBlocksThatAreOddlyMade) {
    std::vector<uint16_t> samples(2048);
    for (size_t i = 0; i < samples.size(); ++i) samples[i] = uint16_t(i);
    const auto decode = [&](uint64_t low, uint64_t high) {
        Bytes data;
        for (int half = 0; half < 4; ++half) {
            for (int i = 0; i < 8; ++i) {
                data.push_back(uint8_t((half == 0 ? low : half == 1 ? high : 0) >> 8 * i));
            }
        }
        CRawSensorImage image;
        image.samples = CRawSamples(32, 1, 1);
        EXPECT_TRUE(ReadValueBlocks(data, samples, 32, {0, 0, 32, 1}, image, nullptr));
        std::vector<int> values;
        for (size_t i = 0; i < 32; i += 2) values.push_back(image.samples.Row(0)[i]);
        return values;
    };
    // Both at place 3: the largest stands, and there is nothing left for the last value.
    constexpr uint64_t kPlaces = uint64_t{3} << 22 | uint64_t{3} << 26;
    const auto one = decode(100 | 20 << 11 | kPlaces | ~uint64_t{0} << 30, ~uint64_t{0});
    EXPECT_THAT(one, ElementsAre(147, 147, 147, 100, 147, 147, 147, 147, 147, 147, 147, 147, 147,
                                 147, 147, 20));
    // A largest value below the smallest; steps of 16 that pass the last value.
    EXPECT_EQ(decode(5 | 30 << 11 | uint64_t{1} << 26, 0)[0], 5);
    EXPECT_EQ(decode(2047 | 1000 << 11 | uint64_t{1} << 26 | ~uint64_t{0} << 30, 0)[2], 2047);
    EXPECT_EQ(decode(2047 | 0 << 11 | uint64_t{1} << 26 | ~uint64_t{0} << 30, 0)[2], 2032);
    EXPECT_EQ(decode(2047 | 30 << 11 | uint64_t{1} << 26 | ~uint64_t{0} << 30, 0)[2], 2047);
}

TEST(SonyData, TakesACurveOfFourBends) {
    // Bends at 100, 200, 300 and 400: steps of 1, 2, 4, 8 and 16; a sample is a quarter.
    const auto samples = BlockSamples(std::vector<uint16_t>{400, 800, 1200, 1600});
    ASSERT_TRUE(samples);
    ASSERT_EQ(samples->size(), 2048u);
    EXPECT_EQ((*samples)[50], 100 / 4);
    EXPECT_EQ((*samples)[100], 300 / 4);
    EXPECT_EQ((*samples)[200], 1500 / 4);
    EXPECT_EQ((*samples)[2047], (1500 + (4094 - 400) * 16) / 4);
    EXPECT_FALSE(BlockSamples(std::vector<uint16_t>{400, 800, 1200}));
    EXPECT_TRUE(BlockSamples(std::vector<uint16_t>{65535, 3, 65535, 0}));
}

class SonyReader : public testing::Test {
protected:
    CSensorValues Probe(const Bytes& file) {
        WriteFile(m_path, file);
        return ProbeSensor(kTypeSony, m_path);
    }
    std::unique_ptr<CImageReader> Open(const Bytes& file, bool expected = true,
                                       uint32_t thumbnail = 0) {
        WriteFile(m_path, file);
        auto reader = CreateReader(kTypeSony, true, false, {});
        if (thumbnail != 0) reader->RequestThumbnail(thumbnail, thumbnail, 0);
        EXPECT_EQ(reader->Open(WidePath(m_path).c_str(), 0), expected);
        EXPECT_EQ(reader->m_errorText, expected ? "" : "Not a Sony raw file.");
        reader->Close();
        return reader;
    }
    static CSensorValues All(const CSonyBuilder& b) { return {b.width, b.height, b.values}; }

    CTemporaryFolder m_folder;
    std::filesystem::path m_path = m_folder / "picture.arw";
};

TEST_F(SonyReader, GivesTheListedValues) {
    for (const char* name : {"a700.arw", "a700u.arw"}) {
        SCOPED_TRACE(name);
        const auto all = ReadPGM(TestData(std::string("raw/") + name + ".pgm"));
        // Unused: 4 columns at the left, 12 at the right, 4 rows above and below.
        EXPECT_EQ(ProbeSensor(kTypeSony, FuzzSeed(std::string("sony/") + name)),
                  all.Part(4, 4, all.width - 16, all.height - 8));
    }
}

TEST_F(SonyReader, ReadsEachModelsForm) {
    const CSonyBuilder f828 = Builder("DSC-F828", 3360, 40, 16368);
    EXPECT_EQ(Probe(f828.SRF(862144)), All(f828).Part(5, 0, 3288, 40));
    const CSonyBuilder narrow = Builder("DSC-F828", 99, 21, 16368);  // odd sides
    EXPECT_EQ(Probe(narrow.SRF(862144)), All(narrow).Part(5, 0, 27, 21));
    const CSonyBuilder v3 = Builder("DSC-V3", 3280, 20, 16368);
    EXPECT_EQ(Probe(v3.SRF(787392)), All(v3).Part(59, 0, 3109, 20));
    const CSonyBuilder r1 = Builder("DSC-R1", 100, 30, 16383);
    EXPECT_EQ(Probe(r1.SR2()), All(r1).Part(0, 0, 40, 30));
    for (const uint32_t width : {47u, 49u}) {
        const CSonyBuilder a100 = Builder("DSLR-A100", width, 32, 4075);
        EXPECT_EQ(Probe(a100.A100()), All(a100).Part(0, 0, width, 31));
    }
    CSonyBuilder a700 = Builder("DSLR-A700", 69, 40, 4095);
    EXPECT_EQ(Probe(a700.ARW(CForm::kColumns)), All(a700).Part(4, 4, 53, 24));
    a700 = Builder("DSLR-A700", 70, 32, 4095);
    EXPECT_EQ(Probe(a700.ARW(CForm::k12Bits)), All(a700).Part(4, 4, 54, 24));
}

TEST_F(SonyReader, NamesModelSizeAndType) {
    const struct {
        const char* model;
        const char* format;
        uint32_t width, height;
        int32_t bitmapWidth, bitmapHeight;
        std::function<Bytes(const CSonyBuilder&)> file;
        size_t matrixValues;
    } rows[] = {
        {"DSC-F828", "Sony DSC-F828 Raw", 200, 30, 124, 26,
         [](const auto& b) { return b.SRF(862144); }, 12},
        {"DSC-V3", "Sony DSC-V3 Raw", 200, 30, 137, 26, [](const auto& b) { return b.SRF(787392); },
         9},
        {"DSC-R1", "Sony DSC-R1 Raw", 200, 30, 136, 26, [](const auto& b) { return b.SR2(); }, 9},
        {"DSLR-A100", "Sony DSLR-A100", 200, 30, 196, 25, [](const auto& b) { return b.A100(); },
         9},
        {"DSLR-A700", "Sony DSLR-A700", 224, 30, 204, 18,
         [](const auto& b) { return b.ARW(CForm::kBlocks); }, 9},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.model);
        const auto reader = Open(row.file(Builder(row.model, row.width, row.height, 2000)));
        EXPECT_EQ(reader->m_description, std::string("Format: ") + row.format);
        EXPECT_EQ(reader->m_typeId, kTypeSony);
        EXPECT_EQ(reader->m_bitmapInfo.Width(), row.bitmapWidth);
        EXPECT_EQ(reader->m_bitmapInfo.Height(), row.bitmapHeight);
        EXPECT_TRUE(reader->IsCameraRaw());
        EXPECT_TRUE(reader->Has16BitData());
        const CSonyModel* const model = FindSonyModel(row.model);
        ASSERT_NE(model, nullptr);
        EXPECT_EQ(model->colorMatrix1.size(), row.matrixValues);
        EXPECT_EQ(model->colorMatrix2.size(), row.matrixValues);
    }
}

TEST_F(SonyReader, ReadsFilesOfFullSize) {
    CSonyBuilder b = Builder("DSC-F828", 3360, 2460, 16368);
    const Bytes srf = b.SRF(862144);
    EXPECT_EQ(srf.size(), 17393344u);  // as the camera's files have
    EXPECT_EQ(Probe(srf), All(b).Part(5, 0, 3288, 2460));
    b = Builder("DSLR-A100", 3881, 2608, 4075);
    EXPECT_EQ(Probe(b.A100()), All(b).Part(0, 0, 3881, 2607));
}

TEST_F(SonyReader, TakesTheBlackOfTheV3FromItsMaskedColumns) {
    // Black stays black only where the nine masked columns tell how dark it is.
    CSonyBuilder b = Builder("DSC-V3", 120, 40, 16368);
    for (uint32_t y = 0; y < b.height; ++y) {
        for (uint32_t x = 0; x < b.width; ++x) {
            const uint32_t inside = y < 8 && x > 110 ? 9000u : 2000u;  // a bright corner
            b.values[y * b.width + x] = uint16_t(x < 9 ? 1996 + x : inside);
        }
    }
    b.gains = {256, 256, 256};
    WriteFile(m_path, b.SRF(787392));
    CHandle handle;
    cSetGeneralRawParams(handle, 0, 1);
    cUseCIECAM02(handle, 0);
    ASSERT_TRUE(handle.Load(m_path)) << handle.ErrorText();
    uint16_t red = 1, green = 1, blue = 1;
    cGetPixelColor(handle, 10, 25, &red, &green, &blue);
    EXPECT_THAT((std::vector{red, green, blue}), ElementsAre(0, 0, 0));
}

TEST_F(SonyReader, DevelopsAGrayCardToGray) {
    const auto card = [&](CSonyBuilder b, std::array<int, 4> planes, uint32_t black, uint32_t level,
                          const std::function<Bytes(const CSonyBuilder&)>& file) {
        MakeCard(b, planes, black, level);
        WriteFile(m_path, file(b));
        ExpectGrayCard(m_path);
    };
    // The picture of the F828 begins at an odd column: stored cells are E R / B G.
    card(Builder("DSC-F828", 132, 48, 9), {3, 0, 2, 1}, 495, 6000,
         [](const auto& b) { return b.SRF(862144); });
    card(Builder("DSC-V3", 120, 48, 9), {1, 0, 2, 1}, 495, 6000,
         [](const auto& b) { return b.SRF(787392); });
    card(Builder("DSC-R1", 120, 48, 9), {1, 0, 2, 1}, 512, 6000,
         [](const auto& b) { return b.SR2(); });
    card(Builder("DSLR-A100", 60, 48, 9), {1, 0, 2, 1}, 0, 1500,
         [](const auto& b) { return b.A100(); });
    const auto packed = [](const CSonyBuilder& b) { return b.ARW(CForm::k12Bits); };
    card(Builder("DSLR-A700", 64, 56, 9), {0, 1, 1, 2}, 128, 1500, packed);
    CSonyBuilder bggr = Builder("DSLR-A700", 64, 56, 9);
    bggr.pattern = {2, 1, 1, 0};
    card(bggr, {2, 1, 1, 0}, 128, 1500, packed);
}

TEST_F(SonyReader, ServesAThumbnailFromTheFirstJPEG) {
    CSonyBuilder b = Builder("DSLR-A100", 300, 200, 4075);
    b.jpeg = CJPEGBuilder().Size(96, 72).File();
    const auto small = Open(b.A100(), true, 48);
    EXPECT_FALSE(small->Has16BitData());
    EXPECT_EQ(small->m_bitmapInfo.Width(), 48);
    EXPECT_EQ(small->m_originalWidth, 296u);
    EXPECT_EQ(Open(b.A100())->m_bitmapInfo.Width(), 296);
    b.jpeg = {1, 2, 3, 4, 5};
    EXPECT_TRUE(Open(b.A100(), true, 48)->Has16BitData());
    // In a directory behind the first.
    b = Builder("DSLR-A700", 64, 56, 4095);
    Bytes file = b.ARW(CForm::k12Bits);
    const Bytes jpeg = CJPEGBuilder().Size(60, 40).File();
    const auto u32 = [](size_t v) { return CTIFFBuilder().U32(uint32_t(v)); };
    const auto jpegAt = file.size();
    file.insert(file.end(), jpeg.begin(), jpeg.end());
    const auto next = file.size();
    for (const Bytes& part : {Bytes{2, 0}, Bytes{1, 2, 4, 0, 1, 0, 0, 0}, u32(jpegAt),
                              Bytes{2, 2, 4, 0, 1, 0, 0, 0}, u32(jpeg.size()), u32(0)}) {
        file.insert(file.end(), part.begin(), part.end());
    }
    const size_t first = file[4] | file[5] << 8 | file[6] << 16;
    const Bytes link = u32(next);
    std::copy(link.begin(), link.end(), file.begin() + ptrdiff_t(first + 2 + 12 * file[first]));
    EXPECT_EQ(Open(file, true, 60)->m_bitmapInfo.Width(), 60);
}

TEST_F(SonyReader, RefusesWhatItCannotDevelop) {
    for (const char* model : {"DSC-F717", "DSLR-A200", "dsc-r1", "DSC-R1 ", ""}) {
        SCOPED_TRACE(model);
        Open(Builder(model, 100, 30, 4000).SR2(), false);
    }
    const struct {
        const char* name;
        std::function<Bytes()> file;
    } rows[] = {
        {"no file", [] { return Bytes(100); }},
        {"no keys", [] { return Builder("DSC-V3", 300, 40, 99).ARW(CForm::k12Bits); }},
        {"no data behind the keys",
         [] {
             Bytes file = Builder("DSC-F828", 300, 40, 99).SRF(862144);
             file.resize(862144);
             return file;
         }},
        {"a border alone", [] { return Builder("DSC-R1", 64, 30, 99).SR2(); }},
        {"no data", [] { return Builder("DSLR-A100", 40, 4, 99).SR2(); }},
        {"no directory of the form", [] { return Builder("DSLR-A700", 96, 40, 99).SR2(); }},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        Open(row.file(), false);
    }
    // A curve of other than four bends: the file does not tell what its values mean.
    Bytes file = Builder("DSLR-A700", 96, 40, 99).ARW(CForm::kBlocks);
    const size_t first = file[4] | file[5] << 8 | file[6] << 16;
    for (size_t i = 0; i < file[first]; ++i) {
        uint8_t* entry = file.data() + first + 2 + 12 * i;
        if ((entry[0] | entry[1] << 8) == 28688) entry[4] = 3;
    }
    Open(file, false);
}

// Whatever a private directory says, the picture comes, without a stated balance.
TEST_F(SonyReader, SurvivesAnyPrivateDirectory) {
    CSonyBuilder b = Builder("DSC-R1", 100, 30, 16383);
    b.gains = {400, 256, 300};
    const Bytes file = b.SR2();
    EXPECT_THAT(ReadSR2Levels(file, file.size() + 5, false), ElementsAre());
    CNoise noise(11);
    for (int round = 0; round < 300; ++round) {
        Bytes changed = file;
        // Behind the data of the sensor.
        const size_t from = 8 + 2 * b.values.size();
        for (int i = 0; i < 6; ++i) changed[from + noise() % (file.size() - from)] = noise.Byte();
        WriteFile(m_path, changed);
        const auto reader = CreateReader(kTypeSony, true, false, {});
        static_cast<void>(reader->Open(WidePath(m_path).c_str(), 0));
        reader->Close();
    }
}

}  // namespace
}  // namespace kestr::test
