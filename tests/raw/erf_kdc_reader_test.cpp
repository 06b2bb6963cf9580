// Epson's ERF and Kodak's KDC: files made for this project whose values dcraw reads, files built
// here, and cameras' files that are refused.
#include <gmock/gmock.h>

#include "readers/type_ids.h"
#include "support/bit_writer.h"
#include "support/jpeg_builder.h"
#include "support/picture.h"
#include "support/sensor_probe.h"
#include "support/tiff_builder.h"

namespace kestr::test {
namespace {

using Bytes = std::vector<uint8_t>;
using CEntry = CTIFFBuilder::CEntry;

/// A card that both cameras answer with half the red and two thirds of the blue.
std::vector<uint16_t> Card(uint32_t width, uint32_t height, const std::array<int, 4>& planes,
                           uint32_t black) {
    const std::array<uint32_t, 3> share{700, 1400, 2800 / 3};
    std::vector<uint16_t> values;
    for (uint32_t i = 0; i < width * height; ++i) {
        const auto plane = size_t(planes[i / width % 2 * 2 + i % width % 2]);
        values.push_back(uint16_t(black + share[plane]));
    }
    return values;
}

/// High bits first, with a byte behind each tenth value of a row if `padded`.
Bytes Packed(const std::vector<uint16_t>& values, uint32_t width, bool padded) {
    CBitWriter out;
    for (size_t i = 0; i < values.size(); ++i) {
        out.Put(values[i], 12);
        if (padded && i % width % 10 == 9) out.Put(0, 8);
    }
    out.Align(false);
    return out.bytes;
}

struct CMakerBuilder {
    bool bigEndian = true;
    std::string model;
    uint32_t width = 60, height = 40;
    std::vector<uint16_t> values = {};
    Bytes note = {};        // the whole maker note, offsets within as the maker has them
    Bytes jpeg = {};        // of Kodak's first directory
    bool inFirst = false;   // Epson: the sensor's directory is the first
    uint32_t mode = 0;      // Kodak: of the white balance
    uint32_t gainsTag = 0;  // Kodak: the tag of its gains
    bool pattern = true;    // Kodak: tag 64777
    std::function<void(CTIFFBuilder&, std::vector<CEntry>&)> change = {};  // of the first directory

    CEntry Exif(CTIFFBuilder& b) const {
        const uint32_t at = b.Add(note);
        return {34665, 4, 1, b.U32(b.Directory({{37500, 7, uint32_t(note.size()), b.U32(at)}}))};
    }
    Bytes Finish(CTIFFBuilder& b, std::vector<CEntry>& first) const {
        if (change) change(b, first);
        return b.Finish(first);
    }

    Bytes ERF() const {
        CTIFFBuilder b(bigEndian, 0);
        std::vector<CEntry> first{b.TextEntry(272, model)};
        if (!note.empty()) first.push_back(Exif(b));
        const uint32_t at = b.Add(Packed(values, width, true));
        const std::vector<CEntry> sensor{{256, 4, 1, b.U32(width)},  {257, 4, 1, b.U32(height)},
                                         {258, 3, 1, b.U16(12)},     {259, 3, 1, b.U16(32769)},
                                         {262, 3, 1, b.U16(0x8023)}, {273, 4, 1, b.U32(at)}};
        if (inFirst) {
            first.insert(first.end(), sensor.begin(), sensor.end());
        } else {
            // A smaller one beside it.
            const uint32_t small = b.Directory({{256, 4, 1, b.U32(30)},
                                                {257, 4, 1, b.U32(20)},
                                                {258, 3, 1, b.U16(12)},
                                                {259, 3, 1, b.U16(32769)},
                                                {273, 4, 1, b.U32(8)}});
            const uint32_t list = b.Directory(sensor);
            first.push_back({330, 4, 2, b.U32(b.Add(b.Join({b.U32(list), b.U32(small)})))});
        }
        return Finish(b, first);
    }

