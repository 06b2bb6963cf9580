// EXIF records and camera blocks as text.
#include "metadata/exif_text.h"

#include <gmock/gmock.h>

#include "metadata/camera_text.h"
#include "support/tiff_builder.h"

namespace kestr::test {
namespace {

using namespace std::string_view_literals;

using Record = kestr::CEXIF_Members;
using Bytes = std::vector<uint8_t>;

std::string Text(const Record& record) {
    return WideToText(ExifAsText(record, TextToWide("="), TextToWide("\n")));
}
CExifRational Ratio(uint32_t numerator, uint32_t denominator) {
    return CExifRational::Signed(numerator, denominator);
}

struct CRow {
    const char* name;
    void (*set)(Record&);
    const char* text;
};
constexpr CRow kRows[] = {
    {"nothing", [](Record&) {}, ""},
    {"flash", [](Record& r) { r.Flash = 0x19; },
     "Flash Fired=Yes\nFlash Mode=Auto\nFlash Return=No strobe return detection function\n"
     "Flash Function=Flash present\nFlash Red-eye=No red-eye function\n"},
    {"flash 6F", [](Record& r) { r.Flash = 0x66; },
     "Flash Fired=No\nFlash Mode=Unknown\nFlash Return=Strobe return detected\n"
     "Flash Function=No flash function\nFlash Red-eye=Red-eye function available\n"},
    {"1/250", [](Record& r) { r.ExposureTime = Ratio(1, 250); }, "Exposure Time=1/250.00\n"},
    {"2 s", [](Record& r) { r.ExposureTime = Ratio(2, 1); }, "Exposure Time=2.00\n"},
    {"0 s", [](Record& r) { r.ExposureTime = Ratio(0, 1); }, "Exposure Time=0.00\n"},
    {"shutter 3", [](Record& r) { r.ShutterSpeedValue = Ratio(3, 1); }, "Shutter Speed=1/8.00\n"},
    {"shutter -2", [](Record& r) { r.ShutterSpeedValue = Ratio(uint32_t(-2), 1); },
     "Shutter Speed=4.00\n"},
    {"aperture", [](Record& r) { r.ApertureValue = Ratio(5, 1); }, "Aperture=f/5.66\n"},
    {"largest", [](Record& r) { r.MaxApertureValue = Ratio(99, 1); }, "Max Aperture=f/1024.00\n"},
    {"temperature", [](Record& r) { r.LightSource = 33000; }, "Light Source Temp=232\n"},
    {"light 12", [](Record& r) { r.LightSource = 12; },
     "Light Source=Daylight fluorescent (D 5700 - 7100K)\n"},
    {"light 4", [](Record& r) { r.LightSource = 4; }, "Light Source=Unidentified (4)\n"},
    {"zoom", [](Record& r) { r.DigitalZoomRatio = Ratio(0, 0); }, "Digital Zoom Ratio=Off\n"},
    {"orientation 9", [](Record& r) { r.Orientation = 9; }, "Orientation=9\n"},
    {"orientation 6", [](Record& r) { r.Orientation = 6; }, "Orientation=Rotated -90 (6)\n"},
    {"colour", [](Record& r) { r.ColorSpace = 2; }, "Color Space=Uncalibrated\n"},
    {"source", [](Record& r) { r.FileSource = 4; }, "File Source=Invalid value\n"},
    {"distance", [](Record& r) { r.SubjectDistance = Ratio(3, 2); }, "Subject Distance (M)=1.50\n"},
    {"distances",
     [](Record& r) {
         r.SubjectDistance = Ratio(3, 2);
         r.SubjectDistanceMax = Ratio(5, 2);
     },
     "Subject Distance Min (M)=1.50\nSubject Distance Max (M)=2.50\n"},
    {"area",
     [](Record& r) {
         r.SubjectArea = {1, 2, 3};
     },
     "Subject Area X Center=1\nSubject Area Y Center=2\nSubject Area Diameter=3\n"},
    {"place",
     [](Record& r) {
         r.GPSLatitude = {Ratio(52, 1), Ratio(1, 3), Ratio(0, 1)};
     },
     "GPS Latitude=52.00, 0.33, 0.00\n"},
    {"mode", [](Record& r) { r.GPSMeasureMode = TextToWide("3"); },
     "GPS Measurement Mode=3 dimensional\n"},
    {"rights", [](Record& r) { r.Copyright = Latin1ToWide("a\0b"sv); },
     "Photographer Copyright=a\nEditor Copyright=b\n"},
    {"padded", [](Record& r) { r.Make = Latin1ToWide("Maker\0\0x"sv); }, "Make=Maker\n"},
    {"note",
     [](Record& r) {
         r.MakerNote = {1, 2, 3};
         r.makerNoteOffset = 4000000000u;
     },
     "MakerNote Size=3\nMakerNote Offset=4000000000\n"},
    {"comment",
     [](Record& r) { r.UserComment = {'A', 'S', 'C', 'I', 'I', 0, 0, 0, 'h', 'i', 0, 0}; },
     "User Comment=hi\nUser Comment Size=12\n"},
    {"no comment", [](Record& r) { r.UserComment = {'A', 'S', 'C', 'I', 'I', 0, 0, 0}; },
     "User Comment Size=8\n"},
    {"order",
     [](Record& r) {
         r.ISOSpeedRatings = 200;
         r.Software = TextToWide("s");
         r.ExifVersion = TextToWide("0220");
         r.InteroperabilityIndex = TextToWide("R98");
         r.MeteringMode = 5;
         r.DateTime = TextToWide("d");
     },
     "EXIF Version=0220\nDate Time=d\nMetering Mode=Pattern\nISO Speed=200\nSoftware=s\n"
     "InteropIndex=R98\n"},
};

TEST(ExifText, RendersEachForm) {
    for (const CRow& row : kRows) {
        SCOPED_TRACE(row.name);
        Record r;
        row.set(r);
        EXPECT_EQ(Text(r), row.text);
    }
}

TEST(ExifText, GivesTheFirstDate) {
    Record r;
    EXPECT_TRUE(ExifDate(r).empty());
    r.DateTimeDigitized = TextToWide("c");
    EXPECT_EQ(ExifDate(r), TextToWide("c"));
    r.DateTimeOriginal = TextToWide("b");
    EXPECT_EQ(ExifDate(r), TextToWide("b"));
    r.DateTime = Latin1ToWide("\0\0"sv);
    EXPECT_EQ(ExifDate(r), TextToWide("b"));
    r.DateTime = TextToWide("a");
    EXPECT_EQ(ExifDate(r), TextToWide("a"));
}

Bytes Block(uint8_t kind, std::string_view text) {
    Bytes block{kind};
    block.insert(block.end(), text.begin(), text.end());
    return block;
}

TEST(CameraBlock, LinesOfKeyAndValue) {
    const Bytes block =
        Block(1,
              "MAKER LTD.\0\1[picture info]\r\nTimeDate=1078059909\r\nshutter=8000 \r\n"
              "Resolution=3\r\nZoom=x1.0\nmtr1=1000\n\x80plain\0 line\n=odd\nResolution=4"sv);
    // trunc(18.5848017 + 1000 * (0.0681268935 + 3.64715963e-4)) = 87; 87 / 36 = 2.4
    EXPECT_EQ(CameraBlockText(block),
              "[picture info]\nTimeDate= February 29, 2004  13:05:09\nshutter=1/125\n"
              "Resolution=SHQ\nZoom=2.4:1 (87mm)\nmtr1=1000\nplain line\n=odd\nResolution=4\n");
    EXPECT_EQ(CameraBlockDate(block), "February 29, 2004  13:05:09");
    EXPECT_EQ(CameraBlockText(Block(1, "ABC\0[x]"sv)), "");
    EXPECT_EQ(CameraBlockText(Block(1, "ABCD[x]")), "");
}

TEST(CameraBlock, KodakHeaders) {
    const CTIFFBuilder b;
    Bytes dc40 = b.Join({{2}, b.U32(8000), b.U32(1), b.U16(28)});
    EXPECT_EQ(CameraBlockText(dc40),
              "Camera:\tKodak DC40\r\nTimer:\t\r\nFlash:\tYes\r\nExposure Time:\t1/125\r\n"
              "F Number:\t2.80");
    dc40.pop_back();
    EXPECT_EQ(CameraBlockText(dc40),
              "Camera:\tKodak DC40\r\nTimer:\t\r\nFlash:\tYes\r\nExposure Time:\t1/125");
    const auto header = [&](uint8_t kind) {
        Bytes block = b.Join({{kind},
                              b.U32(1),
                              b.U32(0),
                              b.U32(2),
                              b.U32(1),
                              b.U32(6),
                              b.U32(5),
                              b.U32(0),
                              b.U16(40)});
        block.resize(kind == 3 ? 45 : 41);
        return b.Join({block, b.U32(2), b.U32(77)});
    };
    EXPECT_EQ(
        CameraBlockText(header(3)),
        "Camera:\tKodak DC50r\r\nTimer:\t10 second timer\r\nFlash:\tNo\r\nFlash Mode:\tAuto\r\n"
        "Quality:\tBetter\r\nZoom:\t111mm\r\nManual Exposure:\tYes\r\nF Number:\t4.00\r\n"
        "Focus Mode:\tMultiple Zones\r\nFocus Position:\t77");
    EXPECT_EQ(CameraBlockText(header(4)).substr(0, 24), "Camera:\tKodak DC120r\r\nTi");
    EXPECT_NE(CameraBlockText(header(4)).find("Quality:\tBest"), std::string::npos);
}

TEST(CameraBlock, PlainAndUnknown) {
    const Bytes plain = Block(6, "Image Time:\t2001:02:03 04:05:06\r\nx\0y"sv);
    EXPECT_EQ(CameraBlockText(plain), "Image Time:\t2001:02:03 04:05:06\r\nx");
    EXPECT_EQ(CameraBlockDate(plain), "2001:02:03 04:05:06");
    EXPECT_EQ(CameraBlockText(Block(7, "x")), "Unknown");
    EXPECT_EQ(CameraBlockText({}), "");
}

TEST(CameraBlock, HeapOfRecords) {
    for (const bool big : {false, true}) {
        const CTIFFBuilder b(big);
        const auto record = [&](uint32_t type, uint32_t size, uint32_t offset) {
            return b.Join({b.U16(type), b.U32(size), b.U32(offset)});
        };
        const Bytes names = b.Text("Canon\0Canon X\0"sv);
        const Bytes inner = b.Join({names, b.U16(1), record(0x080A, 14, 0), b.U32(14)});
        const auto size = static_cast<uint32_t>(inner.size());
        const Bytes spec = b.Join(
            {b.U32(640), b.U32(480), b.U32(0x3F800000), b.U32(90), b.U32(8), b.U32(24), b.U32(1)});
        const Bytes heap =
            b.Join({inner, spec, b.U16(4), record(0x2807, size, 0), record(0x1810, 28, size),
                    record(0x580E, 1078059909, 0), record(0x501C, 0, 0), b.U32(size + 28)});
        Bytes file = b.Join({b.All(), b.Text("HEAPJPGM"), heap});
        file.erase(file.begin() + 2, file.begin() + 4);  // no 42 here
        const Bytes start = b.U32(14);
        std::copy(start.begin(), start.end(), file.begin() + 2);
        EXPECT_EQ(CameraBlockText(b.Join({{5}, file})),
                  "Manufacturer:\tCanon\r\nModel Name:\tCanon X\r\nImage Width:\t640\r\n"
                  "Image Height:\t480\r\nPixel Aspect Ratio:\t1.00\r\nRotation Angle:\t90\r\n"
                  "Channel Bit Depth:\t8\r\nColor Bit Depth:\t24\r\nColor/BW Flag:\tColor\r\n"
                  "Captured Time:\t2004:02:29 13:05:09\r\nBody ISO:\t0\r\n");
        EXPECT_EQ(CameraBlockDate(b.Join({{5}, file})), "2004:02:29 13:05:09");
    }
    EXPECT_EQ(CameraBlockText(Block(5, "IX..........")), "");
}

}  // namespace
}  // namespace kestr::test
