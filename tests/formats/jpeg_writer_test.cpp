// What the JPEG writer puts into a file, judged by libjpeg's decoder and by a walk over the
// markers.
#include <cstdlib>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "api/handles.h"
#include "support/icc_builder.h"
#include "support/jpeg_builder.h"
#include "support/loaded_handle.h"
#include "support/picture.h"
#include "support/test_data.h"

namespace kestr {
namespace {

using std::string_literals::operator""s;
using test::CHandle;
using Bytes = std::vector<uint8_t>;

class JpegWriter : public testing::Test {
protected:
    void Take(std::unique_ptr<CImageBits> image) { Session().image = std::move(image); }
    CDLLSession& Session() { return *FromHandle(static_cast<HKESTRSESSION>(m_handle)); }
    CImageBits& Image() { return *Session().image; }

    Bytes Saved(int32_t typeId = 4) {
        EXPECT_TRUE(m_handle.Save(m_folder / "out.jpg", typeId)) << Image().errorText;
        return test::ReadFile(m_folder / "out.jpg");
    }
    // The markers with these second bytes, in the order of the file.
    static std::vector<std::string> Data(const Bytes& file, int marker) {
        std::vector<std::string> found;
        for (const auto& m : test::MarkersOf(file)) {
            if (m.marker == marker) found.emplace_back(m.data.begin(), m.data.end());
        }
        return found;
    }