    Bytes KDC() const {
        CTIFFBuilder b(bigEndian, 0);
        std::vector<CEntry> first{b.TextEntry(272, model), {259, 3, 1, b.U16(7)}};
        if (!note.empty()) first.push_back(Exif(b));
        if (!jpeg.empty()) {
            first.push_back({273, 4, 1, b.U32(b.Add(jpeg))});
            first.push_back({279, 4, 1, b.U32(uint32_t(jpeg.size()))});
        }
        const uint32_t at = b.Add(Packed(values, width, false));
        Bytes offsets(52);
        const auto put = [&](size_t where, uint32_t value) {
            const Bytes number = b.U32(value);
            std::copy(number.begin(), number.end(), offsets.begin() + ptrdiff_t(where));
        };
        put(16, at - 5);
        put(48, 5);
        first.push_back({64772, 7, 52, b.U32(b.Add(offsets))});
        if (pattern) first.push_back({64777, 1, 4, {2, 1, 1, 0}});
        std::vector<CEntry> kodak{{64013, 1, 1, {uint8_t(mode)}},
                                  {64019, 4, 1, b.U32(width)},
                                  {64020, 3, 1, b.U16(height - 1)}};  // rounded up to even
        if (gainsTag != 0) {
            kodak.push_back(
                {gainsTag, 4, 3, b.U32(b.Add(b.Join({b.U32(2000), b.U32(1000), b.U32(1500)})))});
        }
        first.push_back({65024, 4, 1, b.U32(b.Directory(kodak))});
        return Finish(b, first);
    }
};

std::vector<uint16_t> Noise(uint32_t count) {
    CNoise noise(9);
    std::vector<uint16_t> values;
    for (uint32_t i = 0; i < count; ++i) values.push_back(noise() % 4096);
    return values;
}

class MakerReader : public testing::Test {
protected:
    std::unique_ptr<CImageReader> Open(int32_t type, const Bytes& file, const char* words = "",
                                       uint32_t thumbnail = 0) {
        WriteFile(m_path, file);
        auto reader = CreateReader(type, true, false, {});
        if (thumbnail != 0) reader->RequestThumbnail(thumbnail, thumbnail, 0);
        EXPECT_EQ(reader->Open(WidePath(m_path).c_str(), 0), *words == 0);
        EXPECT_EQ(reader->m_errorText, words);
        reader->Close();
        return reader;
    }
    CSensorValues Probe(int32_t type, const Bytes& file) {
        WriteFile(m_path, file);
        return ProbeSensor(type, m_path);
    }
    CTemporaryFolder m_folder;
    std::filesystem::path m_path;
};

class ErfReader : public MakerReader {
protected:
    ErfReader() { m_path = m_folder / "picture.erf"; }
    static constexpr char kRefusal[] = "Not an ERF file.";
    static CMakerBuilder Builder() { return {.model = "R-D1", .values = Noise(60 * 40)}; }

