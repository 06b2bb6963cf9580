// The road of a raw load, from a sensor in memory to the picture of a handle.

#include <cmath>
#include <cstdlib>

#include <gmock/gmock.h>

#include "support/loaded_handle.h"
#include "support/scripted_raw_reader.h"
#include "support/test_data.h"

namespace kestr::test {
namespace {

constexpr double kFull = 65535;

/// A sensor that looks at something even: black + neutral x light of full scale.
CRawScript EvenSensor(double light, std::vector<double> neutral = {0.5, 1.0, 0.25}) {
    CRawScript script{.width = 24, .height = 18, .black = 1000, .white = 11000};
    if (neutral.size() == 4) {
        script.colors = 4;
        script.pattern = {kGreen, kMagenta, kCyan, kYellow};
    }
    script.neutral = std::move(neutral);
    for (uint32_t y = 0; y < script.height; ++y) {
        for (uint32_t x = 0; x < script.width; ++x) {
            const uint8_t code = script.pattern[y % 2 * 2 + x % 2];
            // Planes of four: green, magenta, cyan, yellow.
            constexpr uint8_t kPlaneOfCode[] = {0, 0, 0, 2, 1, 3};
            const uint8_t plane = script.colors == 4 ? kPlaneOfCode[code] : code;
            const double value = 1000 + script.neutral[plane] * light * 10000;
            script.sensor.push_back(static_cast<uint16_t>(value));
        }
    }
    return script;
}

/// A sensor of noise that uses all levels.
CRawScript NoisySensor() {
    CRawScript script{.width = 40, .height = 31, .white = 60000, .neutral = {0.5, 1, 0.6}};
    uint32_t state = 7;
    for (uint32_t i = 0; i < script.width * script.height; ++i) {
        state = state * 1664525 + 1013904223;
        script.sensor.push_back(static_cast<uint16_t>(state >> 16));
    }
    return script;
}

class DCRawReaderTest : public testing::Test {
protected:
    DCRawReaderTest() {
        WriteFile(m_file, "any bytes");
        cUseCIECAM02(m_handle, 0);
        cSetGeneralRawParams(m_handle, 0, 0);
    }

    bool Load(const CRawScript& script, uint32_t method = 1) {
        const CRawScriptScope scope(script);
        cSetRawInterpolationMethod(m_handle, method);
        return m_handle.Load(m_file);
    }
    /// The 16-bit store: blue, green, red.
    std::vector<uint16_t> Samples() {
        uint16_t* samples = nullptr;
        if (cGetBits16Ptr(m_handle, &samples) != 1 || samples == nullptr) return {};
        const auto info = m_handle.Info();
        return {samples, samples + size_t{info.width} * info.height * 3};
    }
    void ExpectAll(double expected, double tolerance) {
        for (const uint16_t sample : Samples()) ASSERT_NEAR(sample, expected, tolerance);
    }

