#pragma once

#include <cstdint>
#include <string>

#include <kestr/types.h>

namespace kestr {

struct CRotateRequest {
    const KESTR_CHAR* source = nullptr;
    const KESTR_CHAR* destination = nullptr;  // may be the source
    uint32_t op = 0;                          // a CTurn, 0 to 3
    bool trim = false;              // cut off edge blocks that a lossless turn cannot move
    bool applyOrientation = false;  // turn upright by EXIF as well
    bool resetOrientation = false;  // write orientation 1 into EXIF
};

/// Turns an image file on disc: without loss where its format can, else by decoding and writing it
/// anew. False, with words or for a type that is not turned without any, when it could not; the
/// destination is then as it was, and no temporary file stays.
[[nodiscard]] bool RotateImageFile(const CRotateRequest& request, std::string& errorText);

}  // namespace kestr
