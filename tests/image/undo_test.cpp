#include <gmock/gmock.h>

#include "api/handles.h"
#include "support/loaded_handle.h"

namespace kestr::test {
namespace {

using Bytes = std::vector<uint8_t>;

/// A picture of one gray level, 4 x 1: 4 bytes of pixels.
class UndoTest : public testing::Test {
protected:
    UndoTest() { Show(0); }

    void Show(uint8_t level) {
        CImageBits& image = *FromHandle(m_handle)->image;
        if (!image.loaded) {
            const Bytes samples(4, level);
            image.LoadBits(samples, {}, 4, 1, true, nullptr);
        }
        for (uint8_t& pixel : image.bits) pixel = level;
    }
    int Shown() { return m_handle.Row(0)[0]; }
    std::pair<uint32_t, uint32_t> Depths() {
        return {cUndoStackDepth(m_handle), cRedoStackDepth(m_handle)};
    }
    void Change(uint8_t level) {  // as an undoable operation does
        FromHandle(m_handle)->image->BeginUndoable(1);
        Show(level);
    }

    static constexpr uint32_t kSnapshot = 4 + 1064;  // bytes
    using Depth = std::pair<uint32_t, uint32_t>;
    CHandle m_handle;
};

TEST_F(UndoTest, GoesBackAndForth) {
    cEnableAutoUndoRedo(m_handle, 1);
    Change(1);
    EXPECT_EQ(cPopUndo(m_handle), 1);
    EXPECT_EQ(Shown(), 0);
    EXPECT_EQ(Depths(), Depth(0, 1));
    EXPECT_EQ(cPopRedo(m_handle), 1);
    EXPECT_EQ(Shown(), 1);
    EXPECT_EQ(Depths(), Depth(1, 0));
    Change(2);
    EXPECT_EQ(cPopUndo(m_handle), 1);
    Change(3);
    EXPECT_EQ(Depths(), Depth(2, 0)) << "a change forgets what could be done again";
}

TEST_F(UndoTest, EmptyStacks) {
    EXPECT_EQ(cPopUndo(m_handle), 0);
    EXPECT_EQ(cPopRedo(m_handle), 0);
    EXPECT_EQ(Depths(), Depth(0, 0));
    cEnableAutoUndoRedo(m_handle, 1);
    EXPECT_EQ(cPopUndo(m_handle), 0);
    EXPECT_EQ(Depths(), Depth(0, 0));
    EXPECT_EQ(cPopRedo(m_handle), 0);
    EXPECT_EQ(Depths(), Depth(1, 0)) << "pushed before the test";
    cTrimUndo(m_handle);
    EXPECT_EQ(cPeekUndo(m_handle), 0);
    EXPECT_EQ(Depths(), Depth(1, 0));
    cTrimRedo(m_handle);
    cPurgeRedo(m_handle);
    EXPECT_EQ(Depths(), Depth(1, 0));
}

TEST_F(UndoTest, PeekShowsTheTopAndKeepsIt) {
    cPushUndo(m_handle);
    Show(9);
    EXPECT_EQ(cPeekUndo(m_handle), 1);
    EXPECT_EQ(Shown(), 0);
    EXPECT_EQ(Depths(), Depth(1, 0));
}

TEST_F(UndoTest, TrimTakesTheOldestPurgeTheNewest) {
    for (const uint8_t level : {1, 2, 3}) {
        Show(level);
        cPushUndo(m_handle);
    }
    EXPECT_EQ(cUndoDataSize(m_handle), 3 * kSnapshot);
    cTrimUndo(m_handle);
    cPurgeUndo(m_handle);
    EXPECT_EQ(Depths(), Depth(1, 0));
    EXPECT_EQ(cPopUndo(m_handle), 1);
    EXPECT_EQ(Shown(), 2);
}

TEST_F(UndoTest, LimitGivesUpRedoFirst) {
    for (int i = 0; i < 3; ++i) cPushUndo(m_handle);
    for (int i = 0; i < 2; ++i) cPushRedo(m_handle);
    cSetUndoRedoLimit(m_handle, 5 * kSnapshot);
    EXPECT_EQ(Depths(), Depth(3, 2));
    cSetUndoRedoLimit(m_handle, 4 * kSnapshot);
    EXPECT_EQ(Depths(), Depth(3, 1));
    cSetUndoRedoLimit(m_handle, 3 * kSnapshot - 1);
    EXPECT_EQ(Depths(), Depth(2, 0));
    cSetUndoRedoLimit(m_handle, 0);
    cPushUndo(m_handle);
    EXPECT_EQ(Depths(), Depth(3, 0));
    cSetUndoRedoLimit(m_handle, 3 * kSnapshot);
    cPushUndo(m_handle);
    EXPECT_EQ(Depths(), Depth(4, 0)) << "a push by the caller is not weighed";
    cSetUndoRedoLimit(m_handle, 1);
    EXPECT_EQ(Depths(), Depth(0, 0));
    Change(1);
    EXPECT_EQ(Depths(), Depth(0, 0)) << "not even the snapshot just taken";
}

TEST_F(UndoTest, SnapshotHoldsBothStoresAlphaAndGamma) {
    CImageBits& image = *FromHandle(m_handle)->image;
    const uint16_t samples[4] = {1, 2, 3, 4};
    image.bits16.Assign(samples);
    const uint8_t alpha[4] = {5, 6, 7, 8};
    image.alpha.Assign(alpha);
    image.gamma = 0.25;
    image.transparentIndex = 3;
    cPushUndo(m_handle);
    EXPECT_EQ(cUndoDataSize(m_handle), kSnapshot + 8 + 4);
    image.bits16.clear();
    image.alpha.clear();
    image.gamma = 0.5;
    image.transparentIndex = 4;
    ASSERT_EQ(cPopUndo(m_handle), 1);
    EXPECT_EQ(image.bits16.size(), 4u);
    EXPECT_EQ(image.bits16[3], 4);
    EXPECT_EQ(image.alpha[0], 5);
    EXPECT_EQ(image.gamma, 0.25);
    EXPECT_EQ(image.transparentIndex, 4) << "not part of a snapshot";
}

struct CNotes {
    std::vector<int32_t> flags;
    static void KESTR_CALL Note(uintptr_t user, int32_t flag) {
        reinterpret_cast<CNotes*>(user)->flags.push_back(flag);
    }
};

TEST_F(UndoTest, NotifiesOfEachPushUntilTheNextLoad) {
    CNotes notes;
    cRegisterPushUndoRedoCallback(m_handle, &CNotes::Note, reinterpret_cast<uintptr_t>(&notes));
    cPushUndo(m_handle);
    cPushRedo(m_handle);
    cPeekUndo(m_handle);
    EXPECT_EQ(notes.flags, (std::vector<int32_t>{1, 0, 1}));
    cNewImage(m_handle, 1, 1, 0);
    cPushUndo(m_handle);
    EXPECT_EQ(notes.flags.size(), 3u);
    EXPECT_EQ(Depths(), Depth(1, 0)) << "the stacks went with the old image";
}

TEST_F(UndoTest, StacksGoWithTheImage) {
    cPushUndo(m_handle);
    CHandle other;
    EXPECT_EQ(cSwapImage(m_handle, other), 1);
    EXPECT_EQ(Depths(), Depth(0, 0));
    EXPECT_EQ(cUndoStackDepth(other), 1u);
    const CHandle copy(cDupSession(other));
    EXPECT_EQ(cUndoStackDepth(copy), 0u);
    cUnload(other);
    EXPECT_EQ(cUndoStackDepth(other), 0u);
}

}  // namespace
}  // namespace kestr::test
