#include "raw/raw_sensor_image.h"

#include <algorithm>

namespace kestr {
namespace {

constexpr std::array<uint8_t, 4> kUsualPlaneColors = {kGreen, kMagenta, kCyan, kYellow};

}  // namespace

std::optional<CFilterTable> MakeFilterTable(std::span<const uint8_t> pattern, uint32_t rows,
                                            uint32_t columns, uint8_t colors,
                                            const std::array<uint8_t, 4>* planeColors) {
    if (rows == 0 || columns == 0 || uint64_t{rows} * columns > pattern.size()) return std::nullopt;
    const std::array<uint8_t, 4>& planes = planeColors ? *planeColors : kUsualPlaneColors;
    CFilterTable filter;
    for (uint32_t y = 0; y < 8; ++y) {
        for (uint32_t x = 0; x < 8; ++x) {
            const uint8_t code = pattern[size_t{y % rows} * columns + x % columns];
            size_t plane = code;
            if (colors == 4) {
                plane = static_cast<size_t>(std::ranges::find(planes, code) - planes.begin());
            }
            filter.At(y, x) = plane < colors ? static_cast<uint8_t>(plane) : uint8_t{0};
        }
    }
    return filter;
}

}  // namespace kestr