    CTemporaryFolder m_folder;
    const std::filesystem::path m_file = m_folder / "picture.x3f";
    CHandle m_handle;
};

double Gamma(double light) {
    return std::pow(light, 1 / 2.2) * kFull;
}

TEST_F(DCRawReaderTest, AGrayCardIsGray) {
    for (const uint32_t method : {0u, 1u, 2u, 3u}) {
        for (const double light : {0.05, 0.5, 0.9}) {
            SCOPED_TRACE(testing::Message() << "method " << method << ", light " << light);
            ASSERT_TRUE(Load(EvenSensor(light), method));
            EXPECT_EQ(m_handle.Info().width, 20u);
            EXPECT_EQ(m_handle.Info().height, 14u);
            EXPECT_EQ(m_handle.Info().bits, 48);
            ExpectAll(Gamma(light), 20);
        }
    }
    EXPECT_EQ(m_handle.ErrorText(), "No error reported.");
    const uint8_t high = static_cast<uint8_t>(Samples()[0] >> 8);
    EXPECT_THAT(m_handle.Row(3), testing::Each(high)) << "the display store has the high bytes";
}

TEST_F(DCRawReaderTest, TheWhiteIsEstimatedWhereTheCameraSaysNothing) {
    CRawScript script = EvenSensor(0.5);
    script.neutral.clear();
    ASSERT_TRUE(Load(script));
    ExpectAll(Gamma(0.5), 20);

    // One value is a neutral, if a useless one: none is estimated, and the sensor's colours show.
    script.neutral = {1.0};
    ASSERT_TRUE(Load(script));
    EXPECT_LT(Samples()[0] + 5000, Samples()[1]);
}

TEST_F(DCRawReaderTest, FourColoursAreDevelopedToo) {
    const std::vector<double> e5000 = {-0.5547, 1.1762, 0.2189, 0.5814, -0.0558, 0.3342,
                                       -0.4924, 0.9840, 0.5949, 0.0688, 0.9083,  0.0096};
    const std::vector<double> neutral = {0.8, 0.75, 1.0, 0.9};
    CRawScript script = EvenSensor(0.4, neutral);
    script.camera.colorMatrix1 = script.camera.colorMatrix2 = e5000;
    for (const bool asShot : {true, false}) {
        if (!asShot) script.neutral.clear();
        for (const uint32_t method : {0u, 1u, 2u}) {
            SCOPED_TRACE(testing::Message() << "method " << method << ", as shot " << asShot);
            ASSERT_TRUE(Load(script, method));
            // The estimate counts black as light: what is even stays so, in other colours.
            const auto samples = Samples();
            for (size_t i = 3; i < samples.size(); ++i) ASSERT_EQ(samples[i], samples[i % 3]);
            if (asShot) ExpectAll(Gamma(0.4), 400);
        }
    }
}

TEST_F(DCRawReaderTest, TheMethodReachesTheSensor) {
    std::vector<std::vector<uint16_t>> pictures;
    for (const uint32_t method : {0u, 1u, 2u, 3u, 77u}) {
        ASSERT_TRUE(Load(NoisySensor(), method));
        pictures.push_back(Samples());
    }
    EXPECT_NE(pictures[0], pictures[1]);
    EXPECT_NE(pictures[1], pictures[2]);
    EXPECT_NE(pictures[0], pictures[2]);
    EXPECT_EQ(pictures[3], pictures[1]);
    EXPECT_EQ(pictures[4], pictures[1]);
}

TEST_F(DCRawReaderTest, TheRouteReachesTheColours) {
    ASSERT_TRUE(Load(NoisySensor()));
    const auto plain = Samples();
    EXPECT_GT(cGetImageColorTemperature(m_handle), 0);
    cUseCIECAM02(m_handle, 1);
    ASSERT_TRUE(Load(NoisySensor()));
    EXPECT_NE(Samples(), plain);
    cUseCIECAM02(m_handle, 0);
    cSetProcessingGamma(7.5);
    ASSERT_TRUE(Load(NoisySensor()));
    EXPECT_EQ(Samples(), plain) << "a gamma that nothing reads";
}

TEST_F(DCRawReaderTest, MarginsAreCutOff) {
    CRawScript script = NoisySensor();
    script.marginX = script.marginY = 0;
    ASSERT_TRUE(Load(script, 0));
    ASSERT_EQ(m_handle.Info().width, script.width);
    const auto whole = Samples();
    EXPECT_EQ(whole[0], 0) << "bilinear leaves the outermost pixels with their own plane";
    script.marginX = 5;
    script.marginY = 3;
    ASSERT_TRUE(Load(script, 0));
    ASSERT_EQ(m_handle.Info().width, 30u);
    ASSERT_EQ(m_handle.Info().height, 25u);
    const auto inner = Samples();
    for (size_t y = 0; y < 25; ++y) {
        for (size_t i = 0; i < 90; ++i) {
            ASSERT_EQ(inner[y * 90 + i], whole[((y + 3) * script.width + 5) * 3 + i]);
        }
    }
    script.marginX = script.width / 2;
    EXPECT_FALSE(Load(script)) << "nothing would be left";
    EXPECT_EQ(m_handle.ErrorText(), "Not a scripted raw file.");
}

TEST_F(DCRawReaderTest, OblongPixelsAreResampled) {
    CRawScript script = EvenSensor(0.5);
    script.outputWidth = 20;
    script.outputHeight = 33;
    ASSERT_TRUE(Load(script));
    EXPECT_EQ(m_handle.Info().width, 20u);
    EXPECT_EQ(m_handle.Info().height, 33u);
    ExpectAll(Gamma(0.5), 20);
}

TEST_F(DCRawReaderTest, ATurnedPictureHasItsOwnSize) {
    CRawScript script = NoisySensor();
    ASSERT_TRUE(Load(script));
    const auto upright = Samples();
    script.afterInterpolate = [](CRawSensorImage& image) {
        Turn(image.samples, CRawTurn::kClockwise);
    };
    ASSERT_TRUE(Load(script));
    EXPECT_EQ(m_handle.Info().width, 27u);
    EXPECT_EQ(m_handle.Info().height, 36u);
    EXPECT_EQ(Samples()[26 * 3], upright[0]) << "the left top corner is now at the right";
}

TEST_F(DCRawReaderTest, LevelsAreStretchedWhenAsked) {
    CRawScript script = NoisySensor();
    script.sensor.assign(script.sensor.size(), 0);
    for (size_t i = 0; i < script.sensor.size(); ++i) {
        script.sensor[i] = i / script.width < 15 ? 6000 : 12000;  // two grays
    }
    script.neutral = {1, 1, 1};
    script.lowClip = script.highClip = 100;  // more pixels than those of the far margins
    ASSERT_TRUE(Load(script, 0));
    EXPECT_NEAR(Samples().front(), Gamma(0.1), 20);
    EXPECT_NEAR(Samples().back(), Gamma(0.2), 20);
    cSetGeneralRawParams(m_handle, 1, 0);
    ASSERT_TRUE(Load(script, 0));
    // Bins 89 and 123: black becomes 90, white 123, and both grays are at or beyond them.
    EXPECT_EQ(m_handle.Row(0)[0], 0);
    EXPECT_GE(m_handle.Row(26)[0], 250);
}

TEST_F(DCRawReaderTest, APreviewIsNotDeveloped) {
    CRawScript script = NoisySensor();
    script.preview = true;
    ASSERT_TRUE(Load(script));
    EXPECT_EQ(m_handle.Info().bits, 24);
    EXPECT_EQ(Samples(), std::vector<uint16_t>());
    EXPECT_EQ(m_handle.Row(5)[7], 77);
}

struct CProgress {
    HKESTRSESSION session = nullptr;
    int32_t abortAt = -1;
    std::vector<int32_t> percents;

