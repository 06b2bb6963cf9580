// JSON for programs that read what this one prints.
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <string_view>

namespace tool {

/// A text with its quotation marks. What is no UTF-8 becomes U+FFFD, so that the result always is.
[[nodiscard]] std::string JsonText(std::string_view text);

/// An array of values that are JSON already.
[[nodiscard]] std::string JsonArray(std::span<const std::string> values);

/// An object whose members stand in the order in which they were added.
class CJsonObject {
public:
    CJsonObject& Add(std::string_view name, std::string_view text) {
        return AddValue(name, JsonText(text));
    }
    CJsonObject& Add(std::string_view name, int64_t number) {
        return AddValue(name, std::to_string(number));
    }
    CJsonObject& AddFlag(std::string_view name, bool flag) {
        return AddValue(name, flag ? "true" : "false");
    }
    /// A value that is JSON already.
    CJsonObject& AddValue(std::string_view name, std::string_view value);

    [[nodiscard]] std::string Text() const { return "{" + m_members + "}"; }

private:
    std::string m_members;
};

/// Prints an array to stdout, a value a line, as the values become known.
class CJsonLines {
public:
    void Print(std::string_view value);
    /// Ends the array, an empty one too.
    void End();

private:
    bool m_begun = false;
};

}  // namespace tool
