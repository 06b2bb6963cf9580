// Makers' notes put together byte by byte; the values worked out by hand.
#include "metadata/maker_notes.h"

#include <gmock/gmock.h>

#include "support/tiff_builder.h"

namespace kestr::test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using Bytes = std::vector<uint8_t>;

/// A note in the middle of a file: `before` bytes, the directory, and data behind it.
class CNote {
public:
    CNote(bool bigEndian, size_t before) : m_in(bigEndian), m_before(before) {}

    CNote& Entry(uint32_t tag, uint32_t type, uint32_t count, const Bytes& field) {
        m_entries.push_back({tag, type, count, field});
        return *this;
    }
    /// An entry whose value stands behind the directory, at an offset that counts from `base`.
    CNote& Data(uint32_t tag, uint32_t type, uint32_t count, const Bytes& data, size_t base) {
        m_data.push_back({m_entries.size(), data, base});
        return Entry(tag, type, count, {});
    }
    size_t Size() const { return m_before + 2 + 12 * m_entries.size() + 4; }
    Bytes File() const {
        Bytes file(m_before, 0xEE);
        auto entries = m_entries;
        size_t at = Size();
        Bytes tail;
        for (const CData& data : m_data) {
            entries[data.entry].field = m_in.U32(uint32_t(at - data.base));
            tail.insert(tail.end(), data.bytes.begin(), data.bytes.end());
            at += data.bytes.size();
        }
        CTIFFBuilder directory(BigEndian());
        const uint32_t start = directory.Directory(entries);
        file.insert(file.end(), directory.All().begin() + start, directory.All().end());
        file.insert(file.end(), tail.begin(), tail.end());
        return file;
    }
    const CTIFFBuilder& In() const { return m_in; }

private:
    struct CData {
        size_t entry;
        Bytes bytes;
        size_t base;
    };
    bool BigEndian() const { return m_in.U16(1)[1] == 1; }
    CTIFFBuilder m_in;
    size_t m_before;
    std::vector<CTIFFBuilder::CEntry> m_entries;
    std::vector<CData> m_data;
};

Bytes Block(size_t size, size_t at, const Bytes& bytes) {
    Bytes block(size);
    std::copy(bytes.begin(), bytes.end(), block.begin() + ptrdiff_t(at));
    return block;
}

TEST(EpsonNote, GivesPreviewAndMultipliers) {
    const Bytes gains = Block(256, 48, {0x01, 0x80, 0x02, 0x00});  // 384, 512
    CNote note(true, 20);
    note.Entry(640, 4, 5000, note.In().U32(1234)).Data(3712, 7, 256, gains, 20);
    const Bytes file = note.File();
    const CEpsonNote got = ReadEpsonNote(file, 12);
    EXPECT_EQ(got.preview.offset, 1234u);
    EXPECT_EQ(got.preview.length, 5000u);
    ASSERT_EQ(got.multipliers.size(), 3u);
    EXPECT_NEAR(got.multipliers[0], 65536 / (384 * 508 * 1.078), 1e-12);
    EXPECT_EQ(got.multipliers[1], 1.0);
    EXPECT_NEAR(got.multipliers[2], 65536 / (512 * 382 * 1.173), 1e-12);

    CNote short255(true, 20);
    short255.Entry(640, 4, 0, note.In().U32(1)).Data(3712, 7, 255, gains, 20);
    const CEpsonNote none = ReadEpsonNote(short255.File(), 12);
    EXPECT_EQ(none.preview.length, 0u);
    EXPECT_THAT(none.multipliers, IsEmpty());
    // The file ends within the block.
    EXPECT_THAT(ReadEpsonNote(std::span(file).first(note.Size() + 51), 12).multipliers, IsEmpty());
    EXPECT_EQ(ReadEpsonNote(std::span(file).first(note.Size() + 52), 12).multipliers.size(), 3u);
}

TEST(KodakNote, GivesBigEndianMultipliersOfALittleEndianDirectory) {
    const Bytes gains = Block(1502, 148, {0x02, 0x00, 0x00, 0x80});  // 512, 128
    CNote note(false, 7);
    note.Data(3840, 7, 1502, gains, 7);
    EXPECT_THAT(ReadKodakNote(note.File(), 7).multipliers, ElementsAre(0.5, 1.0, 2.0));
    CNote other(false, 7);
    other.Data(3841, 7, 1502, gains, 7).Data(3840, 7, 1501, gains, 7).Data(3840, 1, 1502, gains, 7);
    EXPECT_THAT(ReadKodakNote(other.File(), 7).multipliers, IsEmpty());
}

TEST(MinoltaNote, GivesMultipliersOfEitherSettings) {
    CNote in(true, 3);
    const Bytes settings =
        Block(172, 160, in.In().Join({in.In().U32(438), in.In().U32(0), in.In().U32(509)}));
    const struct {
        uint32_t tag, count;
        uint32_t red, blue;
    } rows[] = {{1, 172, 438, 509},
                {3, 124, 438, 509},
                {3, 127, 438, 509},
                {1, 123, 256, 256},
                {2, 172, 256, 256}};
    for (const auto& row : rows) {
        SCOPED_TRACE(testing::Message() << row.tag << ", " << row.count);
        CNote note(true, 3);
        note.Data(row.tag, 7, row.count, settings, 3);
        const CMinoltaNote got = ReadMinoltaNote(note.File(), 3);
        EXPECT_EQ(got.red, row.red);
        EXPECT_EQ(got.blue, row.blue);
    }
}

