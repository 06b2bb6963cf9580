// A system without codecs of its own: the calls that steer them change nothing.

#include <gmock/gmock.h>

#include "readers/extension_table.h"
#include "readers/image_reader.h"
#include "readers/reader_registry.h"
#include "support/loaded_handle.h"
#include "support/test_data.h"

namespace kestr::test {
namespace {

TEST(NoSystemCodecs, LeavesFilesToOurReaders) {
    cAddWicFileType(".tga");
    EXPECT_FALSE(IsSystemCodecExtension(".tga"));
    EXPECT_EQ(CreateReader(76, true, false, {}), nullptr);
    CHandle handle;
    ASSERT_TRUE(handle.Load(FuzzSeed("tga/rgb24.tga")));  // which only its extension names
    EXPECT_EQ(handle.Info().typeId, 16);
    int anything = 0;
    void* root = &anything;
    EXPECT_EQ(cGetImageFileMetadataEx(FuzzSeed("jpeg/metadata.jpg").c_str(), 0, 0, nullptr, nullptr,
                                      &root),
              1);
    EXPECT_EQ(root, nullptr);
    cDestroyWicMetadataRoot(&anything);
}

}  // namespace
}  // namespace kestr::test
