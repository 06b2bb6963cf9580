#include "raw/pef_data.h"

#include <array>
#include <vector>

#include "raw/demosaic.h"
#include "raw/difference_rows.h"
#include "raw/raw_sensor_image.h"
#include "raw/sensor_row.h"

namespace kestr {
namespace {

// The codes that all files have; each file tells them again in its maker note.
constexpr std::array<uint8_t, 16> kCounts{0, 2, 3, 1, 1, 1, 1, 1, 1, 2};
constexpr std::array<uint8_t, 13> kCategories{3, 4, 2, 5, 1, 6, 0, 7, 8, 9, 10, 11, 12};

}  // namespace

bool ReadCompressedPEF(std::span<const uint8_t> data, uint32_t codedWidth, CRawSensorImage& image,
                       CImageReader* reader) {
    const auto codes = CDifferenceCodes::Make(kCounts, kCategories, CCategoryForm::kPlain);
    if (!codes) return false;
    CDifferenceRows rows(data, {}, {});
    std::vector<uint16_t> row(codedWidth);
    for (uint32_t y = 0; y < image.samples.height; ++y) {
        if (!StartRawRow(image, reader, y)) return false;
        rows.Next(*codes, row);
        StoreSensorRow(image, y, row);
    }
    return true;
}

}  // namespace kestr