TEST(PentaxNote, MasksAndShifts) {
    CNote note(true, 16);
    note.Data(513, 3, 4, {0x20, 0x00, 0x11, 0x11, 0x22, 0x22, 0x30, 0x3F}, 16);
    const Bytes file = note.File();
    const CPentaxNote got = ReadPentaxNote(file, 10);
    EXPECT_EQ(got.red, 256);
    EXPECT_EQ(got.blue, 0x3020 >> 5);
    EXPECT_FALSE(ReadPentaxNote(std::span(file).first(file.size() - 1), 10).red);
}

TEST(NikonPreview, TakesTheLastOfEachTag) {
    for (const bool bigEndian : {false, true}) {
        CNote note(bigEndian, 40);
        note.Entry(513, 4, 1, note.In().U32(1))
            .Entry(514, 4, 1, note.In().U32(99))
            .Entry(513, 4, 1, note.In().U32(70000));
        const CNotePreview got = ReadNikonPreview(note.File(), 40, 10, bigEndian);
        EXPECT_EQ(got.offset, 70000u);
        EXPECT_EQ(got.length, 99u);
    }
}

class OlympusNote : public testing::TestWithParam<bool> {};
INSTANTIATE_TEST_SUITE_P(BothOrders, OlympusNote, testing::Values(false, true));

TEST_P(OlympusNote, GivesWhatStandsInTheNoteItself) {
    CNote note(GetParam(), 8);
    const auto& in = note.In();
    note.Entry(4119, 3, 1, in.U16(350))
        .Entry(4120, 3, 1, in.U16(412))
        .Data(4114, 3, 4, in.Join({in.U16(1), in.U16(2), in.U16(3), in.U16(4)}), 0);
    const COlympusNote got = ReadOlympusNote(note.File(), 8, 0, GetParam());
    EXPECT_EQ(got.red, 350);
    EXPECT_EQ(got.blue, 412);
    ASSERT_TRUE(got.blackLevels);
    EXPECT_THAT(*got.blackLevels, ElementsAre(1, 2, 3, 4));
    EXPECT_FALSE(got.colorMatrix);
}

TEST_P(OlympusNote, WalksItsDirectories) {
    const bool bigEndian = GetParam();
    // Old notes count from the start of the file, new ones from their own, 12 bytes before.
    for (const size_t base : {size_t{0}, size_t{100}}) {
        for (const bool apart : {false, true}) {
            SCOPED_TRACE(testing::Message() << "base " << base << ", apart " << apart);
            const size_t directory = base + 12;
            CNote first(bigEndian, directory);
            first.Entry(8224, 13, 1, {}).Entry(8256, 13, 1, {});
            CNote settings(bigEndian, first.Size());
            const auto& in = settings.In();
            settings.Entry(256, 4, 1, in.U32(1))
                .Entry(257, 4, 1, in.U32(21248))
                .Entry(258, 4, 1, in.U32(405722));
            CNote processing(bigEndian, settings.Size());
            if (apart) {
                processing.Data(256, 3, 3, in.Join({in.U16(500), in.U16(352), in.U16(0)}), base);
            } else {
                processing.Entry(256, 3, 2, in.Join({in.U16(500), in.U16(352)}));
            }
            Bytes matrix;
            for (int i = -4; i <= 4; ++i) matrix = in.Join({matrix, in.U16(uint32_t(i * 64))});
            processing.Data(512, 8, 9, matrix, base)
                .Data(1536, 3, 4, in.Join({in.U16(72), in.U16(73), in.U16(74), in.U16(75)}), base);
            CNote note(bigEndian, directory);
            note.Entry(8224, 13, 1, in.U32(uint32_t(first.Size() - base)))
                .Entry(8256, 13, 1, in.U32(uint32_t(settings.Size() - base)));
            Bytes file = note.File();
            for (const CNote* next : {&settings, &processing}) {
                const Bytes bytes = next->File();
                file.resize(bytes.size());
                const size_t start = next == &settings ? first.Size() : settings.Size();
                std::copy(bytes.begin() + ptrdiff_t(start), bytes.end(),
                          file.begin() + ptrdiff_t(start));
            }
            const COlympusNote got = ReadOlympusNote(file, directory, base, bigEndian);
            EXPECT_EQ(got.red, 500);
            EXPECT_EQ(got.blue, 352);
            EXPECT_TRUE(got.previewValid);
            EXPECT_EQ(got.preview.offset, 21248u);
            EXPECT_EQ(got.preview.length, 405722u);
            ASSERT_TRUE(got.blackLevels);
            EXPECT_THAT(*got.blackLevels, ElementsAre(72, 73, 74, 75));
            ASSERT_TRUE(got.colorMatrix);
            EXPECT_THAT(*got.colorMatrix,
                        ElementsAre(-1, -0.75, -0.5, -0.25, 0, 0.25, 0.5, 0.75, 1));
        }
    }
}

// Each directory once, whatever the note says: 60000 entries that name one of 60000 end at once.
TEST(OlympusNoteHostile, DoesNotWalkADirectoryAgainAndAgain) {
    CNote note(false, 8);
    for (int i = 0; i < 60000; ++i) note.Entry(8224, 13, 1, note.In().U32(8));
    EXPECT_FALSE(ReadOlympusNote(note.File(), 8, 0, false).previewValid);
}

}  // namespace
}  // namespace kestr::test