    static int32_t KESTR_CALL Tell(uintptr_t user, int32_t percent) {
        auto& progress = *reinterpret_cast<CProgress*>(user);
        progress.percents.push_back(percent);
        if (percent >= progress.abortAt && progress.abortAt >= 0) cAbortImageLoad(progress.session);
        return 0;
    }
};

TEST_F(DCRawReaderTest, ProgressRisesToTheEnd) {
    struct CCase {
        uint32_t method;
        int32_t last;
    };
    // Three passes of the four that a method without a name announces.
    for (const CCase& c : {CCase{0, 100}, {1, 100}, {2, 100}, {3, 75}}) {
        SCOPED_TRACE(c.method);
        const CRawScriptScope scope(NoisySensor());
        cSetRawInterpolationMethod(m_handle, c.method);
        CProgress progress;
        ASSERT_EQ(cLoadImageExW(m_handle, WidePath(m_file).c_str(), 0, 0, &CProgress::Tell,
                                reinterpret_cast<uintptr_t>(&progress)),
                  1);
        ASSERT_GT(progress.percents.size(), 20u);
        EXPECT_TRUE(std::ranges::is_sorted(progress.percents));
        EXPECT_EQ(progress.percents.back(), c.last);
    }
}

TEST_F(DCRawReaderTest, AnAbortLeavesNoPicture) {
    for (const uint32_t method : {0u, 1u, 2u}) {
        for (const int32_t percent : {0, 20, 60, 90}) {
            SCOPED_TRACE(testing::Message() << "method " << method << " at " << percent);
            const CRawScriptScope scope(NoisySensor());
            cSetRawInterpolationMethod(m_handle, method);
            CProgress progress{.session = m_handle, .abortAt = percent, .percents = {}};
            EXPECT_EQ(cLoadImageExW(m_handle, WidePath(m_file).c_str(), 0, 0, &CProgress::Tell,
                                    reinterpret_cast<uintptr_t>(&progress)),
                      0);
            EXPECT_EQ(m_handle.ErrorText(), "Load aborted.");
            EXPECT_EQ(Samples(), std::vector<uint16_t>());
        }
    }
}

TEST_F(DCRawReaderTest, DamagedNumbersAreRefused) {
    CRawScript script = NoisySensor();
    script.white = 0;
    EXPECT_FALSE(Load(script));
    script = NoisySensor();
    script.patternSize = {0, 2};
    EXPECT_FALSE(Load(script));
    script = NoisySensor();
    script.patternSize = {0x80000000, 2};
    EXPECT_FALSE(Load(script)) << "a pattern that is shorter than it says";
    for (const std::vector<double>& neutral :
         std::vector<std::vector<double>>{{0, 0, 0}, {1e300, 1, -5}, {NAN, NAN, NAN}}) {
        script = NoisySensor();
        script.neutral = neutral;
        for (const uint32_t method : {1u, 2u}) EXPECT_TRUE(Load(script, method));
    }
    script = NoisySensor();
    script.camera.colorMatrix2 = std::vector<double>(9, 0.0);
    EXPECT_TRUE(Load(script, 2)) << "a matrix that cannot be inverted";
}

}  // namespace
}  // namespace kestr::test
