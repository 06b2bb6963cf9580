// kestr info: what files are, by their headers.
#include <algorithm>
#include <cstdio>

#include "command.h"
#include "session.h"
#include "text.h"

namespace tool {
namespace {

// Lines of the library end with CR LF; each goes below the file's name with an indent.
void PrintLines(const std::string& text) {
    size_t start = 0;
    while (start < text.size()) {
        const size_t end = std::min(text.find("\r\n", start), text.size());
        std::printf("  %s\n", text.substr(start, end - start).c_str());
        start = end + 2;
    }
}

void PrintInfo(const std::filesystem::path& path, const CFileInfo& info) {
    std::printf("%s\n", Display(path).c_str());
    PrintLines(info.description);
    std::printf("  Size: %u x %u pixels, %u-bit\n", static_cast<unsigned>(info.width),
                static_cast<unsigned>(info.height), static_cast<unsigned>(info.bits));
    if (info.pages > 1) std::printf("  Pages: %u\n", static_cast<unsigned>(info.pages));
    std::printf("  Type id: %d\n", static_cast<int>(info.typeId));
    if (!info.cameraDate.empty()) std::printf("  Taken: %s\n", info.cameraDate.c_str());
    PrintLines(info.cameraInfo);
    if (!info.comment.empty()) {
        std::printf("  Comment:\n");
        PrintLines(info.comment);
    }
}

ExitCode RunInfo(const CCommandLine& line) {
    if (line.files.empty()) {
        Complain("info needs a file");
        return kUsage;
    }
    const auto page = ParseNumber(line.Value("--page").value_or("0"), 0, 32767);
    if (!page) {
        Complain("--page takes a number from 0 to 32767");
        return kUsage;
    }
    ExitCode result = kDone;
    for (const std::filesystem::path& path : line.files) {
        std::string error;
        if (const auto info = QueryFile(path, *page, error)) {
            PrintInfo(path, *info);
        } else {
            Complain(path, error);
            result = kFailed;
        }
    }
    return result;
}

constexpr COption kOptions[] = {
    {"--page", "N", "ask page N of a file that has several, from 0"},
};

}  // namespace

const CCommand kInfoCommand{"info", "[OPTIONS] FILE...",
                            "Tell what picture files are, without decoding their pixels", kOptions,
                            &RunInfo};

}  // namespace tool
