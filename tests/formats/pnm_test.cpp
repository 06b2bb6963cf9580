#include <string>

#include <gmock/gmock.h>

#include "support/loaded_handle.h"
#include "support/test_data.h"

namespace kestr::test {
namespace {

using testing::ElementsAre;

using Bytes = std::vector<uint8_t>;

Bytes File(const std::string& text, const Bytes& samples = {}) {
    Bytes bytes(text.begin(), text.end());
    bytes.insert(bytes.end(), samples.begin(), samples.end());
    return bytes;
}

std::string Comment(HKESTRSESSION handle) {
    BSTR text = nullptr;
    cGetImageComments(handle, &text);
    return TakeText(text);
}

TEST(PnmReader, DeliversEachForm) {
    struct CCase {
        const char* name;
        Bytes file;
        int32_t typeId;
        uint8_t bits;
        size_t rowUsed;
        Bytes rows;
        const char* description;
    };
    const CCase cases[] = {
        {"P1, a short row keeps its bits at the low end",
         File("P1 3 2\n1 0 1 0\n1 1"),
         7,
         1,
         1,
         {0b101, 0b011},
         "Format: Portable Bitmap (ASCII)"},
        {"P1 without blanks, with a comment",
         File("P1\n9 1\n101010#1111\n10 1"),
         7,
         1,
         2,
         {0b10101010, 1},
         "Format: Portable Bitmap (ASCII)"},
        {"P4",
         File("P4 10 2\n", {0xAA, 0x40, 0x55, 0x80}),
         7,
         1,
         2,
         {0xAA, 0x40, 0x55, 0x80},
         "Format: Portable Bitmap (RAWBITS)"},
        {"P2 of 15 levels",
         File("P2 3 1 15 0 7 15"),
         9,
         8,
         3,
         {0, 119, 255},
         "Format: Portable Graymap (ASCII)"},
        {"P2 of 300 levels is halved",
         File("P2 2 1 300 300 151"),
         9,
         8,
         2,
         {255, 127},
         "Format: Portable Graymap (ASCII)"},
        {"P5",
         File("P5 2 2 255\n", {1, 2, 3, 4}),
         9,
         8,
         2,
         {1, 2, 3, 4},
         "Format: Portable Graymap (RAWBITS)"},
        {"P5 of two levels",
         File("P5 2 1 1\n", {1, 0}),
         9,
         8,
         2,
         {255, 0},
         "Format: Portable Graymap (RAWBITS)"},
        {"P5 of two bytes",
         File("P5 2 1 65535\n", {0x12, 0x34, 0xFF, 0xFF}),
         9,
         8,
         2,
         {0x12, 0xFF},
         "Format: Portable Graymap (RAWBITS)"},
        {"P5 of 256 has two bytes and 128 levels",
         File("P5 2 1 256\n", {1, 0, 0, 64}),
         9,
         8,
         2,
         {255, 63},
         "Format: Portable Graymap (RAWBITS)"},
        {"P3",
         File("P3 1 2 255 1 2 3 4 5 6"),
         13,
         24,
         3,
         {3, 2, 1, 6, 5, 4},
         "Format: Portable Pixelmap (ASCII)"},
        {"P6",
         File("P6 5 1 255 ", {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15}),
         13,
         24,
         15,
         {3, 2, 1, 6, 5, 4, 9, 8, 7, 12, 11, 10, 15, 14, 13},
         "Format: Portable Pixelmap (RAWBITS)"},
        {"P6 of 100 levels",
         File("P6 1 1 100 ", {100, 50, 0}),
         13,
         24,
         3,
         {0, 127, 255},
         "Format: Portable Pixelmap (RAWBITS)"},
        {"P6 of two bytes",
         File("P6 1 1 1023 ", {3, 255, 2, 0, 0, 4}),
         13,
         24,
         3,
         {1, 128, 255},
         "Format: Portable Pixelmap (RAWBITS)"},
        {"P6 that ends early",
         File("P6 2 2 255 ", {1, 2, 3, 4}),
         13,
         24,
         6,
         {3, 2, 1, 0, 0, 4, 0, 0, 0, 0, 0, 0},
         "Format: Portable Pixelmap (RAWBITS)"},
    };
    for (const CCase& c : cases) {
        SCOPED_TRACE(c.name);
        CHandle handle;
        ASSERT_TRUE(handle.LoadBytes(c.file, "a.ppm"));
        EXPECT_EQ(handle.Info().typeId, c.typeId);
        EXPECT_EQ(handle.Info().bits, c.bits);
        EXPECT_EQ(handle.Rows(c.rowUsed), c.rows);
        EXPECT_EQ(handle.Description().rfind(c.description, 0), 0u) << handle.Description();
    }
}

TEST(PnmReader, KeepsComments) {
    CHandle handle;
    const std::string longLine(300, 'x');
    ASSERT_TRUE(handle.LoadBytes(
        File("P5 # first one\n2 #\n#" + longLine + "\n1 #a b c\n255\n", {1, 2}), "a.pgm"));
    EXPECT_EQ(Comment(handle), "first one\r\n\r\n" + longLine.substr(0, 250) + "\r\nab c\r\n");
    EXPECT_EQ(handle.Info().width, 2u);
}

TEST(PnmReader, Refuses) {
    for (const char* text : {"P7 1 1 255 aaa", "p1 1 1 1", "P0 1 1", "P5 1 1 0 a", "Q6 1 1 255 aaa",
                             "P6 99999999999 1 255 a", "P6 60000 60000 255 a", "P"}) {
        CHandle handle;
        EXPECT_FALSE(handle.LoadBytes(File(text), "a.ppm")) << text;
        EXPECT_EQ(handle.ErrorText(), "") << text;
    }
}

TEST(PnmWriter, ChoosesTheFormByThePicture) {
    struct CCase {
        const char* name;
        Bytes file;
        Bytes header, samples;
    };
    const std::string creator = "# CREATOR: Veldrasin Kestramon Library\n";
    const CCase cases[] = {
        {"1 bit gray",
         File("P4 10 1\n", {0xAA, 0x40}),
         File("P4\n" + creator + "10 1\n"),
         {0x55, 0xBF}},
        {"8 bits gray",
         File("P5 2 1 255\n", {7, 9}),
         File("P5\n" + creator + "2 1\n255\n"),
         {7, 9}},
        {"24 bits",
         File("P6 #two\n#lines\n1 1 255\n", {7, 8, 9}),
         File("P6\n" + creator + "# two\n# lines\n1 1\n255\n"),
         {7, 8, 9}},
    };
    const CTemporaryFolder folder;
    for (const CCase& c : cases) {
        SCOPED_TRACE(c.name);
        CHandle handle;
        ASSERT_TRUE(handle.LoadBytes(c.file, "a.ppm"));
        ASSERT_TRUE(handle.Save(folder / "out.pbm", 7));
        Bytes expected = c.header;
        expected.insert(expected.end(), c.samples.begin(), c.samples.end());
        EXPECT_EQ(ReadFile(folder / "out.pbm"), expected);
    }
}

TEST(PnmWriter, PalettesOfColoursBecomePixmaps) {
    // A 4-bit bitmap of three pixels with the colours 1 2 3 and 4 5 6 (blue, green, red).
    Bytes bitmap{'B', 'M', 0, 0, 0, 0, 0, 0, 0, 0, 62, 0, 0, 0, 40,
                 0,   0,   0, 3, 0, 0, 0, 1, 0, 0, 0,  1, 0, 4, 0};
    bitmap.resize(54);
    bitmap[46] = 2;
    for (const uint8_t byte : {1, 2, 3, 0, 4, 5, 6, 0, 0x01, 0x10, 0, 0}) bitmap.push_back(byte);
    CHandle handle;
    const CTemporaryFolder folder;
    ASSERT_TRUE(handle.LoadBytes(bitmap));
    ASSERT_TRUE(handle.Save(folder / "out.ppm", 13));
    const Bytes file = ReadFile(folder / "out.ppm");
    EXPECT_EQ(Bytes(file.end() - 9, file.end()), (Bytes{3, 2, 1, 6, 5, 4, 6, 5, 4}));
    EXPECT_FALSE(handle.Save(folder / "no folder" / "out.ppm", 13));
}

}  // namespace
}  // namespace kestr::test
