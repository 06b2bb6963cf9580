#include "readers/extension_table.h"

#include <algorithm>
#include <array>
#include <functional>
#include <set>

#include "readers/type_ids.h"

namespace kestr {
namespace {

struct CExtension {
    std::string_view name;
    CTypeId typeId;
};

constexpr auto kExtensions = std::to_array<CExtension>({
    {".arw", kTypeSony},       {".awd", kTypeAWD},          {".bmp", kTypeBMP},
    {".brk", kTypeBrooktrout}, {".brt", kTypeBrooktrout},   {".bw", kTypeSGI},
    {".cal", kTypeCALS},       {".cals", kTypeCALS},        {".cam", kTypeCasio},
    {".cr2", kTypeCanonRaw},   {".crw", kTypeCanonRaw},     {".db", kTypeThumbsDB},
    {".dcr", kTypeKodakDCR},   {".dcx", kTypeDCX},          {".dib", kTypeBMP},
    {".dng", kTypeDNG},        {".dpx", kTypeDPX},          {".emf", kTypeWMF},
    {".erf", kTypeEpson},      {".fpx", kTypeFlashPix},     {".fxd", kTypeWinFax},
    {".fxm", kTypeWinFax},     {".fxr", kTypeWinFax},       {".fxs", kTypeWinFax},
    {".gif", kTypeGIF},        {".hdr", kTypeRadiance},     {".ico", kTypeIcon},
    {".iff", kTypeIFF},        {".img", kTypeLaserView},    {".j2c", kTypeJPEG2000},
    {".j2k", kTypeJPEG2000},   {".jp2", kTypeJPEG2000},     {".jpc", kTypeJPEG2000},
    {".jpe", kTypeJPEG},       {".jpeg", kTypeJPEG},        {".jpf", kTypeJPEG2000},
    {".jpg", kTypeJPEG},       {".jpx", kTypeJPEG2000},     {".kdc", kTypeKodakKDC},
    {".lv", kTypeLaserView},   {".mbm", kTypeMBM},          {".mrw", kTypeMinolta},
    {".nef", kTypeNikon},      {".orf", kTypeOlympus},      {".pbm", kTypePBM},
    {".pcd", kTypePhotoCD},    {".pct", kTypePICT},         {".pcx", kTypePCX},
    {".pdd", kTypePhotoshop},  {".pef", kTypePentax},       {".pgm", kTypePGM},
    {".pic", kTypePICT},       {".pict", kTypePICT},        {".pmp", kTypePMP},
    {".png", kTypePNG},        {".pnm", kTypePPM},          {".ppm", kTypePPM},
    {".psd", kTypePhotoshop},  {".psp", kTypePaintShopPro}, {".pspimage", kTypePaintShopPro},
    {".raf", kTypeFuji},       {".ras", kTypeSun},          {".raw", kTypeLeica},
    {".rgb", kTypeSGI},        {".rgba", kTypeSGI},         {".sfw", kTypeSFW},
    {".sr2", kTypeSony},       {".srf", kTypeSony},         {".tga", kTypeTarga},
    {".thm", kTypeJPEG},       {".tif", kTypeTIFF},         {".tiff", kTypeTIFF},
    {".wbm", kTypeWBMP},       {".wbmp", kTypeWBMP},        {".wmf", kTypeWMF},
    {".x3f", kTypeFoveon},     {".xbm", kTypeXBM},          {".xpm", kTypeXPM},
    {".xwd", kTypeXWD},
});
static_assert(kExtensions.size() == 79);
static_assert(std::ranges::is_sorted(kExtensions, {}, &CExtension::name));

constexpr char LowerCase(char c) {
    return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

using CExtensionSet = std::set<std::string, std::less<>>;

CExtensionSet& SystemCodecExtensions() {
    static CExtensionSet extensions;  // without dots
    return extensions;
}

}  // namespace

std::string ExtensionKey(const KESTR_CHAR* path) {
    const std::basic_string_view<KESTR_CHAR> text(path);
    const size_t dot = text.rfind(KESTR_CHAR{'.'});
    std::string key = dot == text.npos ? "." : "";
    for (const KESTR_CHAR c : text.substr(dot == text.npos ? 0 : dot)) {
        key += LowerCase(static_cast<char>(c & 0xFF));
    }
    return key;
}

int32_t TypeIdOfExtension(std::string_view key) {
    const auto found = std::ranges::lower_bound(kExtensions, key, {}, &CExtension::name);
    return found != kExtensions.end() && found->name == key ? found->typeId : kTypeNone;
}

void AddSystemCodecExtension(std::string_view extension) {
    if (extension.starts_with('.')) extension.remove_prefix(1);
    if (extension.empty()) return;
    std::string lower(extension);
    std::ranges::transform(lower, lower.begin(), LowerCase);
    SystemCodecExtensions().insert(std::move(lower));
}

bool IsSystemCodecExtension(std::string_view key) {
    return key.starts_with('.') && SystemCodecExtensions().contains(key.substr(1));
}

}  // namespace kestr
