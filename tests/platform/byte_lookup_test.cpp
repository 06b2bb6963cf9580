#include "platform/byte_lookup.h"

#include <random>
#include <vector>

#include <gtest/gtest.h>

#include "platform/wide_vectors.h"

namespace kestr {
namespace {

// Every byte value with both forms of the code, at lengths around those of a vector.
TEST(ByteLookup, AgreesWithTheTables) {
    std::mt19937 random(7);
    std::array<std::array<uint8_t, 256>, 3> tables{};
    for (auto& table : tables) {
        for (uint8_t& entry : table) entry = static_cast<uint8_t>(random());
    }
    const bool machineHas256 = hasAVX2;
    const bool machineHas512 = hasAVX512;
    for (const int wide : {0, 1, 2}) {
        hasAVX2 = machineHas256 && wide >= 1;
        hasAVX512 = machineHas512 && wide == 2;
        for (const size_t count : {0u, 1u, 255u, 256u, 300u, 1000u}) {
            std::vector<uint8_t> bytes(3 * count + 1);
            for (uint8_t& byte : bytes) byte = static_cast<uint8_t>(random());
            std::vector<uint8_t> wanted = bytes;
            for (size_t i = 0; i < 3 * count; ++i) wanted[i] = tables[0][bytes[i]];
            std::vector<uint8_t> found = bytes;
            LookUpBytes(found.data(), 3 * count, tables[0].data());
            EXPECT_EQ(found, wanted) << count << wide;
            for (size_t i = 0; i < 3 * count; ++i) wanted[i] = tables[i % 3][bytes[i]];
            LookUpTriples(bytes.data(), count,
                          {tables[0].data(), tables[1].data(), tables[2].data()});
            EXPECT_EQ(bytes, wanted) << count << wide;
        }
    }
    hasAVX2 = machineHas256;
    hasAVX512 = machineHas512;
}

}  // namespace
}  // namespace kestr
