#include "session.h"

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

}  // namespace

CText::~CText() {
    FreeText(m_text);
}

std::string CText::Utf8() const {
    return m_text ? tool::Utf8({m_text, TextLength(m_text)}) : std::string();
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
    const int32_t found =
        Query(path.c_str(), page, 0, &info.typeId, &info.width, &info.height, &info.bits,
              &info.pages, description.Out(), comment.Out(), cameraInfo.Out(), cameraDate.Out(),
              nullptr, nullptr, &info.mcuWidth, &info.mcuHeight, failure.Out());
    if (!found) {
        error = WhyUnreadable(path, failure.Utf8());
        return std::nullopt;
    }
    info.description = description.Utf8();
    info.comment = comment.Utf8();
    info.cameraInfo = cameraInfo.Utf8();
    info.cameraDate = cameraDate.Utf8();
    return info;
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
