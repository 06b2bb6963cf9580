#include "base/luminance_row.h"

#include <algorithm>
#include <random>
#include <vector>

#include <gtest/gtest.h>

#include "platform/wide_vectors.h"

namespace kestr {
namespace {

// Each share is rounded by itself, halves up; levels of the sum are rounded down, or to the
// nearest.
int Share(int level, int hundredths) {
    return (level * hundredths * 256 + 50) / 100;
}

TEST(LuminanceOfRow, AgreesWithTheRuleInAllForms) {
    std::mt19937 random(11);
    const bool has256 = hasAVX2;
    const bool has512 = hasAVX512;
    for (const int wide : {0, 1, 2}) {
        hasAVX2 = has256 && wide >= 1;
        hasAVX512 = has512 && wide == 2;
        for (const size_t count : {0u, 1u, 31u, 64u, 1023u, 1024u, 3000u}) {
            std::vector<uint8_t> pixels(3 * count);
            for (uint8_t& byte : pixels) byte = static_cast<uint8_t>(random());
            std::vector<uint8_t> down(count);
            std::vector<uint8_t> nearest(count);
            LuminanceOfRow(pixels.data(), count, down.data());
            RoundedLuminanceOfRow(pixels.data(), count, nearest.data());
            for (size_t i = 0; i < count; ++i) {
                const uint8_t* const pixel = pixels.data() + 3 * i;
                const int sum = Share(pixel[0], 11) + Share(pixel[1], 59) + Share(pixel[2], 30);
                ASSERT_EQ(down[i], sum / 256) << wide << " " << i;
                ASSERT_EQ(nearest[i], std::min(255, (sum + 127) / 256)) << wide << " " << i;
            }
        }
    }
    hasAVX2 = has256;
    hasAVX512 = has512;
}

}  // namespace
}  // namespace kestr
