// The roads through Canon's libraries, with stand-ins of our own in their place.
#include <gmock/gmock.h>

#include "api/session.h"
#include "color/icc_profile.h"
#include "raw/camera_libraries.h"
#include "raw/canon_edsdk.h"
#include "raw/canon_operations.h"
#include "raw/canon_tables.h"
#include "raw/crw_reader.h"
#include "support/canon_builder.h"
#include "support/edsdk_stub.h"
#include "support/jpeg_builder.h"
#include "support/loaded_handle.h"
#include "support/test_data.h"

namespace kestr::test {
namespace {

using testing::ElementsAre;
using testing::ElementsAreArray;
using testing::IsEmpty;
using Bytes = std::vector<uint8_t>;

std::shared_ptr<CCanonLibrary> StubEDSDK() {
    return StartEdLibrary(*FindEdFunctions(&EdStubFunction), nullptr);
}

/// Whatever libraries a test puts there.
class CFakeLibraries final : public CCanonLibraries {
public:
    std::shared_ptr<CCanonLibrary> Get(ECanonRoute route) override {
        asked.push_back(route);
        return libraries[static_cast<size_t>(route)];
    }
    std::recursive_mutex& Lock() override { return m_lock; }
    void Put(ECanonRoute route, std::shared_ptr<CCanonLibrary> library) {
        libraries[static_cast<size_t>(route)] = std::move(library);
    }

    std::array<std::shared_ptr<CCanonLibrary>, 3> libraries;
    std::vector<ECanonRoute> asked;

private:
    std::recursive_mutex m_lock;
};

/// Canon's older libraries in little: writes down what it is told.
class CFakeOperations final : public CCanonOperations {
public:
    struct CLog {
        std::vector<std::string> calls{};
        std::vector<CCanonProperty> properties{};
        std::vector<uint32_t> fixed{};  // properties that cannot be set, or fail to be
        bool failing = false;
        CCanonRelease release{4, 3, "Canon PowerShot G2"};
        uint32_t space = 1;
        CCanonResolution resolution{180, 2};
        uint32_t sinkAnswer = 0;
        CPathParts path{};
    };
    explicit CFakeOperations(CLog& log) : m_log(log) {}

    bool Start(uint32_t blockBytes, uint32_t version) override {
        Note("start %u %u", blockBytes, version);
        return true;
    }
    void End() override { Note("end"); }
    Handle OpenSource(const CPathParts& path) override {
        m_log.path = path;
        Note("source");
        return &m_log;
    }
    void CloseSource(Handle) override { Note("close source"); }
    Handle OpenPicture(Handle, uint32_t index, uint32_t mode) override {
        Note("picture %u %x", index, mode);
        return &m_log;
    }
    void ClosePicture(Handle) override { Note("close picture"); }
    bool GetRelease(Handle, CCanonRelease& release) override {
        release = m_log.release;
        return true;
    }
    void EnumerateProperties(Handle,
                             const std::function<void(const CCanonProperty&)>& take) override {
        for (const auto& property : m_log.properties) take(property);
    }
    uint32_t PropertyKind(Handle, uint32_t property) override {
        return std::ranges::count(m_log.fixed, property) != 0 && !m_log.failing ? 0x1000 : 0x1001;
    }
    bool SetProperty(Handle, uint32_t property, uint32_t value) override {
        Note("%x=%d", property, static_cast<int32_t>(value));
        return !m_log.failing;
    }
    bool ResetToShotSettings(Handle) override {
        Note("reset");
        return true;
    }
    std::optional<CCanonResolution> ReadResolution(Handle, uint32_t value) override {
        return value == 4 || value == 5 ? std::optional(m_log.resolution) : std::nullopt;
    }
    std::optional<uint32_t> ReadValue(Handle, uint32_t value) override {
        return value == 0x100C ? std::optional(m_log.space) : std::nullopt;
    }
    uint32_t GetPicture(Handle, uint32_t format, uint32_t blockBytes,
                        const CCanonSink& sink) override {
        Note("get %u %x", format, blockBytes);
        std::vector<uint16_t> row(12);
        for (uint16_t y = 0; y < 3; ++y) {
            for (uint16_t i = 0; i < 12; ++i) row[i] = static_cast<uint16_t>(1000 * y + i);
            m_log.sinkAnswer = sink(row);
            if (m_log.sinkAnswer != 0) return m_log.sinkAnswer;
        }
        return 0;
    }

private:
    template <typename... Values>
    void Note(const char* format, Values... values) {
        char text[64];
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-security"
#pragma GCC diagnostic ignored "-Wformat-nonliteral"
        std::snprintf(text, sizeof text, format, values...);
#pragma GCC diagnostic pop
        m_log.calls.emplace_back(text);
    }
    CLog& m_log;
};

class CanonLibrary : public testing::Test {
protected:
    std::basic_string<KESTR_CHAR> Write(const char* name, const Bytes& bytes) {
        WriteFile(m_folder / name, bytes);
        return WidePath(m_folder / name);
    }
    std::basic_string<KESTR_CHAR> CR2(const char* name = "a.cr2") {
        return Write(name, CCR2Builder{.large = m_jpeg}.File());
    }
    std::basic_string<KESTR_CHAR> CRW() { return Write("a.crw", MakeCRW(m_jpeg)); }
    void UseTables(ECanonRoute route) {
        m_libraries.Put(route, StartTableLibrary(std::make_unique<CFakeOperations>(m_log), route));
    }

