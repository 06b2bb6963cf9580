// How the reader of a file is found: extensions, the camera hint, the registry.

#include <cstring>
#include <tuple>

#include <gmock/gmock.h>

#include "platform/code_page.h"
#include "readers/extension_table.h"
#include "readers/reader_factory.h"
#include "readers/reader_registry.h"

namespace kestr::test {
namespace {

using testing::AllOf;
using testing::Contains;

TEST(Extensions, AreTakenFromTheLastDot) {
    const std::tuple<const char*, const char*, int> cases[] = {
        {"photo.JPG", ".jpg", 4},   {"a.b.Tiff", ".tiff", 18}, {"bmp", ".bmp", 2},
        {"folder.d/x", ".d/x", 30}, {"x.", ".", 30},           {"", ".", 30},
        {".nef", ".nef", 47},       {"x.raw", ".raw", 64},     {"x.pspimage", ".pspimage", 40},
        {"x.db", ".db", 62},        {"x.j2c", ".j2c", 56},     {"x.fxs", ".fxs", 39},
        {"x.jpg ", ".jpg ", 30},    {"x.zzz", ".zzz", 30},     {"x.bw", ".bw", 15},
    };
    for (const auto& [path, key, typeId] : cases) {
        EXPECT_EQ(ExtensionKey(PathToWide(path).c_str()), key);
        EXPECT_EQ(TypeIdOfExtension(key), typeId) << path;
    }
    const KESTR_CHAR wide[] = {'x', '.', 'b', 'm', 0x4170, 0};  // its low byte is 'p'
    EXPECT_EQ(ExtensionKey(wide), ".bmp");
}

TEST(Extensions, OfTheSystemsCodecs) {
    AddSystemCodecExtension(".");
    AddSystemCodecExtension("");
    EXPECT_FALSE(IsSystemCodecExtension("."));
    AddSystemCodecExtension(".TstA");
    AddSystemCodecExtension("tstb");
    AddSystemCodecExtension("TSTB");
    EXPECT_TRUE(IsSystemCodecExtension(".tsta"));
    EXPECT_TRUE(IsSystemCodecExtension(".tstb"));
    EXPECT_FALSE(IsSystemCodecExtension(".tstc"));
}

TEST(Registry, IsFilledBeforeItIsAsked) {
    EXPECT_THAT(RegisteredReaders(), AllOf(Contains(0), Contains(1), Contains(2)));
    EXPECT_EQ(CreateReader(30, true, true, {}), nullptr);
    EXPECT_EQ(CreateReader(-1, true, true, {}), nullptr);
    const auto plain = CreateReader(2, false, true, {});
    EXPECT_FALSE(plain->stopAtMarkerIPTC);
    EXPECT_FALSE(plain->exactStart) << "only together with the other";
    const auto asked = CreateReader(2, true, true, {.wanted = true, .width = 7, .height = 8});
    EXPECT_TRUE(asked->exactStart);
    EXPECT_TRUE(asked->m_thumbnailRequested);
    EXPECT_EQ(asked->m_thumbnailWidth, 7u);
}

// ---- the camera hint ----------------------------------------------------------------------------

/// A TIFF file of 10,001 bytes and more whose first directory tells make, model and size.
class CTiffBuilder {
public:
    explicit CTiffBuilder(bool big) : m_big(big), m_bytes(10001) {
        std::memcpy(m_bytes.data(), big ? "MM\0*" : "II*\0", 4);
        Put(4, 8, 4);
    }
    void Put(size_t at, uint32_t value, int count) {
        for (int i = 0; i < count; ++i) {
            m_bytes[at + static_cast<size_t>(i)] =
                static_cast<uint8_t>(value >> (8 * (m_big ? count - 1 - i : i)));
        }
    }
    CTiffBuilder& Text(uint16_t tag, const char* text) {
        const size_t at = Entry(tag, 2, static_cast<uint32_t>(std::strlen(text) + 1));
        const size_t length = std::strlen(text) + 1;
        if (length < 5) {
            std::memcpy(m_bytes.data() + at, text, length);
        } else {
            Put(at, static_cast<uint32_t>(m_heap), 4);
            std::memcpy(m_bytes.data() + m_heap, text, length);
            m_heap += length;
        }
        return *this;
    }
    CTiffBuilder& Short(uint16_t tag, uint16_t value) {
        Put(Entry(tag, 3, 1), value, 2);
        return *this;
    }
    std::vector<uint8_t> Bytes() const { return m_bytes; }

private:
    size_t Entry(uint16_t tag, uint16_t type, uint32_t count) {
        const size_t at = 10 + 12 * m_entries++;
        Put(8, static_cast<uint32_t>(m_entries), 2);
        Put(at, tag, 2);
        Put(at + 2, type, 2);
        Put(at + 4, count, 4);
        return at + 8;
    }
    bool m_big;
    std::vector<uint8_t> m_bytes;
    size_t m_entries = 0;
    size_t m_heap = 1000;
};

TEST(CameraHint, TellsTheMakersWhoseFilesAreSpecial) {
    struct CCase {
        const char* make;
        const char* model;
        uint16_t width, height;
        bool kodak, canon;
    };
    const CCase cases[] = {
        {"Kodak  ", "DCS420", 1, 1, true, false},
        {"KODAK COMPANY", "", 1, 1, true, false},
        {" Canon ", "Canon EOS-1D Mark II", 288, 192, false, true},
        {"Canon", "Canon EOS-1D", 288, 193, false, false},
        {"Canon", "EOS D2000C", 1, 1, true, false},
        {"CAN", "Canon EOS-1D", 288, 192, false, false},
        {"Canonx", "EOS D2000C", 1, 1, false, false},
    };
    for (const bool big : {false, true}) {
        for (const CCase& c : cases) {
            CTiffBuilder file(big);
            file.Text(271, c.make).Text(272, c.model).Short(256, c.width).Short(257, c.height);
            const CCameraHint hint = ReadCameraHint(file.Bytes());
            EXPECT_EQ(hint.kodak, c.kodak) << c.make << c.model;
            EXPECT_EQ(hint.canon, c.canon) << c.make << c.model;
        }
    }
}

TEST(CameraHint, GivesUpOnWhatIsNoDirectory) {
    const auto kodak = [](auto change) {
        CTiffBuilder file(false);
        file.Text(271, "KODAK");
        auto bytes = file.Bytes();
        change(bytes);
        return ReadCameraHint(bytes).kodak;
    };
    EXPECT_TRUE(kodak([](auto&) {}));
    EXPECT_FALSE(kodak([](auto& b) { b.resize(10000); }));
    EXPECT_FALSE(kodak([](auto& b) { b[0] = 'M'; }));
    EXPECT_FALSE(kodak([](auto& b) { b[5] = 0x27; }));               // the offset near the end
    EXPECT_FALSE(kodak([](auto& b) { b[4] = b[5] = b[6] = 255; }));  // beyond it
    EXPECT_FALSE(kodak([](auto& b) { b[8] = 0, b[9] = 0; }));        // no entries
    EXPECT_FALSE(kodak([](auto& b) { b[9] = 255; }));                // more than fit
    EXPECT_FALSE(kodak([](auto& b) { b[20] = 255; }));               // text out of the file
}

}  // namespace
}  // namespace kestr::test
