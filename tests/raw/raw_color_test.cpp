#include "raw/raw_color.h"

#include <algorithm>
#include <cmath>
#include <numeric>
#include <random>
#include <thread>
#include <vector>

#include <gtest/gtest.h>
#include <lcms2.h>

#include "color/lcms_handles.h"
#include "raw/color_lattice.h"
#include "raw/raw_color_matrix.h"
#include "raw/raw_processor.h"
#include "raw/raw_samples.h"
#include "raw/raw_white_model.h"

namespace kestr {
namespace {

using CValues = std::vector<double>;

// Three planes of a camera for illuminant A and for daylight, and four of another.
const CValues kMatrixA{0.9504, -0.4310, 0.0220, -0.6712, 1.4078, 0.2902, -0.0318, 0.0420, 0.7267};
const CValues kMatrixD{0.7732, -0.2422, -0.0789, -0.8238, 1.5884, 0.2498, -0.0859, 0.0783, 0.7330};
const CValues kMatrix4A{-0.3886, 0.9602, 0.2842, 0.6945, -0.2023, 0.3821,
                        -0.3343, 0.7958, 0.6382, 0.2256, 0.6630,  0.0836};
const CValues kMatrix4D{-0.5547, 1.1762, 0.2189, 0.5814, -0.0558, 0.3342,
                        -0.4924, 0.9840, 0.5949, 0.0688, 0.9083,  0.0096};
const CameraColorData kCamera3{kMatrixA, 2850, kMatrixD, 6500, {}, {}};
const CameraColorData kCamera4{kMatrix4A, 2850, kMatrix4D, 6500, {}, {}};

// CIE 15: chromaticities of standard illuminants.
constexpr CChromaticity kIlluminantA{0.44758, 0.40745};
constexpr CChromaticity kD50{0.34567, 0.35850};
constexpr CChromaticity kD65{0.31272, 0.32903};
constexpr CChromaticity kD75{0.29902, 0.31485};

/// What the camera answers to a neutral object in light of that colour, its largest value 1.
CValues NeutralOf(const CValues& matrix, const CChromaticity& xy) {
    const double xyz[] = {xy.x / xy.y, 1, (1 - xy.x - xy.y) / xy.y};
    CValues neutral(matrix.size() / 3);
    for (size_t i = 0; i < matrix.size(); ++i) neutral[i / 3] += matrix[i] * xyz[i % 3];
    const double largest = *std::max_element(neutral.begin(), neutral.end());
    for (double& value : neutral) value /= largest;
    return neutral;
}

TEST(ColourTemperatureTest, RobertsonFindsWhatIlluminantsAreKnownFor) {
    struct CCase {
        const char* name;
        CChromaticity xy;
        double kelvin, within;
    };
    constexpr CCase kCases[] = {
        {"A", kIlluminantA, 2856, 5},
        {"D50", kD50, 5003, 10},
        {"D65", kD65, 6504, 10},
        {"D75", kD75, 7504, 20},
        {"E", {1.0 / 3, 1.0 / 3}, 5455, 10},
        {"candle light of 1000 K, warmer than the last isotherm", {0.6527, 0.3444}, -1, 0},
        {"nothing", {0, 0}, -1, 0},
    };
    for (const CCase& c : kCases) {
        SCOPED_TRACE(c.name);
        EXPECT_NEAR(CCTFromXy(c.xy), c.kelvin, c.within);
    }
}

TEST(ColourTemperatureTest, DaylightIsDefinedFrom4000To25000) {
    for (const uint16_t kelvin : {0, 3999, 25001, 65535}) EXPECT_FALSE(DaylightOf(kelvin));
    // CIE's polynomials, by hand.
    const CChromaticity at5000 = DaylightOf(5000).value();
    EXPECT_NEAR(at5000.x, 0.345741, 1e-6);
    EXPECT_NEAR(at5000.y, 0.358667, 2e-6);
    for (const uint16_t kelvin : {4000, 6504, 7000, 7001, 25000}) {
        EXPECT_NEAR(CCTFromXy(DaylightOf(kelvin).value()), kelvin, kelvin * 0.004) << kelvin;
    }
}

TEST(RawWhiteModelTest, MatricesMixByTheReciprocalTemperature) {
    const CameraColorData camera{CValues(9, 1.0), 2850, CValues(9, 3.0), 6500, {}, {}};
    EXPECT_EQ(MatrixForWhite<3>({0.50, 0.41}, camera).matrix[0][0], 1);  // about 2180 K
    EXPECT_EQ(MatrixForWhite<3>(kD75, camera).matrix[2][1], 3);
    // (1/5003 - 1/6500) / (1/2850 - 1/6500) = 0.2336
    EXPECT_NEAR(MatrixForWhite<3>(kD50, camera).matrix[1][1], 3 - 2 * 0.2336, 0.003);

    CameraColorData camera4{CValues(12, 1.0), 2850, CValues(12, 3.0), 6500, {}, {}};
    EXPECT_TRUE(MatrixForWhite<4>(kD50, camera4).reduction.empty());
    camera4.reduction[1] = CValues(12, 5.0);
    EXPECT_EQ(MatrixForWhite<4>(kIlluminantA, camera4).reduction, camera4.reduction[1]);
    camera4.reduction[0] = CValues(12, 7.0);
    EXPECT_EQ(MatrixForWhite<4>(kD75, camera4).reduction, camera4.reduction[1]);
    EXPECT_EQ(MatrixForWhite<4>({0.50, 0.41}, camera4).reduction, camera4.reduction[0]);
    EXPECT_NEAR(MatrixForWhite<4>(kD50, camera4).reduction[11], 5 + 2 * 0.2336, 0.003);
}

TEST(RawWhiteModelTest, FindsTheLightThatANeutralMeans) {
    struct CCase {
        const char* name;
        CChromaticity xy;
        double kelvin;
    };
    constexpr CCase kCases[] = {
        {"A", kIlluminantA, 2856}, {"D50", kD50, 5003}, {"D75", kD75, 7504}};
    for (const CCase& c : kCases) {
        SCOPED_TRACE(c.name);
        // The camera's matrix for that light, mixed as in the test above.
        const double first =
            std::clamp((1 / c.kelvin - 1 / 6500.0) / (1 / 2850.0 - 1 / 6500.0), 0.0, 1.0);
        for (const CameraColorData* camera : {&kCamera3, &kCamera4}) {
            CValues matrix(camera->colorMatrix1.size());
            for (size_t i = 0; i < matrix.size(); ++i) {
                matrix[i] = first * camera->colorMatrix1[i] + (1 - first) * camera->colorMatrix2[i];
            }
            const CValues neutral = NeutralOf(matrix, c.xy);
            const CRawColorInputs inputs{*camera, {}, neutral, 0, 4095, 0, {}};
            const bool three = matrix.size() == 9;
            const CChromaticity xy =
                three ? CRawWhiteModel<3>(inputs).whiteXy : CRawWhiteModel<4>(inputs).whiteXy;
            EXPECT_NEAR(xy.x, c.xy.x, 0.001) << matrix.size();
            EXPECT_NEAR(xy.y, c.xy.y, 0.001) << matrix.size();
        }
    }
}

TEST(RawWhiteModelTest, TemperatureNeutralAndCalibration) {
    const CValues neutral = NeutralOf(kMatrixD, kD65);
    CRawColorInputs inputs{kCamera3, {}, neutral, 128, 4095, 8000, {}};
    const CRawWhiteModel<3> at8000(inputs);
    EXPECT_NEAR(at8000.colorTemperature, 8000, 30);
    EXPECT_EQ(at8000.whiteXYZ[1], 1);
    EXPECT_EQ(at8000.neutral[0], neutral[0]);

    // One value is as good as none.
    const CValues one{0.5};
    inputs.neutral = one;
    EXPECT_EQ(CRawWhiteModel<3>(inputs).neutral, (CVector<3>{1, 1, 1}));

    // Equal lights: the first matrix, whatever the neutral says.
    CameraColorData same = kCamera3;
    same.illuminant2 = same.illuminant1;
    const CValues neutralA = NeutralOf(kMatrixA, kIlluminantA);
    const CRawWhiteModel<3> first({same, {}, neutralA, 0, 4095, 0, {}});
    EXPECT_NEAR(first.whiteXy.x, kIlluminantA.x, 1e-9);
    EXPECT_NEAR(first.whiteXy.y, kIlluminantA.y, 1e-9);

    // A calibration of nine values is ignored; of twelve, the first nine serve.
    same.calibration[0] = {2, 0, 0, 0, 2, 0, 0, 0, 2};
    EXPECT_EQ(CRawWhiteModel<3>({same, {}, neutralA, 0, 4095, 0, {}}).cameraToXYZ,
              first.cameraToXYZ);
    same.calibration[0].resize(12);
    const CRawWhiteModel<3> calibrated({same, {}, neutralA, 0, 4095, 0, {}});
    EXPECT_NEAR(calibrated.cameraToXYZ[0][0], first.cameraToXYZ[0][0] / 2, 1e-12);

    // A camera that says nothing has a white without a temperature.
    const CameraColorData blank;
    const CRawWhiteModel<3> unknown({blank, {}, neutral, 0, 4095, 0, {}});
    EXPECT_EQ(unknown.colorTemperature, 5000);
    EXPECT_NEAR(unknown.whiteXy.x, 0.345741, 1e-6);
}

/// A pixel of an even gray, as the camera sees it.
std::vector<uint16_t> GrayPixel(const CValues& neutral, double share, uint16_t black,
                                uint16_t white) {
    std::vector<uint16_t> pixel;
    for (const double value : neutral) {
        pixel.push_back(static_cast<uint16_t>(black + share * value * (white - black) + 0.5));
    }
    return pixel;
}

TEST(RawColorTest, GrayStaysGrayInAllFourRoutes) {
    constexpr uint16_t kBlack = 500, kWhite = 16000;
    for (const bool ciecam : {false, true}) {
        for (const CValues& matrix : {kMatrixD, kMatrix4D}) {
            SCOPED_TRACE(testing::Message() << ciecam << matrix.size());
            // Alike for both lights, so that both routes see the same white.
            const CameraColorData camera{matrix, 2850, matrix, 6500, {}, {}};
            const CValues neutral = NeutralOf(matrix, kD50);
            const CRawColorInputs inputs{camera, {}, neutral, kBlack, kWhite, 0, {}};
            std::unique_ptr<CRawColor3> color3;
            std::unique_ptr<CRawColor4> color4;
            if (neutral.size() == 3) color3 = CreateRawColor3(ciecam, inputs);
            if (neutral.size() == 4) color4 = CreateRawColor4(ciecam, inputs);
            EXPECT_NEAR(color3 ? color3->GetColorTemperature() : color4->GetColorTemperature(),
                        5003, 10);
            int last = -1;
            for (const double share : {0.0, 0.1, 0.18, 0.5, 0.9, 1.0}) {
                const auto pixel = GrayPixel(neutral, share, kBlack, kWhite);
                uint16_t r = pixel[0], g = pixel[1], b = pixel[2];
                if (color3) {
                    color3->Convert(r, g, b);
                } else {
                    color4->Convert(pixel.data(), r, g, b);
                }
                // The table's cell at the clip bends there.
                const int within = share < 1 ? 200 : 500;
                EXPECT_NEAR(r, g, within) << share;
                EXPECT_NEAR(b, g, within) << share;
                EXPECT_GT(g, last);
                last = g;
                const double curved = std::pow(share, 1 / 2.2) * 65535;
                EXPECT_TRUE(ciecam || std::abs(g - curved) < 60) << g;
            }
            EXPECT_GT(last, 60000);
            if (!ciecam) continue;
            // Burnt out: all planes alike, and still neutral.
            const std::vector<uint16_t> burnt(4, kWhite);
            uint16_t r = kWhite, g = kWhite, b = kWhite;
            if (color3) {
                color3->Convert(r, g, b);
            } else {
                color4->Convert(burnt.data(), r, g, b);
            }
            EXPECT_NEAR(r, g, 250);
            EXPECT_NEAR(b, g, 250);
        }
    }
}

// The matrix route once more: plain loops, long doubles, elimination instead of cofactors.

using CRow = std::vector<long double>;
using CRows = std::vector<CRow>;

CRows Product(const CRows& a, const CRows& b) {
    CRows product(a.size(), CRow(b[0].size()));
    for (size_t i = 0; i < a.size(); ++i) {
        for (size_t j = 0; j < b[0].size(); ++j) {
            for (size_t k = 0; k < b.size(); ++k) product[i][j] += a[i][k] * b[k][j];
        }
    }
    return product;
}

CRows Inverted(CRows m) {
    for (size_t i = 0; i < 3; ++i) {
        for (size_t j = 0; j < 3; ++j) m[i].push_back(i == j);
    }
    for (size_t i = 0; i < 3; ++i) {
        const auto pivot = std::max_element(m.begin() + i, m.end(), [i](auto& a, auto& b) {
            return std::abs(a[i]) < std::abs(b[i]);
        });
        std::swap(m[i], *pivot);
        for (size_t j = 0; j < 3; ++j) {
            if (j == i) continue;
            const long double times = m[j][i] / m[i][i];
            for (size_t k = 0; k < 6; ++k) m[j][k] -= times * m[i][k];
        }
    }
    CRows inverse;
    for (size_t i = 0; i < 3; ++i) {
        inverse.push_back({m[i][3] / m[i][i], m[i][4] / m[i][i], m[i][5] / m[i][i]});
    }
    return inverse;
}

CRows PlainCameraToRGB(const CValues& matrix) {
    CRows rows;
    for (size_t i = 0; i < matrix.size(); i += 3) {
        rows.push_back({matrix[i], matrix[i + 1], matrix[i + 2]});
    }
    CRows p = Product(rows, {{0.412453, 0.35758, 0.180423},
                             {0.212671, 0.71516, 0.072169},
                             {0.019334, 0.119193, 0.950227}});
    CRows turned(3, CRow(p.size()));
    for (size_t i = 0; i < p.size(); ++i) {
        const long double sum = p[i][0] + p[i][1] + p[i][2];
        for (size_t j = 0; j < 3; ++j) turned[j][i] = p[i][j] /= sum;
    }
    return p.size() == 3 ? Inverted(p) : Product(Inverted(Product(turned, p)), turned);
}

/// Whether `display` is what a linear value becomes; a value next to a whole number may go to
/// either side of it.
bool IsDisplayOf(uint16_t display, long double linear) {
    for (const long double slip : {-1e-7L, 1e-7L}) {
        const long double level = std::floor(std::clamp(linear + slip, 0.0L, 65535.0L));
        const long double curved = std::pow(level / 65535, 1 / 2.2L) * 65535 + 0.5L;
        if (display == static_cast<uint16_t>(curved)) return true;
    }
    return false;
}

TEST(RawColorMatrixTest, RowsAreWhatThePlainStepsGive) {
    constexpr uint16_t kBlack = 128, kWhite = 4095;
    std::mt19937 random(9);
    for (const CameraColorData* camera : {&kCamera3, &kCamera4}) {
        const CValues neutral = NeutralOf(camera->colorMatrix2, kD50);
        const size_t planes = neutral.size();
        const CRawColorInputs inputs{*camera, {}, neutral, kBlack, kWhite, 0, {}};
        constexpr size_t kCount = 1001;  // not a whole number of blocks
        std::vector<uint16_t> pixels(kCount * planes);
        for (uint16_t& sample : pixels) sample = random() % 4096;
        pixels[0] = pixels[4] = 0;  // below black
        const std::vector<uint16_t> before = pixels;
        if (planes == 3) CreateRawColor3(false, inputs)->ConvertRow(pixels.data(), kCount);
        if (planes == 4) CreateRawColor4(false, inputs)->ConvertRow(pixels.data(), kCount);
        const CRows toRGB = PlainCameraToRGB(camera->colorMatrix2);
        int wrong = 0;
        for (size_t i = 0; i < kCount; ++i) {
            CRows in(planes, CRow(1));
            for (size_t c = 0; c < planes; ++c) {
                long double v = std::max(before[i * planes + c] - kBlack, 0) / neutral[c] * 65535 /
                                (kWhite - kBlack);
                v = std::min(v, 65535.0L);
                in[c][0] = planes == 3 ? std::floor(v + 0.5L) : v;
            }
            const CRows rgb = Product(toRGB, in);
            for (size_t c = 0; c < 3; ++c) {
                wrong += !IsDisplayOf(pixels[i * planes + 2 - c], rgb[c][0]);
            }
            EXPECT_TRUE(planes == 3 || pixels[i * 4 + 3] == before[i * 4 + 3]);
        }
        EXPECT_EQ(wrong, 0) << planes;
    }
}

TEST(RawColorMatrixTest, DegenerateInputsFailCleanly) {
    const CameraColorData blank;
    const CValues zeros{0, 0, 0}, zeros4{0, 0, 0, 0}, none;
    uint16_t r = 100, g = 4000, b = 100;
    // An infinite scale, which the cap absorbs.
    CRawColor3MatrixRGB({kCamera3, {}, zeros, 100, 4095, 0, {}}).Convert(r, g, b);
    EXPECT_EQ(r, 0);
    EXPECT_GT(g, 60000);
    // No matrix, and no range between black and white.
    for (const CameraColorData* camera : {&blank, &kCamera3}) {
        const uint16_t white = camera == &blank ? 0 : 100;
        const CRawColorInputs inputs{*camera, zeros, zeros, 100, white, 0, {}};
        const CRawColorInputs inputs4{*camera, zeros4, zeros4, 100, white, 0, {}};
        for (const bool ciecam : {false, true}) {
            std::vector<uint16_t> pixels{0, 99, 100, 101, 4095, 65535, 7, 8, 9, 10, 11, 12};
            CreateRawColor3(ciecam, inputs)->ConvertRow(pixels.data(), 4);
            CreateRawColor4(ciecam, inputs4)->ConvertRow(pixels.data(), 3);
        }
    }
    r = g = b = 4095;
    const CRawColor3MatrixRGB missing({kCamera3, {}, none, 0, 4095, 0, {}});  // as if all were 1
    missing.Convert(r, g, b);
    EXPECT_EQ(r, 65535);
}

TEST(RawColorMatrixTest, LabOfKnownColours) {
    const CValues neutral = NeutralOf(kMatrixD, kD65);
    CRawColor3MatrixRGB color({kCamera3, {}, neutral, 0, 65535, 0, {}});
    double lab[3] = {7, 7, 7};
    EXPECT_FALSE(color.ToLab(1, 2, 3, lab));  // builds the tables only
    EXPECT_EQ(lab[0], 7);
    const auto white = GrayPixel(neutral, 1, 0, 65535);
    ASSERT_TRUE(color.ToLab(white[0], white[1], white[2], lab));
    EXPECT_NEAR(lab[0], 100, 0.01);
    EXPECT_NEAR(lab[1], 0, 0.05);
    EXPECT_NEAR(lab[2], 0, 0.05);
    const auto card = GrayPixel(neutral, 0.184187, 0, 65535);  // the middle of lightness
    color.ToLab(card[0], card[1], card[2], lab);
    EXPECT_NEAR(lab[0], 50, 0.01);
    const auto dark = GrayPixel(neutral, 0.005, 0, 65535);  // on the straight piece: 903.3 Y
    color.ToLab(dark[0], dark[1], dark[2], lab);
    EXPECT_NEAR(lab[0], 4.5165, 0.01);

    std::mt19937 random(5);
    constexpr size_t kCount = 300;
    std::vector<uint16_t> first(kCount), second(kCount);
    for (uint16_t& sample : first) sample = static_cast<uint16_t>(random());
    for (uint16_t& sample : second) sample = static_cast<uint16_t>(random());
    std::vector<int16_t> lightness(kCount), a(kCount), b(kCount);
    color.ToLabRow(first.data(), second.data(), kCount, lightness.data(), a.data(), b.data());
    for (size_t i = 0; i < kCount; ++i) {
        color.ToLab(first[i], second[i], 0, lab);
        ASSERT_EQ(lightness[i], static_cast<int>(lab[0]));
        ASSERT_EQ(a[i], static_cast<int>(lab[1]));
        ASSERT_EQ(b[i], static_cast<int>(lab[2]));
    }
}

// The appearance route once more: every point by its own calls, the table in the colour engine's
// own pipeline, evaluated by it.

constexpr cmsCIEXYZ kPictureWhite{96.42, 100, 82.49};

class CPlainTable {
public:
    explicit CPlainTable(const CVector<3>& white) {
        const cmsViewingConditions scene{
            {100 * white[0], 100 * white[1], 100 * white[2]}, 50, 60, AVG_SURROUND, 1};
        const cmsViewingConditions picture{kPictureWhite, 20, 60, AVG_SURROUND, 1};
        m_scene = cmsCIECAM02Init(m_context.get(), &scene);
        m_picture = cmsCIECAM02Init(m_context.get(), &picture);
        const CColorProfile lab(cmsCreateLab2ProfileTHR(m_context.get(), nullptr));
        const CColorProfile display(cmsCreate_sRGBProfileTHR(m_context.get()));
        m_transform.reset(cmsCreateTransformTHR(m_context.get(), lab.get(), TYPE_Lab_DBL,
                                                display.get(), TYPE_RGB_16, 1, 0));
        m_pipeline = cmsPipelineAlloc(m_context.get(), 3, 3);
    }
    ~CPlainTable() {
        cmsPipelineFree(m_pipeline);
        cmsCIECAM02Done(m_scene);
        cmsCIECAM02Done(m_picture);
    }

