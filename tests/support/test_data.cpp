#include "support/test_data.h"

#include <cstdlib>
#include <fstream>
#include <iterator>
#include <random>
#include <string>

#include <gtest/gtest.h>

namespace kestr::test {

std::filesystem::path TestData(std::string_view name) {
    const char* folder = std::getenv("KESTR_TEST_DATA");
    return std::filesystem::path(folder ? folder : KESTR_TEST_DATA_FOLDER) / name;
}

std::filesystem::path FuzzSeed(std::string_view name) {
    return (TestData("../../fuzz/seeds") / name).lexically_normal();
}

std::vector<uint8_t> ReadFile(const std::filesystem::path& path) {
    std::ifstream in(path, std::ios::binary);
    EXPECT_TRUE(in.is_open()) << path;
    return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

void WriteFile(const std::filesystem::path& path, std::string_view bytes) {
    std::ofstream out(path, std::ios::binary | std::ios::trunc);
    out.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
    EXPECT_TRUE(out.good()) << path;
}

void WriteFile(const std::filesystem::path& path, const std::vector<uint8_t>& bytes) {
    WriteFile(path, std::string_view(reinterpret_cast<const char*>(bytes.data()), bytes.size()));
}

CTemporaryFolder::CTemporaryFolder() {
    std::random_device random;
    do {
        m_path = std::filesystem::temp_directory_path() / ("kestr-" + std::to_string(random()));
    } while (!std::filesystem::create_directory(m_path));
}

CTemporaryFolder::~CTemporaryFolder() {
    std::error_code ignored;
    std::filesystem::remove_all(m_path, ignored);
}

}  // namespace kestr::test
