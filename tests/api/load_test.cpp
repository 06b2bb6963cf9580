// Loading through the exports: progress, abort, failure, and what comes from memory.
#include <array>
#include <cstring>
#include <span>
#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <kestr/kestr.h>

#include "platform/automation.h"
#include "support/dib_builder.h"
#include "support/loaded_handle.h"
#include "support/test_data.h"
#include "support/wide_path.h"

namespace kestr {
namespace {

using test::CHandle;

// A file of 24 bits a pixel, all bytes 7; rows of 4 pixels need no padding.
std::vector<uint8_t> SmallBitmap(int32_t height) {
    return test::CDIBBuilder{}
        .Size(4, height)
        .Pixels(std::vector<uint8_t>(static_cast<size_t>(12) * height, 7))
        .File();
}

struct CWatcher {
    std::vector<int32_t> told;

    static int32_t KESTR_CALL Watch(uintptr_t user, int32_t percent) {
        auto& watcher = *reinterpret_cast<CWatcher*>(user);
        watcher.told.push_back(percent);
        return 1;  // means nothing
    }
    uintptr_t User() { return reinterpret_cast<uintptr_t>(this); }
};

class ApiLoadTest : public testing::Test {
protected:
    template <typename Bytes>
    std::string File(const char* name, const Bytes& bytes) {
        test::WriteFile(m_folder / name, bytes);
        return (m_folder / name).string();
    }
    uint32_t Red(int32_t x, int32_t y) {
        uint16_t red = 999;
        cGetPixelColor(m_session, x, y, &red, nullptr, nullptr);
        return red;
    }

