// GIF files read, played and written.

#include <string>

#include <gmock/gmock.h>

#include "support/loaded_handle.h"
#include "support/test_data.h"

namespace kestr::test {
namespace {

using testing::HasSubstr;

using Bytes = std::vector<uint8_t>;

struct CFrame {
    int left = 0, top = 0, width = 4, height = 1;
    Bytes pixels;
    int disposal = 0;
    int delay = 0;         // in 1/100 s
    int transparent = -1;  // index
    bool interlaced = false;
    int localColors = 0;  // a local table of so many shades of blue; 0 for none
    std::string comment = {};
};

/// Builds GIF files whose pixels are sent as literal codes, with a clear code as often as needed to
/// keep the code size where it began.
class CGIFBuilder {
public:
    CGIFBuilder(int width, int height, int colors) {
        for (const char c : std::string("GIF89a")) m_bytes.push_back(static_cast<uint8_t>(c));
        Word(width);
        Word(height);
        m_bytes.push_back(static_cast<uint8_t>(0x80 | (Bits(colors) - 1)));
        Add({0, 0});
        for (int i = 0; i < 1 << Bits(colors); ++i) {
            for (const int factor : {1, 2, 3})
                m_bytes.push_back(static_cast<uint8_t>(10 * i * factor));
        }
        m_minCodeSize = std::max(Bits(colors), 2);
    }
    CGIFBuilder& Frame(const CFrame& f) {
        if (!f.comment.empty()) {
            Add({0x21, 0xFE});
            Block(Bytes(f.comment.begin(), f.comment.end()));
        }
        Add({0x21, 0xF9, 4});
        m_bytes.push_back(static_cast<uint8_t>(f.disposal << 2 | (f.transparent >= 0 ? 1 : 0)));
        Word(f.delay);
        Add({std::max(f.transparent, 0), 0, 0x2C});
        for (const int value : {f.left, f.top, f.width, f.height}) Word(value);
        m_bytes.push_back(
            static_cast<uint8_t>((f.interlaced ? 0x40 : 0) |
                                 (f.localColors != 0 ? 0x80 | (Bits(f.localColors) - 1) : 0)));
        for (int i = 0; f.localColors != 0 && i < 1 << Bits(f.localColors); ++i) {
            Add({0, 0, 100 + i});
        }
        m_bytes.push_back(static_cast<uint8_t>(m_minCodeSize));
        Block(Codes(f.pixels));
        return *this;
    }
    CGIFBuilder& Trailer() { return m_bytes.push_back(';'), *this; }
    [[nodiscard]] Bytes File() const { return m_bytes; }

private:
    static int Bits(int colors) {
        int bits = 1;
        while (1 << bits < colors) ++bits;
        return bits;
    }
    void Add(std::initializer_list<int> values) {
        for (const int value : values) m_bytes.push_back(static_cast<uint8_t>(value));
    }
    void Word(int value) {
        m_bytes.push_back(static_cast<uint8_t>(value));
        m_bytes.push_back(static_cast<uint8_t>(value >> 8));
    }
    void Block(const Bytes& data) {
        for (size_t at = 0; at < data.size(); at += 255) {
            const size_t count = std::min<size_t>(255, data.size() - at);
            m_bytes.push_back(static_cast<uint8_t>(count));
            m_bytes.insert(m_bytes.end(), data.begin() + static_cast<ptrdiff_t>(at),
                           data.begin() + static_cast<ptrdiff_t>(at + count));
        }
        m_bytes.push_back(0);
    }
    Bytes Codes(const Bytes& pixels) const {
        Bytes out;
        uint32_t held = 0;
        int count = 0;
        const auto put = [&](int code) {
            held |= static_cast<uint32_t>(code) << count;
            for (count += m_minCodeSize + 1; count >= 8; count -= 8, held >>= 8) {
                out.push_back(static_cast<uint8_t>(held));
            }
        };
        const int clear = 1 << m_minCodeSize;
        for (size_t i = 0; i < pixels.size(); ++i) {
            if (i % static_cast<size_t>(clear - 2) == 0) put(clear);
            put(pixels[i]);
        }
        put(clear + 1);
        if (count > 0) out.push_back(static_cast<uint8_t>(held));
        return out;
    }

