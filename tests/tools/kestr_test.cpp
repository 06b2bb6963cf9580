// The program as a user runs it: exit codes, what goes to stdout and what to stderr.
#include <algorithm>
#include <cstdlib>
#include <string>

#include <gmock/gmock.h>

#include "support/dib_builder.h"
#include "support/loaded_handle.h"
#include "support/nef_builder.h"
#include "support/test_data.h"

namespace kestr::test {
namespace {

using testing::HasSubstr;

class ProgramTest : public testing::Test {
protected:
    struct CRun {
        int exitCode;
        std::string out, err;
    };
    /// Runs the program with these words.
    CRun Run(const std::string& arguments) {
        const std::string out = (m_folder / "out.txt").string(),
                          err = (m_folder / "err.txt").string();
        const std::string line = std::string("\"") + KESTR_PROGRAM_FILE + "\" " + arguments +
                                 " >\"" + out + "\" 2>\"" + err + "\"";
        // cmd.exe takes the outermost quotes of its line away.
        const bool isWindows = std::filesystem::path::preferred_separator != '/';
        const int status = std::system((isWindows ? "\"" + line + "\"" : line).c_str());
        // Elsewhere the code stands above the number of a signal.
        return {isWindows ? status : (status & 0xFF) ? -1 : status >> 8, Text(out), Text(err)};
    }
    /// Lines as the program printed them, whatever ends a line on this system.
    static std::string Text(const std::string& path) {
        std::string text;
        for (const uint8_t byte : ReadFile(path)) {
            if (byte != '\r') text += static_cast<char>(byte);
        }
        return text;
    }
    std::string Quoted(const char* name) const { return " \"" + (m_folder / name).string() + "\""; }

