// The options of the commands: a table each, one parser for all.
#pragma once

#include <cstdint>
#include <filesystem>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace tool {

struct COption {
    std::string_view name;   // with its dashes: "--type"
    std::string_view value;  // what the help calls its value; empty for a flag
    std::string_view help;
};

struct CGivenOption {
    const COption* option;
    std::string value;
};

/// A command line in the order in which it was given.
struct CCommandLine {
    std::vector<CGivenOption> options;
    std::vector<std::filesystem::path> files;
    std::string error;  // why it makes no sense, else empty

    /// The value that was given last, if any.
    [[nodiscard]] std::optional<std::string> Value(std::string_view name) const;
    [[nodiscard]] bool Has(std::string_view name) const { return Value(name).has_value(); }
};

/// "--name value" and "--name=value"; "--" ends the options. "--help" is known to every command.
[[nodiscard]] CCommandLine ParseCommandLine(std::span<const std::filesystem::path> arguments,
                                            std::span<const COption> options);

/// A whole number of the given range; decimal digits only.
[[nodiscard]] std::optional<int> ParseNumber(std::string_view text, int smallest, int largest);

/// "RRGGBB", six hexadecimal digits, as the library takes colours: red in the low byte.
[[nodiscard]] std::optional<uint32_t> ParseColour(std::string_view text);

}  // namespace tool
