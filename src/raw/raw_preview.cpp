#include "raw/raw_preview.h"

#include <utility>

#include "base/channel_order.h"
#include "readers/reader_registry.h"
#include "readers/type_ids.h"

namespace kestr {

bool CRawPreview::OpenJPEG(CImageReader& owner, std::span<const uint8_t> stream) {
    if (stream.empty()) return false;
    auto reader = CreateReader(kTypeJPEG, false, false, {});
    if (!reader || !reader->SetMemorySource(stream)) return false;
    reader->m_jpegHighQuality = owner.m_jpegHighQuality;
    if (owner.m_thumbnailRequested) {
        reader->RequestThumbnail(owner.m_thumbnailWidth, owner.m_thumbnailHeight,
                                 owner.m_thumbnailFit);
    }
    reader->m_headerOnly = !owner.m_loading;
    if (!reader->StartLoad(nullptr, 0, owner.m_session)) return false;
    Drop();
    m_taken = true;
    owner.m_bitmapInfo = reader->m_bitmapInfo;
    m_jpeg = std::move(reader);
    return true;
}

bool CRawPreview::OpenRGB(CImageReader& owner, std::span<const uint8_t> pixels, uint32_t width,
                          uint32_t height) {
    if (pixels.empty()) return false;
    Drop();
    m_taken = true;
    m_pixels = pixels;
    owner.m_bitmapInfo.SetFormat(24, static_cast<int32_t>(width), static_cast<int32_t>(height));
    return true;
}

bool CRawPreview::ReadLine(CImageReader& owner, uint8_t* destination) {
    if (m_jpeg) return m_jpeg->ReadLine(destination);
    owner.ReportProgress(m_nextRow, 1, 1);
    const auto width = static_cast<size_t>(owner.m_bitmapInfo.Width());
    const size_t at = m_nextRow * width * 3;
    if (owner.CheckAbort() || m_pixels.size() < at + width * 3) return false;
    SwapRedBlue(m_pixels.data() + at, destination, width);
    ++m_nextRow;
    return true;
}

void CRawPreview::Close() {
    if (m_jpeg) m_jpeg->Close();
    m_pixels = {};
}

void CRawPreview::Drop() {
    Close();
    *this = {};
}

}  // namespace kestr
