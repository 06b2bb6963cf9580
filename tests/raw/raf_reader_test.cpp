#include <cmath>

#include <gmock/gmock.h>

#include "raw/raf_layout.h"
#include "readers/type_ids.h"
#include "support/jpeg_builder.h"
#include "support/maker_raw_builders.h"
#include "support/picture.h"
#include "support/sensor_probe.h"

namespace kestr::test {
namespace {

using testing::HasSubstr;
using Bytes = std::vector<uint8_t>;

// Sizes as the cameras' files have them; those of the used area as the flag leaves them.
struct CCamera {
    const char* model;
    uint32_t fullWidth, fullHeight, usedWidth, usedHeight;
    uint8_t flags;
    uint32_t stride;
    uint32_t left, top, fujiWidth, bufferWidth;
    uint32_t wide, high;  // of the upright picture
};
const CCamera kCameras[] = {
    {"FinePixS2Pro", 2944, 2192, 2880, 2144, 0, 2944, 32, 24, 1440, 3584, 3030, 2036},
    {"FinePix S3Pro", 4352, 1444, 4288, 1440, 0, 4352, 32, 2, 2144, 3584, 3032, 2035},
    {"FinePix S5Pro", 4352, 1444, 4288, 1440, 0, 4352, 32, 2, 2144, 3584, 3032, 2035},
    {"FinePix IS Pro", 4352, 1444, 4288, 1440, 0, 4352, 32, 2, 2144, 3584, 3032, 2035},
    {"FinePix F700", 1472, 2168, 2880, 1084, 0x80, 2944, 16, 0, 1440, 2524, 2036, 1531},
    {"FinePix F710", 1472, 2168, 2880, 1084, 0x80, 2944, 16, 0, 1440, 2524, 2036, 1531},
    {"FinePix S20Pro", 1472, 2168, 2880, 1084, 0x80, 2944, 16, 0, 1440, 2524, 2036, 1531},
    {"FinePix S5000", 1472, 2160, 2848, 1076, 0x80, 1472, 24, 4, 1424, 2500, 2013, 1520},
    {"FinePix E550", 2048, 3080, 4096, 1540, 0x80, 2048, 0, 0, 2048, 3588, 2896, 2176},
    {"FinePix F810", 2048, 3080, 4096, 1540, 0x80, 2048, 0, 0, 2048, 3588, 2896, 2176},
    {"FinePix S7000", 2048, 3080, 4096, 1540, 0x80, 2048, 0, 0, 2048, 3588, 2896, 2176},
};

class RafReader : public testing::Test {
protected:
    static CRAFBuilder Small() {
        CRAFBuilder b;
        b.fullWidth = 64;
        b.fullHeight = 44;
        b.usedWidth = 128;
        b.usedHeight = 22;
        b.Words(64, 44, [](uint32_t y, uint32_t x) { return uint16_t(1000 + 50 * y + x); });
        return b;
    }
    std::unique_ptr<CImageReader> Open(const Bytes& bytes, const CThumbnailRequest& ask = {}) {
        WriteFile(m_path, bytes);
        auto reader = CreateReader(kTypeFuji, true, false, ask);
        m_opened = reader->Open(WidePath(m_path).c_str(), 0);
        EXPECT_EQ(reader->m_errorText, m_opened ? "" : "Not a RAF file.");
        reader->Close();
        return reader;
    }
    CTemporaryFolder m_folder;
    std::filesystem::path m_path = m_folder / "picture.raf";
    bool m_opened = false;
};

// Where each stored value belongs, one by one, from values that another decoder reads.
TEST_F(RafReader, PutsEachValueOnItsDiagonal) {
    for (const auto& [name, flag] : {std::pair{"s5pro", false}, {"s7000", true}}) {
        SCOPED_TRACE(name);
        const Bytes file = ReadFile(FuzzSeed(std::string("raf/") + name + ".raf"));
        const auto stored = ReadPGM(TestData(std::string("raw/") + name + ".raf.pgm"));
        const auto directory = ReadFujiDirectory(std::span(file).subspan(264));
        EXPECT_EQ(directory.layoutFlag, flag);
        EXPECT_THAT(directory.neutral, testing::SizeIs(3));
        const auto layout =
            MakeFujiLayout(*FindFujiModel(flag ? "FinePix S7000" : "FinePix S5Pro"), directory);
        ASSERT_TRUE(layout);
        const int w = flag ? 64 : 28, left = flag ? 0 : 4, top = flag ? 0 : 2;
        ASSERT_EQ(layout->fujiWidth, uint32_t(w));
        ASSERT_EQ(layout->bufferWidth, flag ? 86u : 68u);
        ASSERT_EQ(layout->bufferHeight, flag ? 85u : 67u);
        CRawSensorImage image;
        image.samples = CRawSamples(layout->bufferWidth, layout->bufferHeight, 1);
        ASSERT_TRUE(ReadFujiSamples(std::span(file).subspan(2048), *layout, image, nullptr));
        size_t others = size_t{layout->bufferWidth} * layout->bufferHeight;
        for (int y = 0; y < (flag ? 44 : 40); ++y) {
            for (int x = 0; x < (flag ? 64 : 56); ++x, --others) {
                const int r = flag ? (y >> 1) - x + w - 1 : w - (x >> 1) + y - 1;
                const int c = flag ? ((y + 1) >> 1) + x : ((x + 1) >> 1) + y;
                ASSERT_EQ(*image.samples.Pixel(uint32_t(r), uint32_t(c)),
                          stored.values[size_t(top + y) * stored.width + size_t(left + x)]);
            }
        }
        const uint16_t* first = image.samples.Row(0);
        const auto count = ptrdiff_t(layout->bufferWidth) * layout->bufferHeight;
        EXPECT_GE(std::count(first, first + count, 0), ptrdiff_t(others));
    }
}

TEST_F(RafReader, KnowsTheSizesOfItsCameras) {
    for (const CCamera& camera : kCameras) {
        SCOPED_TRACE(camera.model);
        CRAFBuilder b;
        b.model = camera.model;
        b.fullWidth = camera.fullWidth;
        b.fullHeight = camera.fullHeight;
        b.usedWidth = camera.usedWidth;
        b.usedHeight = camera.usedHeight;
        b.flags = camera.flags;
        b.data.resize(size_t{2} * camera.stride * camera.fullHeight);
        const auto reader = Open(b.File());
        ASSERT_TRUE(m_opened);
        EXPECT_EQ(reader->m_bitmapInfo.Width(), int32_t(camera.wide));
        EXPECT_EQ(reader->m_bitmapInfo.Height(), int32_t(camera.high));
        EXPECT_THAT(reader->m_description, HasSubstr(std::string(camera.model) + " RAW"));
        const CFujiDirectory directory{camera.fullWidth,  camera.fullHeight, camera.usedWidth,
                                       camera.usedHeight, camera.flags != 0, {}};
        const auto layout = MakeFujiLayout(*FindFujiModel(camera.model), directory);
        ASSERT_TRUE(layout);
        EXPECT_EQ(layout->left, camera.left);
        EXPECT_EQ(layout->top, camera.top);
        EXPECT_EQ(layout->rowBytes, 2u * camera.stride);
        EXPECT_EQ(layout->fujiWidth, camera.fujiWidth);
        EXPECT_EQ(layout->bufferWidth, camera.bufferWidth);
        EXPECT_EQ(layout->bufferHeight, camera.bufferWidth - 1);
    }
    // The directory's own numbers serve where only their sums are known.
    for (const char* model :
         {"FinePix E900", "FinePix S9000", "FinePix S9500", "FinePix S9100", "FinePix S9600",
          "FinePix S5200", "FinePix S5600", "FinePix S6000fd", "FinePix S6500fd"}) {
        CRAFBuilder b = Small();
        b.model = model;
        Open(b.File());
        EXPECT_TRUE(m_opened) << model;
        EXPECT_EQ(FindFujiModel(model)->colorMatrix1.size(), 9u);
    }
    for (const char* model : {"FinePix S5100", "FinePix S5500"}) {
        CRAFBuilder b;
        b.model = model;
        b.fullWidth = 2304;
        b.fullHeight = 1740;
        b.flags = 0;
        b.data.resize(size_t{2} * 2304 * 1740);
        const auto reader = Open(b.File());
        ASSERT_TRUE(m_opened);
        EXPECT_EQ(reader->m_bitmapInfo.Width(), 2300);
        EXPECT_EQ(reader->m_bitmapInfo.Height(), 1724);
    }
}

TEST_F(RafReader, RefusesWhatItCannotDevelop) {
    const std::function<void(CRAFBuilder&)> changes[] = {
        [](CRAFBuilder& b) { b.model = "FinePix S100FS"; },
        [](CRAFBuilder& b) { b.model.clear(); },
        [](CRAFBuilder& b) { b.fullWidth = 0; },
        [](CRAFBuilder& b) { b.usedWidth = 130; },
        [](CRAFBuilder& b) { b.usedHeight = 0; },
        [](CRAFBuilder& b) { b.fullHeight = 65535, b.usedHeight = 32767; },
        [](CRAFBuilder& b) { b.data.resize(100); },
    };
    Open(Small().File());
    EXPECT_TRUE(m_opened);
    for (const auto& change : changes) {
        CRAFBuilder b = Small();
        change(b);
        Open(b.File());
        EXPECT_FALSE(m_opened);
    }
    Bytes file = Small().File();
    file[0] = 'f';
    Open(file);
    EXPECT_FALSE(m_opened);
    Open(CTIFFBuilder::Text("FUJIFILMCCD-RAW "));
    EXPECT_FALSE(m_opened);
}

TEST_F(RafReader, ServesThumbnailsFromItsJPEG) {
    CRAFBuilder b = Small();
    Open(b.File(), {true, 48, 48});
    EXPECT_FALSE(m_opened);  // rows of a thumbnail come from there or from nowhere
    CTIFFBuilder exif(true);
    exif.Directory({{274, 3, 1, exif.U16(6)}, {34665, 4, 1, exif.U32(38)}});
    exif.Directory({{34850, 3, 1, exif.U16(2)}});
    b.jpeg = CJPEGBuilder()
                 .Size(96, 72)
                 .Marker(0xE1, exif.Join({CTIFFBuilder::Text({"Exif\0\0", 6}), exif.All()}))
                 .File();
    auto reader = Open(b.File(), {true, 48, 48});
    ASSERT_TRUE(m_opened);
    EXPECT_EQ(reader->m_bitmapInfo.Width(), 48);
    EXPECT_EQ(reader->m_originalWidth, 90u);
    ASSERT_TRUE(reader->m_exif);
    EXPECT_EQ(reader->m_exif->Orientation, 6);
    EXPECT_FALSE(reader->Has16BitData());
    // A picture is always developed.
    reader = Open(b.File());
    EXPECT_TRUE(reader->Has16BitData());
}

/// What the upright picture shows at a place of 0 to 1 down and across: three edges that no turn
/// and no mirror leaves as they are.
bool Bright(double down, double across) {
    return across < 0.7 ? down < 0.55 : down > 0.75;
}

// A picture is laid under each grid, by the place at which the corner of the buffer's diamond lies.
// The card is gray: the planes answer by the neutral.
TEST_F(RafReader, TurnsEachGridUpright) {
    const double s = std::sqrt(0.5);
    for (const auto& [model, flag] : {std::pair{"FinePix S7000", true},
                                      {"FinePix S5Pro", false},
                                      {"FinePixS2Pro", false},
                                      {"FinePix S5100", false}}) {
        SCOPED_TRACE(model);
        const bool square = std::string(model) == "FinePix S5100";
        const bool turned = std::string(model) == "FinePixS2Pro";
        CRAFBuilder b;
        b.model = model;
        b.flags = flag ? 0x80 : 0;
        b.balance = {256, 512, 256, 341};
        const uint32_t width = turned ? 2880 : flag ? 240 : 320, height = turned ? 2144 : 280;
        b.fullWidth = width;
        b.fullHeight = height;
        b.usedWidth = flag ? 2 * width : width;
        b.usedHeight = flag ? height / 2 : height;
        const int w = int(flag ? width : width / 2);
        const int buffer = w + int(flag ? height / 2 : height) - 1;
        const double wide = square ? width : std::trunc(w / s);
        const double high = square ? height : std::trunc((buffer - w) / s);
        const int most = turned ? 1000 : 4000, black = turned ? 128 : 0;
        const bool even = w % 2 == 0;
        b.Words(
            width, height,
            [&](uint32_t stored, uint32_t storedX) {
                const int y = int(stored), x = int(storedX);
                int r = y, c = x, plane = 0;
                double down = y / high, across = x / wide;
                if (square) {
                    plane = r % 2 + c % 2;
                } else {
                    r = flag ? (y >> 1) - x + w - 1 : w - (x >> 1) + y - 1;
                    c = flag ? ((y + 1) >> 1) + x : ((x + 1) >> 1) + y;
                    // G B R G at an even corner, R G G B at an odd one.
                    plane = even ? ((r + c) % 2 == 0 ? 1 : r % 2 == 0 ? 2 : 0) : r % 2 + c % 2;
                    down = (r - w + c - 2) * s / high;
                    across = (c - 2 - (r - w)) * s / wide;
                }
                // Upright it lies a quarter turn clockwise of the sensor.
                const bool bright = turned ? Bright(across, 1 - down) : Bright(down, across);
                const int level = bright ? most : most / 4;
                return uint16_t(black + (plane == 0   ? level / 2
                                         : plane == 1 ? level
                                                      : level * 3 / 4));
            },
            turned);
        WriteFile(m_path, b.File());
        CHandle handle;
        cSetGeneralRawParams(handle, 0, 1);
        cSetRawInterpolationMethod(handle, 0);
        cUseCIECAM02(handle, 0);
        ASSERT_TRUE(handle.Load(m_path)) << handle.ErrorText();
        const auto info = handle.Info();
        ASSERT_EQ(info.width, uint32_t(square ? width - 4 : turned ? high : wide));
        ASSERT_EQ(info.height, uint32_t(square ? height - 16 : turned ? wide : high));
        uint16_t levels[2] = {};
        for (const double down : {0.2, 0.4, 0.6, 0.85}) {
            for (const double across : {0.2, 0.4, 0.6, 0.8}) {
                SCOPED_TRACE(testing::Message() << down << ' ' << across);
                uint16_t red = 0, green = 0, blue = 0;
                cGetPixelColor(handle, int32_t(across * info.width), int32_t(down * info.height),
                               &red, &green, &blue);
                EXPECT_NEAR(red, green, 300);
                EXPECT_NEAR(blue, green, 300);
                uint16_t& level = levels[Bright(down, across)];
                if (level == 0) level = green;
                EXPECT_NEAR(green, level, 300);
            }
        }
        EXPECT_GT(levels[1], levels[0] + 10000);
        if (!turned) ExpectGrayCard(m_path, 300);
    }
}

}  // namespace
}  // namespace kestr::test
