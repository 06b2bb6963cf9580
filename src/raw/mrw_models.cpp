// Colour matrices: published DNG colour data of these cameras for two lights, 2850 K and 6500 K.
// Where only those for daylight are public, they stand for both.

#include "raw/mrw_models.h"

#include <algorithm>
#include <iterator>

namespace kestr {
namespace {

// XYZ to camera planes, row by row.
constexpr double kDiMAGE7A[] = {1.1235, -0.4957, 0.0074, -0.6536, 1.4010,
                                0.2778, -0.1482, 0.2109, 0.8323};
constexpr double kDiMAGE7Daylight[] = {0.9258, -0.2879, -0.1008, -0.8076, 1.5847,
                                       0.2351, -0.2806, 0.3280,  0.7821};
constexpr double kDiMAGE7iA[] = {1.3524, -0.6449, 0.0058, -0.6721, 1.4170,
                                 0.2802, -0.1556, 0.2194, 0.8265};
constexpr double kDiMAGE7iDaylight[] = {1.1050, -0.3791, -0.1199, -0.7875, 1.5585,
                                        0.2434, -0.2797, 0.3359,  0.7560};
constexpr double kDiMAGE7HiA[] = {1.4427, -0.7083, 0.0151, -0.6676, 1.4169,
                                  0.2749, -0.1510, 0.2140, 0.7902};
constexpr double kDiMAGE7HiDaylight[] = {1.1555, -0.4064, -0.1256, -0.7903, 1.5633,
                                         0.2409, -0.2811, 0.3320,  0.7358};
constexpr double kDiMAGE5Daylight[] = {0.9117, -0.3063, -0.0973, -0.7949, 1.5763,
                                       0.2306, -0.2752, 0.3136,  0.8093};
constexpr double kDiMAGEA1A[] = {0.9978, -0.3187, -0.0814, -0.7374, 1.5320,
                                 0.2169, -0.1369, 0.1950,  0.8705};
constexpr double kDiMAGEA1Daylight[] = {0.9274, -0.2548, -0.1167, -0.8220, 1.6324,
                                        0.1943, -0.2273, 0.2721,  0.8340};
constexpr double kDiMAGEA2A[] = {1.0002, -0.3955, -0.0245, -0.6658, 1.3766,
                                 0.3218, -0.0589, 0.0740,  0.7797};
constexpr double kDiMAGEA2Daylight[] = {0.9097, -0.2726, -0.1052, -0.8074, 1.5506,
                                        0.2762, -0.0966, 0.0982,  0.7763};
constexpr double kDiMAGEA200A[] = {0.9678, -0.3757, -0.0290, -0.6691, 1.3800,
                                   0.3215, -0.0718, 0.0954,  0.7673};
constexpr double kDiMAGEA200Daylight[] = {0.8560, -0.2487, -0.0986, -0.8111, 1.5535,
                                          0.2771, -0.1209, 0.1324,  0.7742};
constexpr double kDynax7DA[] = {1.2036, -0.4955, -0.0076, -0.7019, 1.4449,
                                0.2811, -0.0513, 0.0636,  0.6839};
constexpr double kDynax7DDaylight[] = {1.0239, -0.3104, -0.1099, -0.8037, 1.5727,
                                       0.2452, -0.0928, 0.0926,  0.6871};
constexpr double kDynax5DDaylight[] = {1.0284, -0.3283, -0.1086, -0.7957, 1.5762,
                                       0.2316, -0.0829, 0.0882,  0.6644};

constexpr CMinoltaModel kModels[] = {
    {"27660001", kDiMAGE7A, kDiMAGE7Daylight, 3965},         // DiMAGE 7
    {"27790001", kDiMAGE7iA, kDiMAGE7iDaylight, 3965},       // DiMAGE 7i
    {"27780001", kDiMAGE7HiA, kDiMAGE7HiDaylight, 3965},     // DiMAGE 7Hi
    {"27730001", kDiMAGE5Daylight, kDiMAGE5Daylight, 3965},  // DiMAGE 5
    {"27820001", kDiMAGEA1A, kDiMAGEA1Daylight, 3979},       // DiMAGE A1
    {"27200001", kDiMAGEA2A, kDiMAGEA2Daylight, 3983},       // DiMAGE A2
    {"27470002", kDiMAGEA200A, kDiMAGEA200Daylight, 4095},   // DiMAGE A200
    {"21810002", kDynax7DA, kDynax7DDaylight, 4091},         // DYNAX 7D
    {"21860002", kDynax5DDaylight, kDynax5DDaylight, 4091},  // DYNAX 5D
};

}  // namespace

const CMinoltaModel* FindMinoltaModel(std::string_view cameraId) {
    const auto found = std::ranges::find(kModels, cameraId, &CMinoltaModel::cameraId);
    return found == std::end(kModels) ? nullptr : &*found;
}

}  // namespace kestr
