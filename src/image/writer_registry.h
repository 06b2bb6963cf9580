#pragma once

#include <cstdint>
#include <initializer_list>

#include <kestr/types.h>

namespace kestr {

class CImageBits;

/// What the dispatch of a save hands to a writer.
struct CSaveRequest {
    const KESTR_CHAR* path = nullptr;
    int32_t typeId = 0;
    int32_t option = 0;
    bool writeMetadata = true;  // EXIF, IPTC and XMP may go into the file
    bool writeProfile = true;   // the colour profile may
    bool flag = false;          // for the TIFF family
};

/// Writes the file; false, with the image's errorText set, when it could not.
using CImageWriter = bool (*)(CImageBits& image, const CSaveRequest& request);

/// Adds a writer under each of the ids, as CReaderRegistration does for readers.
class CWriterRegistration {
public:
    CWriterRegistration(std::initializer_list<int32_t> typeIds, CImageWriter writer);
};

/// The writer of a type id, or null when there is none.
[[nodiscard]] CImageWriter FindWriter(int32_t typeId);

}  // namespace kestr
