#include "raw/raw_preview.h"

#include <algorithm>
#include <cstring>
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

bool CRawPreview::OpenGray(CImageReader& owner, std::span<const uint8_t> pixels, uint32_t width,
                           uint32_t height, bool inverted) {
    if (pixels.empty()) return false;
    Drop();
    m_taken = true;
    m_pixels = pixels;
    CBitmapInfo& info = owner.m_bitmapInfo;
    info.SetFormat(8, static_cast<int32_t>(width), static_cast<int32_t>(height));
    info.SetGrayPalette();
    if (inverted) std::ranges::reverse(info.Palette());
    return true;
}

CRawBox CRawPreview::FullSize(const CImageReader& owner) const {
    if (m_jpeg && m_jpeg->m_originalWidth != 0) {
        return {.width = m_jpeg->m_originalWidth, .height = m_jpeg->m_originalHeight};
    }
    return {.width = static_cast<uint32_t>(owner.m_bitmapInfo.Width()),
            .height = static_cast<uint32_t>(owner.m_bitmapInfo.Height())};
}

bool CRawPreview::ReadLine(CImageReader& owner, uint8_t* destination) {
    if (m_jpeg) return m_jpeg->ReadLine(destination);
    owner.ReportProgress(m_nextRow, 1, 1);
    const auto width = static_cast<size_t>(owner.m_bitmapInfo.Width());
    const size_t rowBytes = width * static_cast<size_t>(owner.m_bitmapInfo.BitCount() / 8);
    const size_t at = m_nextRow * rowBytes;
    if (owner.CheckAbort() || m_pixels.size() < at + rowBytes) return false;
    if (rowBytes == width) {
        std::memcpy(destination, m_pixels.data() + at, rowBytes);
    } else {
        SwapRedBlue(m_pixels.data() + at, destination, width);
    }
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