    CTemporaryFolder m_folder;
    CFakeOperations::CLog m_log;  // before the libraries, which write to it as they end
    CFakeLibraries m_libraries;
    const Bytes m_jpeg = CJPEGBuilder().Size(83, 61).File();
};

TEST_F(CanonLibrary, EDSDKDevelopsTheWholePicture) {
    const CEdStubState before = *EdStubState();
    m_libraries.Put(ECanonRoute::kEDSDK, StubEDSDK());
    for (const char* name : {"srgb.cr2", "adobe.CR2"}) {
        CCRWReader reader(m_libraries);
        ASSERT_TRUE(reader.StartLoad(CR2(name).c_str(), 0, nullptr)) << reader.m_errorText;
        EXPECT_EQ(reader.m_description, "Format: Canon RAW (EDSDK) Format");
        EXPECT_TRUE(reader.Has16BitData());
        EXPECT_EQ(reader.m_typeId, 52);
        EXPECT_EQ(reader.m_bitmapInfo.BitCount(), 24);
        EXPECT_EQ(reader.m_bitmapInfo.Width(), kEdStubWidth);
        EXPECT_EQ(reader.m_originalWidth, 0u);
        EXPECT_EQ(reader.m_iccProfile.empty(), name[0] == 's');
        if (!reader.m_iccProfile.empty()) {
            EXPECT_THAT(reader.m_iccProfile, ElementsAreArray(AdobeRGBProfile()));
        }
        Bytes row(reader.m_bitmapInfo.RowBytes());
        for (int y = 0; y < kEdStubHeight; ++y) {
            ASSERT_TRUE(reader.ReadLine(row.data()));
            for (int x = 0; x < kEdStubWidth; ++x) {
                for (int c = 0; c < 3; ++c) {
                    const uint16_t sample = EdStubSample(x, y, 2 - c);
                    EXPECT_EQ(reader.m_bits16[size_t(y * kEdStubWidth + x) * 3 + c], sample);
                    EXPECT_EQ(row[3 * x + c], sample >> 8);
                }
            }
        }
        EXPECT_FALSE(reader.ReadLine(row.data()));
        reader.Close();
    }
    EXPECT_EQ(EdStubState()->references, 0);
    EXPECT_EQ(EdStubState()->starts, before.starts + 1);
    m_libraries.Put(ECanonRoute::kEDSDK, nullptr);
    EXPECT_EQ(EdStubState()->ends, before.ends + 1);
}

TEST_F(CanonLibrary, EDSDKNeedsAllFunctions) {
    for (const char* name : {"EdsInitializeSDK", "EdsGetPointer", "EdsSetPropertyData"}) {
        EXPECT_FALSE(FindEdFunctions([&](const char* wanted) -> void* {
            return std::string(wanted) == name ? nullptr : EdStubFunction(wanted);
        }));
    }
}

TEST_F(CanonLibrary, ATransferThatFailsFailsTheLoad) {
    m_libraries.Put(ECanonRoute::kEDSDK, StubEDSDK());
    CCRWReader reader(m_libraries);
    EXPECT_FALSE(reader.StartLoad(CR2("failing.cr2").c_str(), 0, nullptr));
    EXPECT_EQ(reader.m_errorText, "Canon SDK error opening image.");
    EXPECT_EQ(EdStubState()->references, 0);
}

TEST_F(CanonLibrary, TheCallerEndsATransfer) {
    UseTables(ECanonRoute::kRCSDK);
    m_libraries.Put(ECanonRoute::kEDSDK, StubEDSDK());
    for (const auto& path : {CR2(), CRW()}) {
        const int developed = EdStubState()->developed;
        CDLLSession session;
        session.abortRequested = true;
        CCRWReader reader(m_libraries);
        EXPECT_FALSE(reader.StartLoad(path.c_str(), 0, &session));
        EXPECT_EQ(reader.m_errorText, "Load aborted.");
        EXPECT_EQ(EdStubState()->developed, developed);
    }
    EXPECT_EQ(m_log.sinkAnswer, 8223u);
}

TEST_F(CanonLibrary, WhoMayAndCanOpenTheFileDecides) {
    using enum ECanonRoute;
    const auto preview = 83;
    const struct {
        const char* name;
        const char* file;
        bool tiff, useLibrary;
        const char* model;
        int width;
        const char* format;
        std::vector<ECanonRoute> asked;
    } cases[] = {
        {"EDSDK first", "a.cr2", true, true, "", kEdStubWidth, "EDSDK", {kEDSDK}},
        {"not for CRW", "a.crw", false, true, "G2", 4, "RCSDK", {kRCSDK}},
        {"cannot be opened", "closed.cr2", true, true, "", 4, "RCSDK", {kEDSDK, kRCSDK}},
        {"too large to be true", "huge.cr2", true, true, "", 4, "RCSDK", {kEDSDK, kRCSDK}},
        {"not wanted", "a.cr2", true, false, "", preview, "EDSDK", {}},
        {"an old camera", "a.crw", false, true, "Pro70", preview, "CDSDK/RDSDK", {kCDSDK}},
        {"another", "a.crw", false, true, "A50", preview, "CDSDK/RDSDK", {kCDSDK}},
    };
    m_libraries.Put(kEDSDK, StubEDSDK());
    UseTables(kRCSDK);
    UseTables(kCDSDK);
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        m_libraries.asked.clear();
        m_log.release.model = c.model;
        const auto path =
            c.tiff ? CR2(c.file) : Write(c.file, MakeCRW(m_jpeg, std::string("Canon ") + c.model));
        CCRWReader reader(m_libraries);
        reader.m_useCanonLibrary = c.useLibrary;
        EXPECT_TRUE(reader.StartLoad(path.c_str(), 0, nullptr)) << reader.m_errorText;
        EXPECT_EQ(reader.m_bitmapInfo.Width(), c.width);
        EXPECT_EQ(reader.m_description.substr(0, reader.m_description.find('\r')),
                  std::string("Format: Canon RAW (") + c.format + ") Format");
        EXPECT_EQ(reader.m_has16Bit, c.width != preview);
        EXPECT_EQ(m_libraries.asked, c.asked);
    }
}

TEST_F(CanonLibrary, ThePreviewServesWhoWantsLittle) {
    const struct {
        const char* name;
        bool thumbnail;
        uint32_t size, minPreviewSize;
        int width;
        uint32_t originalWidth;
        bool deep;
    } cases[] = {
        {"all", false, 0, 0, kEdStubWidth, 0, true},
        {"a thumbnail", true, 50, 0, 42, kEdStubWidth, false},
        {"a preview that is long enough", false, 0, 83, 83, kEdStubWidth, false},
        {"one that is not", false, 0, 84, kEdStubWidth, 0, true},
    };
    m_libraries.Put(ECanonRoute::kEDSDK, StubEDSDK());
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        CCRWReader reader(m_libraries);
        if (c.thumbnail) reader.RequestThumbnail(c.size, c.size, 0);
        reader.m_minPreviewSize = c.minPreviewSize;
        ASSERT_TRUE(reader.StartLoad(CR2().c_str(), 0, nullptr));
        EXPECT_EQ(reader.m_bitmapInfo.Width(), c.width);
        EXPECT_EQ(reader.m_originalWidth, c.originalWidth);
        EXPECT_EQ(reader.Has16BitData(), c.deep);
        EXPECT_EQ(EdStubState()->references, 0);
    }
}

