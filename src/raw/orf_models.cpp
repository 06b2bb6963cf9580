// Colour matrices: published DNG colour data of these cameras for two lights, 2850 K and 6500 K.
// Where only those for daylight are public, they stand for both. A pattern is that of the
// camera unless its file states another.

#include "raw/orf_models.h"

#include <algorithm>
#include <iterator>

#include "raw/filter_patterns.h"

namespace kestr {
namespace {

// XYZ to camera planes, row by row.
constexpr double kE300A[] = {1.0264, -0.4404, 0.0983, -0.4680, 1.2700,
                             0.2197, -0.1450, 0.3152, 0.7115};
constexpr double kE300Daylight[] = {0.7828, -0.1761, -0.0348, -0.5788, 1.4071,
                                    0.1830, -0.2853, 0.4518,  0.6557};
constexpr double kE330A[] = {0.9692, -0.3364, -0.0423, -0.6780, 1.4465,
                             0.2512, -0.1321, 0.2118,  0.8545};
constexpr double kE330Daylight[] = {0.8962, -0.2473, -0.1084, -0.7980, 1.5990,
                                    0.2067, -0.2319, 0.3035,  0.8249};
constexpr double kE400A[] = {0.7384, -0.2887, 0.0762, -0.6219, 1.3713,
                             0.2768, -0.1789, 0.2616, 0.8961};
constexpr double kE400Daylight[] = {0.6169, -0.1482, -0.0021, -0.7107, 1.4760,
                                    0.2536, -0.2904, 0.3581,  0.8568};
constexpr double kE410A[] = {1.0090, -0.3864, -0.0358, -0.6375, 1.4090,
                             0.2493, -0.1032, 0.1728,  0.7556};
constexpr double kE410Daylight[] = {0.8856, -0.2582, -0.1026, -0.7761, 1.5767,
                                    0.2081, -0.2009, 0.2576,  0.7469};
constexpr double kE510A[] = {0.9871, -0.3613, -0.0344, -0.6469, 1.4130,
                             0.2555, -0.1000, 0.1613,  0.7810};
constexpr double kE510Daylight[] = {0.8785, -0.2528, -0.1033, -0.7639, 1.5624,
                                    0.2112, -0.1782, 0.2300,  0.7817};
constexpr double kE500A[] = {1.0858, -0.4915, 0.1151, -0.4315, 1.2355,
                             0.2188, -0.1239, 0.2963, 0.7051};
constexpr double kE500Daylight[] = {0.8136, -0.1968, -0.0299, -0.5481, 1.3742,
                                    0.1871, -0.2556, 0.4205,  0.6631};
constexpr double kSP320Daylight[] = {1.1766, -0.4445, -0.1067, -0.6901, 1.4421,
                                     0.2707, -0.1029, 0.1217,  0.7572};
constexpr double kSP510UZDaylight[] = {1.0593, -0.3607, -0.1010, -0.5881, 1.3127,
                                       0.3084, -0.1200, 0.1805,  0.6721};
constexpr double kE10A[] = {1.5278, -0.7090, -0.0038, -0.6867, 1.5094,
                            0.1851, -0.1124, 0.1476,  0.7298};
constexpr double kE10Daylight[] = {1.2970, -0.4703, -0.1433, -0.7466, 1.5843,
                                   0.1644, -0.2191, 0.2451,  0.6668};
constexpr double kE20A[] = {1.6014, -0.7793, 0.0104, -0.6329, 1.4215,
                            0.2288, -0.1264, 0.1705, 0.7772};
constexpr double kE20Daylight[] = {1.3414, -0.4950, -0.1517, -0.7166, 1.5293,
                                   0.1960, -0.2325, 0.2664,  0.7212};
constexpr double kE1A[] = {1.6228, -0.9341, 0.1289, -0.6250, 1.4870,
                           0.1403, -0.1358, 0.2842, 0.9053};
constexpr double kE1Daylight[] = {1.1847, -0.4767, -0.0945, -0.7027, 1.5878,
                                  0.1089, -0.2699, 0.4123,  0.8312};
constexpr double kE3A[] = {1.1004, -0.4441, -0.0232, -0.6299, 1.4070,
                           0.2428, -0.0870, 0.1459,  0.7422};
constexpr double kE3Daylight[] = {0.9487, -0.2875, -0.1115, -0.7533, 1.5606,
                                  0.2010, -0.1618, 0.2100,  0.7389};
constexpr double kC5050A[] = {1.0898, -0.3993, -0.0545, -0.5790, 1.3418,
                              0.2624, -0.1043, 0.1685,  0.6538};
constexpr double kC5050Daylight[] = {1.0633, -0.3234, -0.1285, -0.7460, 1.5570,
                                     0.1967, -0.1917, 0.2510,  0.6299};
constexpr double kC5060A[] = {1.1025, -0.4139, -0.0743, -0.6922, 1.4707,
                              0.2385, -0.0630, 0.0755,  0.7949};
constexpr double kC5060Daylight[] = {1.0445, -0.3361, -0.1307, -0.7662, 1.5691,
                                     0.2058, -0.1135, 0.1175,  0.7602};
constexpr double kC8080A[] = {1.0044, -0.4054, -0.0359, -0.6743, 1.3949,
                              0.3095, -0.0571, 0.0733,  0.7617};
constexpr double kC8080Daylight[] = {0.8606, -0.2508, -0.1014, -0.8238, 1.5714,
                                     0.2703, -0.0943, 0.0979,  0.7760};
constexpr double kC70ZDaylight[] = {1.0793, -0.3791, -0.1146, -0.7498, 1.5177,
                                    0.2488, -0.1390, 0.1577,  0.7321};
constexpr double kC7070A[] = {1.1496, -0.4922, -0.0234, -0.5988, 1.3406,
                              0.2871, -0.0781, 0.1130,  0.6516};
constexpr double kC7070Daylight[] = {1.0252, -0.3531, -0.1095, -0.7114, 1.4850,
                                     0.2436, -0.1451, 0.1723,  0.6365};
constexpr double kSP500UZDaylight[] = {0.9493, -0.3415, -0.0666, -0.5211, 1.2334,
                                       0.3260, -0.1548, 0.2262,  0.6482};
constexpr double kSP550UZA[] = {1.4117, -0.6746, 0.0307, -0.3860, 1.0859,
                                0.3470, -0.0207, 0.1013, 0.6540};
constexpr double kSP550UZDaylight[] = {1.1596, -0.4007, -0.1048, -0.5432, 1.2798,
                                       0.2957, -0.1029, 0.1750,  0.6516};

constexpr COlympusModel kModels[] = {
    {.name = "E-300",
     .colorMatrix1 = kE300A,
     .colorMatrix2 = kE300Daylight,
     .blackLevel = 63,
     .whiteLevel = 4095,
     .pattern = &kRGGB,
     .wordsWhite = 4035,
     .wordsBlack = 0,
     .wordColumnsUnused = 48},
    {.name = "E-330",
     .colorMatrix1 = kE330A,
     .colorMatrix2 = kE330Daylight,
     .blackLevel = 70,
     .whiteLevel = 4095,
     .pattern = &kRGGB,
     .wordsWhite = 3961},
    {.name = "E-400",
     .colorMatrix1 = kE400A,
     .colorMatrix2 = kE400Daylight,
     .blackLevel = 95,
     .whiteLevel = 4095,
     .pattern = &kGRBG},
    {.name = "E-410",
     .colorMatrix1 = kE410A,
     .colorMatrix2 = kE410Daylight,
     .blackLevel = 72,
     .whiteLevel = 3946,
     .pattern = &kRGGB},
    {.name = "E-510",
     .colorMatrix1 = kE510A,
     .colorMatrix2 = kE510Daylight,
     .blackLevel = 74,
     .whiteLevel = 3946,
     .pattern = &kRGGB},
    {.name = "E-500",
     .colorMatrix1 = kE500A,
     .colorMatrix2 = kE500Daylight,
     .blackLevel = 63,
     .whiteLevel = 3967,
     .pattern = &kRGGB,
     .wordsWhite = 4035,
     .wordsBlack = 0},
    {.name = "SP320",
     .colorMatrix1 = kSP320Daylight,
     .colorMatrix2 = kSP320Daylight,
     .blackLevel = 0,
     .whiteLevel = 4095,
     .pattern = &kRGGB},
    {.name = "SP510UZ",
     .colorMatrix1 = kSP510UZDaylight,
     .colorMatrix2 = kSP510UZDaylight,
     .blackLevel = 0,
     .whiteLevel = 4095,
     .pattern = &kGBRG},
    {.name = "E-10",
     .colorMatrix1 = kE10A,
     .colorMatrix2 = kE10Daylight,
     .blackLevel = 32,
     .whiteLevel = 1023,
     .pattern = &kRGGB,
     .wordShift = 6},
    {.name = "E-20",
     .colorMatrix1 = kE20A,
     .colorMatrix2 = kE20Daylight,
     .blackLevel = 40,
     .whiteLevel = 1023,
     .pattern = &kRGGB,
     .wordShift = 6},
    {.name = "E-1",
     .colorMatrix1 = kE1A,
     .colorMatrix2 = kE1Daylight,
     .blackLevel = 64,
     .whiteLevel = 4095,
     .pattern = &kGRBG},
    {.name = "E-3",
     .colorMatrix1 = kE3A,
     .colorMatrix2 = kE3Daylight,
     .blackLevel = 65,
     .whiteLevel = 3993,
     .pattern = &kRGGB},
    {.name = "C5050",
     .colorMatrix1 = kC5050A,
     .colorMatrix2 = kC5050Daylight,
     .blackLevel = 0,
     .whiteLevel = 4095,
     .pattern = &kBGGR},
    {.name = "C5060",
     .colorMatrix1 = kC5060A,
     .colorMatrix2 = kC5060Daylight,
     .blackLevel = 0,
     .whiteLevel = 4095,
     .pattern = &kRGGB},
    {.name = "C8080",
     .colorMatrix1 = kC8080A,
     .colorMatrix2 = kC8080Daylight,
     .blackLevel = 0,
     .whiteLevel = 4095,
     .pattern = &kBGGR},
    {.name = "C70Z",
     .colorMatrix1 = kC70ZDaylight,
     .colorMatrix2 = kC70ZDaylight,
     .blackLevel = 0,
     .whiteLevel = 4095},
    {.name = "C7070",
     .colorMatrix1 = kC7070A,
     .colorMatrix2 = kC7070Daylight,
     .blackLevel = 0,
     .whiteLevel = 4095,
     .pattern = &kRGGB},
    {.name = "SP500UZ",
     .colorMatrix1 = kSP500UZDaylight,
     .colorMatrix2 = kSP500UZDaylight,
     .blackLevel = 0,
     .whiteLevel = 4095,
     .pattern = &kGBRG},
    {.name = "SP550UZ",
     .colorMatrix1 = kSP550UZA,
     .colorMatrix2 = kSP550UZDaylight,
     .blackLevel = 0,
     .whiteLevel = 4095,
     .pattern = &kBGGR,
     .previewOffset = 0xA39800},
};

// The end of a name is not within a number: "E-3" is not the start of "E-300".
bool Begins(std::string_view text, std::string_view name) {
    return text.starts_with(name) &&
           (text.size() == name.size() || text[name.size()] < '0' || text[name.size()] > '9');
}

}  // namespace

const COlympusModel* FindOlympusModel(std::string_view make, std::string_view model) {
    if (!make.starts_with("OLYMPUS")) return nullptr;
    const auto found = std::ranges::find_if(
        kModels, [&](const COlympusModel& row) { return Begins(model, row.name); });
    return found == std::end(kModels) ? nullptr : &*found;
}

}  // namespace kestr
