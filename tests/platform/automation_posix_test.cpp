// The exported texts and arrays, as a caller who knows the layouts of 64-bit Windows sees them.
#include <cstddef>
#include <cstring>
#include <string>

#include <gtest/gtest.h>
#include <kestr/types.h>

namespace {

constexpr auto kInvalidArgument = static_cast<int32_t>(0x80070057);
constexpr auto kUnexpected = static_cast<int32_t>(0x8000FFFF);
constexpr auto kBadIndex = static_cast<int32_t>(0x8002000B);
constexpr auto kArrayLocked = static_cast<int32_t>(0x8002000D);

static_assert(sizeof(SAFEARRAY) == 32 && offsetof(SAFEARRAY, cbElements) == 4 &&
              offsetof(SAFEARRAY, cLocks) == 8 && offsetof(SAFEARRAY, pvData) == 16 &&
              offsetof(SAFEARRAY, rgsabound) == 24);
static_assert(sizeof(BITMAPINFOHEADER) == 40 && sizeof(RGBQUAD) == 4 && sizeof(BITMAPINFO) == 44);

uint32_t Prefix(BSTR text) {
    uint32_t length = 0;
    std::memcpy(&length, reinterpret_cast<const char*>(text) - 4, 4);
    return length;
}

TEST(AutomationTest, ATextStandsBehindItsLengthInBytesAndBeforeANul) {
    BSTR text = SysAllocString(u"abc");
    EXPECT_EQ(Prefix(text), 6u);
    EXPECT_EQ(SysStringLen(text), 3u);
    EXPECT_EQ(SysStringByteLen(text), 6u);
    EXPECT_EQ(std::u16string(text), u"abc");
    SysFreeString(text);

    text = SysAllocStringLen(u"a\0b", 3);
    EXPECT_EQ(std::u16string(text, 4), std::u16string(u"a\0b\0", 4));
    SysFreeString(text);

    text = SysAllocStringByteLen("odd", 3);
    EXPECT_EQ(Prefix(text), 3u);
    EXPECT_EQ(SysStringLen(text), 1u);
    EXPECT_EQ(std::memcmp(text, "odd\0\0", 5), 0);
    SysFreeString(text);

    text = SysAllocString(u"");
    ASSERT_NE(text, nullptr);
    EXPECT_EQ(SysStringLen(text), 0u);
    SysFreeString(text);

    text = SysAllocStringLen(nullptr, 5);
    EXPECT_EQ(SysStringLen(text), 5u);
    EXPECT_EQ(text[5], 0);
    SysFreeString(text);
}

TEST(AutomationTest, NullIsAnEmptyText) {
    EXPECT_EQ(SysAllocString(nullptr), nullptr);
    EXPECT_EQ(SysStringLen(nullptr), 0u);
    EXPECT_EQ(SysStringByteLen(nullptr), 0u);
    SysFreeString(nullptr);
}

TEST(AutomationTest, ATextPast32BitsOfLengthIsRefused) {
    EXPECT_EQ(SysAllocStringLen(nullptr, 0xFFFFFFFF), nullptr);
    EXPECT_EQ(SysAllocStringLen(nullptr, 0x7FFFFFFF), nullptr);
    EXPECT_EQ(SysAllocStringByteLen(nullptr, 0xFFFFFFFF), nullptr);
}

TEST(AutomationTest, AnArrayKnowsItsTypeAndBounds) {
    struct {
        VARTYPE type;
        uint32_t bytes;
    } constexpr kTypes[] = {{VT_UI1, 1}, {VT_I1, 1}, {VT_I2, 2}, {VT_UI2, 2}, {VT_I4, 4},
                            {VT_UI4, 4}, {VT_R4, 4}, {VT_R8, 8}, {VT_I8, 8},  {VT_UI8, 8}};
    for (const auto& c : kTypes) {
        SCOPED_TRACE(c.type);
        for (const VARTYPE flag : {VARTYPE{0}, VARTYPE{VT_ARRAY}}) {
            SAFEARRAY* const array =
                SafeArrayCreateVector(static_cast<VARTYPE>(c.type | flag), -2, 7);
            ASSERT_NE(array, nullptr);
            EXPECT_EQ(SafeArrayGetDim(array), 1u);
            EXPECT_EQ(SafeArrayGetElemsize(array), c.bytes);
            EXPECT_EQ(array->cbElements, c.bytes);
            EXPECT_EQ(array->rgsabound[0].cElements, 7u);
            int32_t lower = 0, upper = 0;
            EXPECT_EQ(SafeArrayGetLBound(array, 1, &lower), 0);
            EXPECT_EQ(SafeArrayGetUBound(array, 1, &upper), 0);
            EXPECT_EQ(lower, -2);
            EXPECT_EQ(upper, 4);
            EXPECT_EQ(SafeArrayGetLBound(array, 0, &lower), kBadIndex);
            EXPECT_EQ(SafeArrayGetUBound(array, 2, &upper), kBadIndex);
            VARTYPE type = 0;
            EXPECT_EQ(SafeArrayGetVartype(array, &type), 0);
            EXPECT_EQ(type, c.type);
            EXPECT_EQ(SafeArrayDestroy(array), 0);
        }
    }
    EXPECT_EQ(SafeArrayCreateVector(8, 0, 1), nullptr);  // VT_BSTR: its elements would need freeing
}

TEST(AutomationTest, AccessLocksAndEmptyArraysAreArraysToo) {
    SAFEARRAY* const array = SafeArrayCreateVector(VT_UI1, 0, 0);
    ASSERT_NE(array, nullptr);
    int32_t upper = 0;
    EXPECT_EQ(SafeArrayGetUBound(array, 1, &upper), 0);
    EXPECT_EQ(upper, -1);
    void* data = nullptr;
    EXPECT_EQ(SafeArrayAccessData(array, &data), 0);
    EXPECT_NE(data, nullptr);
    EXPECT_EQ(SafeArrayAccessData(array, &data), 0);
    EXPECT_EQ(SafeArrayDestroy(array), kArrayLocked);
    EXPECT_EQ(SafeArrayUnaccessData(array), 0);
    EXPECT_EQ(SafeArrayUnaccessData(array), 0);
    EXPECT_EQ(SafeArrayUnaccessData(array), kUnexpected);
    EXPECT_EQ(SafeArrayDestroy(array), 0);
}

TEST(AutomationTest, NullArraysAndOutputsAreRefused) {
    void* data = nullptr;
    int32_t bound = 0;
    VARTYPE type = 0;
    EXPECT_EQ(SafeArrayDestroy(nullptr), 0);
    EXPECT_EQ(SafeArrayAccessData(nullptr, &data), kInvalidArgument);
    EXPECT_EQ(SafeArrayUnaccessData(nullptr), kInvalidArgument);
    EXPECT_EQ(SafeArrayGetDim(nullptr), 0u);
    EXPECT_EQ(SafeArrayGetElemsize(nullptr), 0u);
    EXPECT_EQ(SafeArrayGetLBound(nullptr, 1, &bound), kInvalidArgument);
    EXPECT_EQ(SafeArrayGetUBound(nullptr, 1, &bound), kInvalidArgument);
    EXPECT_EQ(SafeArrayGetVartype(nullptr, &type), kInvalidArgument);
}

}  // namespace
