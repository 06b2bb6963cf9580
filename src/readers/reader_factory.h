#pragma once

#include <memory>
#include <string>

#include <kestr/types.h>

#include "readers/image_reader.h"

namespace kestr {

/// What the search for a reader is told.
struct CReaderSearch {
    const KESTR_CHAR* path = nullptr;
    bool verify = true;       // probe candidates; else trust the extension
    bool headerOnly = false;  // for a file query
    int page = 0;
    bool stopAtMarkerIPTC = true;
    bool exactStart = false;
    bool useCanonLibrary = true;
    bool thumbnail = false;
    uint32_t thumbnailWidth = 0;
    uint32_t thumbnailHeight = 0;
    int thumbnailFit = 0;
    bool minPreviewSize = false;
};

/// Finds the reader of a file: by its extension first, then by trying a fixed list. Null when none
/// accepts it; `errorText` then holds the words of the one that the extension named, if any.
[[nodiscard]] std::unique_ptr<CImageReader> FindReader(const CReaderSearch& search,
                                                       std::string& errorText);

/// What the first directory of a TIFF-like file says of its camera.
struct CCameraHint {
    bool kodak = false;
    bool canon = false;
};
[[nodiscard]] CCameraHint ReadCameraHint(std::span<const uint8_t> file);

}  // namespace kestr