    CTemporaryFolder m_folder;
    CDIBBuilder m_bitmap = CDIBBuilder{}.Size(4, 2).Pixels(std::vector<uint8_t>(24, 9));
};

TEST_F(ProgramTest, HelpAndVersionGoToStdout) {
    for (const char* arguments : {"--help", "--version", "info --help", "convert --help"}) {
        SCOPED_TRACE(arguments);
        const CRun run = Run(arguments);
        EXPECT_EQ(run.exitCode, 0);
        EXPECT_NE(run.out, "");
        EXPECT_EQ(run.err, "");
    }
}

TEST_F(ProgramTest, ACommandLineThatMakesNoSenseIsTwo) {
    WriteFile(m_folder / "a.bmp", m_bitmap.File());
    const std::string both = Quoted("a.bmp") + Quoted("b.bmp");
    const std::string lines[] = {"",
                                 "frobnicate",
                                 "info",
                                 "convert",
                                 "info --nonsense",
                                 "convert" + Quoted("a.bmp"),
                                 "convert --type" + both,
                                 "convert --type x" + both,
                                 "convert --type=77" + both,
                                 "convert --upright=1" + both,
                                 "convert --quality 101" + both,
                                 "convert --matte red" + both,
                                 "convert" + Quoted("a.bmp") + Quoted("b.xyz"),
                                 "info --page=-1 a",
                                 "develop" + Quoted("a.bmp"),
                                 "develop" + both + " -o c.png",
                                 "develop --demosaic 2 -o c.png" + Quoted("a.bmp"),
                                 "develop --all --no-ciecam -o c.png" + Quoted("a.bmp"),
                                 "develop -s 40x30 -o c.png" + Quoted("a.bmp")};
    for (const std::string& line : lines) {
        SCOPED_TRACE(line);
        const CRun run = Run(line);
        EXPECT_EQ(run.exitCode, 2);
        EXPECT_EQ(run.out, "");
        EXPECT_THAT(run.err, testing::StartsWith("kestr: "));
    }
    EXPECT_FALSE(std::filesystem::exists(m_folder / "b.bmp"));
}

TEST_F(ProgramTest, InfoTellsOfEachFileAndComplainsOfOthers) {
    WriteFile(m_folder / "a.bmp", m_bitmap.File());
    WriteFile(m_folder / "bad.bmp", "no picture at all, some bytes of text only");
    CRun run = Run("info" + Quoted("a.bmp"));
    EXPECT_EQ(run.exitCode, 0);
    EXPECT_EQ(run.err, "");
    EXPECT_THAT(run.out, HasSubstr("Size: 4 x 2 pixels, 24-bit\n"));
    EXPECT_THAT(run.out, HasSubstr("  Format: Windows Device Independent Bitmap File\n"));
    EXPECT_THAT(run.out, HasSubstr("  Type id: 2\n"));

    run = Run("info" + Quoted("bad.bmp") + Quoted("none.bmp") + Quoted("a.bmp"));
    EXPECT_EQ(run.exitCode, 1);
    EXPECT_THAT(run.err, HasSubstr("none.bmp: there is no such file\n"));
    EXPECT_THAT(run.err, HasSubstr("bad.bmp: "));
    EXPECT_THAT(run.out, HasSubstr("Size: 4 x 2 pixels"));
}

TEST_F(ProgramTest, InfoListsPages) {
    WriteFile(m_folder / "a.bmp", m_bitmap.File());
    const std::string append = "convert --append" + Quoted("a.bmp") + Quoted("pages.tif");
    ASSERT_EQ(Run(append).exitCode, 0);
    EXPECT_THAT(Run("info" + Quoted("pages.tif")).out, testing::Not(HasSubstr("Page")));
    ASSERT_EQ(Run(append).exitCode, 0);
    EXPECT_THAT(Run("info" + Quoted("pages.tif")).out,
                HasSubstr("  Pages: 2\n    Page 0: 4 x 2 pixels, 24-bit\n"
                          "    Page 1: 4 x 2 pixels, 24-bit\n"));
}

TEST_F(ProgramTest, InfoAsJson) {
    WriteFile(m_folder / "a.bmp", m_bitmap.File());
    const CRun run = Run("info --json" + Quoted("none.bmp") + Quoted("a.bmp"));
    EXPECT_EQ(run.exitCode, 1);
    EXPECT_THAT(run.out, testing::StartsWith("[\n{\"file\": \""));
    EXPECT_THAT(run.out, HasSubstr("none.bmp\", \"error\": \"there is no such file\"},\n"));
    EXPECT_THAT(run.out,
                HasSubstr("\"typeId\": 2, \"format\": \"Windows Device Independent Bitmap "
                          "File\", \"width\": 4, \"height\": 2, \"bits\": 24, \"pages\": 1"));
    EXPECT_THAT(run.out, HasSubstr("\"orientation\": null, \"camera\": [], \"iptc\": []"));
    EXPECT_THAT(run.out, testing::EndsWith("}\n]\n"));
}

TEST_F(ProgramTest, DevelopsAGrayCardToGray) {
    CNEFBuilder card;
    card.width = 60;
    card.height = 48;
    card.Packed(std::vector<uint16_t>(size_t{60} * 48, 900));
    WriteFile(m_folder / "card.nef", card.File());
    for (const char* options :
         {"", " --demosaic bilinear --no-levels", " --demosaic ahd --no-ciecam"}) {
        SCOPED_TRACE(options);
        const CRun run = Run("develop" + Quoted("card.nef") + " -o" + Quoted("card.bmp") + options);
        ASSERT_EQ(run.exitCode, 0) << run.err;
        CHandle handle;
        ASSERT_TRUE(handle.Load(m_folder / "card.bmp"));
        const auto row = handle.Row(handle.Info().height / 2);
        for (uint32_t i = 0; i < 3 * handle.Info().width; ++i) ASSERT_NEAR(row[i], row[0], 2) << i;
    }
    const CRun all = Run("develop --all -s 40x30" + Quoted("card.nef") + " -o" + Quoted("all.png"));
    EXPECT_EQ(all.exitCode, 0) << all.err;
    CHandle sheet;
    EXPECT_TRUE(sheet.Load(m_folder / "all.png"));
    // No raw file: nothing to develop.
    WriteFile(m_folder / "a.bmp", m_bitmap.File());
    EXPECT_EQ(Run("develop" + Quoted("a.bmp") + " -o" + Quoted("b.bmp")).exitCode, 1);
}

TEST_F(ProgramTest, MetaTakesBlocksOutByteForByte) {
    const std::string photo = " \"" + TestData("demo.jpg").string() + "\"";
    EXPECT_THAT(Run("meta" + photo).out, HasSubstr("  Orientation: Rotated 90 (8)\n"));
    EXPECT_EQ(Run("meta --exif" + photo + " -o" + Quoted("exif.bin")).exitCode, 0);
    // The file is FF D8, then FF E1 with its length and "Exif", two NULs, the block.
    const auto file = ReadFile(TestData("demo.jpg"));
    const size_t length = file[4] * 256u + file[5];
    EXPECT_EQ(ReadFile(m_folder / "exif.bin"),
              std::vector<uint8_t>(file.begin() + 12, file.begin() + 4 + static_cast<int>(length)));
    EXPECT_EQ(Run("meta --xmp" + photo + " -o" + Quoted("xmp.bin")).exitCode, 1);
    EXPECT_FALSE(std::filesystem::exists(m_folder / "xmp.bin"));
    EXPECT_EQ(Run("meta -o" + Quoted("any.bin") + photo).exitCode, 2);
    EXPECT_EQ(Run("meta --xmp --icc" + photo).exitCode, 2);
}

TEST_F(ProgramTest, CheckWalksTreesAndTellsWholeDamagedAndRefused) {
    std::filesystem::create_directories(m_folder / "tree" / "inner");
    WriteFile(m_folder / "tree" / "a.bmp", m_bitmap.File());
    WriteFile(m_folder / "tree" / "inner" / "photo.png", ReadFile(TestData("demo.jpg")));
    std::error_code ignored;  // a system may have no links, or not allow them
    std::filesystem::create_directory_symlink("..", m_folder / "tree" / "inner" / "up", ignored);
    std::filesystem::create_symlink("itself", m_folder / "tree" / "itself", ignored);
    CRun run = Run("check" + Quoted("tree"));
    EXPECT_EQ(run.exitCode, 0);
    EXPECT_THAT(run.out, HasSubstr("a.bmp: whole, 2 of 2 rows\n"));
    EXPECT_THAT(run.out,
                HasSubstr("photo.png: whole, 120 of 120 rows; wrong extension: truly JPEG"));
    EXPECT_THAT(run.out, HasSubstr("\n2 whole, 0 damaged, 0 refused, 1 with a wrong extension\n"));

    WriteFile(m_folder / "tree" / "bad.bmp", "no picture at all, some bytes of text only");
    run = Run("check --json --only-bad" + Quoted("tree"));
    EXPECT_EQ(run.exitCode, 1);
    EXPECT_THAT(
        run.out,
        HasSubstr(
            "bad.bmp\", \"verdict\": \"refused\", \"words\": \"BMP file signature not found.\""));
    EXPECT_THAT(run.out, HasSubstr("\"wrongExtension\": true, \"usualExtensions\": [\".jpg\", "));
    EXPECT_THAT(run.out, testing::Not(HasSubstr("a.bmp")));

    // 46 whole rows of 12 bytes and a half one.
    WriteFile(m_folder / "tree" / "cut.bmp",
              CDIBBuilder{}.Size(4, -50).Pixels(std::vector<uint8_t>(560, 9)).File());
    run = Run("check" + Quoted("tree"));
    EXPECT_EQ(run.exitCode, 3) << "a damaged picture counts more than a refused file";
    EXPECT_THAT(run.out, HasSubstr("cut.bmp: damaged, 46 of 50 rows: "));
    EXPECT_THAT(Run("check" + Quoted("none")).out,
                HasSubstr("none: refused: there is no such file"));
    EXPECT_EQ(Run("check").exitCode, 2);
}

TEST_F(ProgramTest, RotateTellsBeforehandWhatWillBe) {
    // 20 x 40 gray with blocks of 8: its width is half a block too long.
    WriteFile(m_folder / "a.bmp", m_bitmap.File());
    EXPECT_EQ(Run("convert --resize 20x40!" + Quoted("a.bmp") + Quoted("a.jpg")).exitCode, 0);
    const struct {
        const char* arguments;
        const char* words;
    } rows[] = {
        {"--cw", "without loss, exactly\n"},
        {"--ccw", "not exactly; the strip of 4 pixels at its right edge is left where it is\n"},
        {"--180 --trim", "the strip of 4 pixels at its right edge is trimmed\n"},
    };
    for (const auto& row : rows) {
        EXPECT_THAT(
            Run(std::string("rotate ") + row.arguments + Quoted("a.jpg") + " -o" + Quoted("b.jpg"))
                .out,
            HasSubstr(row.words))
            << row.arguments;
    }
    const std::string photo = " \"" + TestData("demo.jpg").string() + "\" -o" + Quoted("c.jpg");
    EXPECT_THAT(Run("rotate --cw" + photo).out, HasSubstr("its orientation stays 8, by which"));
    EXPECT_THAT(Run("rotate --cw --apply-orientation --reset-orientation" + photo).out,
                HasSubstr("is as wanted already and copied; turned upright by its orientation as "
                          "well; its orientation 8 becomes 1; a small picture inside EXIF stays"));
    EXPECT_THAT(Run("rotate --cw" + Quoted("a.bmp")).out, HasSubstr("decoded, turned and written"));
}

TEST_F(ProgramTest, ConvertSavesWhatItLoads) {
    WriteFile(m_folder / "a.bmp", m_bitmap.File());
    EXPECT_EQ(Run("convert" + Quoted("a.bmp") + Quoted("b.DIB") + " --strip").exitCode, 0);
    const auto saved = ReadFile(m_folder / "b.DIB");
    ASSERT_EQ(saved.size(), 54u + 24u);
    EXPECT_EQ(std::vector<uint8_t>(saved.begin() + 54, saved.end()), std::vector<uint8_t>(24, 9));
    EXPECT_EQ(Run("convert --type=1" + Quoted("a.bmp") + Quoted("c.any")).exitCode, 0);
    EXPECT_TRUE(std::filesystem::exists(m_folder / "c.any"));
}

TEST_F(ProgramTest, ConvertComposesPhotoshopLayersOverTheMatte) {
    // A layer that leaves the corner free; the composite has 80 there.
    const std::string in = " \"" + FuzzSeed("psd/gray.psd").string() + "\"";
    const auto corner = [&](const std::string& options) {
        EXPECT_EQ(Run("convert" + options + in + Quoted("out.ppm")).exitCode, 0);
        const auto saved = ReadFile(m_folder / "out.ppm");
        return static_cast<int>(saved[saved.size() - 13 * 7]);
    };
    EXPECT_EQ(corner(""), 0);
    EXPECT_EQ(corner(" --matte 336699"), 0x33);
    EXPECT_EQ(corner(" --psd-flattened --matte 336699"), 80);
}

TEST_F(ProgramTest, ConvertTellsRefusedFromDamaged) {
    WriteFile(m_folder / "a.bmp", m_bitmap.File());
    WriteFile(m_folder / "bad.bmp", "no picture at all, some bytes of text only");
    CRun run = Run("convert" + Quoted("bad.bmp") + Quoted("b.bmp"));
    EXPECT_EQ(run.exitCode, 1);
    EXPECT_NE(run.err, "");
    EXPECT_FALSE(std::filesystem::exists(m_folder / "b.bmp"));

    const auto cut = CDIBBuilder{}.Size(4, -50).Pixels(std::vector<uint8_t>(560, 9)).File();
    WriteFile(m_folder / "cut.bmp", cut);
    run = Run("convert" + Quoted("cut.bmp") + Quoted("b.bmp"));
    EXPECT_EQ(run.exitCode, 3);
    EXPECT_THAT(run.err, HasSubstr("damaged"));
    EXPECT_TRUE(std::filesystem::exists(m_folder / "b.bmp"));

    // Nothing of a sensor in it.
    run = Run("develop" + Quoted("a.bmp") + " -o" + Quoted("c.png"));
    EXPECT_EQ(run.exitCode, 1);
    EXPECT_THAT(run.err, HasSubstr("no sensor data"));
    EXPECT_FALSE(std::filesystem::exists(m_folder / "c.png"));

    // Type 6 can be read and not written.
    run = Run("convert --type 6" + Quoted("cut.bmp") + Quoted("c.bmp"));
    EXPECT_EQ(run.exitCode, 1);
}

TEST_F(ProgramTest, TurnsCommentsAndPages) {
    WriteFile(m_folder / "a.bmp", m_bitmap.File());
    EXPECT_EQ(
        Run("convert --resize 40x20! --quality 90" + Quoted("a.bmp") + Quoted("a.jpg")).exitCode,
        0);
    const CRun turned = Run("rotate --cw" + Quoted("a.jpg"));
    EXPECT_EQ(turned.exitCode, 0) << turned.err;
    EXPECT_THAT(turned.out,
                HasSubstr("not exactly; the strip of 4 pixels at its lower edge is left"));
    EXPECT_THAT(Run("info" + Quoted("a.jpg")).out, HasSubstr("20 x 40 pixels"));
    EXPECT_EQ(Run("comment" + Quoted("a.jpg") + " \"of two words\"").exitCode, 0);
    EXPECT_THAT(Run("info" + Quoted("a.jpg")).out, HasSubstr("of two words"));
    EXPECT_EQ(Run("rotate" + Quoted("a.jpg")).exitCode, 2);
    EXPECT_EQ(Run("rotate --cw --ccw" + Quoted("a.jpg")).exitCode, 2);
    EXPECT_EQ(Run("comment" + Quoted("a.bmp") + " text").exitCode, 1);

    for (int page = 0; page < 2; ++page) {
        EXPECT_EQ(Run("convert --append" + Quoted("a.bmp") + Quoted("two.tif")).exitCode, 0);
    }
    EXPECT_THAT(Run("info" + Quoted("two.tif")).out, HasSubstr("Pages: 2"));
    EXPECT_EQ(Run("rotate --cw" + Quoted("two.tif")).exitCode, 1);
    EXPECT_EQ(Run("convert --colors 4" + Quoted("a.bmp") + Quoted("a.gif")).exitCode, 0);
    EXPECT_EQ(Run("frames -o" + Quoted("frames") + Quoted("a.gif")).exitCode, 0);
    EXPECT_TRUE(std::filesystem::exists(m_folder / "frames" / "a-0000.png"));
}

TEST_F(ProgramTest, RoundtripTellsWhatComesThrough) {
    const CRun run = Run("roundtrip \"" + TestData("demo.jpg").string() + "\"");
    EXPECT_EQ(run.exitCode, 0) << run.err;
    // Of the text one line alone is new: the maker note's offset counts from the start of the file.
    const std::string kept = "    EXIF and IPTC: 52 of 53 lines kept\n      - MakerNote Offset:";
    for (const char* format : {"  JPEG\n", "  progressive JPEG\n", "  TIFF\n", "  TIFF, ZIP\n"}) {
        EXPECT_THAT(run.out, HasSubstr(format + kept));
    }
    EXPECT_THAT(run.out.substr(0, run.out.find("  progressive")),
                testing::EndsWith("    Maker note: kept\n    Maker note's offset: kept\n"));
    // PNG has no place for EXIF.
    EXPECT_THAT(run.out, HasSubstr("  PNG\n    EXIF and IPTC: 0 of 53 lines kept\n"));

    // By the bytes themselves: the note stands where it stood, counted from the block's start.
    EXPECT_EQ(Run("convert \"" + TestData("demo.jpg").string() + "\"" + Quoted("b.jpg")).exitCode,
              0);
    const auto before = ReadFile(TestData("demo.jpg")), after = ReadFile(m_folder / "b.jpg");
    const std::vector<uint8_t> mark{'E', 'x', 'i', 'f', 0, 0};
    const auto blockOf = [&](const std::vector<uint8_t>& file) {
        return std::search(file.begin(), file.end(), mark.begin(), mark.end()) + 6;
    };
    // Offset 998 in the file, whose block begins at 12; 30270 bytes.
    EXPECT_TRUE(
        std::equal(blockOf(before) + 986, blockOf(before) + 986 + 30270, blockOf(after) + 986));
}

TEST_F(ProgramTest, ConvertRunsItsOperationsInTheOrderGiven) {
    WriteFile(m_folder / "a.bmp", m_bitmap.File());  // 4 x 2 pixels of 9
    const auto pixelsAfter = [&](const std::string& options) {
        EXPECT_EQ(Run("convert " + options + Quoted("a.bmp") + Quoted("b.bmp")).exitCode, 0);
        const auto saved = ReadFile(m_folder / "b.bmp");
        return std::vector<uint8_t>(saved.end() - 24, saved.end());
    };
    EXPECT_EQ(pixelsAfter("--negative"), std::vector<uint8_t>(24, 246));
    // 9 + 9 complemented, and 246 doubled beyond the range.
    EXPECT_EQ(pixelsAfter("--brightness 100 --negative"), std::vector<uint8_t>(24, 237));
    EXPECT_EQ(pixelsAfter("--negative --brightness 100"), std::vector<uint8_t>(24, 255));
    EXPECT_EQ(pixelsAfter("--rgb 100,0,-100"),
              (std::vector<uint8_t>{0, 9, 18, 0, 9, 18, 0, 9, 18, 0, 9, 18,
                                    0, 9, 18, 0, 9, 18, 0, 9, 18, 0, 9, 18}));
    EXPECT_EQ(pixelsAfter("--levels 0,5,9"), std::vector<uint8_t>(24, 255));
    // The rectangle is the right half of the upper row; rows lie bottom-up.
    std::vector<uint8_t> selected(24, 9);
    std::fill(selected.begin() + 18, selected.end(), 246);
    EXPECT_EQ(pixelsAfter("--select 2,0,3,0 --negative"), selected);
    for (uint8_t& sample : selected) sample = static_cast<uint8_t>(~sample);
    EXPECT_EQ(pixelsAfter("--select 2,0,3,0 --invert-selection --negative"), selected);
}

TEST_F(ProgramTest, OperationsWithoutSenseAreTwo) {
    WriteFile(m_folder / "a.bmp", m_bitmap.File());
    for (const char* options : {"--brightness", "--brightness=x", "--hsv 1,2", "--rgb 1,2,3,4",
                                "--gamma 0", "--gamma nan", "--levels 1,2", "--select 1,2,3",
                                "--select 0,0,1,1,99999", "--auto-level 2", "--red-eye 101,0,0"}) {
        SCOPED_TRACE(options);
        const CRun run = Run(std::string("convert ") + options + Quoted("a.bmp") + Quoted("b.bmp"));
        EXPECT_EQ(run.exitCode, 2);
        EXPECT_THAT(run.err, testing::StartsWith("kestr: "));
    }
    EXPECT_FALSE(std::filesystem::exists(m_folder / "b.bmp"));
}

TEST_F(ProgramTest, HistogramPrintsNumbersOrDrawsCurves) {
    WriteFile(m_folder / "a.bmp", m_bitmap.File());
    const CRun run = Run("histogram" + Quoted("a.bmp"));
    EXPECT_EQ(run.exitCode, 0);
    EXPECT_THAT(run.out, HasSubstr("9\t8\t8\t8\t8\n"));
    EXPECT_EQ(Run("histogram" + Quoted("a.bmp") + " -o" + Quoted("c.svg")).exitCode, 0);
    EXPECT_THAT(Text((m_folder / "c.svg").string()), HasSubstr("<svg"));
    EXPECT_EQ(Run("histogram" + Quoted("a.bmp") + " -o" + Quoted("c.png")).exitCode, 0);
    EXPECT_THAT(Text((m_folder / "c.png").string()), testing::StartsWith("\x89PNG"));
}

TEST_F(ProgramTest, ThumbMakesASmallPictureOfEach) {
    WriteFile(m_folder / "a.bmp",
              CDIBBuilder{}.Size(40, 20).Pixels(std::vector<uint8_t>(2400, 9)).File());
    WriteFile(m_folder / "b.bmp",
              CDIBBuilder{}.Size(8, 32).Pixels(std::vector<uint8_t>(768, 200)).File());
    CRun run = Run("thumb -s 8x8 --format bmp -o" + Quoted("small") + Quoted("a.bmp") +
                   Quoted("none.bmp") + Quoted("b.bmp"));
    EXPECT_EQ(run.exitCode, 1);
    EXPECT_THAT(run.err, HasSubstr("none.bmp: there is no such file\n"));
    CHandle a;
    ASSERT_TRUE(a.Load(m_folder / "small" / "a.bmp"));
    EXPECT_EQ(a.Info().width, 8u);
    EXPECT_EQ(a.Rows(24), std::vector<uint8_t>(4 * 24, 9));
    CHandle b;
    ASSERT_TRUE(b.Load(m_folder / "small" / "b.bmp"));
    EXPECT_EQ(b.Info().height, 8u);
    EXPECT_EQ(b.Rows(6), std::vector<uint8_t>(8 * 6, 200));

    EXPECT_EQ(Run("thumb --format=jpg -o" + Quoted("small") + Quoted("a.bmp")).exitCode, 0);
    CHandle unchanged;
    ASSERT_TRUE(unchanged.Load(m_folder / "small" / "a.jpg"));
    EXPECT_EQ(unchanged.Info().width, 40u) << "thumbnails are never larger than their picture";

    for (const char* options : {"thumb", "thumb -s 0x8 a.bmp", "thumb --format xyz a.bmp"}) {
        EXPECT_EQ(Run(options).exitCode, 2) << options;
    }
}

TEST_F(ProgramTest, SheetLaysPicturesInCellsWithTheirNames) {
    WriteFile(m_folder / "a.bmp",
              CDIBBuilder{}.Size(40, 20).Pixels(std::vector<uint8_t>(2400, 9)).File());
    WriteFile(m_folder / "b.bmp",
              CDIBBuilder{}.Size(20, 40).Pixels(std::vector<uint8_t>(2400, 77)).File());
    const CRun run = Run("sheet -s 40x40 --columns 2" + Quoted("a.bmp") + Quoted("b.bmp") +
                         Quoted("none.bmp") + " -o" + Quoted("sheet.bmp"));
    EXPECT_EQ(run.exitCode, 1);
    EXPECT_THAT(run.err, HasSubstr("none.bmp: there is no such file\n"));
    CHandle sheet;
    ASSERT_TRUE(sheet.Load(m_folder / "sheet.bmp"));
    // Cells of 40 x 54 pixels, 8 pixels between them and around.
    const CHandle::CInfo info = sheet.Info();
    ASSERT_EQ(info.width, 104u);
    ASSERT_EQ(info.height, 132u);
    // How many pixels of a part of the sheet have three bytes of that level.
    const auto count = [&](uint8_t level, uint32_t left, uint32_t top, uint32_t width,
                           uint32_t height) {
        int found = 0;
        for (uint32_t y = top; y < top + height; ++y) {
            const auto row = sheet.Row(y);
            for (uint32_t x = left; x < left + width; ++x) {
                found += std::count(&row[3 * x], &row[3 * x] + 3, level) == 3;
            }
        }
        return found;
    };
    EXPECT_EQ(count(9, 8, 18, 40, 20), 800) << "in the middle of its cell";
    EXPECT_EQ(count(9, 0, 0, 104, 132), 800);
    EXPECT_EQ(count(77, 66, 8, 20, 40), 800);
    EXPECT_EQ(count(77, 0, 0, 104, 132), 800);
    EXPECT_GT(count(0, 8, 48, 40, 14), 20) << "the name";
    EXPECT_GT(count(0, 56, 48, 40, 14), 20);
    EXPECT_EQ(count(0, 0, 0, 104, 48), 0) << "no ink beside the names";
    EXPECT_EQ(count(255, 0, 62, 104, 8), 8 * 104) << "the gap between rows";

    for (const char* options : {"sheet -o x.bmp", "sheet a.bmp", "sheet --columns 0 -o x.bmp a.bmp",
                                "sheet -s 32767x9 -o x.bmp a.bmp"}) {
        EXPECT_EQ(Run(options).exitCode, 2) << options;
    }
}

}  // namespace
}  // namespace kestr::test
