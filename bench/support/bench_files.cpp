#include "support/bench_files.h"

#include <algorithm>
#include <cmath>
#include <filesystem>

namespace kestr::bench {

std::basic_string<KESTR_CHAR> ScratchPath(const char* name) {
    namespace fs = std::filesystem;
    const fs::path folder =
        fs::exists("/dev/shm") ? fs::path("/dev/shm") : fs::temp_directory_path();
    const std::string text = (folder / (std::string("kestr-bench-") + name)).string();
    return {text.begin(), text.end()};
}

std::vector<uint8_t> NoisyPicture(uint32_t width, uint32_t height, int channels) {
    std::vector<uint8_t> samples(size_t{width} * height * channels);
    uint32_t random = 12345;
    size_t at = 0;
    for (uint32_t y = 0; y < height; ++y) {
        for (uint32_t x = 0; x < width; ++x) {
            for (int c = 0; c < channels; ++c) {
                random = random * 1664525 + 1013904223;
                const double wave =
                    100 + 60 * std::sin(x * 0.002 * (c + 1)) + 40 * std::sin(y * 0.003);
                samples[at++] = static_cast<uint8_t>(wave + static_cast<double>(random >> 28));
            }
        }
    }
    return samples;
}

CImageBits& NoisyImage(uint32_t width, uint32_t height) {
    static CImageBits image;
    const bool isKept = image.loaded && static_cast<uint32_t>(image.Width()) == width &&
                        static_cast<uint32_t>(image.Height()) == height;
    if (!isKept) {
        image.NewImage(width, height, 0);
        const auto samples = NoisyPicture(width, height, 3);
        for (uint32_t y = 0; y < height; ++y) {
            const size_t rowBytes = size_t{width} * 3;
            std::copy_n(samples.data() + y * rowBytes, rowBytes,
                        image.RowFromTop(static_cast<int32_t>(y)));
        }
        image.PixelsChanged();
        image.IsGray();
    }
    return image;
}

}  // namespace kestr::bench
