// Questions to files: every output of each, and what a file that has nothing gives.
#include <gmock/gmock.h>

#include "support/icc_builder.h"
#include "support/jpeg_builder.h"
#include "support/loaded_handle.h"
#include "support/test_data.h"
#include "support/tiff_builder.h"

namespace kestr::test {
namespace {

using Bytes = std::vector<uint8_t>;
using namespace std::string_literals;

Bytes operator+(const std::string& name, const Bytes& data) {
    Bytes all(name.begin(), name.end());
    all.insert(all.end(), data.begin(), data.end());
    return all;
}

// A dataset of record 2 with a short text.
std::string Dataset(uint8_t number, const std::string& text) {
    return "\x1C\x02"s + static_cast<char>(number) + '\0' + static_cast<char>(text.size()) + text;
}
// The marker content of an IPTC block of even length.
std::string IptcMarker(const std::string& block) {
    return "Photoshop 3.0\0"
           "8BIM\x04\x04\0\0\0\0\0"s +
           static_cast<char>(block.size()) + block;
}

const std::string kXmp = "<x:xmpmeta>no packet is looked into</x:xmpmeta>";

class FileQueryTest : public testing::Test {
protected:
    std::string Put(const CJPEGBuilder& file) {
        WriteFile(m_folder / "a.jpg", file.File());
        return (m_folder / "a.jpg").string();
    }
    /// Whether the records of a file come out.
    std::pair<bool, bool> Records(const std::string& path) {
        CEXIF_Members* exif = nullptr;
        CIPTC_Members* iptc = nullptr;
        int root = 0;
        void* tree = &root;
        EXPECT_EQ(cGetImageFileMetadataEx(path.c_str(), 0, 0, &exif, &iptc, &tree), 1);
        EXPECT_EQ(tree, nullptr);
        const std::pair<bool, bool> found{exif != nullptr, iptc != nullptr};
        cDestroyEXIF(exif);
        cDestroyIPTC(iptc);
        return found;
    }

