// PCX and its container DCX.

#include <cstring>

#include <gmock/gmock.h>

#include "support/loaded_handle.h"
#include "support/test_data.h"

namespace kestr::test {
namespace {

using Bytes = std::vector<uint8_t>;

struct CPcx {
    uint8_t version = 5;
    uint8_t bits = 8;
    uint8_t planes = 1;
    int width = 4;
    int height = 1;
    uint16_t planeLine = 4;
    uint16_t paletteInfo = 1;
    Bytes palette = {};  // red, green, blue
    uint8_t encoding = 1;
};

Bytes File(const CPcx& p, const Bytes& rest) {
    Bytes b(128);
    b[0] = 10;
    b[1] = p.version;
    b[2] = p.encoding;
    b[3] = p.bits;
    const int xMin = 3, yMin = 5;
    const auto put = [&](size_t at, int value) {
        b[at] = static_cast<uint8_t>(value);
        b[at + 1] = static_cast<uint8_t>(value >> 8);
    };
    put(4, xMin);
    put(6, yMin);
    put(8, xMin + p.width - 1);
    put(10, yMin + p.height - 1);
    std::copy(p.palette.begin(), p.palette.end(), b.begin() + 16);
    b[65] = p.planes;
    put(66, p.planeLine);
    put(68, p.paletteInfo);
    b.insert(b.end(), rest.begin(), rest.end());
    return b;
}

/// The mark and 256 entries: entry i is red i, green 2i, blue 3i.
Bytes WithPalette(Bytes pixels) {
    pixels.push_back(12);
    for (int i = 0; i < 256; ++i) {
        for (const int factor : {1, 2, 3}) pixels.push_back(static_cast<uint8_t>(i * factor));
    }
    return pixels;
}

const Bytes kHeaderPalette{1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16, 17, 18};

TEST(PcxReader, DeliversEachPlaneForm) {
    struct CCase {
        const char* name;
        Bytes file;
        uint8_t bits;
        size_t rowUsed;
        Bytes rows;
        std::vector<std::vector<uint8_t>> palette;  // blue, green, red of the first entries
    };
    const CCase cases[] = {
        {"8 bits, a run over two lines",
         File({.height = 2}, WithPalette({0xC5, 9, 0xC1, 0xFF, 7, 8})),
         8,
         4,
         {9, 9, 9, 9, 9, 0xFF, 7, 8},
         {{0, 0, 0}, {3, 2, 1}}},
        {"8 bits, the end of a line is cut",
         File({.width = 3, .height = 2}, WithPalette({1, 2, 3, 4, 5, 6, 7, 8})),
         8,
         3,
         {1, 2, 3, 5, 6, 7},
         {{0, 0, 0}, {3, 2, 1}}},
        {"8 bits without a palette",
         File({}, {1, 2, 3, 4}),
         8,
         4,
         {1, 2, 3, 4},
         {{0, 0, 0}, {1, 1, 1}}},
        {"8 bits, ends early",
         File({.height = 2}, {1, 2, 3, 4, 5}),
         8,
         4,
         {1, 2, 3, 4, 5, 0, 0, 0},
         {}},
        {"three planes of 8",
         File({.planes = 3, .width = 2, .planeLine = 2}, {1, 2, 3, 4, 5, 6}),
         24,
         6,
         {5, 3, 1, 6, 4, 2},
         {}},
        {"1 bit",
         File({.version = 3, .bits = 1, .width = 10, .planeLine = 2}, {0xAA, 0x40}),
         1,
         2,
         {0xAA, 0x40},
         {{0, 0, 0}, {255, 255, 255}}},
        {"four planes of 1",
         File({.version = 2, .bits = 1, .planes = 4, .planeLine = 2, .palette = kHeaderPalette},
              {0x80, 0, 0x40, 0, 0x20, 0, 0x90, 0}),
         4,
         2,
         {0x92, 0x48},
         {{3, 2, 1}, {6, 5, 4}}},
        {"two planes of 1",
         File({.version = 2,
               .bits = 1,
               .planes = 2,
               .width = 3,
               .planeLine = 2,
               .palette = kHeaderPalette},
              {0xA0, 0, 0x60, 0}),
         4,
         2,
         {0x12, 0x30},
         {{3, 2, 1}, {6, 5, 4}}},
        {"2 bits",
         File({.version = 2, .bits = 2, .width = 5, .planeLine = 2, .palette = kHeaderPalette},
              {0x1B, 0x80}),
         4,
         3,
         {0x01, 0x23, 0x20},
         {{3, 2, 1}}},
        {"4 bits",
         File({.version = 2, .bits = 4, .width = 3, .planeLine = 2, .palette = kHeaderPalette},
              {0x12, 0x30}),
         4,
         2,
         {0x12, 0x30},
         {{3, 2, 1}}},
        {"two planes of 4",
         File({.bits = 4, .planes = 2, .width = 2, .planeLine = 1}, WithPalette({0x12, 0x34})),
         8,
         2,
         {0x31, 0x42},
         {}},
    };
    for (const CCase& c : cases) {
        SCOPED_TRACE(c.name);
        CHandle handle;
        ASSERT_TRUE(handle.LoadBytes(c.file, "a.pcx")) << handle.ErrorText();
        EXPECT_EQ(handle.Info().bits, c.bits);
        EXPECT_EQ(handle.Rows(c.rowUsed), c.rows);
        EXPECT_EQ(handle.Palette(c.palette.size()), c.palette);
    }
}

TEST(PcxReader, TwoColours) {
    struct CCase {
        const char* name;
        uint8_t version;
        uint16_t info;
        Bytes palette;
        std::vector<std::vector<uint8_t>> expected;
    };
    const std::vector<std::vector<uint8_t>> blackWhite{{0, 0, 0}, {255, 255, 255}};
    const std::vector<std::vector<uint8_t>> whiteBlack{{255, 255, 255}, {0, 0, 0}};
    const CCase cases[] = {
        {"no palette info", 2, 0, {9, 9, 9, 90, 90, 90}, blackWhite},
        {"version without a palette", 3, 1, {9, 9, 9, 90, 90, 90}, blackWhite},
        {"entries too near", 2, 1, {9, 9, 9, 9, 9, 10}, whiteBlack},
        {"entries apart", 2, 1, {1, 2, 3, 90, 91, 92}, {{3, 2, 1}, {92, 91, 90}}},
    };
    for (const CCase& c : cases) {
        CHandle handle;
        ASSERT_TRUE(handle.LoadBytes(File({.version = c.version,
                                           .bits = 1,
                                           .width = 8,
                                           .planeLine = 1,
                                           .paletteInfo = c.info,
                                           .palette = c.palette},
                                          {0x0F}),
                                     "a.pcx"));
        EXPECT_EQ(handle.Palette(2), c.expected) << c.name;
    }
}

TEST(PcxReader, RefusesInItsWords) {
    const std::pair<CPcx, const char*> cases[] = {
        {{.version = 6}, "Invalid PCX header ID."},
        {{.width = 0}, "Bad image dimensions."},
        {{.height = -2}, "Bad image dimensions."},
        {{.planes = 2}, "Too many colors specified in PCX header."},
        {{.planes = 4}, "Too many colors specified in PCX header."},
        {{.encoding = 0}, "Unsupported PCX encoding format."},
        {{.bits = 3}, "Unsupported bits per plane."},
        {{.bits = 0}, "Unsupported bits per plane."},
    };
    for (const auto& [header, words] : cases) {
        CHandle handle;
        EXPECT_FALSE(handle.LoadBytes(File(header, Bytes(64)), "a.pcx"));
        EXPECT_EQ(handle.ErrorText(), words);
    }
}

class PcxWriter : public testing::Test {
protected:
    CTemporaryFolder m_folder;
};

TEST_F(PcxWriter, PacksLines) {
    CHandle handle;
    const Bytes pixels{5, 5, 0xC0, 1, 2, 2, 2, 9};
    ASSERT_EQ(cLoadImage8(handle, pixels.data(), 8, 8, 1, 1, nullptr, 0), 1);
    ASSERT_TRUE(handle.Save(m_folder / "out.pcx", 8));
    const Bytes file = ReadFile(m_folder / "out.pcx");
    EXPECT_EQ(Bytes(file.begin() + 128, file.begin() + 138),
              (Bytes{0xC2, 5, 0xC1, 0xC0, 1, 0xC3, 2, 9, 12, 0}));
    EXPECT_EQ(file.size(), 128u + 8 + 769);
    EXPECT_EQ(Bytes(file.begin(), file.begin() + 16),
              (Bytes{10, 5, 1, 8, 0, 0, 0, 0, 7, 0, 0, 0, 0, 0, 0, 0}));
    EXPECT_EQ(Bytes(file.begin() + 64, file.begin() + 70), (Bytes{0, 1, 8, 0, 1, 0}));
}

TEST_F(PcxWriter, WritesWhatItRead) {
    const Bytes colours{1, 2, 3, 4, 5, 6, 7, 8, 200, 200, 200, 200};
    CHandle first, second;
    ASSERT_EQ(cLoadImage8(first, colours.data(), 12, 2, 2, 0, nullptr, 0), 1);
    ASSERT_TRUE(first.Save(m_folder / "out.pcx", 8));
    ASSERT_TRUE(second.Load(m_folder / "out.pcx"));
    EXPECT_EQ(second.Rows(6), colours);
    // Four bits grow to eight, with the palette behind the pixels.
    const auto four =
        File({.version = 2, .bits = 4, .width = 3, .planeLine = 2, .palette = kHeaderPalette},
             {0x12, 0x30});
    ASSERT_TRUE(first.LoadBytes(four, "a.pcx"));
    ASSERT_TRUE(first.Save(m_folder / "out.pcx", 8));
    ASSERT_TRUE(second.Load(m_folder / "out.pcx"));
    EXPECT_EQ(second.Rows(3), (Bytes{1, 2, 3}));
    EXPECT_EQ(second.Palette(6), first.Palette(6));
}

TEST_F(PcxWriter, ContainersGrowByPages) {
    const auto path = m_folder / "pages.dcx";
    for (const uint8_t level : {10, 20, 30}) {
        CHandle handle;
        const Bytes pixels(4, level);
        ASSERT_EQ(cLoadImage8(handle, pixels.data(), 4, 4, 1, 1, nullptr, 0), 1);
        ASSERT_TRUE(handle.Save(path, 3, level == 10 ? 0 : 1)) << handle.ErrorText();
    }
    const Bytes file = ReadFile(path);
    EXPECT_EQ(Bytes(file.begin(), file.begin() + 8),
              (Bytes{0xB1, 0x68, 0xDE, 0x3A, 0x04, 0x10, 0, 0}));
    CHandle handle;
    for (const int page : {0, 1, 2}) {
        ASSERT_TRUE(handle.Load(path, static_cast<int16_t>(page)));
        EXPECT_EQ(handle.Row(0)[0], 10 * (page + 1));
        EXPECT_EQ(handle.Info().pages, 3);
        EXPECT_EQ(handle.Info().typeId, 3);
        EXPECT_EQ(handle.Description(), "Format: DCX Format\r\nEmbedded Color Profile: ");
    }
    EXPECT_FALSE(handle.Load(path, 3));
    EXPECT_EQ(handle.ErrorText(), "Page not found.");
    ASSERT_TRUE(handle.Load(path, 1));
    ASSERT_TRUE(handle.Save(path, 3, 0)) << "a new container in the place of the old";
    ASSERT_TRUE(handle.Load(path));
    EXPECT_EQ(handle.Info().pages, 1);
}

TEST_F(PcxWriter, RefusesContainersThatCannotGrow) {
    CHandle handle;
    cNewImage(handle, 1, 1, 0);
    WriteFile(m_folder / "a.dcx", "something else");
    EXPECT_FALSE(handle.Save(m_folder / "a.dcx", 3, 1));
    EXPECT_EQ(handle.ErrorText(), "Invalid DCX signature.");
    Bytes file{0xB1, 0x68, 0xDE, 0x3A, 0x00, 0x10, 0, 0};
    file.resize(5000);
    WriteFile(m_folder / "a.dcx", file);
    EXPECT_FALSE(handle.Save(m_folder / "a.dcx", 3, 1));
    EXPECT_EQ(handle.ErrorText(), "Truncated page table. Cannot append to this file.");
    EXPECT_EQ(ReadFile(m_folder / "a.dcx"), file) << "as it was";
}

}  // namespace
}  // namespace kestr::test
