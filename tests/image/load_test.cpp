#include <gmock/gmock.h>

#include "support/dib_builder.h"
#include "support/loaded_handle.h"
#include "support/scripted_reader.h"
#include "support/test_data.h"

namespace kestr::test {
namespace {

using testing::ElementsAre;

using Bytes = std::vector<uint8_t>;

class LoadTest : public testing::Test {
protected:
    LoadTest() { WriteFile(m_file, "any bytes"); }

    CTemporaryFolder m_folder;
    const std::filesystem::path m_file = m_folder / "picture.awd";
    CHandle m_handle;
};

TEST_F(LoadTest, SaysWhyThereIsNoPicture) {
    cNewImage(m_handle, 3, 3, 0);
    EXPECT_FALSE(m_handle.Load(m_folder / "missing.bmp"));
    EXPECT_EQ(m_handle.ErrorText(), ".");
    EXPECT_EQ(m_handle.Info().width, 0u) << "the old picture is gone";

    WriteFile(m_folder / "odd.bmp", "neither a bitmap nor anything else, but long enough");
    EXPECT_FALSE(m_handle.Load(m_folder / "odd.bmp"));
    EXPECT_EQ(m_handle.ErrorText(), "BMP file signature not found.") << "of the extension's reader";
    WriteFile(m_folder / "odd", "neither a bitmap nor anything else, but long enough");
    EXPECT_FALSE(m_handle.Load(m_folder / "odd"));
    EXPECT_EQ(m_handle.ErrorText(), ".");

    const CScriptScope script({.opens = false, .errorText = "Not mine."});
    EXPECT_FALSE(m_handle.Load(m_file));
    EXPECT_EQ(m_handle.ErrorText(), "Not mine.");
    EXPECT_EQ(m_handle.Description(), "");
}

TEST_F(LoadTest, KeepsTheLinesThatCame) {
    struct CCase {
        const char* name;
        CReaderScript script;
        bool loads;
        uint32_t lines;
        const char* errorText;
    };
    const CCase cases[] = {
        {"all", {}, true, 10, "No error reported."},
        {"three", {.linesDelivered = 3}, true, 3, "No error reported."},
        {"none", {.linesDelivered = 0}, true, 0, "No error reported."},
        {"exception on the sixth", {.throwAtLine = 5}, true, 5, "No error reported."},
        {"exception on the first", {.throwAtLine = 0}, false, 0, "No error reported."},
        {"exception in close", {.throwAtLastClose = true}, true, 10, "No error reported."},
        {"no rows", {.height = 0}, true, 0, "No error reported."},
        {"words of the reader stay", {.errorText = "Hm.", .throwAtLine = 5}, true, 5, "Hm."},
    };
    for (const CCase& c : cases) {
        SCOPED_TRACE(c.name);
        const CScriptScope script(c.script);
        EXPECT_EQ(m_handle.Load(m_file), c.loads);
        EXPECT_EQ(cGetScanLinesSuccessfullyRead(m_handle), c.lines);
        EXPECT_EQ(m_handle.ErrorText(), c.errorText);
        if (!c.loads) continue;
        for (uint32_t y = 0; y < m_handle.Info().height; ++y) {
            const auto expected = static_cast<uint8_t>(y < c.lines ? y + 1 : 0);
            EXPECT_EQ(m_handle.Row(y), Bytes(12, expected)) << "row " << y;
        }
    }
}

TEST_F(LoadTest, ExceptionInAProbeIsARefusal) {
    const CScriptScope script({.throwAtOpen = true});
    EXPECT_FALSE(m_handle.Load(m_file));
    EXPECT_EQ(m_handle.ErrorText(), "An unexpected error occurred.");
}

TEST_F(LoadTest, PictureThatCannotBeHeldIsAFailedLoad) {
    const CScriptScope script({.width = 500'000'000, .height = 500'000'000});
    EXPECT_FALSE(m_handle.Load(m_file));
    EXPECT_EQ(m_handle.ErrorText(),
              "A picture of 500000000 x 500000000 pixels at 24 bits a pixel is too large.");
}

TEST_F(LoadTest, AbortStopsBetweenRowsAndIsForgottenByTheNextLoad) {
    const CScriptScope script(CReaderScript{});
    struct CAbort {
        static int32_t KESTR_CALL At30(uintptr_t user, int32_t percent) {
            if (percent == 30) cAbortImageLoad(reinterpret_cast<HKESTRSESSION>(user));
            return 0;
        }
    };
    const auto user = reinterpret_cast<uintptr_t>(static_cast<HKESTRSESSION>(m_handle));
    EXPECT_EQ(cLoadImageExW(m_handle, WidePath(m_file).c_str(), 0, 0, &CAbort::At30, user), 1);
    EXPECT_EQ(cGetScanLinesSuccessfullyRead(m_handle), 4u);
    EXPECT_EQ(m_handle.ErrorText(), "Load aborted.");
    EXPECT_TRUE(m_handle.Load(m_file));
    EXPECT_EQ(cGetScanLinesSuccessfullyRead(m_handle), 10u);
}

TEST_F(LoadTest, TakesOverWhatTheReaderFound) {
    const CScriptScope script({.found = [](CImageReader& reader) {
        reader.m_description += "Scripted";
        reader.SetComment("one\rtwo\nthree\r\nfour \r\n\r\n");
        reader.m_pageCount = 7;
        reader.m_originalWidth = 400;
        reader.m_originalHeight = 300;
        reader.m_gamma = 0.5;
        reader.physicalX = 96;
        reader.physicalY = 97;
        reader.m_colorTemperature = 5500;
        reader.m_transparentIndex = 3;
        reader.m_hasTransparentColor = true;
        reader.m_transparentColor = 0x010203;
    }});
    ASSERT_TRUE(m_handle.Load(m_file, 2));
    const CHandle::CInfo info = m_handle.Info();
    EXPECT_EQ(info.typeId, 49);
    EXPECT_EQ(info.pages, 7);
    EXPECT_EQ(info.originalWidth, 400u);
    EXPECT_EQ(info.originalHeight, 300u);
    EXPECT_EQ(info.gamma, 0.5);
    EXPECT_EQ(m_handle.Description(), "Format: Scripted\r\nEmbedded Color Profile: ");
    BSTR comment = nullptr;
    EXPECT_EQ(cGetImageComments(m_handle, &comment), 1);
    EXPECT_EQ(TakeText(comment), "one\r\ntwo\r\nthree\r\nfour");
    uint16_t x = 0, y = 0;
    cGetPhysicalPixelsPerInch(m_handle, &x, &y);
    EXPECT_EQ(x, 96);
    EXPECT_EQ(y, 97);
    EXPECT_EQ(cGetImageColorTemperature(m_handle), 5500);
}

TEST_F(LoadTest, SixteenBitStoreStands) {
    const CScriptScope script({.width = 2, .height = 1, .found = [](CImageReader& reader) {
                                   const uint16_t samples[6] = {0x1234, 2, 3, 4, 5, 0xFFFF};
                                   reader.m_bits16.Assign(samples);
                                   reader.m_has16Bit = true;
                               }});
    ASSERT_TRUE(m_handle.Load(m_file));
    EXPECT_EQ(m_handle.Info().bits, 48);
    uint16_t* samples = nullptr;
    ASSERT_EQ(cGetBits16Ptr(m_handle, &samples), 1);
    EXPECT_THAT(std::vector<uint16_t>(samples, samples + 6),
                ElementsAre(0x1234, 2, 3, 4, 5, 0xFFFF));
    cRefreshDisplayData(m_handle);
    EXPECT_THAT(m_handle.Rows(6), ElementsAre(0x12, 0, 0, 0, 0, 0xFF));
}

TEST_F(LoadTest, GrayPicturesGetTheIdentityPalette) {
    // Three levels in a shuffled palette; the pixels are remapped. A palette with a colour stays.
    const auto file = [](std::vector<std::vector<uint8_t>> palette) {
        return CDIBBuilder{}
            .Size(3, 1)
            .Bits(8)
            .ColorsUsed(3)
            .Palette(std::move(palette))
            .Pixels({2, 0, 1, 0})
            .File();
    };
    ASSERT_TRUE(m_handle.LoadBytes(file({{90, 90, 90}, {10, 10, 10}, {255, 255, 255}})));
    EXPECT_THAT(m_handle.Rows(3), ElementsAre(255, 90, 10));
    EXPECT_THAT(m_handle.Palette(2), ElementsAre(Bytes{0, 0, 0}, Bytes{1, 1, 1}));
    EXPECT_EQ(m_handle.Info().isGray, 1);
    ASSERT_TRUE(m_handle.LoadBytes(file({{90, 90, 91}, {10, 10, 10}, {255, 255, 255}})));
    EXPECT_THAT(m_handle.Rows(3), ElementsAre(2, 0, 1));
    EXPECT_EQ(m_handle.Info().isGray, 0);
}

TEST_F(LoadTest, WrongExtensionIsForgiven) {
    const auto bitmap = CDIBBuilder{}.Pixels({1, 2, 3, 0}).File();
    for (const char* name : {"a.jpg", "a.xyz", "noextension", "a.b.c.", "a.PNG", "a.awd"}) {
        CHandle handle;
        EXPECT_TRUE(handle.LoadBytes(bitmap, name)) << name;
        EXPECT_EQ(handle.Info().typeId, 2) << name;
    }
}

TEST_F(LoadTest, ThumbnailTargets) {
    struct CCase {
        int16_t width, height;  // wanted
        int32_t fileWidth, fileHeight;
        uint32_t resultWidth, resultHeight;
    };
    const CCase cases[] = {
        {100, 100, 50, 50, 50, 50}, {1, 1, 2000, 1, 2000, 1}, {0, 0, 30, 20, 30, 20}};
    for (const CCase& c : cases) {
        const CScriptScope script({.width = c.fileWidth, .height = c.fileHeight});
        ASSERT_EQ(cLoadThumbnailW(m_handle, WidePath(m_file).c_str(), c.width, c.height), 1);
        const CHandle::CInfo info = m_handle.Info();
        EXPECT_EQ(info.originalWidth, static_cast<uint32_t>(c.fileWidth));
        EXPECT_EQ(info.originalHeight, static_cast<uint32_t>(c.fileHeight));
        EXPECT_EQ(info.width, c.resultWidth) << c.width << " of " << c.fileWidth;
        EXPECT_EQ(info.height, c.resultHeight);
    }
}

TEST_F(LoadTest, DamagedThumbnailSaysSo) {
    const CScriptScope script({.throwAtLine = 5});
    ASSERT_EQ(cLoadThumbnailW(m_handle, WidePath(m_file).c_str(), 4, 10), 1);
    EXPECT_EQ(cGetScanLinesSuccessfullyRead(m_handle), 5u);
    EXPECT_EQ(m_handle.Description(),
              "Format: \r\nEmbedded Color Profile: /r/nImage file damage detected.");
}

}  // namespace
}  // namespace kestr::test
