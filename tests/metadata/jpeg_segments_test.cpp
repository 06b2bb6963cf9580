// Marker segments of JPEG files, and the comment that is merged into one.
#include "metadata/jpeg_segments.h"

#include <gmock/gmock.h>
#include <kestr/kestr.h>

#include "platform/code_page.h"
#include "support/test_data.h"

namespace kestr::test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using Bytes = std::vector<uint8_t>;

const Bytes kSOI{0xFF, 0xD8};
const Bytes kEOI{0xFF, 0xD9};
const Bytes kScan{0xFF, 0xDA, 0, 3, 1, 0x12, 0xFF, 0x00, 0x34, 0xFF, 0xD0, 0x56};

Bytes Segment(uint8_t marker, std::string_view data) {
    Bytes out{0xFF, marker, uint8_t((data.size() + 2) >> 8), uint8_t(data.size() + 2)};
    out.insert(out.end(), data.begin(), data.end());
    return out;
}
Bytes Join(std::initializer_list<Bytes> parts) {
    Bytes all;
    for (const Bytes& part : parts) all.insert(all.end(), part.begin(), part.end());
    return all;
}

TEST(JPEGSegments, AreListed) {
    const Bytes file = Join({kSOI,
                             {0xFF},
                             Segment(0xE1, std::string_view("Exif\0\0MM", 8)),
                             Segment(0xE1, "http://ns.adobe.com/xap/1.0/\0x"),
                             kScan,
                             kEOI,
                             {'t', 'a', 'i', 'l'}});
    const auto segments = ScanJPEG(file);
    std::vector<uint16_t> markers;
    size_t at = 0;
    for (const auto& segment : segments) {
        markers.push_back(segment.marker);
        EXPECT_EQ(segment.offset, at);
        at += segment.length;
    }
    EXPECT_EQ(at, file.size());  // nothing is left out
    EXPECT_THAT(markers, ElementsAre(0xFFD8, 0xFFFF, 0xFFE1, 0xFFE1, 0xFFDA, 0xFFFF, 0xFFD0, 0xFFFF,
                                     0xFFD9, 0xFFFF));
    EXPECT_TRUE(segments[2].isExif && !segments[2].isXmp);
    EXPECT_TRUE(segments[3].isXmp && !segments[3].isExif);
    const auto tail = JPEGTail(file);
    EXPECT_EQ(std::string(tail.begin(), tail.end()), "tail");
    EXPECT_THAT(JPEGTail(Join({kSOI, kEOI})), IsEmpty());
    EXPECT_THAT(ScanJPEG(Bytes{'x', 0xFF, 0xD8}), IsEmpty());
    EXPECT_EQ(ScanJPEG(Join({kSOI, {0xFF, 0xE0, 0, 9, 1}})).at(1).length, 5u);  // cut short
}

class MergeComment : public testing::Test {
protected:
    // The file after a comment was merged into a copy of it, and into itself.
    Bytes Merged(const Bytes& file, const char* text) {
        const auto source = (m_folder / "source.jpg").string();
        const auto target = (m_folder / "target.jpg").string();
        WriteFile(source, file);
        EXPECT_EQ(cMergeComment(text, source.c_str(), target.c_str()), 1);
        EXPECT_EQ(ReadFile(source), file);
        EXPECT_EQ(cMergeComment(text, source.c_str(), source.c_str()), 1);
        EXPECT_EQ(ReadFile(source), ReadFile(target));
        EXPECT_FALSE(std::filesystem::exists(target + ".tmp.jpg"));
        return ReadFile(target);
    }
    CTemporaryFolder m_folder;
};

TEST_F(MergeComment, GoesBehindTheFirstApplicationMarker) {
    const Bytes app0 = Segment(0xE0, "JFIF"), app1 = Segment(0xE1, "x"), old = Segment(0xFE, "old");
    const Bytes added = Segment(0xFE, "n\xC3\xA9w");
    EXPECT_EQ(Merged(Join({kSOI, old, app0, app1, kScan, old, kEOI, {1, 2}}), "n\xC3\xA9w"),
              Join({kSOI, app0, added, app1, kScan, kEOI}));
    EXPECT_EQ(Merged(Join({kSOI, kScan, kEOI}), "n\xC3\xA9w"), Join({kSOI, added, kScan, kEOI}));
    EXPECT_EQ(Merged(Join({kSOI, app0, old, kScan, kEOI}), ""), Join({kSOI, app0, kScan, kEOI}));
}

TEST_F(MergeComment, RefusesWithoutATrace) {
    const auto file = (m_folder / "file.jpg").string();
    EXPECT_EQ(cMergeComment("x", file.c_str(), file.c_str()), 0);
    WriteFile(file, Bytes{'n', 'o'});
    EXPECT_EQ(cMergeComment("x", file.c_str(), file.c_str()), 0);
    const Bytes good = Join({kSOI, kScan, kEOI});
    WriteFile(file, good);
    EXPECT_EQ(cMergeComment(std::string(65534, 'x').c_str(), file.c_str(), file.c_str()), 0);
    EXPECT_EQ(cMergeComment("x", file.c_str(), (m_folder / "no/where.jpg").string().c_str()), 0);
    EXPECT_EQ(cMergeComment("x", nullptr, file.c_str()), 0);
    EXPECT_EQ(ReadFile(file), good);
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator(m_folder.Path()), {}), 1);
    EXPECT_EQ(cMergeComment(std::string(65533, 'x').c_str(), file.c_str(), file.c_str()), 1);
    EXPECT_EQ(ReadFile(file).size(), good.size() + 4 + 65533);
}

TEST_F(MergeComment, OfAPP1OnlyWhatIsNamedGoes) {
    const Bytes exif = Segment(0xE1, std::string_view("Exif\0\0old", 9));
    const Bytes xmp = Segment(0xE1, "http://ns.adobe.com/xap/1.0/");
    const Bytes other = Segment(0xE1, "other");
    const auto path = m_folder / "file.jpg";
    WriteFile(path, Join({kSOI, exif, xmp, other, kEOI}));
    const Bytes fresh{'E', 'x', 'i', 'f', 0, 0, 'n'};
    const WideString wide = PathToWide(path.string().c_str());
    std::string words;
    EXPECT_TRUE(MergeMarker(wide.c_str(), wide.c_str(),
                            {.data = fresh,
                             .markerToAdd = jpeg_marker::kAPP1,
                             .markerToDrop = jpeg_marker::kAPP1,
                             .dropExif = true},
                            words));
    EXPECT_EQ(ReadFile(path),
              Join({kSOI, Segment(0xE1, std::string_view("Exif\0\0n", 7)), xmp, other, kEOI}));
    const Bytes resources{1, 2};
    EXPECT_TRUE(MergeMarker(wide.c_str(), wide.c_str(),
                            {.data = resources,
                             .markerToAdd = jpeg_marker::kAPP13,
                             .markerToDrop = jpeg_marker::kAPP1,
                             .dropXmp = true},
                            words));
    EXPECT_EQ(ReadFile(path),
              Join({kSOI, Segment(0xE1, std::string_view("Exif\0\0n", 7)),
                    Segment(0xED, std::string_view("Photoshop 3.0\0\1\2", 16)), other, kEOI}));
}

}  // namespace
}  // namespace kestr::test
