// Runs one fuzz target over the files of the named folders, with any compiler: kestr_replay TARGET
// FOLDER... A folder that is missing counts as empty. A fault shows as in the fuzzer: by a crash.
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <vector>

namespace {

struct CReplayTarget {
    const char* name;
    int (*run)(const uint8_t* bytes, size_t size);
};

}  // namespace

#include "replay_targets.inc"  // kTargets

namespace {

// The input lies in a block of exactly its size, so that a read beyond it is seen.
void RunFile(const CReplayTarget& target, const std::filesystem::path& path) {
    std::ifstream in(path, std::ios::binary);
    std::vector<uint8_t> bytes{std::istreambuf_iterator<char>(in),
                               std::istreambuf_iterator<char>()};
    bytes.shrink_to_fit();
    target.run(bytes.data(), bytes.size());
}

int RunFolders(const CReplayTarget& target, int count, char** folders) {
    int files = 0;
    for (int i = 0; i < count; ++i) {
        std::error_code missing;
        for (const auto& entry : std::filesystem::directory_iterator(folders[i], missing)) {
            if (!entry.is_regular_file()) continue;
            RunFile(target, entry.path());
            ++files;
        }
    }
    // A target without any input would test nothing.
    if (files == 0) {
        std::fprintf(stderr, "%s: no seeds\n", target.name);
        return 1;
    }
    std::printf("%s: %d inputs\n", target.name, files);
    return 0;
}

}  // namespace

int main(int argc, char** argv) {
    for (const CReplayTarget& target : kTargets) {
        if (argc > 2 && std::strcmp(argv[1], target.name) == 0) {
            return RunFolders(target, argc - 2, argv + 2);
        }
    }
    std::fprintf(stderr, "usage: kestr_replay TARGET FOLDER...; targets:\n");
    for (const CReplayTarget& target : kTargets) std::fprintf(stderr, "  %s\n", target.name);
    return 2;
}
