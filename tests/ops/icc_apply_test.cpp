// Conversions between colour profiles, judged by the closed formulas of the profiles.
#include <cmath>
#include <cstdlib>
#include <vector>

#include <gtest/gtest.h>
#include <lcms2.h>

#include "api/handles.h"
#include "color/icc_profile.h"
#include "support/icc_builder.h"
#include "support/loaded_handle.h"
#include "support/picture.h"
#include "support/test_data.h"

namespace kestr {
namespace {

using test::CHandle;
using Bytes = std::vector<uint8_t>;

class IccApply : public testing::Test {
protected:
    CImageBits& Image() { return *FromHandle(static_cast<HKESTRSESSION>(m_handle))->image; }
    void Take(std::unique_ptr<CImageBits> image, const Bytes& profile) {
        image->iccProfile = profile;
        FromHandle(static_cast<HKESTRSESSION>(m_handle))->image = std::move(image);
    }
    int Apply(const Bytes& profile, uint32_t intent = 1) {
        return cApplyICCProfile(m_handle, profile.data(), static_cast<uint32_t>(profile.size()),
                                intent);
    }

    CHandle m_handle;
};

// Between gammas a and b over the same primaries a level v becomes v ^ (a / b).
double Regamma(double value, double from, double to) {
    return std::pow(value, from / to);
}

std::array<uint8_t, 3> Colour(int x, int y) {
    return {static_cast<uint8_t>(15 * x + 30), static_cast<uint8_t>(20 * y + 30),
            static_cast<uint8_t>(250 - 12 * x - y)};
}

TEST_F(IccApply, EachPixelFormat) {
    const double from = 1.8, to = 2.6;
    const auto level = [](int x, int y) { return static_cast<uint8_t>(16 * x + y + 20); };
    const auto sample = [](int x, int y, int channel) {
        return static_cast<uint16_t>(4000 * x + 900 * y + 3000 * channel + 3000);
    };
    struct CCase {
        const char* name;
        std::unique_ptr<CImageBits> image;
        bool gray;
    };
    CCase cases[] = {
        {"8 bits, colour", test::Picture24(13, 5, Colour), false},
        {"8 bits, equal channels",
         test::Picture24(13, 5,
                         [&](int x, int y) {
                             return std::array<uint8_t, 3>{level(x, y), level(x, y), level(x, y)};
                         }),
         false},
        {"8 bits, gray", test::PicturePalette(8, 13, 5, level), true},
        {"16 bits, colour", test::Picture16(3, 13, 5, sample), false},
        {"16 bits, gray", test::Picture16(1, 13, 5, sample), true},
    };
    for (CCase& c : cases) {
        SCOPED_TRACE(c.name);
        const Bytes output = c.gray ? test::GrayProfile(to) : test::RGBProfile(to);
        const auto before = c.image->Copy(true);
        Take(std::move(c.image), c.gray ? test::GrayProfile(from) : test::RGBProfile(from));
        ASSERT_EQ(Apply(output), 1);
        CImageBits& image = Image();
        for (size_t i = 0; i < image.bits16.size(); ++i) {
            EXPECT_NEAR(image.bits16[i], 65535 * Regamma(before->bits16[i] / 65535.0, from, to),
                        80);
        }
        for (int y = 0; y < 5; ++y) {
            for (int x = 0; x < 13; ++x) {
                const auto was = test::ColourOf(*before, x, y);
                const auto is = test::ColourOf(image, x, y);
                for (int k = 0; k < 3; ++k) {
                    if (image.Has16Bit()) {
                        const size_t at = (static_cast<size_t>(y) * 13 + x) * image.Samples16();
                        EXPECT_EQ(is[k], image.bits16[at + (image.Samples16() == 3 ? k : 0)] >> 8);
                    } else {
                        EXPECT_NEAR(is[k], 255 * Regamma(was[k] / 255.0, from, to), 1.01);
                    }
                }
            }
        }
        EXPECT_EQ(image.iccProfile, output);
        EXPECT_DOUBLE_EQ(image.gamma, 1 / 2.2);
    }
}

TEST_F(IccApply, AdobeRGBToItsPrimaries) {
    // Adobe RGB and sRGB share red and blue primaries: a full Adobe red is beyond sRGB's, gray
    // stays.
    const auto adobe = AdobeRGBProfile();
    Take(test::Picture24(2, 1,
                         [](int x, int) {
                             return x == 0 ? std::array<uint8_t, 3>{0, 0, 200}
                                           : std::array<uint8_t, 3>{90, 90, 90};
                         }),
         Bytes(adobe.begin(), adobe.end()));
    ASSERT_EQ(Apply(test::RGBProfile(2.19921875)), 1);
    const auto red = test::ColourOf(Image(), 0, 0);
    const auto gray = test::ColourOf(Image(), 1, 0);
    // Red of Adobe is 1.398 times red of sRGB in linear light (quotient of the two matrices).
    EXPECT_NEAR(red[2], 255 * std::pow(std::pow(200 / 255.0, 2.19921875) * 1.3984, 1 / 2.19921875),
                2);
    for (const uint8_t value : gray) EXPECT_NEAR(value, 90, 1);
}

TEST_F(IccApply, RefusalsLeaveThePicture) {
    const Bytes rgb = test::RGBProfile(1.8), gray = test::GrayProfile(1.8);
    Bytes notOpened(200);  // valid by its table, refused by the engine
    struct CCase {
        const char* name;
        std::unique_ptr<CImageBits> image;
        Bytes source, output;
        uint32_t intent;
    };
    const auto index = [](int x, int) { return static_cast<uint8_t>(x); };
    auto palette = test::PicturePalette(8, 4, 4, index);
    palette->bitmapInfo.Palette()[1] = {1, 2, 3, 0};
    CCase cases[] = {
        {"intent 4", test::Picture24(4, 4, Colour), rgb, rgb, 4},
        {"colour palette", std::move(palette), rgb, rgb, 0},
        {"16 colours", test::PicturePalette(4, 4, 4, index), gray, gray, 0},
        {"no profile", test::Picture24(4, 4, Colour), {}, rgb, 0},
        {"corrupt output", test::Picture24(4, 4, Colour), rgb, Bytes(131), 0},
        {"output not opened", test::Picture24(4, 4, Colour), rgb, notOpened, 0},
        {"source not opened", test::Picture24(4, 4, Colour), notOpened, rgb, 0},
        {"gray output for colour", test::Picture24(4, 4, Colour), rgb, gray, 0},
        {"colour profiles for 16-bit gray",
         test::Picture16(1, 4, 4, [](int, int, int) { return uint16_t{7}; }), rgb, rgb, 0},
    };
    cEnableAutoUndoRedo(m_handle, 1);
    for (CCase& c : cases) {
        SCOPED_TRACE(c.name);
        const auto before = c.image->Copy(true);
        before->iccProfile = c.source;
        Take(std::move(c.image), c.source);
        EXPECT_EQ(Apply(c.output, c.intent), 0);
        EXPECT_EQ(Image().errorText, "");
        EXPECT_EQ(Image().bits, before->bits);
        EXPECT_EQ(Image().bits16, before->bits16);
        EXPECT_EQ(Image().iccProfile, before->iccProfile);
        EXPECT_EQ(cUndoStackDepth(m_handle), 0u);
    }
    EXPECT_EQ(cApplyICCProfile(m_handle, nullptr, 500, 0), 0);
    EXPECT_EQ(cApplyICCProfile(nullptr, rgb.data(), 500, 0), 0);
}

int32_t KESTR_CALL Note(uintptr_t user, int32_t percent) {
    reinterpret_cast<std::vector<int32_t>*>(user)->push_back(percent);
    return 0;
}

// The host's own handler of Little CMS hears of nothing that goes wrong in here, and stays set.
TEST_F(IccApply, FailuresStayOutOfTheHostsHandler) {
    static int heard = 0;
    cmsSetLogErrorHandler([](cmsContext, cmsUInt32Number, const char*) { ++heard; });
    Take(test::Picture24(4, 4, Colour), {});
    Bytes broken = test::RGBProfile(2.2);
    std::fill(broken.begin() + 128 + 4, broken.end(), uint8_t{0xFF});
    for (const size_t size : {broken.size(), size_t{200}, size_t{128}}) {
        EXPECT_EQ(Apply(Bytes(broken.begin(), broken.begin() + static_cast<ptrdiff_t>(size))), 0);
    }
    EXPECT_EQ(Apply(test::GrayProfile(2.2)), 0) << "no gray profile fits a picture in colour";
    EXPECT_EQ(heard, 0);
    cmsOpenProfileFromMem(broken.data(), 4);
    EXPECT_EQ(heard, 1) << "the host's own slip is told to it";
    cmsSetLogErrorHandler(nullptr);
}

TEST_F(IccApply, ProgressAndUndo) {
    const Bytes output = test::RGBProfile(2.6);
    Take(test::Picture24(3, 8, Colour), test::RGBProfile(1.8));
    const auto before = Image().Copy(true);
    cEnableAutoUndoRedo(m_handle, 1);
    std::vector<int32_t> percents;
    ASSERT_EQ(cApplyICCProfileEx(m_handle, output.data(), static_cast<uint32_t>(output.size()), 0,
                                 &Note, reinterpret_cast<uintptr_t>(&percents)),
              1);
    EXPECT_EQ(percents, (std::vector<int32_t>{0, 12, 25, 37, 50, 62, 75, 87}));
    EXPECT_NE(Image().bits, before->bits);
    EXPECT_EQ(cPopUndo(m_handle), 1);
    EXPECT_EQ(Image().bits, before->bits);
    EXPECT_EQ(Image().iccProfile, output);  // not part of a snapshot
    // Without a display gamma the image keeps its profile.
    Image().displayGamma = 0;
    Image().iccProfile = test::RGBProfile(1.8);
    ASSERT_EQ(Apply(output), 1);
    EXPECT_NE(Image().iccProfile, output);
}

TEST_F(IccApply, ProfilesOfTheImage) {
    const Bytes profile = test::NamedProfile("Its name");
    SAFEARRAY* bytes = nullptr;
    EXPECT_EQ(cGetImageICCProfile(m_handle, &bytes), 0);  // nothing is loaded
    Take(test::Picture24(3, 3, Colour), {});
    EXPECT_EQ(cImageHasICCProfile(m_handle), 0);
    EXPECT_EQ(cGetImageICCProfile(m_handle, &bytes), 1);
    EXPECT_EQ(bytes, nullptr);
    const auto size = static_cast<uint32_t>(profile.size());
    EXPECT_EQ(cLoadICCProfile(m_handle, profile.data(), size), 1);
    EXPECT_EQ(cLoadICCProfile(m_handle, profile.data(), 131), 0);
    EXPECT_EQ(Image().errorText, "Corrupt ICC profile.");
    EXPECT_EQ(cImageHasICCProfile(m_handle), 1);
    ASSERT_EQ(cGetImageICCProfile(m_handle, &bytes), 1);
    ASSERT_NE(bytes, nullptr);
    EXPECT_EQ(test::TakeBytes(bytes), profile);
    EXPECT_EQ(cLoadICCProfile(m_handle, nullptr, 0), 1);
    EXPECT_EQ(cImageHasICCProfile(m_handle), 0);

    BSTR name = nullptr;
    EXPECT_EQ(cGetICCProfileName(profile.data(), size, &name), 1);
    EXPECT_EQ(test::TakeText(name), "Its name");
    EXPECT_EQ(cGetICCProfileName("garbage", 7, &name), 0);
    EXPECT_EQ(name, nullptr);
}

}  // namespace
}  // namespace kestr
