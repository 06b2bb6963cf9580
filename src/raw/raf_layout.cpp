#include "raw/raf_layout.h"

#include <algorithm>
#include <cmath>

#include "metadata/tiff_bytes.h"
#include "raw/demosaic.h"
#include "raw/gain_neutral.h"
#include "raw/packed_samples.h"
#include "raw/raw_sensor_image.h"
#include "raw/sensor_row.h"

namespace kestr {
namespace {

// Tags of the directory.
constexpr uint16_t kFullSize = 256;
constexpr uint16_t kUsedSize = 289;
constexpr uint16_t kLayout = 304;
constexpr uint16_t kWhiteBalance = 0x2FF0;

/// The samples of some rows, stored where a diagonal grid has them.
void StoreDiagonals(CRawSensorImage& image, const CFujiLayout& layout, uint32_t firstRow,
                    uint32_t rows, const std::vector<uint16_t>& values) {
    constexpr uint32_t kColumns = 64;  // together they touch few rows of the buffer
    CRawSamples& samples = image.samples;
    for (uint32_t start = 0; start < layout.width; start += kColumns) {
        const uint32_t end = std::min(start + kColumns, layout.width);
        for (uint32_t i = 0; i < rows; ++i) {
            const uint16_t* in = values.data() + size_t{i} * layout.width;
            const uint32_t y = firstRow + i;
            for (uint32_t x = start; x < end; ++x) {
                // Where they would be negative they wrap, and are outside too.
                uint32_t row = layout.fujiWidth - 1, column = 0;
                if (layout.halfRows) {
                    row += (y >> 1) - x;
                    column = ((y + 1) >> 1) + x;
                } else {
                    row += y - (x >> 1);
                    column = ((x + 1) >> 1) + y;
                }
                if (row >= samples.height || column >= samples.width) continue;
                samples.Pixel(row, column)[image.FC(row, column)] = in[x];
            }
        }
    }
}

}  // namespace

CFujiDirectory ReadFujiDirectory(std::span<const uint8_t> bytes) {
    constexpr uint32_t kMostEntries = 255;
    const CTIFFBytes in(bytes, true);
    CFujiDirectory directory;
    const uint32_t count = in.U32(0);
    if (count > kMostEntries) return directory;
    uint64_t at = 4;
    for (uint32_t i = 0; i < count && in.Holds(at, 4); ++i) {
        const uint16_t tag = in.U16(at), length = in.U16(at + 2);
        const uint64_t data = at + 4;
        at = data + length;
        if (!in.Holds(data, length)) break;
        if (tag == kFullSize && length >= 4) {
            directory.fullHeight = in.U16(data);
            directory.fullWidth = in.U16(data + 2);
        } else if (tag == kUsedSize && length >= 4) {
            directory.usedHeight = in.U16(data);
            directory.usedWidth = in.U16(data + 2);
        } else if (tag == kLayout && length >= 1) {
            directory.layoutFlag = (bytes[static_cast<size_t>(data)] & 0x80) != 0;
        } else if (tag == kWhiteBalance && length >= 8) {
            // Green, red, green, blue.
            directory.neutral = NeutralFromGains(in.U16(data + 2), in.U16(data), in.U16(data + 6));
        }
    }
    return directory;
}

std::optional<CFujiLayout> MakeFujiLayout(const CFujiModel& model,
                                          const CFujiDirectory& directory) {
    const uint32_t fullWidth = directory.fullWidth, fullHeight = directory.fullHeight;
    CFujiLayout layout;
    layout.bigEndian = model.bigEndian;
    layout.rowBytes = uint64_t{2} * fullWidth;
    if (model.square) {
        layout.width = fullWidth;
        layout.height = fullHeight;
        return layout;
    }
    const bool halfRows = directory.layoutFlag;
    layout.halfRows = halfRows;
    layout.width = model.usedWidth != 0 ? model.usedWidth : directory.usedWidth >> halfRows;
    layout.height = model.usedHeight != 0 ? model.usedHeight : directory.usedHeight << halfRows;
    if (layout.width == 0 || layout.height == 0 || layout.width > fullWidth ||
        layout.height > fullHeight) {
        return {};
    }
    layout.left = (fullWidth - layout.width) >> 2 << 1;
    layout.top = (fullHeight - layout.height) >> 2 << 1;
    if (model.twoExposures && halfRows) layout.rowBytes *= 2;
    layout.fujiWidth = layout.width >> (halfRows ? 0 : 1);
    layout.bufferWidth = layout.fujiWidth + (layout.height >> (halfRows ? 1 : 0));
    layout.bufferHeight = layout.bufferWidth - 1;
    const double step = std::sqrt(0.5);
    layout.wide = static_cast<uint32_t>(layout.fujiWidth / step);
    layout.high = static_cast<uint32_t>((layout.bufferHeight - layout.fujiWidth) / step);
    return layout;
}

bool ReadFujiSamples(std::span<const uint8_t> data, const CFujiLayout& layout,
                     CRawSensorImage& image, CImageReader* reader) {
    constexpr uint32_t kRows = 16;  // those that are stored at a time
    const CPackedLayout packing{.packing = layout.bigEndian ? CSamplePacking::kBigWords
                                                            : CSamplePacking::kLittleWords};
    std::vector<uint16_t> values(size_t{kRows} * layout.width);
    for (uint32_t y = 0; y < layout.height; y += kRows) {
        const uint32_t rows = std::min(kRows, layout.height - y);
        for (uint32_t i = 0; i < rows; ++i) {
            if (!StartRawRow(image, reader, y + i)) return false;
            const uint64_t at = (layout.top + y + i) * layout.rowBytes + 2 * layout.left;
            const std::span row(values.data() + size_t{i} * layout.width, layout.width);
            UnpackRow(SubRange(data, at), packing, row);
            if (layout.fujiWidth == 0) StoreSensorRow(image, y + i, row);
        }
        if (layout.fujiWidth != 0) StoreDiagonals(image, layout, y, rows, values);
    }
    return true;
}

}  // namespace kestr
