#include "options.h"

#include <algorithm>
#include <charconv>

#include "text.h"

namespace tool {

constexpr COption kHelp{"--help", "", "show this help"};

std::optional<std::string> CCommandLine::Value(std::string_view name) const {
    std::optional<std::string> value;
    for (const CGivenOption& given : options) {
        if (given.option->name == name) value = given.value;
    }
    return value;
}

CCommandLine ParseCommandLine(std::span<const std::filesystem::path> arguments,
                              std::span<const COption> options) {
    CCommandLine line;
    bool optionsEnded = false;
    for (size_t i = 0; i < arguments.size(); ++i) {
        const std::string text = Display(arguments[i]);
        if (optionsEnded || text.size() < 2 || !text.starts_with('-')) {
            line.files.push_back(arguments[i]);
            continue;
        }
        if (text == "--") {
            optionsEnded = true;
            continue;
        }
        const size_t equals = text.find('=');
        const std::string name = text.substr(0, equals);
        const auto known = std::ranges::find(options, name, &COption::name);
        const COption* const option = known != options.end() ? &*known
                                      : name == kHelp.name   ? &kHelp
                                                             : nullptr;
        if (!option) {
            line.error = "unknown option " + name;
            return line;
        }
        CGivenOption given{option, {}};
        if (equals != std::string::npos) {
            if (option->value.empty()) {
                line.error = name + " takes no value";
                return line;
            }
            given.value = text.substr(equals + 1);
        } else if (!option->value.empty()) {
            if (++i == arguments.size()) {
                line.error = name + " needs a value";
                return line;
            }
            given.value = Display(arguments[i]);
        }
        line.options.push_back(std::move(given));
    }
    return line;
}

std::optional<int> ParseNumber(std::string_view text, int smallest, int largest) {
    int number = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    if (error != std::errc() || end != text.data() + text.size()) return std::nullopt;
    if (number < smallest || number > largest) return std::nullopt;
    return number;
}

std::optional<uint32_t> ParseColour(std::string_view text) {
    uint32_t rgb = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), rgb, 16);
    if (text.size() != 6 || error != std::errc() || end != text.data() + 6) return std::nullopt;
    return (rgb & 0xFF) << 16 | (rgb & 0xFF00) | rgb >> 16;
}

}  // namespace tool
