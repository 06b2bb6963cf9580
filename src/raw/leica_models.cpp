// Colour matrices: published DNG colour data of these cameras (two lights, 2850 K and 6500 K).

#include "raw/leica_models.h"

#include <algorithm>
#include <iterator>

namespace kestr {
namespace {

// XYZ to camera planes, row by row. Cameras that are twins share them.
constexpr double kDigilux2A[] = {1.3619, -0.6641, 0.0200, -0.6485, 1.3898,
                                 0.2856, -0.1523, 0.2069, 0.8403};
constexpr double kDigilux2Daylight[] = {1.1340, -0.4069, -0.1276, -0.7555, 1.5265,
                                        0.2448, -0.2960, 0.3426,  0.7686};
constexpr double kDigilux3A[] = {0.8248, -0.2304, -0.0642, -0.7029, 1.4754,
                                 0.2453, -0.1491, 0.2353,  0.8150};
constexpr double kDigilux3Daylight[] = {0.8054, -0.1886, -0.1025, -0.8348, 1.6367,
                                        0.2040, -0.2805, 0.3542,  0.7630};
constexpr double kLX1A[] = {1.2679, -0.6394, -0.0077, -0.6510, 1.3697,
                            0.3128, -0.0364, 0.0551,  0.8614};
constexpr double kLX1Daylight[] = {1.0704, -0.4187, -0.1230, -0.8314, 1.5953,
                                   0.2501, -0.0920, 0.0945,  0.8927};
constexpr double kLX2A[] = {0.9781, -0.4779, 0.0376, -0.4711, 1.1427,
                            0.3777, -0.0730, 0.1393, 0.7137};
constexpr double kLX2Daylight[] = {0.8047, -0.2810, -0.0624, -0.6449, 1.3519,
                                   0.3272, -0.1701, 0.2146,  0.7050};
constexpr double kFZ30A[] = {1.3336, -0.6687, 0.0365, -0.5790, 1.2816,
                             0.3354, -0.0593, 0.1134, 0.8093};
constexpr double kFZ30Daylight[] = {1.0977, -0.4030, -0.1142, -0.7918, 1.5490,
                                    0.2600, -0.1669, 0.2072,  0.8246};
constexpr double kFZ50A[] = {0.9649, -0.4671, 0.0453, -0.4460, 1.1161,
                             0.3805, -0.0752, 0.1529, 0.6811};
constexpr double kFZ50Daylight[] = {0.7906, -0.2709, -0.0594, -0.6231, 1.3352,
                                    0.3220, -0.1923, 0.2631,  0.6538};
constexpr double kFZ8A[] = {1.0596, -0.4575, 0.0184, -0.4765, 1.1633,
                            0.3590, -0.0495, 0.1220, 0.6576};
constexpr double kFZ8Daylight[] = {0.8986, -0.2756, -0.0801, -0.6341, 1.3576,
                                   0.3077, -0.1476, 0.2144,  0.6379};

constexpr CLeicaShape kDigilux3Shapes[] = {{0, {.right = 12, .bottom = 2}}};
constexpr CLeicaShape kL1Shapes[] = {{0, {.right = 11, .bottom = 1}}};
constexpr CLeicaShape kLX1Shapes[] = {{0, {.left = 6, .right = 16}}};
constexpr CLeicaShape kLX2Shapes[] = {{0, {.left = 4, .right = 38, .bottom = 3}}};
constexpr CLeicaShape kFZ30Shapes[] = {{0, {.right = 16}}};
constexpr CLeicaShape kFZ8Shapes[] = {{0, {.left = 5, .right = 31, .bottom = 1}}};
// 3:2, 16:9 and 4:3.
constexpr CLeicaShape kFZ50Shapes[] = {
    {2439, {.left = 3, .right = 17, .bottom = 5}},
    {2067, {.left = 3, .right = 15, .bottom = 5}},
    {0, {.left = 20, .top = 8, .right = 16, .bottom = 5}},
};

constexpr CLeicaModel kModels[] = {
    {.name = "DIGILUX 2",
     .panasonic = false,
     .colorMatrix1 = kDigilux2A,
     .colorMatrix2 = kDigilux2Daylight,
     .whiteLevel = 4095},
    {.name = "DMC-LC1",
     .colorMatrix1 = kDigilux2A,
     .colorMatrix2 = kDigilux2Daylight,
     .whiteLevel = 4095},
    {.name = "DIGILUX 3",
     .panasonic = false,
     .colorMatrix1 = kDigilux3A,
     .colorMatrix2 = kDigilux3Daylight,
     .whiteLevel = 3986,
     .shapes = kDigilux3Shapes},
    {.name = "DMC-L1",
     .colorMatrix1 = kDigilux3A,
     .colorMatrix2 = kDigilux3Daylight,
     .whiteLevel = 3986,
     .shapes = kL1Shapes},
    {.name = "DMC-LX1",
     .colorMatrix1 = kLX1A,
     .colorMatrix2 = kLX1Daylight,
     .whiteLevel = 3971,
     .shapes = kLX1Shapes},
    {.name = "DMC-LX2",
     .colorMatrix1 = kLX2A,
     .colorMatrix2 = kLX2Daylight,
     .whiteLevel = 3986,
     .shapes = kLX2Shapes},
    {.name = "DMC-FZ30",
     .colorMatrix1 = kFZ30A,
     .colorMatrix2 = kFZ30Daylight,
     .whiteLevel = 3971,
     .shapes = kFZ30Shapes},
    {.name = "DMC-FZ50",
     .colorMatrix1 = kFZ50A,
     .colorMatrix2 = kFZ50Daylight,
     .whiteLevel = 3986,
     .shapes = kFZ50Shapes},
    {.name = "DMC-FZ8",
     .colorMatrix1 = kFZ8A,
     .colorMatrix2 = kFZ8Daylight,
     .whiteLevel = 3986,
     .shapes = kFZ8Shapes},
};

}  // namespace

const CLeicaModel* FindLeicaModel(std::string_view name) {
    const auto found = std::ranges::find(kModels, name, &CLeicaModel::name);
    return found == std::end(kModels) ? nullptr : &*found;
}

CSensorBorder LeicaBorder(const CLeicaModel& model, uint32_t height) {
    for (const CLeicaShape& shape : model.shapes) {
        if (shape.height == 0 || shape.height == height) return shape.border;
    }
    return {};
}

}  // namespace kestr
