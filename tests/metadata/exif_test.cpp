// EXIF records: reading, patching, writing anew.
#include <cstring>

#include <gmock/gmock.h>

#include "metadata/exif_members.h"
#include "support/tiff_builder.h"

namespace kestr::test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using Bytes = std::vector<uint8_t>;
using Record = kestr::CEXIF_Members;
using Entry = CTIFFBuilder::CEntry;

WideString Wide(std::string_view text) {
    return Latin1ToWide(text);
}

// What Serialise() gives, without "Exif" and its NULs.
Bytes Block(const Bytes& app1) {
    EXPECT_EQ(std::string(app1.begin(), app1.begin() + 6), std::string("Exif\0\0", 6));
    return {app1.begin() + 6, app1.end()};
}

Record Parsed(const Bytes& block, bool thumbnail = true) {
    Record record;
    record.Parse(block, false, thumbnail);
    return record;
}

// A block with the given EXIF entries; the main directory lies behind all else.
Bytes ExifBlock(CTIFFBuilder b, const std::vector<Entry>& exif, std::vector<Entry> main = {}) {
    main.push_back({34665, 4, 1, b.U32(b.Directory(exif))});
    b.Patch32(4, b.Directory(main));
    return b.All();
}

class Exif : public testing::TestWithParam<bool> {};
INSTANTIATE_TEST_SUITE_P(BothOrders, Exif, testing::Values(false, true));

