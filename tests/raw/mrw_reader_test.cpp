#include <gmock/gmock.h>

#include "metadata/maker_notes.h"
#include "raw/mrw_models.h"
#include "readers/type_ids.h"
#include "support/jpeg_builder.h"
#include "support/maker_raw_builders.h"
#include "support/picture.h"
#include "support/sensor_probe.h"

namespace kestr::test {
namespace {

using testing::HasSubstr;
using Bytes = std::vector<uint8_t>;

/// A TIFF structure with a maker note that is a directory.
Bytes TIFFWithNote(const std::vector<CTIFFBuilder::CEntry>& note, const Bytes& extra) {
    CTIFFBuilder b(true, 0);
    b.Add(extra);  // at 8
    const uint32_t bytes = uint32_t(2 + 12 * note.size() + 4);
    const uint32_t at = b.Directory(note);
    const uint32_t exif = b.Directory({{37500, 7, bytes, b.U32(at)}});
    b.Patch32(4, b.Directory({{274, 3, 1, b.U16(1)}, {34665, 4, 1, b.U32(exif)}}));
    return b.All();
}

class MrwReader : public testing::Test {
protected:
    static CMRWBuilder Plain(const CScene& scene = [](uint32_t y, uint32_t x) {
        return uint16_t(500 + y * 40 + x);
    }) {
        CMRWBuilder b;
        b.width = 48;
        b.height = 40;
        CPlainRawBuilder packed;
        packed.width = b.width;
        packed.height = b.height;
        packed.Packed(scene);
        b.data = packed.data;
        return b;
    }
    std::unique_ptr<CImageReader> Open(const Bytes& bytes, const CThumbnailRequest& ask = {}) {
        WriteFile(m_path, bytes);
        auto reader = CreateReader(kTypeMinolta, true, false, ask);
        m_opened = reader->Open(WidePath(m_path).c_str(), 0);
        EXPECT_EQ(reader->m_errorText, m_opened ? "" : "Not an MRW file.");
        reader->Close();
        return reader;
    }
    CTemporaryFolder m_folder;
    std::filesystem::path m_path = m_folder / "picture.mrw";
    bool m_opened = false;
};

TEST_F(MrwReader, StoresWhatAnotherDecoderReads) {
    for (const std::string name : {"a2.mrw", "d7.mrw"}) {
        EXPECT_EQ(ProbeSensor(kTypeMinolta, FuzzSeed("mrw/" + name)),
                  ReadPGM(TestData("raw/" + name + ".pgm")));
    }
}

TEST_F(MrwReader, KnowsItsModels) {
    for (const char* id : {"27660001", "27790001", "27780001", "27730001", "27820001", "27200001",
                           "27470002", "21810002", "21860002"}) {
        SCOPED_TRACE(id);
        CMRWBuilder b = Plain();
        b.cameraId = id;
        const auto reader = Open(b.File());
        ASSERT_TRUE(m_opened);
        EXPECT_THAT(reader->m_description, HasSubstr("Minolta MRW"));
        EXPECT_EQ(reader->m_bitmapInfo.Width(), 44);
        EXPECT_EQ(reader->m_bitmapInfo.Height(), 36);
        const CMinoltaModel& model = *FindMinoltaModel(id);
        EXPECT_EQ(model.colorMatrix1.size(), 9u);
        EXPECT_EQ(model.colorMatrix2.size(), 9u);
    }
}

TEST_F(MrwReader, RefusesWhatItCannotDevelop) {
    const std::function<void(CMRWBuilder&)> changes[] = {
        [](CMRWBuilder& b) { b.cameraId = "27200002"; },
        [](CMRWBuilder& b) { b.storage = 0x51; },
        [](CMRWBuilder& b) { b.cfa = 2; },
        [](CMRWBuilder& b) { b.width = 4; },
        [](CMRWBuilder& b) { b.width = b.height = 60000; },
    };
    for (const auto& change : changes) {
        CMRWBuilder b = Plain();
        change(b);
        Open(b.File());
        EXPECT_FALSE(m_opened);
    }
    Bytes file = Plain().File();
    file[1] = 'm';
    Open(file);
    EXPECT_FALSE(m_opened);
    file = Plain().File();
    file[4] = 0x7F;  // the samples lie behind the end
    Open(file);
    EXPECT_FALSE(m_opened);
    Open({0, 'M', 'R', 'M', 0, 0, 0, 0});
    EXPECT_FALSE(m_opened);
}

// The card reflects all colours alike; the camera answers by its neutral. The second pattern has
// another order in the white balance too.
TEST_F(MrwReader, DevelopsAGrayCardToGray) {
    for (const bool second : {false, true}) {
        SCOPED_TRACE(second);
        CMRWBuilder b = Plain([second](uint32_t y, uint32_t x) {
            const bool green = (y + x) % 2 == (second ? 0 : 1);
            const bool red = !green && y % 2 == (second ? 1 : 0);
            return uint16_t(green ? 1600 : red ? 800 : 1200);
        });
        b.cfa = second ? 4 : 1;
        b.balance = second ? std::array<uint32_t, 4>{256, 341, 512, 256}
                           : std::array<uint32_t, 4>{512, 256, 256, 341};
        WriteFile(m_path, b.File());
        ExpectGrayCard(m_path);
        if (second) continue;
        // Without that block the maker note tells it, from its directory on.
        b.balance = {};
        Bytes settings(200);
        settings[162] = 2;
        settings[170] = 1, settings[171] = 0x55;
        CTIFFBuilder n(true);
        Bytes note = TIFFWithNote({{3, 7, 200, n.U32(2 + 12 + 4 + 18 + 30)}}, {});
        note.insert(note.end(), settings.begin(), settings.end());
        b.tiff = note;
        WriteFile(m_path, b.File());
        ExpectGrayCard(m_path);
    }
}

TEST_F(MrwReader, MendsAndServesItsPreview) {
    Bytes jpeg = CJPEGBuilder().Size(96, 72).File();
    jpeg[0] = 0x02;
    const CTIFFBuilder n(true);
    const std::vector<CTIFFBuilder::CEntry> notes[] = {
        {{129, 7, uint32_t(jpeg.size()), n.U32(8)}},
        {{136, 4, 1, n.U32(8)}, {137, 4, 1, n.U32(uint32_t(jpeg.size()))}}};
    for (const auto& note : notes) {
        CMRWBuilder b = Plain();
        b.tiff = TIFFWithNote(note, jpeg);
        const auto reader = Open(b.File(), {true, 48, 48});
        ASSERT_TRUE(m_opened);
        EXPECT_EQ(reader->m_bitmapInfo.Width(), 48);
        EXPECT_EQ(reader->m_originalWidth, 44u);
    }
}

}  // namespace
}  // namespace kestr::test
