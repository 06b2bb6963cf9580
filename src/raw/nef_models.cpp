// Colour matrices: published DNG colour data of these cameras (two lights, 2850 K and 6500 K). The
// D1H has public data for daylight only, which stands for both. Each model keeps the white level,
// the filter pattern and the additions that its files need.

#include "raw/nef_models.h"

#include <algorithm>
#include <iterator>

#include "raw/filter_patterns.h"

namespace kestr {
namespace {

// One filter of each cell of the pattern, in reading order.
constexpr std::array<uint8_t, 4> kGMYC{kGreen, kMagenta, kYellow, kCyan};
// The planes of a sensor with four colours, in the order of the matrices' rows.
constexpr std::array<uint8_t, 4> kFourPlanes{kGreen, kMagenta, kCyan, kYellow};

// XYZ to camera planes, row by row.
constexpr double kE5000A[] = {-0.3886, 0.9602, 0.2842, 0.6945, -0.2023, 0.3821,
                              -0.3343, 0.7958, 0.6382, 0.2256, 0.6630,  0.0836};
constexpr double kE5000Daylight[] = {-0.5547, 1.1762, 0.2189, 0.5814, -0.0558, 0.3342,
                                     -0.4924, 0.9840, 0.5949, 0.0688, 0.9083,  0.0096};
constexpr double kE5700A[] = {-0.4675, 1.0210, 0.3078, 0.6660, -0.1633, 0.3746,
                              -0.4208, 0.8856, 0.6304, 0.1570, 0.7288,  0.1099};
constexpr double kE5700Daylight[] = {-0.6475, 1.2496, 0.2428, 0.5409,  -0.0016, 0.3180,
                                     -0.5965, 1.0912, 0.5866, -0.0177, 0.9918,  0.0248};
constexpr double kE8400A[] = {0.8578, -0.3296, -0.0237, -0.6914, 1.3965,
                              0.3274, -0.0621, 0.0808,  0.7863};
constexpr double kE8400Daylight[] = {0.7842, -0.2319, -0.0992, -0.8154, 1.5719,
                                     0.2599, -0.1098, 0.1342,  0.7560};
constexpr double kE8800A[] = {0.9106, -0.3664, -0.0105, -0.6701, 1.3632,
                              0.3430, -0.0681, 0.0905,  0.7683};
constexpr double kE8800Daylight[] = {0.7970, -0.2314, -0.0913, -0.8452, 1.5762,
                                     0.2894, -0.1442, 0.1521,  0.7610};
constexpr double kD1A[] = {0.8452, -0.3021, -0.0439, -0.8003, 1.5752,
                           0.2382, -0.1568, 0.2150,  0.8985};
constexpr double kD1Daylight[] = {0.7637, -0.2199, -0.0974, -0.9109, 1.7099,
                                  0.2043, -0.2822, 0.3306,  0.8372};
constexpr double kD1HA[] = {0.7577, -0.2166, -0.0926, -0.7454, 1.5592,
                            0.1934, -0.2377, 0.2808,  0.8606};
constexpr double kD1XA[] = {0.8782, -0.3307, -0.0369, -0.8013, 1.5872,
                            0.2248, -0.1397, 0.1883,  0.9065};
constexpr double kD1XDaylight[] = {0.7702, -0.2244, -0.0975, -0.9114, 1.7242,
                                   0.1875, -0.2679, 0.3055,  0.8522};
constexpr double kD2HA[] = {0.6562, -0.1792, -0.0314, -0.6967, 1.4736,
                            0.2402, -0.1709, 0.2719,  0.7642};
constexpr double kD2HDaylight[] = {0.5733, -0.0911, -0.0629, -0.7967, 1.5987,
                                   0.2055, -0.3050, 0.4013,  0.7048};
constexpr double kD2XA[] = {1.0996, -0.3606, -0.0715, -0.7096, 1.4410,
                            0.2947, -0.0460, 0.0487,  0.7018};
constexpr double kD2XDaylight[] = {1.0231, -0.2768, -0.1254, -0.8302, 1.5900,
                                   0.2551, -0.0797, 0.0681,  0.7148};
constexpr double kD3A[] = {0.9336, -0.3405, 0.0014, -0.7320, 1.4779,
                           0.2763, -0.0914, 0.1171, 0.8248};
constexpr double kD3Daylight[] = {0.8139, -0.2171, -0.0663, -0.8747, 1.6541,
                                  0.2295, -0.1925, 0.2008,  0.8093};
constexpr double kD300A[] = {1.0354, -0.3401, 0.0054, -0.7111, 1.4628,
                             0.2702, -0.1350, 0.2011, 0.8528};
constexpr double kD300Daylight[] = {0.9030, -0.1992, -0.0716, -0.8465, 1.6302,
                                    0.2256, -0.2689, 0.3217,  0.8069};
constexpr double kD40A[] = {0.9504, -0.4310, 0.0220, -0.6712, 1.4078,
                            0.2902, -0.0318, 0.0420, 0.7267};
constexpr double kD40Daylight[] = {0.7732, -0.2422, -0.0789, -0.8238, 1.5884,
                                   0.2498, -0.0859, 0.0783,  0.7330};
constexpr double kD40XA[] = {1.0031, -0.3797, -0.0207, -0.7735, 1.5316,
                             0.2598, -0.0603, 0.0667,  0.8673};
constexpr double kD40XDaylight[] = {0.8819, -0.2543, -0.0911, -0.9025, 1.6928,
                                    0.2151, -0.1329, 0.1213,  0.8449};
constexpr double kD100A[] = {0.6408, -0.1391, -0.0554, -0.7732, 1.5177,
                             0.2762, -0.0663, 0.0833,  0.6678};
constexpr double kD100Daylight[] = {0.5902, -0.0933, -0.0782, -0.8982, 1.6719,
                                    0.2354, -0.1402, 0.1455,  0.6464};
constexpr double kD200A[] = {0.9483, -0.3451, -0.0142, -0.7374, 1.4683,
                             0.2943, -0.0723, 0.0859,  0.8369};
constexpr double kD200Daylight[] = {0.8367, -0.2248, -0.0763, -0.8758, 1.6447,
                                    0.2422, -0.1527, 0.1550,  0.8053};

constexpr CNEFModel kModels[] = {
    {.name = "E5000",
     .colorMatrix1 = kE5000A,
     .colorMatrix2 = kE5000Daylight,
     .whiteLevel = 0xFFF,
     .pattern = kGMYC,
     .planeColors = &kFourPlanes,
     .interlaced = true,
     .neutralUsable = false},
    {.name = "E5700",
     .colorMatrix1 = kE5700A,
     .colorMatrix2 = kE5700Daylight,
     .whiteLevel = 0xFFF,
     .pattern = kGMYC,
     .planeColors = &kFourPlanes,
     .interlaced = true},
    {.name = "E8400",
     .colorMatrix1 = kE8400A,
     .colorMatrix2 = kE8400Daylight,
     .whiteLevel = 0xFFF,
     .pattern = kBGGR,
     .interlaced = true},
    {.name = "E8800",
     .colorMatrix1 = kE8800A,
     .colorMatrix2 = kE8800Daylight,
     .whiteLevel = 0xFFF,
     .pattern = kBGGR,
     .interlaced = true},
    {.name = "NIKON D1",
     .colorMatrix1 = kD1A,
     .colorMatrix2 = kD1Daylight,
     .whiteLevel = 0xFFF,
     .pattern = kBGGR,
     .analogBalance = {1.824219, 1.0, 1.417969},
     .neutralScale = {527.0 / 256, 1, 317.0 / 256}},
    {.name = "NIKON D1H",
     .colorMatrix1 = kD1HA,
     .colorMatrix2 = kD1HA,
     .whiteLevel = 0xFFF,
     .pattern = kBGGR},
    {.name = "NIKON D1X",
     .colorMatrix1 = kD1XA,
     .colorMatrix2 = kD1XDaylight,
     .whiteLevel = 0xFFF,
     .pattern = kBGGR,
     .outputSize = {3008, 1960}},
    {.name = "NIKON D2H",
     .colorMatrix1 = kD2HA,
     .colorMatrix2 = kD2HDaylight,
     .whiteLevel = 0xF28,
     .pattern = kGBRG,
     .marginX = 6},
    {.name = "NIKON D2X",
     .colorMatrix1 = kD2XA,
     .colorMatrix2 = kD2XDaylight,
     .whiteLevel = 0xF28,
     .pattern = kRGGB},
    {.name = "NIKON D2Xs",
     .colorMatrix1 = kD2XA,
     .colorMatrix2 = kD2XDaylight,
     .whiteLevel = 0xF28,
     .pattern = kRGGB},
    {.name = "NIKON D3",
     .colorMatrix1 = kD3A,
     .colorMatrix2 = kD3Daylight,
     .whiteLevel = 0xF84,
     .pattern = kRGGB},
    {.name = "NIKON D300",
     .colorMatrix1 = kD300A,
     .colorMatrix2 = kD300Daylight,
     .whiteLevel = 0x3B84,
     .pattern = kRGGB},
    {.name = "NIKON D40",
     .colorMatrix1 = kD40A,
     .colorMatrix2 = kD40Daylight,
     .whiteLevel = 0xFFF,
     .pattern = kBGGR},
    {.name = "NIKON D40X",
     .colorMatrix1 = kD40XA,
     .colorMatrix2 = kD40XDaylight,
     .whiteLevel = 0xFFF},
    {.name = "NIKON D50",
     .colorMatrix1 = kD40A,
     .colorMatrix2 = kD40Daylight,
     .whiteLevel = 0xFFF,
     .pattern = kBGGR},
    {.name = "NIKON D70",
     .colorMatrix1 = kD40A,
     .colorMatrix2 = kD40Daylight,
     .whiteLevel = 0xFFF,
     .pattern = kBGGR},
    {.name = "NIKON D70s",
     .colorMatrix1 = kD40A,
     .colorMatrix2 = kD40Daylight,
     .whiteLevel = 0xFFF,
     .pattern = kBGGR},
    {.name = "NIKON D100",
     .colorMatrix1 = kD100A,
     .colorMatrix2 = kD100Daylight,
     .whiteLevel = 0xFFF,
     .pattern = kGRBG,
     .mayBePadded = true},
    {.name = "NIKON D200",
     .colorMatrix1 = kD200A,
     .colorMatrix2 = kD200Daylight,
     .whiteLevel = 0xF28,
     .pattern = kGRBG},
    {.name = "NIKON D80",
     .colorMatrix1 = kD200A,
     .colorMatrix2 = kD200Daylight,
     .whiteLevel = 0xF28,
     .pattern = kGBRG},
    {.name = "NIKON D700",
     .colorMatrix1 = kD3A,
     .colorMatrix2 = kD3Daylight,
     .whiteLevel = 0xF84,
     .pattern = kRGGB},
};

}  // namespace

const CNEFModel* FindNEFModel(std::string_view name) {
    const auto found = std::ranges::find(kModels, name, &CNEFModel::name);
    return found == std::end(kModels) ? nullptr : &*found;
}

}  // namespace kestr
