#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

namespace kestr {

/// Sorts pixels of three bytes into a plane for each channel.
/// @param planes  `count` bytes each.
void SplitTriples(const uint8_t* pixels, size_t count, const std::array<uint8_t*, 3>& planes);

/// The way back.
void JoinTriples(uint8_t* pixels, size_t count, const std::array<const uint8_t*, 3>& planes);

}  // namespace kestr
