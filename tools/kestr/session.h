// The library's handles, texts and arrays with owners, and its calls for the system's own paths.
#pragma once

#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>
#include <vector>

#include <kestr/kestr.h>

namespace tool {

class CProgressBar;

struct CSessionDeleter {
    void operator()(HKESTRSESSION session) const { cDestroySession(session); }
};
using CSessionHandle = std::unique_ptr<std::remove_pointer_t<HKESTRSESSION>, CSessionDeleter>;

/// A text that the library gave out.
class CText {
public:
    CText() = default;
    CText(const CText&) = delete;
    CText& operator=(const CText&) = delete;
    ~CText();

    /// For the call that fills it.
    BSTR* Out() { return &m_text; }
    [[nodiscard]] bool IsNull() const { return m_text == nullptr; }
    /// The text as UTF-8; empty for null.
    [[nodiscard]] std::string Utf8() const;

private:
    BSTR m_text = nullptr;
};

/// What a record says: what each value is called, and the value.
using CLabelledTexts = std::vector<std::pair<std::string, std::string>>;

/// What a file is, by its header.
struct CFileInfo {
    int32_t typeId = 0;
    uint32_t width = 0;
    uint32_t height = 0;
    uint8_t bits = 0;
    uint32_t pages = 0;
    uint16_t mcuWidth = 1;  // pixels that a turn without loss moves as a whole
    uint16_t mcuHeight = 1;
    std::string description;  // lines, the first begins "Format: "
    std::string comment;
    std::string cameraInfo;
    std::string cameraDate;
    CLabelledTexts camera;  // the same as cameraInfo, value by value
    CLabelledTexts iptc;
    std::optional<uint16_t> orientation;  // none without EXIF data

    [[nodiscard]] bool IsJPEG() const { return typeId == 4 || typeId == 5; }
    /// What the file truly is, whatever its name says.
    [[nodiscard]] std::string FormatName() const;
};

/// What the loaded picture is.
struct CImageInfo {
    uint32_t width = 0;
    uint32_t height = 0;
    uint8_t bits = 0;
    int32_t typeId = 0;
    int32_t pages = 0;
    int32_t isGray = 0;
};

class CSession {
public:
    CSession();

    [[nodiscard]] HKESTRSESSION Handle() const { return m_session.get(); }
    bool Load(const std::filesystem::path& path, int page, CProgressBar& progress);
    /// Loads a picture reduced to fit a box, turned upright.
    bool LoadThumbnail(const std::filesystem::path& path, int width, int height);
    bool Save(const std::filesystem::path& path, int typeId, int option, CProgressBar& progress);
    [[nodiscard]] CImageInfo Info() const;
    /// Whether rows of the loaded picture are missing or its file was damaged.
    [[nodiscard]] bool IsDamaged() const;

private:
    CSessionHandle m_session;
};

/// A box of pixels as the command line gives it, "160x120", at most 32767 a side.
struct CBox {
    int width = 0;
    int height = 0;
};
[[nodiscard]] std::optional<CBox> ParseBox(std::string_view text);

/// Asks a file; none, with `error` in plain words, when it is no picture.
std::optional<CFileInfo> QueryFile(const std::filesystem::path& path, uint32_t page,
                                   std::string& error);

/// The XMP packet of a file that can be asked, empty when it has none.
std::vector<uint8_t> QueryXmp(const std::filesystem::path& path);

struct CProfile {
    std::string name;
    std::vector<uint8_t> bytes;
};
/// The colour profile of a file that can be asked, empty when it has none.
CProfile QueryProfile(const std::filesystem::path& path);

/// How `kestr rotate` turns a file.
struct CTurnOptions {
    uint32_t op = 0;  // as cRotateImageFileEx numbers them
    bool trim = false;
    bool applyOrientation = false;
    bool resetOrientation = false;
};
/// False, with `error` in plain words, when the file could not be turned.
bool RotateFile(const std::filesystem::path& from, const std::filesystem::path& to,
                const CTurnOptions& options, std::string& error);

/// Puts a comment into a JPEG file in the place of those that it has.
bool WriteComment(const std::filesystem::path& path, const std::filesystem::path& text);

}  // namespace tool
