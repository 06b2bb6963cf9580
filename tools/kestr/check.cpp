// kestr check: whether files and trees of files are whole, by loading every page of each.
#include <algorithm>
#include <cstdio>
#include <iterator>
#include <optional>
#include <string>
#include <vector>

#include "command.h"
#include "formats.h"
#include "json.h"
#include "progress.h"
#include "session.h"
#include "text.h"

namespace tool {
namespace {

namespace fs = std::filesystem;

enum CState { kWhole, kPartial, kRefused };
constexpr const char* kStates[] = {"whole", "damaged", "refused"};

struct CVerdict {
    CState state = kWhole;
    uint64_t rows = 0;    // that the file gave, over all its pages
    uint64_t ofRows = 0;  // that its headers state
    uint32_t pages = 0;
    std::string words;  // why it was refused, what is damaged, or what was read of it
    std::optional<CFileInfo> info;
    bool wrongExtension = false;
};

/// What the library says of a damage that has a name.
std::string DamageWords(const CSession& session) {
    CText text;
    cGetImageDescription(session.Handle(), text.Out());
    const std::string description = text.Utf8();
    for (const char* words : {"Damaged file - incomplete read", "Image file damage detected."}) {
        if (description.find(words) != std::string::npos) return words;
    }
    return "rows are missing";
}

void CountPage(const CSession& session, CVerdict& verdict) {
    verdict.rows += cGetScanLinesSuccessfullyRead(session.Handle());
    verdict.ofRows += session.Info().height;
    ++verdict.pages;
    if (!session.IsDamaged()) return;
    if (verdict.state != kPartial) verdict.words = DamageWords(session);
    verdict.state = kPartial;
}

CVerdict CheckFile(const fs::path& path) {
    CVerdict verdict;
    std::error_code error;
    if (fs::exists(path, error) && !fs::is_regular_file(path, error)) {
        verdict.state = kRefused;
        verdict.words = "this is neither a file nor a folder";
        return verdict;
    }
    verdict.info = QueryFile(path, 0, verdict.words);
    if (!verdict.info) {
        verdict.state = kRefused;
        return verdict;
    }
    verdict.wrongExtension = IsWrongExtension(path, verdict.info->typeId);
    if (IsInside(path, verdict.info->typeId))
        verdict.words = "only a JPEG picture inside it was read";
    CSession session;
    CProgressBar progress("Checking");
    if (!session.Load(path, 0, progress)) {
        verdict.state = kRefused;
        verdict.words = "its header can be read, its picture cannot";
        return verdict;
    }
    CountPage(session, verdict);
    // A frame of an animation stands on those before it: they are taken in order.
    const bool isGIF = verdict.info->typeId == 66 || verdict.info->typeId == 67;
    for (uint32_t page = 1; page < verdict.info->pages; ++page) {
        const bool loaded = isGIF ? cLoadNextAnimatedGIFPage(session.Handle(), nullptr) != 0
                                  : session.Load(path, static_cast<int>(page), progress);
        if (!loaded) {
            verdict.state = kPartial;
            verdict.words = "page " + std::to_string(page) + " cannot be read";
            break;
        }
        CountPage(session, verdict);
    }
    return verdict;
}

void Print(const fs::path& path, const CVerdict& verdict) {
    std::string line = Display(path) + ": " + kStates[verdict.state];
    if (verdict.state == kRefused) {
        line += ": " + verdict.words;
    } else {
        line +=
            ", " + std::to_string(verdict.rows) + " of " + std::to_string(verdict.ofRows) + " rows";
        if (verdict.info->pages > 1) {
            line += ", " + std::to_string(verdict.pages) + " of " +
                    std::to_string(verdict.info->pages) + " pages";
        }
        if (!verdict.words.empty()) line += ": " + verdict.words;
    }
    if (verdict.wrongExtension) {
        line += "; wrong extension: truly " + verdict.info->FormatName();
    }
    std::printf("%s\n", line.c_str());
    std::fflush(stdout);
}

// The names are told in docs/json.md and stay as they are.
std::string Json(const fs::path& path, const CVerdict& verdict) {
    CJsonObject object;
    object.Add("file", Display(path)).Add("verdict", kStates[verdict.state]);
    object.Add("words", verdict.words);
    if (verdict.info) {
        std::vector<std::string> usual;
        for (std::string_view rest = UsualExtensions(verdict.info->typeId); !rest.empty();) {
            const std::string_view word = rest.substr(0, rest.find(' '));
            usual.push_back(JsonText(word));
            rest.remove_prefix(std::min(rest.size(), word.size() + 1));
        }
        object.Add("typeId", verdict.info->typeId)
            .Add("format", verdict.info->FormatName())
            .AddFlag("wrongExtension", verdict.wrongExtension)
            .AddValue("usualExtensions", JsonArray(usual))
            .Add("rows", static_cast<int64_t>(verdict.rows))
            .Add("ofRows", static_cast<int64_t>(verdict.ofRows))
            .Add("pages", verdict.pages)
            .Add("ofPages", verdict.info->pages);
    }
    return object.Text();
}

/// Walks a tree and hands each of its files over, in the order of their names. Links to folders are
/// not followed, so that no loop of links is walked; neither are pipes and devices opened.
template <typename Action, typename Failure>
void Walk(const fs::path& folder, const Action& action, const Failure& unreadable) {
    std::vector<fs::path> folders{folder};
    while (!folders.empty()) {
        const fs::path here = std::move(folders.back());
        folders.pop_back();
        std::vector<fs::path> files, inner;
        std::error_code error;
        fs::directory_iterator entries(here, error);
        for (; !error && entries != fs::directory_iterator(); entries.increment(error)) {
            std::error_code ignored;
            if (fs::is_directory(entries->symlink_status(ignored))) {
                inner.push_back(entries->path());
            } else if (fs::is_regular_file(entries->path(), ignored)) {
                files.push_back(entries->path());
            }
        }
        if (error) unreadable(here);
        std::ranges::sort(files);
        std::ranges::sort(inner, std::ranges::greater());  // the first one comes off the end first
        std::ranges::for_each(files, action);
        std::ranges::move(inner, std::back_inserter(folders));
    }
}

ExitCode RunCheck(const CCommandLine& line) {
    if (line.files.empty()) {
        Complain("check needs a file or a folder");
        return kUsage;
    }
    const bool asJson = line.Has("--json");
    const bool onlyBad = line.Has("--only-bad");
    CJsonLines json;
    uint64_t counts[std::size(kStates)] = {};
    uint64_t misnamed = 0;
    const auto tell = [&](const fs::path& path, const CVerdict& verdict) {
        ++counts[verdict.state];
        misnamed += verdict.wrongExtension;
        if (onlyBad && verdict.state == kWhole && !verdict.wrongExtension) return;
        asJson ? json.Print(Json(path, verdict)) : Print(path, verdict);
    };
    const auto check = [&](const fs::path& path) { tell(path, CheckFile(path)); };
    const auto refuseFolder = [&](const fs::path& path) {
        CVerdict verdict;
        verdict.state = kRefused;
        verdict.words = "the folder cannot be read";
        tell(path, verdict);
    };
    for (const fs::path& path : line.files) {
        std::error_code error;
        if (fs::is_directory(path, error)) {
            Walk(path, check, refuseFolder);
        } else {
            check(path);
        }
    }
    if (asJson) {
        json.End();
    } else {
        std::printf("%llu whole, %llu damaged, %llu refused, %llu with a wrong extension\n",
                    static_cast<unsigned long long>(counts[kWhole]),
                    static_cast<unsigned long long>(counts[kPartial]),
                    static_cast<unsigned long long>(counts[kRefused]),
                    static_cast<unsigned long long>(misnamed));
    }
    // A damaged picture matters more than a file that was none to begin with.
    return counts[kPartial] != 0 ? kDamaged : counts[kRefused] != 0 ? kFailed : kDone;
}

constexpr COption kOptions[] = {
    {"--json", "", "print an array with an object for each file, for programs"},
    {"--only-bad", "", "leave out whole files whose extension is right"},
};

}  // namespace

const CCommand kCheckCommand{"check", "[OPTIONS] PATH...",
                             "Tell which files, also of whole trees, are whole, damaged or refused",
                             kOptions, &RunCheck};

}  // namespace tool
