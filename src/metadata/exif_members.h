#pragma once

#include <cstdint>
#include <optional>

namespace kestr {

/// Parsed EXIF data.
class CEXIF_Members {
public:
    virtual ~CEXIF_Members() = default;

    std::optional<uint16_t> Orientation;  // tag 274, as the EXIF standard numbers it
};

}  // namespace kestr
