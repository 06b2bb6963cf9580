// CRW and CR2 files from builders of our own, and one of a camera, without Canon's libraries: rows
// come from the preview.
#include <gmock/gmock.h>

#include "color/icc_profile.h"
#include "metadata/camera_text.h"
#include "readers/image_reader.h"
#include "readers/reader_registry.h"
#include "readers/type_ids.h"
#include "support/canon_builder.h"
#include "support/jpeg_builder.h"
#include "support/loaded_handle.h"
#include "support/test_data.h"

namespace kestr::test {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::StartsWith;
using Bytes = std::vector<uint8_t>;

constexpr char kSDKError[] = "Canon SDK error opening image.";

/// Rows of blue, green, red as libjpeg decodes the stream.
Bytes BlueFirst(const Bytes& jpeg, bool fast = false) {
    const CPlainPicture plain = DecodePlainly(jpeg, fast);
    Bytes rows;
    for (size_t i = 0; i < plain.samples.size(); i += plain.channels) {
        const size_t last = plain.channels == 1 ? i : i + 2;
        for (const size_t at : {last, plain.channels == 1 ? i : i + 1, i}) {
            rows.push_back(plain.samples[at]);
        }
    }
    return rows;
}

class CrwReader : public testing::Test {
protected:
    struct CQuery {
        bool found = false;
        int32_t typeId = 0;
        uint8_t bits = 0;
        std::string description, cameraInfo, cameraDate, error;
        bool hasExif = false;
    };
    CQuery Query(const std::filesystem::path& path) {
        CQuery q;
        BSTR texts[5] = {};
        ::CEXIF_Members* exif = nullptr;
        q.found = cGetImageFileInfoExW(WidePath(path).c_str(), 0, 0, &q.typeId, nullptr, nullptr,
                                       &q.bits, nullptr, &texts[0], &texts[1], &texts[2], &texts[3],
                                       &exif, nullptr, nullptr, nullptr, &texts[4]) != 0;
        q.description = TakeText(texts[0]);
        TakeText(texts[1]);
        q.cameraInfo = TakeText(texts[2]);
        q.cameraDate = TakeText(texts[3]);
        q.error = TakeText(texts[4]);
        q.hasExif = exif != nullptr;
        cDestroyEXIF(exif);
        return q;
    }
    std::filesystem::path Write(const Bytes& bytes, const char* name) {
        const auto path = m_folder / name;
        WriteFile(path, bytes);
        return path;
    }
    /// Opens as a thumbnail load does.
    std::unique_ptr<CImageReader> OpenThumbnail(const Bytes& bytes, uint32_t width,
                                                uint32_t height) {
        const auto path = Write(bytes, "thumbnail.crw");
        auto reader = CreateReader(kTypeCanonRaw, true, false, {true, width, height});
        EXPECT_TRUE(reader->StartLoad(WidePath(path).c_str(), 0, nullptr));
        reader->Close();
        return reader;
    }