TEST_P(Exif, ReadsEachKindOfField) {
    CTIFFBuilder b(GetParam(), 0);
    const uint32_t make = b.Add(b.Text(std::string_view("  Kestrel \0", 11)));
    const uint32_t rights = b.Add(std::vector<uint8_t>{'m', 'e', 0, 'y', 'o', 'u', 0});
    const uint32_t bias = b.Add(b.Rational(0xFFFFFFFF, 3));
    const uint32_t zero = b.Add(b.Rational(5, 0));
    const uint32_t distance = b.Add(b.Join({b.Rational(1, 2), b.Rational(9, 2)}));
    const uint32_t place = b.Add(b.Join({b.Rational(52, 1), b.Rational(30, 1)}));
    const uint32_t comment = b.Add(b.Text("hello"));
    const uint32_t area = b.Add(b.Join({b.U16(1), b.U16(2), b.U16(3), b.U16(4), b.U16(5)}));
    const uint32_t gps = b.Directory({{0, 1, 4, {2, 3, 0, 0}},
                                      {2, 5, 2, b.U32(place)},
                                      {5, 1, 1, {1}},
                                      {31, 5, 1, b.U32(bias)}});
    const uint32_t interop = b.Directory(
        {{1, 2, 4, {'R', '0', '3', 0}}, {2, 7, 4, {'0', '1', '0', '0'}}, {9, 3, 1, {}}});
    const uint32_t exif = b.Directory({{36864, 7, 4, {'0', '2', '3', '1'}},
                                       {37121, 7, 4, {1, 2, 3, 0}},
                                       {37380, 10, 1, b.U32(bias)},
                                       {37382, 5, 2, b.U32(distance)},
                                       {37396, 3, 5, b.U32(area)},
                                       {37510, 2, 5, b.U32(comment)},
                                       {40962, 3, 1, b.U16(640)},
                                       {40963, 4, 1, b.U32(70000)},
                                       {40965, 4, 1, b.U32(interop)},
                                       {41486, 5, 1, b.U32(bias)},
                                       {41486, 5, 1, b.U32(zero)},
                                       {41492, 3, 2, b.Join({b.U16(11), b.U16(12)})},
                                       {41728, 7, 1, {3}},
                                       {50000, 3, 1, b.U16(77)}});
    b.Patch32(4, b.Directory({{254, 4, 1, {}},
                              {271, 2, 11, b.U32(make)},
                              {274, 3, 1, b.U16(6)},
                              {282, 5, 1, b.U32(zero)},
                              {33432, 2, 7, b.U32(rights)},
                              {34665, 4, 1, b.U32(exif)},
                              {34853, 4, 1, b.U32(gps)},
                              {40091, 1, 2, {'x', 0}}}));
    Record r;
    ASSERT_TRUE(r.Parse(b.All(), false, true));
    EXPECT_EQ(r.bigEndian, GetParam());
    EXPECT_EQ(r.Make, Wide("Kestrel"));
    EXPECT_EQ(r.Orientation, 6);
    EXPECT_EQ(r.XResolution->value, 1.0);  // 5/0
    EXPECT_EQ(r.XResolution->numerator, 5u);
    EXPECT_EQ(r.Copyright, Wide(std::string_view("me\0you", 6)));
    EXPECT_EQ(r.ExifVersion, Wide("0231"));
    EXPECT_EQ(r.ComponentsConfiguration, Wide("1230"));
    EXPECT_DOUBLE_EQ(r.ExposureBiasValue->value, -1.0 / 3);
    EXPECT_EQ(r.SubjectDistance->value, 0.5);
    EXPECT_EQ(r.SubjectDistanceMax->value, 4.5);
    EXPECT_THAT(r.SubjectArea, ElementsAre(1, 2, 3, 4));
    EXPECT_EQ(r.UserComment, Bytes({'A', 'S', 'C', 'I', 'I', 0, 0, 0, 'h', 'e', 'l', 'l', 'o'}));
    EXPECT_EQ(r.PixelXDimension, 640u);
    EXPECT_EQ(r.PixelYDimension, 70000u);
    EXPECT_DOUBLE_EQ(r.FocalPlaneXResolution->value, 4294967295.0 / 3);  // the first of two
    EXPECT_EQ(r.SubjectLocationX, 11);
    EXPECT_EQ(r.SubjectLocationY, 12);
    EXPECT_EQ(r.FileSource, 3);
    EXPECT_EQ(r.GPSVersionID, Wide("2300"));
    ASSERT_EQ(r.GPSLatitude.size(), 3u);
    EXPECT_EQ(r.GPSLatitude[2].value, 0.0);
    EXPECT_EQ(r.GPSAltitudeRef, 1);
    EXPECT_EQ(r.InteroperabilityIndex, Wide("R03"));
    EXPECT_EQ(r.InteroperabilityVersion, Wide("0100"));
    ASSERT_EQ(r.otherTags0.size(), 3u);  // not tag 254, nor the unknown one of GPS
    EXPECT_EQ(r.otherTags0[0].tag, 40091);
    EXPECT_EQ(r.otherTags0[1].tag, 50000);
    EXPECT_EQ(r.otherTags0[2].tag, 9);

    // Written anew and read again, it is the same record.
    const Record again = Parsed(Block(r.Serialise(true)));
    EXPECT_EQ(again.Copyright, r.Copyright);
    EXPECT_EQ(again.GPSLatitude, r.GPSLatitude);
    EXPECT_EQ(again.SubjectArea, r.SubjectArea);
    EXPECT_EQ(again.PixelYDimension, r.PixelYDimension);
    EXPECT_EQ(again.InteroperabilityIndex, r.InteroperabilityIndex);
    EXPECT_EQ(again.otherTags0.size(), 3u);
    EXPECT_EQ(again.Serialise(true), r.Serialise(true));
}

// The entry of a tag in a directory, as its twelve bytes.
Bytes EntryOf(const Bytes& block, size_t directory, bool bigEndian, uint16_t tag) {
    const auto u16 = [&](size_t at) {
        return bigEndian ? block[at] << 8 | block[at + 1] : block[at + 1] << 8 | block[at];
    };
    for (int i = 0; i < u16(directory); ++i) {
        const size_t at = directory + 2 + size_t(i) * 12;
        if (u16(at) == tag) return {block.begin() + at, block.begin() + at + 12};
    }
    return {};
}

TEST_P(Exif, WritesDefaultsIntoAnEmptyRecord) {
    Record r;
    r.bigEndian = GetParam();
    const Bytes block = Block(r.Serialise(true));
    const CTIFFBuilder b(GetParam());
    EXPECT_EQ(Bytes(block.begin(), block.begin() + 8), b.All());
    const Record again = Parsed(block);
    EXPECT_EQ(again.XResolution->value, 300);
    EXPECT_EQ(again.YResolution->value, 300);
    EXPECT_EQ(again.ResolutionUnit, 2);
    EXPECT_EQ(again.ExifVersion, Wide("0221"));
    EXPECT_EQ(again.ComponentsConfiguration, Wide("1230"));
    EXPECT_EQ(again.ColorSpace, 1);
    EXPECT_FALSE(again.PixelXDimension);
    const size_t exif = 8 + 2 + 4 * 12 + 4;
    EXPECT_EQ(EntryOf(block, exif, GetParam(), 40960),
              b.Join({b.U16(40960), b.U16(7), b.U32(4), {'0', '1', '0', '0'}}));
}

