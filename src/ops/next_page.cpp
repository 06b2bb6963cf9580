// The player of animations: the next frame is laid over the picture, after the previous one was
// disposed of.

#include <algorithm>
#include <array>
#include <cstring>
#include <vector>

#include "image/image_bits.h"
#include "ops/pixel_format.h"
#include "readers/reader_registry.h"
#include "readers/type_ids.h"

namespace kestr {
namespace {

// What becomes of a frame before the next one comes.
enum CDisposal : uint32_t { kToBackground = 2, kToPrevious = 3 };

// A frame's rectangle cut to the picture.
struct CFrameArea {
    CFrameArea(const CFrameRect& rect, int32_t pictureWidth, int32_t pictureHeight)
        : left(rect.left), top(rect.top) {
        const auto pixels = static_cast<uint32_t>(pictureWidth);
        const auto rows = static_cast<uint32_t>(pictureHeight);
        width = left < pixels ? std::min(rect.width, pixels - left) : 0;
        height = top < rows ? std::min(rect.height, rows - top) : 0;
    }
    [[nodiscard]] bool IsEmpty() const { return width == 0 || height == 0; }
    uint32_t left;
    uint32_t top;
    uint32_t width;
    uint32_t height;
};

void PaintRow(const uint8_t* indexes, size_t width, const std::array<CRGBQuad, 256>& palette,
              int32_t transparentIndex, uint8_t* pixel) {
    for (size_t x = 0; x < width; ++x, pixel += 3) {
        if (indexes[x] == transparentIndex) continue;
        const CRGBQuad& colour = palette[indexes[x]];
        pixel[0] = colour.rgbBlue;
        pixel[1] = colour.rgbGreen;
        pixel[2] = colour.rgbRed;
    }
}

}  // namespace

bool CImageBits::LoadNextPage(std::span<int32_t, 4> updateRect, uint32_t background) {
    const bool isAnimated = (typeId == kTypeGIF || typeId == kTypeGIFInterlaced) && pageCount >= 2;
    if (!loaded || !isAnimated) return false;
    DropDisplayCaches();
    bits16.clear();
    ExpandTo24Bits();
    std::ranges::fill(updateRect, 0);
    ++currentPage;
    if (currentPage >= static_cast<uint32_t>(pageCount)) currentPage = 0;

    if (!pageReader) {
        pageReader = CreateReader(typeId, stopAtMarkerIPTC, exactStart, {});
        if (!pageReader) return true;
        pageReader->m_frameAlone = true;
    }
    CImageReader& reader = *pageReader;
    struct CCloser {  // the file must not stay open between two pages
        CImageReader& reader;
        ~CCloser() { reader.Close(); }
    } closer{reader};
    reader.ResetForLoad();
    if (!reader.StartLoad(fileName.c_str(), static_cast<int>(currentPage), nullptr)) return true;

    const bool filled = frameDisposal == kToBackground;
    DisposeOfFrame(background);
    frameRect = reader.m_frameRect;
    frameDisposal = reader.m_frameDisposal;
    frameDelay = reader.m_frameDelay;
    if (frameDisposal == kToPrevious) SaveUnderFrame();
    MergeFrame(reader);
    PixelsChanged();

    if (filled) {
        updateRect[2] = Width();
        updateRect[3] = Height();
    } else if (frameRect.left < static_cast<uint32_t>(Width())) {
        updateRect[0] = static_cast<int32_t>(frameRect.left);
        updateRect[1] = static_cast<int32_t>(frameRect.top);
        updateRect[2] = static_cast<int32_t>(frameRect.left + frameRect.width);
        updateRect[3] = static_cast<int32_t>(frameRect.top + frameRect.height);
    }
    return true;
}

void CImageBits::DisposeOfFrame(uint32_t background) {
    if (frameDisposal == kToBackground) {
        const CFrameArea area(frameRect, Width(), Height());
        for (uint32_t y = 0; y < area.height; ++y) {
            uint8_t* pixel = RowFromTop(static_cast<int32_t>(area.top + y)) + size_t{3} * area.left;
            for (uint32_t x = 0; x < area.width; ++x) {
                *pixel++ = static_cast<uint8_t>(background >> 16);
                *pixel++ = static_cast<uint8_t>(background >> 8);
                *pixel++ = static_cast<uint8_t>(background);
            }
        }
    } else if (frameDisposal == kToPrevious && !savedFrame.empty()) {
        // The picture may have got another size in the meantime.
        const CFrameArea area(savedFrameRect, Width(), Height());
        const size_t savedBytes = size_t{3} * savedFrameRect.width;
        for (uint32_t y = 0; y < area.height; ++y) {
            std::memcpy(RowFromTop(static_cast<int32_t>(area.top + y)) + size_t{3} * area.left,
                        savedFrame.data() + y * savedBytes, size_t{3} * area.width);
        }
    }
    savedFrame.clear();
}

void CImageBits::SaveUnderFrame() {
    const CFrameArea area(frameRect, Width(), Height());
    if (area.IsEmpty()) return;
    savedFrameRect = {area.left, area.top, area.width, area.height};
    const size_t rowBytes = size_t{3} * area.width;
    savedFrame.resize(rowBytes * area.height);
    for (uint32_t y = 0; y < area.height; ++y) {
        std::memcpy(savedFrame.data() + y * rowBytes,
                    RowFromTop(static_cast<int32_t>(area.top + y)) + size_t{3} * area.left,
                    rowBytes);
    }
}

void CImageBits::MergeFrame(CImageReader& reader) {
    const CFrameArea area(frameRect, Width(), Height());
    if (area.IsEmpty()) return;
    const CBitmapInfo& info = reader.m_bitmapInfo;
    std::vector<uint8_t> row(static_cast<size_t>(info.RowBytes()));
    std::vector<uint8_t> indexes(area.width);
    for (uint32_t y = 0; y < area.height && reader.ReadLine(row.data()); ++y) {
        UnpackIndices(row.data(), info.BitCount(), static_cast<int32_t>(area.width),
                      indexes.data());
        PaintRow(indexes.data(), area.width, info.Palette(), reader.m_transparentIndex,
                 RowFromTop(static_cast<int32_t>(area.top + y)) + size_t{3} * area.left);
    }
}

}  // namespace kestr
