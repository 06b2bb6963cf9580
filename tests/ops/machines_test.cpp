// Machines with and without wide vectors run other code: the pictures must be the same.

#include <array>
#include <functional>

#include <gtest/gtest.h>

#include "platform/wide_vectors.h"
#include "support/picture.h"

namespace kestr::test {
namespace {

struct COperationRow {
    const char* name;
    std::function<void(CImageBits&)> run;
};

const COperationRow kOperations[] = {
    {"hue", [](CImageBits& image) { image.OpHSVAdjust(37, -20, 15, 0); }},
    {"hue beyond the circle", [](CImageBits& image) { image.OpHSVAdjust(-777, 300, -3, 0); }},
    {"brightness", [](CImageBits& image) { image.OpBrighter(40, 0); }},
    {"contrast", [](CImageBits& image) { image.OpContrast(60, 0); }},
    {"gray", [](CImageBits& image) { image.OpGrayScale(0); }},
    {"gamma", [](CImageBits& image) { image.OpGammaTable(1.7, 1, 0); }},
    {"turn right", [](CImageBits& image) { image.TurnQuarters(90); }},
    {"turn left", [](CImageBits& image) { image.TurnQuarters(270); }},
    {"sharpen", [](CImageBits& image) { image.OpSharpen(80, 0); }},
    {"convolve",
     [](CImageBits& image) {
         std::array<int16_t, 25> matrix;
         for (size_t i = 0; i < matrix.size(); ++i) matrix[i] = static_cast<int16_t>(13 * i % 9);
         matrix[7] = -300;
         image.OpConvolveEx(5, 5, matrix.data(), 1, 2, 3, 0);
     }},
    {"median", [](CImageBits& image) { image.OpMedianFilter(2, 0); }},
    {"noise", [](CImageBits& image) { image.OpReduceNoise(2, 0); }},
    {"oil", [](CImageBits& image) { image.OilPaint24(3, 0); }},
    {"neon", [](CImageBits& image) { image.OpNeon(0); }},
    {"smaller", [](CImageBits& image) { image.OpResizeExL(23, 17, 6, false, 0); }},
    {"larger", [](CImageBits& image) { image.OpResizeExL(150, 111, 5, false, 0); }},
};

class MachinesTest : public testing::Test {
protected:
    ~MachinesTest() override { Use(m_has); }

    struct CVectors {
        bool avx2, avx512;
    };
    static void Use(const CVectors& vectors) {
        hasAVX2 = vectors.avx2;
        hasAVX512 = vectors.avx512;
    }

    const CVectors m_has{hasAVX2, hasAVX512};
};

TEST_F(MachinesTest, AllMakeTheSamePicture) {
    if (!m_has.avx2) GTEST_SKIP() << "this machine has one kind of vectors only";
    CNoise noise(5);
    const auto colour = Picture24(71, 53, [&](int, int) {
        return std::array<uint8_t, 3>{noise.Byte(), noise.Byte(), noise.Byte()};
    });
    const auto deep = Picture16(3, 71, 53, [&](int, int, int) { return noise.Word(); });
    const auto gray = Picture16(1, 71, 53, [&](int, int, int) { return noise.Word(); });
    for (const COperationRow& row : kOperations) {
        for (const CImageBits* picture : {colour.get(), deep.get(), gray.get()}) {
            SCOPED_TRACE(testing::Message() << row.name << ", bits " << picture->bits16.size());
            const auto narrow = picture->Copy(false);
            Use({false, false});
            row.run(*narrow);
            for (const bool widest : {false, m_has.avx512}) {
                const auto wide = picture->Copy(false);
                Use({true, widest});
                row.run(*wide);
                EXPECT_TRUE(wide->bits == narrow->bits) << widest;
                EXPECT_TRUE(wide->bits16 == narrow->bits16) << widest;
            }
        }
    }
}

}  // namespace
}  // namespace kestr::test
