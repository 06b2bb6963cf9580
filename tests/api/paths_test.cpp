// Paths in any script, wide and narrow; and no call leaves a file open.
#include <fstream>
#include <string>
#include <string_view>

#include <gtest/gtest.h>
#include <kestr/kestr.h>

#include "support/dib_builder.h"
#include "support/loaded_handle.h"
#include "support/test_data.h"
#include "support/wide_path.h"

namespace kestr {
namespace {

using test::CHandle;

struct CName {
    const char* what;
    std::u16string_view name;
};
constexpr CName kNames[] = {
    {"ASCII", u"plain.bmp"},
    {"blanks", u" two words .x.bmp"},
    {"Greek", u"\u03B1\u03B2\u03B3 \u03A9.bmp"},
    {"Latin with marks", u"\u00E9\u00FC\u00F1.bmp"},
    {"emoji", u"\U0001F3A8\U0001F469\u200D\U0001F4BB.bmp"},
    {"Japanese", u"\u5199\u771F.bmp"},
    {"unpaired high surrogate", u"x\xD83Dy.bmp"},
    {"unpaired low surrogate", u"x\xDE00y.bmp"},
    {"a folder below", u"\u03B4\u03AF\u03C3\u03BA\u03BF\u03C2/a.bmp"},
};

class PathsTest : public testing::TestWithParam<CName> {
protected:
    WideString Path(std::u16string_view name) const {
        return test::WidePath(m_folder.Path()) + test::Wide(u"/") + test::Wide(name);
    }
    static bool SystemTakes(const std::filesystem::path& path) {
        const bool taken = std::ofstream(path).is_open();
        std::error_code ignored;
        std::filesystem::remove(path, ignored);
        return taken;
    }
    // Proves that nobody has the file open: Windows lets no open file be deleted or replaced.
    void ExpectClosed(const std::filesystem::path& path) {
        std::error_code error;
        std::filesystem::path moved = path;
        moved += ".moved";
        std::filesystem::rename(path, moved, error);
        EXPECT_FALSE(error) << error.message();
        std::filesystem::rename(moved, path, error);
        EXPECT_FALSE(error) << error.message();
    }

    test::CTemporaryFolder m_folder;
    CHandle m_session;
};

TEST_P(PathsTest, WideNamesAreSavedLoadedAndLetGo) {
    const WideString path = Path(GetParam().name);
    const std::filesystem::path system = test::SystemPathOf(path);
    std::filesystem::create_directories(system.parent_path());
    cNewImage(m_session, 3, 2, 0x00302010);
    if (!SystemTakes(system)) {  // Wine keeps names as UTF-8, which has no unpaired surrogates
        EXPECT_EQ(cSaveW(m_session, path.c_str(), 2, 0, nullptr, 0), 0);
        EXPECT_EQ(cLoadImageExW(m_session, path.c_str(), 0, 0, nullptr, 0), 0);
        GTEST_SKIP() << "this system has no such names";
    }
    ASSERT_EQ(cSaveW(m_session, path.c_str(), 2, 0, nullptr, 0), 1);
    EXPECT_TRUE(std::filesystem::exists(system));
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator(system.parent_path()),
                            std::filesystem::directory_iterator()),
              1);
    ExpectClosed(system);

    EXPECT_EQ(cLoadImageExW(m_session, path.c_str(), 0, 0, nullptr, 0), 1);
    ExpectClosed(system);
    EXPECT_EQ(cLoadThumbnailW(m_session, path.c_str(), 100, 100), 1);
    ExpectClosed(system);
    uint32_t width = 0;
    EXPECT_EQ(cGetImageFileInfoW(path.c_str(), 0, nullptr, &width, nullptr, nullptr, nullptr,
                                 nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr),
              1);
    EXPECT_EQ(width, 3u);
    ExpectClosed(system);

    for (const std::string_view damaged : {"BM", "no picture at all, but some bytes of text"}) {
        test::WriteFile(system, damaged);
        EXPECT_EQ(cLoadImageExW(m_session, path.c_str(), 0, 0, nullptr, 0), 0);
        ExpectClosed(system);
        EXPECT_EQ(cGetImageFileInfoW(path.c_str(), 0, nullptr, nullptr, nullptr, nullptr, nullptr,
                                     nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr),
                  0);
        ExpectClosed(system);
    }
    // The header is not counted when the rows are weighed against the file.
    std::vector<uint8_t> shortFile = test::CDIBBuilder{}.Size(4, -50).File();
    shortFile.resize(610);
    // Rows are missing: loaded all the same, and closed.
    test::WriteFile(system, shortFile);
    EXPECT_EQ(cLoadImageExW(m_session, path.c_str(), 0, 0, nullptr, 0), 1);
    std::error_code error;
    EXPECT_TRUE(std::filesystem::remove(system, error)) << error.message();
}

TEST_P(PathsTest, NarrowNamesNameTheSameFiles) {
    const WideString path = Path(GetParam().name);
    const std::string narrow = WideToPath(path.c_str());
    const bool hasNarrowName =
        PathToWide(narrow.c_str()) == path || std::filesystem::path::preferred_separator == '/';
    if (!hasNarrowName) GTEST_SKIP() << "the code page of this system lacks a character";
    std::filesystem::create_directories(test::SystemPathOf(path).parent_path());
    cNewImage(m_session, 3, 2, 0);
    ASSERT_EQ(cSave(m_session, narrow.c_str(), 2, 0, nullptr, 0), 1);
    EXPECT_EQ(cLoadImageExW(m_session, path.c_str(), 0, 0, nullptr, 0), 1);
    EXPECT_EQ(cLoadImageEx(m_session, narrow.c_str(), 0, 0, nullptr, 0), 1);
    EXPECT_EQ(cLoadThumbnail(m_session, narrow.c_str(), 2, 2), 1);
    EXPECT_EQ(cGetImageFileInfo(narrow.c_str(), 0, nullptr, nullptr, nullptr, nullptr, nullptr,
                                nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr),
              1);
}

INSTANTIATE_TEST_SUITE_P(Names, PathsTest, testing::ValuesIn(kNames));

}  // namespace
}  // namespace kestr
