#include <bit>
#include <cmath>
#include <string>

#include <gmock/gmock.h>
#include <zlib.h>

#include "api/handles.h"
#include "base/float_tone.h"
#include "support/jpeg_builder.h"
#include "support/loaded_handle.h"
#include "support/test_data.h"

namespace kestr::test {
namespace {

using testing::HasSubstr;
using testing::Not;

using Bytes = std::vector<uint8_t>;

void Put(Bytes& out, uint64_t value, int bytes) {
    for (int i = bytes - 1; i >= 0; --i) out.push_back(static_cast<uint8_t>(value >> 8 * i));
}
void Put(Bytes& out, const Bytes& more) {
    out.insert(out.end(), more.begin(), more.end());
}
void Put(Bytes& out, std::string_view text) {
    out.insert(out.end(), text.begin(), text.end());
}

struct CChannel {
    int16_t id = 0;
    Bytes data;  // with the compression word
};
struct CLayer {
    int32_t top = 0, left = 0, bottom = 2, right = 2;
    std::vector<CChannel> channels;
    const char* mode = "norm";
    uint8_t opacity = 255;
    uint8_t flags = 0;
    uint32_t maskBytes = 0;
    const char* signature = "8BIM";
};

struct CPhotoshop {
    uint16_t mode = 3;
    uint16_t depth = 8;
    uint16_t channels = 3;
    uint32_t width = 2, height = 2;
    Bytes colours = {};
    Bytes resources = {};
    std::vector<CLayer> layers = {};
    uint16_t compression = 0;
    Bytes pixels = {};
    int16_t statedLayers = 0;  // 0 for as many as there are
    uint32_t version = 1;
    bool fillLayers = false;  // a section of 14 bytes without layers
};

Bytes LayerSection(const CPhotoshop& p) {
    Bytes info;
    if (p.fillLayers) return Bytes(14);
    if (p.layers.empty() && p.statedLayers == 0) return {};
    Put(info, p.statedLayers != 0 ? static_cast<uint16_t>(p.statedLayers) : p.layers.size(), 2);
    for (const CLayer& layer : p.layers) {
        for (const int32_t side : {layer.top, layer.left, layer.bottom, layer.right}) {
            Put(info, static_cast<uint32_t>(side), 4);
        }
        Put(info, layer.channels.size(), 2);
        for (const CChannel& channel : layer.channels) {
            Put(info, static_cast<uint16_t>(channel.id), 2);
            Put(info, channel.data.size(), 4);
        }
        Put(info, layer.signature);
        Put(info, layer.mode);
        Put(info, Bytes{layer.opacity, 0, layer.flags, 0});
        Put(info, 4 + layer.maskBytes, 4);
        Put(info, layer.maskBytes, 4);
        Put(info, Bytes(layer.maskBytes));
    }
    for (const CLayer& layer : p.layers) {
        for (const CChannel& channel : layer.channels) Put(info, channel.data);
    }
    Bytes section;
    Put(section, info.size(), 4);
    Put(section, info);
    Put(section, 0, 4);  // the global mask
    return section;
}

Bytes File(const CPhotoshop& p) {
    Bytes b;
    Put(b, "8BPS");
    Put(b, p.version, 2);
    Put(b, Bytes(6));
    Put(b, p.channels, 2);
    Put(b, p.height, 4);
    Put(b, p.width, 4);
    Put(b, p.depth, 2);
    Put(b, p.mode, 2);
    for (const Bytes& section : {p.colours, p.resources, LayerSection(p)}) {
        Put(b, section.size(), 4);
        Put(b, section);
    }
    Put(b, p.compression, 2);
    Put(b, p.pixels);
    return b;
}

Bytes Resource(uint16_t id, const Bytes& data) {
    Bytes b;
    Put(b, "8BIM");
    Put(b, id, 2);
    Put(b, 0, 2);
    Put(b, data.size(), 4);
    Put(b, data);
    if (data.size() % 2 != 0) b.push_back(0);
    return b;
}

Bytes Palette() {
    Bytes b(768);
    b[1] = 10, b[256 + 1] = 20, b[512 + 1] = 30;
    return b;
}

struct CDelivery {
    const char* name;
    CPhotoshop file;
    uint8_t bits;
    size_t rowUsed;
    Bytes rows;
    std::vector<uint16_t> samples = {};  // of the 16-bit store
};

const Bytes kPlanes{1, 4, 7, 10, 2, 5, 8, 11, 3, 6, 9, 12};  // red, green, blue
const Bytes kJoined{3, 2, 1, 6, 5, 4, 9, 8, 7, 12, 11, 10};
// A table of six row lengths; the second row's packet begins in the first, -128 says nothing.
const Bytes kPackedPlanes{0, 0, 0, 0, 0,  0,    0, 0, 0, 0, 0, 0,  // rows
                          3, 1, 4, 7, 10, 0x80, 0, 2, 2, 5, 8, 11, 0xFD, 9};
const Bytes kPackedJoined{9, 2, 1, 9, 5, 4, 9, 8, 7, 9, 11, 10};

const CDelivery kDeliveries[] = {
    {"RGB", {.pixels = kPlanes}, 24, 6, kJoined},
    {"RGB with a spot channel",
     {.channels = 4, .height = 1, .pixels = {1, 4, 2, 5, 3, 6, 99, 99}},
     24,
     6,
     {3, 2, 1, 6, 5, 4}},
    {"RGB packed", {.compression = 1, .pixels = kPackedPlanes}, 24, 6, kPackedJoined},
    {"RGB short", {.height = 1, .pixels = {1, 4, 2}}, 24, 6, {0, 2, 1, 0, 0, 4}},
    {"RGB of 16 bits",
     {.depth = 16, .width = 1, .height = 1, .pixels = {1, 2, 3, 4, 5, 6}},
     24,
     3,
     {5, 3, 1},
     {0x506, 0x304, 0x102}},
    {"gray", {.mode = 1, .channels = 1, .pixels = {1, 2, 3, 4}}, 8, 2, {1, 2, 3, 4}},
    {"gray of 16 bits",
     {.mode = 1, .depth = 16, .channels = 1, .width = 2, .height = 1, .pixels = {1, 2, 3, 4}},
     8,
     2,
     {1, 3},
     {0x102, 0x304}},
    {"duotone of 16 bits",
     {.mode = 8,
      .depth = 16,
      .channels = 1,
      .height = 1,
      .colours = Bytes(9),
      .pixels = {1, 2, 3, 4}},
     8,
     2,
     {1, 3},
     {0x102, 0x304}},
    {"bitmap",
     {.mode = 0, .depth = 1, .channels = 1, .width = 10, .pixels = {0xAB, 0xC0, 0x12, 0x40}},
     1,
     2,
     {0xAB, 0xC0, 0x12, 0x40}},
    {"indexed",
     {.mode = 2, .channels = 1, .height = 1, .colours = Palette(), .pixels = {0, 1}},
     8,
     2,
     {0, 1}},
    // c, m, y, k of pixel 0 are 0, 10, 255, 0; of pixel 1 100, 200, 0, 100.
    {"CMYK",
     {.mode = 4, .channels = 4, .height = 1, .pixels = {255, 155, 245, 55, 0, 255, 255, 155}},
     24,
     6,
     {0, 245, 255, 155, 0, 55}},
    {"CMYK of 16 bits, high bytes alone",
     {.mode = 4,
      .depth = 16,
      .channels = 4,
      .width = 1,
      .height = 1,
      .pixels = {155, 9, 55, 9, 255, 9, 155, 9}},
     24,
     3,
     {155, 0, 55}},
    // Lightness 100 and 0 without colour.
    {"Lab",
     {.mode = 9, .height = 1, .pixels = {255, 0, 128, 128, 128, 128}},
     24,
     6,
     {255, 255, 255, 0, 0, 0}},
    // 1, infinity and not a number; -1, 0 and 1/4: 65535 * 0.25 ^ (1 / 2.2) is 34898.73.
    {"RGB of 32 bits",
     {.depth = 32, .height = 1, .pixels = {0x3F, 0x80, 0, 0, 0xBF, 0x80, 0, 0,  //
                                           0x7F, 0x80, 0, 0, 0,    0,    0, 0,  //
                                           0x7F, 0xC0, 0, 0, 0x3E, 0x80, 0, 0}},
     24,
     6,
     {0, 255, 255, 136, 0, 0},
     {0, 65535, 65535, 34899, 0, 0}},
};

TEST(PSDReader, DeliversEachModeAndDepth) {
    for (const CDelivery& c : kDeliveries) {
        SCOPED_TRACE(c.name);
        CHandle handle;
        ASSERT_TRUE(handle.LoadBytes(File(c.file), "a.psd")) << handle.ErrorText();
        EXPECT_EQ(handle.Info().bits, c.samples.empty() ? c.bits : 2 * c.bits);
        EXPECT_EQ(handle.Rows(c.rowUsed), c.rows);
        const CPixelWords& samples = FromHandle(handle)->image->bits16;
        EXPECT_EQ(std::vector<uint16_t>(samples.begin(), samples.end()), c.samples);
    }
}

TEST(PSDReader, Palettes) {
    CHandle handle;
    ASSERT_TRUE(handle.LoadBytes(File(kDeliveries[9].file), "a.psd"));
    EXPECT_EQ(handle.Palette(2)[1], (Bytes{30, 20, 10}));
    ASSERT_TRUE(handle.LoadBytes(File(kDeliveries[8].file), "a.psd"));
    EXPECT_EQ(handle.Palette(2), (std::vector<Bytes>{{255, 255, 255}, {0, 0, 0}}));
}

TEST(PSDReader, ToneOfLight) {
    for (int i = 0; i <= 20000; ++i) {
        const auto light = static_cast<float>(i) / 20000;
        const double level = 65535 * std::pow(static_cast<double>(light), 1 / 2.2);
        EXPECT_NEAR(FloatTone().Level(std::bit_cast<uint32_t>(light)), level, i == 0 ? 0 : 0.7)
            << i;
    }
}

TEST(PSDReader, Refuses) {
    struct CCase {
        CPhotoshop file;
        const char* words;
    };
    for (const CCase& c : {
             CCase{{.depth = 64}, "64bits/channel images not supported."},
             CCase{{.depth = 24}, "24bits/channel images not supported."},
             CCase{{.depth = 4}, "4bits/channel images not supported."},
             CCase{{.mode = 1, .depth = 32}, "Only RGB images with 32 bits/channel supported."},
             CCase{{.mode = 0, .depth = 16}, "16 bits/channel gray PSD images not supported."},
             CCase{{.mode = 2, .depth = 16}, "16 bits/channel indexed PSD images not supported."},
             CCase{{.mode = 9, .depth = 16}, "16 bits/channel LAB PSD images not supported."},
             CCase{{.mode = 5}, "Unsupported PSD mode."},
             CCase{{.mode = 6}, "Unsupported PSD mode."},
             CCase{{.mode = 7}, "Unsupported PSD mode."},
             CCase{{.mode = 10}, "Unsupported PSD mode."},
             CCase{{.depth = 1}, "1bits/channel images not supported."},
             CCase{{.mode = 5, .depth = 4}, "Unsupported PSD mode."},
         }) {
        CHandle handle;
        EXPECT_FALSE(handle.LoadBytes(File(c.file), "a.psd")) << c.words;
        EXPECT_EQ(handle.ErrorText(), c.words);
    }
    CHandle handle;
    EXPECT_FALSE(handle.LoadBytes(File({.pixels = kPlanes, .version = 2}), "a.psd"));
    EXPECT_FALSE(handle.LoadBytes(File({.width = 0x7FFFFFFF, .height = 0x7FFFFFFF}), "a.psd"));
    EXPECT_FALSE(handle.LoadBytes(File({.width = 30000, .height = 30000}), "a.psd"));
}

TEST(PSDReader, Describes) {
    CHandle handle;
    ASSERT_TRUE(handle.LoadBytes(File(kDeliveries[2].file), "a.psd"));
    EXPECT_EQ(handle.Description(),
              "Format: Adobe Photoshop Format\r\nColorspace: RGB\r\nCompressed: Yes"
              "\r\nBits Per Channel: 8\r\nEmbedded Color Profile: ");
    EXPECT_EQ(handle.Info().typeId, 31);
    ASSERT_TRUE(handle.LoadBytes(File(kDeliveries[10].file), "a.psd"));
    EXPECT_THAT(handle.Description(), HasSubstr("\r\nColorspace: CMYK\r\nCompressed: No"));
    ASSERT_TRUE(handle.LoadBytes(File(kDeliveries[12].file), "a.psd"));
    EXPECT_THAT(handle.Description(), HasSubstr("\r\nColorspace: LAB"));
}

// A layer of one gray value a channel, plain: red, green, blue and, if given, its transparency.
CLayer Flat(uint8_t red, uint8_t green, uint8_t blue, int alpha = -1) {
    CLayer layer;
    int16_t id = 0;
    for (const uint8_t level : {red, green, blue}) {
        layer.channels.push_back({id++, {0, 0, level, level, level, level}});
    }
    if (alpha >= 0) {
        const auto a = static_cast<uint8_t>(alpha);
        layer.channels.push_back({-1, {0, 0, a, a, a, a}});
    }
    return layer;
}
// A layer whose planes and transparency are zlib streams.
CLayer Zipped(const std::array<Bytes, 4>& planes, uint8_t compression) {
    CLayer layer;
    for (size_t i = 0; i < planes.size(); ++i) {
        Bytes packed(100);
        uLongf size = 100;
        compress(packed.data(), &size, planes[i].data(), static_cast<uLong>(planes[i].size()));
        packed.resize(size);
        packed.insert(packed.begin(), {0, compression});
        layer.channels.push_back({static_cast<int16_t>(i == 3 ? -1 : static_cast<int>(i)), packed});
    }
    return layer;
}

TEST(PSDReader, UnzipsLayers) {
    // Rows of two samples; predicted, the second is its difference from the first.
    const std::array<Bytes, 4> plain{Bytes{10, 20, 30, 40}, Bytes{50, 60, 70, 80},
                                     Bytes{90, 200, 110, 120}, Bytes{255, 255, 0, 255}};
    const std::array<Bytes, 4> predicted{Bytes{10, 10, 30, 10}, Bytes{50, 10, 70, 10},
                                         Bytes{90, 110, 110, 10}, Bytes{255, 0, 0, 255}};
    for (const CLayer& layer : {Zipped(plain, 2), Zipped(predicted, 3)}) {
        CHandle handle;
        cSetBackgroundColor(handle, 0x000000);
        ASSERT_TRUE(handle.LoadBytes(File({.layers = {layer}, .pixels = kPlanes}), "a.psd"));
        EXPECT_EQ(handle.Rows(6), (Bytes{90, 50, 10, 200, 60, 20, 0, 0, 0, 120, 80, 40}));
    }
}

CLayer With(CLayer layer, void (*change)(CLayer&)) {
    change(layer);
    return layer;
}

TEST(PSDReader, ComposesPlainLayersOverTheMatte) {
    struct CCase {
        const char* name;
        std::vector<CLayer> layers;
        Bytes rows;
        bool gray = false;
    };
    const Bytes matte{30, 20, 10, 30, 20, 10, 30, 20, 10, 30, 20, 10};
    const Bytes flat{3, 2, 1, 3, 2, 1, 3, 2, 1, 3, 2, 1};
    CLayer packed = Flat(1, 2, 3);
    packed.channels[0].data = {0, 1, 0, 2, 0, 2, 0xFF, 1, 0xFF, 1};
    CLayer gradient;  // three wide, its middle row and column inside at (-1, -1)
    gradient.top = gradient.left = -1;
    for (const int16_t id : {int16_t{0}, int16_t{1}, int16_t{2}}) {
        gradient.channels.push_back({id, {0, 0, 1, 2, 3, 4, 5, 6, 7, 8, 9}});
    }
    const CCase cases[] = {
        {"opaque", {Flat(1, 2, 3)}, flat},
        {"packed", {packed}, flat},
        {"another mode", {With(Flat(1, 2, 3), [](CLayer& l) { l.mode = "mul "; })}, matte},
        {"hidden", {With(Flat(1, 2, 3), [](CLayer& l) { l.flags = 2; })}, matte},
        {"masked", {With(Flat(1, 2, 3), [](CLayer& l) { l.maskBytes = 20; })}, matte},
        {"the upper one wins", {Flat(9, 9, 9), Flat(1, 2, 3)}, flat},
        // 110 - (110 - 10) * (255 - 100) / 255 = 110 - 60 and so on, truncated.
        {"transparent",
         {Flat(110, 120, 130, 100)},
         {70, 60, 50, 70, 60, 50, 70, 60, 50, 70, 60, 50}},
        // a = 128 * 100 / 255 = 50: 110 - 100 * 205 / 255 = 110 - 80.
        {"and with opacity",
         {With(Flat(110, 120, 130, 100), [](CLayer& l) { l.opacity = 128; })},
         {50, 40, 30, 50, 40, 30, 50, 40, 30, 50, 40, 30}},
        // 0 - (0 - 10) * 205 / 255 = 8, 16, 24 (24.1)
        {"darker than what is there",
         {With(Flat(0, 0, 0, 100), [](CLayer& l) { l.opacity = 128; })},
         {24, 16, 8, 24, 16, 8, 24, 16, 8, 24, 16, 8}},
        {"over the edge", {gradient}, {5, 5, 5, 6, 6, 6, 8, 8, 8, 9, 9, 9}},
        {"beside the picture",
         {With(Flat(1, 2, 3), [](CLayer& l) { l.left = 2, l.right = 4; })},
         matte},
        {"one pixel",
         {{.top = 1, .left = 1, .channels = {{0, {0, 0, 1}}, {1, {0, 0, 2}}, {2, {0, 0, 3}}}}},
         {30, 20, 10, 30, 20, 10, 30, 20, 10, 3, 2, 1}},
        {"gray", {{.channels = {{0, {0, 0, 1, 2, 3, 4}}}}}, {1, 2, 3, 4}, true},
    };
    const CTemporaryFolder folder;
    for (const CCase& c : cases) {
        SCOPED_TRACE(c.name);
        CPhotoshop file{.layers = c.layers, .pixels = Bytes(12, 77)};
        if (c.gray) file.mode = 1, file.channels = 1;
        WriteFile(folder / "a.psd", File(file));
        CHandle handle;
        cSetBackgroundColor(handle, 0x1E140A);
        ASSERT_TRUE(handle.Load(folder / "a.psd"));
        EXPECT_EQ(handle.Rows(c.gray ? 2 : 6), c.rows);
        EXPECT_THAT(handle.Description(),
                    HasSubstr("\r\nLayers: " + std::to_string(c.layers.size())));
        cSetPSDParams(handle, 1);
        ASSERT_TRUE(handle.Load(folder / "a.psd"));
        EXPECT_EQ(handle.Rows(c.gray ? 2 : 6), Bytes(c.gray ? 4 : 12, 77));
        EXPECT_THAT(handle.Description(), Not(HasSubstr("Layers")));
    }
}

TEST(PSDReader, DamagedLayerTables) {
    CHandle handle;
    const auto loads = [&](CPhotoshop file) {
        file.pixels = kPlanes;
        return handle.LoadBytes(File(file), "a.psd");
    };
    CLayer many = Flat(1, 2, 3);
    many.channels.resize(24);
    EXPECT_TRUE(loads({.layers = {many}}));
    many.channels.resize(25);
    EXPECT_FALSE(loads({.layers = {many}}));
    EXPECT_FALSE(loads({.layers = {With(Flat(1, 2, 3), [](CLayer& l) { l.signature = "8BIX"; })}}));
    const std::vector<CLayer> layers(501);
    EXPECT_FALSE(loads({.layers = layers}));
    EXPECT_FALSE(loads({.layers = layers, .statedLayers = -501}));
    EXPECT_TRUE(loads({.layers = std::vector<CLayer>(500), .statedLayers = -500}));
    EXPECT_FALSE(loads({.layers = {Flat(1, 2, 3)}, .statedLayers = 2}));
    // A deep file with layers gives its composite.
    EXPECT_TRUE(handle.LoadBytes(File({.depth = 16,
                                       .width = 1,
                                       .height = 1,
                                       .pixels = {1, 2, 3, 4, 5, 6},
                                       .fillLayers = true}),
                                 "a.psd"));
    EXPECT_EQ(handle.Rows(3), (Bytes{5, 3, 1}));
}

TEST(PSDReader, Resources) {
    Bytes resources = Resource(1028, {0x1C, 2, 5, 0, 3, 'a', 'b', 'c'});
    Bytes exif = ExifOrientation(3);
    exif.erase(exif.begin(), exif.begin() + 6);
    Put(resources, Resource(1058, exif));
    Put(resources, Resource(1036, [] {
            Bytes data(28);
            Put(data, CJPEGBuilder().Size(20, 10).Components(1).File());
            return data;
        }()));
    const CTemporaryFolder folder;
    WriteFile(folder / "a.psd",
              File({.width = 40, .height = 20, .resources = resources, .pixels = Bytes(2400, 9)}));
    CHandle handle;
    ASSERT_TRUE(handle.Load(folder / "a.psd"));
    EXPECT_EQ(FromHandle(handle)->image->iptc.ObjectName, "abc");
    ASSERT_NE(FromHandle(handle)->image->exif, nullptr);
    EXPECT_EQ(FromHandle(handle)->image->exif->Orientation, 3);
    EXPECT_EQ(handle.Info().width, 40u);

    // The thumbnail is the picture of a thumbnail load, whatever its size.
    ASSERT_EQ(cLoadThumbnailExW(handle, WidePath(folder / "a.psd").c_str(), 20, 20, 0), 1);
    EXPECT_EQ(handle.Info().width, 20u);
    EXPECT_EQ(handle.Info().height, 10u);
    EXPECT_EQ(handle.Info().bits, 8);
    EXPECT_EQ(handle.Info().originalWidth, 40u);
    // One that cannot be decoded gives way to the picture.
    WriteFile(folder / "b.psd", File({.width = 40,
                                      .height = 20,
                                      .resources = Resource(1036, Bytes(200)),
                                      .pixels = Bytes(2400, 9)}));
    ASSERT_EQ(cLoadThumbnailExW(handle, WidePath(folder / "b.psd").c_str(), 20, 20, 0), 1);
    EXPECT_EQ(handle.Info().bits, 24);
    EXPECT_EQ(handle.Rows(60), Bytes(600, 9));
}

TEST(PSDReader, ThumbnailsOfTheOldKindHaveRedAndBlueExchanged) {
    const Bytes jpeg = CJPEGBuilder().Size(8, 8).Components(3).File();
    const CPlainPicture plain = DecodePlainly(jpeg);  // red, green, blue
    Bytes data(28);
    Put(data, jpeg);
    const CTemporaryFolder folder;
    WriteFile(
        folder / "a.psd",
        File(
            {.width = 40, .height = 40, .resources = Resource(1033, data), .pixels = Bytes(4800)}));
    CHandle handle;
    ASSERT_EQ(cLoadThumbnailExW(handle, WidePath(folder / "a.psd").c_str(), 8, 8, 0), 1);
    EXPECT_EQ(handle.Rows(24), plain.samples);
}

TEST(PSDWriter, WritesWhatItRead) {
    const CTemporaryFolder folder;
    for (const CDelivery& c : kDeliveries) {
        SCOPED_TRACE(c.name);
        CHandle first, second;
        ASSERT_TRUE(first.LoadBytes(File(c.file), "a.psd"));
        ASSERT_TRUE(first.Save(folder / "out.psd", 31));
        ASSERT_TRUE(second.Load(folder / "out.psd"));
        EXPECT_EQ(second.Info().bits, first.Info().bits);
        EXPECT_EQ(second.Rows(c.rowUsed), c.rows);
        EXPECT_EQ(second.Palette(2), first.Palette(2));
        EXPECT_EQ(FromHandle(second)->image->bits16, FromHandle(first)->image->bits16);
    }
}

TEST(PSDWriter, Bytes) {
    const CTemporaryFolder folder;
    struct CCase {
        size_t delivery;
        CPhotoshop file;
    };
    for (const CCase& c : {
             CCase{0, {.pixels = kPlanes}},
             CCase{2, {.pixels = {1, 4, 7, 10, 2, 5, 8, 11, 9, 9, 9, 9}}},
             CCase{4, kDeliveries[4].file},
             CCase{6, kDeliveries[6].file},
             CCase{8, kDeliveries[8].file},
             CCase{9, kDeliveries[9].file},
         }) {
        CHandle handle;
        ASSERT_TRUE(handle.LoadBytes(File(kDeliveries[c.delivery].file), "a.psd"));
        ASSERT_TRUE(handle.Save(folder / "out.psd", 31));
        EXPECT_EQ(ReadFile(folder / "out.psd"), File(c.file)) << kDeliveries[c.delivery].name;
    }
    CHandle handle;
    EXPECT_FALSE(handle.Save(folder / "none" / "out.psd", 31));
}

TEST(PSDWriter, CountsThePadByteOfExifAlone) {
    // Datasets of 8 bytes and an odd text: what is serialised has an odd length.
    const CTemporaryFolder folder;
    CHandle handle;
    ASSERT_TRUE(handle.LoadBytes(File({.pixels = kPlanes}), "a.psd"));
    CImageBits& image = *FromHandle(handle)->image;
    image.iptc.ObjectName = "ab";
    const size_t iptc = image.iptc.Serialise().size();
    image.iccProfile = Bytes(131, 1);
    ASSERT_TRUE(handle.Save(folder / "out.psd", 31));
    const Bytes file = ReadFile(folder / "out.psd");
    const size_t stated = size_t{file[32]} << 8 | file[33];
    EXPECT_EQ(stated, 12 + iptc + 12 + 131);
    EXPECT_EQ(file.size(), 26 + 4 + 4 + stated + iptc % 2 + 1 + 4 + 2 + 12);
    // Such a file comes back whole all the same.
    CHandle second;
    ASSERT_TRUE(second.Load(folder / "out.psd"));
    EXPECT_EQ(second.Rows(6), kJoined);
    EXPECT_EQ(FromHandle(second)->image->iptc.ObjectName, "ab");
}

}  // namespace
}  // namespace kestr::test
