// Pictures from memory: cLoadDIBitmap, cLoadDIBArray, cLoadImage8, cNewImage.

#include <cstring>

#include <gmock/gmock.h>

#include "api/handles.h"
#include "platform/automation.h"
#include "support/dib_builder.h"
#include "support/loaded_handle.h"

namespace kestr::test {
namespace {

using testing::ElementsAre;

using Bytes = std::vector<uint8_t>;

int32_t LoadDIB(CHandle& handle, const Bytes& header, const Bytes& pixels, int32_t alpha = 0,
                int32_t keep = 0) {
    return cLoadDIBitmap(handle, header.data(), pixels.data(), alpha, keep);
}

/// The alpha plane of the image behind a handle.
Bytes AlphaOf(CHandle& handle) {
    const CPixelBytes& alpha = FromHandle(handle)->image->alpha;
    return {alpha.begin(), alpha.end()};
}

/// A header of 108 or 124 bytes for 32 bits through masks, with an alpha mask.
Bytes LongHeader(uint32_t size, uint32_t alphaMask) {
    Bytes header = CDIBBuilder{}
                       .HeaderSize(size)
                       .Size(2, 1)
                       .Bits(32)
                       .Compression(3)
                       .Masks(0xFF0000, 0xFF00, 0xFF)
                       .Header();
    for (int i = 0; i < 4; ++i) header[52 + i] = static_cast<uint8_t>(alphaMask >> (8 * i));
    return header;
}

TEST(FromMemory, BitmapsInEachForm) {
    struct CCase {
        const char* name;
        Bytes header, pixels;
        int32_t alphaFlag;
        uint8_t bits;
        Bytes rows;  // whole rows, top first
        Bytes alpha;
    };
    const auto dib = [] { return CDIBBuilder{}; };
    const CCase cases[] = {
        {"24 bits, bottom up",
         dib().Size(1, 2).Header(),
         {1, 2, 3, 9, 4, 5, 6, 9},
         0,
         24,
         {4, 5, 6, 9, 1, 2, 3, 9},
         {}},
        {"24 bits, top down",
         dib().Size(1, -2).Header(),
         {1, 2, 3, 9, 4, 5, 6, 9},
         0,
         24,
         {1, 2, 3, 9, 4, 5, 6, 9},
         {}},
        {"32 bits, alpha wanted",
         dib().Size(1, 2).Bits(32).Header(),
         {1, 2, 3, 200, 4, 5, 6, 100},
         1,
         24,
         {4, 5, 6, 0, 1, 2, 3, 0},
         {100, 200}},
        {"32 bits, alpha not wanted",
         dib().Size(1, -2).Bits(32).Header(),
         {1, 2, 3, 200, 4, 5, 6, 100},
         0,
         24,
         {1, 2, 3, 0, 4, 5, 6, 0},
         {}},
        {"16 bits through masks",
         dib().Size(2, 1).Bits(16).Compression(3).Masks(0xF800, 0x7E0, 0x1F).Header(),
         {0x41, 0x08, 0xFF, 0xFF},
         1,
         24,
         {8, 8, 8, 0xF8, 0xFC, 0xF8, 0, 0},
         {}},
        {"long header with an alpha mask",
         LongHeader(108, 0xFF000000),
         {1, 2, 3, 200, 4, 5, 6, 100},
         0,
         24,
         {1, 2, 3, 4, 5, 6, 0, 0},
         {200, 100}},
        {"long header without one",
         LongHeader(124, 0),
         {1, 2, 3, 200, 4, 5, 6, 100},
         0,
         24,
         {1, 2, 3, 4, 5, 6, 0, 0},
         {}},
        {"plain header through masks has no alpha",
         dib().Size(1, 1).Bits(32).Compression(3).Masks(0xFF0000, 0xFF00, 0xFF).Header(),
         {1, 2, 3, 200},
         1,
         24,
         {1, 2, 3, 0},
         {}},
        {"8 bits",
         dib().Size(3, 1).Bits(8).ColorsUsed(2).Palette({{1, 2, 3}, {4, 5, 6}}).Header(),
         {0, 1, 0, 77},
         0,
         8,
         {0, 1, 0, 77},
         {}},
    };
    for (const CCase& c : cases) {
        SCOPED_TRACE(c.name);
        CHandle handle;
        ASSERT_EQ(LoadDIB(handle, c.header, c.pixels, c.alphaFlag), 1);
        EXPECT_EQ(handle.Info().bits, c.bits);
        EXPECT_EQ(handle.Rows(handle.Row(0).size()), c.rows);
        EXPECT_EQ(AlphaOf(handle), c.alpha);
        EXPECT_EQ(handle.Description(), "Format: DIB from memory");
        EXPECT_EQ(handle.Info().typeId, 2);
    }
}

TEST(FromMemory, RefusesBadHeaders) {
    struct CCase {
        Bytes header;
        const char* words;
    };
    const auto dib = [] { return CDIBBuilder{}; };
    const CCase cases[] = {
        {dib().Bits(16).Header(), "Bad DIB header: 0, 16, 0\n"},
        {dib().Size(1, -1).Bits(16).Compression(3).Header(), "Bad DIB header: 1, 16, 3\n"},
        {dib().Bits(8).Compression(1).Header(), "Bad DIB header: 0, 8, 1\n"},
        {dib().Bits(2).Header(), "Bad DIB header: 0, 2, 0\n"},
        {dib().Size(-1, 1).Header(), "Bad DIB header: 0, 24, 0\n"},
        {dib().Size(1, INT32_MIN).Header(), "Bad DIB header: 1, 24, 0\n"},
        {dib().HeaderSize(12).Header(), "Bad DIB header: 0, 0, 0\n"},
    };
    for (const CCase& c : cases) {
        SCOPED_TRACE(c.words);
        CHandle handle;
        EXPECT_EQ(LoadDIB(handle, c.header, Bytes(4096)), 0);
        EXPECT_EQ(handle.ErrorText(), c.words);
        EXPECT_EQ(handle.Info().width, 0u);
    }
}

TEST(FromMemory, KeptImageIsUndoable) {
    CHandle handle;
    cNewImage(handle, 2, 2, 0x0000FF);
    cEnableAutoUndoRedo(handle, 1);
    const Bytes header = CDIBBuilder{}.Size(1, 1).Header();
    ASSERT_EQ(LoadDIB(handle, header, {7, 8, 9, 0}, 0, 1), 1);
    EXPECT_EQ(cUndoStackDepth(handle), 1u);
    EXPECT_EQ(handle.Description(), "Format: New Bitmap") << "what the picture was stays";
    EXPECT_EQ(handle.Rows(3), (Bytes{7, 8, 9}));
    ASSERT_EQ(cPopUndo(handle), 1);
    EXPECT_EQ(handle.Rows(6), (Bytes{0, 0, 255, 0, 0, 255, 0, 0, 255, 0, 0, 255}));
    ASSERT_EQ(LoadDIB(handle, header, {7, 8, 9, 0}, 0, 0), 1);
    EXPECT_EQ(cUndoStackDepth(handle), 0u) << "a new image";
}

TEST(FromMemory, ArraysAreNotReadBeyondTheirEnd) {
    const auto load = [](CHandle& handle, Bytes block) {
        return cLoadDIBArray(handle, MakeByteArray(block).get(), 0);
    };
    const auto join = [](Bytes a, const Bytes& b) {
        a.insert(a.end(), b.begin(), b.end());
        return a;
    };
    const Bytes whole = join(
        CDIBBuilder{}.Size(2, 1).Bits(8).ColorsUsed(2).Palette({{1, 2, 3}, {4, 5, 6}}).Header(),
        {1, 0, 0, 0});
    for (size_t size = 1; size < whole.size(); ++size) {
        CHandle handle;
        EXPECT_EQ(load(handle, {whole.begin(), whole.begin() + static_cast<ptrdiff_t>(size)}), 0);
    }
    CHandle handle;
    EXPECT_EQ(load(handle, whole), 1);
    EXPECT_EQ(handle.Rows(2), (Bytes{1, 0}));
    const Bytes mapped =
        CDIBBuilder{}.Size(1, 1).Bits(32).Compression(3).Masks(0xFF0000, 0xFF00, 0xFF).Header();
    EXPECT_EQ(load(handle, join(mapped, {1, 2, 3, 4})), 1);
    EXPECT_EQ(handle.Rows(3), (Bytes{1, 2, 3}));
    EXPECT_EQ(load(handle, CDIBBuilder{}.HeaderSize(64).Pixels({}).Header()), 0);
    EXPECT_EQ(cLoadDIBArray(handle, nullptr, 0), 0);
}

TEST(FromMemory, EmbeddedProfileIsTakenFromItsOffset) {
    Bytes header = CDIBBuilder{}.HeaderSize(124).Size(1, 1).Header();
    const Bytes profile{9, 8, 7, 6, 5};
    std::memcpy(header.data() + 56, "DEBM", 4);  // the number 0x4D424544
    header[112] = 124;
    header[116] = static_cast<uint8_t>(profile.size());
    header.insert(header.end(), profile.begin(), profile.end());
    CHandle handle;
    ASSERT_EQ(LoadDIB(handle, header, Bytes(4)), 1);
    EXPECT_EQ(FromHandle(handle)->image->iccProfile, profile);
    EXPECT_THAT(handle.Description(),
                testing::StartsWith("Format: DIB from memory\r\nEmbedded Color Profile: "));
}

TEST(FromMemory, SamplesTopDown) {
    CHandle handle;
    const Bytes samples{1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12};
    EXPECT_EQ(cLoadImage8(handle, samples.data(), 12, 2, 2, 0, nullptr, 0), 1);
    EXPECT_EQ(handle.Rows(6), samples);
    EXPECT_EQ(handle.Description(), "Format: LoadImage16");
    EXPECT_EQ(cLoadImage8(handle, samples.data(), 12, 4, 3, 1, nullptr, 0), 1);
    EXPECT_EQ(handle.Rows(4), samples);
    EXPECT_EQ(handle.Info().bits, 8);
    EXPECT_EQ(cLoadImage8(handle, samples.data(), 11, 2, 2, 0, nullptr, 0), 0);
    EXPECT_EQ(handle.Info().bits, 8) << "the old image stays";
    EXPECT_EQ(cLoadImage8(handle, samples.data(), 12, 0x10000, 0x10000, 1, nullptr, 0), 0);
}

TEST(FromMemory, NewImages) {
    CHandle handle;
    cNewImage(handle, 3, 2, 0x332211);
    EXPECT_EQ(handle.Rows(9), (Bytes{0x33, 0x22, 0x11, 0x33, 0x22, 0x11, 0x33, 0x22, 0x11, 0x33,
                                     0x22, 0x11, 0x33, 0x22, 0x11, 0x33, 0x22, 0x11}));
    EXPECT_EQ(handle.Info().pages, 1);
    EXPECT_EQ(handle.Info().gamma, 1 / 2.2);
    cNewImage(handle, 0xFFFFFFFF, 0xFFFFFFFF, 0);
    EXPECT_EQ(handle.Info().width, 0u) << "too large: no picture";
}

}  // namespace
}  // namespace kestr::test