    void Fill(cmsSAMPLER16 sampler, void* cargo) {
        cmsStage* stage = cmsStageAllocCLut16bit(m_context.get(), 65, 3, 3, nullptr);
        cmsStageSampleCLut16bit(stage, sampler, cargo, 0);
        cmsPipelineInsertStage(m_pipeline, cmsAT_END, stage);
    }
    void Look(const cmsCIEXYZ& xyz, uint16_t* rgb) const {
        cmsJCh correlates;
        cmsCIECAM02Forward(m_scene, &xyz, &correlates);
        cmsCIEXYZ shown;
        cmsCIECAM02Reverse(m_picture, &correlates, &shown);
        cmsCIELab lab;
        cmsXYZ2Lab(&kPictureWhite, &lab, &shown);
        cmsDoTransform(m_transform.get(), &lab, rgb, 1);
        if (std::isnan(lab.L + lab.a + lab.b)) rgb[0] = rgb[1] = rgb[2] = 0;
    }
    void Evaluate(const uint16_t* in, uint16_t* out) const {
        cmsPipelineEval16(in, out, m_pipeline);
    }

private:
    CColorContext m_context = MakeColorContext();
    cmsHANDLE m_scene, m_picture;
    CColorTransform m_transform;
    cmsPipeline* m_pipeline;
};

struct CCameraCargo {
    const CPlainTable& table;
    const CRawWhiteModel<3>& model;
};

cmsInt32Number SampleCamera(const cmsUInt16Number* in, cmsUInt16Number* out, void* cargo) {
    const auto& [table, model] = *static_cast<CCameraCargo*>(cargo);
    double camera[3], xyz[3];
    for (size_t c = 0; c < 3; ++c) {
        const double value = (in[c] * model.whiteScale - model.black) * model.inverseRange;
        camera[c] = std::clamp(value, 0.0, model.neutral[c]);
    }
    for (size_t i = 0; i < 3; ++i) {
        double sum = 0;
        for (size_t c = 0; c < 3; ++c) sum += model.cameraToXYZ[i][c] * 100 * camera[c];
        xyz[i] = std::clamp(sum, 0.0, 100.0);
    }
    table.Look({xyz[0], xyz[1], xyz[2]}, out);
    return 1;
}

cmsInt32Number SampleXYZ(const cmsUInt16Number* in, cmsUInt16Number* out, void* cargo) {
    static_cast<CPlainTable*>(cargo)->Look(
        {in[0] / 65535.0 * 100, in[1] / 65535.0 * 100, in[2] / 65535.0 * 100}, out);
    return 1;
}

TEST(RawColorCIECAM02Test, ThreePlanesAreWhatThePlainStepsGive) {
    constexpr uint16_t kBlack = 200, kWhite = 4095;
    const CValues neutral = NeutralOf(kMatrixD, kD50);
    const CRawColorInputs inputs{kCamera3, {}, neutral, kBlack, kWhite, 0, {}};
    const CRawWhiteModel<3> model(inputs);
    CPlainTable table(model.whiteXYZ);
    CCameraCargo cargo{table, model};
    table.Fill(&SampleCamera, &cargo);
    std::mt19937 random(3);
    constexpr size_t kCount = 20000;
    std::vector<uint16_t> pixels(kCount * 3);
    for (uint16_t& sample : pixels) sample = random() % 4200;
    const std::vector<uint16_t> before = pixels;
    CreateRawColor3(true, inputs)->ConvertRow(pixels.data(), kCount);
    for (size_t i = 0; i < kCount; ++i) {
        uint16_t in[3], out[3];
        for (size_t c = 0; c < 3; ++c)
            in[c] = std::min(before[3 * i + c] * 65535LL / kWhite, 65535LL);
        table.Evaluate(in, out);
        for (size_t c = 0; c < 3; ++c) ASSERT_EQ(pixels[3 * i + 2 - c], out[c]) << i;
    }
}

TEST(RawColorCIECAM02Test, FourPlanesAreWhatThePlainStepsGive) {
    constexpr uint16_t kBlack = 200, kWhite = 4095;
    const CValues neutral = NeutralOf(kMatrix4D, kD50);
    const CRawColorInputs inputs{kCamera4, {}, neutral, kBlack, kWhite, 0, {}};
    const CRawWhiteModel<4> model(inputs);
    CPlainTable table(model.whiteXYZ);
    table.Fill(&SampleXYZ, &table);
    std::mt19937 random(4);
    constexpr size_t kCount = 5000;
    std::vector<uint16_t> pixels(kCount * 4);
    for (uint16_t& sample : pixels) sample = random() % 4200;
    const std::vector<uint16_t> before = pixels;
    CreateRawColor4(true, inputs)->ConvertRow(pixels.data(), kCount);
    for (size_t i = 0; i < kCount; ++i) {
        uint16_t in[3], out[3];
        for (size_t row = 0; row < 3; ++row) {
            double y = 0;
            for (size_t c = 0; c < 4; ++c) {
                const double x = (before[4 * i + c] - kBlack) / double{kWhite - kBlack};
                y += model.cameraToXYZ[row][c] * std::min(std::clamp(x, 0.0, 1.0), neutral[c]);
            }
            in[row] = static_cast<uint16_t>(std::clamp(y, 0.0, 1.0) * 65535);
        }
        table.Evaluate(in, out);
        for (size_t c = 0; c < 3; ++c) ASSERT_EQ(pixels[4 * i + 2 - c], out[c]) << i;
    }
}

TEST(ColorLatticeTest, EvaluatesLikeTheColourEngine) {
    // Wild outputs: neighbours may lie 65535 apart, more than smooth tables ever do.
    constexpr size_t kPoints = CColorLattice::kPoints;
    std::mt19937 random(1);
    std::vector<uint16_t> values(kPoints * kPoints * kPoints * 3);
    for (uint16_t& value : values) {
        const uint32_t any = random();
        value = any >> 30 == 0 ? 65535 : any >> 30 == 1 ? 0 : static_cast<uint16_t>(any);
    }
    CColorLattice lattice;
    for (size_t i = 0; i < values.size() / 3; ++i) {
        lattice.Line(0, 0)[i] = {values[3 * i + 2], values[3 * i + 1], values[3 * i], 12345};
    }
    const CColorContext context = MakeColorContext();
    cmsPipeline* pipeline = cmsPipelineAlloc(context.get(), 3, 3);
    cmsPipelineInsertStage(pipeline, cmsAT_END,
                           cmsStageAllocCLut16bit(context.get(), kPoints, 3, 3, values.data()));
    const uint16_t ends[] = {0, 1, 1023, 1024, 32767, 32768, 64511, 64512, 65534, 65535};
    CColorLattice::CPositions positions;
    std::vector<uint16_t> in(3 * CColorLattice::kBlock), out(3 * CColorLattice::kBlock + 1);
    for (int round = 0; round < 500; ++round) {
        for (size_t i = 0; i < in.size(); ++i) {
            const bool atEnd = round < 50;
            in[i] = atEnd ? ends[random() % std::size(ends)] : static_cast<uint16_t>(random());
            if (round % 3 == 0 && i % 3 != 0) in[i] = in[i - 1];  // ties
            positions[i % 3][i / 3] = CColorLattice::Position(in[i]);
        }
        out.back() = 4711;
        lattice.Evaluate(positions, out.data(), 3, CColorLattice::kBlock);
        EXPECT_EQ(out.back(), 4711);
        for (size_t i = 0; i < in.size(); i += 3) {
            uint16_t expected[3];
            cmsPipelineEval16(&in[i], expected, pipeline);
            for (size_t c = 0; c < 3; ++c) ASSERT_EQ(out[i + 2 - c], expected[c]);
        }
    }
    cmsPipelineFree(pipeline);
}

TEST(RawColorCIECAM02Test, ThreadsShareTheKeptTable) {
    const CValues neutral = NeutralOf(kMatrixD, kD50);
    const auto convert = [&](uint16_t white) {
        std::vector<uint16_t> pixel{1000, 1800, 900};
        CreateRawColor3(true, {kCamera3, {}, neutral, 0, white, 0, {}})
            ->ConvertRow(pixel.data(), 1);
        return pixel;
    };
    const auto low = convert(4095), high = convert(16383);
    EXPECT_NE(low, high);
    std::vector<std::thread> threads;
    for (int i = 0; i < 3; ++i) {
        threads.emplace_back([&, i] {
            EXPECT_EQ(convert(4095), low);
            EXPECT_EQ(convert(i == 0 ? 16383 : 4095), i == 0 ? high : low);
        });
    }
    for (std::thread& thread : threads) thread.join();
}

TEST(RawProcessorTest, LeavesTheNearMarginsAndCountsTheRest) {
    const CValues neutral = NeutralOf(kMatrixD, kD50), neutral4 = NeutralOf(kMatrix4D, kD50);
    std::mt19937 random(6);
    for (const bool ciecam : {false, true}) {
        for (const uint8_t planes : {3, 4}) {
            SCOPED_TRACE(testing::Message() << ciecam << int{planes});
            CRawSamples samples(7, 5, planes);
            for (uint16_t& sample : samples.samples) sample = random() % 4096;
            const CRawSamples before = samples;
            CRawPass pass;
            pass.neutral = planes == 3 ? neutral : neutral4;
            pass.white = 4095;
            pass.marginX = 2;
            pass.marginY = 1;
            CRawHistograms histograms{};
            const auto processor = CreateRawProcessor(ciecam, planes == 3 ? kCamera3 : kCamera4);
            const uint16_t kelvin = planes == 3 ? processor->Process3(pass, samples, histograms)
                                                : processor->Process4(pass, samples, histograms);
            EXPECT_NEAR(kelvin, 5003, 350);  // one route mixes the matrices, the other does not
            CRawHistograms expected{};
            for (uint32_t y = 0; y < 5; ++y) {
                for (uint32_t x = 0; x < 7; ++x) {
                    const uint16_t* pixel = samples.Pixel(y, x);
                    if (y < 1 || x < 2) {
                        EXPECT_TRUE(std::equal(pixel, pixel + planes, before.Pixel(y, x)));
                        continue;
                    }
                    const int b = pixel[0] >> 8, g = pixel[1] >> 8, r = pixel[2] >> 8;
                    const double sum =
                        std::round(76.8 * r) + std::round(151.04 * g) + std::round(28.16 * b);
                    ++expected[0][std::min(static_cast<int>(sum + 127) >> 8, 255)];
                    ++expected[1][r];
                    ++expected[2][g];
                    ++expected[3][b];
                }
            }
            EXPECT_EQ(histograms, expected);
            EXPECT_EQ(std::accumulate(histograms[0].begin(), histograms[0].end(), 0), 4 * 5);
            // Margins as large as the picture leave all of it alone.
            pass.marginX = pass.marginY = 9;
            CRawSamples untouched = before;
            CRawHistograms none{};
            if (planes == 3) processor->Process3(pass, untouched, none);
            if (planes == 4) processor->Process4(pass, untouched, none);
            EXPECT_EQ(untouched.samples, before.samples);
        }
    }
}

}  // namespace
}  // namespace kestr
