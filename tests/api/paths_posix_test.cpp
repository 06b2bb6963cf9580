// A path is bytes to this system: one that is no UTF-8 is opened as given.
#include <string>

#include <gtest/gtest.h>
#include <kestr/kestr.h>

#include "support/loaded_handle.h"
#include "support/test_data.h"

namespace kestr {
namespace {

TEST(PathsPosixTest, BytesThatAreNoUtf8AreOpenedAsGiven) {
    for (const char* name : {"\xFF\xFE.bmp", "caf\xE9.bmp", "\xED\xA0\x80.bmp", "\xC3(.bmp"}) {
        test::CTemporaryFolder folder;
        const std::string path = folder.Path().string() + "/" + name;
        test::CHandle session;
        cNewImage(session, 3, 2, 0);
        ASSERT_EQ(cSave(session, path.c_str(), 2, 0, nullptr, 0), 1);
        EXPECT_EQ(std::filesystem::directory_iterator(folder.Path())->path().native(), path);
        EXPECT_EQ(cLoadImageEx(session, path.c_str(), 0, 0, nullptr, 0), 1);
        EXPECT_EQ(cLoadThumbnailEx(session, path.c_str(), 2, 2, 0), 1);
        EXPECT_EQ(cGetImageFileInfo(path.c_str(), 0, nullptr, nullptr, nullptr, nullptr, nullptr,
                                    nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr),
                  1);
    }
}

}  // namespace
}  // namespace kestr
