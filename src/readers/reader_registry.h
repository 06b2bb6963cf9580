#pragma once

#include <cstdint>
#include <initializer_list>
#include <memory>
#include <vector>

namespace kestr {

class CImageReader;

/// What a reader is made for.
struct CThumbnailRequest {
    bool wanted = false;
    uint32_t width = 0;   // pixels
    uint32_t height = 0;  // rows
};

using CReaderCreator = std::unique_ptr<CImageReader> (*)(const CThumbnailRequest&);

/// Adds a creator under each of the ids. Formats hold one static object of this type, so that the
/// registry is complete before any export runs; it is only read from then on.
class CReaderRegistration {
public:
    CReaderRegistration(std::initializer_list<int32_t> typeIds, CReaderCreator creator);
};

/// A new reader for a type id, or null when no class answers to it. `exactStart` reaches the reader
/// only together with `stopAtMarkerIPTC`.
[[nodiscard]] std::unique_ptr<CImageReader> CreateReader(int32_t typeId, bool stopAtMarkerIPTC,
                                                         bool exactStart,
                                                         const CThumbnailRequest& thumbnail);

/// Every id that has a reader, in rising order.
[[nodiscard]] std::vector<int32_t> RegisteredReaders();

template <typename Reader>
std::unique_ptr<CImageReader> MakeReader(const CThumbnailRequest& thumbnail) {
    auto reader = std::make_unique<Reader>();
    if (thumbnail.wanted) reader->RequestThumbnail(thumbnail.width, thumbnail.height, 0);
    return reader;
}

}  // namespace kestr
