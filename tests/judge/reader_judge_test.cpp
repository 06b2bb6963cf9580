// A judge for readers: any registered type, given one small file that it reads, is put through what
// hostile files and impatient callers do. A format joins by a row in kSeeds.

#include <algorithm>
#include <thread>

#include <gmock/gmock.h>

#include "readers/image_reader.h"
#include "readers/reader_registry.h"
#include "support/impatient_caller.h"
#include "support/loaded_handle.h"
#include "support/test_data.h"

namespace kestr::test {
namespace {

using Bytes = std::vector<uint8_t>;

struct CSeed {
    int32_t typeId;    // of the reader
    const char* file;  // below fuzz/seeds
};

constexpr CSeed kSeeds[] = {
    {2, "dib/plain1.bmp"},     {2, "dib/plain4.bmp"},        {2, "dib/plain8_topdown.bmp"},
    {2, "dib/plain16.bmp"},    {1, "dib/mapped16.bmp"},      {2, "dib/plain24.bmp"},
    {2, "dib/plain32.bmp"},    {1, "dib/mapped32_v5.bmp"},   {0, "dib/packed8.bmp"},
    {0, "dib/packed4.bmp"},    {2, "dib/os2.bmp"},           {7, "pnm/p1.pbm"},
    {9, "pnm/p2.pgm"},         {13, "pnm/p3.ppm"},           {7, "pnm/p4.pbm"},
    {9, "pnm/p5_16.pgm"},      {13, "pnm/p6.ppm"},           {16, "tga/rgb24.tga"},
    {16, "tga/rgb32.tga"},     {16, "tga/mapped.tga"},       {17, "tga/packed24.tga"},
    {17, "tga/packed32.tga"},  {16, "tga/interleaved.tga"},  {8, "pcx/gray8.pcx"},
    {8, "pcx/rgb24.pcx"},      {8, "pcx/ega4.pcx"},          {3, "pcx/two.dcx"},
    {8, "pcx/cga2.pcx"},       {16, "tga/gray.tga"},         {31, "psd/layers.psd"},
    {31, "psd/gray.psd"},      {31, "psd/gray16.psd"},       {31, "psd/rgb16.psd"},
    {31, "psd/cmyk.psd"},      {31, "psd/lab.psd"},          {31, "psd/indexed.psd"},
    {31, "psd/bitmap.psd"},    {31, "psd/duotone.psd"},      {31, "psd/float.psd"},
    {47, "nef/packed.nef"},    {47, "nef/compressed.nef"},   {47, "nef/gray16.nef"},
    {47, "nef/rgb.nef"},       {63, "sony/a700.arw"},        {63, "sony/a100.arw"},
    {63, "sony/r1.sr2"},       {65, "leica/lx1.raw"},        {65, "leica/fz8.raw"},
    {74, "erf/rd1.erf"},       {72, "kdc/p880.kdc"},         {52, "crw/heap.crw"},
    {52, "crw/both.cr2"},      {52, "crw/gray.crw"},         {52, "crw/pro70_big.crw"},
    {70, "dng/plain16.dng"},   {70, "dng/table12.dng"},      {70, "dng/lossless_tiles.dng"},
    {70, "dng/linear3.dng"},   {70, "dng/gray.dng"},         {70, "dng/linear4_no_matrix.dng"},
    {70, "dng/staggered.dng"}, {70, "dng/four_colours.dng"}, {57, "orf/e1.orf"},
    {57, "orf/note.orf"},      {57, "orf/fields.orf"},       {57, "orf/e300.orf"},
    {55, "mrw/a2.mrw"},        {55, "mrw/note.mrw"},         {58, "raf/square.raf"},
    {58, "raf/two.raf"},
};
constexpr CSeed kEverydaySeeds[] = {
    {4, "jpeg/colour.jpg"},       {4, "jpeg/metadata.jpg"},
    {4, "jpeg/cmyk.jpg"},         {4, "jpeg/gray_restart.jpg"},
    {5, "jpeg/progressive.jpg"},  {11, "png/one.png"},
    {11, "png/la.png"},           {11, "png/rgb.png"},
    {11, "png/p16_trns.png"},     {12, "png/palette_adam7.png"},
    {12, "png/rgba_adam7.png"},   {66, "gif/one.gif"},
    {66, "gif/anim.gif"},         {67, "gif/palette_i.gif"},
    {18, "tiff/cmyk.tif"},        {18, "tiff/rgba_18.tif"},
    {18, "tiff/p16_trns_18.tif"}, {18, "tiff/ycc.tif"},
    {19, "tiff/one_19.tif"},      {20, "tiff/one_20.tif"},
    {21, "tiff/one_21.tif"},      {23, "tiff/rgb_23.tif"},
    {24, "tiff/palette_24.tif"},  {24, "tiff/pages.tif"},
    {27, "tiff/one_27.tif"},      {54, "tiff/la_54.tif"},
};

constexpr size_t kMostCuts = 600;  // lengths and flipped bits that are tried of one file, evenly
constexpr size_t kMostFlips = 1500;
constexpr size_t kMostFlipsOfRaw = 500;  // each is developed

class ReaderJudge : public testing::TestWithParam<CSeed> {
protected:
    ReaderJudge()
        : m_seed(FuzzSeed(GetParam().file)),
          m_bytes(ReadFile(m_seed)),
          m_file(m_folder / m_seed.filename().string()) {}

