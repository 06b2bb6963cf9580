#include "readers/image_reader.h"

#include <algorithm>

#include "base/callback.h"
#include "base/picture_size.h"
#include "base/text_lines.h"
#include "color/icc_profile.h"

namespace kestr {

constexpr char kUnexpectedError[] = "An unexpected error occurred.";
constexpr char kAborted[] = "Load aborted.";

CImageReader::~CImageReader() = default;

bool CImageReader::Probe(const KESTR_CHAR* path, int page) {
    try {
        const bool opened = Open(path, page);
        Close();
        return opened;
    } catch (...) {
        return Fail(kUnexpectedError);
    }
}

bool CImageReader::StartLoad(const KESTR_CHAR* path, int page, CCallbackCls* session) {
    m_session = session;
    m_loading = true;
    // The flag goes down on every way out, an exception included.
    struct CGuard {
        bool& flag;
        ~CGuard() { flag = false; }
    } guard{m_loading};
    return Load(path, page);
}

void CImageReader::ResetForLoad() {
    m_description = "Format: ";
    m_comment.clear();
    m_cameraText.clear();
    m_exif.reset();
    m_soundClip.clear();
    m_xmpData.clear();
    m_iccProfile.clear();
    m_alpha.clear();
}

void CImageReader::RequestThumbnail(uint32_t width, uint32_t height, int fit) {
    m_thumbnailRequested = true;
    m_thumbnailWidth = width;
    m_thumbnailHeight = height;
    m_thumbnailFit = fit;
}

std::unique_ptr<WicMetadata::CElement> CImageReader::MakeMetadataRoot() const {
    if (m_metadataBlocks.empty()) return nullptr;
    auto root = std::make_unique<WicMetadata::CElement>();
    root->children = m_metadataBlocks;
    return root;
}

void CImageReader::SetICCProfile(std::span<const uint8_t> profile) {
    if (OpensAsICCProfile(profile)) m_iccProfile.assign(profile.begin(), profile.end());
}

void CImageReader::SetComment(std::string_view text) {
    m_comment = WithCrLf(text);
    const size_t last = m_comment.find_last_not_of(" \t\r\n\v\f");
    m_comment.resize(last == std::string::npos ? 0 : last + 1);
}

bool CImageReader::Fail(std::string_view words) {
    m_errorText = words;
    return false;
}

void CImageReader::ReportProgress(uint32_t row, int passIndex, int passCount) {
    const int32_t height = m_bitmapInfo.Height();
    if (m_session == nullptr || height <= 0 || row > static_cast<uint32_t>(height)) return;
    const auto percent = static_cast<uint32_t>(uint64_t{row} * 100 / static_cast<uint32_t>(height));
    if (percent == m_lastPercent) return;
    m_lastPercent = percent;
    m_session->ReportPassProgress(static_cast<int>(percent), passIndex, passCount);
}

bool CImageReader::CheckAbort() {
    if (m_session == nullptr || !m_session->IsAbortRequested()) return false;
    m_errorText = kAborted;
    return true;
}

void CImageReader::StartMask() {
    const auto size = ImageBytes(static_cast<uint32_t>(m_bitmapInfo.Width()),
                                 static_cast<uint32_t>(m_bitmapInfo.Height()), 1);
    if (!size) throw std::bad_alloc();
    m_alpha.ResizeUninitialized(*size);
}

void CImageReader::StartPlane16(uint32_t samplesPerPixel) {
    const auto size = ImageBytes(static_cast<uint32_t>(m_bitmapInfo.Width()),
                                 static_cast<uint32_t>(m_bitmapInfo.Height()), 2 * samplesPerPixel);
    if (!size) throw std::bad_alloc();
    m_bits16.ResizeUninitialized(*size / 2);
}

void CImageReader::ZeroPlanesFrom(uint32_t row) {
    const auto height = static_cast<uint32_t>(m_bitmapInfo.Height());
    if (row >= height) return;
    std::fill(m_alpha.begin() + m_alpha.size() / height * row, m_alpha.end(), uint8_t{0});
    std::fill(m_bits16.begin() + m_bits16.size() / height * row, m_bits16.end(), uint16_t{0});
}

}  // namespace kestr
