#include "base/channel_order.h"

#include <vector>

#include <gtest/gtest.h>

namespace kestr::test {
namespace {

TEST(ChannelOrderTest, SwapsEveryLengthInPlaceAndAcross) {
    for (size_t pixels = 0; pixels < 70; ++pixels) {
        std::vector<uint8_t> source(3 * pixels + 1);
        for (size_t i = 0; i < source.size(); ++i) source[i] = static_cast<uint8_t>(7 * i + 1);
        std::vector<uint8_t> expected = source;
        for (size_t i = 0; i < pixels; ++i) std::swap(expected[3 * i], expected[3 * i + 2]);
        std::vector<uint8_t> across = source;  // the byte behind the pixels stays
        SwapRedBlue(source.data(), across.data(), pixels);
        EXPECT_EQ(across, expected) << pixels;
        SwapRedBlue(source.data(), source.data(), pixels);
        EXPECT_EQ(source, expected) << pixels;
    }
}

}  // namespace
}  // namespace kestr::test
