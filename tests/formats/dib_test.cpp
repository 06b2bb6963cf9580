#include <gmock/gmock.h>

#include "support/dib_builder.h"
#include "support/loaded_handle.h"
#include "support/test_data.h"

namespace kestr::test {
namespace {

using testing::ElementsAre;
using testing::ElementsAreArray;
using testing::HasSubstr;

using Bytes = std::vector<uint8_t>;

// ---- what a file delivers ----------------------------------------------------------------------

struct CDelivery {
    const char* name;
    CDIBBuilder file;
    uint8_t bits;    // of the picture
    size_t rowUsed;  // bytes of a row that are compared
    Bytes rows;      // top row first
};

// Two rows of two or three pixels each; the values are worked by hand from the bytes of the file.
const CDelivery kDeliveries[] = {
    {"1 bit",
     CDIBBuilder{}
         .Size(10, 2)
         .Bits(1)
         .Palette({{1, 1, 1}, {9, 9, 8}})
         .Pixels({0xAA, 0x80, 0x5A, 0xA5, 0x55, 0x40, 0, 0}),
     1,
     4,
     {0x55, 0x40, 0, 0, 0xAA, 0x80, 0x5A, 0xA5}},
    {"4 bits",
     CDIBBuilder{}
         .Size(3, 2)
         .Bits(4)
         .ColorsUsed(3)
         .Palette({{1, 2, 3}, {4, 5, 6}, {7, 8, 9}})
         .Pixels({0x01, 0x20, 0, 0, 0x21, 0x00, 0, 0}),
     4,
     2,
     {0x21, 0x00, 0x01, 0x20}},
    {"8 bits, top down",
     CDIBBuilder{}
         .Size(3, -2)
         .Bits(8)
         .ColorsUsed(2)
         .Palette({{1, 2, 3}, {4, 5, 6}})
         .Pixels({0, 1, 0, 7, 1, 1, 0, 7}),
     8,
     4,
     {0, 1, 0, 0, 1, 1, 0, 0}},
    {"16 bits are 5-5-5",
     CDIBBuilder{}.Size(2, 2).Bits(16).Pixels({0x1F, 0x00, 0xE0, 0x03, 0xFF, 0x7F, 0x00, 0x7C}),
     24,
     6,
     {255, 255, 255, 0, 0, 0xF8, 0xF8, 0, 0, 0, 0xF8, 0}},
    {"16 bits through masks",
     CDIBBuilder{}
         .Size(2, 1)
         .Bits(16)
         .Compression(3)
         .Masks(0xF800, 0x07E0, 0x001F)
         .Pixels({0xFF, 0xFF, 0x41, 0x08}),
     24,
     6,
     {255, 255, 255, 8, 8, 8}},
    {"16 bits, narrow masks",
     CDIBBuilder{}
         .Size(2, 1)
         .Bits(16)
         .Compression(3)
         .Masks(0x0F00, 0x00F0, 0x000F)
         .Pixels({0x2C, 0x0A, 0x00, 0x00}),
     24,
     6,
     {0xC0, 0x20, 0xA0, 0, 0, 0}},
    {"24 bits",
     CDIBBuilder{}.Size(1, 2).Pixels({1, 2, 3, 99, 4, 5, 6, 99}),
     24,
     4,
     {4, 5, 6, 0, 1, 2, 3, 0}},
    {"32 bits drop the fourth byte",
     CDIBBuilder{}.Size(1, 2).Bits(32).Pixels({1, 2, 3, 255, 4, 5, 6, 128}),
     24,
     3,
     {4, 5, 6, 1, 2, 3}},
    {"32 bits through wide masks",
     CDIBBuilder{}
         .Size(1, 1)
         .Bits(32)
         .Compression(3)
         .Masks(0x3FF00000, 0x000FFC00, 0x000003FF)
         .Pixels({0x00, 0x02, 0x08, 0x3F}),
     24,
     3,
     {0x80, 0x80, 0xFC}},
    {"OS/2, three bytes an entry",
     CDIBBuilder{}
         .Core()
         .Size(4, 1)
         .Bits(4)
         .Palette({{1, 2, 3}, {4, 5, 6}})
         .Pixels({0x01, 0x10, 0, 0}),
     4,
     2,
     {0x01, 0x10}},
    {"8 bits, packed",
     CDIBBuilder{}
         .Size(5, 3)
         .Bits(8)
         .Compression(1)
         .Palette({{1, 2, 3}})
         .Pixels({3, 7, 0, 0, 0, 3, 4, 5, 6, 0, 0, 2, 1, 0, 1, 8, 0, 1}),
     8,
     5,
     {0, 0, 0, 0, 0, 4, 5, 6, 0, 8, 7, 7, 7, 0, 0}},
    {"8 bits, packed, cut inside a literal stretch",
     CDIBBuilder{}
         .Size(5, 2)
         .Bits(8)
         .Compression(1)
         .Palette({{1, 2, 3}})
         .Pixels({5, 9, 0, 0, 0, 5, 1, 2}),
     8,
     5,
     {1, 2, 0, 0, 0, 9, 9, 9, 9, 9}},
    {"8 bits, packed, a run over the end of the last row",
     CDIBBuilder{}.Size(4, 1).Bits(8).Compression(1).Palette({{1, 2, 3}}).Pixels({250, 3, 1, 9}),
     8,
     4,
     {3, 3, 3, 3}},
    {"4 bits, packed",
     CDIBBuilder{}
         .Size(6, 2)
         .Bits(4)
         .Compression(2)
         .Palette({{1, 2, 3}})
         .Pixels({5, 0x12, 0, 0, 0, 3, 0x34, 0x50, 2, 0x67, 0, 1}),
     4,
     3,
     {0x34, 0x56, 0x70, 0x12, 0x12, 0x10}},
    {"24 bits that claim to be packed are expanded as bytes",
     CDIBBuilder{}.Size(2, 1).Bits(24).Compression(1).Pixels({6, 5, 0, 1}),
     24,
     6,
     {5, 5, 5, 5, 5, 5}},
};

TEST(DibReader, DeliversEachDepthAndCompression) {
    for (const CDelivery& c : kDeliveries) {
        SCOPED_TRACE(c.name);
        CHandle handle;
        ASSERT_TRUE(handle.LoadBytes(c.file.File())) << handle.ErrorText();
        EXPECT_EQ(handle.Info().bits, c.bits);
        EXPECT_THAT(handle.Rows(c.rowUsed), ElementsAreArray(c.rows));
    }
}

// ---- what it says ------------------------------------------------------------------------------

TEST(DibReader, DescribesTheFile) {
    struct CWords {
        CDIBBuilder file;
        int32_t typeId;
        const char* description;
    };
    const Bytes pixels(64);
    const CWords cases[] = {
        {CDIBBuilder{}.Size(2, -2).Bits(32).Pixels(pixels), 2,
         "Format: Windows Device Independent Bitmap File\r\nOrientation: Top down\r\n"
         "Compression: Uncompressed\r\nBits/Pixel: 32\r\n\r\nEmbedded Color Profile: "},
        {CDIBBuilder{}.Size(2, 2).Bits(4).ColorsUsed(5).Pixels(pixels), 2,
         "Format: Windows Device Independent Bitmap File\r\nOrientation: Bottom up\r\n"
         "Compression: Uncompressed\r\nColors: 5\r\nEmbedded Color Profile: "},
        {CDIBBuilder{}.Size(2, 2).Bits(8).Compression(1).Pixels(pixels), 0,
         "Format: Windows Device Independent Bitmap File\r\nOrientation: Bottom up\r\n"
         "Compression: 8 bit run length encoded\r\nColors: 256\r\nEmbedded Color Profile: "},
        {CDIBBuilder{}.Size(2, 2).Bits(4).Compression(2).Pixels(pixels), 0,
         "Format: Windows Device Independent Bitmap File\r\nOrientation: Bottom up\r\n"
         "Compression: 4 bit run length encoded\r\nColors: 16\r\nEmbedded Color Profile: "},
        {CDIBBuilder{}
             .Size(2, 2)
             .Bits(16)
             .Compression(3)
             .Masks(31 << 10, 31 << 5, 31)
             .Pixels(pixels),
         1,
         "Format: Windows Device Independent Bitmap File\r\nOrientation: Bottom up\r\n"
         "Compression: Uncompressed field mapped\r\nBits/Pixel: 16\r\n\r\n"
         "Embedded Color Profile: "},
        {CDIBBuilder{}.Core().Size(2, 2).Pixels(pixels), 2,
         "Format: OS/2 Device Independent Bitmap File\r\n\r\nEmbedded Color Profile: "},
    };
    for (const CWords& c : cases) {
        CHandle handle;
        ASSERT_TRUE(handle.LoadBytes(c.file.File())) << c.description;
        EXPECT_EQ(handle.Description(), c.description);
        EXPECT_EQ(handle.Info().typeId, c.typeId);
    }
}

TEST(DibReader, RoundsTheResolution) {
    CHandle handle;
    // 2835 pixels a metre are 72.009 an inch; 3937 are 99.9998.
    ASSERT_TRUE(handle.LoadBytes(CDIBBuilder{}.PelsPerMeter(2835, 3937).Pixels(Bytes(4)).File()));
    uint16_t x = 0, y = 0;
    EXPECT_EQ(cGetPhysicalPixelsPerInch(handle, &x, &y), 1);
    EXPECT_EQ(x, 72);
    EXPECT_EQ(y, 100);
}

TEST(DibReader, ReadsThePaletteBehind40BytesWhateverTheHeaderSays) {
    CHandle handle;
    auto file = CDIBBuilder{}.HeaderSize(108).Bits(8).ColorsUsed(2).Pixels(Bytes(4)).File();
    for (size_t i = 0; i < 8; ++i) file[54 + i] = static_cast<uint8_t>(10 + i);
    ASSERT_TRUE(handle.LoadBytes(file));
    EXPECT_THAT(handle.Palette(2), ElementsAre(Bytes{10, 11, 12}, Bytes{14, 15, 16}));
}

TEST(DibReader, TurnsAnEmptyPaletteIntoBlackAndWhite) {
    CHandle handle;
    ASSERT_TRUE(handle.LoadBytes(CDIBBuilder{}
                                     .Size(8, 1)
                                     .Bits(1)
                                     .Palette({{0, 0, 0}, {0, 0, 0}})
                                     .Pixels({0x0F, 0, 0, 0})
                                     .File()));
    EXPECT_THAT(handle.Palette(2), ElementsAre(Bytes{0, 0, 0}, Bytes{255, 255, 255}));
}

// ---- what it refuses ---------------------------------------------------------------------------

TEST(DibReader, RefusesInItsWords) {
    struct CRefusal {
        const char* name;
        Bytes file;
        const char* words;
    };
    const auto claims = [](int32_t width, int32_t height) {
        return CDIBBuilder{}.Size(width, height).Pixels(Bytes(64)).File();
    };
    auto noSignature = claims(1, 1);
    noSignature[1] = 'A';
    const CRefusal cases[] = {
        {"29 bytes", Bytes(29, 'B'), "."},
        {"no BM", noSignature, "BMP file signature not found."},
        {"header of 39", CDIBBuilder{}.HeaderSize(39).Pixels(Bytes(64)).File(),
         "Invalid BMP header size."},
        {"two planes", CDIBBuilder{}.Planes(2).Pixels(Bytes(64)).File(),
         "Unsupported BMP plane index."},
        {"two planes, OS/2", CDIBBuilder{}.Core().Planes(2).Pixels(Bytes(64)).File(),
         "Unsupported BMP plane index."},
        {"1 bit, packed", CDIBBuilder{}.Bits(1).Compression(1).Pixels(Bytes(64)).File(),
         "Unsupported BMP compression."},
        {"8 bits, packed as 4", CDIBBuilder{}.Bits(8).Compression(2).Pixels(Bytes(64)).File(),
         "Unsupported BMP compression."},
        {"4 bits, packed as 8", CDIBBuilder{}.Bits(4).Compression(1).Pixels(Bytes(64)).File(),
         "Unsupported BMP compression."},
        {"16 bits, packed", CDIBBuilder{}.Bits(16).Compression(1).Pixels(Bytes(64)).File(),
         "Unsupported BMP compression."},
        {"32 bits, packed", CDIBBuilder{}.Bits(32).Compression(1).Pixels(Bytes(64)).File(),
         "Unsupported BMP compression."},
        {"8 bits, field mapped", CDIBBuilder{}.Bits(8).Compression(3).Pixels(Bytes(64)).File(),
         "Unsupported BMP compression."},
        {"2 bits", CDIBBuilder{}.Bits(2).Pixels(Bytes(64)).File(), "Unsupported BMP compression."},
        {"rows longer than the file", claims(100, 100), "File too short."},
        {"widest", claims(INT32_MAX, 1), "File too short."},
        {"highest", claims(1, INT32_MAX), "File too short."},
        {"both", claims(INT32_MAX, INT32_MAX), "File too short."},
        {"negative width", claims(-1, 1), "Invalid BMP header size."},
        {"lowest height", claims(1, INT32_MIN), "Invalid BMP header size."},
        {"packed giant",
         CDIBBuilder{}.Size(100000, 100000).Bits(8).Compression(1).Pixels(Bytes(64)).File(),
         "File too short."},
        {"OS/2 giant", CDIBBuilder{}.Core().Size(65535, 65535).Pixels(Bytes(64)).File(),
         "File too short."},
        {"a JPEG inside", CDIBBuilder{}.Compression(4).Pixels(Bytes(64)).File(), ""},
    };
    for (const CRefusal& c : cases) {
        SCOPED_TRACE(c.name);
        CHandle handle;
        EXPECT_FALSE(handle.LoadBytes(c.file));
        EXPECT_EQ(handle.ErrorText(), c.words);
        EXPECT_EQ(handle.Info().width, 0u);
    }
}

TEST(DibReader, ShortFileLoadsInPart) {
    // Four rows of four bytes; the file ends two bytes before the end of the last one in it, which
    // is the top of the picture, so nothing comes; read top down, three rows do.
    Bytes pixels(14, 50);
    CHandle bottomUp, topDown;
    const auto build = [&](int32_t height) {
        return CDIBBuilder{}.Size(1, height).Bits(24).Pixels(pixels).File();
    };
    ASSERT_TRUE(bottomUp.LoadBytes(build(4)));
    EXPECT_EQ(cGetScanLinesSuccessfullyRead(bottomUp), 0u);
    ASSERT_TRUE(topDown.LoadBytes(build(-4)));
    EXPECT_EQ(cGetScanLinesSuccessfullyRead(topDown), 3u);
    EXPECT_EQ(topDown.Rows(3), (Bytes{50, 50, 50, 50, 50, 50, 50, 50, 50, 0, 0, 0}));
    EXPECT_THAT(topDown.Description(), HasSubstr("\r\n\r\nDamaged file - incomplete read"));
}

// ---- writing -----------------------------------------------------------------------------------

class DibWriter : public testing::Test {
protected:
    Bytes Saved(CHandle& handle, int32_t typeId) {
        EXPECT_TRUE(handle.Save(m_folder / "out.bmp", typeId)) << handle.ErrorText();
        return ReadFile(m_folder / "out.bmp");
    }
    CTemporaryFolder m_folder;
};

TEST_F(DibWriter, WritesWhatItRead) {
    for (const CDelivery& c : kDeliveries) {
        SCOPED_TRACE(c.name);
        CHandle first, second;
        ASSERT_TRUE(first.LoadBytes(c.file.File()));
        ASSERT_TRUE(second.LoadBytes(Saved(first, 2)));
        EXPECT_EQ(second.Rows(c.rowUsed), first.Rows(c.rowUsed));
        if (c.bits < 24) {
            EXPECT_EQ(second.Palette(3), first.Palette(3));
        }
        if (c.bits != 4 && c.bits != 8) continue;
        ASSERT_TRUE(second.LoadBytes(Saved(first, 0)));
        EXPECT_EQ(second.Info().typeId, 0);
        EXPECT_EQ(second.Rows(c.rowUsed), first.Rows(c.rowUsed));
    }
}

TEST_F(DibWriter, PlainFileIsTheHeaderAndTheStore) {
    CHandle handle;
    cNewImage(handle, 1, 2, 0x030201);  // red in the low byte
    // 300 pixels an inch are 11811.02 a metre: 0x2E23.
    EXPECT_THAT(Saved(handle, 2),
                ElementsAre('B', 'M', 62, 0, 0, 0, 0, 0, 0, 0, 54, 0, 0, 0,              //
                            40, 0, 0, 0, 1, 0, 0, 0, 2, 0, 0, 0, 1, 0, 24, 0,            //
                            0, 0, 0, 0, 0, 0, 0, 0, 0x23, 0x2E, 0, 0, 0x23, 0x2E, 0, 0,  //
                            0, 0, 0, 0, 0, 0, 0, 0,                                      //
                            3, 2, 1, 0, 3, 2, 1, 0));
}

TEST_F(DibWriter, FieldMappedFile) {
    CHandle handle;
    // Blue 0x11, green 0x97, red 0xFE: (0x11 >> 3) | (0x94 << 3) | (0x1F << 11) = 0xFCA2.
    ASSERT_TRUE(handle.LoadBytes(CDIBBuilder{}.Pixels({0x11, 0x97, 0xFE, 0}).File()));
    const Bytes file = Saved(handle, 1);
    ASSERT_EQ(file.size(), 70u);
    EXPECT_EQ(file[2], 58) << "the masks are not counted";
    EXPECT_EQ(file[10], 66);
    EXPECT_EQ(file[28], 16);
    EXPECT_EQ(file[30], 3);
    EXPECT_THAT(Bytes(file.begin() + 54, file.end()),
                ElementsAre(0, 0xF8, 0, 0, 0xE0, 7, 0, 0, 0x1F, 0, 0, 0, 0xA2, 0xFC, 0, 0));
}

TEST_F(DibWriter, PacksRunsOfThreeAndStretchesOfThree) {
    CHandle handle;
    // 300 equal pixels, then 1 2 1 2, then 9 9 9, then 5 6.
    Bytes row(300, 4);
    row.insert(row.end(), {1, 2, 1, 2, 9, 9, 9, 5, 6});
    Bytes pixels = row;
    pixels.resize((row.size() + 3) & ~size_t{3});
    ASSERT_TRUE(handle.LoadBytes(CDIBBuilder{}
                                     .Size(static_cast<int32_t>(row.size()), 1)
                                     .Bits(8)
                                     .ColorsUsed(2)
                                     .Palette({{1, 2, 3}, {4, 5, 6}})
                                     .Pixels(pixels)
                                     .File()));
    const Bytes file = Saved(handle, 0);
    EXPECT_EQ(file[46], 2) << "colours";
    const Bytes packed(file.begin() + 62, file.end());
    EXPECT_THAT(packed, ElementsAre(255, 4, 45, 4, 0, 4, 1, 2, 1, 2, 3, 9, 1, 5, 1, 6, 0, 0, 0, 1));
    EXPECT_EQ(file[34], packed.size());
    EXPECT_EQ(file[2], file.size());
}

TEST_F(DibWriter, RefusesDepthsThatTheTypeCannotHold) {
    CHandle colour, gray;
    cNewImage(colour, 2, 2, 0);
    const uint8_t levels[4] = {};
    cLoadImage8(gray, levels, 4, 2, 2, 1, nullptr, 0);
    EXPECT_FALSE(colour.Save(m_folder / "no.bmp", 0));
    EXPECT_EQ(colour.ErrorText(), ".");
    EXPECT_FALSE(gray.Save(m_folder / "no.bmp", 1));
    EXPECT_FALSE(std::filesystem::exists(m_folder / "no.bmp"));
    EXPECT_FALSE(gray.Save(m_folder / "no such folder" / "no.bmp", 2));
}

}  // namespace
}  // namespace kestr::test