// A TIFF file that the library develops has its thumbnail as its first picture.
TEST_F(CanonLibrary, AThumbnailOfATIFFFileIsReadAsSuch) {
    CHandle handle;
    ASSERT_TRUE(handle.LoadBytes(CJPEGBuilder().Size(12, 9).File(), "x.jpg"));
    ASSERT_TRUE(handle.Save(m_folder / "camera.tif", 18));
    std::filesystem::rename(m_folder / "camera.tif", m_folder / "camera.cr2");
    m_libraries.Put(ECanonRoute::kEDSDK, StubEDSDK());
    CCRWReader reader(m_libraries);
    reader.m_cameraHint = 2;
    reader.RequestThumbnail(5, 5, 0);
    ASSERT_TRUE(reader.StartLoad(WidePath(m_folder / "camera.cr2").c_str(), 0, nullptr));
    EXPECT_EQ(reader.m_originalWidth, 12u);
    EXPECT_EQ(reader.m_typeId, 52);
    Bytes row(reader.m_bitmapInfo.RowBytes());
    for (uint32_t y = 0; y < 9; ++y) {
        ASSERT_TRUE(reader.ReadLine(row.data()));
        EXPECT_EQ(row, handle.Row(y));
    }
}

TEST_F(CanonLibrary, TablesDevelopRowByRow) {
    UseTables(ECanonRoute::kRCSDK);
    m_log.space = 2;
    m_log.resolution = {254, 3};
    m_log.properties = {{ECanonProperty::kOwner, std::string("Nobody")}};
    {
        CCRWReader reader(m_libraries);
        const auto path = CRW();
        ASSERT_TRUE(reader.StartLoad(path.c_str(), 0, nullptr));
        EXPECT_EQ(reader.m_description, "Format: Canon RAW (RCSDK) Format\r\nOwner:\tNobody\r\n");
        EXPECT_EQ(reader.physicalX, 100);  // 254 / 2.54
        EXPECT_THAT(reader.m_iccProfile, ElementsAreArray(AdobeRGBProfile()));
        Bytes row(reader.m_bitmapInfo.RowBytes());
        for (int y = 0; y < 3; ++y) ASSERT_TRUE(reader.ReadLine(row.data()));
        // The last pixel's red is 2009, green 2010, blue 2011.
        EXPECT_THAT(std::vector<uint16_t>(reader.m_bits16.end() - 3, reader.m_bits16.end()),
                    ElementsAre(2011, 2010, 2009));
        EXPECT_EQ(m_log.path.name, "a");
        EXPECT_EQ(m_log.path.extension, ".crw");
    }
    m_libraries.Put(ECanonRoute::kRCSDK, nullptr);
    EXPECT_THAT(m_log.calls,
                ElementsAre("start 40 8", "source", "picture 0 101", "reset", "400b=1", "200e=1",
                            "get 7 1000", "close picture", "close source", "end"));
}

