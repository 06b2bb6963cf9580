// Loads a file's bytes through the interface, as a viewer would.
#pragma once

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <random>
#include <string>
#include <system_error>

#include <kestr/kestr.h>

namespace kestr::fuzz {

/// A folder of this process, in memory where the system has such a place; it goes with the process.
class CScratchFolder {
public:
    CScratchFolder() { std::filesystem::create_directory(m_path); }
    CScratchFolder(const CScratchFolder&) = delete;
    CScratchFolder& operator=(const CScratchFolder&) = delete;
    ~CScratchFolder() {
        std::error_code ignored;
        std::filesystem::remove_all(m_path, ignored);
    }
    [[nodiscard]] const std::filesystem::path& Path() const { return m_path; }

private:
    static std::filesystem::path Place() {
        return std::filesystem::exists("/dev/shm") ? std::filesystem::path("/dev/shm")
                                                   : std::filesystem::temp_directory_path();
    }

    std::filesystem::path m_path =
        Place() / ("kestr-fuzz-" + std::to_string(std::random_device{}()));
};

/// A path for the bytes of each run.
inline std::string ScratchFile(const std::string& extension) {
    static const CScratchFolder folder;
    return (folder.Path() / ("input" + extension)).string();
}

/// Touches every row that came, so that a sanitizer sees it.
inline uint32_t SumOfPixels(HKESTRSESSION session) {
    uint32_t width = 0, height = 0, sum = 0;
    uint8_t bits = 0;
    uint8_t* pixels = nullptr;
    cGetImageInfo(session, &width, &height, &bits, nullptr, nullptr, nullptr, nullptr, nullptr,
                  nullptr);
    if (cGetBitsPtr(session, &pixels) == 0 || pixels == nullptr) return 0;
    for (uint32_t y = 0; y < height; ++y) {
        uint16_t red = 0, green = 0, blue = 0;
        cGetPixelColor(session, static_cast<int32_t>(width - 1), static_cast<int32_t>(y), &red,
                       &green, &blue);
        sum += red + green + blue;
    }
    return sum;
}

/// Writes the bytes to a file with this extension and loads page `page` of it, or a thumbnail when
/// `thumbnail` is not 0. `use` may look at the picture that came.
template <typename Use>
void LoadBytes(const uint8_t* data, size_t size, const char* extension, int16_t page,
               int16_t thumbnail, Use use) {
    const std::string path = ScratchFile(extension);
    std::ofstream(path, std::ios::binary | std::ios::trunc)
        .write(reinterpret_cast<const char*>(data), static_cast<std::streamsize>(size));
    const HKESTRSESSION session = cNewSession();
    const int32_t loaded = thumbnail != 0
                               ? cLoadThumbnailEx(session, path.c_str(), thumbnail, thumbnail, 0)
                               : cLoadImageEx(session, path.c_str(), page, 0, nullptr, 0);
    if (loaded != 0) {
        SumOfPixels(session);
        use(session);
    }
    cDestroySession(session);
}
inline void LoadBytes(const uint8_t* data, size_t size, const char* extension, int16_t page = 0,
                      int16_t thumbnail = 0) {
    LoadBytes(data, size, extension, page, thumbnail, [](HKESTRSESSION) {});
}

}  // namespace kestr::fuzz
