// kestr develop: a camera raw file as a picture, or all ways to develop it side by side.
#include <algorithm>
#include <cstdio>
#include <string>
#include <vector>

#include "command.h"
#include "curves.h"
#include "label.h"
#include "progress.h"
#include "save_types.h"
#include "session.h"
#include "text.h"

namespace tool {
namespace {

constexpr int kGap = 8;  // pixels between cells and around them
constexpr int kCurvesHeight = 96;
constexpr uint32_t kPaper = 0xFFFFFF;
constexpr int kMostSide = 4096;  // of a picture on the sheet
constexpr uint8_t kLanczos = 6;

constexpr COption kOptions[] = {
    {"-o", "FILE", "the picture or sheet; its extension chooses the format"},
    {"--demosaic", "METHOD", "bilinear, vng or ahd; vng if not given"},
    {"--no-ciecam", "", "colours by the camera's matrix alone, not by the appearance model"},
    {"--no-levels", "", "leave black and white where the camera had them"},
    {"--all", "", "the three methods with both ways to colour, side by side on one sheet"},
    {"-s", "WxH", "with --all: the box of each picture, 400x300 if not given"},
};

struct CMethod {
    std::string_view name;
    std::string_view title;
};

// In the order of the library's numbers.
constexpr CMethod kMethods[] = {{"bilinear", "Bilinear"}, {"vng", "VNG"}, {"ahd", "AHD"}};

struct CDevelopment {
    uint32_t method = 1;
    bool ciecam = true;
    bool levels = true;
};

// False after a complaint.
bool Develop(CSession& session, const std::filesystem::path& file, const CDevelopment& development,
             const char* label) {
    cSetRawInterpolationMethod(session.Handle(), development.method);
    cSetGeneralRawParams(session.Handle(), development.levels, 1);
    cUseCIECAM02(session.Handle(), development.ciecam);
    bool loaded = false;
    {
        CProgressBar progress(label);
        loaded = session.Load(file, 0, progress);
    }
    std::string failure;
    if (!loaded) {
        if (QueryFile(file, 0, failure)) failure = "the picture could not be loaded";
    } else if (cGetImageColorTemperature(session.Handle()) == 0) {
        failure = "this has no sensor data that could be developed";
    }
    if (!failure.empty()) Complain(file, failure);
    return failure.empty();
}

std::string Kelvin(HKESTRSESSION session) {
    return std::to_string(cGetImageColorTemperature(session)) + " K";
}

ExitCode SaveTo(CSession& session, const std::filesystem::path& output, int type) {
    CProgressBar progress("Saving");
    if (session.Save(output, type, 0, progress)) return kDone;
    Complain(output, "cannot be written: the format, its depth or the path does not allow it");
    return kFailed;
}

// Lays the developed picture, what it is and its curves into a cell.
void FillCell(HKESTRSESSION sheet, CSession& picture, std::string_view title, const CBox& box,
              int left, int top) {
    const CCurves curves = CountLevels(picture.Handle());
    CImageInfo info = picture.Info();
    if (info.width > static_cast<uint32_t>(box.width) ||
        info.height > static_cast<uint32_t>(box.height)) {
        cOpResizeExL(picture.Handle(), box.width, static_cast<uint32_t>(box.height), kLanczos, 1);
        info = picture.Info();
    }
    cMergeImage(sheet, picture.Handle(), left + (box.width - static_cast<int>(info.width)) / 2,
                top + (box.height - static_cast<int>(info.height)) / 2, 255, 0);
    DrawLabel(sheet, std::string(title) + ", " + Kelvin(picture.Handle()), left, top + box.height,
              box.width);
    std::vector<uint8_t> drawing = DrawCurves(curves, box.width, kCurvesHeight);
    CSession drawn;
    cLoadImage8(drawn.Handle(), drawing.data(), static_cast<uint32_t>(drawing.size()),
                static_cast<uint32_t>(box.width), kCurvesHeight, 0, nullptr, 0);
    cMergeImage(sheet, drawn.Handle(), left, top + box.height + kLabelHeight, 255, 0);
}

// A row for each way to colour, a column for each method.
ExitCode DevelopAll(const std::filesystem::path& file, const std::filesystem::path& output,
                    int type, const CBox& box, bool levels) {
    constexpr auto kColumns = static_cast<int>(std::size(kMethods));
    const int cellWidth = box.width + kGap;
    const int cellHeight = box.height + kLabelHeight + kCurvesHeight + kGap;
    CSession sheet;
    cNewImage(sheet.Handle(), static_cast<uint32_t>(kColumns * cellWidth + kGap),
              static_cast<uint32_t>(2 * cellHeight + kGap), kPaper);
    for (int i = 0; i < 2 * kColumns; ++i) {
        const int column = i % kColumns;
        const bool ciecam = i < kColumns;
        const std::string title =
            std::string(kMethods[column].title) + (ciecam ? ", CIECAM02" : ", matrix");
        CSession picture;
        if (!Develop(picture, file, {static_cast<uint32_t>(column), ciecam, levels},
                     title.c_str())) {
            return kFailed;
        }
        FillCell(sheet.Handle(), picture, title, box, kGap + column * cellWidth,
                 kGap + (ciecam ? 0 : cellHeight));
    }
    return SaveTo(sheet, output, type);
}

ExitCode RunDevelop(const CCommandLine& line) {
    const std::string given = line.Value("-o").value_or("");
    // As it was given, since a path may hold what text cannot.
    const std::filesystem::path output = std::u8string(given.begin(), given.end());
    const auto type = SaveTypeOf(output);
    const auto box = ParseBox(line.Value("-s").value_or("400x300"));
    const std::string name = line.Value("--demosaic").value_or("vng");
    const auto method = std::ranges::find(kMethods, name, &CMethod::name);
    const bool all = line.Has("--all");
    const bool choosesOne = line.Has("--demosaic") || line.Has("--no-ciecam");
    const char* const mistake =
        line.files.size() != 1         ? "develop needs one file"
        : method == std::end(kMethods) ? "--demosaic takes bilinear, vng or ahd"
        : !type                        ? "-o takes a file whose extension is a format to save"
        : all && choosesOne            ? "--all leaves no choice of the method or colours"
        : !all && line.Has("-s")       ? "-s goes with --all"
        : !box || box->width > kMostSide || box->height > kMostSide
            ? "-s takes a size such as 400x300, at most 4096 a side"
            : nullptr;
    if (mistake != nullptr) {
        Complain(mistake);
        return kUsage;
    }
    const std::filesystem::path& file = line.files[0];
    const bool levels = !line.Has("--no-levels");
    if (all) return DevelopAll(file, output, *type, *box, levels);

    CSession session;
    const auto number = static_cast<uint32_t>(method - std::begin(kMethods));
    if (!Develop(session, file, {number, !line.Has("--no-ciecam"), levels}, "Developing")) {
        return kFailed;
    }
    std::printf("Colour temperature: %s\n", Kelvin(session.Handle()).c_str());
    const bool damaged = session.IsDamaged();
    if (const ExitCode saved = SaveTo(session, output, *type); saved != kDone) return saved;
    if (damaged) Complain(file, "the file is damaged; what could be read was developed");
    return damaged ? kDamaged : kDone;
}

}  // namespace

const CCommand kDevelopCommand{"develop", "[OPTIONS] FILE -o OUT",
                               "Develop a camera raw file, in one way or in all", kOptions,
                               &RunDevelop};

}  // namespace tool
