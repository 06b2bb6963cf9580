// cRotateImageFileEx: turns without loss, by decoding, and where the result goes.

#include <array>
#include <functional>

#include <gmock/gmock.h>

#include "support/loaded_handle.h"
#include "support/test_data.h"

namespace kestr::test {
namespace {

using Bytes = std::vector<uint8_t>;

/// Where a pixel of a turned picture comes from; the size is the source's.
using CPlace = std::array<int, 2>;
using CPlaceOf = std::function<CPlace(int x, int y, int width, int height)>;

// By the meaning of the words: clockwise, anticlockwise, half, mirror.
const std::array<CPlaceOf, 4> kOps{
    [](int x, int y, int, int h) {
        return CPlace{y, h - 1 - x};
    },
    [](int x, int y, int w, int) {
        return CPlace{w - 1 - y, x};
    },
    [](int x, int y, int w, int h) {
        return CPlace{w - 1 - x, h - 1 - y};
    },
    [](int x, int y, int w, int) {
        return CPlace{w - 1 - x, y};
    },
};

// Exif 2.3, tag 274: where the pixel (x, y) of the upright picture stands in the stored one of w x
// h.
const std::array<CPlaceOf, 9> kUpright{
    CPlaceOf{},
    [](int x, int y, int, int) {
        return CPlace{x, y};
    },
    [](int x, int y, int w, int) {
        return CPlace{w - 1 - x, y};
    },
    [](int x, int y, int w, int h) {
        return CPlace{w - 1 - x, h - 1 - y};
    },
    [](int x, int y, int, int h) {
        return CPlace{x, h - 1 - y};
    },
    [](int x, int y, int, int) {
        return CPlace{y, x};
    },
    [](int x, int y, int, int h) {
        return CPlace{y, h - 1 - x};
    },
    [](int x, int y, int w, int h) {
        return CPlace{w - 1 - y, h - 1 - x};
    },
    [](int x, int y, int w, int) {
        return CPlace{w - 1 - y, x};
    },
};

class RotateFileTest : public testing::Test {
protected:
    /// A JPEG of smooth gray, different in all four corners, with an EXIF orientation unless 0.
    std::filesystem::path MakeJPEG(uint32_t width, uint32_t height, int orientation, int type = 4) {
        Bytes levels(size_t{width} * height);
        for (uint32_t y = 0; y < height; ++y) {
            for (uint32_t x = 0; x < width; ++x) {
                levels[y * width + x] =
                    static_cast<uint8_t>(40 + 120 * x / width + 60 * y / height);
            }
        }
        CHandle handle;
        cSetJPEGParams(handle, 100, 0.1, 1, 0);
        cLoadImage8(handle, levels.data(), static_cast<uint32_t>(levels.size()), width, height, 1,
                    nullptr, 0);
        const auto path = m_folder / "source.jpg";
        EXPECT_TRUE(handle.Save(path, type));
        if (orientation != 0) {
            Bytes file = ReadFile(path);
            const Bytes exif{
                0xFF, 0xE1, 0, 34, 'E', 'x', 'i', 'f', 0, 0,
                'M',  'M',  0, 42, 0,   0,   0,   8,   0, 1,
                1,    18,   0, 3,  0,   0,   0,   1,   0, static_cast<uint8_t>(orientation),
                0,    0,    0, 0,  0,   0};
            file.insert(file.begin() + 2, exif.begin(), exif.end());
            WriteFile(path, file);
        }
        return path;
    }
    uint16_t Rotate(const std::filesystem::path& from, const std::filesystem::path& to, uint32_t op,
                    bool trim = false, bool apply = false, bool reset = false) {
        BSTR error = nullptr;
        const uint16_t result = cRotateImageFileExW(WidePath(from).c_str(), WidePath(to).c_str(),
                                                    op, trim, apply, reset, &error);
        m_error = error ? TakeText(error) : "none";
        return result;
    }
    size_t FileCount() {
        return static_cast<size_t>(
            std::distance(std::filesystem::directory_iterator(m_folder.Path()), {}));
    }
    static void ExpectNear(CHandle& result, CHandle& source, const CPlaceOf& from,
                           const std::string& what) {
        const auto s = source.Info();
        const auto r = result.Info();
        for (uint32_t y = 0; y < r.height; ++y) {
            for (uint32_t x = 0; x < r.width; ++x) {
                const auto [sx, sy] = from(static_cast<int>(x), static_cast<int>(y),
                                           static_cast<int>(s.width), static_cast<int>(s.height));
                ASSERT_NEAR(result.Row(y)[x],
                            source.Row(static_cast<uint32_t>(sy))[static_cast<size_t>(sx)], 3)
                    << what << " at " << x << ", " << y;
            }
        }
    }

