#include <string>

#include <gmock/gmock.h>

#include "api/handles.h"
#include "support/loaded_handle.h"
#include "support/test_data.h"

namespace kestr::test {
namespace {

using testing::HasSubstr;

using Bytes = std::vector<uint8_t>;

struct CTarga {
    uint8_t mapType = 0;
    uint8_t imageType = 2;
    uint16_t mapLength = 0;
    uint8_t mapBits = 0;
    uint16_t width = 2;
    uint16_t height = 2;
    uint8_t depth = 24;
    uint8_t descriptor = 0x20;  // top row first
    std::string id = {};
};

Bytes File(const CTarga& t, const Bytes& rest) {
    Bytes b{static_cast<uint8_t>(t.id.size()),
            t.mapType,
            t.imageType,
            0,
            0,
            static_cast<uint8_t>(t.mapLength),
            static_cast<uint8_t>(t.mapLength >> 8),
            t.mapBits,
            0,
            0,
            0,
            0,
            static_cast<uint8_t>(t.width),
            static_cast<uint8_t>(t.width >> 8),
            static_cast<uint8_t>(t.height),
            static_cast<uint8_t>(t.height >> 8),
            t.depth,
            t.descriptor};
    b.insert(b.end(), t.id.begin(), t.id.end());
    b.insert(b.end(), rest.begin(), rest.end());
    return b;
}

struct CDelivery {
    const char* name;
    Bytes file;
    uint8_t bits;
    size_t rowUsed;
    Bytes rows;
    Bytes alpha = {};
};

const Bytes kColors{1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12};
const Bytes kFourBytes{1, 2, 3, 90, 4, 5, 6, 91, 7, 8, 9, 92, 10, 11, 12, 93};

const CDelivery kDeliveries[] = {
    {"24 bits, top first", File({}, kColors), 24, 6, kColors},
    {"24 bits, bottom first", File({.descriptor = 0}, {7, 8, 9, 10, 11, 12, 1, 2, 3, 4, 5, 6}), 24,
     6, kColors},
    {"16 bits",
     File({.height = 1, .depth = 16}, {0xFF, 0x7F, 0x21, 0x84}),
     24,
     6,
     {0xF8, 0xF8, 0xF8, 8, 8, 8}},
    {"32 bits without alpha", File({.depth = 32}, kFourBytes), 24, 6, kColors},
    {"32 bits with alpha",
     File({.depth = 32, .descriptor = 0x28}, kFourBytes),
     24,
     6,
     kColors,
     {90, 91, 92, 93}},
    {"32 bits with alpha, bottom first",
     File({.depth = 32, .descriptor = 8}, {7, 8, 9, 92, 10, 11, 12, 93, 1, 2, 3, 90, 4, 5, 6, 91}),
     24,
     6,
     kColors,
     {90, 91, 92, 93}},
    {"gray", File({.imageType = 3, .depth = 8}, {1, 2, 3, 4}), 8, 2, {1, 2, 3, 4}},
    {"one bit takes the first pixel",
     File({.imageType = 3, .mapLength = 2, .width = 10, .height = 1, .depth = 8},
          {5, 0, 0, 0, 0, 0, 0, 0, 0, 0}),
     1,
     2,
     {0xFF, 0xC0}},
    {"mapped, entries of 24 bits",
     File({.mapType = 1, .imageType = 1, .mapLength = 2, .mapBits = 24, .depth = 8},
          {1, 2, 3, 4, 5, 6, 0, 1, 1, 0}),
     8,
     2,
     {0, 1, 1, 0}},
    {"mapped, direct colours of 16 bits",
     File({.mapType = 1, .imageType = 1, .mapLength = 1, .mapBits = 16, .height = 1, .depth = 16},
          {9, 9, 0x21, 0x04, 0xFF, 0x7F}),
     24,
     6,
     {8, 8, 8, 0xF8, 0xF8, 0xF8}},
    {"packed colours, a packet over the end of a row",
     File({.imageType = 10, .width = 3}, {0x83, 1, 2, 3, 1, 4, 5, 6, 7, 8, 9}),
     24,
     9,
     {1, 2, 3, 1, 2, 3, 1, 2, 3, 1, 2, 3, 4, 5, 6, 7, 8, 9}},
    {"packed colours of 16 bits",
     File({.imageType = 10, .height = 1, .depth = 16}, {0x81, 0x21, 0x84}),
     24,
     6,
     {8, 8, 8, 8, 8, 8}},
    {"packed colours of 15 bits",
     File({.imageType = 10, .height = 1, .depth = 15}, {0x81, 0x21, 0x84}),
     24,
     6,
     {8, 8, 8, 8, 8, 8}},
    {"packed with alpha",
     File({.imageType = 10, .height = 1, .depth = 32, .descriptor = 0x28}, {0x81, 1, 2, 3, 77}),
     24,
     6,
     {1, 2, 3, 1, 2, 3},
     {77, 77}},
    {"packed gray", File({.imageType = 11, .depth = 8}, {0x82, 9, 0, 4}), 8, 2, {9, 9, 9, 4}},
    {"packed, ends inside a packet",
     File({.imageType = 10}, {0x81, 1, 2, 3, 1, 4, 5, 6}),
     24,
     6,
     {1, 2, 3, 1, 2, 3, 4, 5, 6, 0, 0, 0}},
    {"rows in two passes",
     File({.imageType = 3, .width = 1, .height = 4, .depth = 8, .descriptor = 0xA0}, {1, 3, 2, 4}),
     8,
     1,
     {1, 2, 3, 4}},
    {"short", File({}, {1, 2, 3, 4}), 24, 6, {1, 2, 3, 4, 0, 0, 0, 0, 0, 0, 0, 0}},
};

TEST(TargaReader, DeliversEachTypeDepthAndOrder) {
    for (const CDelivery& c : kDeliveries) {
        SCOPED_TRACE(c.name);
        CHandle handle;
        ASSERT_TRUE(handle.LoadBytes(c.file, "a.tga")) << handle.ErrorText();
        EXPECT_EQ(handle.Info().bits, c.bits);
        EXPECT_EQ(handle.Rows(c.rowUsed), c.rows);
        const CPixelBytes& alpha = FromHandle(handle)->image->alpha;
        EXPECT_EQ(Bytes(alpha.begin(), alpha.end()), c.alpha);
    }
}

TEST(TargaReader, Palettes) {
    struct CCase {
        uint8_t mapBits;
        Bytes map;
        std::vector<uint8_t> second;  // blue, green, red of entry 1
    };
    for (const CCase& c : {CCase{24, {0, 0, 9, 4, 5, 6}, {4, 5, 6}},
                           CCase{32, {0, 0, 9, 255, 4, 5, 6, 255}, {4, 5, 6}},
                           CCase{16, {0, 0x40, 0x21, 0x04}, {8, 8, 8}}}) {
        CHandle handle;
        Bytes rest = c.map;
        rest.insert(rest.end(), {0, 1, 1, 0});
        ASSERT_TRUE(handle.LoadBytes(
            File({.mapType = 1, .imageType = 1, .mapLength = 2, .mapBits = c.mapBits, .depth = 8},
                 rest),
            "a.tga"));
        EXPECT_EQ(handle.Palette(2)[1], c.second) << int{c.mapBits};
    }
}

TEST(TargaReader, Describes) {
    CHandle handle;
    ASSERT_TRUE(handle.LoadBytes(
        File({.imageType = 10, .height = 1, .depth = 32, .descriptor = 0x28, .id = "two\nlines"},
             {0x81, 1, 2, 3, 77}),
        "a.tga"));
    EXPECT_EQ(handle.Description(),
              "Format: TARGA Format\r\nImage type: RGB\r\nCompression: RLE\r\nAlpha Channel: Yes"
              "\r\nEmbedded Color Profile: ");
    EXPECT_EQ(handle.Info().typeId, 17);
    BSTR comment = nullptr;
    cGetImageComments(handle, &comment);
    EXPECT_EQ(TakeText(comment), "two\r\nlines");
    ASSERT_TRUE(handle.LoadBytes(
        File({.mapType = 1, .imageType = 1, .mapLength = 2, .mapBits = 24, .depth = 8}, Bytes(10)),
        "a.tga"));
    EXPECT_THAT(handle.Description(),
                HasSubstr("Image type: 2 mapped colors\r\nCompression: None"));
}

TEST(TargaReader, Refuses) {
    struct CCase {
        CTarga header;
        const char* words;
    };
    for (const CCase& c :
         {CCase{{.mapType = 3}, "Not a Targa image."},
          CCase{{.imageType = 0}, "Not a Targa image."},
          CCase{{.imageType = 12}, "Not a Targa image."}, CCase{{.width = 0}, "Not a Targa image."},
          CCase{{.height = 0}, "Not a Targa image."}, CCase{{.depth = 12}, "Not a Targa image."},
          CCase{{.imageType = 1, .depth = 8}, "Not a Targa image."},
          CCase{{.width = 65535, .height = 65535}, "Not a Targa image."},
          CCase{{.imageType = 10}, "Short file."}}) {
        CHandle handle;
        EXPECT_FALSE(handle.LoadBytes(File(c.header, {0x80, 1, 2, 3}), "a.tga"));
        EXPECT_EQ(handle.ErrorText(), c.words);
    }
}

TEST(TargaWriter, WritesWhatItRead) {
    const CTemporaryFolder folder;
    for (const CDelivery& c : kDeliveries) {
        if (c.bits < 8) continue;
        for (const int32_t typeId : {16, 17}) {
            SCOPED_TRACE(std::string(c.name) + std::to_string(typeId));
            CHandle first, second;
            ASSERT_TRUE(first.LoadBytes(c.file, "a.tga"));
            ASSERT_TRUE(first.Save(folder / "out.tga", typeId));
            ASSERT_TRUE(second.Load(folder / "out.tga"));
            EXPECT_EQ(second.Info().typeId, typeId);
            EXPECT_EQ(second.Rows(c.rowUsed), c.rows);
            EXPECT_EQ(second.Palette(2), first.Palette(2));
        }
    }
    CHandle oneBit;
    ASSERT_TRUE(oneBit.LoadBytes(kDeliveries[7].file, "a.tga"));
    EXPECT_FALSE(oneBit.Save(folder / "no.tga", 16));
    EXPECT_EQ(oneBit.ErrorText(), ".");
}

TEST(TargaWriter, Packets) {
    struct CCase {
        const char* name;
        bool gray;
        Bytes pixels;  // one row
        Bytes packets;
    };
    Bytes long140(140, 7), literals(140), expectedLiterals{127};
    for (size_t i = 0; i < 140; ++i) literals[i] = static_cast<uint8_t>(i);
    expectedLiterals.insert(expectedLiterals.end(), literals.begin(), literals.begin() + 128);
    expectedLiterals.push_back(11);
    expectedLiterals.insert(expectedLiterals.end(), literals.begin() + 128, literals.end());
    const CCase cases[] = {
        {"a a b of one byte", true, {1, 1, 2}, {2, 1, 1, 2}},
        {"a a b of three bytes", false, {1, 2, 3, 1, 2, 3, 4, 5, 6}, {0x81, 1, 2, 3, 0, 4, 5, 6}},
        {"literals wait until the run is worth it", true, {1, 2, 2, 2, 3}, {0, 1, 0x82, 2, 0, 3}},
        {"a run of two at the end", true, {1, 2, 2}, {0, 1, 0x81, 2}},
        {"the longest run", true, long140, {0xFF, 7, 0x8B, 7}},
        {"the longest literal block", true, literals, expectedLiterals},
    };
    const CTemporaryFolder folder;
    for (const CCase& c : cases) {
        SCOPED_TRACE(c.name);
        CHandle handle;
        const auto width = static_cast<uint32_t>(c.pixels.size() / (c.gray ? 1 : 3));
        ASSERT_EQ(cLoadImage8(handle, c.pixels.data(), static_cast<uint32_t>(c.pixels.size()),
                              width, 1, c.gray, nullptr, 0),
                  1);
        ASSERT_TRUE(handle.Save(folder / "out.tga", 17));
        const Bytes file = ReadFile(folder / "out.tga");
        EXPECT_EQ(Bytes(file.begin() + 18, file.end()), c.packets);
    }
}

}  // namespace
}  // namespace kestr::test
