// IPTC records, image resources.
#include <gmock/gmock.h>

#include "metadata/image_resources.h"
#include "metadata/iptc_members.h"

namespace kestr::test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::Pair;
using Bytes = std::vector<uint8_t>;
using Record = kestr::CIPTC_Members;

Bytes Dataset(int number, std::string_view value, int record = 2) {
    Bytes out{0x1C, uint8_t(record), uint8_t(number), uint8_t(value.size() >> 8),
              uint8_t(value.size())};
    out.insert(out.end(), value.begin(), value.end());
    return out;
}

Bytes Join(std::initializer_list<Bytes> parts) {
    Bytes all;
    for (const Bytes& part : parts) all.insert(all.end(), part.begin(), part.end());
    return all;
}

std::string Text(const Record& record) {
    return WideToText(record.AsText(TextToWide(": "), TextToWide("|")));
}

TEST(IPTC, ReadsARecord) {
    Record r;
    const Bytes block = Join({{7, 7},
                              Dataset(90, "Oslo", 1),
                              Dataset(0, {"\0\2", 2}),
                              Dataset(25, "a"),
                              Dataset(25, "  b "),
                              Dataset(25, "a"),
                              {0},
                              Dataset(105, "First"),
                              Dataset(105, "Second"),
                              Dataset(120, "   "),
                              Dataset(90, {"Bergen\0xyz", 10}),
                              Dataset(200, "own"),
                              Dataset(125, "dots")});
    EXPECT_TRUE(r.Parse(block));
    EXPECT_THAT(r.Keywords, ElementsAre("a", "b"));
    EXPECT_EQ(r.Headline, "First");
    EXPECT_EQ(r.City, "Bergen");
    EXPECT_EQ(r.Caption, "");
    EXPECT_THAT(r.extended, ElementsAre(Pair(200, "own")));
    EXPECT_EQ(Text(r), "Headline: First|City: Bergen|Keyword: a|Keyword: b|Ext(200): own|");
    EXPECT_FALSE(r.Parse({}));
    EXPECT_FALSE(r.Parse(Bytes{1, 2, 3}));
    EXPECT_TRUE(r.Empty());
}

TEST(IPTC, ReadsLongLengths) {
    Record r;
    const Bytes head{0x1C, 2, 90};
    const Bytes rest = Dataset(105, "H");
    EXPECT_TRUE(r.Parse(Join({head, {0x80, 2, 0, 1, 'x'}, rest})));
    EXPECT_EQ(r.City, "x");
    EXPECT_EQ(r.Headline, "H");
    EXPECT_FALSE(r.Parse(Join({head, {0x80, 5, 0, 0, 0, 0, 1, 'x'}, rest})));
    EXPECT_TRUE(r.Parse(Join({head, {0x80, 4, 0xFF, 0xFF, 0xFF, 0xFF, 'y', 'z'}})));
    EXPECT_EQ(r.City, "yz");
    EXPECT_FALSE(r.Parse(Join({head, {0x80}})));
}

TEST(IPTC, WritesWhatItRead) {
    const Bytes long_ = Join({Dataset(0, {"\0\4", 2}),
                              Dataset(25, "one"),
                              Dataset(25, "two"),
                              Dataset(90, "M\xFCnchen"),
                              {0x1C, 2, 120, 0x80, 4, 0, 0, 0x9C, 0x40},
                              Bytes(40000, 'c'),
                              Dataset(200, "own")});
    Record r;
    ASSERT_TRUE(r.Parse(long_));
    EXPECT_EQ(r.Serialise(), long_);
    EXPECT_EQ(Record().Serialise(), Dataset(0, {"\0\4", 2}));
    for (const size_t size : {32767u, 32768u, 32769u}) {
        r.Caption.assign(size, 'd');
        Record again;
        again.Parse(r.Serialise());
        EXPECT_EQ(again.Caption.size(), size);
    }
}

TEST(IPTC, SetsDatasetsAndItems) {
    Record r;
    EXPECT_EQ(Record::DatasetByName("Coutry/Primary Location Code"), 100);
    EXPECT_FALSE(Record::DatasetByName("Keyword"));
    EXPECT_TRUE(r.SetDataset(110, "me"));
    EXPECT_FALSE(r.SetDataset(110, "you", true));
    EXPECT_EQ(r.Credit, "me");
    r.SetDataset(201, "x");
    r.SetDataset(201, "y");
    EXPECT_THAT(r.extended, ElementsAre(Pair(201, "y")));
    r.SetDataset(201, "");
    EXPECT_THAT(r.extended, IsEmpty());
    EXPECT_TRUE(Record::SetListItem(2, "c", r.Keywords));
    EXPECT_FALSE(Record::SetListItem(0, "c", r.Keywords));
    EXPECT_TRUE(Record::SetListItem(-1, "d", r.Keywords));
    EXPECT_THAT(r.Keywords, ElementsAre("", "", "c", "d"));
    Record other;
    other.Keywords = {"d", "e"};
    other.Credit = "other";
    other.City = "Rome";
    r.MergeFrom(other);
    EXPECT_THAT(r.Keywords, ElementsAre("", "", "c", "d", "e"));
    EXPECT_EQ(r.Credit, "me");
    EXPECT_EQ(r.City, "Rome");
}

Bytes Resource(int id, std::string_view name, const Bytes& data, const char* mark = "8BIM") {
    Bytes out(mark, mark + 4);
    out.insert(out.end(), {uint8_t(id >> 8), uint8_t(id), uint8_t(name.size())});
    out.insert(out.end(), name.begin(), name.end());
    if (name.size() % 2 == 0) out.push_back(0);
    out.insert(out.end(), {0, 0, 0, uint8_t(data.size())});
    out.insert(out.end(), data.begin(), data.end());
    if (data.size() % 2 != 0) out.push_back(0xEE);
    return out;
}

TEST(ImageResources, AreFoundById) {
    const Bytes all = Join({Resource(1000, "", {1, 2, 3}), Resource(1028, "odd", {4, 5, 6}),
                            Resource(1028, "", {9, 9}), Resource(1058, "even", {7, 8})});
    const auto find = [](const Bytes& bytes, uint16_t id) {
        const auto data = FindImageResource(bytes, id);
        return Bytes(data.begin(), data.end());
    };
    EXPECT_THAT(find(all, 1000), ElementsAre(1, 2, 3, 0xEE));
    EXPECT_THAT(find(all, 1028), ElementsAre(4, 5, 6, 0xEE));
    EXPECT_THAT(find(all, 1058), ElementsAre(7, 8));
    EXPECT_THAT(find(all, 1), IsEmpty());
    EXPECT_THAT(find(Join({Resource(1, "", {1, 2}, "8BIX"), all}), 1000), IsEmpty());
    EXPECT_THAT(find({'8', 'B', 'I', 'M', 4, 4, 0, 0}, 1028), IsEmpty());
    Bytes cut = Resource(1028, "", {1, 2, 3, 4});
    cut.resize(cut.size() - 3);
    EXPECT_THAT(find(cut, 1028), ElementsAre(1));
}

}  // namespace
}  // namespace kestr::test
