// kestr: pictures from the command line, by nothing but the library's public header.
#include <algorithm>
#include <cstdio>
#include <exception>
#include <string>

#include "command.h"
#include "system.h"
#include "text.h"

namespace tool {
namespace {

constexpr const CCommand* kCommands[] = {
    &kInfoCommand,      &kMetaCommand,      &kCheckCommand,   &kConvertCommand,
    &kDevelopCommand,   &kRotateCommand,    &kCommentCommand, &kFramesCommand,
    &kRoundtripCommand, &kHistogramCommand, &kThumbCommand,   &kSheetCommand,
};

void Print(const std::string& text) {
    std::fputs(text.c_str(), stdout);
}

// Two columns, the right one beginning at the same place in each line.
void PrintColumns(std::string_view left, int width, std::string_view right) {
    std::printf("  %-*.*s  %.*s\n", width, static_cast<int>(left.size()), left.data(),
                static_cast<int>(right.size()), right.data());
}

void PrintHelp() {
    Print("Usage: kestr COMMAND [OPTIONS] FILE...\n\nCommands:\n");
    for (const CCommand* command : kCommands) PrintColumns(command->name, 10, command->summary);
    Print(
        "\nkestr COMMAND --help tells more. kestr --version prints the version.\n"
        "Exit code: 0 done, 1 refused or failed, 2 wrong usage, 3 a picture was damaged.\n");
}

void PrintHelp(const CCommand& command) {
    Print("Usage: kestr " + std::string(command.name) + " " + std::string(command.arguments) +
          "\n\n" + std::string(command.summary) + ".\n");
    if (command.options.empty()) return;
    Print("\nOptions:\n");
    for (const COption& option : command.options) {
        std::string left(option.name);
        if (!option.value.empty()) left.append(" ").append(option.value);
        PrintColumns(left, 22, option.help);
    }
}

ExitCode RunCommand(const CCommand& command, std::span<const std::filesystem::path> arguments) {
    const CCommandLine line = ParseCommandLine(arguments, command.options);
    if (!line.error.empty()) {
        Complain(line.error + "; see kestr " + std::string(command.name) + " --help");
        return kUsage;
    }
    if (line.Has("--help")) {
        PrintHelp(command);
        return kDone;
    }
    return command.run(line);
}

}  // namespace

int Run(const std::vector<std::filesystem::path>& arguments) {
    const std::string first = arguments.empty() ? "" : Display(arguments.front());
    if (first == "--help" || first == "-h" || first == "help") {
        PrintHelp();
        return kDone;
    }
    if (first == "--version") {
        Print("kestr " KESTR_VERSION "\n");
        return kDone;
    }
    const auto command = std::ranges::find(kCommands, first, &CCommand::name);
    if (command == std::end(kCommands)) {
        Complain(arguments.empty() ? "no command; see kestr --help"
                                   : "unknown command " + first + "; see kestr --help");
        return kUsage;
    }
    try {
        return RunCommand(**command, std::span(arguments).subspan(1));
    } catch (const std::exception& failure) {  // out of memory, as a rule
        Complain(failure.what());
        return kFailed;
    }
}

}  // namespace tool
