#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

namespace kestr {

/// Replaces each byte by the entry of the table that it numbers.
/// @param table  256 entries.
void LookUpBytes(uint8_t* bytes, size_t count, const uint8_t* table);

/// The same of pixels of three bytes, each of which has a table of its own.
void LookUpTriples(uint8_t* pixels, size_t count, const std::array<const uint8_t*, 3>& tables);

}  // namespace kestr
