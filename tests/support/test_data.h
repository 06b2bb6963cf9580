#pragma once

#include <cstdint>
#include <filesystem>
#include <string_view>
#include <vector>

namespace kestr::test {

/// The path of a file or folder of tests/data: TestData("bmp/bars.bmp"). The environment variable
/// KESTR_TEST_DATA, when set, replaces the folder of the checkout that was compiled.
std::filesystem::path TestData(std::string_view name);

/// The path of a seed of a fuzz target: FuzzSeed("dib/plain24.bmp").
std::filesystem::path FuzzSeed(std::string_view name);

/// All bytes of a file; a failed test and no bytes when it cannot be read.
std::vector<uint8_t> ReadFile(const std::filesystem::path& path);

/// Replaces a file by these bytes.
void WriteFile(const std::filesystem::path& path, std::string_view bytes);
void WriteFile(const std::filesystem::path& path, const std::vector<uint8_t>& bytes);

/// A folder of its own for one test, deleted with everything in it at the end.
class CTemporaryFolder {
public:
    CTemporaryFolder();
    ~CTemporaryFolder();
    CTemporaryFolder(const CTemporaryFolder&) = delete;
    CTemporaryFolder& operator=(const CTemporaryFolder&) = delete;

    const std::filesystem::path& Path() const { return m_path; }
    std::filesystem::path operator/(std::string_view name) const { return m_path / name; }

private:
    std::filesystem::path m_path;
};

}  // namespace kestr::test