    /// Balance and preview in the camera's note. Its offsets count from behind its signature; the
    /// preview's may count from the file's start.
    static Bytes Note(uint32_t previewAt, uint32_t previewLength) {
        const CTIFFBuilder n(true);
        Bytes levels(256);
        // Half the red and two thirds of the blue.
        const Bytes gains = n.Join({n.U16(uint32_t(2 * 65536 / (508 * 1.078) + 0.5)),
                                    n.U16(uint32_t(1.5 * 65536 / (382 * 1.173) + 0.5))});
        std::copy(gains.begin(), gains.end(), levels.begin() + 48);
        return n.Join({CTIFFBuilder::Text("EPSON"),
                       {0, 1, 0},
                       n.U16(2),
                       n.U16(640),
                       n.U16(1),
                       n.U32(previewLength),
                       n.U32(previewAt),
                       n.U16(3712),
                       n.U16(7),
                       n.U32(256),
                       n.U32(30),
                       n.U32(0),
                       levels});
    }
};

TEST_F(ErfReader, GivesTheListedValues) {
    EXPECT_EQ(ProbeSensor(kTypeEpson, FuzzSeed("erf/rd1.erf")),
              ReadPGM(TestData("raw/rd1.erf.pgm")));
    for (const bool inFirst : {false, true}) {
        CMakerBuilder b = Builder();
        b.inFirst = inFirst;
        EXPECT_EQ(Probe(kTypeEpson, b.ERF()), (CSensorValues{60, 40, b.values}));
    }
    const auto reader = Open(kTypeEpson, Builder().ERF());
    EXPECT_EQ(reader->m_description, "Format: Epson R-D1 RAW");
    EXPECT_EQ(reader->m_typeId, kTypeEpson);
    EXPECT_EQ(reader->m_bitmapInfo.Width(), 56);
}

TEST_F(ErfReader, DevelopsAGrayCardToGray) {
    CMakerBuilder b = Builder();
    b.values = Card(60, 40, {0, 1, 1, 2}, 63);
    b.note = Note(0, 0);
    WriteFile(m_path, b.ERF());
    ExpectGrayCard(m_path);
}

TEST_F(ErfReader, ServesAThumbnailFromItsNote) {
    const Bytes jpeg = CJPEGBuilder().Size(50, 30).File();
    CMakerBuilder b = Builder();
    b.note = Note(2 + 24 + 4 + 256, uint32_t(jpeg.size()));
    b.note.insert(b.note.end(), jpeg.begin(), jpeg.end());
    EXPECT_EQ(Open(kTypeEpson, b.ERF(), "", 50)->m_bitmapInfo.Width(), 50);
    EXPECT_EQ(Open(kTypeEpson, b.ERF())->m_bitmapInfo.Width(), 56);
    // From the start of the file.
    b.note = Note(0, 0);
    b.note = Note(uint32_t(b.ERF().size()), uint32_t(jpeg.size()));
    Bytes file = b.ERF();
    file.insert(file.end(), jpeg.begin(), jpeg.end());
    EXPECT_EQ(Open(kTypeEpson, file, "", 50)->m_bitmapInfo.Width(), 50);
    // None at all.
    file.resize(file.size() - jpeg.size());
    EXPECT_TRUE(Open(kTypeEpson, file, "", 50)->Has16BitData());
}

TEST_F(ErfReader, RefusesWhatItCannotDevelop) {
    for (const char* model : {"R-D1s", "R-D", ""}) {
        CMakerBuilder b = Builder();
        b.model = model;
        Open(kTypeEpson, b.ERF(), kRefusal);
    }
    for (const uint32_t tag : {256u, 258u, 259u, 273u}) {
        SCOPED_TRACE(tag);
        CMakerBuilder b = Builder();
        b.inFirst = true;
        b.change = [tag](CTIFFBuilder&, auto& entries) {
            std::erase_if(entries, [tag](const CEntry& e) { return e.tag == tag; });
        };
        Open(kTypeEpson, b.ERF(), kRefusal);
    }
    Open(kTypeEpson, Bytes(50), kRefusal);
}

class KdcReader : public MakerReader {
protected:
    KdcReader() { m_path = m_folder / "picture.kdc"; }
    static constexpr char kRefusal[] = "Not a KDC file.";
    static CMakerBuilder Builder(bool bigEndian = false) {
        return {.bigEndian = bigEndian,
                .model = "KODAK P850 ZOOM DIGITAL CAMERA",
                .values = Noise(60 * 40)};
    }
};

TEST_F(KdcReader, GivesTheListedValues) {
    EXPECT_EQ(ProbeSensor(kTypeKodakKDC, FuzzSeed("kdc/p880.kdc")),
              ReadPGM(TestData("raw/p880.kdc.pgm")));
    for (const bool bigEndian : {false, true}) {
        CMakerBuilder b = Builder(bigEndian);
        EXPECT_EQ(Probe(kTypeKodakKDC, b.KDC()), (CSensorValues{60, 40, b.values}));
        b.width = 57;  // rows that begin within a byte
        b.values.resize(57 * 40);
        EXPECT_EQ(Probe(kTypeKodakKDC, b.KDC()), (CSensorValues{57, 40, b.values}));
    }
    const auto reader = Open(kTypeKodakKDC, Builder().KDC());
    EXPECT_EQ(reader->m_description, "Format: Kodak P850 RAW");
    EXPECT_EQ(reader->m_typeId, kTypeKodakKDC);
}

TEST_F(KdcReader, DevelopsAGrayCardToGray) {
    for (const bool bigEndian : {false, true}) {
        CMakerBuilder b = Builder(bigEndian);
        b.values = Card(60, 40, {2, 1, 1, 0}, 0);
        // By Kodak's directory, a tag for each setting of the camera.
        for (const auto& [mode, tag] :
             {std::pair{0u, 64037u}, {1u, 64040u}, {2u, 64039u}, {3u, 64041u}, {6u, 64042u}}) {
            b.mode = mode;
            b.gainsTag = tag;
            WriteFile(m_path, b.KDC());
            ExpectGrayCard(m_path);
        }
        // By the camera's note, which comes first and is little-endian but for the gains.
        const CTIFFBuilder n(false);
        b.note = n.Join({n.U16(1), n.U16(3840), n.U16(7), n.U32(1502), n.U32(18), n.U32(0)});
        b.note.resize(18 + 1502);
        b.note[18 + 148] = 2;  // 512 and 384
        b.note[18 + 150] = 1;
        b.note[18 + 151] = 128;
        b.mode = 5;
        WriteFile(m_path, b.KDC());
        ExpectGrayCard(m_path);
    }
    // The P880's pattern is known without the file's.
    CMakerBuilder b = Builder();
    b.model = "KODAK P880 ZOOM DIGITAL CAMERA";
    b.values = Card(60, 40, {2, 1, 1, 0}, 0);
    b.pattern = false;
    b.gainsTag = 64037;
    WriteFile(m_path, b.KDC());
    ExpectGrayCard(m_path);
}

TEST_F(KdcReader, ServesAThumbnailFromItsFirstDirectory) {
    CMakerBuilder b = Builder();
    b.jpeg = CJPEGBuilder().Size(48, 36).File();
    const auto reader = Open(kTypeKodakKDC, b.KDC(), "", 48);
    EXPECT_FALSE(reader->Has16BitData());
    EXPECT_EQ(reader->m_bitmapInfo.Width(), 48);
    EXPECT_EQ(reader->m_originalWidth, 56u);
}

TEST_F(KdcReader, RefusesOtherCamerasFiles) {
    for (const char* name : {"DC50_DC0010S.KDC", "DC120_P003908.head.KDC"}) {
        Open(kTypeKodakKDC, ReadFile(TestData(std::string("raw/") + name)), kRefusal);
    }
    CMakerBuilder b = Builder();
    b.model = "KODAK P712 ZOOM DIGITAL CAMERA";
    Open(kTypeKodakKDC, b.KDC(), kRefusal);
    b = Builder();
    b.pattern = false;  // which of the P850 nobody knows
    Open(kTypeKodakKDC, b.KDC(), kRefusal);
    for (const uint32_t tag : {64772u, 65024u}) {
        b = Builder();
        b.change = [tag](CTIFFBuilder&, auto& entries) {
            std::erase_if(entries, [tag](const CEntry& e) { return e.tag == tag; });
        };
        Open(kTypeKodakKDC, b.KDC(), kRefusal);
    }
    b = Builder();
    b.change = [](CTIFFBuilder&, auto& entries) {
        for (CEntry& e : entries) {
            if (e.tag == 64772) e.count = 51;
        }
    };
    Open(kTypeKodakKDC, b.KDC(), kRefusal);
    b = Builder();
    b.width = 60000;
    b.height = 60000;
    Open(kTypeKodakKDC, b.KDC(), kRefusal);
}

}  // namespace
}  // namespace kestr::test