    CTemporaryFolder m_folder;
    std::string m_error;
};

TEST_F(RotateFileTest, TurnsWithoutLoss) {
    const auto source = MakeJPEG(48, 32, 0);
    CHandle before;
    ASSERT_TRUE(before.Load(source));
    const Bytes original = ReadFile(source);
    const uint32_t back[] = {1, 0, 2, 3};
    for (uint32_t op = 0; op < 4; ++op) {
        SCOPED_TRACE(op);
        ASSERT_EQ(Rotate(source, m_folder / "out.jpg", op), 0xFFFF);
        EXPECT_EQ(m_error, "none");
        CHandle after;
        ASSERT_TRUE(after.Load(m_folder / "out.jpg"));
        EXPECT_EQ(after.Info().width, op < 2 ? 32u : 48u);
        ExpectNear(after, before, kOps[op], "op");
        ASSERT_EQ(Rotate(m_folder / "out.jpg", m_folder / "out.jpg", back[op]), 0xFFFF);
        EXPECT_EQ(ReadFile(m_folder / "out.jpg"), original) << "and back: every byte";
        EXPECT_EQ(FileCount(), 2u);
    }
}

TEST_F(RotateFileTest, ProgressiveStaysProgressive) {
    const auto source = MakeJPEG(48, 32, 0, 5);
    ASSERT_EQ(Rotate(source, m_folder / "out.jpg", 0), 0xFFFF);
    CHandle after;
    ASSERT_TRUE(after.Load(m_folder / "out.jpg"));
    EXPECT_EQ(after.Info().typeId, 5);
}

TEST_F(RotateFileTest, EdgesAreKeptOrTrimmed) {
    // 50 x 35 with MCUs of 8 x 8: six whole columns and two pixels, four whole rows and three.
    struct CCase {
        uint32_t op;
        uint32_t width, height;  // when trimmed
    };
    for (const CCase& c :
         {CCase{0, 32, 50}, CCase{1, 35, 48}, CCase{2, 48, 32}, CCase{3, 48, 35}}) {
        const auto source = MakeJPEG(50, 35, 0);
        CHandle kept, trimmed, before;
        ASSERT_TRUE(before.Load(source));
        ASSERT_EQ(Rotate(source, m_folder / "kept.jpg", c.op, false), 0xFFFF);
        ASSERT_EQ(Rotate(source, m_folder / "trimmed.jpg", c.op, true), 0xFFFF);
        ASSERT_TRUE(kept.Load(m_folder / "kept.jpg"));
        ASSERT_TRUE(trimmed.Load(m_folder / "trimmed.jpg"));
        EXPECT_EQ(kept.Info().width, c.op < 2 ? 35u : 50u);
        EXPECT_EQ(trimmed.Info().width, c.width);
        EXPECT_EQ(trimmed.Info().height, c.height);
        // What was trimmed lay at the far end of the mirrored side: the rest moved as a whole.
        const int w = c.op == 0 ? 50 : 48;
        const int h = c.op == 0 || c.op == 2 ? 32 : 35;
        ExpectNear(
            trimmed, before, [&](int x, int y, int, int) { return kOps[c.op](x, y, w, h); },
            "trimmed");
    }
}

TEST_F(RotateFileTest, OrientationAndTurnAreFolded) {
    for (int orientation = 1; orientation <= 8; ++orientation) {
        for (uint32_t op = 0; op < 4; ++op) {
            const std::string what = std::to_string(orientation) + ", " + std::to_string(op);
            const auto source = MakeJPEG(48, 32, orientation);
            CHandle before, after;
            ASSERT_TRUE(before.Load(source));
            ASSERT_EQ(Rotate(source, m_folder / "out.jpg", op, false, true, true), 0xFFFF) << what;
            ASSERT_TRUE(after.Load(m_folder / "out.jpg"));
            const bool sideways = orientation >= 5;
            const int w = sideways ? 32 : 48;
            const int h = sideways ? 48 : 32;
            ExpectNear(
                after, before,
                [&](int x, int y, int sw, int sh) {
                    const auto [ux, uy] = kOps[op](x, y, w, h);
                    // One cell turns the stored picture upside down, and that is all; callers
                    // know it so. Orientations 5 and 7 are taken for each other, as at a load.
                    if (orientation == 5 && op == 2) return CPlace{x, sh - 1 - y};
                    const bool crossed = orientation == 5 || orientation == 7;
                    const int taken = crossed ? 12 - orientation : orientation;
                    return kUpright[static_cast<size_t>(taken)](ux, uy, sw, sh);
                },
                what);
            // The record says that it is upright now.
            CHandle upright;
            cSetAutoRotate(upright, 1);
            ASSERT_TRUE(upright.Load(m_folder / "out.jpg"));
            EXPECT_EQ(upright.Info().width, after.Info().width) << what;
            EXPECT_EQ(FileCount(), 2u) << what;
        }
    }
}

TEST_F(RotateFileTest, OtherFormatsAreDecoded) {
    const auto path = m_folder / "picture.bmp";
    CHandle before, after;
    cNewImage(before, 3, 2, 0x112233);
    ASSERT_TRUE(before.Save(path, 2));
    ASSERT_EQ(Rotate(path, path, 1), 0xFFFF);
    ASSERT_TRUE(after.Load(path));
    EXPECT_EQ(after.Info().width, 2u);
    EXPECT_EQ(after.Info().height, 3u);
    EXPECT_EQ(FileCount(), 1u);
}

TEST_F(RotateFileTest, FailsInItsWordsAndLeavesNothing) {
    const auto source = MakeJPEG(16, 16, 0);
    const Bytes original = ReadFile(source);
    EXPECT_EQ(Rotate(m_folder / "missing.jpg", m_folder / "out.jpg", 0), 0);
    EXPECT_EQ(m_error, "Failed to load input file: .");
    EXPECT_EQ(Rotate(source, m_folder / "out.jpg", 4), 0);
    EXPECT_EQ(m_error, "Invalid RotateOp parameter.");
    EXPECT_EQ(Rotate(source, m_folder / "no folder" / "out.jpg", 0), 0);
    EXPECT_EQ(m_error, "JPEG rotation failure.");
    // A folder stands where the result should go.
    std::filesystem::create_directory(m_folder / "folder.jpg");
    WriteFile(m_folder / "folder.jpg" / "inside", "text");
    EXPECT_EQ(Rotate(source, m_folder / "folder.jpg", 0), 0);
    EXPECT_EQ(m_error, "File rename operation failed.");
    EXPECT_EQ(FileCount(), 2u);
    std::filesystem::remove_all(m_folder / "folder.jpg");
    // Two pages, made of two pictures in a container.
    CHandle page;
    cNewImage(page, 2, 2, 0);
    ASSERT_TRUE(page.Save(m_folder / "two.dcx", 3, 0));
    ASSERT_TRUE(page.Save(m_folder / "two.dcx", 3, 1));
    EXPECT_EQ(Rotate(m_folder / "two.dcx", m_folder / "out.dcx", 0), 0);
    EXPECT_EQ(m_error, "Cannot rotate multipage image.");
    EXPECT_EQ(FileCount(), 2u);
    EXPECT_EQ(ReadFile(source), original);
    // Cut inside the header: the header is what fails.
    WriteFile(source, Bytes(original.begin(), original.begin() + 150));
    EXPECT_EQ(Rotate(source, source, 0), 0);
    EXPECT_EQ(FileCount(), 2u);
}

}  // namespace
}  // namespace kestr::test
