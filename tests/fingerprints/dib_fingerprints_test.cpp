#include <gtest/gtest.h>

#include "support/fingerprint.h"
#include "support/test_data.h"

namespace kestr::test {
namespace {

CFingerprintCase Seed(const char* name) {
    return {std::string("load dib/") + name, [name](CHandle& handle) {
                EXPECT_TRUE(handle.Load(FuzzSeed(std::string("dib/") + name)));
            }};
}

CFingerprintCase SavedSeed(const char* name, int32_t typeId) {
    return {std::string("load dib/") + name + ", save as " + std::to_string(typeId),
            [name, typeId](CHandle& handle) {
                const CTemporaryFolder folder;
                EXPECT_TRUE(handle.Load(FuzzSeed(std::string("dib/") + name)));
                EXPECT_TRUE(handle.Save(folder / "saved.bmp", typeId));
                EXPECT_TRUE(handle.Load(folder / "saved.bmp"));
            }};
}

const CFingerprints kCases{
    Seed("plain1.bmp"),
    Seed("plain4.bmp"),
    Seed("plain8_topdown.bmp"),
    Seed("plain16.bmp"),
    Seed("mapped16.bmp"),
    Seed("plain24.bmp"),
    Seed("plain32.bmp"),
    Seed("packed8.bmp"),
    Seed("mapped32_v5.bmp"),
    Seed("packed4.bmp"),
    Seed("os2.bmp"),
    SavedSeed("plain24.bmp", 1),
    SavedSeed("plain24.bmp", 2),
    SavedSeed("plain4.bmp", 0),
    SavedSeed("packed8.bmp", 0),
};

}  // namespace
}  // namespace kestr::test
