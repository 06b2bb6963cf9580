// Colour matrices: published DNG colour data of these cameras (two lights, 2850 K and 6500 K). The
// V3 has public data for daylight only, which stands for both; its black is measured in the file.

#include "raw/sony_models.h"

#include <algorithm>
#include <iterator>

#include "raw/filter_patterns.h"

namespace kestr {
namespace {

// The F828's fourth filter is emerald, which has the code of cyan. Its planes are in the order of
// the matrices' rows.
constexpr std::array<uint8_t, 4> kREGB{kRed, kCyan, kGreen, kBlue};
constexpr std::array<uint8_t, 4> kFourPlanes{kRed, kGreen, kBlue, kCyan};

// XYZ to camera planes, row by row.
constexpr double kF828A[] = {0.8771,  -0.3148, -0.0125, -0.5926, 1.2567, 0.3815,
                             -0.0871, 0.1575,  0.6633,  -0.4678, 0.8486, 0.4548};
constexpr double kF828Daylight[] = {0.7925,  -0.1910, -0.0776, -0.8227, 1.5459, 0.2998,
                                    -0.1517, 0.2198,  0.6817,  -0.7241, 1.1401, 0.3481};
constexpr double kV3Daylight[] = {0.7511, -0.2571, -0.0692, -0.7894, 1.5088,
                                  0.3060, -0.0948, 0.1111,  0.8128};
constexpr double kR1A[] = {1.0011, -0.4237, 0.0183, -0.6596, 1.3898,
                           0.2984, -0.0940, 0.1370, 0.7491};
constexpr double kR1Daylight[] = {0.8512, -0.2641, -0.0694, -0.8041, 1.5670,
                                  0.2526, -0.1820, 0.2117,  0.7414};
constexpr double kA100A[] = {1.0336, -0.3752, -0.0202, -0.7347, 1.4918,
                             0.2626, -0.0433, 0.0478,  0.7015};
constexpr double kA100Daylight[] = {0.9437, -0.2812, -0.0774, -0.8405, 1.6215,
                                    0.2291, -0.0709, 0.0596,  0.7181};
constexpr double kA700A[] = {0.6150, -0.1189, -0.0137, -0.7291, 1.4699,
                             0.2826, -0.1103, 0.1608,  0.7414};
constexpr double kA700Daylight[] = {0.5775, -0.0805, -0.0359, -0.8573, 1.6294,
                                    0.2391, -0.1943, 0.2342,  0.7249};

constexpr CSonyModel kModels[] = {
    {.name = "DSC-F828",
     .formatName = "Sony DSC-F828 Raw",
     .colorMatrix1 = kF828A,
     .colorMatrix2 = kF828Daylight,
     .blackLevel = 495,
     .whiteLevel = 0x3FF0,
     .form = CSonyForm::kCiphered,
     .pattern = kREGB,
     .planeColors = &kFourPlanes,
     .border = {.left = 5, .right = 67},
     .dataOffset = 862144},
    {.name = "DSC-V3",
     .formatName = "Sony DSC-V3 Raw",
     .colorMatrix1 = kV3Daylight,
     .colorMatrix2 = kV3Daylight,
     .blackLevel = 495,
     .whiteLevel = 0x3FF0,
     .form = CSonyForm::kCiphered,
     .pattern = kRGGB,
     .border = {.left = 59},
     .mostColumns = 3109,
     .maskedColumns = 9,
     .dataOffset = 787392},
    {.name = "DSC-R1",
     .formatName = "Sony DSC-R1 Raw",
     .colorMatrix1 = kR1A,
     .colorMatrix2 = kR1Daylight,
     .blackLevel = 512,
     .whiteLevel = 16383,
     .form = CSonyForm::kWords,
     .pattern = kGRBG,
     .border = {.right = 60}},
    {.name = "DSLR-A100",
     .formatName = "Sony DSLR-A100",
     .colorMatrix1 = kA100A,
     .colorMatrix2 = kA100Daylight,
     .whiteLevel = 4075,
     .form = CSonyForm::kColumns,
     .pattern = kGRBG,
     .border = {.bottom = 1}},
    {.name = "DSLR-A700",
     .formatName = "Sony DSLR-A700",
     .colorMatrix1 = kA700A,
     .colorMatrix2 = kA700Daylight,
     .blackLevel = 128,
     .whiteLevel = 4095,
     .form = CSonyForm::kPacked,
     .pattern = kRGGB,
     .border = {.left = 4, .top = 4, .right = 12, .bottom = 4}},
};

}  // namespace

const CSonyModel* FindSonyModel(std::string_view name) {
    const auto found = std::ranges::find(kModels, name, &CSonyModel::name);
    return found == std::end(kModels) ? nullptr : &*found;
}

}  // namespace kestr
