// Leica's and Panasonic's raw files: those made for this project whose values dcraw reads, and
// files built here.
#include <gmock/gmock.h>

#include "raw/leica_models.h"
#include "readers/type_ids.h"
#include "support/picture.h"
#include "support/sensor_probe.h"
#include "support/tiff_builder.h"

namespace kestr::test {
namespace {

using Bytes = std::vector<uint8_t>;

struct CLeicaBuilder {
    std::string model = "DMC-LX2";
    uint32_t width = 60, height = 40;
    bool packed = false;
    std::vector<uint16_t> values = {};
    uint32_t pattern = 1;
    std::optional<std::array<uint32_t, 4>> window = {};  // left, top, right, bottom
    uint32_t redGain = 512, blueGain = 384;              // 0 for no tag
    std::optional<std::array<uint32_t, 3>> balance = {};
    std::optional<std::array<uint32_t, 3>> black = {};
    uint16_t magic = 0x55;

    Bytes File() const {
        CTIFFBuilder b(false, 0);
        std::vector<CTIFFBuilder::CEntry> entries;
        const auto number = [&](uint32_t tag, uint32_t value) {
            entries.push_back({tag, 3, 1, b.U16(value)});
        };
        number(2, width);
        number(3, height);
        if (window) {
            number(4, (*window)[1]);
            number(5, (*window)[0]);
            number(6, (*window)[3]);
            number(7, (*window)[2]);
        }
        number(9, pattern);
        if (redGain != 0) number(17, redGain);
        if (blueGain != 0) number(18, blueGain);
        for (uint32_t i = 0; i < 3; ++i) {
            if (black) number(28 + i, (*black)[i]);
        }
        for (uint32_t i = 0; i < 3; ++i) {
            if (balance) number(36 + i, (*balance)[i]);
        }
        entries.push_back(b.TextEntry(272, model));
        entries.push_back({273, 4, 1, b.U32(1024)});
        entries.push_back({274, 3, 1, b.U16(6)});
        const uint32_t time = b.Add(b.Rational(1, 60));
        entries.push_back({34665, 4, 1, b.U32(b.Directory({{33434, 5, 1, b.U32(time)}}))});
        Bytes file = b.Finish(entries);
        file[2] = uint8_t(magic);
        file.resize(1024);
        for (uint32_t y = 0; y < height; ++y) {
            for (uint32_t x = 0; x < width; ++x) {
                const uint16_t v = values.empty() ? uint16_t(0) : values[y * width + x];
                if (!packed) {
                    file.push_back(uint8_t(v << 4));
                    file.push_back(uint8_t(v >> 4));
                } else if (x % 2 == 0) {
                    file.push_back(uint8_t(v));
                    file.push_back(uint8_t(v >> 8));
                } else {
                    file.back() |= uint8_t(v << 4);
                    file.push_back(uint8_t(v >> 4));
                }
                if (packed && x % 10 == 9) file.push_back(0);
            }
        }
        return file;
    }
    CLeicaBuilder& Noise() {
        CNoise noise(5);
        values.clear();
        for (uint32_t i = 0; i < width * height; ++i) values.push_back(noise() % 4096);
        return *this;
    }
};

class LeicaReader : public testing::Test {
protected:
    CSensorValues Probe(const CLeicaBuilder& b) {
        WriteFile(m_path, b.File());
        return ProbeSensor(kTypeLeica, m_path);
    }
    std::unique_ptr<CImageReader> Open(const Bytes& file, bool expected = true) {
        WriteFile(m_path, file);
        auto reader = CreateReader(kTypePanasonic, true, false, {});
        EXPECT_EQ(reader->Open(WidePath(m_path).c_str(), 0), expected);
        EXPECT_EQ(reader->m_errorText, expected ? "" : "Not a Leica or Panasonic raw file.");
        reader->Close();
        return reader;
    }
    CTemporaryFolder m_folder;
    std::filesystem::path m_path = m_folder / "picture.raw";
};

TEST_F(LeicaReader, GivesTheListedValues) {
    for (const char* name : {"lx1.raw", "fz8.raw"}) {
        SCOPED_TRACE(name);
        const auto all = ReadPGM(TestData(std::string("raw/") + name + ".pgm"));
        EXPECT_EQ(ProbeSensor(kTypeLeica, FuzzSeed(std::string("leica/") + name)),
                  all.Part(0, 0, 52, 36));
    }
}

TEST_F(LeicaReader, KnowsItsModels) {
    const struct {
        const char* name;
        const char* format;
        int32_t type;
        uint32_t left, top, right, bottom;  // unused cells where the file states none
    } rows[] = {
        {"DIGILUX 2", "Leica DIGILUX 2 RAW", kTypeLeica, 0, 0, 0, 0},
        {"DMC-LC1", "Panasonic DMC-LC1 RAW", kTypePanasonic, 0, 0, 0, 0},
        {"DIGILUX 3", "Leica DIGILUX 3 RAW", kTypeLeica, 0, 0, 12, 2},
        {"DMC-L1", "Panasonic DMC-L1 RAW", kTypePanasonic, 0, 0, 11, 1},
        {"DMC-LX1", "Panasonic DMC-LX1 RAW", kTypePanasonic, 6, 0, 16, 0},
        {"DMC-LX2", "Panasonic DMC-LX2 RAW", kTypePanasonic, 4, 0, 38, 3},
        {"DMC-FZ30", "Panasonic DMC-FZ30 RAW", kTypePanasonic, 0, 0, 16, 0},
        {"DMC-FZ50", "Panasonic DMC-FZ50 RAW", kTypePanasonic, 20, 8, 16, 5},
        {"DMC-FZ8", "Panasonic DMC-FZ8 RAW", kTypePanasonic, 5, 0, 31, 1},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        CLeicaBuilder b{.model = row.name};
        b.Noise();
        const CSensorValues all{b.width, b.height, b.values};
        const uint32_t w = b.width - row.left - row.right, h = b.height - row.top - row.bottom;
        EXPECT_EQ(Probe(b), all.Part(row.left, row.top, w, h));
        b.packed = true;
        EXPECT_EQ(Probe(b), all.Part(row.left, row.top, w, h));
        const auto reader = Open(b.File());
        EXPECT_EQ(reader->m_description, std::string("Format: ") + row.format);
        EXPECT_EQ(reader->m_typeId, row.type);
        ASSERT_NE(reader->m_exif, nullptr);
        EXPECT_EQ(reader->m_exif->Orientation, 6);
        b.window = {{3, 1, 41, 30}};
        EXPECT_EQ(Probe(b), all.Part(3, 1, 38, 29));
        const CLeicaModel* const model = FindLeicaModel(row.name);
        ASSERT_NE(model, nullptr);
        EXPECT_EQ(model->colorMatrix1.size(), 9u);
        EXPECT_EQ(model->colorMatrix2.size(), 9u);
    }
    // The FZ50 has a place for each of its shapes.
    for (const auto& [height, left, right] : {std::array{2439, 3, 17}, {2067, 3, 15}}) {
        const auto border = LeicaBorder(*FindLeicaModel("DMC-FZ50"), uint32_t(height));
        EXPECT_EQ(border.left, uint32_t(left));
        EXPECT_EQ(border.right, uint32_t(right));
        EXPECT_EQ(border.bottom, 5u);
    }
}

TEST_F(LeicaReader, DevelopsAGrayCardToGray) {
    constexpr std::array<std::array<int, 4>, 4> kPatterns{
        {{0, 1, 1, 2}, {1, 0, 2, 1}, {1, 2, 0, 1}, {2, 1, 1, 0}}};
    const auto card = [&](CLeicaBuilder b, uint32_t black) {
        b.values.assign(size_t{b.width} * b.height, 0);
        const std::array<uint32_t, 3> share{700, 1400, 2800 / 3};
        for (uint32_t i = 0; i < b.values.size(); ++i) {
            const uint32_t cell = i / b.width % 2 * 2 + i % b.width % 2;
            b.values[i] = uint16_t(black + share[size_t(kPatterns[b.pattern - 1][cell])]);
        }
        WriteFile(m_path, b.File());
        ExpectGrayCard(m_path);
    };
    for (uint32_t pattern = 1; pattern <= 4; ++pattern) {
        SCOPED_TRACE(pattern);
        // From an odd row and column on, the pattern is another one.
        card({.pattern = pattern, .window = {{{1, 3, 49, 39}}}}, 0);
        card({.packed = true, .pattern = pattern, .window = {{{5, 0, 49, 39}}}}, 0);
    }
    // The levels of three tags come before the gains; those of black are 15 more than stated.
    card({.redGain = 100, .balance = {{400, 200, 300}}}, 0);
    card({.model = "DIGILUX 2", .black = {{55, 45, 50}}}, 65);
}

TEST_F(LeicaReader, RefusesWhatItCannotDevelop) {
    const struct {
        const char* name;
        std::function<void(CLeicaBuilder&)> change;
    } rows[] = {
        {"a later camera", [](auto& b) { b.model = "DMC-LX3"; }},
        {"case", [](auto& b) { b.model = "dmc-lx2"; }},
        {"a common TIFF", [](auto& b) { b.magic = 42; }},
        {"no pattern", [](auto& b) { b.pattern = 0; }},
        {"pattern 5", [](auto& b) { b.pattern = 5; }},
        {"black above white",
         [](auto& b) {
             b.black = {{4000, 4000, 4000}};
         }},
        {"a window of its margins",
         [](auto& b) {
             b.window = {{0, 0, 4, 30}};
         }},
    };
    CLeicaBuilder plain;
    Open(plain.File());
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        CLeicaBuilder b;
        row.change(b);
        Open(b.File(), false);
    }
    // Fewer bytes than packed values take: a form that no known camera has.
    Bytes file = plain.File();
    file.resize(1024 + 60 * 40 * 3 / 2);
    Open(file);
    file.pop_back();
    Open(file, false);
    // A window outside the sensor counts as none.
    plain.window = {{0, 0, 61, 40}};
    EXPECT_EQ(Open(plain.File())->m_bitmapInfo.Width(), 60 - 42 - 4);
}

}  // namespace
}  // namespace kestr::test
