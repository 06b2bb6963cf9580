// What the exports tell of a loaded picture.
#include <array>
#include <cstring>

#include <gtest/gtest.h>
#include <kestr/kestr.h>

#include "api/handles.h"
#include "support/loaded_handle.h"
#include "support/wide_path.h"

namespace kestr {
namespace {

using test::CHandle;

using CColor = std::array<int, 4>;  // result, red, green, blue

CColor ColorAt(HKESTRSESSION session, int32_t x, int32_t y) {
    uint16_t red = 9999, green = 9999, blue = 9999;
    const int32_t result = cGetPixelColor(session, x, y, &red, &green, &blue);
    return {result, red, green, blue};
}

// A picture of two rows: three pixels each of entries 1, 0, 1 over 0, 1, 0.
struct CTwoRows {
    uint32_t header[10] = {40, 3, 2, 1, 0, 0, 0, 0, 2, 0};
    uint8_t palette[8] = {10, 20, 30, 0, 40, 50, 60, 0};  // blue, green, red, 0
};

TEST(ReadingTest, PixelColorsGoThroughThePaletteAtEachDepth) {
    struct {
        uint32_t bits;
        std::array<uint8_t, 8> rows;  // bottom row first, four bytes each
    } constexpr kDepths[] = {
        {1, {0x40, 0, 0, 0, 0xA0, 0, 0, 0}},
        {4, {0x01, 0x00, 0, 0, 0x10, 0x10, 0, 0}},
        {8, {0, 1, 0, 0, 1, 0, 1, 0}},
    };
    for (const auto& depth : kDepths) {
        SCOPED_TRACE(depth.bits);
        CTwoRows bitmap;
        bitmap.header[3] = 1 | depth.bits << 16;
        CHandle session;
        ASSERT_EQ(cLoadDIBitmap(session, &bitmap, depth.rows.data(), 0, 0), 1);
        const CColor zero{1, 30, 20, 10}, one{1, 60, 50, 40};
        const CColor expected[] = {one, zero, one, zero, one, zero};
        for (int i = 0; i < 6; ++i) EXPECT_EQ(ColorAt(session, i % 3, i / 3), expected[i]) << i;
        for (const auto& [x, y] : {std::pair{-1, 0}, {0, -1}, {3, 0}, {0, 2}}) {
            EXPECT_EQ(ColorAt(session, x, y), (CColor{0, 0, 0, 0})) << x << ", " << y;
        }
    }
}

TEST(ReadingTest, A16BitStoreIsTheMaster) {
    const std::array<uint8_t, 6> pixels{1, 2, 3, 4, 5, 6};
    for (const bool gray : {false, true}) {
        SCOPED_TRACE(gray);
        CHandle session;
        ASSERT_EQ(cLoadImage8(session, pixels.data(), 6, gray ? 3 : 1, 2, gray, nullptr, 0), 1);
        CImageBits& image = *FromHandle(session)->image;
        image.bits16.ResizeUninitialized(6);
        for (uint16_t i = 0; i < 6; ++i)
            image.bits16[i] = static_cast<uint16_t>(0x1234 + 0x1000 * i);

        uint8_t bits = 0;
        cGetImageInfo(session, nullptr, nullptr, &bits, nullptr, nullptr, nullptr, nullptr, nullptr,
                      nullptr);
        EXPECT_EQ(bits, gray ? 16 : 48);
        uint16_t* samples = nullptr;
        EXPECT_EQ(cGetBits16Ptr(session, &samples), 1);
        EXPECT_EQ(samples, image.bits16.data());
        EXPECT_EQ(ColorAt(session, 0, 1),
                  gray ? (CColor{1, 0x4234, 0x4234, 0x4234}) : (CColor{1, 0x6234, 0x5234, 0x4234}));
        cRefreshDisplayData(session);
        // Bottom row first: the second row's first byte is the high byte of sample 3.
        uint8_t* display = nullptr;
        cGetBitsPtr(session, &display);
        EXPECT_EQ(display[0], 0x42);
        EXPECT_EQ(display[4], 0x12);
    }
}

TEST(ReadingTest, CommentsAreLinesThatEndWithCrLf) {
    CHandle session;
    EXPECT_EQ(cPutImageComments(session, "lost"), 0);
    cNewImage(session, 1, 1, 0);
    struct {
        const char* put;
        const char* got;
    } constexpr kComments[] = {
        {"one\ntwo\rthree\r\nfour", "one\r\ntwo\r\nthree\r\nfour"},
        {"", ""},
        {"again", "again"},
        {nullptr, ""},
    };
    for (const auto& c : kComments) {
        EXPECT_EQ(cPutImageComments(session, c.put), 1);
        BSTR text = nullptr;
        EXPECT_EQ(cGetImageComments(session, &text), 1);
        EXPECT_NE(text, nullptr);
        EXPECT_EQ(test::TakeText(text), c.got);
    }
}

TEST(ReadingTest, ValuesThatAreSetComeBack) {
    CHandle session;
    cNewImage(session, 1, 1, 0);
    EXPECT_EQ(cSetPhysicalPixelsPerInch(session, 300, 65535), 1);
    uint16_t x = 0, y = 0;
    EXPECT_EQ(cGetPhysicalPixelsPerInch(session, &x, &y), 1);
    EXPECT_EQ(x, 300);
    EXPECT_EQ(y, 65535);
    EXPECT_EQ(cSetImageGamma(session, 1.25), 1);
    double gamma = 0;
    cGetImageInfo(session, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr,
                  &gamma);
    EXPECT_EQ(gamma, 1.25);
    uint32_t delay = 7;
    EXPECT_EQ(cGetGIF_TimeDelay(session, &delay), 1);
    EXPECT_EQ(delay, 0u);
    EXPECT_EQ(cGetImageColorTemperature(session), 0);
    EXPECT_EQ(cImageHasSound(session), 0);
    FromHandle(session)->image->soundClip.push_back(0);
    EXPECT_EQ(cImageHasSound(session), 1);
    int32_t changed[4] = {1, 2, 3, 4};
    EXPECT_EQ(cLoadNextAnimatedGIFPage(session, changed), 0);
}

TEST(ReadingTest, SettingsOfTheHandleReachItsImage) {
    CHandle session;
    const CImageBits& empty = *FromHandle(session)->image;
    cSetBackgroundColor(session, 5);
    cSetAutoICCProfile(session, "screen");
    cSetInverseSelect(session, 1);
    EXPECT_EQ(empty.backgroundColor, 5u);
    EXPECT_EQ(empty.autoICCProfile, "screen");
    EXPECT_FALSE(empty.inverseSelect);  // nothing is loaded
    cSetJPEGParams(session, 12, 0.25, 0, 1);
    cSetPSDParams(session, 1);
    cSetGeneralRawParams(session, 0, 0);
    cSetRawInterpolationMethod(session, 2);
    EXPECT_EQ(empty.jpegQuality, 75u);

    cNewImage(session, 1, 1, 0);
    const CImageBits& image = *FromHandle(session)->image;
    EXPECT_EQ(image.jpegQuality, 12u);
    EXPECT_FALSE(image.jpegHighQuality);
    EXPECT_TRUE(image.exactStart && image.psdFlattened);
    EXPECT_FALSE(image.rawAutoLevels || image.rawLinearGamma);
    EXPECT_EQ(image.rawInterpolationMethod, 2u);
    EXPECT_EQ(image.autoICCProfile, "screen");
    cSetInverseSelect(session, 1);
    EXPECT_TRUE(image.inverseSelect);
    // The rate is for saves alone.
    EXPECT_EQ(image.jpegRate, 0.0);
    cSave(session, nullptr, 2, 0, nullptr, 0);
    EXPECT_EQ(image.jpegRate, 0.25);
}

}  // namespace
}  // namespace kestr
