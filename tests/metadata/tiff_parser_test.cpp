// TIFF directories of whole files and in memory.
#include "metadata/tiff_parser.h"

#include <gmock/gmock.h>

#include "support/tiff_builder.h"

namespace kestr::test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

struct CParsed {
    CParsed(std::vector<uint8_t> file, bool chain, bool subs)
        : bytes(std::move(file)), wrapped(file_.Wrap(bytes)), parser(&file_, chain, subs) {}
    std::vector<uint8_t> bytes;
    CMappedFileImpl file_;
    bool wrapped;
    CTIFFParser parser;
    const CTIFFDirectory& First() const { return parser.Directories().at(0); }
};

class ByteOrder : public testing::TestWithParam<bool> {};
INSTANTIATE_TEST_SUITE_P(Both, ByteOrder, testing::Values(false, true));

TEST_P(ByteOrder, GivesValuesOfEachType) {
    CTIFFBuilder b(GetParam(), 0);
    const uint32_t shorts = b.Add(b.Join({b.U16(1), b.U16(2), b.U16(0xFFFF)}));
    const uint32_t longs = b.Add(b.Join({b.U32(70000), b.U32(0xFFFFFFFF)}));
    const uint32_t rationals =
        b.Add(b.Join({b.Rational(0xFFFFFFFF, 2), b.Rational(0, 0), b.Rational(1, 4)}));
    const uint32_t bytes = b.Add({1, 2, 3, 4, 5});
    b.Patch32(4, b.Directory({{256, 3, 1, b.U16(7)},
                              {256, 3, 2, b.Join({b.U16(8), b.U16(9)})},
                              {257, 3, 3, b.U32(shorts)},
                              {258, 8, 1, b.U16(5)},
                              {259, 4, 1, b.U32(123456)},
                              {260, 4, 2, b.U32(longs)},
                              {261, 4, 0, {}},
                              {262, 5, 3, b.U32(rationals)},
                              {263, 10, 1, b.U32(rationals)},
                              {264, 1, 4, {9, 8, 7, 6}},
                              {265, 7, 5, b.U32(bytes)},
                              {266, 2, 2, {'a', 0}},
                              {267, 4, 2, b.U32(0xFFFFFFF0)}}));
    const CParsed p(b.All(), false, false);
    EXPECT_EQ(p.parser.BigEndian(), GetParam());
    EXPECT_EQ(p.parser.Magic(), 42);
    ASSERT_EQ(p.parser.Directories().size(), 1u);
    const auto shortsOf = [&](uint16_t tag) {
        std::vector<uint16_t> out;
        return GetShorts(p.file_, tag, GetParam(), p.First(), out) ? out
                                                                   : std::vector<uint16_t>{404};
    };
    const auto longsOf = [&](uint16_t tag) {
        std::vector<uint32_t> out;
        return GetLongs(p.file_, tag, GetParam(), p.First(), out) ? out
                                                                  : std::vector<uint32_t>{404};
    };
    EXPECT_THAT(shortsOf(256), ElementsAre(8, 9));  // the second of the two
    EXPECT_THAT(shortsOf(257), ElementsAre(1, 2, 0xFFFF));
    EXPECT_THAT(longsOf(257), ElementsAre(1, 2, 0xFFFF));
    EXPECT_THAT(shortsOf(258), ElementsAre(5));
    EXPECT_THAT(longsOf(258), ElementsAre(404));
    EXPECT_THAT(longsOf(259), ElementsAre(123456));
    EXPECT_THAT(longsOf(260), ElementsAre(70000, 0xFFFFFFFF));
    EXPECT_THAT(longsOf(261), IsEmpty());
    EXPECT_THAT(longsOf(267), ElementsAre(404));  // outside
    EXPECT_THAT(longsOf(999), ElementsAre(404));
    std::vector<double> doubles;
    EXPECT_TRUE(GetRationals(p.file_, 262, GetParam(), p.First(), doubles));
    EXPECT_TRUE(GetRationals(p.file_, 263, GetParam(), p.First(), doubles));
    EXPECT_THAT(doubles, ElementsAre(2147483647.5, 0.0, 0.25, -0.5));
    std::vector<uint8_t> out{1};
    EXPECT_TRUE(GetBytes(p.file_, 264, GetParam(), p.First(), out));
    EXPECT_THAT(out, ElementsAre(9, 8, 7, 6));
    EXPECT_TRUE(GetBytes(p.file_, 265, GetParam(), p.First(), out));
    EXPECT_THAT(out, ElementsAre(1, 2, 3, 4, 5));
    EXPECT_FALSE(GetBytes(p.file_, 266, GetParam(), p.First(), out));  // text is refused
    uint32_t number = 0;
    EXPECT_FALSE(GetLong(p.file_, 261, GetParam(), p.First(), number));
    EXPECT_TRUE(GetLong(p.file_, 256, GetParam(), p.First(), number));
    EXPECT_EQ(number, 8u);
    CTIFFParser::DirData entry;
    EXPECT_TRUE(GetEntry(262, GetParam(), p.First(), entry));
    EXPECT_EQ(entry.type, 5);
    EXPECT_EQ(entry.count, 3u);
}

