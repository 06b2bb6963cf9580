#include "color/icc_profile.h"

#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <lcms2.h>

#include "color/lcms_handles.h"
#include "support/icc_builder.h"

namespace kestr {
namespace {

using test::CICCBuilder;

TEST(IccProfileTest, TagTableMustLieInside) {
    struct CCase {
        const char* name;
        std::vector<uint8_t> bytes;
        bool valid;
    };
    const uint32_t oneTagEnd = 132 + 12;
    const CCase cases[] = {
        {"131 bytes", CICCBuilder().Bytes(131), false},
        {"132 bytes without a tag", CICCBuilder().Bytes(132), true},
        {"a tag at the end of the table", CICCBuilder().Tag(oneTagEnd, 0).Bytes(oneTagEnd), true},
        {"a tag in the table", CICCBuilder().Tag(oneTagEnd - 1, 0).Bytes(oneTagEnd), false},
        {"a tag up to the last byte", CICCBuilder().Tag(oneTagEnd, 16).Bytes(160), true},
        {"a tag beyond the last byte", CICCBuilder().Tag(oneTagEnd, 17).Bytes(160), false},
        {"a tag that starts at the last byte", CICCBuilder().Tag(160, 0).Bytes(160), true},
        {"a tag that starts beyond", CICCBuilder().Tag(161, 0).Bytes(160), false},
        {"offset and size that wrap", CICCBuilder().Tag(150, 0xFFFFFFFF).Bytes(160), false},
        {"a count beyond the data", CICCBuilder().StatedTags(3).Tag(oneTagEnd, 0).Bytes(160),
         false},
        {"a count that wraps in 32 bits", CICCBuilder().StatedTags(0x55555555).Bytes(160), false},
    };
    for (const CCase& c : cases) {
        SCOPED_TRACE(c.name);
        EXPECT_EQ(IsValidICCProfile(c.bytes), c.valid);
    }
    EXPECT_FALSE(IsValidICCProfile({}));
}

TEST(IccProfileTest, NameIsModelAndMakerOrElseTheDescription) {
    struct CCase {
        const char *model, *maker, *description;
        const char* name;
    };
    // The rows with the long model and with the common start are how the names of displays came
    // out of the first generation of the colour engine.
    constexpr CCase kCases[] = {
        {"", "", "Plain RGB", "Plain RGB"},
        {"Screen 5", "Maker", "unused", "Screen 5 - Maker"},
        {"Screen 5", "", "unused", "Screen 5"},
        {"", "Maker", "unused", " - Maker"},
        {"Maker 12 Screen", "Maker 12 Inc.", "unused", "Maker 12 Screen"},
        {"A model of more than thirty letters", "Maker", "unused",
         "A model of more than thirty letters"},
    };
    for (const CCase& c : kCases) {
        SCOPED_TRACE(c.name);
        EXPECT_EQ(ICCProfileName(test::NamedProfile(c.description, c.model, c.maker)), c.name);
    }
    EXPECT_EQ(ICCProfileName(std::vector<uint8_t>(300, 0x41)), "");
}

// Annex of "Adobe RGB (1998) Color Image Encoding": the profile's colorants and white, in 1/65536.
TEST(IccProfileTest, AdobeRGBHoldsThePublishedNumbers) {
    const auto bytes = AdobeRGBProfile();
    ASSERT_EQ(bytes.size(), 560u);
    EXPECT_TRUE(IsValidICCProfile(bytes));
    EXPECT_EQ(ICCProfileName(bytes), "Adobe RGB (1998)");
    const CColorContext context = MakeColorContext();
    const CColorProfile profile = OpenColorProfile(context, bytes);
    ASSERT_TRUE(profile);
    EXPECT_EQ(cmsGetColorSpace(profile.get()), cmsSigRgbData);
    EXPECT_EQ(cmsGetPCS(profile.get()), cmsSigXYZData);
    EXPECT_EQ(cmsGetDeviceClass(profile.get()), cmsSigDisplayClass);
    EXPECT_EQ(cmsGetTagCount(profile.get()), 10);
    const struct {
        cmsTagSignature tag;
        int x, y, z;
    } kXYZ[] = {
        {cmsSigMediaWhitePointTag, 0xF351, 0x10000, 0x116CC},
        {cmsSigMediaBlackPointTag, 0, 0, 0},
        {cmsSigRedColorantTag, 0x9C18, 0x4FA5, 0x04FC},
        {cmsSigGreenColorantTag, 0x348D, 0xA02C, 0x0F95},
        {cmsSigBlueColorantTag, 0x2631, 0x102F, 0xBE9C},
    };
    for (const auto& row : kXYZ) {
        const auto* xyz = static_cast<const cmsCIEXYZ*>(cmsReadTag(profile.get(), row.tag));
        ASSERT_NE(xyz, nullptr);
        EXPECT_EQ(xyz->X * 65536, row.x);
        EXPECT_EQ(xyz->Y * 65536, row.y);
        EXPECT_EQ(xyz->Z * 65536, row.z);
    }
    for (const auto tag : {cmsSigRedTRCTag, cmsSigGreenTRCTag, cmsSigBlueTRCTag}) {
        const auto* curve = static_cast<const cmsToneCurve*>(cmsReadTag(profile.get(), tag));
        ASSERT_NE(curve, nullptr);
        EXPECT_NEAR(cmsEstimateGamma(curve, 0.001), 2.19921875, 1e-3);
    }
}

}  // namespace
}  // namespace kestr
