// kestr sheet: one picture with many small ones and their names.
#include <algorithm>
#include <string>

#include "command.h"
#include "label.h"
#include "progress.h"
#include "save_types.h"
#include "session.h"
#include "text.h"

namespace tool {
namespace {

constexpr int kGap = 8;  // pixels between cells and around them
constexpr uint32_t kPaper = 0xFFFFFF;
constexpr int kMostSide = 32767;

constexpr COption kOptions[] = {
    {"-o", "FILE", "the sheet; its extension chooses the format"},
    {"-s", "WxH", "the box of each picture, 160x120 if not given"},
    {"--columns", "N", "pictures in a row, as many as make the sheet about square if not given"},
};

ExitCode RunSheet(const CCommandLine& line) {
    const auto box = ParseBox(line.Value("-s").value_or("160x120"));
    const std::filesystem::path output = line.Value("-o").value_or("");
    const auto type = SaveTypeOf(output);
    const auto count = static_cast<int>(line.files.size());
    int nearSquare = 1;
    while (nearSquare * nearSquare < count) ++nearSquare;
    const auto columns =
        ParseNumber(line.Value("--columns").value_or(std::to_string(nearSquare)), 1, kMostSide);
    if (line.files.empty() || !box || !columns || !type) {
        Complain(line.files.empty() ? "sheet needs pictures"
                 : !box             ? "-s takes a size such as 160x120"
                 : !columns         ? "--columns takes a number from 1"
                                    : "-o takes a file whose extension is a format to save");
        return kUsage;
    }
    const int across = std::min(*columns, count);
    const int down = (count + across - 1) / across;
    const int64_t cellWidth = box->width + kGap;
    const int64_t cellHeight = box->height + kLabelHeight + kGap;
    if (across * cellWidth + kGap > kMostSide || down * cellHeight + kGap > kMostSide) {
        Complain("the sheet would be larger than 32767 pixels a side");
        return kUsage;
    }
    CSession sheet;
    cNewImage(sheet.Handle(), static_cast<uint32_t>(across * cellWidth + kGap),
              static_cast<uint32_t>(down * cellHeight + kGap), kPaper);
    ExitCode result = kDone;
    for (int i = 0; i < count; ++i) {
        const std::filesystem::path& file = line.files[static_cast<size_t>(i)];
        const int left = kGap + static_cast<int>(cellWidth) * (i % across);
        const int top = kGap + static_cast<int>(cellHeight) * (i / across);
        bool loaded = false;
        {
            CProgressBar all("Sheet");
            CProgressBar::Show(all.User(), i * 100 / count);
            CSession picture;
            loaded = picture.LoadThumbnail(file, box->width, box->height);
            const CImageInfo info = picture.Info();
            cMergeImage(sheet.Handle(), picture.Handle(),
                        left + (box->width - static_cast<int>(info.width)) / 2,
                        top + (box->height - static_cast<int>(info.height)) / 2, 255, 0);
            DrawLabel(sheet.Handle(), Display(file.filename()), left, top + box->height,
                      box->width);
        }
        if (loaded) continue;
        std::string failure;
        if (QueryFile(file, 0, failure)) failure = "the picture could not be loaded";
        Complain(file, failure);
        result = kFailed;
    }
    CProgressBar saving("Saving");
    if (sheet.Save(output, *type, 0, saving)) return result;
    Complain(output, "the sheet could not be written");
    return kFailed;
}

}  // namespace

const CCommand kSheetCommand{"sheet", "[OPTIONS] IN... -o OUT",
                             "Lay thumbnails with their names on one sheet", kOptions, &RunSheet};

}  // namespace tool
