// TIFF files: read from what libtiff wrote, written for libtiff to read.

#include <array>
#include <cmath>
#include <memory>

#include <gmock/gmock.h>
#include <tiffio.h>

#include "api/handles.h"
#include "platform/code_page.h"
#include "support/loaded_handle.h"
#include "support/picture.h"
#include "support/test_data.h"
#include "support/tiff_builder.h"

namespace kestr::test {
namespace {

using testing::HasSubstr;

using Bytes = std::vector<uint8_t>;

struct CCloser {
    void operator()(TIFF* tiff) const { TIFFClose(tiff); }
};
using CTiff = std::unique_ptr<TIFF, CCloser>;

constexpr uint32_t kWidth = 37;  // odd, so that rows end inside bytes
constexpr uint32_t kHeight = 21;

struct CForm {
    const char* name;
    int bits, samples;
    int photometric;
    int compression;
    int32_t typeId;
    bool planar = false;
    bool tiled = false;
    const char* mode = "w";
};

/// Sample `channel` of a pixel, in 16 bits.
uint16_t Sample(uint32_t x, uint32_t y, int channel) {
    return static_cast<uint16_t>(x * 1700 + y * 2900 + static_cast<uint32_t>(channel) * 9000);
}

/// One row, or one plane of it, as libtiff takes it.
Bytes RowOf(const CForm& form, uint32_t y, int plane, uint32_t width) {
    const int samples = form.planar ? 1 : form.samples;
    Bytes row((width * static_cast<uint32_t>(samples * form.bits) + 7) / 8);
    for (uint32_t x = 0; x < width; ++x) {
        for (int c = 0; c < samples; ++c) {
            const uint16_t value = Sample(x, y, plane + c);
            const size_t at = x * static_cast<size_t>(samples) + static_cast<size_t>(c);
            if (form.bits == 16) {
                reinterpret_cast<uint16_t*>(row.data())[at] = value;
            } else if (form.bits == 8) {
                row[at] = static_cast<uint8_t>(value >> 8);
            } else if (value >> 15 != 0) {
                row[at / 8] |= static_cast<uint8_t>(0x80 >> at % 8);
            }
        }
    }
    return row;
}

void Write(const std::filesystem::path& path, const CForm& form) {
    const CTiff tiff(TIFFOpen(path.string().c_str(), form.mode));
    ASSERT_TRUE(tiff);
    TIFFSetField(tiff.get(), TIFFTAG_IMAGEWIDTH, kWidth);
    TIFFSetField(tiff.get(), TIFFTAG_IMAGELENGTH, kHeight);
    TIFFSetField(tiff.get(), TIFFTAG_BITSPERSAMPLE, form.bits);
    TIFFSetField(tiff.get(), TIFFTAG_SAMPLESPERPIXEL, form.samples);
    TIFFSetField(tiff.get(), TIFFTAG_PHOTOMETRIC, form.photometric);
    TIFFSetField(tiff.get(), TIFFTAG_COMPRESSION, form.compression);
    TIFFSetField(tiff.get(), TIFFTAG_PLANARCONFIG,
                 form.planar ? PLANARCONFIG_SEPARATE : PLANARCONFIG_CONTIG);
    TIFFSetField(tiff.get(), TIFFTAG_IMAGEDESCRIPTION, "a description");
    if (form.tiled) {
        constexpr uint32_t kTile = 16;
        TIFFSetField(tiff.get(), TIFFTAG_TILEWIDTH, kTile);
        TIFFSetField(tiff.get(), TIFFTAG_TILELENGTH, kTile);
        for (uint32_t top = 0; top < kHeight; top += kTile) {
            for (uint32_t left = 0; left < kWidth; left += kTile) {
                Bytes tile(kTile * kTile * 3);
                for (uint32_t y = 0; y < kTile; ++y) {
                    for (uint32_t x = 0; x < 3 * kTile; ++x) {
                        tile[y * 3 * kTile + x] = static_cast<uint8_t>(
                            Sample(left + x / 3, top + y, static_cast<int>(x % 3)) >> 8);
                    }
                }
                TIFFWriteTile(tiff.get(), tile.data(), left, top, 0, 0);
            }
        }
        return;
    }
    TIFFSetField(tiff.get(), TIFFTAG_ROWSPERSTRIP, 5);
    for (int plane = 0; plane < (form.planar ? form.samples : 1); ++plane) {
        for (uint32_t y = 0; y < kHeight; ++y) {
            TIFFWriteScanline(tiff.get(), RowOf(form, y, plane, kWidth).data(), y,
                              static_cast<uint16_t>(plane));
        }
    }
}

const CForm kForms[] = {
    {"RGB", 8, 3, 2, 1, 18},
    {"RGB, big-endian", 8, 3, 2, 1, 18, false, false, "wb"},
    {"RGB in planes", 8, 3, 2, 1, 18, true},
    {"RGB in tiles", 8, 3, 2, 1, 18, false, true},
    {"RGB, LZW", 8, 3, 2, 5, 24},
    {"RGB in planes, LZW", 8, 3, 2, 5, 24, true},
    {"RGB, ZIP", 8, 3, 2, 8, 54},
    {"RGB, PackBits", 8, 3, 2, 32773, 27},
    {"RGB of 16 bits", 16, 3, 2, 1, 18},
    {"RGB of 16 bits, big-endian", 16, 3, 2, 1, 18, false, false, "wb"},
    {"RGB of 16 bits, ZIP", 16, 3, 2, 8, 54},
    {"gray", 8, 1, 1, 1, 18},
    {"gray, LZW", 8, 1, 1, 5, 24},
    {"gray, white is 0", 8, 1, 0, 1, 18},
    {"gray of 16 bits", 16, 1, 1, 1, 18},
    {"bilevel", 1, 1, 1, 1, 18},
    {"bilevel, white is 0", 1, 1, 0, 1, 18},
    {"bilevel, Group 4", 1, 1, 0, 4, 21},
    {"bilevel, Huffman", 1, 1, 0, 2, 19},
};

class TiffTest : public testing::Test {
protected:
    CTemporaryFolder m_folder;
};

TEST_F(TiffTest, DeliversWhatLibtiffWrote) {
    const auto path = m_folder / "a.tif";
    for (const CForm& form : kForms) {
        SCOPED_TRACE(form.name);
        Write(path, form);
        CHandle handle;
        ASSERT_TRUE(handle.Load(path)) << handle.ErrorText();
        EXPECT_EQ(handle.Info().width, kWidth);
        EXPECT_EQ(handle.Info().height, kHeight);
        EXPECT_EQ(handle.Info().typeId, form.typeId);
        EXPECT_EQ(handle.Info().bits, form.samples == 3 ? form.bits * 3 : form.bits);
        EXPECT_THAT(handle.Description(),
                    HasSubstr("Tagged Image File Format\r\nPhotometric Interpretation: "));
        BSTR comment = nullptr;
        cGetImageComments(handle, &comment);
        EXPECT_EQ(TakeText(comment), "a description");
        for (uint32_t y = 0; y < kHeight; ++y) {
            for (uint32_t x = 0; x < kWidth; ++x) {
                // Red, green, blue as the numbers in the file mean them.
                uint16_t expected[3];
                for (int c = 0; c < 3; ++c) {
                    uint16_t value = Sample(x, y, form.samples == 3 ? c : 0);
                    if (form.bits == 8) value >>= 8;
                    if (form.bits == 1) value = value >> 15 != 0 ? 255 : 0;
                    expected[c] =
                        form.photometric == 0 ? static_cast<uint16_t>(255 - value) : value;
                }
                uint16_t red = 0, green = 0, blue = 0;
                ASSERT_EQ(cGetPixelColor(handle, static_cast<int32_t>(x), static_cast<int32_t>(y),
                                         &red, &green, &blue),
                          1);
                ASSERT_EQ(red, expected[0]) << x << ", " << y;
                ASSERT_EQ(green, expected[1]) << x << ", " << y;
                ASSERT_EQ(blue, expected[2]) << x << ", " << y;
            }
        }
    }
}

/// The picture of the handle, as libtiff sees the saved file: red, green, blue of each pixel.
void ExpectSaved(CHandle& handle, const std::filesystem::path& path) {
    const CTiff tiff(TIFFOpen(path.string().c_str(), "r"));
    ASSERT_TRUE(tiff);
    const CHandle::CInfo info = handle.Info();
    std::vector<uint32_t> raster(size_t{info.width} * info.height);
    ASSERT_EQ(TIFFReadRGBAImageOriented(tiff.get(), info.width, info.height, raster.data(),
                                        ORIENTATION_TOPLEFT, 0),
              1);
    for (uint32_t y = 0; y < info.height; ++y) {
        for (uint32_t x = 0; x < info.width; ++x) {
            const uint32_t pixel = raster[size_t{y} * info.width + x];
            uint16_t red = 0, green = 0, blue = 0;
            cGetPixelColor(handle, static_cast<int32_t>(x), static_cast<int32_t>(y), &red, &green,
                           &blue);
            ASSERT_EQ(TIFFGetR(pixel), red) << x << ", " << y;
            ASSERT_EQ(TIFFGetG(pixel), green) << x << ", " << y;
            ASSERT_EQ(TIFFGetB(pixel), blue) << x << ", " << y;
        }
    }
}

/// A page given sample by sample, so that any form can be written, and what it means.
struct COddForm {
    const char* name;
    int bits, samples, photometric;
    bool alpha;  // the last sample is one
    uint16_t compression;
    /// Red, green, blue from the samples of a pixel, by the format's own words.
    std::array<int, 3> (*meaning)(const std::vector<int>& samples);
    bool isPlanar = false;
};

std::array<int, 3> Inks(const std::vector<int>& s) {
    std::array<int, 3> rgb{};
    for (size_t c = 0; c < 3; ++c) rgb[c] = 255 - std::min(s[c] + s[3], 255);
    return rgb;
}

const COddForm kOddForms[] = {
    {"2-bit gray", 2, 1, 1, false, 1,
     [](const auto& s) {
         return std::array{s[0] * 85, s[0] * 85, s[0] * 85};
     }},
    {"4-bit gray, white is 0", 4, 1, 0, false, 1,
     [](const auto& s) {
         const int level = 255 - s[0] * 17;
         return std::array{level, level, level};
     }},
    {"4-bit RGB", 4, 3, 2, false, 1,
     [](const auto& s) {
         return std::array{s[0] * 16, s[1] * 16, s[2] * 16};
     }},
    {"4-bit RGB and alpha", 4, 4, 2, true, 1,
     [](const auto& s) {
         return std::array{s[0] * 16, s[1] * 16, s[2] * 16};
     }},
    {"RGB and alpha, LZW", 8, 4, 2, true, 5,
     [](const auto& s) {
         return std::array{s[0], s[1], s[2]};
     }},
    {"RGB and alpha in planes", 8, 4, 2, true, 8,
     [](const auto& s) {
         return std::array{s[0], s[1], s[2]};
     },
     true},
    {"gray and alpha", 8, 2, 1, true, 1,
     [](const auto& s) {
         return std::array{s[0], s[0], s[0]};
     }},
    {"CMYK", 8, 4, 5, false, 1, &Inks},
    {"CMYK and alpha, ZIP", 8, 5, 5, true, 8, &Inks},
    {"CMYK of one bit", 1, 4, 5, false, 1,
     [](const auto& s) {
         const auto light = [&](size_t ink) { return s[ink] != 0 || s[3] != 0 ? 0 : 255; };
         return std::array{light(0), light(1), light(2)};
     }},
    {"4-bit palette, PackBits", 4, 1, 3, false, 32773,
     [](const auto& s) {
         return std::array{s[0], 2 * s[0], 255 - s[0]};
     }},
    {"8-bit palette", 8, 1, 3, false, 1,
     [](const auto& s) {
         return std::array{s[0], 2 * s[0] & 255, 255 - s[0]};
     }},
    {"L*a*b* without colour", 8, 3, 8, false, 1, nullptr},
};

/// The samples of one pixel: without colour in L*a*b*, where only the gray axis is plain to say.
std::vector<int> SamplesOf(const COddForm& form, uint32_t x, uint32_t y) {
    std::vector<int> samples;
    for (int c = 0; c < form.samples; ++c) {
        const bool isColourOfLab = form.photometric == 8 && c > 0;
        samples.push_back(isColourOfLab ? 0 : Sample(x, y, c) >> (16 - form.bits));
    }
    return samples;
}

void WriteOdd(const std::filesystem::path& path, const COddForm& form) {
    const CTiff tiff(TIFFOpen(path.string().c_str(), "w"));
    ASSERT_TRUE(tiff);
    TIFFSetField(tiff.get(), TIFFTAG_IMAGEWIDTH, kWidth);
    TIFFSetField(tiff.get(), TIFFTAG_IMAGELENGTH, kHeight);
    TIFFSetField(tiff.get(), TIFFTAG_BITSPERSAMPLE, form.bits);
    TIFFSetField(tiff.get(), TIFFTAG_SAMPLESPERPIXEL, form.samples);
    TIFFSetField(tiff.get(), TIFFTAG_PHOTOMETRIC, form.photometric);
    TIFFSetField(tiff.get(), TIFFTAG_COMPRESSION, form.compression);
    TIFFSetField(tiff.get(), TIFFTAG_PLANARCONFIG, form.isPlanar ? 2 : 1);
    TIFFSetField(tiff.get(), TIFFTAG_ROWSPERSTRIP, 8);
    if (form.alpha) {
        const uint16_t kind = EXTRASAMPLE_UNASSALPHA;
        TIFFSetField(tiff.get(), TIFFTAG_EXTRASAMPLES, 1, &kind);
    }
    if (form.photometric == PHOTOMETRIC_PALETTE) {
        uint16_t red[256], green[256], blue[256];
        for (int i = 0; i < 256; ++i) {
            red[i] = static_cast<uint16_t>(i << 8);
            green[i] = static_cast<uint16_t>((2 * i & 255) << 8);
            blue[i] = static_cast<uint16_t>((255 - i) << 8);
        }
        TIFFSetField(tiff.get(), TIFFTAG_COLORMAP, red, green, blue);
    }
    const int planes = form.isPlanar ? form.samples : 1;
    for (int plane = 0; plane < planes; ++plane) {
        for (uint32_t y = 0; y < kHeight; ++y) {
            Bytes row(kWidth * 5);
            size_t bit = 0;
            for (uint32_t x = 0; x < kWidth; ++x) {
                const std::vector<int> samples = SamplesOf(form, x, y);
                for (int c = 0; c < form.samples; ++c) {
                    if (form.isPlanar && c != plane) continue;
                    const int shift = 8 - form.bits - static_cast<int>(bit % 8);
                    row[bit / 8] |= static_cast<uint8_t>(samples[static_cast<size_t>(c)] << shift);
                    bit += static_cast<size_t>(form.bits);
                }
            }
            TIFFWriteScanline(tiff.get(), row.data(), y, static_cast<uint16_t>(plane));
        }
    }
}

TEST_F(TiffTest, DeliversWhatTheSamplesMean) {
    const auto path = m_folder / "a.tif";
    for (const COddForm& form : kOddForms) {
        SCOPED_TRACE(form.name);
        WriteOdd(path, form);
        CHandle handle;
        ASSERT_TRUE(handle.Load(path)) << handle.ErrorText();
        const CImageBits& image = *FromHandle(handle)->image;
        ASSERT_EQ(image.alpha.size(), form.alpha ? size_t{kWidth} * kHeight : 0);
        for (int y = 0; y < static_cast<int>(kHeight); ++y) {
            for (int x = 0; x < static_cast<int>(kWidth); ++x) {
                const auto samples =
                    SamplesOf(form, static_cast<uint32_t>(x), static_cast<uint32_t>(y));
                const auto colour = ColourOf(image, x, y);
                if (form.meaning != nullptr) {
                    const auto rgb = form.meaning(samples);
                    ASSERT_EQ(colour[2], rgb[0]) << x << ", " << y;
                    ASSERT_EQ(colour[1], rgb[1]) << x << ", " << y;
                    ASSERT_EQ(colour[0], rgb[2]) << x << ", " << y;
                } else {
                    // CIE 1976: the light of a lightness; shown with a gamma of 1 / 0.45.
                    const double lightness = samples[0] * 100 / 255;
                    const double f = (lightness + 16) / 116;
                    const double light = lightness > 8 ? f * f * f : lightness / 903.3;
                    const double value = std::pow(light, 0.45);
                    for (const uint8_t sample : colour) ASSERT_NEAR(sample, value * 255, 1.5);
                }
                if (form.alpha) {
                    const int scale = form.bits == 4 ? 16 : 1;
                    ASSERT_EQ(image.alpha[static_cast<size_t>(y) * kWidth + static_cast<size_t>(x)],
                              samples.back() * scale);
                }
            }
        }
    }
}

/// What a lossy page looks like to libtiff's own reader.
TEST_F(TiffTest, DeliversJPEGAndYCbCrAsLibtiffDoes) {
    const auto path = m_folder / "a.tif";
    for (const uint16_t photometric : {PHOTOMETRIC_RGB, PHOTOMETRIC_YCBCR}) {
        {
            const CTiff tiff(TIFFOpen(path.string().c_str(), "w"));
            TIFFSetField(tiff.get(), TIFFTAG_IMAGEWIDTH, kWidth);
            TIFFSetField(tiff.get(), TIFFTAG_IMAGELENGTH, kHeight);
            TIFFSetField(tiff.get(), TIFFTAG_BITSPERSAMPLE, 8);
            TIFFSetField(tiff.get(), TIFFTAG_SAMPLESPERPIXEL, 3);
            TIFFSetField(tiff.get(), TIFFTAG_PHOTOMETRIC, photometric);
            TIFFSetField(tiff.get(), TIFFTAG_COMPRESSION, COMPRESSION_JPEG);
            TIFFSetField(tiff.get(), TIFFTAG_PLANARCONFIG, PLANARCONFIG_CONTIG);
            if (photometric == PHOTOMETRIC_YCBCR) {
                TIFFSetField(tiff.get(), TIFFTAG_JPEGCOLORMODE, JPEGCOLORMODE_RGB);
            }
            const CForm form{"", 8, 3, photometric, COMPRESSION_JPEG, 23};
            for (uint32_t y = 0; y < kHeight; ++y) {
                TIFFWriteScanline(tiff.get(), RowOf(form, y, 0, kWidth).data(), y, 0);
            }
        }
        CHandle handle;
        ASSERT_TRUE(handle.Load(path)) << handle.ErrorText();
        EXPECT_EQ(handle.Info().typeId, 23);
        ExpectSaved(handle, path);
    }
}

TEST_F(TiffTest, CarriesWhatACameraWrote) {
    for (const bool bigEndian : {false, true}) {
        CHandle handle, again;
        cNewImage(handle, 5, 3, 0x00FF00);
        CImageBits& image = *FromHandle(handle)->image;
        image.exif = std::make_unique<CEXIF_Members>();
        image.exif->Make = Latin1ToWide("maker");
        image.exif->PixelXDimension = 5;
        image.exif->PixelYDimension = 3;
        image.exif->DateTimeOriginal = Latin1ToWide("2024:02:29 12:00:00");
        image.exif->GPSLatitudeRef = Latin1ToWide("S");
        image.xmpData = {'<', 'x', '/', '>', 0};
        for (const int32_t page : {0, 1}) {
            const auto path = m_folder / (bigEndian ? "big.tif" : "little.tif");
            const auto wide = WidePath(path);
            ASSERT_TRUE(image.Save(wide.c_str(), 18, page, true, true, bigEndian, nullptr));
            ASSERT_TRUE(again.Load(path));
            const CImageBits& read = *FromHandle(again)->image;
            ASSERT_NE(read.exif, nullptr);
            EXPECT_EQ(read.exif->Make, Latin1ToWide("maker"));
            EXPECT_EQ(read.exif->DateTimeOriginal, Latin1ToWide("2024:02:29 12:00:00"));
            EXPECT_EQ(read.exif->GPSLatitudeRef, Latin1ToWide("S"));
            EXPECT_EQ(read.xmpData, image.xmpData);
            // libtiff finds both directories where their pointers say, on each page.
            const CTiff tiff(TIFFOpen(path.string().c_str(), "r"));
            ASSERT_TRUE(tiff && TIFFSetDirectory(tiff.get(), static_cast<tdir_t>(page)));
            EXPECT_EQ(TIFFIsBigEndian(tiff.get()), bigEndian ? 1 : 0);
            uint64_t offset = 0;
            ASSERT_EQ(TIFFGetField(tiff.get(), TIFFTAG_GPSIFD, &offset), 1);
            ASSERT_EQ(TIFFReadGPSDirectory(tiff.get(), offset), 1);
            const char* text = nullptr;
            ASSERT_EQ(TIFFGetField(tiff.get(), GPSTAG_LATITUDEREF, &text), 1);
            EXPECT_STREQ(text, "S");
        }
    }
}

TEST_F(TiffTest, WritesForLibtiffToRead) {
    struct CCase {
        const char* name;
        size_t form;  // of kForms, where the picture comes from
        std::vector<int32_t> typeIds;
    };
    const CCase cases[] = {{"24 bits", 0, {18, 24, 54}},
                           {"8 bits gray", 11, {18, 24, 54}},
                           {"1 bit", 16, {18, 19, 20, 21, 24, 54}}};
    for (const CCase& c : cases) {
        for (const int32_t typeId : c.typeIds) {
            SCOPED_TRACE(std::string(c.name) + " as " + std::to_string(typeId));
            Write(m_folder / "a.tif", kForms[c.form]);
            CHandle handle;
            ASSERT_TRUE(handle.Load(m_folder / "a.tif"));
            ASSERT_TRUE(handle.Save(m_folder / "out.tif", typeId)) << handle.ErrorText();
            ExpectSaved(handle, m_folder / "out.tif");
            CHandle again;
            ASSERT_TRUE(again.Load(m_folder / "out.tif"));
            EXPECT_EQ(again.Info().bits, handle.Info().bits);
        }
    }
}

TEST_F(TiffTest, KeepsSixteenBits) {
    Write(m_folder / "a.tif", kForms[8]);
    for (const int32_t typeId : {18, 24, 54}) {
        CHandle handle, again;
        ASSERT_TRUE(handle.Load(m_folder / "a.tif"));
        ASSERT_TRUE(handle.Save(m_folder / "out.tif", typeId));
        ASSERT_TRUE(again.Load(m_folder / "out.tif"));
        EXPECT_EQ(again.Info().bits, 48);
        EXPECT_TRUE(FromHandle(again)->image->bits16 == FromHandle(handle)->image->bits16)
            << typeId;
    }
}

TEST_F(TiffTest, Pages) {
    const auto path = m_folder / "pages.tif";
    for (const uint32_t side : {2u, 3u, 4u}) {
        CHandle handle;
        cNewImage(handle, side, side, 0x010203 * side);
        ASSERT_TRUE(handle.Save(path, 18, 1));
    }
    CHandle handle;
    for (const int16_t page : {0, 1, 2}) {
        ASSERT_TRUE(handle.Load(path, page));
        EXPECT_EQ(handle.Info().pages, 3);
        EXPECT_EQ(handle.Info().width, static_cast<uint32_t>(page) + 2);
        EXPECT_EQ(handle.Row(0)[0], page + 2);
    }
    EXPECT_FALSE(handle.Load(path, 3));
    EXPECT_EQ(handle.ErrorText(), "Page not found.");
    BSTR error = nullptr;
    EXPECT_EQ(
        cRotateImageFileExW(WidePath(path).c_str(), WidePath(path).c_str(), 0, 0, 0, 0, &error), 0);
    EXPECT_EQ(TakeText(error), "Cannot rotate multipage image.");
}

TEST_F(TiffTest, TakesNoMemoryForRowsThatNoPixelExplains) {
    // 200 bytes that state a row of 65,535 pixels of 4,096 samples, 256 megabytes.
    CTIFFBuilder b;
    const auto samples = b.Add(Bytes(64, 0));
    const auto file = b.Finish({{256, 4, 1, b.U32(65535)},
                                {257, 4, 1, b.U32(1)},
                                {258, 3, 1, b.U16(8)},
                                {259, 3, 1, b.U16(8)},
                                {262, 3, 1, b.U16(1)},
                                {273, 4, 1, b.U32(samples)},
                                {277, 3, 1, b.U16(4096)},
                                {278, 4, 1, b.U32(1)},
                                {279, 4, 1, b.U32(64)}});
    CHandle handle;
    EXPECT_FALSE(handle.LoadBytes(file, "a.tif"));
    EXPECT_EQ(handle.ErrorText(), "Unsupported TIFF format.");
}

TEST_F(TiffTest, RefusesInItsWords) {
    CHandle handle;
    EXPECT_FALSE(handle.LoadBytes(Bytes(64, 'I'), "a.tif"));
    EXPECT_EQ(handle.ErrorText(), "Not a TIFF file.");
    cNewImage(handle, 4, 4, 0);
    for (const int32_t typeId : {19, 20, 21, 25, 27, 28}) {
        EXPECT_FALSE(handle.Save(m_folder / "no.tif", typeId));
        EXPECT_EQ(handle.ErrorText(), "Invalid TIFF compression for image.") << typeId;
    }
}

}  // namespace
}  // namespace kestr::test
