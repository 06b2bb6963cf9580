// kestr convert: load, change, save.
#include <cstdio>
#include <vector>

#include "command.h"
#include "filter_operations.h"
#include "geometry_operations.h"
#include "operations.h"
#include "progress.h"
#include "save_types.h"
#include "session.h"
#include "text.h"

namespace tool {
namespace {

constexpr COption kOwnOptions[] = {
    {"--type", "N", "save as type id N, not as the extension says"},
    {"--option", "N", "the number that a few formats take along with their id"},
    {"--append", "", "add the picture to the pages of a TIFF or DCX file that is there"},
    {"--page", "N", "load page N of a file that has several, from 0"},
    {"--quality", "N", "JPEG quality from 0 to 100, 75 if not given"},
    {"--method", "N", "how --resize scales, 0 to 7: 0 nearest pixel, 3 triangle, 6 Lanczos"},
    {"--dither", "", "diffuse the errors of colour reductions"},
    {"--psd-flattened", "", "take the picture that a Photoshop file holds beside its layers"},
    {"--matte", "RRGGBB",
     "compose the layers of a Photoshop file over this colour, not over black"},
    {"--upright", "", "turn the picture upright as its EXIF orientation says"},
};

// convert's own options, then the operations.
const std::vector<COption>& AllOptions() {
    static const std::vector<COption> options = [] {
        std::vector<COption> all(std::begin(kOwnOptions), std::end(kOwnOptions));
        for (const COperation& operation : Operations()) all.push_back(operation.option);
        return all;
    }();
    return options;
}

// A number that was given, or `otherwise`; none after a complaint.
std::optional<int> Number(const CCommandLine& line, std::string_view name, int largest,
                          int otherwise) {
    const auto text = line.Value(name);
    if (!text) return otherwise;
    const auto number = ParseNumber(*text, 0, largest);
    if (!number) {
        Complain(std::string(name) + " takes a number from 0 to " + std::to_string(largest));
    }
    return number;
}

ExitCode ApplyOperations(const CSession& session, const CCommandLine& line) {
    if (const auto method = line.Value("--method"); method && !SetResizeMethod(*method)) {
        Complain("--method takes a number from 0 to 7");
        return kUsage;
    }
    SetDither(line.Has("--dither"));
    for (const CGivenOption& given : line.options) {
        const COperation* const operation = FindOperation(*given.option);
        if (!operation) continue;
        std::string error;
        if (operation->apply(session.Handle(), given.value, error)) continue;
        Complain(std::string(given.option->name) + " " + (error.empty() ? "failed" : error));
        return error.starts_with("takes ") ? kUsage : kFailed;
    }
    return kDone;
}

ExitCode RunConvert(const CCommandLine& line) {
    if (line.files.size() != 2) {
        Complain("convert needs an input and an output file");
        return kUsage;
    }
    const std::filesystem::path& input = line.files[0];
    const std::filesystem::path& output = line.files[1];
    const auto type = Number(line, "--type", 76, SaveTypeOf(output).value_or(-1));
    const auto option = Number(line, "--option", 0x7FFFFFFF, line.Has("--append") ? 1 : 0);
    const auto page = Number(line, "--page", 32767, 0);
    const auto quality = Number(line, "--quality", 100, 75);
    if (!type || !option || !page || !quality) return kUsage;
    const auto matte = ParseColour(line.Value("--matte").value_or("000000"));
    if (!matte) {
        Complain("--matte takes a colour such as FFFFFF");
        return kUsage;
    }
    if (*type < 0) {
        Complain(output, "no format has this extension; name one with --type");
        return kUsage;
    }

    CSession session;
    cSetJPEGParams(session.Handle(), static_cast<uint16_t>(*quality), 0.1, 1, 0);
    cSetAutoRotate(session.Handle(), line.Has("--upright"));
    cSetPSDParams(session.Handle(), line.Has("--psd-flattened"));
    cSetBackgroundColor(session.Handle(), *matte);
    bool loaded = false;
    {
        CProgressBar progress("Loading");
        loaded = session.Load(input, *page, progress);
    }
    if (!loaded) {
        std::string error;
        // A header that is sound says nothing of the rest.
        if (QueryFile(input, *page, error)) error = "the picture could not be loaded";
        Complain(input, error);
        return kFailed;
    }
    const bool damaged = session.IsDamaged();
    if (const ExitCode applied = ApplyOperations(session, line); applied != kDone) return applied;

    bool saved = false;
    {
        CProgressBar progress("Saving");
        saved = session.Save(output, *type, *option, progress);
    }
    if (!saved) {
        const CImageInfo info = session.Info();
        Complain(output, "cannot be written as type " + std::to_string(*type) + " with " +
                             std::to_string(info.bits) +
                             " bits a pixel: the format, its depth or the path does not allow it");
        return kFailed;
    }
    if (damaged) {
        Complain(input, "the file is damaged; what could be read was converted");
        return kDamaged;
    }
    return kDone;
}

}  // namespace

const CCommand kConvertCommand{"convert", "[OPTIONS] IN OUT",
                               "Load a picture, change it in the order of the options, and save it",
                               AllOptions(), &RunConvert};

}  // namespace tool
