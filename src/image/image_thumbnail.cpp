// A thumbnail load: the reader may deliver a smaller picture than the file holds, and the last
// reduction to the wanted size is done here.

#include <algorithm>

#include "base/callback.h"
#include "base/messages.h"
#include "image/image_bits.h"
#include "readers/reader_factory.h"
#include "readers/type_ids.h"

namespace kestr {
namespace {

constexpr char kFileLoadException[] = "Exception during file loading.";

struct CSize {
    uint32_t width = 0;
    uint32_t height = 0;
};

CSize Exchanged(CSize size, bool swapped) {
    return swapped ? CSize{size.height, size.width} : size;
}

bool TurnsSideways(int angle, uint16_t orientation) {
    return angle == -90 || angle == 90 || angle == 270 || (orientation >= 5 && orientation <= 8);
}

CSize TargetSize(const CThumbnailLoad& request, CSize picture) {
    if (picture.width == 0 || picture.height == 0) return picture;
    const double scale = std::min(static_cast<double>(request.width) / picture.width,
                                  static_cast<double>(request.height) / picture.height);
    if (scale <= 0.001 || scale >= 1.0) return picture;
    return {static_cast<uint32_t>(scale * picture.width + 0.5),
            static_cast<uint32_t>(scale * picture.height + 0.5)};
}

}  // namespace

bool CImageBits::LoadThumbnail(const CThumbnailLoad& request) {
    if (!FindFile(request.path, request.backgroundColor)) return false;
    const auto reader = FindReader({.path = request.path,
                                    .verify = request.verify,
                                    .stopAtMarkerIPTC = stopAtMarkerIPTC,
                                    .exactStart = exactStart,
                                    .useCanonLibrary = callback::UseCanonLibrary(request.session),
                                    .thumbnail = true,
                                    .thumbnailWidth = request.width,
                                    .thumbnailHeight = request.height,
                                    .thumbnailFit = request.fit,
                                    .minPreviewSize = request.minPreviewSize},
                                   errorText);
    if (!reader) {
        errorText = Message(message::kNoReader);
        return false;
    }
    reader->ResetForLoad();
    uint16_t orientation = 1;
    int angle = 0;
    if (request.autoRotate) {
        reader->m_headerOnly = true;
        reader->RequestThumbnail(request.width, request.height, request.fit);
        if (reader->Probe(request.path, 0)) {
            if (reader->m_exif) orientation = reader->m_exif->Orientation.value_or(1);
            angle = reader->m_rotation;
        }
        reader->m_headerOnly = false;
        reader->ResetForLoad();
    }
    HandSettings(*reader);
    const bool swapped = request.autoRotate && TurnsSideways(angle, orientation);
    const CSize wanted = Exchanged({request.width, request.height}, swapped);
    reader->RequestThumbnail(wanted.width, wanted.height, request.fit);
    reader->m_minPreviewSize = request.minPreviewSize;

    bool opened = false;
    bool damaged = false;
    CSize target;
    CSize original;
    try {
        opened = reader->StartLoad(request.path, 0, request.session);
        const CBitmapInfo& info = reader->m_bitmapInfo;
        const CSize picture{static_cast<uint32_t>(std::max(info.Width(), 0)),
                            static_cast<uint32_t>(std::max(info.Height(), 0))};
        target = TargetSize(request, Exchanged(picture, swapped));
        original =
            Exchanged({reader->m_originalWidth != 0 ? reader->m_originalWidth : picture.width,
                       reader->m_originalHeight != 0 ? reader->m_originalHeight : picture.height},
                      swapped);
        if (!opened || !ReadRows(*reader)) {
            errorText = reader->m_errorText;
            CloseReader(*reader);
            bits.clear();
            return false;
        }
    } catch (...) {
        damaged = scanLinesRead >= 1;
        if (!damaged) errorText = kFileLoadException;
    }
    CloseReader(*reader);
    const int32_t rows = reader->m_bitmapInfo.Height();
    scanLinesRead = rows > 0 ? static_cast<uint32_t>(uint64_t{original.height} * scanLinesRead /
                                                     static_cast<uint32_t>(rows))
                             : 0;
    const std::string words = errorText;
    TakeFromReader(*reader, 0);
    originalWidth = original.width;
    originalHeight = original.height;
    if (!opened) {
        errorText = words;
        bits.clear();
        bits16.clear();
        return false;
    }
    TakePicture(*reader);
    if (damaged) description += Message(message::kDamagedFile);

    if (request.autoRotate) TurnUpright(reader->m_rotation);
    if (target.width > 0 && target.height > 0) {
        OpResizeExL(static_cast<int32_t>(target.width), target.height,
                    static_cast<uint8_t>(request.filter), false, 0);
    }
    NormalizeGray();
    const bool levels = rawAutoLevels || typeId == kTypePhotoshop;
    if (levels && reader->m_levelsWhite != 0) ApplyReaderLevels(*reader);
    return true;
}

}  // namespace kestr
