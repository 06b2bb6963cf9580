#include "formats/jpeg_reader.h"

#include <algorithm>
#include <array>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "api/handles.h"
#include "support/icc_builder.h"
#include "support/jpeg_builder.h"
#include "support/loaded_handle.h"
#include "support/test_data.h"

namespace kestr {
namespace {

using std::string_literals::operator""s;
using test::CHandle;
using test::CJPEGBuilder;
using Bytes = std::vector<uint8_t>;

constexpr char kDamageLine[] = "\r\n\r\nDamaged file - incomplete read\r\nEmbedded Color Profile: ";

const CImageBits& ImageOf(const CHandle& handle) {
    return *FromHandle(static_cast<HKESTRSESSION>(handle))->image;
}

Bytes Joined(const Bytes& a, const Bytes& b) {
    Bytes both = a;
    both.insert(both.end(), b.begin(), b.end());
    return both;
}

// The offset of the frame header's data: precision, height, width, components.
size_t FrameOffset(const Bytes& file) {
    for (const auto& marker : test::MarkersOf(file)) {
        if (marker.marker >= 0xC0 && marker.marker <= 0xCF && marker.marker != 0xC4) {
            return marker.offset;
        }
    }
    return 0;
}

// What the bitmap should hold, from libjpeg's own decode: gray as it is, colours reversed, inks by
// the rule of the old display code: inks and black added, the sum taken from white.
Bytes Expected(const Bytes& file, bool fast, bool inverted) {
    const auto plain = test::DecodePlainly(file, fast);
    if (plain.channels == 1) return plain.samples;
    Bytes pixels;
    for (size_t i = 0; i < plain.samples.size(); i += plain.channels) {
        for (int channel = 2; channel >= 0; --channel) {
            int value = plain.samples[i + channel];
            if (plain.channels == 4) {
                int black = plain.samples[i + 3];
                if (inverted) value = 255 - value, black = 255 - black;
                value = std::max(0, 255 - std::min(255, value + black));
            }
            pixels.push_back(static_cast<uint8_t>(value));
        }
    }
    return pixels;
}

TEST(JpegReader, PixelsAreThoseOfThePlainDecode) {
    struct CCase {
        const char* name;
        CJPEGBuilder file;
        int typeId;
        const char* storage;  // the description's middle
        bool inverted = false;
    };
    const CCase cases[] = {
        {"gray", CJPEGBuilder().Components(1), 4, "8 bit gray scale"},
        {"gray, one pixel wide", CJPEGBuilder().Components(1).Size(1, 40), 4, "8 bit gray scale"},
        {"colour, halved both ways", CJPEGBuilder(), 4, "24 bits per pixel"},
        {"colour, halved across", CJPEGBuilder().Sampling(2, 1), 4, "24 bits per pixel"},
        {"colour, whole", CJPEGBuilder().Sampling(1, 1).Size(33, 9), 4, "24 bits per pixel"},
        {"progressive", CJPEGBuilder().Progressive(), 5,
         "24 bits per pixel\r\nProgressive JPEG Format"},
        {"CMYK, Adobe's", CJPEGBuilder().Components(4), 4, "24 bits per pixel (CMYK)", true},
        {"CMYK without the marker", CJPEGBuilder().Components(4).AdobeMarker(false), 4,
         "24 bits per pixel (CMYK)"},
        {"YCCK", CJPEGBuilder().Components(4, true), 4, "24 bits per pixel (CMYK)", true},
    };
    for (const CCase& c : cases) {
        for (const bool fast : {false, true}) {
            SCOPED_TRACE(c.name + (fast ? ", fast"s : ""s));
            const Bytes file = c.file.File();
            CHandle handle;
            cSetJPEGParams(handle, 75, 0.1, !fast, 0);
            ASSERT_TRUE(handle.LoadBytes(file, "x.jpg")) << handle.ErrorText();
            const auto info = handle.Info();
            const auto plain = test::DecodePlainly(file);
            EXPECT_EQ(info.width, static_cast<uint32_t>(plain.width));
            EXPECT_EQ(info.height, static_cast<uint32_t>(plain.height));
            EXPECT_EQ(info.bits, plain.channels == 1 ? 8 : 24);
            EXPECT_EQ(info.typeId, c.typeId);
            EXPECT_EQ(handle.Description(),
                      "Format: JPEG File Interchange Format\r\nColor Component Storage: "s +
                          c.storage + "\r\nJFIF Version 1.01\r\nEmbedded Color Profile: ");
            EXPECT_EQ(handle.Rows(info.width * info.bits / 8), Expected(file, fast, c.inverted));
        }
    }
}

TEST(JpegReader, RefusesWhatItCannotRead) {
    const Bytes good = CJPEGBuilder().File();
    const auto patched = [&](size_t offset, Bytes bytes) {
        Bytes file = good;
        std::ranges::copy(bytes, file.begin() + static_cast<ptrdiff_t>(FrameOffset(good) + offset));
        return file;
    };
    Bytes lossless = good;
    lossless[FrameOffset(good) - 3] = 0xC3;
    const struct {
        const char* name;
        Bytes file;
        const char* words;
    } kRefusals[] = {
        {"arithmetic coding", CJPEGBuilder().Arithmetic().File(), "JPEG decompression error 1"},
        {"12 bits", patched(0, {12}), "Unsupported JPEG precision"},
        {"lossless", lossless, "JPEG decompression error 60"},
        {"no width", patched(3, {0, 0}), "Empty JPEG image"},
        {"wider than 65500", patched(3, {0xFF, 0xFF}), "JPEG decompression error 41"},
        {"no JPEG at all", Bytes(300, 'x'), "Not a JPEG file"},
        {"99 bytes", Bytes(good.begin(), good.begin() + 99), "Premature end of input file"},
        {"tables only", Bytes(good.begin(), good.begin() + 120), "Empty input file"},
        {"65500 x 65500 without data", patched(1, {0xFF, 0xDC, 0xFF, 0xDC}),
         "JPEG image too large"},
    };
    for (const auto& c : kRefusals) {
        SCOPED_TRACE(c.name);
        CHandle handle;
        EXPECT_FALSE(handle.LoadBytes(c.file, "x.jpg"));
        EXPECT_EQ(handle.ErrorText(), c.words);
    }
}

TEST(JpegReader, AStreamOfManyScansEndsSoon) {
    Bytes file = CJPEGBuilder().Progressive().Components(1).Size(64, 64).File();
    // The first scan once more, 2000 times, before the end of the image.
    size_t scan = 0;
    for (const auto& marker : test::MarkersOf(file)) scan = marker.offset - 4;
    size_t end = scan + 2;
    while (file[end] != 0xFF || file[end + 1] == 0) ++end;
    const Bytes again(file.begin() + static_cast<ptrdiff_t>(scan),
                      file.begin() + static_cast<ptrdiff_t>(end));
    for (const int repeats : {10, 2000}) {
        Bytes longer(file.begin(), file.end() - 2);
        for (int i = 0; i < repeats; ++i) longer.insert(longer.end(), again.begin(), again.end());
        longer.insert(longer.end(), {0xFF, 0xD9});
        CHandle handle;
        EXPECT_EQ(handle.LoadBytes(longer, "x.jpg"), repeats == 10);
        EXPECT_EQ(handle.ErrorText(),
                  repeats == 10 ? "No error reported." : "JPEG decompression error 16");
    }
}

// Rows that come are right, and the longer the file the more of them come. What the last rows need
// includes the marker behind them, since no end of image is made up.
TEST(JpegReader, CutShortAtAnyByteDeliversTheRowsBefore) {
    const Bytes file = CJPEGBuilder().Size(24, 70).Marker(0xFE, "A comment").File();
    const Bytes rows = Expected(file, false, false);
    int last = 0;
    for (size_t length = 0; length < file.size(); ++length) {
        SCOPED_TRACE(length);
        const Bytes cut(file.begin(), file.begin() + static_cast<ptrdiff_t>(length));
        CJPEGReader reader;
        reader.SetMemorySource({cut.data() ? cut.data() : file.data(), length});
        int delivered = 0;
        if (reader.StartLoad(nullptr, 0, nullptr)) {
            Bytes row(72);
            while (delivered < 70 && reader.ReadLine(row.data())) {
                ASSERT_TRUE(std::equal(row.begin(), row.end(), rows.begin() + 72 * delivered));
                ++delivered;
            }
        }
        EXPECT_EQ(reader.m_errorText, "Empty input file");
        ASSERT_GE(delivered, last);
        last = delivered;
    }
    EXPECT_GE(last, 70 - 16);
}

TEST(JpegReader, APictureCutShortIsDelivered) {
    const Bytes file = CJPEGBuilder().Size(24, 70).File();
    CHandle whole, cut;
    ASSERT_TRUE(whole.LoadBytes(file, "x.jpg"));
    ASSERT_TRUE(cut.LoadBytes(Bytes(file.begin(), file.end() - 400), "x.jpg"));
    const uint32_t delivered = cGetScanLinesSuccessfullyRead(cut);
    ASSERT_GT(delivered, 10u);
    ASSERT_LT(delivered, 60u);
    Bytes expected = whole.Rows(72);
    std::fill(expected.begin() + 72 * delivered, expected.end(), uint8_t{0});
    EXPECT_EQ(cut.Rows(72), expected);
    EXPECT_EQ(cut.ErrorText(), "Empty input file");
    EXPECT_THAT(cut.Description(), testing::EndsWith(kDamageLine));
}

TEST(JpegReader, DamageInTheMiddleIsNoFailure) {
    Bytes file = CJPEGBuilder().Size(64, 64).File();
    const size_t middle = file.size() / 2 + file.size() / 4;
    for (size_t i = middle; i < middle + 20; ++i) file[i] = static_cast<uint8_t>(i * 37 | 1);
    CHandle handle;
    EXPECT_TRUE(handle.LoadBytes(file, "x.jpg"));
}

TEST(JpegReader, FindsTheStartOfTheStream) {
    const Bytes jpeg = CJPEGBuilder().Marker(0xE0, "none of JFIF").Size(64, 64).File();
    const Bytes comment = CJPEGBuilder().Size(64, 64).File();
    ASSERT_GT(jpeg.size(), 600u);
    const struct {
        const char* name;
        Bytes file;
        bool exactStart;
        bool found;
    } kCases[] = {
        {"256 bytes of rubbish", Joined(Bytes(256, 'r'), jpeg), false, true},
        {"1 byte", Joined(Bytes(1, 0xFF), jpeg), false, true},
        {"1 byte, exact start", Joined(Bytes(1, 'r'), jpeg), true, false},
        {"a start that leads nowhere", Joined({0xFF, 0xD8, 0xFF, 0xE1, 0xFF, 0xFF}, jpeg), false,
         true},
        {"no marker that counts behind SOI", Joined({0xFF, 0xD8, 0xFF, 0xC4, 0, 2}, jpeg), false,
         true},
        {"nothing but in the last 256 bytes",
         Joined(Bytes(9000, 'r'), Bytes(jpeg.begin(), jpeg.begin() + 256)), false, false},
    };
    for (const auto& c : kCases) {
        SCOPED_TRACE(c.name);
        CHandle handle;
        cSetJPEGParams(handle, 75, 0.1, 1, c.exactStart);
        EXPECT_EQ(handle.LoadBytes(c.file, "x.jpg"), c.found);
        if (c.found) {
            EXPECT_EQ(handle.Rows(192), Expected(jpeg, false, false));
        }
    }
}

TEST(JpegReader, CommentsJoinWithCrLf) {
    const struct {
        std::vector<std::string> markers;
        const char* comment;
    } kCases[] = {
        {{"one\rtwo\rthree"}, "one\r\ntwo\r\nthree"},
        {{"  first\n", "second"}, "first\r\n\r\nsecond"},
        {{"a", "b"}, "a\r\nb"},
        {{"cut\0here"s, ""}, "cut"},
        {{""}, ""},
    };
    for (const auto& c : kCases) {
        CJPEGBuilder builder;
        for (const std::string& text : c.markers) builder.Marker(0xFE, text);
        CHandle handle;
        ASSERT_TRUE(handle.LoadBytes(builder.File(), "x.jpg"));
        BSTR text = nullptr;
        cGetImageComments(handle, &text);
        EXPECT_EQ(test::TakeText(text), c.comment);
    }
    // A length below 2 holds the comment for ever: the file is refused, not looped over.
    Bytes file = CJPEGBuilder().Marker(0xFE, "abc").File();
    const auto markers = test::MarkersOf(file);
    const auto comment = std::ranges::find(markers, 0xFE, &test::CMarkerOfFile::marker);
    file[comment->offset - 1] = 1;
    CHandle handle;
    EXPECT_FALSE(handle.LoadBytes(file, "x.jpg"));
}

Bytes ProfilePiece(int number, int count, const Bytes& data) {
    Bytes piece{'I', 'C', 'C', '_', 'P', 'R', 'O', 'F', 'I', 'L', 'E', 0};
    piece.push_back(static_cast<uint8_t>(number));
    piece.push_back(static_cast<uint8_t>(count));
    return Joined(piece, data);
}

TEST(JpegReader, JoinsTheProfileInItsOrder) {
    const Bytes profile = test::NamedProfile("In pieces");
    constexpr int kPieces = 25;
    const size_t step = profile.size() / kPieces + 1;
    const auto piece = [&](int number) {
        const size_t from = std::min(profile.size(), (number - 1) * step);
        const size_t to = std::min(profile.size(), number * step);
        return ProfilePiece(number, kPieces, Bytes(profile.begin() + from, profile.begin() + to));
    };
    for (const bool cmyk : {false, true}) {
        for (const int missing : {0, 7}) {
            CJPEGBuilder builder;
            builder.Components(cmyk ? 4 : 3);
            for (int i = 0; i < kPieces; ++i) {
                const int number = i * 7 % kPieces + 1;
                if (number != missing) builder.Marker(0xE2, piece(number));
            }
            CHandle handle;
            ASSERT_TRUE(handle.LoadBytes(builder.File(), "x.jpg"));
            const bool kept = !cmyk && missing == 0;
            EXPECT_EQ(ImageOf(handle).iccProfile, kept ? profile : Bytes());
            EXPECT_THAT(handle.Description(),
                        testing::EndsWith(kept ? "Profile: In pieces" : "Profile: "));
        }
    }
}

TEST(JpegReader, HandsMarkersOn) {
    const Bytes riff = {'R', 'I', 'F', 'F', 1, 2, 3};
    const std::string xmp = "<x:xmpmeta>more than eleven</x:xmpmeta>";
    CHandle handle;
    ASSERT_TRUE(handle.LoadBytes(CJPEGBuilder()
                                     .Marker(0xE1, "HTTP://ns.adobe.com/XAP/1.0/\0"s + xmp)
                                     .Marker(0xE2, Joined(Bytes(41), riff))
                                     .Marker(0xE2, Joined(Bytes(13), {4, 5}))
                                     .Marker(0xEC, "camera")
                                     .Density(2, 100, 200)
                                     .File(),
                                 "x.jpg"));
    const CImageBits& image = ImageOf(handle);
    EXPECT_EQ(std::string(image.xmpData.begin(), image.xmpData.end()), xmp);
    EXPECT_EQ(image.soundClip, Joined(riff, {4, 5}));
    EXPECT_EQ(cImageHasSound(handle), 1);
    EXPECT_EQ(image.cameraText, (Bytes{1, 'c', 'a', 'm', 'e', 'r', 'a', 0}));
    EXPECT_EQ(image.physicalX, 254);  // 100 pixels a centimetre
    EXPECT_EQ(image.physicalY, 508);

    ASSERT_TRUE(handle.LoadBytes(CJPEGBuilder().Marker(0xE0, "012345HEAPJPGMx").File(), "x.jpg"));
    const std::string block =
        "\5"
        "012345HEAPJPGMx";
    EXPECT_EQ(ImageOf(handle).cameraText, Bytes(block.begin(), block.end()));
}

// Dataset 105 ("Headline") of record 2, in the record's own block.
Bytes Headline(std::string_view text) {
    Bytes block{0x1C, 2, 105, 0, static_cast<uint8_t>(text.size())};
    return Joined(block, Bytes(text.begin(), text.end()));
}

TEST(JpegReader, TakesIptcFromTheMarkerAndElseFromBehindThePicture) {
    Bytes resource(14);
    std::ranges::copy("Photoshop 3.0"s, resource.begin());
    const Bytes block = Headline("marker");
    resource.insert(resource.end(), {'8', 'B', 'I', 'M', 4, 4, 0, 0, 0, 0, 0});
    resource.push_back(static_cast<uint8_t>(block.size()));
    const Bytes with = CJPEGBuilder().Marker(0xED, Joined(resource, Joined(block, {0}))).File();
    const Bytes tail = Joined(Headline("tail"), {0x1C, 2, 90, 0, 2, 'A', 'B'});  // 90: city

    CHandle handle;
    ASSERT_TRUE(handle.LoadBytes(with, "x.jpg"));
    EXPECT_EQ(ImageOf(handle).iptc.Headline, "marker");
    ASSERT_TRUE(handle.LoadBytes(Joined(with, tail), "x.jpg"));
    EXPECT_EQ(ImageOf(handle).iptc.City, "");
    ASSERT_TRUE(handle.LoadBytes(Joined(CJPEGBuilder().File(), tail), "x.jpg"));
    EXPECT_EQ(ImageOf(handle).iptc.Headline, "tail");
    EXPECT_EQ(ImageOf(handle).iptc.City, "AB");
}

// Where each stored pixel goes. 5 is a quarter turn left and then mirrored, 7 one right and then
// mirrored, which is not what the EXIF standard means by them; callers know it so.
TEST(JpegReader, TurnsUprightOnce) {
    for (uint16_t orientation = 1; orientation <= 8; ++orientation) {
        SCOPED_TRACE(orientation);
        const Bytes file = CJPEGBuilder()
                               .Sampling(1, 1)
                               .Size(24, 16)
                               .Marker(0xE1, test::ExifOrientation(orientation))
                               .File();
        CHandle stored, turned;
        ASSERT_TRUE(stored.LoadBytes(file, "x.jpg"));
        cSetAutoRotate(turned, 1);
        ASSERT_TRUE(turned.LoadBytes(file, "x.jpg"));
        const bool sideways = orientation >= 5;
        ASSERT_EQ(turned.Info().width, sideways ? 16u : 24u);
        ASSERT_EQ(turned.Info().height, sideways ? 24u : 16u);
        EXPECT_EQ(ImageOf(turned).exif->Orientation, 1);
        EXPECT_EQ(ImageOf(stored).exif->Orientation, orientation);
        for (int y = 0; y < 16; ++y) {
            for (int x = 0; x < 24; ++x) {
                const int right = 23 - x, below = 15 - y;
                const std::array<std::array<int, 2>, 9> kPlaces{{{},
                                                                 {x, y},
                                                                 {right, y},
                                                                 {right, below},
                                                                 {x, below},
                                                                 {below, right},
                                                                 {below, x},
                                                                 {y, x},
                                                                 {y, right}}};
                const std::array<int, 2> place = kPlaces[orientation];
                const auto a = stored.Row(static_cast<uint32_t>(y));
                const auto b = turned.Row(static_cast<uint32_t>(place[1]));
                ASSERT_TRUE(
                    std::equal(a.begin() + 3 * x, a.begin() + 3 * x + 3, b.begin() + 3 * place[0]));
            }
        }
    }
}

TEST(JpegReader, DecodesASmallerPictureForAThumbnail) {
    const struct {
        int width, height;          // of the file
        uint32_t wantedX, wantedY;  // of the request
        int fit;
        int deliveredX, deliveredY;  // the file's divided by 1, 2, 4 or 8, rounded up
    } kCases[] = {
        {400, 300, 400, 300, 0, 400, 300},
        {400, 300, 399, 300, 0, 400, 300},  // halving would fall below on both sides: not halved
        {400, 300, 200, 150, 0, 200, 150},
        {400, 300, 199, 150, 0, 200, 150},
        {400, 300, 199, 150, 1, 100, 75},
        {400, 300, 10, 10, 0, 50, 38},
        {400, 300, 120, 120, 1, 100, 75},
        {400, 300, 120, 120, 0, 200, 150},
        {400, 300, 0, 100, 0, 400, 300},  // no request without both sides
    };
    for (const auto& c : kCases) {
        SCOPED_TRACE(std::to_string(c.wantedX) + " x " + std::to_string(c.wantedY));
        const Bytes file = CJPEGBuilder().Size(c.width, c.height).File();
        CJPEGReader reader;
        reader.SetMemorySource(file);
        reader.RequestThumbnail(c.wantedX, c.wantedY, c.fit);
        ASSERT_TRUE(reader.StartLoad(nullptr, 0, nullptr));
        EXPECT_EQ(reader.m_bitmapInfo.Width(), c.deliveredX);
        EXPECT_EQ(reader.m_bitmapInfo.Height(), c.deliveredY);
        EXPECT_EQ(reader.m_originalWidth, c.wantedX == 0 ? 0u : 400u);
        reader.Close();
    }
}

TEST(JpegReader, ServesOtherReaders) {
    const Bytes first = CJPEGBuilder().Size(16, 16).File();
    const Bytes second = CJPEGBuilder().Components(1).Size(40, 8).File();
    const test::CTemporaryFolder folder;
    test::WriteFile(folder / "two.bin", Joined(first, Joined(second, {1, 2, 3})));
    const auto path = test::WidePath(folder / "two.bin");
    const auto offset = static_cast<uint32_t>(first.size());
    CJPEGReader reader;
    for (const uint32_t size : {static_cast<uint32_t>(second.size()), uint32_t{0xFFFFFFFF}}) {
        reader.SetFileRange(offset, size);
        ASSERT_TRUE(reader.StartLoad(path.c_str(), 0, nullptr)) << reader.m_errorText;
        EXPECT_EQ(reader.m_bitmapInfo.Width(), 40);
        EXPECT_EQ(reader.m_bitmapInfo.BitCount(), 8);
        EXPECT_EQ(reader.m_bitmapInfo.Palette()[77].rgbGreen, 77);
        Bytes row(40);
        EXPECT_TRUE(reader.ReadLine(row.data()));
        const auto plain = test::DecodePlainly(second);
        EXPECT_TRUE(std::equal(row.begin(), row.end(), plain.samples.begin()));
        reader.Close();
    }
    reader.SetFileRange(0x7FFFFFFF, 100);
    EXPECT_FALSE(reader.StartLoad(path.c_str(), 0, nullptr));
    EXPECT_EQ(reader.m_errorText, "Empty input file");
    reader.Close();
    EXPECT_TRUE(reader.StartLoad(path.c_str(), 0, nullptr));  // the whole file again
    EXPECT_EQ(reader.m_bitmapInfo.Width(), 16);
    EXPECT_EQ(reader.mcuWidth, 16);
    EXPECT_EQ(reader.mcuHeight, 16);
}

}  // namespace
}  // namespace kestr
