// kestr info: what files are, by their headers.
#include <algorithm>
#include <cstdio>
#include <vector>

#include "command.h"
#include "json.h"
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

// More are counted only: a query of a late page walks over all before it.
constexpr uint32_t kMostPagesListed = 100;

struct CPage {
    uint32_t width = 0;   // pixels
    uint32_t height = 0;  // rows
    uint32_t bits = 0;    // a pixel
};

// The pages of a file that has several; one that cannot be read has no size.
std::vector<CPage> QueryPages(const std::filesystem::path& path, const CFileInfo& info) {
    std::vector<CPage> pages;
    if (info.pages < 2) return pages;
    const uint32_t listed = std::min(info.pages, kMostPagesListed);
    for (uint32_t number = 0; number < listed; ++number) {
        std::string error;
        const auto page = QueryFile(path, number, error);
        pages.push_back(page ? CPage{page->width, page->height, page->bits} : CPage{});
    }
    return pages;
}

void PrintPages(const std::filesystem::path& path, const CFileInfo& info) {
    if (info.pages < 2) return;
    std::printf("  Pages: %u\n", static_cast<unsigned>(info.pages));
    const std::vector<CPage> pages = QueryPages(path, info);
    for (size_t i = 0; i < pages.size(); ++i) {
        std::printf("    Page %zu: %u x %u pixels, %u-bit\n", i, pages[i].width, pages[i].height,
                    pages[i].bits);
    }
    if (info.pages > pages.size()) std::printf("    ...\n");
}

void PrintInfo(const std::filesystem::path& path, const CFileInfo& info) {
    std::printf("%s\n", Display(path).c_str());
    PrintLines(info.description);
    std::printf("  Size: %u x %u pixels, %u-bit\n", static_cast<unsigned>(info.width),
                static_cast<unsigned>(info.height), static_cast<unsigned>(info.bits));
    PrintPages(path, info);
    std::printf("  Type id: %d\n", static_cast<int>(info.typeId));
    if (!info.cameraDate.empty()) std::printf("  Taken: %s\n", info.cameraDate.c_str());
    PrintLines(info.cameraInfo);
    if (!info.comment.empty()) {
        std::printf("  Comment:\n");
        PrintLines(info.comment);
    }
}

std::string Json(const CLabelledTexts& texts) {
    std::vector<std::string> values;
    for (const auto& [label, value] : texts) {
        values.push_back(CJsonObject().Add("label", label).Add("value", value).Text());
    }
    return JsonArray(values);
}

std::string Json(const std::vector<CPage>& pages) {
    std::vector<std::string> values;
    for (const CPage& page : pages) {
        values.push_back(CJsonObject()
                             .Add("width", page.width)
                             .Add("height", page.height)
                             .Add("bits", page.bits)
                             .Text());
    }
    return JsonArray(values);
}

// The names are told in docs/json.md and stay as they are.
std::string Json(const std::filesystem::path& path, const CFileInfo& info) {
    const CProfile profile = QueryProfile(path);
    CJsonObject object;
    object.Add("file", Display(path))
        .Add("typeId", info.typeId)
        .Add("format", info.FormatName())
        .Add("width", info.width)
        .Add("height", info.height)
        .Add("bits", info.bits)
        .Add("pages", info.pages)
        .AddValue("pageList", Json(QueryPages(path, info)))
        .Add("mcuWidth", info.mcuWidth)
        .Add("mcuHeight", info.mcuHeight)
        .Add("description", info.description)
        .Add("comment", info.comment)
        .Add("taken", info.cameraDate)
        .AddValue("orientation", info.orientation ? std::to_string(*info.orientation) : "null")
        .AddValue("camera", Json(info.camera))
        .AddValue("iptc", Json(info.iptc))
        .Add("xmpBytes", static_cast<int64_t>(QueryXmp(path).size()))
        .Add("profile", profile.name)
        .Add("profileBytes", static_cast<int64_t>(profile.bytes.size()));
    return object.Text();
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
    const bool asJson = line.Has("--json");
    CJsonLines json;
    ExitCode result = kDone;
    for (const std::filesystem::path& path : line.files) {
        std::string error;
        if (const auto info = QueryFile(path, *page, error)) {
            asJson ? json.Print(Json(path, *info)) : PrintInfo(path, *info);
            continue;
        }
        if (asJson) {
            json.Print(CJsonObject().Add("file", Display(path)).Add("error", error).Text());
        }
        Complain(path, error);
        result = kFailed;
    }
    if (asJson) json.End();
    return result;
}

constexpr COption kOptions[] = {
    {"--json", "", "print an array with an object for each file, for programs"},
    {"--page", "N", "ask page N of a file that has several, from 0"},
};

}  // namespace

const CCommand kInfoCommand{"info", "[OPTIONS] FILE...",
                            "Tell what picture files are, without decoding their pixels", kOptions,
                            &RunInfo};

}  // namespace tool