TEST_P(Exif, AFieldInTheWrongDirectoryComesToItsPlaceUnlessThatIsTaken) {
    Record r;
    r.bigEndian = GetParam();
    r.otherTags0 = {{37500, 7, Bytes(9, 'm')}};  // a maker note in the main directory
    EXPECT_EQ(Parsed(Block(r.Serialise(true))).MakerNote, Bytes(9, 'm'));
    r.MakerNote = Bytes(7, 'n');
    EXPECT_EQ(Parsed(Block(r.Serialise(true))).MakerNote, Bytes(7, 'n'));
}

TEST_P(Exif, WritesDimensionsShortOnlyWhenBothFit) {
    const CTIFFBuilder b(GetParam());
    Record r;
    r.bigEndian = GetParam();
    r.PixelXDimension = 640;
    r.PixelYDimension = 65535;
    const size_t exif = 8 + 2 + 4 * 12 + 4;
    EXPECT_EQ(EntryOf(Block(r.Serialise(false)), exif, GetParam(), 40962),
              b.Join({b.U16(40962), b.U16(3), b.U32(1), b.U16(640), {0, 0}}));
    r.PixelYDimension = 70000;
    EXPECT_EQ(EntryOf(Block(r.Serialise(false)), exif, GetParam(), 40962),
              b.Join({b.U16(40962), b.U16(4), b.U32(1), b.U32(640)}));
}

TEST_P(Exif, PatchLeavesTheMakerNoteWhereItIs) {
    CTIFFBuilder b(GetParam(), 0);
    const uint32_t resolution = b.Add(b.Rational(72, 1));
    const Bytes note{9, 9, 9, 9, 1, 2, 3, 4, 5, 6};
    const uint32_t noteAt = b.Add(note);
    const Bytes original = ExifBlock(
        b, {{37500, 7, 10, b.U32(noteAt)}},
        {{272, 2, 2, {'m', 0}}, {282, 5, 1, b.U32(resolution)}, {283, 5, 1, b.U32(resolution)}});
    Record r = Parsed(original);
    EXPECT_EQ(r.makerNoteOffset, noteAt);
    EXPECT_EQ(r.originalBlock, original);
    EXPECT_EQ(Block(r.Serialise(true)), original);

    r.Orientation = 8;      // new: the directory must move
    r.Model = Wide("Old");  // grows out of its entry's four bytes
    r.Model += Wide("er");
    r.SetResolutionDPI(150, 300);  // one place for two different values
    r.DateTimeOriginal = Wide("2004:02:29 13:05:09");
    r.GPSLatitudeRef = Wide("N");           // a directory that was not there
    r.InteroperabilityIndex = Wide("R98");  // another, two levels down
    const Bytes patched = Block(r.Serialise(true));
    EXPECT_EQ(Bytes(patched.begin() + noteAt, patched.begin() + noteAt + 10), note);
    const Record again = Parsed(patched);
    EXPECT_EQ(again.makerNoteOffset, noteAt);
    EXPECT_EQ(again.MakerNote, note);
    EXPECT_EQ(again.Orientation, 8);
    EXPECT_EQ(again.Model, Wide("Older"));
    EXPECT_EQ(again.XResolution->value, 150);
    EXPECT_EQ(again.YResolution->value, 300);
    EXPECT_EQ(again.DateTimeOriginal, r.DateTimeOriginal);
    EXPECT_EQ(again.GPSLatitudeRef, Wide("N"));
    EXPECT_EQ(again.InteroperabilityIndex, Wide("R98"));
    EXPECT_TRUE(again.ExifVersion.empty());  // no defaults are put in

    r = Parsed(original);
    r.Model.clear();
    const Record without = Parsed(Block(r.Serialise(true)));
    EXPECT_TRUE(without.Model.empty());
    EXPECT_EQ(without.XResolution->value, 72);
    EXPECT_EQ(without.MakerNote, note);
}

