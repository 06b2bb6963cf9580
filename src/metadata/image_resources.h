// Image resource blocks, as the APP13 of a JPEG and a PSD file hold them: "8BIM", a 16-bit id, a
// Pascal name padded to an even size, a 32-bit size, data padded to an even size; big-endian.
// Layout: Adobe Photoshop File Formats Specification, "Image Resource Blocks".
#pragma once

#include <cstdint>
#include <span>

namespace kestr {

namespace image_resource {
inline constexpr uint16_t kIPTC = 1028;
inline constexpr uint16_t kOldThumbnail = 1033;  // red and blue exchanged
inline constexpr uint16_t kThumbnail = 1036;
inline constexpr uint16_t kICCProfile = 1039;
inline constexpr uint16_t kExif = 1058;
}  // namespace image_resource

/// The data of the first resource with this id, its pad byte included; empty when there is none.
std::span<const uint8_t> FindImageResource(std::span<const uint8_t> resources, uint16_t id);

/// How many bytes the resources at the start of `bytes` take that begin within its first `stated`
/// bytes: more than `stated` when some pad bytes were not counted. `stated` itself when something
/// else stands among them.
[[nodiscard]] size_t ImageResourcesLength(std::span<const uint8_t> bytes, size_t stated);

}  // namespace kestr
