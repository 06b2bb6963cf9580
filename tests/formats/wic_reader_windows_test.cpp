// Files by way of the system's own codecs: beside our readers, by threads of each kind, damaged.
#include <windows.h>
#include <array>
#include <objbase.h>
#include <thread>

#include <gmock/gmock.h>

#include "support/loaded_handle.h"
#include "support/test_data.h"

namespace kestr::test {
namespace {

using testing::HasSubstr;
using Bytes = std::vector<uint8_t>;

constexpr char kName[] = "picture.kwic";  // goes to the system's codecs

/// A file of the seeds under a name that goes to the system's codecs.
class CCopy {
public:
    explicit CCopy(const char* seed) : m_bytes(ReadFile(FuzzSeed(seed))) {
        cAddWicFileType(".KWic");
        WriteFile(Path(), m_bytes);
    }
    std::filesystem::path Path() const { return m_folder / kName; }
    const Bytes& Content() const { return m_bytes; }

private:
    CTemporaryFolder m_folder;
    Bytes m_bytes;
};

/// Red, green and blue of every pixel, top row first.
std::vector<uint16_t> Colours(const CHandle& handle) {
    const CHandle::CInfo info = handle.Info();
    std::vector<uint16_t> all;
    for (uint32_t y = 0; y < info.height; ++y) {
        for (uint32_t x = 0; x < info.width; ++x) {
            uint16_t red = 0, green = 0, blue = 0;
            cGetPixelColor(handle, int32_t(x), int32_t(y), &red, &green, &blue);
            all.insert(all.end(), {red, green, blue});
        }
    }
    return all;
}

int MostDifference(const std::vector<uint16_t>& a, const std::vector<uint16_t>& b) {
    int most = a.size() == b.size() ? 0 : 1 << 16;
    for (size_t i = 0; most < 1 << 16 && i < a.size(); ++i) {
        most = std::max(most, std::abs(int{a[i]} - int{b[i]}));
    }
    return most;
}

Bytes Alpha(const CHandle& handle) {
    SAFEARRAY* array = nullptr;
    cGetAlphaMask(handle, &array);
    return TakeBytes(array);
}

// ---- both roads ---------------------------------------------------------------------------------

enum class EOutcome {
    kSame,     // the same pixels, alpha and pages as from our own reader
    kRefused,  // pixels of a kind that is refused, or no codec: the file goes on to our own reader
    kNoRows,   // the codec takes the file and gives no row: the load fails
};

struct CRoadCase {
    const char* seed;
    EOutcome outcome = EOutcome::kSame;
    const char* why = "";
    int mostDifference = 0;  // of a level
};

// Libraries that decode JPEG widen halved chroma each in their own way; gray is the same in all.
constexpr int kChroma = 64;

constexpr CRoadCase kRoads[] = {
    {"dib/mapped16.bmp", EOutcome::kRefused, "5-6-5"},
    {"dib/mapped32_v5.bmp"},
    {"dib/os2.bmp"},
    {"dib/packed4.bmp", EOutcome::kRefused, "no codec"},
    {"dib/packed8.bmp", EOutcome::kRefused, "no codec"},
    {"dib/plain1.bmp"},
    {"dib/plain16.bmp", EOutcome::kRefused, "5-5-5"},
    {"dib/plain24.bmp"},
    {"dib/plain32.bmp", EOutcome::kRefused, "32 bits without alpha"},
    {"dib/plain4.bmp"},
    {"dib/plain8_topdown.bmp"},
    {"png/gray_key.png"},
    {"png/la.png"},
    {"png/one.png"},
    {"png/p16_trns.png"},
    {"png/palette.png"},
    {"png/palette_adam7.png"},
    {"png/rgb.png"},
    {"png/rgba.png"},
    {"png/rgba_adam7.png"},
    {"gif/anim.gif"},
    {"gif/one.gif"},
    {"gif/one_i.gif"},
    {"gif/p16_trns.gif"},
    {"gif/palette.gif"},
    {"gif/palette_i.gif"},
    {"tiff/cmyk.tif", EOutcome::kRefused, "four inks"},
    {"tiff/la_54.tif"},
    {"tiff/one_19.tif"},
    {"tiff/one_20.tif"},
    {"tiff/one_21.tif"},
    {"tiff/one_27.tif"},
    {"tiff/p16_trns_18.tif"},
    {"tiff/pages.tif"},
    {"tiff/palette_24.tif"},
    {"tiff/rgb_18.tif"},
    {"tiff/rgb_23.tif", EOutcome::kNoRows, "JPEG inside of TIFF"},
    {"tiff/rgb_24.tif"},
    {"tiff/rgb_54.tif"},
    {"tiff/rgba_18.tif"},
    {"tiff/ycc.tif", EOutcome::kRefused, "no codec"},
    {"jpeg/cmyk.jpg", EOutcome::kRefused, "four inks"},
    {"jpeg/colour.jpg", EOutcome::kSame, "4:2:0", kChroma},
    {"jpeg/gray_restart.jpg"},
    {"jpeg/metadata.jpg", EOutcome::kSame, "4:2:0", kChroma},
    {"jpeg/progressive.jpg", EOutcome::kSame, "4:2:0", kChroma},
};

TEST(WICFiles, ComeOutAsOurReadersReadThem) {
    for (const CRoadCase& c : kRoads) {
        SCOPED_TRACE(std::string(c.seed) + " " + c.why);
        const CCopy copy(c.seed);
        CHandle ours, theirs;
        ASSERT_TRUE(ours.Load(FuzzSeed(c.seed)));
        const bool loaded = theirs.Load(copy.Path());
        EXPECT_EQ(loaded, c.outcome != EOutcome::kNoRows);
        if (!loaded) continue;
        const bool same = c.outcome == EOutcome::kSame;
        EXPECT_EQ(theirs.Info().typeId, same ? 76 : ours.Info().typeId);
        EXPECT_EQ(theirs.Info().pages, ours.Info().pages);
        EXPECT_EQ(cGetScanLinesSuccessfullyRead(theirs), theirs.Info().height);
        EXPECT_LE(MostDifference(Colours(theirs), Colours(ours)), c.mostDifference);
        if (!same) continue;
        EXPECT_THAT(theirs.Description(), HasSubstr("\r\nWIC Pixel Type: PixelFormat"));
        // A bitmap's fourth byte is no alpha to our own reader, and a codec's palette has none.
        const Bytes alpha = Alpha(ours);
        if (theirs.Info().bits == 24 && !alpha.empty()) {
            EXPECT_EQ(Alpha(theirs), alpha);
        }
    }
}

TEST(WICFiles, ThatNoCodecTakesGoOnToOurReaders) {
    const CCopy copy("psd/gray.psd");
    CHandle handle;
    ASSERT_TRUE(handle.Load(copy.Path()));
    EXPECT_EQ(handle.Info().typeId, 31);
}

TEST(WICFiles, AreAnsweredForWithoutAHandle) {
    const CCopy copy("tiff/rgb_18.tif");
    int32_t typeId = 0;
    uint32_t width = 0;
    const std::wstring path = copy.Path().wstring();
    ASSERT_EQ(cGetImageFileInfoW(path.c_str(), 0, &typeId, &width, nullptr, nullptr, nullptr,
                                 nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr),
              1);
    EXPECT_EQ(typeId, 76);
    EXPECT_NE(width, 0u);
    CEXIF_Members* exif = nullptr;
    void* root = nullptr;
    ASSERT_EQ(cGetImageFileMetadataExW(path.c_str(), 0, 0, &exif, nullptr, &root), 1);
    EXPECT_NE(root, nullptr);
    EXPECT_NE(exif, nullptr) << "the tags of the directory";
    cDestroyWicMetadataRoot(root);
    cDestroyWicMetadataRoot(nullptr);
    cDestroyEXIF(exif);
    root = &typeId;
    const std::wstring own = FuzzSeed("tiff/rgb_18.tif").wstring();
    ASSERT_EQ(cGetImageFileMetadataExW(own.c_str(), 0, 0, nullptr, nullptr, &root), 1);
    EXPECT_EQ(root, nullptr) << "a reader of ours";
}

// ---- threads ------------------------------------------------------------------------------------

/// What a thread can still do with COM: 0 it is in no apartment, 1 in a single-threaded one, 2 in
/// the multithreaded one.
int Apartment() {
    const HRESULT result = CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED);
    if (result == RPC_E_CHANGED_MODE) return 2;
    CoUninitialize();
    return result == S_FALSE ? 1 : 0;
}

TEST(WICFiles, LeaveTheThreadsPartInComAsItWas) {
    const CCopy copy("png/rgb.png");
    Bytes bad = copy.Content();
    bad.resize(40);
    CTemporaryFolder folder;
    WriteFile(folder / kName, bad);
    constexpr DWORD kNone = ~0u;
    const std::pair<DWORD, int> starts[] = {
        {kNone, 0}, {COINIT_APARTMENTTHREADED, 1}, {COINIT_MULTITHREADED, 2}};
    for (const auto& [start, apartment] : starts) {
        std::thread([&, start = start, apartment = apartment] {
            if (start != kNone) {
                ASSERT_EQ(CoInitializeEx(nullptr, start), S_OK);
            }
            for (int i = 0; i < 3; ++i) {
                CHandle handle;
                EXPECT_TRUE(handle.Load(copy.Path()));
                EXPECT_EQ(handle.Info().typeId, 76);
                EXPECT_FALSE(handle.Load(folder / kName));
            }
            EXPECT_EQ(Apartment(), apartment);
            if (start != kNone) CoUninitialize();
            EXPECT_EQ(Apartment(), 0) << "one end for one start";
        }).join();
    }
}

TEST(WICFiles, ComeOnEightThreadsAtOnce) {
    const CCopy copy("png/rgba.png");
    CHandle handle;
    ASSERT_TRUE(handle.Load(copy.Path()));
    const auto expected = Colours(handle);
    std::array<std::thread, 8> threads;
    for (std::thread& thread : threads) {
        thread = std::thread([&] {
            for (int i = 0; i < 10; ++i) {
                CHandle own;
                EXPECT_TRUE(own.Load(copy.Path()));
                EXPECT_EQ(own.Info().typeId, 76);
                EXPECT_EQ(Colours(own), expected);
            }
        });
    }
    for (std::thread& thread : threads) thread.join();
}

// ---- damaged files ------------------------------------------------------------------------------

TEST(WICFiles, ThatAreDamagedGiveACleanAnswer) {
    constexpr size_t kMostChanges = 8;  // lengths and flipped bits that are tried of one file
    for (const CRoadCase& c : kRoads) {
        SCOPED_TRACE(c.seed);
        if (c.outcome == EOutcome::kRefused) continue;
        const Bytes whole = ReadFile(FuzzSeed(c.seed));
        const CTemporaryFolder folder;
        const auto answer = [&](const Bytes& bytes, size_t where) {
            cAddWicFileType("kwic");
            WriteFile(folder / kName, bytes);
            CHandle handle;
            const bool loaded = handle.Load(folder / kName);
            const CHandle::CInfo info = handle.Info();
            EXPECT_TRUE(loaded || info.width == 0) << where;
            EXPECT_LE(cGetScanLinesSuccessfullyRead(handle), info.height) << where;
            // Nothing of the codec is left, or the file could not go.
            EXPECT_TRUE(std::filesystem::remove(folder / kName)) << "still open: " << where;
        };
        for (size_t i = 0; i < kMostChanges; ++i) {
            answer({whole.begin(), whole.begin() + ptrdiff_t(whole.size() * i / kMostChanges)}, i);
            Bytes flipped = whole;
            const size_t bit = whole.size() * 8 * i / kMostChanges;
            flipped[bit / 8] ^= uint8_t(1 << bit % 8);
            answer(flipped, bit);
        }
    }
}

}  // namespace
}  // namespace kestr::test