    /// Loads changed bytes; what comes must be a clean answer.
    void Try(const Bytes& bytes, const char* what, size_t where) {
        WriteFile(m_file, bytes);
        CHandle handle;
        cUseCIECAM02(handle, 0);  // its table costs far more than these small pictures
        const bool loaded = handle.Load(m_file);
        const CHandle::CInfo info = handle.Info();
        if (!loaded) {
            EXPECT_EQ(info.width, 0u) << what << where;
        } else if (info.width != 0) {  // rows of no pixels come too
            EXPECT_LE(cGetScanLinesSuccessfullyRead(handle), info.height) << what << where;
        }
        EXPECT_TRUE(std::filesystem::remove(m_file)) << "still open: " << what << where;
    }

    std::unique_ptr<CImageReader> Reader() {
        return CreateReader(GetParam().typeId, true, false, {});
    }

    std::filesystem::path m_seed;
    Bytes m_bytes;
    CTemporaryFolder m_folder;
    std::filesystem::path m_file;
};

TEST_P(ReaderJudge, ReadsTheSeed) {
    CHandle handle;
    ASSERT_TRUE(handle.Load(m_seed)) << handle.ErrorText();
    EXPECT_EQ(handle.Info().typeId, GetParam().typeId);
    EXPECT_EQ(cGetScanLinesSuccessfullyRead(handle), handle.Info().height);
}

TEST_P(ReaderJudge, CutAtEachLength) {
    const size_t step = m_bytes.size() / kMostCuts + 1;
    for (size_t size = 0; size < m_bytes.size(); size += step) {
        Try({m_bytes.begin(), m_bytes.begin() + static_cast<ptrdiff_t>(size)}, "cut at ", size);
    }
}

TEST_P(ReaderJudge, FlippedBits) {
    const size_t most = Reader()->IsCameraRaw() ? kMostFlipsOfRaw : kMostFlips;
    const size_t step = m_bytes.size() * 8 / most + 1;
    for (size_t bit = 0; bit < m_bytes.size() * 8; bit += step) {
        Bytes bytes = m_bytes;
        bytes[bit / 8] ^= static_cast<uint8_t>(1 << bit % 8);
        Try(bytes, "bit ", bit);
    }
}

TEST_P(ReaderJudge, OddRequests) {
    for (const int page : {-32768, -1, 1, 2, 32767}) {
        CHandle handle;
        handle.Load(m_seed, static_cast<int16_t>(page));
    }
    for (const auto& [width, height] :
         {std::pair(0, 0), {-5, 3}, {1, 1}, {3, 900}, {32767, 32767}}) {
        for (const int32_t fit : {0, 1}) {
            CHandle handle;
            EXPECT_EQ(
                cLoadThumbnailExW(handle, WidePath(m_seed).c_str(), static_cast<int16_t>(width),
                                  static_cast<int16_t>(height), fit),
                1);
        }
    }
}

TEST_P(ReaderJudge, EndsAtEachQuestion) {
    const auto path = WidePath(m_seed);
    int patience = 0;
    for (;; ++patience) {
        const auto reader = Reader();
        CImpatientCaller caller(patience);
        int32_t lines = 0;
        const bool started = reader->StartLoad(path.c_str(), 0, &caller);
        if (started) {
            Bytes row(static_cast<size_t>(reader->m_bitmapInfo.RowBytes()));
            while (lines < reader->m_bitmapInfo.Height() && reader->ReadLine(row.data())) ++lines;
        }
        reader->Close();
        if (caller.questions <= patience) {
            EXPECT_EQ(lines, reader->m_bitmapInfo.Height());
            break;
        }
        EXPECT_EQ(reader->m_errorText, "Load aborted.") << patience;
        if (started) {
            EXPECT_LT(lines, reader->m_bitmapInfo.Height()) << patience;
        }
    }
    const bool asks = GetParam().typeId != 66 && GetParam().typeId != 67;  // GIF's never does
    EXPECT_EQ(patience > 0, asks);
}

TEST_P(ReaderJudge, WritesEveryPixelOfARow) {
    const auto readInto = [&](uint8_t poison) {
        const auto reader = Reader();
        Bytes pixels;
        if (reader->StartLoad(WidePath(m_seed).c_str(), 0, nullptr)) {
            const CBitmapInfo& info = reader->m_bitmapInfo;
            const auto bits = static_cast<size_t>(int64_t{info.Width()} * info.BitCount());
            const size_t used = (bits + 7) / 8;
            for (int32_t y = 0; y < info.Height(); ++y) {
                Bytes row(static_cast<size_t>(info.RowBytes()), poison);
                EXPECT_TRUE(reader->ReadLine(row.data()));
                if (bits % 8 != 0) row[used - 1] &= static_cast<uint8_t>(0xFF00 >> bits % 8);
                pixels.insert(pixels.end(), row.begin(),
                              row.begin() + static_cast<ptrdiff_t>(used));
            }
        }
        reader->Close();
        return pixels;
    };
    EXPECT_EQ(readInto(0x00), readInto(0xFF));
}

TEST_P(ReaderJudge, ServesThreadsAtOnce) {
    const auto load = [&](Bytes& pixels) {
        for (int i = 0; i < 10; ++i) {
            CHandle handle;
            if (handle.Load(m_seed)) pixels = handle.Rows(handle.Row(0).size());
        }
    };
    Bytes alone;
    load(alone);
    EXPECT_FALSE(alone.empty());
    std::array<Bytes, 8> together;
    {
        std::vector<std::jthread> threads;
        for (Bytes& pixels : together) threads.emplace_back([&] { load(pixels); });
    }
    for (const Bytes& pixels : together) EXPECT_EQ(pixels, alone);
}

void PrintTo(const CSeed& seed, std::ostream* out) {
    *out << seed.file;
}

std::string SeedName(const testing::TestParamInfo<CSeed>& info) {
    std::string name = info.param.file;
    std::ranges::replace_if(
        name, [](char c) { return !std::isalnum(static_cast<unsigned char>(c)); }, '_');
    return name;
}

INSTANTIATE_TEST_SUITE_P(Seeds, ReaderJudge, testing::ValuesIn(kSeeds), SeedName);
INSTANTIATE_TEST_SUITE_P(EverydaySeeds, ReaderJudge, testing::ValuesIn(kEverydaySeeds), SeedName);

}  // namespace
}  // namespace kestr::test
