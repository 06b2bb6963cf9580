#include <string>
#include <string_view>

#include <gtest/gtest.h>

#include "platform/code_page.h"

namespace kestr {
namespace {

struct CText {
    const char* name;
    std::string_view narrow;
    std::u16string_view wide;
};

// Both ways. The bytes are those of the Unicode standard's own tables.
constexpr CText kTexts[] = {
    {"empty", "", u""},
    {"ASCII", "a.bmp", u"a.bmp"},
    {"last of one byte, first of two", "\x7F\xC2\x80", u"\u007F\u0080"},
    {"last of two bytes, first of three", "\xDF\xBF\xE0\xA0\x80", u"\u07FF\u0800"},
    {"around the surrogates", "\xED\x9F\xBF\xEE\x80\x80", u"\uD7FF\uE000"},
    {"last of three bytes, first of four", "\xEF\xBF\xBF\xF0\x90\x80\x80", u"\uFFFF\U00010000"},
    {"the last of all", "\xF4\x8F\xBF\xBF", u"\U0010FFFF"},
    {"Greek", "\xCE\xB1\xCE\xB2", u"αβ"},
    {"emoji", "\xF0\x9F\x8E\xA8", u"\U0001F3A8"},
};

TEST(CodePageTest, Utf8GoesBothWays) {
    for (const CText& c : kTexts) {
        SCOPED_TRACE(c.name);
        EXPECT_EQ(TextToWide(c.narrow), c.wide);
        EXPECT_EQ(WideToText(c.wide), c.narrow);
        EXPECT_EQ(PathToWide(std::string(c.narrow).c_str()), c.wide);
        EXPECT_EQ(WideToPath(std::u16string(c.wide).c_str()), c.narrow);
    }
}

constexpr std::string_view kInvalid[] = {
    "\x80",              // a following byte alone
    "a\xC3",             // cut short
    "\xC0\xAF",          // overlong
    "\xE0\x9F\xBF",      // overlong
    "\xF0\x8F\xBF\xBF",  // overlong
    "\xED\xA0\x80",      // a surrogate
    "\xED\xA0\x80\xED\xB0\x80",
    "\xF4\x90\x80\x80",  // past the last
    "\xF5\x80\x80\x80",
    "\xFF\xFE.bmp",
    "\xCE\xB1\xFF\xCE\xB1",
    "\xE2\x82z\xAC",
};

TEST(CodePageTest, TextThatIsNoUtf8IsLatin1) {
    for (const std::string_view text : kInvalid) {
        std::u16string expected;
        for (const char byte : text) expected += static_cast<unsigned char>(byte);
        EXPECT_EQ(TextToWide(text), expected) << testing::PrintToString(text);
    }
    EXPECT_EQ(TextToWide(std::string_view("a\0b", 3)), std::u16string(u"a\0b", 3));
}

TEST(CodePageTest, APathOfAnyBytesComesBack) {
    for (const std::string_view path : kInvalid) {
        const std::u16string wide = PathToWide(std::string(path).c_str());
        EXPECT_EQ(WideToPath(wide.c_str()), path) << testing::PrintToString(path);
    }
    // All pairs of bytes, alone and between valid text.
    for (int first = 1; first < 256; ++first) {
        for (int second = 1; second < 256; ++second) {
            const std::string bytes{static_cast<char>(first), static_cast<char>(second)};
            for (const std::string& path : {bytes, "\xED\xA0" + bytes + "\xCE\xB1"}) {
                ASSERT_EQ(WideToPath(PathToWide(path.c_str()).c_str()), path) << first << second;
            }
        }
    }
}

TEST(CodePageTest, AnUnpairedSurrogateNamesOneFileAndNarrowsToOneMark) {
    EXPECT_EQ(WideToPath(u"x\xD83Dy"), "x\xED\xA0\xBDy");
    EXPECT_EQ(WideToPath(u"x\xDC00y"), "x\xED\xB0\x80y");
    EXPECT_EQ(WideToPath(u"\xD83D\xD83C\xDFA8"), "\xED\xA0\xBD\xF0\x9F\x8E\xA8");
    EXPECT_EQ(WideToText(u"x\xD83Dy\xDC80"), "x\xEF\xBF\xBDy\xEF\xBF\xBD");
}

TEST(CodePageTest, NoPathIsEmpty) {
    EXPECT_EQ(PathToWide(nullptr), u"");
    EXPECT_EQ(WideToPath(nullptr), "");
}

}  // namespace
}  // namespace kestr