TEST_F(CanonLibrary, ATIFFFileIsOpenedInItsOwnMode) {
    UseTables(ECanonRoute::kRCSDK);
    CCRWReader reader(m_libraries);
    ASSERT_TRUE(reader.Open(Write("a.tif", MakeCRW(m_jpeg)).c_str(), 0));
    EXPECT_EQ(m_log.calls.at(2), "picture 0 102");
}

TEST_F(CanonLibrary, HandsOnTheCallersSettings) {
    constexpr bool no = false, yes = true;
    const struct {
        const char* name;
        bool plain, adjust, linear;
        int16_t brightness, balance;
        std::vector<uint32_t> fixed;
        bool failing, result;
        const char* calls;
    } cases[] = {
        {"nothing", no, no, no, 3, 4, {}, no, yes, "reset 400b=1 200e=1 "},
        {"linear", no, no, yes, 0, 0, {}, no, yes, "reset 400b=0 200e=0 "},
        {"adjusted", no, yes, no, 3, 4, {}, no, yes, "reset 7002=4 400b=1 200e=1 2008=3 "},
        {"as shot", no, yes, no, -10, -10, {}, no, yes, "reset 7002=255 400b=1 200e=1 "},
        {"darker", no, yes, no, -2, 0, {}, no, yes, "reset 7002=0 400b=1 200e=1 2008=-2 "},
        {"fixed", no, yes, no, 3, 4, {0x7002, 0x200E, 0x2008}, no, yes, "reset 400b=1 "},
        {"failures", no, yes, no, 3, 4, {}, yes, yes, "reset 7002=4 400b=1 200e=1 2008=3 "},
        {"plain", yes, yes, yes, 3, 4, {}, no, yes, "400d=1 "},
        {"plain is fixed", yes, no, no, 0, 0, {0x400D}, no, yes, ""},
        {"plain fails", yes, no, no, 0, 0, {}, yes, no, "400d=1 "},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        CFakeOperations::CLog log{.fixed = c.fixed, .failing = c.failing};
        CFakeOperations operations(log);
        const auto session = std::make_unique<CDLLSession>();
        cSetCanonCRWParams(reinterpret_cast<HKESTRSESSION>(session.get()), 1, c.plain, !c.adjust,
                           c.brightness, 1, 2, c.balance, c.linear);
        EXPECT_EQ(ApplyCanonParams(operations, nullptr, session.get()), c.result);
        std::string calls;
        for (const std::string& call : log.calls) calls += call + ' ';
        EXPECT_EQ(calls, c.calls);
    }
}

