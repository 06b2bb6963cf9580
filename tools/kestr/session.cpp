#include "session.h"

#include <algorithm>
#include <new>

#include "options.h"
#include "progress.h"
#include "system.h"
#include "text.h"

namespace tool {
namespace {

// The form of each call that takes the system's own kind of path; the other one stays unused.
[[maybe_unused]] int32_t Load(HKESTRSESSION session, const char* path, int16_t page,
                              CProgressBar& bar) {
    return cLoadImageEx(session, path, page, 0, &CProgressBar::Show, bar.User());
}
[[maybe_unused]] int32_t Load(HKESTRSESSION session, const KESTR_CHAR* path, int16_t page,
                              CProgressBar& bar) {
    return cLoadImageExW(session, path, page, 0, &CProgressBar::Show, bar.User());
}
[[maybe_unused]] int32_t Save(HKESTRSESSION session, const char* path, int typeId, int option,
                              CProgressBar& bar) {
    return cSave(session, path, typeId, option, &CProgressBar::Show, bar.User());
}
[[maybe_unused]] int32_t Save(HKESTRSESSION session, const KESTR_CHAR* path, int typeId, int option,
                              CProgressBar& bar) {
    return cSaveW(session, path, typeId, option, &CProgressBar::Show, bar.User());
}
[[maybe_unused]] int32_t Thumbnail(HKESTRSESSION session, const char* path, const CBox& box) {
    return cLoadThumbnailEx(session, path, static_cast<int16_t>(box.width),
                            static_cast<int16_t>(box.height), 0);
}
[[maybe_unused]] int32_t Thumbnail(HKESTRSESSION session, const KESTR_CHAR* path, const CBox& box) {
    return cLoadThumbnailExW(session, path, static_cast<int16_t>(box.width),
                             static_cast<int16_t>(box.height), 0);
}
template <typename... Outputs>
int32_t Query(const char* path, Outputs... outputs) {
    return cGetImageFileInfoEx(path, outputs...);
}
template <typename... Outputs>
int32_t Query(const KESTR_CHAR* path, Outputs... outputs) {
    return cGetImageFileInfoExW(path, outputs...);
}
[[maybe_unused]] int32_t Xmp(const char* path, SAFEARRAY** bytes) {
    return cGetImageFileXmp(path, bytes, nullptr);
}
[[maybe_unused]] int32_t Xmp(const KESTR_CHAR* path, SAFEARRAY** bytes) {
    return cGetImageFileXmpW(path, bytes, nullptr);
}
[[maybe_unused]] int32_t Profile(const char* path, BSTR* name, SAFEARRAY** bytes) {
    return cGetImageICCProfile_Info(path, name, bytes, nullptr);
}
[[maybe_unused]] int32_t Profile(const KESTR_CHAR* path, BSTR* name, SAFEARRAY** bytes) {
    return cGetImageICCProfile_InfoW(path, name, bytes, nullptr);
}
[[maybe_unused]] uint16_t Rotate(const char* from, const char* to, const CTurnOptions& o,
                                 BSTR* error) {
    return cRotateImageFileEx(from, to, o.op, o.trim, o.applyOrientation, o.resetOrientation,
                              error);
}
[[maybe_unused]] uint16_t Rotate(const KESTR_CHAR* from, const KESTR_CHAR* to,
                                 const CTurnOptions& o, BSTR* error) {
    return cRotateImageFileExW(from, to, o.op, o.trim, o.applyOrientation, o.resetOrientation,
                               error);
}
[[maybe_unused]] int32_t MergeComment(const char* text, const char* from, const char* to) {
    return cMergeComment(text, from, to);
}
[[maybe_unused]] int32_t MergeComment(const KESTR_CHAR* text, const KESTR_CHAR* from,
                                      const KESTR_CHAR* to) {
    return cMergeCommentW(text, from, to);
}

// The library's words for a failed query are 'Failed to load "name": words', and many of its words
// are a single full stop.
std::string WhyUnreadable(const std::filesystem::path& path, const std::string& told) {
    std::error_code error;
    const auto status = std::filesystem::status(path, error);
    if (!std::filesystem::exists(status)) return "there is no such file";
    if (std::filesystem::is_directory(status)) return "this is a folder";
    if (std::filesystem::file_size(path, error) == 0 && !error) return "the file is empty";
    const size_t words = told.rfind("\": ");
    std::string reason = words == std::string::npos ? told : told.substr(words + 3);
    if (reason.empty() || reason == ".") return "this is no picture that Kestr can read";
    return reason;
}

struct CExifDeleter {
    void operator()(CEXIF_Members* record) const { cDestroyEXIF(record); }
};
struct CIptcDeleter {
    void operator()(CIPTC_Members* record) const { cDestroyIPTC(record); }
};

CLabelledTexts Split(std::string_view text, std::string_view separator, std::string_view end) {
    CLabelledTexts texts;
    while (!text.empty()) {
        const std::string_view line = text.substr(0, text.find(end));
        const size_t label = line.find(separator);
        if (label != std::string_view::npos) {
            texts.emplace_back(line.substr(0, label), line.substr(label + separator.size()));
        } else if (!line.empty()) {
            texts.emplace_back("", line);
        }
        text.remove_prefix(std::min(text.size(), line.size() + end.size()));
    }
    return texts;
}

// The text form of a record, parted at characters that no value holds.
template <typename Record>
CLabelledTexts Values(int32_t(KESTR_CALL* asText)(Record*, const KESTR_CHAR*, const KESTR_CHAR*,
                                                  BSTR*),
                      Record* record) {
    constexpr KESTR_CHAR kSeparator[] = {0x1F, 0}, kEnd[] = {0x1E, 0};
    CText text;
    asText(record, kSeparator, kEnd, text.Out());
    return Split(text.Utf8(), "\x1F", "\x1E");
}

}  // namespace

CText::~CText() {
    FreeText(m_text);
}

std::string CText::Utf8() const {
    return m_text ? tool::Utf8({m_text, TextLength(m_text)}) : std::string();
}

std::string CFileInfo::FormatName() const {
    constexpr std::string_view kLabel = "Format: ";
    const std::string line = description.substr(0, description.find("\r\n"));
    return line.starts_with(kLabel) ? line.substr(kLabel.size()) : line;
}

CSession::CSession() : m_session(cNewSession()) {
    if (!m_session) throw std::bad_alloc();
}

bool CSession::Load(const std::filesystem::path& path, int page, CProgressBar& progress) {
    return tool::Load(Handle(), path.c_str(), static_cast<int16_t>(page), progress) != 0;
}

bool CSession::LoadThumbnail(const std::filesystem::path& path, int width, int height) {
    cSetAutoRotate(Handle(), 1);
    return Thumbnail(Handle(), path.c_str(), {width, height}) != 0;
}

bool CSession::Save(const std::filesystem::path& path, int typeId, int option,
                    CProgressBar& progress) {
    return tool::Save(Handle(), path.c_str(), typeId, option, progress) != 0;
}

CImageInfo CSession::Info() const {
    CImageInfo info;
    cGetImageInfo(Handle(), &info.width, &info.height, &info.bits, nullptr, nullptr, &info.typeId,
                  &info.pages, &info.isGray, nullptr);
    return info;
}

bool CSession::IsDamaged() const {
    if (cGetScanLinesSuccessfullyRead(Handle()) < Info().height) return true;
    CText description;
    cGetImageDescription(Handle(), description.Out());
    const std::string text = description.Utf8();
    return text.find("Damaged file - incomplete read") != std::string::npos ||
           text.find("Image file damage detected.") != std::string::npos;
}

std::optional<CBox> ParseBox(std::string_view text) {
    const size_t cross = text.find('x');
    if (cross == std::string_view::npos) return std::nullopt;
    const auto width = ParseNumber(text.substr(0, cross), 1, 32767);
    const auto height = ParseNumber(text.substr(cross + 1), 1, 32767);
    if (!width || !height) return std::nullopt;
    return CBox{*width, *height};
}

std::optional<CFileInfo> QueryFile(const std::filesystem::path& path, uint32_t page,
                                   std::string& error) {
    CFileInfo info;
    CText description, comment, cameraInfo, cameraDate, failure;
    CEXIF_Members* exifOut = nullptr;
    CIPTC_Members* iptcOut = nullptr;
    const int32_t found =
        Query(path.c_str(), page, 0, &info.typeId, &info.width, &info.height, &info.bits,
              &info.pages, description.Out(), comment.Out(), cameraInfo.Out(), cameraDate.Out(),
              &exifOut, &iptcOut, &info.mcuWidth, &info.mcuHeight, failure.Out());
    const std::unique_ptr<CEXIF_Members, CExifDeleter> exif(exifOut);
    const std::unique_ptr<CIPTC_Members, CIptcDeleter> iptc(iptcOut);
    if (!found) {
        error = WhyUnreadable(path, failure.Utf8());
        return std::nullopt;
    }
    info.description = description.Utf8();
    info.comment = comment.Utf8();
    info.cameraInfo = cameraInfo.Utf8();
    info.cameraDate = cameraDate.Utf8();
    // The header of an old camera's file has no record, only text.
    info.camera =
        exif ? Values(&cEXIF_GetAsString, exif.get()) : Split(info.cameraInfo, ":\t", "\r\n");
    if (iptc) info.iptc = Values(&cIPTC_GetAsString, iptc.get());
    uint16_t orientation = 0;
    if (exif && cEXIF_GetOrientation(exif.get(), &orientation) != 0) {
        info.orientation = orientation;
    }
    return info;
}

std::vector<uint8_t> QueryXmp(const std::filesystem::path& path) {
    SAFEARRAY* bytes = nullptr;
    Xmp(path.c_str(), &bytes);
    return TakeBytes(bytes);
}

CProfile QueryProfile(const std::filesystem::path& path) {
    CText name;
    SAFEARRAY* bytes = nullptr;
    Profile(path.c_str(), name.Out(), &bytes);
    return {name.Utf8(), TakeBytes(bytes)};
}

bool RotateFile(const std::filesystem::path& from, const std::filesystem::path& to,
                const CTurnOptions& options, std::string& error) {
    CText failure;
    if (Rotate(from.c_str(), to.c_str(), options, failure.Out()) != 0) return true;
    error = failure.Utf8();
    if (error.empty()) error = "files of this type are not turned";
    return false;
}

bool WriteComment(const std::filesystem::path& path, const std::filesystem::path& text) {
    return MergeComment(text.c_str(), path.c_str(), path.c_str()) != 0;
}

}  // namespace tool
