// Colour matrices: published DNG colour data of these cameras for two lights, 2850 K and 6500 K.
// Where only those for daylight are public, they stand for both.

#include "raw/pef_models.h"

#include <algorithm>
#include <iterator>

#include "raw/filter_patterns.h"

namespace kestr {
namespace {

// XYZ to camera planes, row by row.
constexpr double kIstDDaylight[] = {0.9651, -0.2059, -0.1189, -0.8881, 1.6512,
                                    0.2487, -0.1460, 0.1345,  1.0687};
constexpr double kIstDSDaylight[] = {1.0371, -0.2333, -0.1206, -0.8688, 1.6231,
                                     0.2602, -0.1230, 0.1116,  1.1282};
constexpr double kIstDLDaylight[] = {1.0829, -0.2838, -0.1115, -0.8339, 1.5817,
                                     0.2696, -0.0837, 0.0680,  1.1939};
constexpr double kK100DDaylight[] = {1.1095, -0.3157, -0.1324, -0.8377, 1.5834,
                                     0.2720, -0.1108, 0.0947,  1.1688};
constexpr double kK10DDaylight[] = {0.9566, -0.2863, -0.0803, -0.7170, 1.5172,
                                    0.2112, -0.0818, 0.0803,  0.9705};

constexpr CPentaxModel kModels[] = {
    {.name = "PENTAX *ist D",
     .colorMatrix1 = kIstDDaylight,
     .colorMatrix2 = kIstDDaylight,
     .blackLevel = 128,
     .whiteLevel = 4095},
    {.name = "PENTAX *ist DS",
     .colorMatrix1 = kIstDSDaylight,
     .colorMatrix2 = kIstDSDaylight,
     .blackLevel = 128,
     .whiteLevel = 3950},
    {.name = "PENTAX *ist DL",
     .colorMatrix1 = kIstDLDaylight,
     .colorMatrix2 = kIstDLDaylight,
     .blackLevel = 128,
     .whiteLevel = 3950},
    {.name = "PENTAX K100D",
     .colorMatrix1 = kK100DDaylight,
     .colorMatrix2 = kK100DDaylight,
     .blackLevel = 128,
     .whiteLevel = 3950},
    {.name = "PENTAX K100D Super",
     .colorMatrix1 = kK100DDaylight,
     .colorMatrix2 = kK100DDaylight,
     .blackLevel = 128,
     .whiteLevel = 3950},
    {.name = "PENTAX K10D",
     .colorMatrix1 = kK10DDaylight,
     .colorMatrix2 = kK10DDaylight,
     .blackLevel = 0,
     .whiteLevel = 4095,
     .width = 3896,
     .height = 2616,
     .codedWidth = 3936},
};

}  // namespace

const CPentaxModel* FindPentaxModel(std::string_view name) {
    const auto found = std::ranges::find(kModels, name, &CPentaxModel::name);
    return found == std::end(kModels) ? nullptr : &*found;
}

}  // namespace kestr
