#include "raw/sensor_window.h"

#include <algorithm>
#include <vector>

#include "base/byte_cursor.h"
#include "raw/demosaic.h"
#include "raw/raw_sensor_image.h"
#include "raw/sensor_row.h"

namespace kestr {

CSensorWindow WindowInside(uint32_t width, uint32_t height, const CSensorBorder& border) {
    CSensorWindow window{border.left, border.top, 0, 0};
    const uint64_t columns = uint64_t{border.left} + border.right;
    const uint64_t rows = uint64_t{border.top} + border.bottom;
    if (columns < width) window.width = static_cast<uint32_t>(width - columns);
    if (rows < height) window.height = static_cast<uint32_t>(height - rows);
    return window;
}

std::array<uint8_t, 4> PatternInWindow(const std::array<uint8_t, 4>& stored,
                                       const CSensorWindow& window) {
    std::array<uint8_t, 4> pattern;
    for (uint32_t i = 0; i < 4; ++i) {
        const uint32_t row = (i / 2 + window.top) % 2;
        const uint32_t column = (i + window.left) % 2;
        pattern[i] = stored[2 * row + column];
    }
    return pattern;
}

void StoreSensorPart(CRawSensorImage& image, uint32_t y, uint32_t x,
                     std::span<const uint16_t> values) {
    CRawSamples& samples = image.samples;
    if (y >= samples.height || x >= samples.width) return;
    const size_t count = std::min<size_t>(values.size(), samples.width - x);
    uint16_t* out = samples.Row(y) + size_t{x} * samples.colors;
    for (uint32_t i = 0; i < count; ++i, out += samples.colors) {
        out[image.FC(y, x + i)] = values[i];
    }
}

void StoreWindowRow(CRawSensorImage& image, const CSensorWindow& window, uint32_t y,
                    std::span<const uint16_t> row) {
    if (y < window.top || y - window.top >= window.height || window.left >= row.size()) return;
    const size_t count = std::min<size_t>(window.width, row.size() - window.left);
    StoreSensorRow(image, y - window.top, row.subspan(window.left, count));
}

bool ReadPackedWindow(std::span<const uint8_t> data, const CPackedLayout& layout,
                      uint32_t storedWidth, const CSensorWindow& window, CRawSensorImage& image,
                      CImageReader* reader) {
    const uint64_t rowBytes =
        layout.rowBytes != 0 ? layout.rowBytes : PackedRowBytes(layout, storedWidth);
    std::vector<uint16_t> row(storedWidth);
    for (uint32_t y = 0; y < window.height; ++y) {
        if (!StartRawRow(image, reader, y)) return false;
        UnpackRow(SubRange(data, (uint64_t{window.top} + y) * rowBytes), layout, row);
        StoreWindowRow(image, window, window.top + y, row);
    }
    return true;
}

}  // namespace kestr
