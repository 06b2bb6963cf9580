// The tree of a codec's metadata, and the records that are made of it.

#include "metadata/wic_metadata.h"

#include <gmock/gmock.h>

namespace kestr::test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using V = CCodecVariant;
using M = CEXIF_Members;
using enum ECodecBlock;

V Number(uint16_t type, uint64_t number) {
    return {type, V::Numbers{number}};
}
V List(uint16_t element, V::Numbers numbers) {
    return {uint16_t(V::kVector | element), std::move(numbers)};
}
V Text8(std::string_view text) {
    return {V::kText8, V::Texts{Latin1ToWide(text)}};
}
V Blob(V::Bytes bytes) {
    return {V::kBlob, std::move(bytes)};
}
uint64_t Rational(uint32_t numerator, uint32_t denominator) {
    return uint64_t{denominator} << 32 | numerator;
}

struct CItem {
    V key, value;
};
WicMetadata::CElements Block(ECodecBlock block, std::vector<CItem> items) {
    WicMetadata::CTreeBuilder builder;
    builder.BeginBlock(block, "");
    for (CItem& item : items) builder.Item(std::move(item.key), std::move(item.value));
    builder.EndBlock();
    return builder.Take();
}
CItem Tag(uint16_t tag, V value) {
    return {Number(V::kUI2, tag), std::move(value)};
}

TEST(WICMetadata, TreeHoldsBlocksInsideOfBlocks) {
    WicMetadata::CTreeBuilder builder;
    builder.Item(Text8("lost"), Text8(""));
    builder.EndBlock();
    builder.BeginBlock(kOther, "App1");
    builder.BeginBlock(kMain, "Ifd");
    builder.Item(Number(V::kUI2, 271), Text8("M"));
    builder.BeginBlock(kExif, "Exif");
    builder.EndBlock();
    builder.Item(Number(V::kUI2, 272), Text8("N"));
    builder.EndBlock();
    builder.EndBlock();
    builder.BeginBlock(kIPTC, "Iptc");
    const auto blocks = builder.Take();
    ASSERT_EQ(blocks.size(), 2u);
    EXPECT_EQ(blocks[0]->name, "App1");
    EXPECT_EQ(blocks[1]->block, kIPTC);
    const auto& ifd = *blocks[0]->children.at(0);
    EXPECT_EQ(ifd.data.size(), 2u);
    EXPECT_EQ(ifd.data[1]->value, Text8("N"));
    EXPECT_EQ(ifd.children.at(0)->name, "Exif");
}

// ---- EXIF ---------------------------------------------------------------------------------------

struct CExifCase {
    const char* name;
    ECodecBlock block;
    uint16_t tag;
    V value;
    bool (*holds)(const M&);
};

