#include <algorithm>

#include <gmock/gmock.h>

#include "image/image_bits.h"
#include "support/icc_builder.h"
#include "support/loaded_handle.h"
#include "support/picture.h"
#include "support/png_builder.h"
#include "support/test_data.h"

namespace kestr::test {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::Not;

using Bytes = std::vector<uint8_t>;

class PngTest : public testing::Test {
protected:
    bool Load(const Bytes& file) {
        WriteFile(m_path, file);
        m_image = std::make_unique<CImageBits>();
        return m_image->Load(WidePath(m_path).c_str(), 0, true, 0, nullptr, 0);
    }
    bool Load(const CPNGBuilder& file) { return Load(file.File()); }
    // Saves and gives the chunks of the file, which stays for Load(ReadFile(m_path)).
    std::vector<CPNGChunk> Saved(CImageBits& image, int32_t typeId = 11) {
        EXPECT_TRUE(image.Save(WidePath(m_path).c_str(), typeId, 0, true, true, false, nullptr))
            << image.errorText;
        m_savedFile = ReadFile(m_path);
        return PNGChunks(m_savedFile);
    }

    CTemporaryFolder m_folder;
    const std::filesystem::path m_path = m_folder / "picture.png";
    std::unique_ptr<CImageBits> m_image;
    Bytes m_savedFile;
};

const CPNGChunk* Find(const std::vector<CPNGChunk>& chunks, std::string_view name) {
    const auto found = std::ranges::find(chunks, name, &CPNGChunk::name);
    return found == chunks.end() ? nullptr : &*found;
}

// A pattern that uses all bits of a sample and tells rows, columns and channels apart.
int Pattern(int x, int y, int channel, int bitDepth) {
    const int value = x * 2777 + y * 9181 + channel * 21013 + 4099;
    return bitDepth == 16 ? value & 0xFFFF : (value >> 3) & ((1 << bitDepth) - 1);
}

TEST_F(PngTest, DeliversEveryFormat) {
    struct CFormat {
        int colourType, bitDepth;
        int imageBits;  // of the 8-bit store
    };
    const CFormat formats[] = {{0, 1, 1},  {0, 2, 8},   {0, 4, 4},  {0, 8, 8},  {0, 16, 8},
                               {2, 8, 24}, {2, 16, 24}, {3, 1, 1},  {3, 2, 8},  {3, 4, 4},
                               {3, 8, 8},  {4, 8, 8},   {4, 16, 8}, {6, 8, 24}, {6, 16, 24}};
    constexpr int kWidth = 13;
    constexpr int kHeight = 11;
    for (const CFormat& f : formats) {
        for (const bool interlaced : {false, true}) {
            SCOPED_TRACE(testing::Message() << "colour type " << f.colourType << ", " << f.bitDepth
                                            << " bits, interlaced " << interlaced);
            const auto at = [&](int x, int y, int c) { return Pattern(x, y, c, f.bitDepth); };
            CPNGBuilder file;
            file.Size(kWidth, kHeight).Format(f.colourType, f.bitDepth).Interlaced(interlaced);
            Bytes palette;  // entry i is red 3i + 1, green 255 - i, blue 7i
            for (int i = 0; i < 1 << std::min(f.bitDepth, 8); ++i) {
                for (const int value : {3 * i + 1, 255 - i, 7 * i}) {
                    palette.push_back(static_cast<uint8_t>(value));
                }
            }
            if (f.colourType == 3) file.Chunk("PLTE", palette);
            ASSERT_TRUE(Load(file.Samples(at)));
            const CImageBits& image = *m_image;
            EXPECT_EQ(image.bitmapInfo.BitCount(), f.imageBits);
            EXPECT_EQ(image.typeId, interlaced ? 12 : 11);
            EXPECT_EQ(image.scanLinesRead, uint32_t{kHeight});
            const bool isColour = f.colourType == 2 || f.colourType == 6;
            const bool hasAlpha = f.colourType >= 4;
            const int channels = isColour ? 3 : 1;
            ASSERT_EQ(image.bits16.empty(), f.bitDepth != 16);
            ASSERT_EQ(image.alpha.empty(), !hasAlpha);
            const auto byte = [&](int sample) {
                return f.bitDepth == 16 ? sample >> 8 : sample * 255 / ((1 << f.bitDepth) - 1);
            };
            for (int y = 0; y < kHeight; ++y) {
                for (int x = 0; x < kWidth; ++x) {
                    std::array<uint8_t, 3> expected{};  // blue, green, red
                    for (int c = 0; c < 3; ++c) {
                        const auto i = static_cast<size_t>(2 - c);
                        expected[i] = static_cast<uint8_t>(byte(at(x, y, isColour ? c : 0)));
                        if (f.colourType == 3) {
                            expected[i] = palette[static_cast<size_t>(at(x, y, 0) * 3 + c)];
                        }
                    }
                    ASSERT_EQ(ColourOf(image, x, y), expected) << x << ", " << y;
                    const auto pixel = static_cast<size_t>(y * kWidth + x);
                    ASSERT_TRUE(!hasAlpha || image.alpha[pixel] == byte(at(x, y, channels)));
                    if (f.bitDepth != 16) continue;
                    for (int c = 0; c < channels; ++c) {
                        const auto sample = pixel * static_cast<size_t>(channels) +
                                            static_cast<size_t>(channels - 1 - c);
                        ASSERT_EQ(image.bits16[sample], at(x, y, c));
                    }
                }
            }
        }
    }
}

TEST_F(PngTest, TakesTransparency) {
    // Gray levels become bytes; of 16 bits the high byte counts, and the picture has 8.
    struct CKey {
        int colourType, bitDepth;
        Bytes chunk;
        uint32_t colour;
    };
    const CKey keys[] = {{0, 1, {0, 1}, 0xFFFFFF},
                         {0, 2, {0, 2}, 0xAAAAAA},
                         {0, 4, {0, 5}, 0x555555},
                         {0, 8, {0, 77}, 0x4D4D4D},
                         {0, 16, {0x12, 0x34}, 0x121212},
                         {2, 8, {0, 1, 0, 2, 0, 3}, 0x030201},
                         {2, 16, {1, 9, 2, 9, 3, 9}, 0x030201}};
    for (const CKey& key : keys) {
        SCOPED_TRACE(testing::Message() << key.colourType << ", " << key.bitDepth);
        ASSERT_TRUE(
            Load(CPNGBuilder{}.Format(key.colourType, key.bitDepth).Chunk("tRNS", key.chunk)));
        EXPECT_TRUE(m_image->hasTransparentColor);
        EXPECT_EQ(m_image->transparentColor, key.colour);
        EXPECT_TRUE(m_image->bits16.empty());
        EXPECT_FALSE(m_image->from16Bit);
        EXPECT_THAT(m_image->description, HasSubstr(" + Transparency\r\n"));
    }

    // A table of two for a palette of four: the last index is opaque.
    for (const int bitDepth : {1, 2, 4, 8}) {
        SCOPED_TRACE(bitDepth);
        ASSERT_TRUE(Load(CPNGBuilder{}
                             .Size(3, 1)
                             .Format(3, bitDepth)
                             .Chunk("PLTE", {1, 2, 3, 9, 8, 7})
                             .Chunk("tRNS", {10})
                             .Samples([](int x, int, int) { return x % 2; })));
        EXPECT_FALSE(m_image->hasTransparentColor);
        EXPECT_THAT(m_image->paletteAlpha, ElementsAre(10));
        const Bytes mask(m_image->alpha.begin(), m_image->alpha.end());
        EXPECT_EQ(mask, bitDepth == 1 ? Bytes{} : (Bytes{10, 255, 10}));
    }
}

TEST_F(PngTest, TellsWhatTheFileSays) {
    ASSERT_TRUE(Load(CPNGBuilder{}
                         .Format(6, 16)
                         .Interlaced()
                         .Chunk("gAMA", Bytes32({50000}))
                         .Chunk("pHYs", {0, 0, 0x2E, 0x23, 0, 0, 0x0B, 0x13, 0})
                         .Chunk("tEXt", BytesOf(std::string_view("Title\0One", 9)))
                         .ChunkBehind("tEXt", BytesOf(std::string_view("Note\0Two\n", 9)))));
    EXPECT_EQ(m_image->description,
              "Format: Portable Network Graphics (PNG) Format\r\nBits per component: 16\r\n"
              "Color type        : RGB + Alpha channel\r\nInterlaced : Yes\r\nFile Gamma: 0.500"
              "\r\nEmbedded Color Profile: ");
    EXPECT_EQ(m_image->gamma, 0.5);
    EXPECT_EQ(m_image->physicalX, 300);  // 11811 a metre
    EXPECT_EQ(m_image->physicalY, 72);   // 2835 a metre; the unit is not looked at
    EXPECT_EQ(m_image->comment, "Title: One\r\nNote: Two");
    EXPECT_TRUE(m_image->from16Bit);

    ASSERT_TRUE(Load(CPNGBuilder{}.Format(3, 8).Chunk("PLTE", {1, 2, 3, 4, 5, 6, 7, 8, 9})));
    EXPECT_THAT(m_image->description, HasSubstr("Color type        : 3 color palette\r\n"));
    EXPECT_EQ(m_image->bitmapInfo.ColorCount(), 3);
    ASSERT_TRUE(Load(CPNGBuilder{}.Format(0, 8).Chunk("sRGB", {0})));
    EXPECT_THAT(m_image->description, HasSubstr("\r\nColor Space: sRGB"));
    EXPECT_EQ(m_image->gamma, 0.45455);
}

TEST_F(PngTest, PrefersTheProfileToTheMarkOfSRGB) {
    const Bytes profile = NamedProfile("Test");
    Bytes chunk = BytesOf(std::string_view("A name\0\0", 8));
    const Bytes packed = CPNGBuilder::Packed(profile);
    chunk.insert(chunk.end(), packed.begin(), packed.end());
    for (const bool markFirst : {false, true}) {
        CPNGBuilder file;
        if (markFirst) file.Chunk("sRGB", {0});
        file.Chunk("iCCP", chunk);
        if (!markFirst) file.Chunk("sRGB", {0});
        ASSERT_TRUE(Load(file));
        EXPECT_EQ(m_image->iccProfile, profile) << markFirst;
        EXPECT_THAT(m_image->description, Not(HasSubstr("Color Space")));
    }
    // A damaged profile is dropped, the picture is not.
    chunk.resize(chunk.size() - 5);
    ASSERT_TRUE(Load(CPNGBuilder{}.Chunk("iCCP", chunk)));
    EXPECT_TRUE(m_image->iccProfile.empty());
}

TEST_F(PngTest, RefusesWhatIsNone) {
    EXPECT_FALSE(Load(CPNGBuilder{}.Size(0, 1)));
    EXPECT_FALSE(Load(CPNGBuilder{}.Size(100001, 1)));
    EXPECT_FALSE(Load(CPNGBuilder{}.Size(1, 100001)));
    EXPECT_FALSE(Load(CPNGBuilder{}.Format(2, 4)));
    EXPECT_FALSE(Load(CPNGBuilder{}.Format(3, 8)));  // without a palette
    EXPECT_FALSE(Load(BytesOf("\x89PNG\r\n\x1A\n and nothing of the kind")));
    EXPECT_EQ(m_image->errorText, "");
    EXPECT_TRUE(Load(CPNGBuilder{}.Size(100000, 1)));
    EXPECT_EQ(m_image->scanLinesRead, 0u) << "the file has no rows";
}

TEST_F(PngTest, KeepsTheRowsOfAFileCutShort) {
    constexpr uint32_t kRows = 5;
    constexpr uint32_t kWidth = 6;
    for (const bool interlaced : {false, true}) {
        const Bytes whole = CPNGBuilder{}
                                .Size(kWidth, kRows)
                                .Format(6, 16)
                                .Interlaced(interlaced)
                                .Samples([](int x, int y, int c) { return Pattern(x, y, c, 16); })
                                .File();
        uint32_t most = 0;
        for (size_t size = 0; size < whole.size(); ++size) {
            const bool loads = Load(Bytes(whole.begin(), whole.begin() + static_cast<int>(size)));
            const uint32_t rows = m_image->scanLinesRead;
            ASSERT_GE(rows, most) << size;
            ASSERT_LT(rows, kRows);
            most = rows;
            if (!loads) continue;
            ASSERT_EQ(m_image->bits16.size(), kWidth * kRows * 3);
            for (uint32_t y = rows + 1; y < kRows; ++y) {
                ASSERT_EQ(m_image->bits16[y * kWidth * 3], 0);
                ASSERT_EQ(m_image->alpha[y * kWidth], 0);
            }
        }
        EXPECT_EQ(most, kRows - 1) << "the last one counts when the file's end was seen";
    }
}

// ---- saving ------------------------------------------------------------------------------------

TEST_F(PngTest, SavesWhatItLoads) {
    const CNoise seed(5);
    for (const int32_t typeId : {11, 12}) {
        for (const int bits : {1, 4, 8, 24, 8 + 16, 24 + 24}) {
            for (const bool withMask : {false, true}) {
                SCOPED_TRACE(testing::Message() << typeId << ", " << bits << ", " << withMask);
                CNoise noise = seed;
                const auto most = static_cast<uint8_t>(bits < 8 ? (1 << bits) - 1 : 255);
                const auto level = [&](int, int) { return uint8_t(noise.Byte() & most); };
                const auto word = [&](int, int, int) { return noise.Word(); };
                std::unique_ptr<CImageBits> image =
                    bits == 24  ? Picture24(9, 7,
                                            [&](int, int) {
                                               return std::array<uint8_t, 3>{
                                                   noise.Byte(), noise.Byte(), noise.Byte()};
                                           })
                    : bits > 24 ? Picture16(3, 9, 7, word)
                    : bits > 8  ? Picture16(1, 9, 7, word)
                                : PicturePalette(bits, 9, 7, level);
                if (withMask) {
                    image->alpha.ResizeUninitialized(63);
                    for (uint8_t& a : image->alpha) a = noise.Byte();
                }
                (void)Saved(*image, typeId);
                ASSERT_TRUE(Load(m_savedFile));
                EXPECT_EQ(m_image->typeId, typeId);
                EXPECT_EQ(m_image->bits, image->bits);
                EXPECT_EQ(m_image->bits16, image->bits16);
                EXPECT_EQ(m_image->alpha, bits >= 8 && withMask ? image->alpha : CPixelBytes());
            }
        }
    }
}

TEST_F(PngTest, ChoosesTheFormOfTransparency) {
    struct CForm {
        const char* name;
        int bits;  // 0 for gray of 24 bits, 48 for colour of 16 bits a sample
        uint16_t tolerance;
        bool gray;
        int colourType;
        Bytes chunk;  // tRNS
    };
    // The key is (10, 20, 30), in gray pictures (10, 10, 10).
    const CForm forms[] = {
        {"true colour, exact", 24, 0, false, 2, {0, 10, 0, 20, 0, 30}},
        {"true colour, tolerant", 24, 5, false, 6, {}},
        {"gray of 24 bits", 24, 0, true, 0, {0, 10}},
        {"gray", 8, 0, true, 4, {}},
        {"palette of 16",
         4,
         40,
         false,
         3,
         {0, 0, 255, 255, 255, 255, 255, 255, 255, 255, 255, 255, 255, 255, 255, 255}},
        {"16 bits a sample", 48, 0, false, 2, {}},
    };
    for (const CForm& form : forms) {
        SCOPED_TRACE(form.name);
        const uint8_t green = form.gray ? 10 : 20;
        const uint8_t blue = form.gray ? 10 : 30;
        std::unique_ptr<CImageBits> image =
            form.bits == 24 ? Picture24(2, 1,
                                        [&](int x, int) {
                                            return x == 0 ? std::array<uint8_t, 3>{blue, green, 10}
                                                          : std::array<uint8_t, 3>{90, 90, 90};
                                        })
            : form.bits == 48
                ? Picture16(3, 2, 1, [](int x, int, int c) { return uint16_t((x + c) << 8); })
                : PicturePalette(form.bits, 2, 1, [](int x, int) { return uint8_t(10 - 9 * x); });
        // Distances from the key to the ramp's entries 0 and 1 are 37.4 and 9.1, to entry 2 24.7;
        // a tolerance of 40 allows 17.
        if (form.bits == 4) {
            image->bitmapInfo.Palette()[0] = {30, 20, 10, 0};
            image->bitmapInfo.Palette()[1] = {17, 17, 17, 0};
        }
        image->hasTransparentColor = true;
        image->transparentColor = uint32_t{blue} << 16 | uint32_t{green} << 8 | 10;
        image->transparentTolerance = form.tolerance;
        const auto chunks = Saved(*image);
        ASSERT_NE(Find(chunks, "IHDR"), nullptr);
        EXPECT_EQ(Find(chunks, "IHDR")->data[9], form.colourType);
        EXPECT_EQ(Find(chunks, "tRNS") ? Find(chunks, "tRNS")->data : Bytes{}, form.chunk);
        if (form.colourType < 4) continue;
        ASSERT_TRUE(Load(m_savedFile));
        EXPECT_THAT(Bytes(m_image->alpha.begin(), m_image->alpha.end()), ElementsAre(0, 255));
    }
}

TEST_F(PngTest, WritesItsChunks) {
    const auto image = Picture24(2, 2, [](int x, int, ...) {
        return std::array<uint8_t, 3>{uint8_t(x), 2, 3};
    });
    image->comment = "Hello";
    image->gamma = 0.5;
    image->iccProfile = NamedProfile("Test");
    const auto chunks = Saved(*image);
    ASSERT_TRUE(Find(chunks, "pHYs") && Find(chunks, "gAMA") && Find(chunks, "tEXt"));
    EXPECT_THAT(Find(chunks, "pHYs")->data, ElementsAre(0, 0, 0x2E, 0x23, 0, 0, 0x2E, 0x23, 1));
    EXPECT_EQ(Find(chunks, "gAMA")->data, Bytes32({50000}));
    EXPECT_EQ(Find(chunks, "tEXt")->data,
              BytesOf(std::string_view("Software\0Veldrasin Kestrafoldin", 31)));
    ASSERT_TRUE(Load(m_savedFile));
    EXPECT_EQ(m_image->comment, "Software: Veldrasin Kestrafoldin\r\nComments: Hello");
    EXPECT_EQ(m_image->iccProfile, image->iccProfile);

    image->physicalX = 72;
    image->physicalY = 144;
    EXPECT_TRUE(image->Save(WidePath(m_path).c_str(), 11, 0, true, false, false, nullptr));
    ASSERT_TRUE(Load(ReadFile(m_path)));
    EXPECT_EQ(m_image->physicalX, 72);
    EXPECT_EQ(m_image->physicalY, 144);
    EXPECT_TRUE(m_image->iccProfile.empty());

    EXPECT_FALSE(image->Save(WidePath(m_folder / "none" / "x.png").c_str(), 11, 0, true, true,
                             false, nullptr));
    EXPECT_EQ(image->errorText, ".");
}

}  // namespace
}  // namespace kestr::test
