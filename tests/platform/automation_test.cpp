#include "platform/automation.h"

#include <array>
#include <limits>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "support/wide_path.h"

namespace kestr {
namespace {

using test::Wide;

TEST(BstrTest, OwnsOneTextAndMovesIt) {
    CBstr first(Wide(u"a\u03B1"));
    CBstr second = std::move(first);
    EXPECT_FALSE(first);  // NOLINT(bugprone-use-after-move): that it is empty is the point
    EXPECT_EQ(second.View(), Wide(u"a\u03B1"));
    second = CBstr(Wide(u"b"));
    EXPECT_EQ(second.View(), Wide(u"b"));
    const BSTR released = second.Release();
    EXPECT_FALSE(second);
    automation::FreeText(released);
}

TEST(BstrTest, NullAndEmptyDiffer) {
    EXPECT_FALSE(CBstr::Copy(nullptr));
    const CBstr empty{WideView()};
    EXPECT_TRUE(empty);
    EXPECT_TRUE(empty.View().empty());
}

TEST(BstrTest, ATextTooLongRaisesOutOfMemory) {
    // Never read: the length alone is refused.
    const KESTR_CHAR unit = 'a';
    const WideView tooLong(&unit, std::numeric_limits<size_t>::max() / 2 + 1);
    try {
        const CBstr text(tooLong);
        FAIL();
    } catch (const CAutomationError& error) {
        EXPECT_EQ(error.Result(), 0x8007000Eu);
    }
}

TEST(ArrayTest, BytesAndNumbersComeBack) {
    const std::vector<uint8_t> bytes{0, 1, 255};
    const CSafeArray array = MakeByteArray(bytes);
    const CByteArrayView view(array.get());
    EXPECT_TRUE(std::ranges::equal(view.Bytes(), bytes));

    const std::array<uint32_t, 2> numbers{7, 0xFFFFFFFF};
    const CSafeArray numberArray = MakeNumberArray(numbers);
    size_t count = 0;
    const auto* const data = static_cast<const uint32_t*>(
        automation::Lock(numberArray.get(), automation::Element::kNumber, count));
    ASSERT_EQ(count, 2u);
    EXPECT_EQ(data[0], 7u);
    EXPECT_EQ(data[1], 0xFFFFFFFFu);
    automation::Unlock(numberArray.get());
    EXPECT_TRUE(CByteArrayView(numberArray.get()).Bytes().empty());
    EXPECT_TRUE(CByteArrayView(nullptr).Bytes().empty());
    EXPECT_NE(MakeByteArray({}), nullptr);
}

}  // namespace
}  // namespace kestr
