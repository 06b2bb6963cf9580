#pragma once

#include <cstdint>
#include <span>
#include <string>

namespace kestr {

/// Place holders until the colour engine is bound: no profile is taken for valid.
inline bool IsValidICCProfile(std::span<const uint8_t>) {
    return false;
}
inline std::string ICCProfileName(std::span<const uint8_t>) {
    return {};
}

}  // namespace kestr