    CHandle m_handle;
    test::CTemporaryFolder m_folder;
};

std::array<uint8_t, 3> SoftColour(int x, int y) {
    return {static_cast<uint8_t>(4 * x), static_cast<uint8_t>(5 * y),
            static_cast<uint8_t>(200 - 2 * x - y)};
}

TEST_F(JpegWriter, PixelsComeBackNearly) {
    const auto index = [](int x, int y) { return static_cast<uint8_t>((x / 16 + y / 16) & 1); };
    const auto level = [](int x, int y) { return static_cast<uint8_t>(2 * x + y); };
    struct CCase {
        const char* name;
        std::unique_ptr<CImageBits> image;
        int channels;
    };
    CCase cases[] = {
        {"colour", test::Picture24(49, 37, SoftColour), 3},
        {"colour that is gray",
         test::Picture24(49, 37,
                         [&](int x, int y) {
                             return std::array<uint8_t, 3>{level(x, y), level(x, y), level(x, y)};
                         }),
         1},
        {"gray", test::PicturePalette(8, 49, 37, level), 1},
        {"palette of 256", test::PicturePalette(8, 49, 37, level), 3},
        {"palette of 16", test::PicturePalette(4, 49, 37, index), 1},
        {"black and white", test::PicturePalette(1, 49, 37, index), 1},
    };
    for (int i = 0; i < 256; ++i) {  // colours: a ramp from blue to yellow
        const auto value = static_cast<uint8_t>(i);
        cases[3].image->bitmapInfo.Palette()[i] = {static_cast<uint8_t>(255 - i), value, value, 0};
    }
    for (CCase& c : cases) {
        for (const int32_t typeId : {4, 5}) {
            SCOPED_TRACE(c.name + std::to_string(typeId));
            Take(c.image->Copy(true));
            cSetJPEGParams(m_handle, 95, 0.1, 1, 0);
            const auto plain = test::DecodePlainly(Saved(typeId));
            ASSERT_EQ(plain.channels, c.channels);
            ASSERT_EQ(plain.width, 49);
            ASSERT_EQ(plain.height, 37);
            double error = 0;
            for (int y = 0; y < 37; ++y) {
                for (int x = 0; x < 49; ++x) {
                    const auto colour = test::ColourOf(*c.image, x, y);
                    for (int k = 0; k < c.channels; ++k) {
                        error +=
                            std::abs(plain.samples[(y * 49 + x) * c.channels + k] - colour[2 - k]);
                    }
                }
            }
            EXPECT_LT(error / (49 * 37 * c.channels), 3.0);
        }
    }
}

TEST_F(JpegWriter, FrameSaysWhatWasAsked) {
    Take(test::Picture24(40, 40, SoftColour));
    const auto frame = Data(Saved(4), 0xC0);
    ASSERT_EQ(frame.size(), 1u);
    EXPECT_EQ(frame[0], "\x08\0\x28\0\x28\3\1\x22\0\2\x11\1\3\x11\1"s);  // 4:2:0
    EXPECT_EQ(Data(Saved(5), 0xC2).size(), 1u);
    EXPECT_EQ(Data(Saved(4), 0xE0)[0], "JFIF\0\1\1\1\x01\x2C\x01\x2C\0\0"s);  // 300 x 300
    ASSERT_EQ(cSetPhysicalPixelsPerInch(m_handle, 72, 96), 1);
    EXPECT_EQ(Data(Saved(4), 0xE0)[0], "JFIF\0\1\1\1\0\x48\0\x60\0\0"s);
    cSetJPEGParams(m_handle, 50, 0.1, 1, 0);  // ITU-T T.81, table K.1 as it stands
    EXPECT_EQ(Data(Saved(), 0xDB)[0].substr(0, 9), "\0\x10\x0B\x0C\x0E\x0C\x0A\x10\x0E"s);
}

TEST_F(JpegWriter, MarkersInTheirOrder) {
    Take(test::Picture24(8, 8, SoftColour));
    const Bytes profile = test::NamedProfile("Saved");
    CImageBits& image = Image();
    image.cameraText = Bytes{5, 'H', 'P'};
    image.comment = "Words";
    image.exif = std::make_unique<CEXIF_Members>();
    image.exif->Make = TextToWide("Maker");
    image.xmpData = Bytes{'x', 'm', 'p'};
    image.iccProfile = profile;
    image.iptc.Headline = "News";
    const Bytes file = Saved();
    std::string order;
    for (const auto& marker : test::MarkersOf(file)) {
        if (marker.marker < 0xE0) break;
        order += static_cast<char>(marker.marker);
    }
    EXPECT_EQ(order, "\xE0\xE0\xFE\xE1\xE1\xE2\xED");
    EXPECT_EQ(Data(file, 0xE0)[1], "HP");
    EXPECT_EQ(Data(file, 0xFE)[0], "Words");
    EXPECT_EQ(Data(file, 0xE1)[0].substr(0, 6), "Exif\0\0"s);
    EXPECT_EQ(Data(file, 0xE1)[1], "http://ns.adobe.com/xap/1.0/\0xmp"s);
    EXPECT_EQ(Data(file, 0xE2)[0],
              "ICC_PROFILE\0\1\1"s + std::string(profile.begin(), profile.end()));
    EXPECT_EQ(Data(file, 0xED)[0],
              "Photoshop 3.0\0"
              "8BIM\4\4\0\0\0\0\0\x10"
              "\x1C\2\0\0\2\0\4"
              "\x1C\2\x69\0\4News"s);
    cSaveICCProfileEnabled(m_handle, 0);
    EXPECT_TRUE(Data(Saved(), 0xE2).empty());
    EXPECT_EQ(cImageHasICCProfile(m_handle), 1);
}

TEST_F(JpegWriter, ABlockOfAPP12NeedsTheAbsenceOfExif) {
    Take(test::Picture24(8, 8, SoftColour));
    Image().cameraText = Bytes{1, 'o', 'l', 'd', 0};
    EXPECT_EQ(Data(Saved(), 0xEC), std::vector<std::string>{"old"});
    Image().exif = std::make_unique<CEXIF_Members>();
    Image().exif->Make = TextToWide("Maker");
    EXPECT_TRUE(Data(Saved(), 0xEC).empty());
}

TEST_F(JpegWriter, LimitsOfMarkers) {
    Take(test::Picture24(8, 8, SoftColour));
    CImageBits& image = Image();
    image.xmpData.assign(65502, 'x');
    EXPECT_EQ(Data(Saved(), 0xE1).size(), 1u);
    image.xmpData.assign(65503, 'x');
    EXPECT_TRUE(Data(Saved(), 0xE1).empty());

    image.iccProfile.assign(65519 * 2 + 1, 7);
    const auto pieces = Data(Saved(), 0xE2);
    ASSERT_EQ(pieces.size(), 3u);
    EXPECT_EQ(pieces[1].size(), 65533u);
    EXPECT_EQ(pieces[2], "ICC_PROFILE\0\3\3\7"s);
    image.iccProfile.assign(size_t{65519} * 255 + 1, 7);
    EXPECT_TRUE(Data(Saved(), 0xE2).empty());

    image.iptc = {};
    EXPECT_TRUE(Data(Saved(), 0xED).empty());
    image.iptc.Caption = std::string(70000, 'c');
    EXPECT_TRUE(Data(Saved(), 0xED).empty());

    // A long comment goes into two markers, parted at a line end, and comes back whole.
    std::string longText;
    for (int i = 0; longText.size() < 80000; ++i) {
        longText += (i ? "\r\nline " : "line ") + std::to_string(i);
    }
    image.comment = longText;
    EXPECT_EQ(Data(Saved(), 0xFE).size(), 2u);
    CHandle again;
    ASSERT_TRUE(again.Load(m_folder / "out.jpg"));
    EXPECT_EQ(FromHandle(static_cast<HKESTRSESSION>(again))->image->comment, longText);
}

TEST_F(JpegWriter, Failures) {
    Take(test::Picture24(8, 8, SoftColour));
    EXPECT_FALSE(m_handle.Save(m_folder / "missing" / "out.jpg", 4));
    EXPECT_EQ(Image().errorText, ".");
    Take(test::Picture24(65501, 1, SoftColour));  // one more than the library takes
    EXPECT_FALSE(m_handle.Save(m_folder / "out.jpg", 4));
    EXPECT_EQ(Image().errorText, "JPEG file processing error.");
}

}  // namespace
}  // namespace kestr
