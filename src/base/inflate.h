#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <vector>

namespace kestr {

/// Unpacks a zlib stream (RFC 1950); nothing when it is damaged or holds more than `limit` bytes.
[[nodiscard]] std::optional<std::vector<uint8_t>> Inflate(std::span<const uint8_t> packed,
                                                          size_t limit);

}  // namespace kestr
