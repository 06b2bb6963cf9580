#pragma once

#include <cstdint>
#include <filesystem>
#include <random>
#include <string>
#include <system_error>

namespace tool {

/// A file name of our own in the system's folder for such files, removed at the end.
class CScratchFile {
public:
    explicit CScratchFile(const char* extension)
        : path(std::filesystem::temp_directory_path() /
               ("kestr-" + std::to_string(std::random_device{}()) + "-" +
                std::to_string(std::random_device{}()) + extension)) {}
    ~CScratchFile() {
        std::error_code ignored;
        std::filesystem::remove(path, ignored);
    }
    CScratchFile(const CScratchFile&) = delete;
    CScratchFile& operator=(const CScratchFile&) = delete;

    const std::filesystem::path path;
};

}  // namespace tool
