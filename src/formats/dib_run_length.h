#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

namespace kestr {

/// Expands run-length bitmap data into zeroed rows of `rowBytes`, bottom row first. Stops at the
/// end of the data or of the rows, whichever comes first; what was not written stays zero.
void ExpandRLE8(std::span<const uint8_t> packed, std::span<uint8_t> rows, size_t rowBytes);
/// The same for two pixels a byte, the left one in the high nibble.
void ExpandRLE4(std::span<const uint8_t> packed, std::span<uint8_t> rows, size_t rowBytes);

/// Appends one packed row of `width` pixels, its end mark included.
void PackRLE8Row(const uint8_t* row, size_t width, std::vector<uint8_t>& packed);
void PackRLE4Row(const uint8_t* row, size_t width, std::vector<uint8_t>& packed);

}  // namespace kestr
