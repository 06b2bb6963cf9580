#include "save_types.h"

#include <algorithm>
#include <string>
#include <string_view>

#include "text.h"

namespace tool {
namespace {

struct CSaveType {
    std::string_view extension;
    int typeId;
};

// Where a format has several ids, the one that most programs read.
constexpr CSaveType kSaveTypes[] = {
    {".bmp", 2},  {".cal", 36}, {".cals", 36}, {".dcx", 3},   {".dib", 2},   {".gif", 66},
    {".iff", 35}, {".jp2", 56}, {".jpeg", 4},  {".jpg", 4},   {".lbm", 35},  {".mbm", 50},
    {".pbm", 7},  {".pct", 33}, {".pcx", 8},   {".pgm", 9},   {".pict", 33}, {".png", 11},
    {".pnm", 13}, {".ppm", 13}, {".psd", 31},  {".ras", 32},  {".rgb", 15},  {".sgi", 15},
    {".sun", 32}, {".tga", 16}, {".tif", 24},  {".tiff", 24}, {".wbmp", 41}, {".xbm", 43},
    {".xpm", 44}, {".xwd", 45},
};
static_assert(std::ranges::is_sorted(kSaveTypes, {}, &CSaveType::extension));

}  // namespace

std::optional<int> SaveTypeOf(const std::filesystem::path& path) {
    std::string extension = Display(path.extension());
    std::ranges::transform(extension, extension.begin(), [](char c) {
        return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
    });
    const auto found = std::ranges::lower_bound(kSaveTypes, extension, {}, &CSaveType::extension);
    if (found == std::end(kSaveTypes) || found->extension != extension) return std::nullopt;
    return found->typeId;
}

}  // namespace tool
