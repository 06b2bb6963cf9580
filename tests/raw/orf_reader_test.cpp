#include <gmock/gmock.h>

#include "raw/orf_data.h"
#include "raw/orf_models.h"
#include "readers/type_ids.h"
#include "support/jpeg_builder.h"
#include "support/maker_raw_builders.h"
#include "support/picture.h"
#include "support/sensor_probe.h"

namespace kestr::test {
namespace {

using testing::HasSubstr;
using Bytes = std::vector<uint8_t>;

uint16_t Noisy(uint32_t y, uint32_t x) {
    const uint32_t random = (y * 7919 + x) * 2654435761u >> 16;
    return random % 40 == 0 ? random % 4096
                            : uint16_t(700 + (y * 29 + x * 13) % 2000 + random % 60);
}

class OrfReader : public testing::Test {
protected:
    static CPlainRawBuilder Compressed(uint32_t width = 40, uint32_t height = 30) {
        CPlainRawBuilder b;
        b.width = width;
        b.height = height;
        b.data = CompressORF(width, height, Noisy);
        return b;
    }
    static CPlainRawBuilder Words(const char* model, int shift) {
        CPlainRawBuilder b;
        b.model = model;
        b.width = 60;
        b.height = 30;
        b.Words([shift](uint32_t y, uint32_t x) { return Noisy(y, x) >> (shift == 6 ? 2 : 0); },
                shift);
        return b;
    }
    std::unique_ptr<CImageReader> Open(const Bytes& bytes, const CThumbnailRequest& ask = {}) {
        WriteFile(m_path, bytes);
        auto reader = CreateReader(kTypeOlympus, true, false, ask);
        m_opened = reader->Open(WidePath(m_path).c_str(), 0);
        EXPECT_EQ(reader->m_errorText, m_opened ? "" : "Not an ORF file.");
        reader->Close();
        return reader;
    }
    bool Opens(const CPlainRawBuilder& b) {
        Open(b.File());
        return m_opened;
    }
    CTemporaryFolder m_folder;
    std::filesystem::path m_path = m_folder / "picture.orf";
    bool m_opened = false;
};

TEST_F(OrfReader, StoresWhatAnotherDecoderReads) {
    // E-10: ten bits, which that decoder shifts up by two.
    for (const std::string name : {"e1.orf", "e10.orf", "e300.orf", "e410.orf", "c5050.orf"}) {
        EXPECT_EQ(ProbeSensor(kTypeOlympus, FuzzSeed("orf/" + name)),
                  ReadPGM(TestData("raw/" + name + ".pgm")))
            << name;
    }
}

TEST_F(OrfReader, UndoesItsCodesForAnyScene) {
    const CScene scenes[] = {
        Noisy,
        [](uint32_t, uint32_t) { return uint16_t{0}; },
        [](uint32_t y, uint32_t x) { return uint16_t((x / 3 + y / 2) % 2 * 4095); },
        [](uint32_t y, uint32_t x) {
            return uint16_t((y * 1000003 + x * 7919) * 2654435761u >> 20);
        },
    };
    for (const auto& scene : scenes) {
        for (const auto& [width, height] : {std::pair{50u, 21u}, {1u, 3u}, {2u, 1u}, {333u, 8u}}) {
            const Bytes data = CompressORF(width, height, scene);
            CRawSensorImage image;
            image.samples = CRawSamples(width, height, 1);
            ASSERT_TRUE(ReadCompressedORF(data, image, nullptr));
            for (uint32_t y = 0; y < height; ++y) {
                for (uint32_t x = 0; x < width; ++x) {
                    ASSERT_EQ(*image.samples.Pixel(y, x), scene(y, x)) << y << ' ' << x;
                }
            }
        }
    }
}

TEST_F(OrfReader, KnowsItsModels) {
    const struct {
        const char* text;
        const char* name;  // null for a camera that is not known
    } rows[] = {{"E-300           ", "E-300"},
                {"E-330", "E-330"},
                {"E-400", "E-400"},
                {"E-410", "E-410"},
                {"E-510", "E-510"},
                {"E-500", "E-500"},
                {"SP320", "SP320"},
                {"SP510UZ", "SP510UZ"},
                {"E-10", "E-10"},
                {"E-20,E-20N,E-20P", "E-20"},
                {"E-1", "E-1"},
                {"E-3            ", "E-3"},
                {"C5050Z", "C5050"},
                {"C5060WZ", "C5060"},
                {"C8080WZ", "C8080"},
                {"C70Z,C7000Z", "C70Z"},
                {"C7070WZ", "C7070"},
                {"SP500UZ", "SP500UZ"},
                {"SP550UZ", "SP550UZ"},
                {"E-30", nullptr},
                {"E-100RS", nullptr},
                {"E-420", nullptr},
                {"SP350", nullptr},
                {"", nullptr}};
    for (const auto& row : rows) {
        SCOPED_TRACE(row.text);
        CPlainRawBuilder b = Compressed();
        b.model = row.text;
        b.pattern = {2, 0, 2, 0, 0, 1, 1, 2};
        EXPECT_EQ(Opens(b), row.name != nullptr);
        const COlympusModel* model = FindOlympusModel("OLYMPUS CORPORATION", row.text);
        ASSERT_EQ(model != nullptr, row.name != nullptr);
        if (model == nullptr) continue;
        EXPECT_EQ(model->name, row.name);
        EXPECT_EQ(model->colorMatrix1.size(), 9u);
        EXPECT_EQ(model->colorMatrix2.size(), 9u);
    }
    CPlainRawBuilder b = Compressed();
    EXPECT_THAT(Open(b.File())->m_description, HasSubstr("Olympus ORF"));
    for (const char* make : {"OLYMPUS OPTICAL CO.,LTD", "OLYMPUS"}) {
        b.make = make;
        EXPECT_TRUE(Opens(b));
    }
    b.make = "Olympus";
    EXPECT_FALSE(Opens(b));
    // Nobody tells where this one's filters begin.
    b = Compressed();
    b.model = "C70Z,C7000Z";
    EXPECT_FALSE(Opens(b));
}

TEST_F(OrfReader, ChoosesItsLayoutByTheBytesOfTheFile) {
    const auto values = [&](const CPlainRawBuilder& b) {
        WriteFile(m_path, b.File());
        return ProbeSensor(kTypeOlympus, m_path);
    };
    for (const bool bigEndian : {false, true}) {
        // Ten bits of the first digital cameras, twelve of all others.
        for (const auto& [model, shift] : {std::pair{"E-20", 6}, {"E-500", 4}, {"E-3", 4}}) {
            CPlainRawBuilder b = Words(model, shift);
            b.bigEndian = bigEndian;
            b.Words(Noisy, 4);
            const auto got = values(b);
            ASSERT_EQ(got.width, 60u);
            EXPECT_EQ(got.values[61], Noisy(1, 1) >> (shift - 4));
        }
    }
    // The last 48 words of a row are no samples.
    const auto got = values(Words("E-300", 4));
    ASSERT_EQ(got.width, 12u);
    EXPECT_EQ(got.values[12 * 7 + 3], Noisy(7, 3));
}

TEST_F(OrfReader, RefusesWhatItCannotDevelop) {
    using B = CPlainRawBuilder;
    const struct {
        const char* name;
        std::function<void(B&)> change;
    } rows[] = {
        {"no magic", [](B& b) { b.magic.clear(); }},
        {"another magic", [](B& b) { b.magic = "RX"; }},
        {"compression", [](B& b) { b.compression = 7; }},
        {"12 bits without a layout", [](B& b) { b.bits = 12; }},
        {"margins alone", [](B& b) { b.width = 4; }},
        {"more than its data", [](B& b) { b.width = b.height = 60000; }},
        {"sides without end", [](B& b) { b.width = b.height = 0xFFFFFFFF; }},
        {"no side", [](B& b) { b.height = 0; }},
    };
    ASSERT_TRUE(Opens(Compressed()));
    B other = Compressed();
    other.magic = "RS";
    EXPECT_TRUE(Opens(other));
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        B b = Compressed();
        row.change(b);
        EXPECT_FALSE(Opens(b));
    }
    B words = Words("E-300", 4);  // of which 48 columns are no samples
    ASSERT_TRUE(Opens(words));
    words.width = 48;
    EXPECT_FALSE(Opens(words));
    Open(Bytes(100));
    EXPECT_FALSE(m_opened);
}

// The card reflects all colours alike; the camera answers by its neutral.
TEST_F(OrfReader, DevelopsAGrayCardToGray) {
    const auto card = [](uint32_t y, uint32_t x) {
        const uint32_t plane = y % 2 + x % 2;
        return uint16_t(1000 + (plane == 0 ? 800 : plane == 1 ? 1600 : 1200));
    };
    for (const bool newNote : {false, true}) {
        SCOPED_TRACE(newNote);
        CPlainRawBuilder b;
        b.width = 48;
        b.height = 40;
        b.pattern = {2, 0, 2, 0, 0, 1, 1, 2};
        b.data = CompressORF(48, 40, card);
        // Gains of 2 and 4 / 3, and levels of black whose mean is 1000.
        const Bytes black = b.Shorts({1001, 999, 1003, 1000});
        const CTIFFBuilder n;
        if (newNote) {
            constexpr uint32_t kInner = 12 + 2 + 12 + 4, kBlack = kInner + 2 + 24 + 4;
            b.note = n.Join(
                {CTIFFBuilder::Text({"OLYMPUS\0II\3\0", 12}),
                 b.Directory({{8256, 4, 1, b.U32(kInner)}}),
                 b.Directory({{256, 3, 2, b.Shorts({512, 341})}, {1536, 3, 4, b.U32(kBlack)}}),
                 black});
        } else {
            b.extra = black;
            b.note = n.Join({CTIFFBuilder::Text({"OLYMP\0\1\0", 8}),
                             b.Directory({{4114, 3, 4, b.U32(CPlainRawBuilder::kExtraAt)},
                                          {4119, 3, 1, b.U16(512)},
                                          {4120, 3, 1, b.U16(341)}})});
        }
        WriteFile(m_path, b.File());
        ExpectGrayCard(m_path);
    }
}

TEST_F(OrfReader, ServesAThumbnailFromTheNotesPreview) {
    CPlainRawBuilder b = Compressed(200, 150);
    const Bytes jpeg = CJPEGBuilder().Size(96, 72).File();
    for (const uint32_t valid : {0u, 1u}) {
        constexpr uint32_t kInner = 12 + 2 + 12 + 4, kPreview = kInner + 2 + 36 + 4;
        b.note = CTIFFBuilder().Join({CTIFFBuilder::Text({"OLYMPUS\0II\3\0", 12}),
                                      b.Directory({{8224, 4, 1, b.U32(kInner)}}),
                                      b.Directory({{256, 4, 1, b.U32(valid)},
                                                   {257, 4, 1, b.U32(kPreview)},
                                                   {258, 4, 1, b.U32(uint32_t(jpeg.size()))}}),
                                      jpeg});
        const auto reader = Open(b.File(), {true, 48, 48});
        ASSERT_TRUE(m_opened);
        EXPECT_EQ(reader->m_bitmapInfo.Width(), valid != 0 ? 48 : 196);
        EXPECT_EQ(reader->m_originalWidth, valid != 0 ? 196u : 0u);
        EXPECT_EQ(reader->Has16BitData(), valid == 0);
    }
}

}  // namespace
}  // namespace kestr::test
