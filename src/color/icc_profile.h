// ICC profiles as they travel with images: plain bytes.
#pragma once

#include <cstdint>
#include <span>
#include <string>

namespace kestr {

/// Whether the tag table and every tag that it names lie inside the bytes. What the tags hold is
/// not looked at. Guards the colour engine: no other bytes are shown to it.
[[nodiscard]] bool IsValidICCProfile(std::span<const uint8_t> profile);

/// Whether the bytes are valid and the colour engine opens them.
[[nodiscard]] bool OpensAsICCProfile(std::span<const uint8_t> profile);

/// The product that the profile is for: its model and maker, "model - maker", or its description
/// when it names neither. The model stands alone when it is longer than 30 characters or begins
/// with the maker's first 8. Empty when the profile cannot be opened or says nothing.
[[nodiscard]] std::string ICCProfileName(std::span<const uint8_t> profile);

/// The built-in profile "Adobe RGB (1998)", 560 bytes.
[[nodiscard]] std::span<const uint8_t> AdobeRGBProfile();

}  // namespace kestr