TEST_P(ByteOrder, FollowsChainsAndSubDirectories) {
    CTIFFBuilder b(GetParam(), 0);
    const uint32_t second = b.Directory({{100, 3, 1, b.U16(2)}});
    const uint32_t child = b.Directory({{101, 3, 1, b.U16(3)}});
    const uint32_t three = b.Add(b.Join({b.U32(child), b.U32(second), b.U32(child)}));
    b.Patch32(4, b.Directory({{330, 4, 3, b.U32(three)}}, second));
    const CParsed both(b.All(), true, true);
    EXPECT_EQ(both.parser.Directories().size(), 2u);
    const auto children = GetSubDirectories(both.First());
    ASSERT_TRUE(children);
    ASSERT_EQ(children->size(), 3u);
    EXPECT_TRUE(HasTag(101, (*children)[0]));
    const CParsed neither(b.All(), false, false);
    EXPECT_EQ(neither.parser.Directories().size(), 1u);
    EXPECT_FALSE(GetSubDirectories(neither.First()));
}

TEST(TIFFParser, KeepsWhatABrokenDirectoryHolds) {
    CTIFFBuilder b;
    b.Directory({{1, 3, 1, {}}, {2, 3, 1, {}}}, 0, 100);
    const CParsed p(b.All(), true, true);
    ASSERT_EQ(p.parser.Directories().size(), 1u);
    EXPECT_EQ(p.First().Entries().size(), 2u);
    EXPECT_THAT(CParsed({'I', 'J', 42, 0, 8, 0, 0, 0, 0, 0}, true, true).parser.Directories(),
                IsEmpty());
}

TEST(TIFFParser, EndsOnLoops) {
    CTIFFBuilder chain;
    chain.Directory({{1, 3, 1, {}}}, 8);
    EXPECT_EQ(CParsed(chain.All(), true, true).parser.Directories().size(), 1u);

    CTIFFBuilder tree;
    tree.Directory({{330, 4, 1, tree.U32(8)}});
    EXPECT_EQ(CParsed(tree.All(), true, true).parser.Directories().size(), 1u);

    // Each directory names itself twice over: without a bound, 2^depth directories.
    CTIFFBuilder bush;
    const uint32_t twice = 8 + 18;
    bush.Directory({{330, 4, 2, bush.U32(twice)}});
    bush.Add(bush.Join({bush.U32(8), bush.U32(8)}));
    EXPECT_EQ(CParsed(bush.All(), true, true).parser.Directories().size(), 1u);
}

TEST(TIFFParser, ReadsAMillionEntries) {
    CTIFFBuilder b;
    std::vector<CTIFFBuilder::CEntry> entries;
    for (uint32_t i = 0; i < 65535; ++i) entries.push_back({65535 - i, 3, 1, {}});
    for (int i = 0; i < 16; ++i) b.Directory(entries, i < 15 ? b.Size() + 6 + 65535 * 12 : 0);
    const CParsed p(b.All(), true, true);
    ASSERT_EQ(p.parser.Directories().size(), 16u);
    EXPECT_EQ(p.parser.Directories()[15].Entries().size(), 65535u);
}

class CNotes final : public CTIFFParserLoop {
public:
    using CTIFFParserLoop::CTIFFParserLoop;
    bool ProcessEntry() override {
        tags.push_back(m_tag);
        values.push_back(m_value);
        return m_tag != 3;
    }
    std::vector<uint16_t> tags;
    std::vector<uint32_t> values;
};

TEST_P(ByteOrder, WalkGoesEntryByEntry) {
    CTIFFBuilder b(GetParam());
    b.Directory({{2, 3, 1, b.U16(5)}, {1, 4, 1, b.U32(6)}, {3, 4, 1, {}}, {4, 4, 1, {}}});
    CNotes notes(std::span(b.All()).subspan(8), b.All(), GetParam(), false);
    notes.Walk();
    EXPECT_THAT(notes.tags, ElementsAre(2, 1, 3));
    EXPECT_THAT(notes.values, ElementsAre(GetParam() ? 0x50000 : 5, 6, 0));
    CNotes cut(std::span(b.All()).subspan(8, 20), b.All(), GetParam(), false);
    cut.Walk();
    EXPECT_THAT(cut.tags, ElementsAre(2));
}

}  // namespace
}  // namespace kestr::test