TEST_F(CanonLibrary, WritesPropertiesAsLines) {
    using enum ECanonProperty;
    const struct {
        CCanonProperty property;
        const char* line;
    } cases[] = {
        {{kOwner, std::string("A B")}, "Owner:\tA B\r\n"},
        {{kImageTime, uint32_t{1078059909}}, "Image Time:\t2004:02:29 13:05:09\r\n"},
        {{kConfig, uint32_t{4000000000}}, "Config:\t4000000000\r\n"},
        {{kExposureCompensation, CAperture{2.8}}, "Exposure Compensation:\tf/2.80\r\n"},
        {{kExposureCompensation, CExposureTime{0.004}}, "Exposure Compensation:\t1/250.00\r\n"},
        {{kExposureCompensation, CExposureTime{2.5}}, "Exposure Compensation:\t2.50\r\n"},
        {{kExposureCompensation, -0.33}, "Exposure Compensation:\t-0.33\r\n"},
        {{kShootingMode, uint32_t{2}}, "Shooting Mode:\tTV\r\n"},
        {{kShootingMode, uint32_t{21}}, "Shooting Mode:\tNeutral\r\n"},
        {{kShootingMode, uint32_t{22}}, "Shooting Mode:\t22\r\n"},
        {{kFocusMode, uint32_t{7}}, "Focus Mode:\tUnknown\r\n"},
        {{kSharpness, uint32_t{1}}, "Sharpness:\tUp 1\r\n"},
        {{kSensitivity, uint32_t{0}}, "Sensitivity:\tAuto\r\n"},
        {{kSensitivity, uint32_t{2}}, "Sensitivity:\tISO 100\r\n"},
        {{kSensorSizeX, 0.5}, "Sensor Size X (inches):\t0.50\r\n"},
        {{kMinFocalLength, uint32_t{35}}, "Min Focal Length (mm):\t35\r\n"},
        {{kSerialNumber, uint32_t{77}}, "Serial #:\t77\r\n"},
    };
    for (const auto& c : cases) EXPECT_EQ(CanonPropertyLine(c.property), c.line);
}

TEST_F(CanonLibrary, PartsOfAPath) {
    const struct {
        const char* path;
        std::array<const char*, 4> parts;
    } cases[] = {
        {"C:\\photos\\one.crw", {"C:", "\\photos\\", "one", ".crw"}},
        {"/a.b/two.x.crw", {"", "/a.b/", "two.x", ".crw"}},
        {"C:three", {"C:", "", "three", ""}},
        {"x.y\\four", {"", "x.y\\", "four", ""}},
        {"", {"", "", "", ""}},
    };
    for (const auto& c : cases) {
        const CPathParts parts = SplitPath(c.path);
        EXPECT_THAT(
            (std::array<std::string, 4>{parts.drive, parts.directory, parts.name, parts.extension}),
            ElementsAreArray(c.parts));
    }
}

// None of the makers' libraries is there: their names are asked for, and nothing comes of it.
TEST(CameraLibraries, AreAbsent) {
    const auto names = [](CCameraLibrary& library) {
        std::vector<std::string> all;
        for (const auto& file : library.Files()) all.push_back(file->FileName());
        return all;
    };
    EXPECT_THAT(names(FoveonLibrary()), ElementsAre("X3FSDK.DLL"));
    EXPECT_THAT(names(NikonLibrary()), ElementsAre("NkImgSDK.dll", "NkBrowseLib5.dll"));
    EXPECT_THAT(names(KodakPDCLibrary()),
                ElementsAre("DCSPro4SLR.dll", "DCSProBack.dll", "DCSPro3SLR.dll"));
    EXPECT_THAT(names(KodakDCSLibrary()), IsEmpty());
    for (int round = 0; round < 2; ++round) {
        for (CCameraLibrary* library :
             {&FoveonLibrary(), &NikonLibrary(), &KodakPDCLibrary(), &KodakDCSLibrary()}) {
            EXPECT_EQ(library->Find(), nullptr);
            for (const auto& file : library->Files()) {
                EXPECT_FALSE(file->Load());
                EXPECT_EQ(file->GetFunction("Nkfl_Entry"), nullptr);
            }
        }
        for (const auto route : {ECanonRoute::kEDSDK, ECanonRoute::kRCSDK, ECanonRoute::kCDSDK}) {
            EXPECT_EQ(InstalledCanonLibraries().Get(route), nullptr);
        }
        for (int mask = 0; mask < 256; ++mask) cUnloadDLLs(static_cast<uint8_t>(mask));
    }
}

}  // namespace
}  // namespace kestr::test