TEST_P(Exif, CarriesTheThumbnail) {
    CTIFFBuilder b(GetParam(), 0);
    const Bytes jpeg{0xFF, 0xD8, 1, 2, 3, 0xFF, 0xD9};
    const uint32_t jpegAt = b.Add(jpeg);
    const uint32_t resolution = b.Add(b.Rational(72, 1));
    const uint32_t second = b.Directory({{259, 3, 1, b.U16(6)},
                                         {282, 5, 1, b.U32(resolution)},
                                         {513, 4, 1, b.U32(jpegAt)},
                                         {514, 4, 1, b.U32(7)}});
    const uint32_t exif = b.Directory({});
    b.Patch32(4, b.Directory({{34665, 4, 1, b.U32(exif)}}, second));
    const Record r = Parsed(b.All());
    EXPECT_EQ(r.thumbnail, jpeg);
    EXPECT_EQ(r.thumbnailTags.size(), 4u);
    const Record again = Parsed(Block(r.Serialise(true)));
    EXPECT_EQ(again.thumbnail, jpeg);
    EXPECT_EQ(again.thumbnailTags[1], r.thumbnailTags[1]);
    EXPECT_THAT(Parsed(Block(r.Serialise(false))).thumbnail, IsEmpty());
    EXPECT_THAT(Parsed(b.All(), false).thumbnail, IsEmpty());
}

