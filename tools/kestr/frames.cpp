// kestr frames: the pictures that an animation shows, one after the other.
#include <cstdio>
#include <string>

#include "command.h"
#include "progress.h"
#include "save_types.h"
#include "session.h"
#include "text.h"

namespace tool {
namespace {

constexpr COption kOptions[] = {
    {"-o", "FOLDER", "where the frames go; the present folder if not given"},
    {"--format", "EXT", "what they are saved as, png if not given"},
};

ExitCode RunFrames(const CCommandLine& line) {
    const std::string extension = "." + line.Value("--format").value_or("png");
    const auto type = SaveTypeOf("frame" + extension);
    if (line.files.size() != 1 || !type) {
        Complain(!type ? "--format takes the extension of a format that can be saved"
                       : "frames needs one animation");
        return kUsage;
    }
    const std::filesystem::path& file = line.files[0];
    const std::filesystem::path folder = line.Value("-o").value_or(".");
    std::error_code made;
    std::filesystem::create_directories(folder, made);
    CSession session;
    CProgressBar progress("Frames");
    if (!session.Load(file, 0, progress)) {
        std::string error;
        if (QueryFile(file, 0, error)) error = "the picture could not be loaded";
        Complain(file, error);
        return kFailed;
    }
    const int pages = session.Info().pages;
    for (int page = 0; page < pages; ++page) {
        if (page > 0 && cLoadNextAnimatedGIFPage(session.Handle(), nullptr) == 0) {
            Complain(file, "this is no animation: its pages are loaded with convert --page");
            return kFailed;
        }
        uint32_t milliseconds = 0;
        cGetGIF_TimeDelay(session.Handle(), &milliseconds);
        char name[32];
        std::snprintf(name, sizeof name, "-%04d", page);
        std::filesystem::path target = folder / file.stem();
        target += name + extension;
        if (!session.Save(target, *type, 0, progress)) {
            Complain(target, "could not be written");
            return kFailed;
        }
        std::printf("%s: %u ms\n", Display(target).c_str(), static_cast<unsigned>(milliseconds));
    }
    return kDone;
}

}  // namespace

const CCommand kFramesCommand{"frames", "[OPTIONS] ANIMATION",
                              "Save each frame of a GIF animation as it is shown", kOptions,
                              &RunFrames};

}  // namespace tool
