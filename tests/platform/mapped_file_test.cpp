#include "platform/mapped_file.h"

#include <gmock/gmock.h>

#include "support/loaded_handle.h"
#include "support/test_data.h"

namespace kestr::test {
namespace {

using Bytes = std::vector<uint8_t>;

TEST(MappedFile, CursorNeverPassesTheEnd) {
    const Bytes data{1, 2, 3, 4, 5, 6, 7, 8, 9};
    CMappedFileImpl file;
    uint8_t byte = 0;
    uint16_t word = 0;
    uint32_t dword = 0;
    EXPECT_FALSE(file.ReadByte(&byte)) << "closed";
    EXPECT_FALSE(file.Seek(0, CMappedFileImpl::kAbsolute));
    ASSERT_TRUE(file.Wrap(data));
    EXPECT_TRUE(file.ReadDword(&dword));
    EXPECT_EQ(dword, 0x04030201u);
    EXPECT_TRUE(file.ReadWord(&word));
    EXPECT_EQ(word, 0x0605);
    EXPECT_FALSE(file.ReadDword(&dword)) << "three bytes are left";
    EXPECT_EQ(file.Position(), 6u);
    EXPECT_TRUE(file.ReadByte(&byte));
    EXPECT_FALSE(file.ReadWord(&word)) << "would end at the end";
    EXPECT_FALSE(file.Seek(9, CMappedFileImpl::kAbsolute));
    EXPECT_TRUE(file.Seek(8, CMappedFileImpl::kRelative)) << "the sum is not tested";
    EXPECT_EQ(file.Position(), 15u);
    EXPECT_FALSE(file.ReadByte(&byte));
    EXPECT_TRUE(file.Seek(0, CMappedFileImpl::kAbsolute));
    file.Unget();
    EXPECT_FALSE(file.ReadByte(&byte));
    EXPECT_FALSE(file.Read(&dword, 0xFFFFFFFF));
    file.Close();
    EXPECT_EQ(file.Data(), nullptr);
    EXPECT_EQ(data[0], 1) << "a wrapped buffer stays its owner's";
}

TEST(MappedFile, OpensWholeFiles) {
    const CTemporaryFolder folder;
    WriteFile(folder / "empty", "");
    WriteFile(folder / "one", "first file");
    WriteFile(folder / "two", "second");
    CMappedFileImpl file;
    EXPECT_FALSE(file.OpenRead(WidePath(folder / "missing").c_str()));
    EXPECT_FALSE(file.OpenRead(WidePath(folder / "empty").c_str()));
    EXPECT_FALSE(file.OpenRead(WidePath(folder.Path()).c_str())) << "a folder";
    EXPECT_FALSE(file.OpenRead(static_cast<const char*>(nullptr)));
    ASSERT_TRUE(file.OpenRead(WidePath(folder / "one").c_str()));
    ASSERT_TRUE(file.OpenRead((folder / "two").string().c_str())) << "closes the first";
    EXPECT_EQ(file.Size(), 6u);
    EXPECT_EQ(file.Data()[0], 's');
    EXPECT_TRUE(std::filesystem::remove(folder / "one"));
    file.Close();
    ASSERT_TRUE(file.OpenReadWrite(WidePath(folder / "two").c_str()));
    file.WritableData()[0] = 'S';
    file.Close();
    EXPECT_EQ(ReadFile(folder / "two"), (Bytes{'S', 'e', 'c', 'o', 'n', 'd'}));
}

}  // namespace
}  // namespace kestr::test
