// A turn that runs out of room: a limit on the size of files stands for a full disk.
#include <csignal>
#include <iterator>
#include <sys/resource.h>

#include <gtest/gtest.h>

#include "support/jpeg_builder.h"
#include "support/loaded_handle.h"
#include "support/test_data.h"

namespace kestr::test {
namespace {

/// No file of this process grows beyond so many bytes; a write there fails instead of ending it.
class CFileLimit {
public:
    explicit CFileLimit(rlim_t bytes) : m_handler(std::signal(SIGXFSZ, SIG_IGN)) {
        getrlimit(RLIMIT_FSIZE, &m_before);
        const rlimit limit{bytes, m_before.rlim_max};
        setrlimit(RLIMIT_FSIZE, &limit);
    }
    ~CFileLimit() {
        setrlimit(RLIMIT_FSIZE, &m_before);
        std::signal(SIGXFSZ, m_handler);
    }
    CFileLimit(const CFileLimit&) = delete;
    CFileLimit& operator=(const CFileLimit&) = delete;

private:
    void (*m_handler)(int);
    rlimit m_before{};
};

TEST(RotateFileRoom, AFullDiskLeavesEveryFileAsItWas) {
    const CTemporaryFolder folder;
    const auto source = folder / "source.jpg", other = folder / "other.jpg",
               bitmap = folder / "source.bmp";
    const std::vector<uint8_t> picture =
        CJPEGBuilder().Size(300, 200).Marker(0xE1, ExifOrientation(2)).File();
    const std::vector<uint8_t> before{'o', 'l', 'd'};
    WriteFile(source, picture);
    WriteFile(other, before);
    CHandle handle;
    cNewImage(handle, 200, 100, 0);
    ASSERT_TRUE(handle.Save(bitmap, 2));
    const std::vector<uint8_t> pixels = ReadFile(bitmap);

    // From the first byte on up to almost all: one step or two, another file or the same.
    for (const size_t limit :
         {size_t{1}, picture.size() / 4, picture.size() / 2, picture.size() - picture.size() / 8}) {
        for (const auto& to : {source, other}) {
            for (const bool fold : {false, true}) {
                SCOPED_TRACE(std::to_string(limit) + (fold ? ", folded" : ""));
                BSTR error = nullptr;
                uint16_t result = 1;
                {
                    const CFileLimit full(limit);
                    result =
                        cRotateImageFileEx(source.c_str(), to.c_str(), 0, 0, fold, fold, &error);
                }
                EXPECT_EQ(result, 0);
                EXPECT_EQ(TakeText(error), "JPEG rotation failure.");
                EXPECT_EQ(ReadFile(source), picture);
                EXPECT_EQ(ReadFile(other), before);
            }
        }
        const CFileLimit full(limit);
        EXPECT_EQ(cRotateImageFileEx(bitmap.c_str(), bitmap.c_str(), 0, 0, 0, 0, nullptr), 0);
    }
    EXPECT_EQ(ReadFile(bitmap), pixels);
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator(folder.Path()), {}), 3);
}

}  // namespace
}  // namespace kestr::test