    test::CTemporaryFolder m_folder;
    CHandle m_session;
    CWatcher m_watcher;
};

TEST_F(ApiLoadTest, TellsEachPercentageOnceInOrder) {
    const std::string path = File("a.bmp", SmallBitmap(250));
    EXPECT_EQ(cLoadImageEx(m_session, path.c_str(), 0, 0, &CWatcher::Watch, m_watcher.User()), 1);
    ASSERT_FALSE(m_watcher.told.empty());
    for (size_t i = 1; i < m_watcher.told.size(); ++i) {
        EXPECT_LT(m_watcher.told[i - 1], m_watcher.told[i]);
    }
    EXPECT_GE(m_watcher.told.front(), 0);
    EXPECT_LE(m_watcher.told.back(), 100);
    EXPECT_GT(m_watcher.told.size(), 50u);
    EXPECT_EQ(cGetScanLinesSuccessfullyRead(m_session), 250u);
}

TEST_F(ApiLoadTest, AFailedLoadLeavesNoPicture) {
    const std::string good = File("a.bmp", SmallBitmap(2));
    ASSERT_EQ(cLoadImageEx(m_session, good.c_str(), 0, 0, nullptr, 0), 1);
    cPushUndo(m_session);
    const std::string refused[] = {
        (m_folder / "none.bmp").string(), File("bad.bmp", std::string_view("BMnot")),
        File("empty.bmp", std::string_view()), m_folder.Path().string(), ""};
    for (const std::string& path : refused) {
        SCOPED_TRACE(path);
        EXPECT_EQ(cLoadImageEx(m_session, path.c_str(), 0, 0, nullptr, 0), 0);
        EXPECT_EQ(cGetImageInfo(m_session, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr,
                                nullptr, nullptr, nullptr),
                  0);
        auto* text = reinterpret_cast<BSTR>(this);
        EXPECT_EQ(cGetImageDescription(m_session, &text), 0);
        EXPECT_EQ(text, nullptr);
        EXPECT_EQ(cUndoStackDepth(m_session), 0u);
        EXPECT_EQ(cSave(m_session, (m_folder / "out.bmp").string().c_str(), 2, 0, nullptr, 0), 0);
        EXPECT_FALSE(std::filesystem::exists(m_folder / "out.bmp"));
    }
    EXPECT_EQ(cLoadImageEx(m_session, nullptr, 0, 0, nullptr, 0), 0);
}

TEST_F(ApiLoadTest, AFileQueryTellsWhyInWords) {
    const std::string path = File("short.bmp", std::string_view("BM"));
    BSTR error = nullptr;
    EXPECT_EQ(cGetImageFileInfo(path.c_str(), 0, nullptr, nullptr, nullptr, nullptr, nullptr,
                                nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, &error),
              0);
    EXPECT_EQ(test::TakeText(error), "Failed to load \"" + path + "\": .");  // message 129
}

TEST_F(ApiLoadTest, TakesPixelsFromMemory) {
    const std::array<uint8_t, 12> pixels{1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12};
    ASSERT_EQ(
        cLoadImage8(m_session, pixels.data(), 12, 2, 2, 0, &CWatcher::Watch, m_watcher.User()), 1);
    EXPECT_EQ(Red(0, 0), 3u);
    EXPECT_EQ(Red(1, 1), 12u);
    BSTR text = nullptr;
    EXPECT_EQ(cGetImageDescription(m_session, &text), 1);
    EXPECT_EQ(test::TakeText(text), "Format: LoadImage16");

    // Refused: the old picture stays.
    EXPECT_EQ(cLoadImage8(m_session, pixels.data(), 11, 2, 2, 0, nullptr, 0), 0);
    EXPECT_EQ(cLoadImage8(m_session, pixels.data(), 12, 0xFFFFFFFF, 0xFFFFFFFF, 0, nullptr, 0), 0);
    EXPECT_EQ(cLoadImage8(m_session, pixels.data(), 12, 0x80000000, 0x80000000, 1, nullptr, 0), 0);
    EXPECT_EQ(Red(1, 1), 12u);

    ASSERT_EQ(cLoadImage8(m_session, pixels.data(), 6, 3, 2, 1, nullptr, 0), 1);
    EXPECT_EQ(Red(2, 1), 6u);
    uint8_t bits = 0;
    int32_t isGray = 0;
    EXPECT_EQ(cGetImageInfo(m_session, nullptr, nullptr, &bits, nullptr, nullptr, nullptr, nullptr,
                            &isGray, nullptr),
              1);
    EXPECT_EQ(bits, 8);
    EXPECT_EQ(isGray, 1);
}

TEST_F(ApiLoadTest, TakesABitmapFromAnArrayAndFromAPointer) {
    const std::vector<uint8_t> file = SmallBitmap(2);
    const std::span<const uint8_t> block = std::span(file).subspan(14);
    const CSafeArray array = MakeByteArray(block);
    EXPECT_EQ(cLoadDIBArray(m_session, array.get(), 0), 1);
    EXPECT_EQ(Red(0, 0), 7u);
    EXPECT_EQ(cLoadDIBArray(m_session, nullptr, 0), 0);
    EXPECT_EQ(Red(0, 0), 999u);

    std::vector<uint32_t> header(block.size() / 4);  // aligned, as a caller has it
    std::memcpy(header.data(), block.data(), block.size());
    EXPECT_EQ(cLoadDIBitmap(m_session, header.data(), header.data() + 10, 0, 0), 1);
    EXPECT_EQ(Red(1, 1), 7u);
    EXPECT_EQ(cLoadDIBitmap(m_session, nullptr, nullptr, 0, 0), 0);
}

TEST_F(ApiLoadTest, ANewImageIsOneColour) {
    cNewImage(m_session, 5, 4, 0x00112233);  // blue 0x11, green 0x22, red 0x33
    uint32_t width = 0, height = 0;
    uint8_t bits = 0;
    int32_t typeId = 0, pages = 0;
    double gamma = 0;
    ASSERT_EQ(cGetImageInfo(m_session, &width, &height, &bits, nullptr, nullptr, &typeId, &pages,
                            nullptr, &gamma),
              1);
    EXPECT_EQ(width, 5u);
    EXPECT_EQ(height, 4u);
    EXPECT_EQ(bits, 24);
    EXPECT_EQ(typeId, 2);
    EXPECT_EQ(pages, 1);
    EXPECT_EQ(gamma, 0.45454545454545453);
    uint8_t* pixels = nullptr;
    ASSERT_EQ(cGetBitsPtr(m_session, &pixels), 1);
    EXPECT_EQ(std::vector<uint8_t>(pixels + 16, pixels + 19),
              (std::vector<uint8_t>{0x11, 0x22, 0x33}));
    uint16_t* bits16 = reinterpret_cast<uint16_t*>(this);
    EXPECT_EQ(cGetBits16Ptr(m_session, &bits16), 1);
    EXPECT_EQ(bits16, nullptr);
    BITMAPINFO* info = nullptr;
    ASSERT_EQ(cGetBITMAPINFOPtr(m_session, &info), 1);
    std::array<uint32_t, 3> header{};  // size, width, height
    std::memcpy(header.data(), info, sizeof header);
    EXPECT_EQ(header, (std::array<uint32_t, 3>{40, 5, 4}));
    cUnload(m_session);
    EXPECT_EQ(cGetBitsPtr(m_session, &pixels), 0);
    EXPECT_EQ(pixels, nullptr);
}

TEST_F(ApiLoadTest, SaveRefusesWhatNoWriterTakes) {
    cNewImage(m_session, 2, 2, 0);
    const std::string path = (m_folder / "a.bin").string();
    for (const int32_t typeId : {-1, 6, 30, 77, 1000}) {
        EXPECT_EQ(cSave(m_session, path.c_str(), typeId, 0, nullptr, 0), 0) << typeId;
        EXPECT_FALSE(std::filesystem::exists(path)) << typeId;
    }
    EXPECT_EQ(cSave(m_session, nullptr, 2, 0, nullptr, 0), 0);
    EXPECT_EQ(cSave(m_session, (m_folder / "none" / "a.bmp").string().c_str(), 2, 0, nullptr, 0),
              0);
}

TEST_F(ApiLoadTest, SaveTellsItsProgressAndReadsBackEqual) {
    const std::vector<uint8_t> file = SmallBitmap(130);
    const std::string path = File("a.bmp", file);
    ASSERT_EQ(cLoadImageEx(m_session, path.c_str(), 0, 0, nullptr, 0), 1);
    const std::string saved = (m_folder / "b.bmp").string();
    EXPECT_EQ(cSave(m_session, saved.c_str(), 2, 0, &CWatcher::Watch, m_watcher.User()), 1);
    EXPECT_FALSE(m_watcher.told.empty());
    const std::vector<uint8_t> bytes = test::ReadFile(saved);
    ASSERT_EQ(bytes.size(), file.size());
    EXPECT_EQ(std::memcmp(bytes.data() + 54, file.data() + 54, file.size() - 54), 0);
}

}  // namespace
}  // namespace kestr
