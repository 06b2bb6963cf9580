// kestr rotate: turn files on disc, JPEG files without loss.
#include <cstdio>
#include <string>

#include "command.h"
#include "session.h"
#include "text.h"

namespace tool {
namespace {

constexpr COption kOptions[] = {
    {"--cw", "", "turn 90 degrees clockwise"},
    {"--ccw", "", "turn 90 degrees anticlockwise"},
    {"--180", "", "turn 180 degrees"},
    {"--mirror", "", "mirror left to right"},
    {"--trim", "", "cut off the strip of a JPEG file that cannot be turned without loss"},
    {"--apply-orientation", "", "turn a JPEG file upright by its EXIF orientation as well"},
    {"--reset-orientation", "", "write the orientation upright into the EXIF data of a JPEG file"},
    {"-o", "FILE", "write the result there and leave the file, of which there is one, as it is"},
};

constexpr std::string_view kTurns[] = {"--cw", "--ccw", "--180", "--mirror"};

bool IsJPEG(const CFileInfo& info) {
    return info.typeId == 4 || info.typeId == 5;
}

/// What becomes of the file, told before it is written.
std::string Announce(const CFileInfo& info, const CTurnOptions& options) {
    if (!IsJPEG(info)) return "decoded, turned and written anew";
    const unsigned across = info.width % info.mcuWidth;
    const unsigned down = info.height % info.mcuHeight;
    // A clockwise turn mirrors the rows of the file, an anticlockwise one its columns.
    const bool needsWidth = options.op != 0;
    const bool needsHeight = options.op == 0 || options.op == 2;
    std::string words = "without loss";
    const auto strip = [&](unsigned pixels, const char* edge) {
        if (pixels == 0) return;
        words += ", " + std::to_string(pixels) + " pixels of its " + edge + " edge " +
                 (options.trim ? "trimmed" : "left in place");
    };
    if (needsWidth) strip(across, "right");
    if (needsHeight) strip(down, "lower");
    if (options.applyOrientation) words += ", turned upright too";
    if (options.resetOrientation) words += ", orientation reset";
    return words + "; the small picture inside EXIF stays as it is";
}

ExitCode RunRotate(const CCommandLine& line) {
    CTurnOptions options;
    int turns = 0;
    for (uint32_t op = 0; op < std::size(kTurns); ++op) {
        if (!line.Has(kTurns[op])) continue;
        options.op = op;
        ++turns;
    }
    const auto output = line.Value("-o");
    if (line.files.empty() || turns != 1 || (output && line.files.size() != 1)) {
        Complain(turns != 1 ? "rotate needs one of --cw, --ccw, --180 and --mirror"
                 : output && !line.files.empty() ? "-o goes with one file"
                                                 : "rotate needs a file");
        return kUsage;
    }
    options.trim = line.Has("--trim");
    options.applyOrientation = line.Has("--apply-orientation");
    options.resetOrientation = line.Has("--reset-orientation");
    ExitCode result = kDone;
    for (const std::filesystem::path& file : line.files) {
        std::string error;
        const auto info = QueryFile(file, 0, error);
        if (info) {
            std::printf("%s: %s\n", Display(file).c_str(), Announce(*info, options).c_str());
            std::fflush(stdout);
            if (RotateFile(file, output ? std::filesystem::path(*output) : file, options, error)) {
                continue;
            }
        }
        Complain(file, error);
        result = kFailed;
    }
    return result;
}

}  // namespace

const CCommand kRotateCommand{"rotate", "TURN [OPTIONS] FILE...",
                              "Turn files on disc, JPEG files without loss", kOptions, &RunRotate};

}  // namespace tool
