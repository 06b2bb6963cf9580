#pragma once

#include <cstdint>

namespace kestr {

/// Gives back the memory of the pages of a mapped file that lie wholly between the two addresses.
/// Should they be read again, the system brings them back from the file. Never for other memory,
/// whose contents would be lost.
void ReleaseFilePages(const uint8_t* start, const uint8_t* end);

}  // namespace kestr
