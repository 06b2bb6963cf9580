// The reader over the system's codecs, here over one that does what a test says.

#include "formats/wic_reader.h"

#include <functional>

#include <gmock/gmock.h>

#include "platform/code_page.h"

namespace kestr::test {
namespace {

using testing::ElementsAre;
using testing::ElementsAreArray;
using testing::IsEmpty;
using Bytes = std::vector<uint8_t>;
using enum ECodecPixels;

struct CPictureScript {
    ECodecPixels pixels = kOther;
    uint32_t width = 0, height = 0;
    Bytes rows;  // one behind the other
    std::vector<uint32_t> palette = {};
    uint32_t badRow = ~0u;  // no call that takes it in succeeds
};

struct CFileScript {
    std::vector<CPictureScript> frames;
    std::optional<CPictureScript> preview = {}, thumbnail = {};
    std::string name = "Scripted Decoder";
    bool opens = true;
    std::function<void(CCodecMetadataVisitor&)> metadata = [](auto&) {};
    int calls = 0;  // of CopyRows
    int alive = 0;  // files and pictures
};

class CScriptedPicture final : public CCodecPicture {
public:
    CScriptedPicture(CFileScript& file, const CPictureScript& script)
        : m_file(file), m_script(script) {
        m_width = script.width;
        m_height = script.height;
        m_pixels = script.pixels;
        ++m_file.alive;
    }
    ~CScriptedPicture() override { --m_file.alive; }
    std::vector<uint32_t> Palette() override { return m_script.palette; }
    bool CopyRows(uint32_t first, uint32_t count, uint32_t rowBytes, uint8_t* rows) override {
        ++m_file.calls;
        if (first <= m_script.badRow && m_script.badRow < first + count) return false;
        const auto start = m_script.rows.begin() + ptrdiff_t(first * rowBytes);
        std::copy(start, start + ptrdiff_t(count * rowBytes), rows);
        return true;
    }
    void VisitMetadata(CCodecMetadataVisitor& visitor) override { m_file.metadata(visitor); }

private:
    CFileScript& m_file;
    const CPictureScript& m_script;
};

class CScriptedFile final : public CCodecFile {
public:
    explicit CScriptedFile(CFileScript& script) : m_script(script) { ++m_script.alive; }
    ~CScriptedFile() override { --m_script.alive; }
    std::string CodecName() override { return m_script.name; }
    uint32_t FrameCount() override { return uint32_t(m_script.frames.size()); }
    std::unique_ptr<CCodecPicture> Frame(uint32_t index) override {
        if (index >= m_script.frames.size()) return nullptr;
        return std::make_unique<CScriptedPicture>(m_script, m_script.frames[index]);
    }
    std::unique_ptr<CCodecPicture> Preview() override { return Small(m_script.preview); }
    std::unique_ptr<CCodecPicture> Thumbnail() override { return Small(m_script.thumbnail); }

private:
    std::unique_ptr<CCodecPicture> Small(const std::optional<CPictureScript>& script) {
        return script ? std::make_unique<CScriptedPicture>(m_script, *script) : nullptr;
    }
    CFileScript& m_script;
};

CWICReader::COpener Opener(CFileScript& script) {
    return [&script](const KESTR_CHAR*) -> std::unique_ptr<CCodecFile> {
        if (!script.opens) return nullptr;
        return std::make_unique<CScriptedFile>(script);
    };
}

const WideString kPath = TextToWide("x.wic");

/// All rows that come, padding included.
Bytes Rows(CImageReader& reader) {
    Bytes rows;
    Bytes row(size_t(reader.m_bitmapInfo.RowBytes()));
    while (reader.ReadLine(row.data())) rows.insert(rows.end(), row.begin(), row.end());
    reader.Close();
    return rows;
}

Bytes Palette(const CImageReader& reader, size_t count) {
    Bytes bytes;
    for (size_t i = 0; i < count; ++i) {
        const CRGBQuad& color = reader.m_bitmapInfo.Palette()[i];
        bytes.insert(bytes.end(), {color.rgbBlue, color.rgbGreen, color.rgbRed});
    }
    return bytes;
}

// ---- pixel formats ------------------------------------------------------------------------------

struct CFormatCase {
    ECodecPixels pixels;
    const char* name;
    uint32_t width;
    Bytes source;
    int depth;
    Bytes row;  // padded with zeros
    Bytes alpha = {};
    std::vector<uint16_t> plane = {};
    Bytes palette = {};  // its first entries
    uint16_t colors = 0;
};

// A picture of one row. Words stand as this machine has them, low byte first.
TEST(WICReader, TurnsEachPixelFormatIntoABitmap) {
    const std::vector<uint32_t> colors = {0xFF102030, 0x00405060, 0xFF708090};
    const Bytes threeColors = {0x30, 0x20, 0x10, 0x60, 0x50, 0x40, 0x90, 0x80, 0x70};
    const Bytes twoColors(threeColors.begin(), threeColors.begin() + 6);
    const CFormatCase cases[] = {
        {k1bppIndexed,
         "PixelFormat1bppIndexed",
         9,
         {0xA5, 0x80},
         1,
         {0xA5, 0x80, 0, 0},
         {},
         {},
         twoColors,
         2},
        {k2bppIndexed,
         "PixelFormat2bppIndexed",
         5,
         {0x1B, 0x80},
         4,
         {0x01, 0x23, 0x20, 0},
         {},
         {},
         threeColors,
         3},
        {k4bppIndexed,
         "PixelFormat4bppIndexed",
         3,
         {0x12, 0x30},
         4,
         {0x12, 0x30, 0, 0},
         {},
         {},
         threeColors,
         3},
        {k8bppIndexed,
         "PixelFormat8bppIndexed",
         5,
         {1, 2, 0, 7, 255},
         8,
         {1, 2, 0, 7, 255, 0, 0, 0},
         {},
         {},
         threeColors,
         3},
        {kBlackWhite,
         "PixelFormatBlackWhite",
         8,
         {0x0F},
         1,
         {0x0F, 0, 0, 0},
         {},
         {},
         {0, 0, 0, 255, 255, 255},
         2},
        {k2bppGray,
         "PixelFormat2bppGray",
         9,
         {0x1B, 0xE4, 0xC0},
         4,
         {0x01, 0x23, 0x32, 0x10, 0x30, 0, 0, 0},
         {},
         {},
         {0, 0, 0, 85, 85, 85, 170, 170, 170, 255, 255, 255},
         4},
        {k4bppGray,
         "PixelFormat4bppGray",
         2,
         {0x1F},
         4,
         {0x1F, 0, 0, 0},
         {},
         {},
         {0, 0, 0, 17, 17, 17, 34, 34, 34},
         16},
        {k8bppGray,
         "PixelFormat8bppGray",
         4,
         {0, 1, 128, 255},
         8,
         {0, 1, 128, 255},
         {},
         {},
         {0, 0, 0, 1, 1, 1},
         256},
        {k16bppGray,
         "PixelFormat16bppGray",
         2,
         {0xFF, 0x12, 0x00, 0x80},
         8,
         {0x12, 0x80, 0, 0},
         {},
         {0x12FF, 0x8000},
         {0, 0, 0, 1, 1, 1},
         256},
        {k24bppBGR, "PixelFormat24bppBGR", 1, {1, 2, 3}, 24, {1, 2, 3, 0}},
        {k24bppRGB, "PixelFormat24bppRGB", 2, {1, 2, 3, 4, 5, 6}, 24, {3, 2, 1, 6, 5, 4, 0, 0}},
        {k32bppBGRA,
         "PixelFormat32bppBGRA",
         2,
         {1, 2, 3, 4, 5, 6, 7, 8},
         24,
         {1, 2, 3, 5, 6, 7, 0, 0},
         {4, 8}},
        {k48bppRGB,
         "PixelFormat48bppRGB",
         1,
         {0x02, 0x01, 0x04, 0x03, 0x06, 0x05},
         24,
         {5, 3, 1, 0},
         {},
         {0x0506, 0x0304, 0x0102}},
    };
    for (const CFormatCase& c : cases) {
        SCOPED_TRACE(c.name);
        CFileScript script{.frames = {{c.pixels, c.width, 1, c.source, colors}}};
        CWICReader reader(Opener(script));
        ASSERT_TRUE(reader.StartLoad(kPath.c_str(), 0, nullptr)) << reader.m_errorText;
        EXPECT_EQ(reader.m_typeId, 76);
        EXPECT_EQ(reader.m_description,
                  std::string("Format: Scripted Decoder\r\nWIC Pixel Type: ") + c.name);
        EXPECT_EQ(reader.m_bitmapInfo.BitCount(), c.depth);
        EXPECT_EQ(reader.Has16BitData(), !c.plane.empty());
        EXPECT_THAT(Rows(reader), ElementsAreArray(c.row));
        EXPECT_THAT(reader.m_alpha, ElementsAreArray(c.alpha));
        EXPECT_THAT(reader.m_bits16, ElementsAreArray(c.plane));
        EXPECT_THAT(Palette(reader, c.palette.size() / 3), ElementsAreArray(c.palette));
        EXPECT_EQ(reader.m_bitmapInfo.ColorCount(), c.colors);
        EXPECT_EQ(script.alive, 0);
    }
}

TEST(WICReader, RefusesWhatItCannotHold) {
    struct CCase {
        const char* name;
        CPictureScript frame;
        const char* words;
    };
    const Bytes row(16);
    const CCase cases[] = {
        {"5-5-5", {k16bppBGR555, 1, 1, row}, "Unsupported WIC pixel format."},
        {"5-6-5", {k16bppBGR565, 1, 1, row}, "Unsupported WIC pixel format."},
        {"32 bits without alpha", {k32bppBGR, 1, 1, row}, "Unsupported WIC pixel format."},
        {"multiplied alpha", {k32bppPBGRA, 1, 1, row}, "Unsupported WIC pixel format."},
        {"real gray", {k32bppGrayFloat, 1, 1, row}, "Unsupported WIC pixel format."},
        {"fixed point", {k48bppRGBFixedPoint, 1, 1, row}, "Unsupported WIC pixel format."},
        {"gray fixed point", {k16bppGrayFixedPoint, 1, 1, row}, "Unsupported WIC pixel format."},
        {"10 bits", {k32bppBGR101010, 1, 1, row}, "Unsupported WIC pixel format."},
        {"others", {kOther, 1, 1, row}, "Unsupported WIC pixel format."},
        {"no palette", {k8bppIndexed, 1, 1, row}, "No palette."},
        {"wide", {k8bppGray, 0xFFFFFFFF, 1, row}, "Bad image dimensions."},
        {"high", {k8bppGray, 1, 0xFFFFFFFF, row}, "Bad image dimensions."},
        {"large", {k48bppRGB, 200000, 200000, row}, "Bad image dimensions."},
        {"first row", {k8bppGray, 1, 1, row, {}, 0}, "."},
    };
    for (const CCase& c : cases) {
        SCOPED_TRACE(c.name);
        CFileScript script{.frames = {c.frame}};
        CWICReader reader(Opener(script));
        EXPECT_FALSE(reader.StartLoad(kPath.c_str(), 0, nullptr));
        EXPECT_EQ(reader.m_errorText, c.words);
        EXPECT_EQ(script.alive, 0);
    }
    CFileScript script{.frames = {{k8bppGray, 1, 1, row}}, .opens = false};
    CWICReader reader(Opener(script));
    EXPECT_FALSE(reader.Probe(kPath.c_str(), 0));
}

// ---- pages, rows and small pictures -------------------------------------------------------------

TEST(WICReader, ReadsThePageThatIsAskedFor) {
    CFileScript script{.frames = {{k8bppGray, 1, 1, {7}}, {k8bppGray, 2, 1, {8, 9}}}, .name = ""};
    CWICReader reader(Opener(script));
    ASSERT_TRUE(reader.StartLoad(kPath.c_str(), 1, nullptr));
    EXPECT_EQ(reader.m_pageCount, 2);
    EXPECT_EQ(reader.m_description, "Format: WIC CODEC\r\nWIC Pixel Type: PixelFormat8bppGray");
    EXPECT_THAT(Rows(reader), ElementsAre(8, 9, 0, 0));
    for (const int page : {-1, 2, 32767}) {
        EXPECT_FALSE(reader.Open(kPath.c_str(), page)) << page;
    }
    CWICReader counted(Opener(script));
    counted.m_pageCount = 5;
    ASSERT_TRUE(counted.Probe(kPath.c_str(), 0));
    EXPECT_EQ(counted.m_pageCount, 5) << "set already";
    EXPECT_EQ(script.alive, 0);
}

TEST(WICReader, AsksForManyRowsAtOnce) {
    constexpr uint32_t kHeight = 10000;
    Bytes pixels(size_t{100} * kHeight);
    for (size_t i = 0; i < pixels.size(); ++i) pixels[i] = uint8_t(i * 7 + i / 100);
    CFileScript script{.frames = {{k8bppGray, 100, kHeight, pixels}}};
    CWICReader reader(Opener(script));
    ASSERT_TRUE(reader.StartLoad(kPath.c_str(), 0, nullptr));
    EXPECT_EQ(Rows(reader), pixels);
    EXPECT_LE(script.calls, 4);
}

TEST(WICReader, DeliversTheRowsBeforeABadOne) {
    const Bytes words = {1, 2, 3, 4, 5, 6, 7, 8};
    CFileScript script{.frames = {{k16bppGray, 1, 4, words, {}, 2}}};
    CWICReader reader(Opener(script));
    ASSERT_TRUE(reader.StartLoad(kPath.c_str(), 0, nullptr));
    EXPECT_THAT(Rows(reader), ElementsAre(2, 0, 0, 0, 4, 0, 0, 0));
    EXPECT_THAT(reader.m_bits16, ElementsAre(0x0201, 0x0403, 0, 0));
}

TEST(WICReader, TakesASmallPictureForAThumbnail) {
    const CPictureScript frame{k8bppGray, 3, 1, {1, 2, 3}};
    const CPictureScript small{k8bppGray, 1, 1, {9}};
    const CPictureScript odd{kOther, 1, 1, {9}};
    struct CCase {
        const char* name;
        std::optional<CPictureScript> preview, thumbnail;
        int32_t width;
        uint32_t originalWidth;
    };
    const CPictureScript wide{k8bppGray, 2, 1, {5, 6}};
    const CCase cases[] = {
        {"preview first", wide, small, 2, 3},    {"thumbnail", {}, small, 1, 3},
        {"preview of no use", odd, small, 1, 3}, {"neither", {}, {}, 3, 0},
        {"both of no use", odd, odd, 3, 0},
    };
    for (const CCase& c : cases) {
        SCOPED_TRACE(c.name);
        CFileScript script{.frames = {frame}, .preview = c.preview, .thumbnail = c.thumbnail};
        CWICReader reader(Opener(script));
        reader.RequestThumbnail(1, 1, 0);
        ASSERT_TRUE(reader.StartLoad(kPath.c_str(), 0, nullptr));
        EXPECT_EQ(reader.m_bitmapInfo.Width(), c.width);
        EXPECT_EQ(reader.m_originalWidth, c.originalWidth);
        EXPECT_EQ(reader.m_thumbnailRequested, c.originalWidth != 0);
        EXPECT_EQ(Rows(reader).size(), 4u);
        EXPECT_EQ(script.alive, 0);
    }
}

TEST(WICReader, CollectsMetadataForALoadOrAQuery) {
    CFileScript script{.frames = {{k8bppGray, 1, 1, {1}}}};
    script.metadata = [](CCodecMetadataVisitor& visitor) {
        visitor.BeginBlock(ECodecBlock::kMain, "Ifd Reader");
        visitor.Item({CCodecVariant::kUI2, CCodecVariant::Numbers{274}},
                     {CCodecVariant::kUI2, CCodecVariant::Numbers{6}});
        visitor.EndBlock();
    };
    for (const bool query : {false, true}) {
        CWICReader reader(Opener(script));
        reader.m_headerOnly = query;
        ASSERT_TRUE(reader.Probe(kPath.c_str(), 0));
        EXPECT_EQ(reader.m_exif != nullptr, query);
        EXPECT_EQ(reader.MakeMetadataRoot() != nullptr, query);
        ASSERT_TRUE(reader.StartLoad(kPath.c_str(), 0, nullptr));
        ASSERT_TRUE(reader.m_exif);
        EXPECT_EQ(reader.m_exif->Orientation, 6);
        ASSERT_TRUE(reader.MakeMetadataRoot());
        EXPECT_EQ(reader.MakeMetadataRoot()->children.at(0)->name, "Ifd Reader");
    }
    script.metadata = [](CCodecMetadataVisitor& visitor) {
        visitor.BeginBlock(ECodecBlock::kOther, "");
        visitor.EndBlock();
    };
    CWICReader reader(Opener(script));
    ASSERT_TRUE(reader.StartLoad(kPath.c_str(), 0, nullptr));
    EXPECT_FALSE(reader.m_exif) << "nothing was found";
    EXPECT_TRUE(reader.MakeMetadataRoot());
}

}  // namespace
}  // namespace kestr::test