TEST(ExifLimits, CountsThatAreTooLarge) {
    CTIFFBuilder many(false, 0);
    const uint32_t at = many.Add(Bytes(2'000'000, 'a'));
    const Bytes block = ExifBlock(many, {{37510, 7, 2'000'000, many.U32(at)}});
    EXPECT_EQ(Parsed(block).UserComment.size(), 1024u);

    CTIFFBuilder places(false, 0);
    const uint32_t gps = places.Directory(std::vector<Entry>(1001, Entry{1, 2, 2, {'N', 0}}));
    const Bytes skipped = ExifBlock(places, {}, {{34853, 4, 1, places.U32(gps)}});
    EXPECT_TRUE(Parsed(skipped).GPSLatitudeRef.empty());

    CTIFFBuilder large(false, 0);
    const uint32_t note = large.Add(Bytes(70'000, 1));
    const Record r = Parsed(ExifBlock(large, {{37500, 7, 70'000, large.U32(note)}}));
    EXPECT_EQ(r.MakerNote.size(), 70'000u);
    EXPECT_THAT(r.originalBlock, IsEmpty());
}

TEST(ExifLimits, AnImpossibleTypeEndsTheParse) {
    CTIFFBuilder b(false, 0);
    const Bytes block = ExifBlock(b, {{41985, 3, 1, {1}}, {1, 13, 1, {}}, {41986, 3, 1, {1}}});
    const Record r = Parsed(block);
    EXPECT_EQ(r.CustomRendered, 1);
    EXPECT_FALSE(r.ExposureMode);
}

TEST(ExifLimits, MainDirectoryAloneIsNoSuccess) {
    CTIFFBuilder b;
    b.Directory({{274, 3, 1, {3}}});
    Record r;
    EXPECT_FALSE(r.Parse(b.All(), false, true));
    EXPECT_EQ(r.Orientation, 3);
}

// Entries that all name the same bytes would otherwise be copied a thousand times over.
TEST(ExifLimits, SharedValuesDoNotMultiply) {
    CTIFFBuilder b(false, 0);
    const uint32_t at = b.Add(Bytes(65'000, 7));
    std::vector<Entry> main(10'000, Entry{60'000, 7, 65'000, b.U32(at)});
    const Record r = Parsed(ExifBlock(b, {}, main), false);
    EXPECT_LT(r.otherTags0.size(), 10u);
}

TEST(ExifLimits, ANoteThatIsCutOffDoesNotGrow) {
    CTIFFBuilder b(false, 0);
    const uint32_t exif = b.Directory({{37500, 7, 1000, b.U32(8 + 18 + 30)}});
    b.Patch32(4, b.Directory({{272, 2, 3, {'a', 'b', 0}}, {34665, 4, 1, b.U32(exif)}}));
    Record r = Parsed(b.All());
    ASSERT_EQ(r.MakerNote.size(), b.Size() - (8 + 18 + 30));
    r.DateTime = Wide("2004:02:29 13:05:09");
    EXPECT_EQ(Parsed(Block(r.Serialise(true))).MakerNote, r.MakerNote);
}

TEST(ExifLimits, EveryCutIsSurvived) {
    CTIFFBuilder b(true, 0);
    const uint32_t note = b.Add(Bytes(20, 5));
    const uint32_t date = b.Add(b.Text("2004:02:29 13:05:09"));
    const Bytes whole = ExifBlock(b, {{36867, 2, 20, b.U32(date)}, {37500, 7, 20, b.U32(note)}});
    for (size_t size = 0; size <= whole.size(); ++size) {
        Record r = Parsed(Bytes(whole.begin(), whole.begin() + ptrdiff_t(size)));
        r.Orientation = 1;
        EXPECT_EQ(Parsed(Block(r.Serialise(true))).Orientation, 1);
    }
}

TEST(ExifResolution, GivesPixelsPerInch) {
    struct CCase {
        int unit;
        uint16_t x, y;
    };
    for (const CCase& c : {CCase{1, 7, 8}, CCase{2, 118, 73}, CCase{3, 46, 29}}) {
        Record r;
        r.XResolution = CExifRational::Unsigned(118, 1);
        r.YResolution = CExifRational::Unsigned(145, 2);
        r.ResolutionUnit = static_cast<uint16_t>(c.unit);
        uint16_t x = 7, y = 8;
        r.ResolutionAsDPI(x, y);
        EXPECT_EQ(x, c.x);
        EXPECT_EQ(y, c.y);
    }
}

TEST(ExifAdobeRGB, AllMustHold) {
    const auto ratios = [](std::vector<uint32_t> hundredths, uint32_t parts) {
        Record::Rationals all;
        for (const uint32_t n : hundredths) all.push_back(CExifRational::Unsigned(n, parts));
        return all;
    };
    Record r;
    r.InteroperabilityIndex = Wide("R03");
    r.InteroperabilityVersion = Wide("0100");
    r.ExifVersion = Wide("0221");
    r.ColorSpace = 65535;
    r.WhitePoint = ratios({313, 329}, 1000);
    r.PrimaryChromaticities = ratios({64, 33, 21, 71, 15, 6}, 100);
    r.Gamma = CExifRational::Unsigned(22, 10);
    Bytes profile;
    EXPECT_TRUE(r.DetectAdobeRGB(profile));
    EXPECT_EQ(profile.size(), 560u);
    r.YCbCrCoefficients = ratios({299, 587, 114}, 1000);
    EXPECT_TRUE(r.IsAdobeRGB());
    r.YCbCrCoefficients = ratios({299, 587}, 1000);
    EXPECT_FALSE(r.DetectAdobeRGB(profile));
    EXPECT_THAT(profile, IsEmpty());
    r.YCbCrCoefficients.clear();
    r.ColorSpace = 1;
    EXPECT_FALSE(r.IsAdobeRGB());
}

TEST(ExifForTIFF, NeedsBothDimensionsAndTurnsKeptTags) {
    Record r;
    r.PixelXDimension = 3;
    EXPECT_THAT(r.SerialiseForTIFF(true, 100), IsEmpty());
    r.PixelYDimension = 4;
    r.DateTimeOriginal = Wide("2004:02:29 13:05:09");
    r.otherTags0.push_back({50000, 3, {1, 2}});  // 0x0201 in this little-endian record
    r.InteroperabilityIndex = Wide("R98");
    const uint32_t base = 100;
    const Bytes directory = r.SerialiseForTIFF(true, base);
    // Put into a file, it is an EXIF directory as good as any.
    CTIFFBuilder b(true, 0);
    b.Add(Bytes(base - 8));
    b.Add(directory);
    b.Patch32(4, b.Directory({{34665, 4, 1, b.U32(base)}}));
    const Record again = Parsed(b.All(), false);
    EXPECT_EQ(again.PixelYDimension, 4u);
    EXPECT_EQ(again.DateTimeOriginal, r.DateTimeOriginal);
    EXPECT_EQ(again.InteroperabilityIndex, Wide("R98"));
    ASSERT_EQ(again.otherTags0.size(), 1u);
    EXPECT_THAT(again.otherTags0[0].bytes, ElementsAre(2, 1));
}

}  // namespace
}  // namespace kestr::test
