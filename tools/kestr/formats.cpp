#include "formats.h"

#include <algorithm>
#include <fstream>
#include <initializer_list>
#include <string>

#include "text.h"

namespace tool {
namespace {

struct CFormat {
    std::string_view extensions;
    std::initializer_list<int> typeIds;
};

constexpr std::initializer_list<int> kTiffTypes{18, 19, 20, 21, 22, 23, 24, 25, 26, 27, 28, 54};
constexpr std::initializer_list<int> kRawTypes{47, 48, 52, 53, 55, 57, 58, 60, 61,
                                               63, 64, 65, 68, 69, 70, 71, 72, 74};

// Camera raw files are TIFF files at heart, and some cameras call them so: the two count as one.
const CFormat kFormats[] = {
    {".bmp .dib .rle", {0, 1, 2}},
    {".dcx", {3}},
    {".jpg .jpeg .jpe .jfif .thm", {4, 5}},
    {".pcx", {8}},
    {".pnm .pbm .pgm .ppm", {7, 9, 13}},
    {".png", {11, 12}},
    {".tga", {16, 17}},
    {".tif .tiff", kTiffTypes},
    {".dng .nef .nrw .cr2 .crw .arw .sr2 .srf .dcr .kdc .erf .mrw .orf .pef .raf .raw .rw2 .x3f",
     kRawTypes},
    {".psd .pdd", {31}},
    {".jp2 .j2k .j2c .jpc .jpf .jpx", {56}},
    {".gif", {66, 67}},
};

bool Holds(const CFormat& format, int32_t typeId) {
    return std::ranges::find(format.typeIds, typeId) != format.typeIds.end();
}

bool Holds(const CFormat& format, const std::string& extension) {
    const size_t at = format.extensions.find(extension);
    const size_t end = at + extension.size();
    return at != std::string_view::npos &&
           (end == format.extensions.size() || format.extensions[end] == ' ');
}

}  // namespace

bool IsInside(const std::filesystem::path& path, int32_t typeId) {
    if (typeId != 4 && typeId != 5) return false;
    std::ifstream in(path, std::ios::binary);
    return in.get() != 0xFF || in.get() != 0xD8;
}

bool IsWrongExtension(const std::filesystem::path& path, int32_t typeId) {
    std::string extension = Display(path.extension());
    if (extension.size() < 2) return false;
    std::ranges::transform(extension, extension.begin(), [](char c) {
        return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
    });
    const auto isNamed = [&](const CFormat& format) { return Holds(format, extension); };
    const auto isTrue = [&](const CFormat& format) { return Holds(format, typeId); };
    const auto named = std::ranges::find_if(kFormats, isNamed);
    const auto found = std::ranges::find_if(kFormats, isTrue);
    if (named == std::end(kFormats) || found == std::end(kFormats) || named == found) return false;
    if (IsInside(path, typeId)) return false;  // the name speaks of the file around it
    const auto isRawOrTiff = [](const CFormat& format) {
        return Holds(format, *kTiffTypes.begin()) || Holds(format, *kRawTypes.begin());
    };
    return !isRawOrTiff(*named) || !isRawOrTiff(*found);
}

std::string_view UsualExtensions(int32_t typeId) {
    const auto found = std::ranges::find_if(
        kFormats, [&](const CFormat& format) { return Holds(format, typeId); });
    return found == std::end(kFormats) ? std::string_view() : found->extensions;
}

}  // namespace tool
