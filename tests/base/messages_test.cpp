#include "base/messages.h"

#include <string_view>

#include <gtest/gtest.h>

#include "base/format_text.h"
#include "base/text_lines.h"

namespace kestr {
namespace {

TEST(MessagesTest, EachNumberHasItsText) {
    struct {
        int first, last;
        std::string_view text;
    } constexpr kMessages[] = {
        {100, 100, ""},
        {101, 103, "."},
        {104, 105, ""},
        {106, 108, "."},
        {109, 109, "/r/nImage file damage detected."},
        {110, 111, "."},
        {112, 112, ""},
        {113, 114, "."},
        {115, 115, "\r\n\r\nDamaged file - incomplete read"},
        {116, 117, "."},
        {118, 118, "Make"},
        {119, 119, "Model"},
        {120, 120, "Artist"},
        {121, 121, "Date Original"},
        {122, 122, "GPS String"},
        {123, 123, "Illuminant"},
        {124, 124, "Description"},
        {125, 125, "Aperture"},
        {126, 126, "Shutter"},
        {127, 127, "Flash Fired"},
        {128, 128, "Self Timer"},
        {129, 129, "."},
        {130, 130, "Tandemir"},
        {131, 131, ""},
        {-1, 0, ""},
    };
    for (const auto& c : kMessages) {
        for (int id = c.first; id <= c.last; ++id) EXPECT_EQ(Message(id), c.text) << id;
    }
}

TEST(FormatTextTest, TakesTextOfAnyLength) {
    EXPECT_EQ(FormatText("Bad DIB header: %d, %d, %d\n", 1, 24, -3), "Bad DIB header: 1, 24, -3\n");
    EXPECT_EQ(FormatText("%s", ""), "");
    const std::string longText(100000, 'x');
    EXPECT_EQ(FormatText("<%s>", longText.c_str()), "<" + longText + ">");
}

TEST(TextLinesTest, EachLineEndBecomesCrLf) {
    EXPECT_EQ(WithCrLf("a\rb\nc\r\nd\n\r"), "a\r\nb\r\nc\r\nd\r\n\r\n");
    EXPECT_EQ(WithCrLf(std::string_view("\0\n", 2)), std::string("\0\r\n", 3));
}

}  // namespace
}  // namespace kestr
