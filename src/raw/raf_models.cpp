// Colour matrices: published DNG colour data of these cameras for two lights, 2850 K and 6500 K.
// Where only those for daylight are public, they stand for both.

#include "raw/raf_models.h"

#include <algorithm>
#include <iterator>

namespace kestr {
namespace {

// XYZ to camera planes, row by row.
constexpr double kE550A[] = {1.2997, -0.6125, 0.0222, -0.5472, 1.2852,
                             0.2939, -0.0796, 0.1547, 0.7921};
constexpr double kE550Daylight[] = {1.1044, -0.3888, -0.1120, -0.7248, 1.5167,
                                    0.2208, -0.1531, 0.2276,  0.8069};
constexpr double kE900A[] = {0.9959, -0.3669, -0.0433, -0.5419, 1.2525,
                             0.3273, -0.1267, 0.1840,  0.8407};
constexpr double kE900Daylight[] = {0.9183, -0.2526, -0.1078, -0.7461, 1.5071,
                                    0.2574, -0.2023, 0.2440,  0.8638};
constexpr double kF700A[] = {1.0887, -0.4550, -0.0422, -0.5779, 1.3398,
                             0.2635, -0.1202, 0.1834,  0.8233};
constexpr double kF700Daylight[] = {1.0004, -0.3219, -0.1201, -0.7036, 1.5047,
                                    0.2107, -0.1863, 0.2565,  0.7735};
constexpr double kS3ProA[] = {1.4029, -0.7216, 0.0172, -0.7176, 1.4717,
                              0.2669, -0.1088, 0.1769, 0.8187};
constexpr double kS3ProDaylight[] = {1.1808, -0.4612, -0.1294, -0.8927, 1.6969,
                                     0.1988, -0.2120, 0.2742,  0.8006};
constexpr double kS5ProA[] = {1.4832, -0.7948, 0.0156, -0.7246, 1.4742,
                              0.2722, -0.1011, 0.1555, 0.8257};
constexpr double kS5ProDaylight[] = {1.2301, -0.5111, -0.1305, -0.9117, 1.7143,
                                     0.1997, -0.1947, 0.2449,  0.8100};
constexpr double kS5000A[] = {0.9623, -0.3885, -0.0342, -0.5490, 1.2863,
                              0.2947, -0.0959, 0.1637,  0.6933};
constexpr double kS5000Daylight[] = {0.8754, -0.2733, -0.1019, -0.7204, 1.5069,
                                     0.2276, -0.1702, 0.2334,  0.6982};
constexpr double kS5100A[] = {1.4498, -0.7039, -0.0003, -0.5606, 1.2976,
                              0.2945, -0.0629, 0.0900,  0.7207};
constexpr double kS5100Daylight[] = {1.1940, -0.4431, -0.1255, -0.6766, 1.4428,
                                     0.2542, -0.0994, 0.1165,  0.7421};
constexpr double kS5200A[] = {1.0677, -0.4331, -0.0085, -0.5352, 1.2433,
                              0.3305, -0.1078, 0.1735,  0.8502};
constexpr double kS5200Daylight[] = {0.9635, -0.2804, -0.0988, -0.7442, 1.5040,
                                     0.2589, -0.1803, 0.2312,  0.8621};
constexpr double kS6000fdA[] = {1.5156, -0.7780, 0.0205, -0.5075, 1.2816,
                                0.2519, -0.1162, 0.1898, 0.7127};
constexpr double kS6000fdDaylight[] = {1.2628, -0.4886, -0.1401, -0.6860, 1.4997,
                                       0.1962, -0.2198, 0.2782,  0.7091};
constexpr double kS7000A[] = {1.1722, -0.5492, -0.0220, -0.5383, 1.2732,
                              0.2980, -0.1296, 0.1807,  0.7597};
constexpr double kS7000Daylight[] = {1.0190, -0.3506, -0.1312, -0.7153, 1.5051,
                                     0.2238, -0.2004, 0.2398,  0.7505};
constexpr double kS9000A[] = {1.1954, -0.5328, -0.0113, -0.5294, 1.2402,
                              0.3275, -0.1124, 0.1711,  0.8553};
constexpr double kS9000Daylight[] = {1.0491, -0.3423, -0.1145, -0.7385, 1.5027,
                                     0.2539, -0.1809, 0.2275,  0.8692};
constexpr double kS9100A[] = {1.4350, -0.7185, 0.0234, -0.5042, 1.2247,
                              0.3170, -0.1026, 0.1757, 0.8848};
constexpr double kS9100Daylight[] = {1.2343, -0.4515, -0.1285, -0.7165, 1.4900,
                                     0.2435, -0.1895, 0.2496,  0.8801};
constexpr double kS2ProA[] = {1.4449, -0.7082, -0.0021, -0.7007, 1.4807,
                              0.2364, -0.0943, 0.1521,  0.7891};
constexpr double kS2ProDaylight[] = {1.2741, -0.4916, -0.1420, -0.8510, 1.6791,
                                     0.1715, -0.1767, 0.2302,  0.7771};

constexpr CFujiModel kModels[] = {
    {.name = "FinePix E550", .colorMatrix1 = kE550A, .colorMatrix2 = kE550Daylight},
    {.name = "FinePix F810", .colorMatrix1 = kE550A, .colorMatrix2 = kE550Daylight},
    {.name = "FinePix E900", .colorMatrix1 = kE900A, .colorMatrix2 = kE900Daylight},
    {.name = "FinePix F700",
     .colorMatrix1 = kF700A,
     .colorMatrix2 = kF700Daylight,
     .twoExposures = true},
    {.name = "FinePix F710",
     .colorMatrix1 = kF700A,
     .colorMatrix2 = kF700Daylight,
     .twoExposures = true},
    {.name = "FinePix S20Pro",
     .colorMatrix1 = kF700A,
     .colorMatrix2 = kF700Daylight,
     .twoExposures = true},
    {.name = "FinePix S3Pro", .colorMatrix1 = kS3ProA, .colorMatrix2 = kS3ProDaylight},
    {.name = "FinePix S5Pro", .colorMatrix1 = kS5ProA, .colorMatrix2 = kS5ProDaylight},
    {.name = "FinePix IS Pro", .colorMatrix1 = kS5ProA, .colorMatrix2 = kS5ProDaylight},
    {.name = "FinePix S5000", .colorMatrix1 = kS5000A, .colorMatrix2 = kS5000Daylight},
    {.name = "FinePix S5100",
     .colorMatrix1 = kS5100A,
     .colorMatrix2 = kS5100Daylight,
     .square = true},
    {.name = "FinePix S5500",
     .colorMatrix1 = kS5100A,
     .colorMatrix2 = kS5100Daylight,
     .square = true},
    {.name = "FinePix S5200", .colorMatrix1 = kS5200A, .colorMatrix2 = kS5200Daylight},
    {.name = "FinePix S5600", .colorMatrix1 = kS5200A, .colorMatrix2 = kS5200Daylight},
    {.name = "FinePix S6000fd", .colorMatrix1 = kS6000fdA, .colorMatrix2 = kS6000fdDaylight},
    {.name = "FinePix S6500fd", .colorMatrix1 = kS6000fdA, .colorMatrix2 = kS6000fdDaylight},
    {.name = "FinePix S7000", .colorMatrix1 = kS7000A, .colorMatrix2 = kS7000Daylight},
    {.name = "FinePix S9000", .colorMatrix1 = kS9000A, .colorMatrix2 = kS9000Daylight},
    {.name = "FinePix S9500", .colorMatrix1 = kS9000A, .colorMatrix2 = kS9000Daylight},
    {.name = "FinePix S9100", .colorMatrix1 = kS9100A, .colorMatrix2 = kS9100Daylight},
    {.name = "FinePix S9600", .colorMatrix1 = kS9100A, .colorMatrix2 = kS9100Daylight},
    {.name = "FinePixS2Pro",
     .colorMatrix1 = kS2ProA,
     .colorMatrix2 = kS2ProDaylight,
     .blackLevel = 128,
     .whiteLevel = 4095,
     .bigEndian = true,
     .turned = true,
     .usedWidth = 2880,
     .usedHeight = 2144},
};

}  // namespace

const CFujiModel* FindFujiModel(std::string_view name) {
    const auto found = std::ranges::find(kModels, name, &CFujiModel::name);
    return found == std::end(kModels) ? nullptr : &*found;
}

}  // namespace kestr
