// kestr thumb: small pictures of many files.
#include <string>

#include "command.h"
#include "progress.h"
#include "save_types.h"
#include "session.h"
#include "text.h"

namespace tool {
namespace {

constexpr COption kOptions[] = {
    {"-o", "FOLDER", "where the thumbnails go; the present folder if not given"},
    {"-s", "WxH", "the box that they fit into, 160x120 if not given"},
    {"--format", "EXT", "what they are saved as, jpg if not given"},
};

ExitCode RunThumb(const CCommandLine& line) {
    const auto box = ParseBox(line.Value("-s").value_or("160x120"));
    const std::string extension = "." + line.Value("--format").value_or("jpg");
    const auto type = SaveTypeOf("thumb" + extension);
    if (line.files.empty() || !box || !type) {
        Complain(line.files.empty() ? "thumb needs pictures"
                 : !box             ? "-s takes a size such as 160x120"
                                    : "--format takes the extension of a format that can be saved");
        return kUsage;
    }
    const std::filesystem::path folder = line.Value("-o").value_or(".");
    std::error_code made;
    std::filesystem::create_directories(folder, made);
    ExitCode result = kDone;
    for (size_t i = 0; i < line.files.size(); ++i) {
        const std::filesystem::path& file = line.files[i];
        std::string failure;
        {
            CProgressBar all("Thumbnails");
            CProgressBar::Show(all.User(), static_cast<int32_t>(i * 100 / line.files.size()));
            CSession session;
            CProgressBar saving("Saving");
            if (!session.LoadThumbnail(file, box->width, box->height)) {
                if (QueryFile(file, 0, failure)) failure = "the picture could not be loaded";
            } else if (!session.Save(folder / (file.stem().native() +
                                               std::filesystem::path(extension).native()),
                                     *type, 0, saving)) {
                failure = "the thumbnail could not be written";
            }
        }
        if (failure.empty()) continue;
        Complain(file, failure);
        result = kFailed;
    }
    return result;
}

}  // namespace

const CCommand kThumbCommand{"thumb", "[OPTIONS] IN...", "Make thumbnails of pictures", kOptions,
                             &RunThumb};

}  // namespace tool