    CTemporaryFolder m_folder;
    const Bytes m_jpeg = CJPEGBuilder().Size(83, 61).File();
};

TEST_F(CrwReader, NamesTheRoute) {
    const struct {
        const char* name;
        Bytes file;
        const char* format;
    } cases[] = {
        {"a.crw", MakeCRW(m_jpeg), "Canon RAW (RCSDK) Format"},
        {"big.crw", MakeCRW(m_jpeg, "Canon PowerShot G2", true), "Canon RAW (RCSDK) Format"},
        {"pro70.crw", MakeCRW(m_jpeg, "Canon PowerShot Pro70"), "Canon RAW (CDSDK/RDSDK) Format"},
        {"a50.crw", MakeCRW(m_jpeg, "Canon PowerShot A50"), "Canon RAW (CDSDK/RDSDK) Format"},
        {"a.cr2", CCR2Builder{.large = m_jpeg}.File(), "Canon RAW (EDSDK) Format"},
        {"B.CR2", CCR2Builder{.large = m_jpeg, .bigEndian = true}.File(),
         "Canon RAW (EDSDK) Format"},
        {"tiff.crw", CCR2Builder{.large = m_jpeg}.File(), "Canon RAW (RCSDK) Format"},
        {"heap.cr2", MakeCRW(m_jpeg, "Canon PowerShot Pro70"), "Canon RAW (EDSDK) Format"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        const auto path = Write(c.file, c.name);
        const CQuery q = Query(path);
        EXPECT_TRUE(q.found) << q.error;
        EXPECT_EQ(q.typeId, 52);
        EXPECT_EQ(q.bits, 24);
        EXPECT_EQ(q.description, std::string("Format: ") + c.format);
        CHandle handle;
        ASSERT_TRUE(handle.Load(path)) << handle.ErrorText();
        EXPECT_THAT(handle.Description(), StartsWith(q.description));
        EXPECT_EQ(handle.Rows(83 * 3), BlueFirst(m_jpeg));
        uint16_t* deep = nullptr;
        cGetBits16Ptr(handle, &deep);
        EXPECT_EQ(deep, nullptr);
    }
}

// The heap of a PowerShot S40 as the camera wrote it, without the sensor's data.
TEST_F(CrwReader, ReadsACamerasFile) {
    const auto path = FuzzSeed("crw/s40.crw");
    const Bytes file = ReadFile(path);
    const CQuery q = Query(path);
    EXPECT_THAT(q.cameraInfo, HasSubstr("Model Name:\tCanon PowerShot S40\r\n"));
    EXPECT_EQ(q.cameraDate, "2021:03:26 21:14:52");
    CHandle handle;
    ASSERT_TRUE(handle.Load(path));
    EXPECT_EQ(handle.Info().width, 640u);
    // The preview is the first thing in the heap.
    EXPECT_EQ(handle.Rows(640 * 3), BlueFirst({file.begin() + 26, file.begin() + 26 + 19252}));
}

TEST_F(CrwReader, Refuses) {
    Bytes outside = MakeCRW(m_jpeg);
    std::fill(outside.end() - 4, outside.end(), uint8_t{0xFF});
    Bytes wrongHeader = MakeCRW(m_jpeg);
    wrongHeader[5] = 0x7F;
    const struct {
        const char* name;
        Bytes file;
    } cases[] = {
        {"no preview", CCIFFBuilder().Record(0x2005, Bytes(300, 1)).File()},
        {"another type of that number", CCIFFBuilder().Record(0x6007, m_jpeg).File()},
        {"empty preview", MakeCRW({})},
        {"preview that is none", MakeCRW(Bytes(300, 0xFF))},
        {"preview outside", CCIFFBuilder().Stated(0x2007, 4000, 0x7FFFFFF0).File()},
        {"directory outside", outside},
        {"heap outside", wrongHeader},
        {"header alone", {'I', 'I', 26, 0, 0, 0, 'H', 'E', 'A', 'P', 'C', 'C', 'D', 'R'}},
        {"TIFF without pictures", CCR2Builder{}.File()},
        {"TIFF with other things there", CCR2Builder{.large = Bytes(90, 7), .small = {1}}.File()},
        {"something else", Bytes(400, 0x33)},
    };
    for (const auto& c : cases) {
        for (const char* name : {"x.crw", "x.cr2"}) {
            SCOPED_TRACE(testing::Message() << c.name << ", " << name);
            const auto reader = CreateReader(kTypeCanonRaw, true, false, {});
            EXPECT_FALSE(reader->Probe(WidePath(Write(c.file, name)).c_str(), 0));
            EXPECT_EQ(reader->m_errorText, kSDKError);
        }
    }
    // Through the interface, where no other format takes it.
    CHandle handle;
    EXPECT_FALSE(handle.LoadBytes(cases[0].file, "x.crw"));
    EXPECT_EQ(handle.ErrorText(), kSDKError);
    EXPECT_THAT(Query(Write(cases[0].file, "x.crw")).error, HasSubstr(kSDKError));
}

TEST_F(CrwReader, TakesTheBestPictureOfATIFFFile) {
    const Bytes small = CJPEGBuilder().Size(16, 12).File();
    Bytes broken = m_jpeg;
    std::fill(broken.begin() + 2, broken.end(), uint8_t{0});
    const struct {
        const char* name;
        CCR2Builder file;
        const Bytes& picture;
    } cases[] = {
        {"both", {.large = m_jpeg, .small = small}, m_jpeg},
        {"the small one alone", {.small = small}, small},
        {"a large one that is broken", {.large = broken, .small = small}, small},
        {"a large one behind the tags", {.large = m_jpeg, .largeByTags = true}, m_jpeg},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        CHandle handle;
        ASSERT_TRUE(handle.LoadBytes(c.file.File(), "x.cr2"));
        EXPECT_EQ(handle.Rows(handle.Info().width * 3), BlueFirst(c.picture));
    }
}

TEST_F(CrwReader, HalvesUntilBothSidesFit) {
    const Bytes file = MakeCRW(CJPEGBuilder().Size(400, 300).File());
    const struct {
        uint32_t wantedWidth, wantedHeight, width, height;
    } cases[] = {
        {1000, 1000, 400, 300}, {400, 300, 400, 300}, {399, 300, 200, 150},
        {400, 299, 200, 150},   {100, 75, 100, 75},   {99, 99, 50, 38},
        {50, 37, 50, 38},       {10, 10, 50, 38},     {0, 0, 400, 300},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(testing::Message() << c.wantedWidth << " x " << c.wantedHeight);
        const auto reader = OpenThumbnail(file, c.wantedWidth, c.wantedHeight);
        EXPECT_EQ(reader->m_bitmapInfo.Width(), int32_t(c.width));
        EXPECT_EQ(reader->m_bitmapInfo.Height(), int32_t(c.height));
        EXPECT_EQ(reader->m_originalWidth, c.wantedWidth == 0 ? 0u : 400u);
    }
}

TEST_F(CrwReader, TheQualityFlagChoosesTheTransform) {
    CHandle handle;
    cSetJPEGParams(handle, 75, 0.1, 0, 0);
    ASSERT_TRUE(handle.LoadBytes(MakeCRW(m_jpeg), "x.crw"));
    EXPECT_EQ(handle.Rows(83 * 3), BlueFirst(m_jpeg, true));
    EXPECT_NE(BlueFirst(m_jpeg, true), BlueFirst(m_jpeg));
}

TEST_F(CrwReader, APreviewWithoutColoursComesOutGray) {
    const Bytes gray = CJPEGBuilder().Size(83, 61).Components(1).File();
    CHandle handle;
    ASSERT_TRUE(handle.LoadBytes(MakeCRW(gray), "x.crw"));
    EXPECT_EQ(handle.Info().bits, 24);
    EXPECT_EQ(handle.Rows(83 * 3), BlueFirst(gray));
}

TEST_F(CrwReader, ACutPreviewIsReadAsFarAsItGoes) {
    const auto file = MakeCRW({m_jpeg.begin(), m_jpeg.end() - 200});
    CHandle handle;
    ASSERT_TRUE(handle.LoadBytes(file, "x.crw"));
    EXPECT_EQ(handle.Info().width, 83u);
}

TEST_F(CrwReader, TakesMetadataOfATIFFFile) {
    const auto profile = AdobeRGBProfile();
    const auto path = Write(CCR2Builder{.large = m_jpeg,
                                        .profile = {profile.begin(), profile.end()},
                                        .xmp = CTIFFBuilder::Text("<x:xmpmeta/>")}
                                .File(),
                            "x.cr2");
    const CQuery q = Query(path);
    EXPECT_TRUE(q.hasExif);
    EXPECT_THAT(q.cameraInfo, HasSubstr("Canon EOS 350D DIGITAL"));
    EXPECT_EQ(q.cameraDate, "2005:08:03 18:59:18");
    const auto reader = CreateReader(kTypeCanonRaw, true, false, {});
    ASSERT_TRUE(reader->Probe(WidePath(path).c_str(), 0));
    EXPECT_EQ(reader->physicalX, 72);
    EXPECT_EQ(reader->physicalY, 90);
    EXPECT_THAT(reader->m_iccProfile, testing::ElementsAreArray(profile));
    EXPECT_EQ(reader->m_xmpData, CTIFFBuilder::Text("<x:xmpmeta/>"));
}

TEST_F(CrwReader, TakesMetadataOfThePreview) {
    const Bytes jpeg = CJPEGBuilder().Size(83, 61).Marker(0xE1, ExifOrientation(6)).File();
    for (const auto& file : {MakeCRW(jpeg), CCR2Builder{.large = jpeg}.File()}) {
        CHandle handle;
        cSetAutoRotate(handle, 1);
        ASSERT_TRUE(handle.LoadBytes(file, "x.cr2"));
        EXPECT_EQ(handle.Info().width, 61u);
        EXPECT_EQ(handle.Info().height, 83u);
    }
}

TEST_F(CrwReader, AHeapTellsOfItsCamera) {
    for (const bool bigEndian : {false, true}) {
        const auto path = Write(MakeCRW(m_jpeg, "Canon PowerShot G2", bigEndian), "x.crw");
        const CQuery q = Query(path);
        EXPECT_FALSE(q.hasExif);
        EXPECT_EQ(q.cameraInfo,
                  "Captured Time:\t2022:01:20 08:13:42\r\nManufacturer:\tCanon\r\n"
                  "Model Name:\tCanon PowerShot G2\r\n");
        EXPECT_EQ(q.cameraDate, "2022:01:20 08:13:42");
        // A JPEG file has room for it, without the pictures.
        CHandle handle;
        ASSERT_TRUE(handle.Load(path));
        ASSERT_TRUE(handle.Save(m_folder / "saved.jpg", 4));
        const CQuery saved = Query(m_folder / "saved.jpg");
        EXPECT_EQ(saved.cameraInfo, q.cameraInfo);
        EXPECT_EQ(saved.cameraDate, q.cameraDate);
    }
}

// Heaps may lie in each other in any way: a walk over them must come to an end.
TEST_F(CrwReader, SurvivesHeapsInThemselves) {
    CCIFFBuilder b;
    for (int i = 0; i < 200; ++i) b.Stated(0x2807, 2010, 0);
    CHandle handle;
    EXPECT_FALSE(handle.LoadBytes(b.File(), "x.crw"));
    EXPECT_EQ(handle.ErrorText(), kSDKError);
}

}  // namespace
}  // namespace kestr::test
