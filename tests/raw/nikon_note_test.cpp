// Nikon's maker notes: white balance of each kind, curve blocks, rotation and preview. Values are
// worked out by hand; the ciphered block is enciphered here.
#include "raw/nikon_note.h"

#include <gmock/gmock.h>

#include "metadata/exif_members.h"
#include "raw/nikon_cipher_tables.h"
#include "support/nef_builder.h"

namespace kestr::test {
namespace {

using testing::DoubleEq;
using testing::ElementsAre;
using testing::IsEmpty;
using Bytes = std::vector<uint8_t>;

CNikonNote Read(const CNEFBuilder& b, int bits = 12) {
    const Bytes file = b.File();
    CEXIF_Members exif;
    uint32_t offset = 0;
    if (!exif.Parse(file, false, false) || exif.GetMakerNoteOffset(offset) != 0) return {};
    return ReadNikonNote(file, offset, b.bigEndian, bits, FindNEFModel(b.model));
}

class NikonNote : public testing::TestWithParam<std::tuple<bool, bool>> {
protected:
    NikonNote() {
        b.width = b.height = 8;
        b.oldNote = std::get<0>(GetParam());
        b.bigEndian = b.bigEndianNote = std::get<1>(GetParam());
    }
    void Add(uint32_t tag, uint32_t type, uint32_t count, Bytes data) {
        b.note.push_back({tag, type, count, std::move(data)});
    }
    Bytes Balance(const char* version, size_t size, const std::map<size_t, uint32_t>& shorts) {
        Bytes block(size);
        std::copy_n(version, 4, block.begin());
        for (const auto& [index, value] : shorts) {
            const Bytes two = b.NoteShorts({value});
            std::copy(two.begin(), two.end(), block.begin() + ptrdiff_t(2 * index));
        }
        return block;
    }
    CNEFBuilder b;
};
INSTANTIATE_TEST_SUITE_P(OldAndNew, NikonNote, testing::Combine(testing::Bool(), testing::Bool()));

TEST_P(NikonNote, TakesGains) {
    const CTIFFBuilder n(b.NoteIsBigEndian());
    Add(12, 5, 4, n.Join({n.Rational(2, 1), n.Rational(8, 5), n.Rational(1, 1), n.Rational(1, 1)}));
    EXPECT_THAT(Read(b).neutral, ElementsAre(0.5, 1.0, 0.625));
    // The D1 counts from its own green: red x 527 / 256, blue x 317 / 256, and the largest is 1.
    b.model = "NIKON D1";
    const double most = 527.0 / 512;
    EXPECT_THAT(Read(b).neutral,
                ElementsAre(1.0, DoubleEq(1 / most), DoubleEq(0.625 * 317 / 256 / most)));
}

TEST_P(NikonNote, TakesTheLevelsOfTheNoteItself) {
    Add(513, 3, 4, b.NoteShorts({100, 200, 999, 400}));
    EXPECT_THAT(Read(b).neutral, ElementsAre(1.0, 0.5, 0.25));
}

TEST_P(NikonNote, TakesBalanceA) {
    Bytes block(2560);
    block[1248] = 0x02;  // 512, big-endian whatever the note
    block[1250] = 0x01;
    block[1251] = 0x80;  // 384
    Add(20, 7, 2560, block);
    EXPECT_THAT(Read(b).neutral, ElementsAre(0.5, 1.0, DoubleEq(256.0 / 384)));
    b.note[0].type = 1;
    EXPECT_THAT(Read(b).neutral, IsEmpty());
}

TEST_P(NikonNote, TakesPlainBalanceOfEachVersion) {
    const struct {
        const char* version;
        std::map<size_t, uint32_t> shorts;
    } rows[] = {{"0100", {{36, 400}, {37, 200}, {38, 100}}},
                {"0102", {{5, 400}, {6, 100}, {8, 200}}},
                {"0103", {{10, 400}, {11, 100}, {12, 200}}}};
    for (const auto& row : rows) {
        SCOPED_TRACE(row.version);
        b.note.clear();
        Add(151, 7, 100, Balance(row.version, 100, row.shorts));
        EXPECT_THAT(Read(b).neutral, ElementsAre(0.25, 1.0, 0.5));
    }
    b.note.clear();
    Add(151, 7, 100, Balance("0101", 100, {{10, 400}, {11, 100}, {12, 200}}));
    EXPECT_THAT(Read(b).neutral, IsEmpty());
}

TEST_P(NikonNote, DeciphersBalanceOfEachVersion) {
    const struct {
        const char* version;
        size_t start, red, green, blue;
    } rows[] = {{"0205", 4, 7, 8, 10}, {"0209", 284, 6, 5, 7}, {"0204", 284, 3, 4, 6}};
    for (const auto& row : rows) {
        SCOPED_TRACE(row.version);
        Bytes plain(324);
        const auto put = [&](size_t index, uint32_t value) {
            const Bytes two = b.NoteShorts({value});
            std::copy(two.begin(), two.end(), plain.begin() + ptrdiff_t(2 * index));
        };
        put(row.red, 800);
        put(row.green, 400);
        put(row.blue, 1600);
        // "12:4": ':' is 58 and counts as 8.
        const int serial = 1284 % 256;
        const Bytes releases{0x12, 0x34, 0x56, 0x78};
        int key = kNikonCountKeys[0x12 ^ 0x34 ^ 0x56 ^ 0x78];
        for (size_t i = 0; i < plain.size(); ++i) {
            key += kNikonSerialKeys[size_t(serial)] * int(96 + i);
            plain[i] = uint8_t(plain[i] ^ (key & 255));
        }
        Bytes block(row.start);
        std::copy_n(row.version, 4, block.begin());
        block.insert(block.end(), plain.begin(), plain.end());
        b.note.clear();
        Add(29, 2, 5, {'1', '2', ':', '4', 0});
        Add(151, 7, uint32_t(block.size()), block);
        Add(167, 4, 1, releases);
        EXPECT_THAT(Read(b).neutral, ElementsAre(0.5, 1.0, 0.25));
    }
}

TEST_P(NikonNote, ReadsCurvesOfEachForm) {
    const std::vector<uint16_t> stored{0, 10, 30, 100, 400};
    const std::vector<uint16_t> start{1000, 1100, 1200, 1300};
    const auto curve = [&](uint8_t version, uint8_t form, int bits, uint32_t split = 0) {
        b.note.clear();
        std::vector<uint16_t> values(64, 1000);
        b.Compressed(values, version, form, stored, 0, split);
        return Read(b, bits).compression;
    };
    auto c = curve(0x44, 0x10, 12);
    ASSERT_TRUE(c);
    EXPECT_EQ(c->huffmanTable, 0u);
    EXPECT_THAT(c->startPredictors, testing::ElementsAreArray(start));
    EXPECT_EQ(c->curve, stored);
    EXPECT_EQ(c->splitRow, 0u);
    for (const auto& [version, form] : {std::pair{0x49, 0x10}, {0x44, 0x58}}) {
        c = curve(uint8_t(version), uint8_t(form), 14);
        ASSERT_TRUE(c);
        EXPECT_EQ(c->huffmanTable, 3u);
        EXPECT_EQ(c->curve, stored);
    }
    // Four steps of 1024 over 12 bits, of 4096 over 14.
    for (const int bits : {12, 14}) {
        SCOPED_TRACE(bits);
        c = curve(0x44, 0x20, bits, 5);
        ASSERT_TRUE(c);
        EXPECT_EQ(c->splitRow, 5u);
        ASSERT_EQ(c->curve.size(), 16384u);
        const size_t step = bits == 12 ? 1024 : 4096;
        EXPECT_EQ(c->curve[0], 0);
        EXPECT_EQ(c->curve[step], 10);
        EXPECT_EQ(c->curve[step + step / 2], 20);
        EXPECT_EQ(c->curve[3 * step + 1], 100 + 300 / int(step));
        EXPECT_EQ(c->curve[3 * step + step / 3], 100 + 300 * int(step / 3) / int(step));
        EXPECT_EQ(c->curve[16383], bits == 12 ? 400 : 100 + 300 * 4095 / 4096);
    }
    c = curve(0x46, 0x30, 12);
    ASSERT_TRUE(c);
    EXPECT_EQ(c->huffmanTable, 2u);
    ASSERT_EQ(c->curve.size(), 16384u);
    EXPECT_EQ(c->curve[12345], 12345);
    EXPECT_EQ(curve(0x46, 0x30, 14)->huffmanTable, 5u);
}

TEST_P(NikonNote, FindsPreviewAndRotation) {
    b.notePreview = {9, 8, 7, 6, 5};
    Bytes items(22);
    const CTIFFBuilder little(false);
    const auto item = [&](uint32_t id, const Bytes& data) {
        Bytes head = little.U32(id);
        head.resize(18);
        items = little.Join({items, head, little.U32(uint32_t(data.size() + 4)), data});
    };
    item(0x76A43200, {1, 2, 3});
    item(0x76A43207, little.U16(450));
    Add(3585, 7, uint32_t(items.size()), items);
    const Bytes file = b.File();
    const CNikonNote note = Read(b);
    EXPECT_EQ(note.rotation, 90);
    ASSERT_EQ(note.preview.length, 5u);
    EXPECT_THAT(Bytes(file.begin() + note.preview.offset, file.begin() + note.preview.offset + 5),
                ElementsAre(9, 8, 7, 6, 5));
}

}  // namespace
}  // namespace kestr::test