const CExifCase kTaken[] = {
    {"16 bits", kMain, 274, Number(V::kUI2, 6), [](const M& r) { return r.Orientation == 6; }},
    {"16 bits, signed", kMain, 274, Number(V::kI2, 6),
     [](const M& r) { return r.Orientation == 6; }},
    {"32 bits for 16", kMain, 274, Number(V::kUI4, 6),
     [](const M& r) { return r.Orientation == 6; }},
    {"8 bits, a version", kGPS, 5, Number(V::kUI1, 1),
     [](const M& r) { return r.GPSAltitudeRef == 1; }},
    {"8 bits, signed", kGPS, 5, Number(V::kI1, ~0ull),
     [](const M& r) { return r.GPSAltitudeRef == 255; }},
    {"32 bits", kExif, 40962, Number(V::kUI4, 70000),
     [](const M& r) { return r.PixelXDimension == 70000u; }},
    {"32 bits, signed", kExif, 40962, Number(V::kI4, 70000),
     [](const M& r) { return r.PixelXDimension == 70000u; }},
    {"32 bits, int", kExif, 40962, Number(V::kInt, 70000),
     [](const M& r) { return r.PixelXDimension == 70000u; }},
    {"32 bits, unsigned int", kExif, 40962, Number(V::kUInt, 70000),
     [](const M& r) { return r.PixelXDimension == 70000u; }},
    {"16 bits for 32", kExif, 40963, Number(V::kI2, ~0ull),
     [](const M& r) { return r.PixelYDimension == 65535u; }},
    {"first of several", kMain, 273, List(V::kUI4, {8, 9}),
     [](const M& r) { return r.StripOffsets == 8u; }},
    {"rational", kExif, 33434, Number(V::kUI8, Rational(1, 250)),
     [](const M& r) { return r.ExposureTime && r.ExposureTime->value == 1.0 / 250; }},
    {"rational of 0", kExif, 33434, Number(V::kUI8, 0),
     [](const M& r) { return r.ExposureTime && r.ExposureTime->value == 1.0; }},
    {"signed rational", kExif, 37379, Number(V::kI8, Rational(uint32_t(-3), 2)),
     [](const M& r) { return r.BrightnessValue && r.BrightnessValue->value == -1.5; }},
    {"signed by its tag", kExif, 37380, Number(V::kUI8, Rational(uint32_t(-1), 3)),
     [](const M& r) { return r.ExposureBiasValue && r.ExposureBiasValue->value == -1.0 / 3; }},
    {"real", kExif, 42240, Number(V::kR8, 0x4004000000000000),
     [](const M& r) { return r.Gamma && r.Gamma->value == 2.5; }},
    {"two distances", kExif, 37382, List(V::kUI8, {Rational(1, 2), Rational(3, 4)}),
     [](const M& r) { return r.SubjectDistanceMax && r.SubjectDistanceMax->value == 0.75; }},
    {"rationals", kMain, 318, List(V::kUI8, {Rational(1, 2), Rational(1, 4)}),
     [](const M& r) { return r.WhitePoint.size() == 2 && r.WhitePoint[1].value == 0.25; }},
    {"padded to three", kGPS, 2, List(V::kUI8, {Rational(48, 1)}),
     [](const M& r) { return r.GPSLatitude.size() == 3 && r.GPSLatitude[0].value == 48; }},
    {"text", kMain, 271, Text8(" Maker \n"),
     [](const M& r) { return r.Make == Latin1ToWide("Maker"); }},
    {"wide text",
     kMain,
     271,
     {V::kText16, V::Texts{{0x4E2D, 0x6587}}},
     [](const M& r) {
         return r.Make == WideString{0x4E2D, 0x6587};
     }},
    {"list of texts",
     kMain,
     33432,
     {V::kVector | V::kText8, V::Texts{Latin1ToWide("me"), Latin1ToWide("you")}},
     [](const M& r) { return r.Copyright == Latin1ToWide(std::string_view("me\0you", 6)); }},
    {"four bytes", kExif, 36864, Blob({'0', '2', '2', '1'}),
     [](const M& r) { return r.ExifVersion == Latin1ToWide("0221"); }},
    {"four bytes as a list", kExif, 37121, List(V::kUI1, {1, 2, 3, 0}),
     [](const M& r) { return r.ComponentsConfiguration == Latin1ToWide("1230"); }},
    {"digits", kGPS, 0, List(V::kUI1, {2, 3, 0, 0}),
     [](const M& r) { return r.GPSVersionID == Latin1ToWide("2300"); }},
    {"one byte", kExif, 41728, Blob({3}), [](const M& r) { return r.FileSource == 3; }},
    {"one byte, a number", kExif, 41729, Number(V::kUI1, 1),
     [](const M& r) { return r.SceneType == 1; }},
    {"point", kExif, 37396, List(V::kUI2, {10, 20}),
     [](const M& r) {
         return r.SubjectArea == M::Shorts{10, 20};
     }},
    {"circle", kExif, 37396, List(V::kUI2, {10, 20, 30}),
     [](const M& r) { return r.SubjectArea.size() == 3; }},
    {"place", kExif, 41492, List(V::kUI2, {10, 20}),
     [](const M& r) { return r.SubjectLocationX == 10 && r.SubjectLocationY == 20; }},
    {"bytes", kExif, 37500, Blob({1, 2, 3}), [](const M& r) { return r.MakerNote.size() == 3; }},
    {"comment with a code", kExif, 37510, Blob({'J', 'I', 'S', 0, 0, 0, 0, 0, 'x'}),
     [](const M& r) { return r.UserComment.size() == 9; }},
    {"comment that is a text",
     kExif,
     37510,
     {V::kText16, V::Texts{Latin1ToWide("hi")}},
     [](const M& r) {
         return r.UserComment == M::Bytes{'A', 'S', 'C', 'I', 'I', 0, 0, 0, 'h', 'i'};
     }},
    {"interoperability", kInteroperability, 1, Text8("R03"),
     [](const M& r) { return r.InteroperabilityIndex == Latin1ToWide("R03"); }},
};

TEST(WICMetadata, FillsEachKindOfExifField) {
    for (const CExifCase& c : kTaken) {
        SCOPED_TRACE(c.name);
        M record;
        EXPECT_TRUE(WicMetadata::FillExif(Block(c.block, {Tag(c.tag, c.value)}), record));
        EXPECT_TRUE(c.holds(record));
        // The number of a tag may have 32 bits.
        M again;
        EXPECT_TRUE(
            WicMetadata::FillExif(Block(c.block, {{Number(V::kUI4, c.tag), c.value}}), again));
        EXPECT_TRUE(c.holds(again));
    }
}

