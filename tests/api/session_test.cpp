// What a handle keeps, how it reports progress, and what a copy of it takes along.
#include "api/session.h"

#include <limits>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "api/handles.h"
#include "base/process_settings.h"
#include "support/loaded_handle.h"
#include "support/wide_path.h"

namespace kestr {
namespace {

using test::CHandle;

using CCalls = std::vector<std::pair<uintptr_t, int32_t>>;
CCalls* calls = nullptr;

int32_t KESTR_CALL Record(uintptr_t user, int32_t percent) {
    calls->emplace_back(user, percent);
    return 0;
}
void KESTR_CALL RecordUndo(uintptr_t user, int32_t flag) {
    calls->emplace_back(user, flag);
}

class SessionTest : public testing::Test {
protected:
    SessionTest() { calls = &m_calls; }

    CDLLSession& Inside() { return *FromHandle(m_session); }
    std::vector<int32_t> Values() const {
        std::vector<int32_t> values;
        for (const auto& call : m_calls) values.push_back(call.second);
        return values;
    }

    CHandle m_session;
    CCalls m_calls;
};

TEST_F(SessionTest, BeginsWithTheDefaults) {
    const CSessionSettings& s = Inside().settings;
    EXPECT_EQ(s.autoUndoRedo, 0);
    EXPECT_EQ(s.kodakPDCFlags, 0x43);
    EXPECT_EQ(s.kodakPDCValue, 0.0);
    EXPECT_TRUE(s.useCanonLibrary && s.keep16BitPrecision && s.saveMetadata && s.jpegHighQuality);
    EXPECT_TRUE(s.rawAutoLevels && s.rawLinearGamma && s.verifyFormat && s.saveICCProfile);
    EXPECT_TRUE(s.useCIECAM02);
    EXPECT_FALSE(s.canonCameraDefaults || s.canonApplyAdjust || s.canonLinearFlag || s.autoRotate);
    EXPECT_FALSE(s.exactStart || s.psdFlattened || s.inverseSelect || s.saveFlag);
    EXPECT_FALSE(s.thumbnailFlag);
    EXPECT_EQ(s.canonAdjust, (std::array<int16_t, 4>{}));
    EXPECT_EQ(s.jpegQuality, 75);
    EXPECT_EQ(s.jpegRate, 0.1);
    EXPECT_EQ(s.jpegSampling, (std::array<uint16_t, 6>{2, 2, 1, 1, 1, 1}));
    EXPECT_EQ(s.colorTemperature, 0);
    EXPECT_EQ(s.edgeFeather, 0);
    EXPECT_EQ(s.autoICCProfile, "");
    EXPECT_EQ(s.backgroundColor, 0u);
    EXPECT_EQ(s.rawInterpolationMethod, 1u);
    EXPECT_FALSE(Inside().image->loaded);
}

TEST_F(SessionTest, EachSettingReachesTheCallbackTable) {
    CCallbackCls& table = Inside();
    cSetAutoRotate(m_session, 2);
    cSetCanonCRWParams(m_session, 0, 1, 0, -1, 2, -3, 4, 1);
    cUseCIECAM02(m_session, 0);
    cSetGeneralRawParams(m_session, 0, 0);
    cSetKodakPDCParams(m_session, "profile", 3, 1, 0, 0, 2.5);
    EXPECT_TRUE(table.GetAutoRotate());
    EXPECT_FALSE(table.GetUseCanonLibrary());
    EXPECT_TRUE(table.GetCanonCameraDefaults());
    EXPECT_TRUE(table.GetCanonApplyAdjust());
    EXPECT_EQ(table.GetCanonAdjust1(), -1);
    EXPECT_EQ(table.GetCanonAdjust2(), 2);
    EXPECT_EQ(table.GetCanonAdjust3(), -3);
    EXPECT_EQ(table.GetCanonAdjust4(), 4);
    EXPECT_TRUE(table.GetCanonLinearFlag());
    EXPECT_FALSE(table.GetUseCIECAM02());
    EXPECT_EQ(table.GetRawAutoLevels(), 0);
    EXPECT_EQ(table.GetColorTemperature(), 0);
    EXPECT_EQ(table.GetKodakPDCValue(), 2.5);
    EXPECT_EQ(table.GetKodakPDCFlags(), &Inside().settings.kodakPDCFlags);
    EXPECT_TRUE(table.GetKeep16BitPrecision());
    EXPECT_EQ(KodakPDCName(), "profile");
    cSetCanonCRWParams(m_session, 1, 0, 1, 0, 0, 0, 0, 0);
    EXPECT_FALSE(table.GetCanonApplyAdjust());
}

TEST_F(SessionTest, KodakFlagsPackFiveArguments) {
    struct {
        uint8_t before;
        uint16_t mode;
        bool a, b, c;
        uint8_t after;
    } constexpr kCases[] = {
        {0x43, 0, false, true, true, 0x43},    // the defaults say mode 0, b and c
        {0x43, 1, false, true, true, 0x42},    // mode 1 is 0 in bits 2 to 4
        {0x43, 8, false, false, false, 0x1C},  // mode 8 is 7 there
        {0x5E, 0, false, true, true, 0x5F},    // mode 0 leaves them as they were
        {0x80, 3, true, false, true, 0xAA},    // bit 7 stays
        {0x00, 9, false, false, false, 0x00},  // only three bits of the mode are kept
        {0xFF, 0, false, false, false, 0x9D},
    };
    for (const auto& k : kCases) {
        CSessionSettings settings;
        settings.kodakPDCFlags = k.before;
        settings.SetKodakPDCParams(k.mode, k.a, k.b, k.c, 0);
        EXPECT_EQ(settings.kodakPDCFlags, k.after) << int{k.before} << " " << k.mode;
    }
}

TEST_F(SessionTest, EqualPercentagesAreToldOnceByReportPercent) {
    const CProgressScope scope(Inside(), &Record, 9);
    for (const int32_t percent : {0, 0, 5, 5, 4, 65536 + 4, 100}) Inside().ReportPercent(percent);
    // 0 is what was told last before anything was.
    EXPECT_EQ(m_calls, (CCalls{{9, 5}, {9, 4}, {9, 100}}));
}

TEST_F(SessionTest, PassesShareTheWholeAndTruncate) {
    const CProgressScope scope(Inside(), &Record, 9);
    struct {
        int32_t percent, index, count;
    } constexpr kReports[] = {{50, 1, 1}, {50, 1, 1},  {0, 2, 3},
                              {50, 2, 3}, {100, 3, 3}, {7, 1, 0}};
    for (const auto& r : kReports) Inside().ReportPassProgress(r.percent, r.index, r.count);
    EXPECT_EQ(Values(), (std::vector<int32_t>{50, 33, 50, 100}));
}

TEST_F(SessionTest, OperationsTellEveryPercentage) {
    const CProgressScope scope(Inside(), &Record, 9);
    Inside().ReportOperationProgress(7);
    Inside().ReportOperationProgress(7);
    Inside().ReportOperationProgress(70000);
    EXPECT_EQ(Values(), (std::vector<int32_t>{7, 7, 70000}));
}

TEST_F(SessionTest, NothingIsToldOutsideACall) {
    { const CProgressScope scope(Inside(), &Record, 9); }
    Inside().ReportPercent(10);
    Inside().ReportPassProgress(10, 1, 1);
    Inside().ReportOperationProgress(10);
    EXPECT_TRUE(m_calls.empty());
    EXPECT_EQ(Inside().progressUser, 9u);
    EXPECT_EQ(Inside().lastProgress, 0);
}

TEST_F(SessionTest, UndoIsToldByTheUserValueAlone) {
    cRegisterPushUndoRedoCallback(m_session, &RecordUndo, 0);
    cPushUndo(m_session);
    EXPECT_TRUE(m_calls.empty());
    cRegisterPushUndoRedoCallback(m_session, &RecordUndo, 4);
    cPushUndo(m_session);
    cPushRedo(m_session);
    EXPECT_EQ(m_calls, (CCalls{{4, 1}, {4, 0}}));
    cRegisterPushUndoRedoCallback(m_session, nullptr, 4);
    cPushUndo(m_session);
    EXPECT_EQ(m_calls.size(), 2u);
}

TEST_F(SessionTest, ANewImageEndsTheNotification) {
    cRegisterPushUndoRedoCallback(m_session, &RecordUndo, 4);
    cNewImage(m_session, 2, 2, 0);
    cPushUndo(m_session);
    EXPECT_TRUE(m_calls.empty());
}

TEST_F(SessionTest, ASwappedImageNeverTellsAHandleThatEnded) {
    CHandle other;
    const HKESTRSESSION ending = cNewSession();
    cRegisterPushUndoRedoCallback(ending, &RecordUndo, 4);
    EXPECT_EQ(cSwapImage(ending, other), 1);
    cPushUndo(other);  // the image tells whoever registered with it
    EXPECT_EQ(m_calls, (CCalls{{4, 1}}));
    cDestroySession(ending);
    cPushUndo(other);
    EXPECT_EQ(m_calls.size(), 1u);
    EXPECT_EQ(cUndoStackDepth(other), 2u);
}

TEST_F(SessionTest, ACopyTakesImageAndSettingsButNoCallbacksAndNoSnapshots) {
    EXPECT_EQ(cDupSession(m_session), nullptr);
    cNewImage(m_session, 3, 2, 0x00030201);
    cPutImageComments(m_session, "kept");
    cSetJPEGParams(m_session, 33, 0.5, 0, 1);
    cSetBackgroundColor(m_session, 7);
    cRegisterPushUndoRedoCallback(m_session, &RecordUndo, 4);
    cPushUndo(m_session);
    Inside().lastProgress = 50;
    Inside().nextPageLoaded = true;
    cAbortImageLoad(m_session);
    m_calls.clear();

    CHandle copy(cDupSession(m_session));
    ASSERT_NE(FromHandle(copy), nullptr);
    cUnload(m_session);
    CDLLSession& inside = *FromHandle(copy);
    EXPECT_EQ(inside.settings.jpegQuality, 33);
    EXPECT_EQ(inside.settings.jpegRate, 0.5);
    EXPECT_FALSE(inside.settings.jpegHighQuality);
    EXPECT_TRUE(inside.settings.exactStart);
    EXPECT_EQ(inside.settings.backgroundColor, 7u);
    EXPECT_EQ(inside.undoUser, 0u);
    EXPECT_EQ(inside.undoCallback, nullptr);
    EXPECT_EQ(inside.lastProgress, 0);
    EXPECT_FALSE(inside.IsAbortRequested());
    EXPECT_FALSE(inside.nextPageLoaded);
    EXPECT_EQ(cUndoStackDepth(copy), 0u);
    cPushUndo(copy);
    EXPECT_TRUE(m_calls.empty());
    uint16_t red = 0, green = 0, blue = 0;
    EXPECT_EQ(cGetPixelColor(copy, 2, 1, &red, &green, &blue), 1);
    EXPECT_EQ(red + 256 * green + 65536 * blue, 0x030201);
    BSTR comment = nullptr;
    EXPECT_EQ(cGetImageComments(copy, &comment), 1);
    EXPECT_EQ(test::TakeText(comment), "kept");
}

TEST(CallbackTest, WithoutAHandleTheDefaultsHold) {
    EXPECT_FALSE(callback::AutoRotate(nullptr));
    EXPECT_TRUE(callback::UseCanonLibrary(nullptr));
    EXPECT_FALSE(callback::CanonApplyAdjust(nullptr));
    EXPECT_FALSE(callback::CanonCameraDefaults(nullptr));
    EXPECT_FALSE(callback::CanonLinearFlag(nullptr));
    EXPECT_TRUE(callback::UseCIECAM02(nullptr));
    EXPECT_EQ(callback::ColorTemperature(nullptr), 0);
    EXPECT_EQ(callback::KodakPDCFlags(nullptr), 0x43);
    EXPECT_TRUE(callback::Keep16BitPrecision(nullptr));
    EXPECT_FALSE(callback::AbortRequested(nullptr));
    callback::LoadDone(nullptr, false);
    callback::SaveDone(nullptr, true);
    callback::Percent(nullptr, 1);
    callback::PassProgress(nullptr, 1, 1, 1);
    callback::OperationProgress(nullptr, 1);
    callback::OperationDone(nullptr);
    callback::UndoPushed(nullptr, true);
}

}  // namespace
}  // namespace kestr