    CTemporaryFolder m_folder;
};

TEST_F(FileQueryTest, InfoGivesEveryOutput) {
    const std::string path = Put(CJPEGBuilder()
                                     .Size(50, 35)
                                     .Marker(0xE1, ExifOrientation(6))
                                     .Marker(0xED, IptcMarker(Dataset(105, "Head") + "\0"s))
                                     .Marker(0xFE, "A comment"));
    int32_t typeId = 0;
    uint32_t width = 0, height = 0, pages = 0;
    uint8_t bits = 0;
    uint16_t mcuWidth = 0, mcuHeight = 0;
    BSTR description = nullptr, comment = nullptr, info = nullptr, date = nullptr, error = nullptr;
    CEXIF_Members* exif = nullptr;
    CIPTC_Members* iptc = nullptr;
    ASSERT_EQ(cGetImageFileInfoEx(path.c_str(), 0, 0, &typeId, &width, &height, &bits, &pages,
                                  &description, &comment, &info, &date, &exif, &iptc, &mcuWidth,
                                  &mcuHeight, &error),
              1);
    EXPECT_EQ(typeId, 4);
    EXPECT_EQ(width, 50u);
    EXPECT_EQ(height, 35u);
    EXPECT_EQ(bits, 24);
    EXPECT_EQ(pages, 1u);
    EXPECT_EQ(mcuWidth, 16) << "two samples of 8 across";
    EXPECT_EQ(mcuHeight, 16);
    EXPECT_THAT(TakeText(description), testing::StartsWith("Format: JPEG"));
    EXPECT_EQ(TakeText(comment), "A comment");
    EXPECT_THAT(TakeText(info), testing::HasSubstr("Orientation:\tRotated -90 (6)\r\n"));
    EXPECT_EQ(date, nullptr) << "the record has none of the three dates";
    EXPECT_EQ(error, nullptr);
    uint16_t orientation = 0;
    EXPECT_EQ(cEXIF_GetOrientation(exif, &orientation), 1);
    EXPECT_EQ(orientation, 6);
    const KESTR_CHAR separator[] = {'=', 0}, lineEnd[] = {';', 0};
    BSTR text = nullptr;
    EXPECT_EQ(cIPTC_GetAsString(iptc, separator, lineEnd, &text), 1);
    EXPECT_EQ(TakeText(text), "Headline=Head;");
    cDestroyEXIF(exif);
    cDestroyIPTC(iptc);
}

TEST_F(FileQueryTest, SixteenBitSamplesDoubleTheBits) {
    for (const uint32_t depth : {8u, 16u}) {
        for (const uint32_t channels : {1u, 3u}) {
            // One pixel of zeros, whose bytes stand behind the header.
            CTIFFBuilder file(false, 16);
            file.Add(Bytes(8));
            const auto number = [&](uint32_t tag, uint32_t value) {
                return CTIFFBuilder::CEntry{tag, 3, 1, file.U16(value)};
            };
            // The depths of three channels stand behind the directory of ten entries.
            CTIFFBuilder::CEntry bits = number(258, depth);
            if (channels == 3) bits = {258, 3, 3, file.U32(16 + 2 + 10 * 12 + 4)};
            file.Directory({number(256, 1), number(257, 1), bits, number(259, 1),
                            number(262, channels == 1 ? 1 : 2), number(273, 8),
                            number(277, channels), number(278, 1),
                            number(279, channels * depth / 8), number(284, 1)});
            for (int i = 0; i < 3; ++i) file.Add(file.U16(depth));
            WriteFile(m_folder / "a.tif", file.All());
            uint8_t told = 0;
            ASSERT_EQ(cGetImageFileInfo((m_folder / "a.tif").string().c_str(), 0, nullptr, nullptr,
                                        nullptr, &told, nullptr, nullptr, nullptr, nullptr, nullptr,
                                        nullptr, nullptr, nullptr),
                      1);
            EXPECT_EQ(told, depth * channels);
        }
    }
}

TEST_F(FileQueryTest, RecordsThatSayNextToNothingAreNone) {
    EXPECT_EQ(Records(Put(CJPEGBuilder())), std::pair(false, false));
    const std::string version = Dataset(0, "\0\4"s) + '\0';
    EXPECT_EQ(Records(Put(CJPEGBuilder().Marker(0xED, IptcMarker(version)))),
              std::pair(false, false));
    EXPECT_EQ(Records(Put(CJPEGBuilder()
                              .Marker(0xE1, ExifOrientation(1))
                              .Marker(0xED, IptcMarker(Dataset(90, "Ulm"))))),
              std::pair(true, true));
}

TEST_F(FileQueryTest, PacketAndProfileComeByteForByte) {
    const std::string bare = Put(CJPEGBuilder());
    SAFEARRAY* bytes = nullptr;
    BSTR name = nullptr, error = nullptr;
    EXPECT_EQ(cGetImageFileXmp(bare.c_str(), &bytes, &error), 1);
    ASSERT_NE(bytes, nullptr) << "an empty array, and no null";
    EXPECT_EQ(TakeBytes(bytes), Bytes());
    EXPECT_EQ(cGetImageICCProfile_Info(bare.c_str(), &name, &bytes, &error), 1);
    ASSERT_NE(bytes, nullptr);
    EXPECT_EQ(TakeBytes(bytes), Bytes());
    EXPECT_EQ(name, nullptr);
    EXPECT_EQ(error, nullptr);

    const Bytes profile = NamedProfile("Flat light");
    const std::string full =
        Put(CJPEGBuilder()
                .Marker(0xE1, "http://ns.adobe.com/xap/1.0/\0"s + Bytes(kXmp.begin(), kXmp.end()))
                .Marker(0xE2, "ICC_PROFILE\0\1\1"s + profile));
    EXPECT_EQ(cGetImageFileXmp(full.c_str(), &bytes, &error), 1);
    EXPECT_EQ(TakeBytes(bytes), Bytes(kXmp.begin(), kXmp.end()));
    EXPECT_EQ(cGetImageICCProfile_Info(full.c_str(), &name, &bytes, &error), 1);
    EXPECT_EQ(TakeBytes(bytes), profile);
    EXPECT_THAT(TakeText(name), testing::StartsWith("Flat light"));
}

TEST_F(FileQueryTest, AFailureIsToldAndLeavesNothing) {
    WriteFile(m_folder / "a.jpg", std::string(300, 'x'));
    const std::string path = (m_folder / "a.jpg").string();
    SAFEARRAY* bytes = nullptr;
    BSTR name = nullptr, error = nullptr;
    const std::string words = "Failed to load \"" + path + "\": ";
    EXPECT_EQ(cGetImageFileXmp(path.c_str(), &bytes, &error), 0);
    EXPECT_THAT(TakeText(error), testing::StartsWith(words));
    EXPECT_EQ(cGetImageICCProfile_Info(path.c_str(), &name, &bytes, &error), 0);
    EXPECT_THAT(TakeText(error), testing::StartsWith(words));
    EXPECT_EQ(bytes, nullptr);
    EXPECT_EQ(name, nullptr);
    uint32_t width = 7;
    EXPECT_EQ(cGetImageFileInfo(path.c_str(), 0, nullptr, &width, nullptr, nullptr, nullptr,
                                nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr),
              0);
    EXPECT_EQ(width, 0u);
    EXPECT_EQ(cGetImageFileMetadata(path.c_str(), 0, 0, nullptr, nullptr), 0);
}

}  // namespace
}  // namespace kestr::test
