// Questions to camera raw files: what the camera wrote of itself and of the moment comes out
// without a decode, whatever the maker's form.
#include <algorithm>
#include <functional>

#include <gmock/gmock.h>

#include "support/canon_builder.h"
#include "support/jpeg_builder.h"
#include "support/loaded_handle.h"
#include "support/maker_raw_builders.h"
#include "support/test_data.h"
#include "support/tiff_builder.h"

namespace kestr::test {
namespace {

using testing::HasSubstr;
using Bytes = std::vector<uint8_t>;
using Entries = std::vector<CTIFFBuilder::CEntry>;

constexpr uint32_t kWidth = 80, kHeight = 32;
constexpr char kDate[] = "2006:05:04 03:02:01";

/// A TIFF file with an EXIF directory; `sensor` adds to its first directory what the maker has
/// there, and the file goes on with `room` bytes of samples.
Bytes CameraFile(const char* make, const char* model, bool bigEndian,
                 const std::function<void(CTIFFBuilder&, Entries&, uint32_t samplesAt)>& sensor,
                 size_t room) {
    constexpr uint32_t kSamplesAt = 2048;
    CTIFFBuilder b(bigEndian, 0);
    const uint32_t exposure = b.Add(b.Rational(1, 250));
    const Entries exif{{33434, 5, 1, b.U32(exposure)}, b.TextEntry(36867, kDate)};
    Entries first{
        b.TextEntry(271, make), b.TextEntry(272, model), {34665, 4, 1, b.U32(b.Directory(exif))}};
    if (sensor) sensor(b, first, kSamplesAt);
    Bytes file = b.Finish(first);
    EXPECT_LE(file.size(), kSamplesAt);
    file.resize(room != 0 ? kSamplesAt + room : file.size());
    return file;
}

/// The tags of TIFF that a maker's directory of samples has.
void Sensor(CTIFFBuilder& b, Entries& e, uint32_t at, uint32_t bits, uint32_t compression,
            uint32_t photometric, uint32_t bytes) {
    e.push_back({256, 4, 1, b.U32(kWidth)});
    e.push_back({257, 4, 1, b.U32(kHeight)});
    e.push_back({258, 3, 1, b.U16(bits)});
    e.push_back({259, 3, 1, b.U16(compression)});
    e.push_back({262, 3, 1, b.U16(photometric)});
    e.push_back({273, 4, 1, b.U32(at)});
    e.push_back({278, 4, 1, b.U32(kHeight)});
    e.push_back({279, 4, 1, b.U32(bytes)});
}

void Mosaic(CTIFFBuilder& b, Entries& e) {
    e.push_back({33421, 3, 2, b.Join({b.U16(2), b.U16(2)})});
    e.push_back({33422, 1, 4, {0, 1, 1, 2}});
}

Bytes WithMagic(Bytes file, std::string_view magic) {
    std::ranges::copy(magic, file.begin() + 2);
    return file;
}

Bytes ExifMarker(const Bytes& tiff) {
    Bytes marker{'E', 'x', 'i', 'f', 0, 0};
    marker.insert(marker.end(), tiff.begin(), tiff.end());
    return marker;
}

struct CRow {
    const char* name;
    int32_t typeId;
    uint8_t bits;
    const char *make, *model;
    std::function<Bytes(const CRow&)> file;
};

const CRow kRows[] = {
    {"a.nef", 47, 48, "NIKON CORPORATION", "NIKON D70",
     [](const CRow& row) {
         return CameraFile(
             row.make, row.model, true,
             [](CTIFFBuilder& b, Entries& e, uint32_t at) {
                 Entries sensor;
                 Sensor(b, sensor, at, 12, 1, 32803, 5000);
                 Mosaic(b, sensor);
                 e.push_back({330, 4, 1, b.U32(b.Directory(sensor))});
             },
             5000);
     }},
    {"a.orf", 57, 48, "OLYMPUS IMAGING CORP.", "E-410",
     [](const CRow& row) {
         const auto sensor = [](CTIFFBuilder& b, Entries& e, uint32_t at) {
             Sensor(b, e, at, 16, 1, 1, 5120);
         };
         return WithMagic(CameraFile(row.make, row.model, false, sensor, 5120), "RO");
     }},
    {"a.pef", 61, 48, "PENTAX Corporation", "PENTAX K10D",
     [](const CRow& row) {
         const auto sensor = [](CTIFFBuilder& b, Entries& e, uint32_t at) {
             Sensor(b, e, at, 16, 65535, 1, 1300000);
         };
         return CameraFile(row.make, row.model, true, sensor, 1300000);
     }},
    {"a.mrw", 55, 48, "Minolta Co., Ltd.", "DiMAGE A2",
     [](const CRow& row) {
         CMRWBuilder file;
         file.width = kWidth;
         file.height = kHeight;
         file.tiff = CameraFile(row.make, row.model, true, {}, 0);
         file.data.resize(3840);
         return file.File();
     }},
    {"a.raf", 58, 48, "FUJIFILM", "FinePix S7000",
     [](const CRow& row) {
         CRAFBuilder file;
         file.fullWidth = file.usedWidth = 64;
         file.fullHeight = file.usedHeight = 44;
         file.usedWidth *= 2;  // the tag keeps them as they are without the flag
         file.usedHeight /= 2;
         file.jpeg = CJPEGBuilder()
                         .Marker(0xE1, ExifMarker(CameraFile(row.make, row.model, true, {}, 0)))
                         .File();
         file.data.resize(5632);
         return file.File();
     }},
    {"a.srf", 63, 48, "SONY", "DSC-F828",
     [](const CRow& row) {
         const auto sensor = [](CTIFFBuilder& b, Entries& e, uint32_t) {
             e.push_back({256, 4, 1, b.U32(kWidth)});
             e.push_back({257, 4, 1, b.U32(kHeight)});
         };
         return CameraFile(row.make, row.model, false, sensor, 870000);
     }},
    {"a.sr2", 63, 48, "SONY", "DSC-R1",
     [](const CRow& row) {
         const auto sensor = [](CTIFFBuilder& b, Entries& e, uint32_t at) {
             Sensor(b, e, at, 16, 1, 32803, 5120);
         };
         return CameraFile(row.make, row.model, false, sensor, 5120);
     }},
    {"a.arw", 63, 48, "SONY", "DSLR-A700",
     [](const CRow& row) {
         const auto sensor = [](CTIFFBuilder& b, Entries& e, uint32_t at) {
             Sensor(b, e, at, 12, 32767, 32803, 3840);
         };
         return CameraFile(row.make, row.model, false, sensor, 3840);
     }},
    {"a.raw", 65, 48, "Panasonic", "DMC-LX2",
     [](const CRow& row) {
         const auto sensor = [](CTIFFBuilder& b, Entries& e, uint32_t at) {
             e.push_back({2, 3, 1, b.U16(kWidth)});
             e.push_back({3, 3, 1, b.U16(kHeight)});
             e.push_back({9, 3, 1, b.U16(1)});
             e.push_back({273, 4, 1, b.U32(at)});
         };
         return WithMagic(CameraFile(row.make, row.model, false, sensor, 5120), {"U\0", 2});
     }},
    {"a.erf", 74, 48, "SEIKO EPSON CORP.", "R-D1",
     [](const CRow& row) {
         const auto sensor = [](CTIFFBuilder& b, Entries& e, uint32_t at) {
             Sensor(b, e, at, 12, 32769, 32803, 4096);
         };
         return CameraFile(row.make, row.model, true, sensor, 4096);
     }},
    {"a.kdc", 72, 48, "EASTMAN KODAK COMPANY", "KODAK P880 ZOOM DIGITAL CAMERA",
     [](const CRow& row) {
         const auto sensor = [](CTIFFBuilder& b, Entries& e, uint32_t at) {
             Bytes offsets = b.Join({Bytes(16), b.U32(at), Bytes(32)});
             e.push_back({64772, 7, 52, b.U32(b.Add(offsets))});
             e.push_back({65024, 4, 1,
                          b.U32(b.Directory(
                              {{64019, 4, 1, b.U32(kWidth)}, {64020, 4, 1, b.U32(kHeight)}}))});
         };
         return CameraFile(row.make, row.model, false, sensor, 3840);
     }},
    {"a.dng", 70, 48, "Kestr", "Test",
     [](const CRow& row) {
         const auto sensor = [](CTIFFBuilder& b, Entries& e, uint32_t at) {
             Sensor(b, e, at, 16, 1, 32803, 5120);
             Mosaic(b, e);
             e.push_back({50706, 1, 4, {1, 1, 0, 0}});
         };
         return CameraFile(row.make, row.model, false, sensor, 5120);
     }},
    {"a.cr2", 52, 24, "Canon", "Canon EOS 350D DIGITAL",
     [](const CRow& row) {
         const Bytes jpeg = CJPEGBuilder().File();
         const auto sensor = [&](CTIFFBuilder& b, Entries& e, uint32_t at) {
             e.push_back({273, 4, 1, b.U32(at)});
             e.push_back({279, 4, 1, b.U32(uint32_t(jpeg.size()))});
         };
         Bytes file = CameraFile(row.make, row.model, false, sensor, jpeg.size());
         std::ranges::copy(jpeg, file.end() - ptrdiff_t(jpeg.size()));
         return file;
     }},
};

TEST(RawQueryTest, CameraDateAndRecordComeFromEachMakersFile) {
    const CTemporaryFolder folder;
    for (const CRow& row : kRows) {
        SCOPED_TRACE(row.name);
        const std::string path = (folder / row.name).string();
        WriteFile(path, row.file(row));
        int32_t typeId = 0;
        uint8_t bits = 0;
        BSTR info = nullptr, date = nullptr, error = nullptr;
        CEXIF_Members* exif = nullptr;
        const int32_t told = cGetImageFileInfoEx(path.c_str(), 0, 0, &typeId, nullptr, nullptr,
                                                 &bits, nullptr, nullptr, nullptr, &info, &date,
                                                 &exif, nullptr, nullptr, nullptr, &error);
        EXPECT_EQ(TakeText(error), "");
        ASSERT_EQ(told, 1);
        EXPECT_EQ(typeId, row.typeId);
        EXPECT_EQ(bits, row.bits);
        const std::string text = TakeText(info);
        EXPECT_THAT(text, HasSubstr(std::string("Make:\t") + row.make + "\r\n"));
        EXPECT_THAT(text, HasSubstr(std::string("Model:\t") + row.model + "\r\n"));
        EXPECT_EQ(TakeText(date), kDate);
        EXPECT_THAT(text, HasSubstr("1/250"));
        BSTR taken = nullptr;
        EXPECT_EQ(cEXIF_GetDateTimeOriginal(exif, &taken), 1);
        EXPECT_EQ(TakeText(taken), kDate);
        cDestroyEXIF(exif);
        ASSERT_EQ(cGetImageFileMetadataEx(path.c_str(), 0, 0, &exif, nullptr, nullptr), 1);
        EXPECT_NE(exif, nullptr);
        cDestroyEXIF(exif);
    }
}

// A heap without EXIF has the camera's names and clock in records of its own.
TEST(RawQueryTest, CameraAndDateComeFromACIFFHeap) {
    const CTemporaryFolder folder;
    const std::string path = (folder / "a.crw").string();
    WriteFile(path, MakeCRW(CJPEGBuilder().File()));
    BSTR info = nullptr, date = nullptr;
    int32_t typeId = 0;
    ASSERT_EQ(cGetImageFileInfo(path.c_str(), 0, &typeId, nullptr, nullptr, nullptr, nullptr,
                                nullptr, nullptr, &info, &date, nullptr, nullptr, nullptr),
              1);
    EXPECT_EQ(typeId, 52);
    EXPECT_THAT(TakeText(info), HasSubstr("Canon PowerShot G2"));
    EXPECT_EQ(TakeText(date), "2022:01:20 08:13:42");
}

}  // namespace
}  // namespace kestr::test