    Bytes m_bytes;
    int m_minCodeSize = 2;
};

uint32_t Delay(HKESTRSESSION handle) {
    uint32_t milliseconds = 0;
    cGetGIF_TimeDelay(handle, &milliseconds);
    return milliseconds;
}

TEST(GifReader, SizesDepthsAndRows) {
    struct CCase {
        const char* name;
        Bytes file;
        uint32_t width, height;
        uint8_t bits;
        size_t rowUsed;
        Bytes rows;
    };
    const CCase cases[] = {
        {"one frame is its own picture",
         CGIFBuilder(10, 10, 16).Frame({.width = 4, .pixels = {1, 2, 3, 4}}).Trailer().File(),
         4,
         1,
         4,
         2,
         {0x12, 0x34}},
        {"2 colours",
         CGIFBuilder(4, 1, 2).Frame({.pixels = {1, 0, 1, 1}}).Trailer().File(),
         4,
         1,
         1,
         1,
         {0xB0}},
        {"256 colours",
         CGIFBuilder(4, 1, 256).Frame({.pixels = {0, 200, 5, 9}}).Trailer().File(),
         4,
         1,
         8,
         4,
         {0, 200, 5, 9}},
        {"a local table tells the depth",
         CGIFBuilder(4, 1, 256).Frame({.pixels = {1, 0, 1, 1}, .localColors = 2}).Trailer().File(),
         4,
         1,
         1,
         1,
         {0xB0}},
        {"interlaced rows come in four passes",
         CGIFBuilder(1, 9, 256)
             .Frame({.width = 1,
                     .height = 9,
                     .pixels = {0, 8, 4, 2, 6, 1, 3, 5, 7},
                     .interlaced = true})
             .Trailer()
             .File(),
         1,
         9,
         8,
         1,
         {0, 1, 2, 3, 4, 5, 6, 7, 8}},
        {"missing pixels are index 0",
         CGIFBuilder(4, 2, 256).Frame({.height = 2, .pixels = {9, 9, 9, 9, 9}}).Trailer().File(),
         4,
         2,
         8,
         4,
         {9, 9, 9, 9, 9, 0, 0, 0}},
        {"no trailer",
         CGIFBuilder(4, 1, 256).Frame({.pixels = {1, 2, 3, 4}}).File(),
         4,
         1,
         8,
         4,
         {1, 2, 3, 4}},
    };
    for (const CCase& c : cases) {
        SCOPED_TRACE(c.name);
        CHandle handle;
        ASSERT_TRUE(handle.LoadBytes(c.file, "a.gif")) << handle.ErrorText();
        EXPECT_EQ(handle.Info().width, c.width);
        EXPECT_EQ(handle.Info().height, c.height);
        EXPECT_EQ(handle.Info().bits, c.bits);
        EXPECT_EQ(handle.Rows(c.rowUsed), c.rows);
    }
}

TEST(GifReader, WhatItSays) {
    CHandle handle;
    ASSERT_TRUE(handle.LoadBytes(
        CGIFBuilder(4, 1, 4)
            .Frame({.pixels = {0, 1, 2, 3}, .delay = 7, .transparent = 2, .comment = "one"})
            .Frame({.pixels = {0, 1, 2, 3}, .comment = "two"})
            .Trailer()
            .File(),
        "a.gif"));
    EXPECT_EQ(handle.Info().typeId, 66);
    EXPECT_EQ(handle.Info().pages, 2);
    EXPECT_EQ(Delay(handle), 70u);
    EXPECT_THAT(handle.Description(),
                HasSubstr("Graphics Interchange Format\r\nInterlaced: No\r\nColors: 4"));
    uint16_t index = 0;
    EXPECT_EQ(cGetTransparentColorIndex(handle, &index), 1);
    EXPECT_EQ(index, 2);
    BSTR comment = nullptr;
    cGetImageComments(handle, &comment);
    EXPECT_EQ(TakeText(comment), "one");
    EXPECT_EQ(handle.Palette(2)[1], (Bytes{30, 20, 10}));
}

TEST(GifReader, Refuses) {
    const Bytes good = CGIFBuilder(4, 1, 4).Frame({.pixels = {0, 1, 2, 3}}).Trailer().File();
    struct CCase {
        const char* name;
        Bytes file;
        int16_t page;
        const char* words;
    };
    auto noSignature = good;
    noSignature[0] = 'J';
    const CCase cases[] = {
        {"a page beyond the last", good, 5, "GIF Read error."},
        {"no signature", noSignature, 0, "GIF Read error."},
        {"no frame", CGIFBuilder(4, 1, 4).Trailer().File(), 0, "GIF Read error."},
        {"no width", CGIFBuilder(4, 1, 4).Frame({.width = 0, .pixels = {0}}).Trailer().File(), 0,
         "GIF zero dimension."},
        {"no screen", CGIFBuilder(0, 1, 4).Frame({.pixels = {0}}).Trailer().File(), 0,
         "GIF zero dimension."},
    };
    for (const CCase& c : cases) {
        SCOPED_TRACE(c.name);
        CHandle handle;
        const CTemporaryFolder folder;
        WriteFile(folder / "a.gif", c.file);
        EXPECT_FALSE(handle.Load(folder / "a.gif", c.page));
        EXPECT_EQ(handle.ErrorText(), c.words);
    }
}

/// Plays a file of one-row frames and gives the blue byte of each pixel after each step. Entry i of
/// the global table is blue 30 i.
TEST(GifPlayer, ComposesFrames) {
    CHandle handle;
    cSetBackgroundColor(handle, 0xC80000);  // blue 200
    const CTemporaryFolder folder;
    WriteFile(folder / "a.gif",
              CGIFBuilder(4, 1, 8)
                  .Frame({.pixels = {1, 2, 3, 4}, .delay = 1})
                  .Frame({.left = 1,
                          .width = 2,
                          .pixels = {5, 6},
                          .disposal = 3,
                          .delay = 2,
                          .transparent = 6})
                  .Frame({.left = 2, .width = 2, .pixels = {7, 7}, .disposal = 2, .delay = 3})
                  .Frame({.left = 0, .width = 1, .pixels = {1}, .disposal = 1})
                  .Frame({.left = 3, .width = 4, .pixels = {2, 3, 4, 5}})
                  .Trailer()
                  .File());
    ASSERT_TRUE(handle.Load(folder / "a.gif"));
    const auto blues = [&] {
        Bytes values;
        for (int32_t x = 0; x < 4; ++x) {
            uint16_t red = 0, green = 0, blue = 0;
            cGetPixelColor(handle, x, 0, &red, &green, &blue);
            values.push_back(static_cast<uint8_t>(blue));
        }
        return values;
    };
    EXPECT_EQ(blues(), (Bytes{30, 60, 90, 120}));
    struct CStep {
        Bytes blues;
        std::array<int32_t, 4> rectangle;
        uint32_t delay;
    };
    const CStep steps[] = {
        {{30, 150, 90, 120}, {1, 0, 3, 1}, 20},  // one pixel, one transparent
        {{30, 60, 210, 210}, {2, 0, 4, 1}, 30},  // the area of the last frame came back first
        {{30, 60, 200, 200}, {0, 0, 4, 1}, 0},   // the last frame's area became background
        {{30, 60, 200, 60}, {3, 0, 7, 1}, 0},    // cut at the edge
        {{30, 60, 90, 120}, {0, 0, 4, 1}, 10},   // from the start again
    };
    for (const CStep& step : steps) {
        std::array<int32_t, 4> rectangle{9, 9, 9, 9};
        ASSERT_EQ(cLoadNextAnimatedGIFPage(handle, rectangle.data()), 1);
        EXPECT_EQ(blues(), step.blues);
        EXPECT_EQ(rectangle, step.rectangle);
        EXPECT_EQ(Delay(handle), step.delay);
    }
    CHandle still;
    ASSERT_TRUE(still.LoadBytes(
        CGIFBuilder(4, 1, 4).Frame({.pixels = {0, 1, 2, 3}}).Trailer().File(), "a.gif"));
    EXPECT_EQ(cLoadNextAnimatedGIFPage(still, nullptr), 0);
}

TEST(GifWriter, SmallestFile) {
    // Two colours, one row of black and white: code size 2, so clear is 4 and end is 5, three bits
    // each: 4, 0, 1, 5 make the bits 101 001 000 100, low ones first: 0x44, 0x0A.
    CHandle handle;
    Bytes bitmap{'B', 'M', 0, 0, 0, 0, 0, 0, 0, 0, 62, 0, 0, 0, 40,
                 0,   0,   0, 2, 0, 0, 0, 1, 0, 0, 0,  1, 0, 1, 0};
    bitmap.resize(54);
    for (const uint8_t byte : {0, 0, 0, 0, 255, 255, 255, 0, 0x40, 0, 0, 0}) bitmap.push_back(byte);
    ASSERT_TRUE(handle.LoadBytes(bitmap));
    const CTemporaryFolder folder;
    ASSERT_TRUE(handle.Save(folder / "out.gif", 66));
    EXPECT_EQ(ReadFile(folder / "out.gif"),
              (Bytes{'G', 'I',  'F', '8', '9', 'a', 2, 0, 1, 0, 0x80, 0, 0, 0,    0,    0, 255, 255,
                     255, 0x2C, 0,   0,   0,   0,   2, 0, 1, 0, 0,    2, 2, 0x44, 0x0A, 0, ';'}));
}

TEST(GifWriter, WritesWhatItReads) {
    const CTemporaryFolder folder;
    Bytes pixels(300 * 37);
    for (size_t i = 0; i < pixels.size(); ++i)
        pixels[i] = static_cast<uint8_t>(i * i / 7 + i / 300);
    for (const int32_t typeId : {66, 67}) {
        CHandle first, second;
        ASSERT_EQ(cLoadImage8(first, pixels.data(), static_cast<uint32_t>(pixels.size()), 300, 37,
                              1, nullptr, 0),
                  1);
        cPutImageComments(first, std::string(300, 'c').c_str());
        cSetTransparentColorIndex(first, 17);
        ASSERT_TRUE(first.Save(folder / "out.gif", typeId));
        ASSERT_TRUE(second.Load(folder / "out.gif"));
        EXPECT_EQ(second.Info().typeId, typeId);
        EXPECT_EQ(second.Rows(300), pixels);
        uint16_t index = 0;
        cGetTransparentColorIndex(second, &index);
        EXPECT_EQ(index, 17);
        BSTR comment = nullptr;
        cGetImageComments(second, &comment);
        EXPECT_EQ(TakeText(comment), std::string(300, 'c'));
    }
    CHandle colour;
    cNewImage(colour, 2, 2, 0);
    EXPECT_FALSE(colour.Save(folder / "no.gif", 66));
    EXPECT_EQ(colour.ErrorText(), ".");
    EXPECT_FALSE(std::filesystem::exists(folder / "no.gif"));
}

}  // namespace
}  // namespace kestr::test
