#include "platform/sound.h"

#include <array>
#include <cstdlib>
#include <spawn.h>
#include <string>
#include <string_view>
#include <sys/wait.h>
#include <unistd.h>

#include "platform/code_page.h"

namespace kestr {
namespace {

// Players of PulseAudio, PipeWire and ALSA; each takes a file's name and plays it to the end.
constexpr std::array kPlayers{"paplay", "pw-play", "aplay"};

bool IsInPath(std::string_view program) {
    const char* const variable = std::getenv("PATH");
    std::string_view folders = variable != nullptr ? variable : "";
    while (!folders.empty()) {
        const size_t colon = folders.find(':');
        const std::string candidate =
            std::string(folders.substr(0, colon)).append("/").append(program);
        if (access(candidate.c_str(), X_OK) == 0) return true;
        folders = colon == std::string_view::npos ? "" : folders.substr(colon + 1);
    }
    return false;
}

// Run by way of a shell that leaves at once, so that no child of ours is left to be waited for.
bool Start(const char* player, std::string path) {
    std::string program = "sh";
    std::string option = "-c";
    std::string command = "\"$0\" \"$1\" </dev/null >/dev/null 2>&1 &";
    std::string name = player;
    char* const arguments[] = {program.data(), option.data(), command.data(),
                               name.data(),    path.data(),   nullptr};
    pid_t shell = 0;
    if (posix_spawn(&shell, "/bin/sh", nullptr, nullptr, arguments, environ) != 0) return false;
    int status = 0;
    return waitpid(shell, &status, 0) == shell && WIFEXITED(status) && WEXITSTATUS(status) == 0;
}

}  // namespace

bool StartSound(const KESTR_CHAR* path) {
    for (const char* const player : kPlayers) {
        if (IsInPath(player)) return Start(player, WideToPath(path));
    }
    return false;
}

}  // namespace kestr