TEST(WICMetadata, LeavesExifFieldsAloneThatAValueDoesNotFit) {
    struct CCase {
        const char* name;
        ECodecBlock block;
        V key;
        V value;
    };
    const auto tag = [](uint16_t number) { return Number(V::kUI2, number); };
    const CCase cases[] = {
        {"no such tag", kMain, tag(5), Number(V::kUI2, 1)},
        {"other block", kOther, tag(274), Number(V::kUI2, 1)},
        {"tag of another block", kGPS, tag(274), Number(V::kUI2, 1)},
        {"key is a text", kMain, Text8("274"), Number(V::kUI2, 1)},
        {"key beyond 16 bits", kMain, Number(V::kUI4, 65536 + 274), Number(V::kUI2, 1)},
        {"text for a number", kMain, tag(274), Text8("1")},
        {"number for a text", kMain, tag(271), Number(V::kUI2, 1)},
        {"blank text", kMain, tag(271), Text8(" ")},
        {"nothing", kMain, tag(274), {}},
        {"empty list", kMain, tag(274), List(V::kUI2, {})},
        {"short for a rational", kExif, tag(33434), Number(V::kUI2, 1)},
        {"rational for a short", kMain, tag(274), Number(V::kUI8, 1)},
        {"area of one", kExif, tag(37396), List(V::kUI2, {1})},
        {"area of four", kExif, tag(37396), List(V::kUI2, {1, 2, 3, 4})},
        {"two bytes for one", kExif, tag(41728), Blob({3, 3})},
        {"short for a byte", kExif, tag(41729), Number(V::kUI2, 1)},
        {"version of three bytes", kExif, tag(36864), Blob({'0', '2', '2'})},
        {"components of five", kExif, tag(37121), Blob({1, 2, 3, 0, 0})},
        {"version as a text", kExif, tag(36864), Text8("0221")},
        {"comment of blanks", kExif, tag(37510), Text8("  ")},
        {"strips of several", kMain, tag(279), List(V::kUI4, {1, 2})},
    };
    for (const CCase& c : cases) {
        M record;
        EXPECT_FALSE(WicMetadata::FillExif(Block(c.block, {{c.key, c.value}}), record)) << c.name;
    }
}

TEST(WICMetadata, KeepsTheFirstOfTagsThatCamerasRepeat) {
    M record;
    WicMetadata::FillExif(
        Block(kExif, {Tag(41488, Number(V::kUI2, 2)), Tag(41488, Number(V::kUI2, 3)),
                      Tag(41486, Number(V::kUI8, Rational(1, 2))),
                      Tag(41486, Number(V::kUI8, Rational(1, 4)))}),
        record);
    EXPECT_EQ(record.FocalPlaneResolutionUnit, 2);
    EXPECT_EQ(record.FocalPlaneXResolution->value, 0.5);
}

// ---- IPTC ---------------------------------------------------------------------------------------

TEST(WICMetadata, FillsTheIptcRecord) {
    const V words{V::kVector | V::kText8,
                  V::Texts{Latin1ToWide("sea"), Latin1ToWide(" sky "), Latin1ToWide("sea")}};
    const V wide{V::kText16, V::Texts{Latin1ToWide("wide")}};
    CIPTC_Members record;
    EXPECT_TRUE(
        WicMetadata::FillIPTC(Block(kIPTC, {{Text8("Keywords"), words},
                                            {Text8("by-line"), Text8("A")},
                                            {Text8("By-line"), Text8("B")},
                                            {Text8("Caption"), Text8("said")},
                                            {Text8("Country/Primary Location Code"), Text8("SUI")},
                                            {Text8("Sub-location"), Text8("pier")},
                                            {Text8("Headline"), Text8("first")},
                                            {Text8("Headline"), Text8("second")},
                                            {Number(V::kUI2, 90), Text8("Bern")},
                                            {Number(V::kUI1, 110), wide},
                                            {Number(V::kUI4, 200), Text8("other")},
                                            {Number(V::kUI4, 256), Text8("lost")},
                                            {Text8("No such name"), Text8("lost")},
                                            {Text8("City"), Number(V::kUI2, 1)}}),
                              record));
    EXPECT_THAT(record.Keywords, ElementsAre("sea", "sky"));
    EXPECT_THAT(record.ByLine, ElementsAre("A", "B"));
    EXPECT_EQ(record.Caption, "said");
    EXPECT_EQ(record.CountryCode, "SUI");
    EXPECT_EQ(record.SubLocation, "pier");
    EXPECT_EQ(record.Headline, "first");
    EXPECT_EQ(record.City, "Bern");
    EXPECT_EQ(record.Credit, "wide");
    EXPECT_THAT(record.extended, ElementsAre(testing::Pair(200, "other")));

    EXPECT_FALSE(WicMetadata::FillIPTC(Block(kOther, {{Text8("City"), Text8("x")}}), record));
    EXPECT_TRUE(record.Empty()) << "what was there before goes";
}

TEST(WICMetadata, ReadsTheIptcBytesOfADirectory) {
    const V::Bytes city = {0x1C, 2, 90, 0, 2, 'U', 'r', 0};  // and a pad byte
    V::Bytes resource = {'8', 'B', 'I', 'M', 4, 4, 0, 0, 0, 0, 0, 8};
    resource.insert(resource.end(), city.begin(), city.end());
    const V longs = List(V::kUI4, {0x005A021C, 0x00725502});  // the same, low byte first
    const CItem cases[] = {
        Tag(33723, Blob(city)),
        Tag(33723, List(V::kUI1, {city.begin(), city.end()})),
        Tag(33723, longs),
        Tag(34377, Blob(resource)),
    };
    for (const CItem& item : cases) {
        CIPTC_Members record;
        EXPECT_TRUE(WicMetadata::FillIPTC(Block(kMain, {item}), record));
        EXPECT_EQ(record.City, "Ur");
    }
}

}  // namespace
}  // namespace kestr::test
