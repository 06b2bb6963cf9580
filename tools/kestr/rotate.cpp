// kestr rotate: turn files on disc, JPEG files without loss.
#include <array>
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

// Steps that a turn without loss is made of; those of the command line come first, in its order.
enum CStep : uint8_t { kClockwise, kAnticlockwise, kHalf, kMirror, kUpDown, kNone };
using CSteps = std::array<CStep, 2>;

// What the library does when the stored orientation is to be carried out along with the turn: rows
// are the orientations 2 to 8, columns the turns; no step at all is a plain copy.
constexpr CSteps kFolded[7][4] = {
    {{kMirror, kClockwise}, {kMirror, kAnticlockwise}, {kMirror, kHalf}, {kNone, kNone}},
    {{kAnticlockwise, kNone}, {kClockwise, kNone}, {kNone, kNone}, {kHalf, kMirror}},
    {{kAnticlockwise, kUpDown}, {kClockwise, kUpDown}, {kMirror, kNone}, {kHalf, kNone}},
    {{kUpDown, kNone}, {kMirror, kNone}, {kUpDown, kNone}, {kAnticlockwise, kNone}},
    {{kHalf, kNone}, {kNone, kNone}, {kAnticlockwise, kNone}, {kClockwise, kMirror}},
    {{kMirror, kNone}, {kUpDown, kNone}, {kClockwise, kUpDown}, {kClockwise, kNone}},
    {{kNone, kNone}, {kHalf, kNone}, {kClockwise, kNone}, {kAnticlockwise, kMirror}},
};

/// The edges of the file whose last blocks, when they are cut, cannot be moved.
struct CEdges {
    bool right = false;
    bool lower = false;
};

// A cut strip that stays keeps to the far end of its side through every step, so the edges can be
// told for the file as it stands.
CEdges EdgesOf(const CSteps& steps) {
    CEdges edges;
    bool lies = false;  // whether the picture lies on its side by now
    for (const CStep step : steps) {
        const bool needsRight = step == kAnticlockwise || step == kHalf || step == kMirror;
        const bool needsLower = step == kClockwise || step == kHalf || step == kUpDown;
        (lies ? edges.lower : edges.right) |= needsRight;
        (lies ? edges.right : edges.lower) |= needsLower;
        lies ^= step == kClockwise || step == kAnticlockwise;
    }
    return edges;
}

std::string StripWords(uint32_t side, uint16_t mcu, bool trim, const char* edge) {
    const uint32_t strip = mcu == 0 ? 0 : side % mcu;
    if (strip == 0) return "";
    // A side of less than one block is never trimmed to nothing.
    return "; the strip of " + std::to_string(strip) + " pixels at its " + edge + " edge is " +
           (trim && side >= mcu ? "trimmed" : "left where it is");
}

std::string AnnounceJPEG(const CFileInfo& info, const CTurnOptions& options) {
    const unsigned orientation = info.orientation.value_or(1);
    const bool isTurned = orientation >= 2 && orientation <= 8;
    const bool folds = options.applyOrientation && isTurned;
    const CSteps steps = folds ? kFolded[orientation - 2][options.op]
                               : CSteps{static_cast<CStep>(options.op), kNone};
    const CEdges edges = EdgesOf(steps);
    std::string strips;
    if (edges.right) strips += StripWords(info.width, info.mcuWidth, options.trim, "right");
    if (edges.lower) strips += StripWords(info.height, info.mcuHeight, options.trim, "lower");

    std::string words = steps[0] == kNone ? "is as wanted already and copied"
                        : strips.empty()  ? "turned without loss, exactly"
                                          : "turned without loss, not exactly" + strips;
    if (folds) words += "; turned upright by its orientation as well";
    if (!info.orientation) return words;
    if (isTurned) {
        const std::string number = std::to_string(orientation);
        words += options.resetOrientation
                     ? "; its orientation " + number + " becomes 1"
                     : "; its orientation stays " + number + ", by which viewers turn it once more";
    }
    return words + "; a small picture inside EXIF stays as it is";
}

/// What becomes of the file, told before it is written.
std::string Announce(const CFileInfo& info, const CTurnOptions& options) {
    if (info.IsJPEG()) return AnnounceJPEG(info, options);
    // No format but JPEG has coefficients to turn, and no option but the turn itself counts.
    return "decoded, turned and written anew in its format; its orientation becomes 1";
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
