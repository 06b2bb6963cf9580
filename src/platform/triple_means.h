#pragma once

#include <cstddef>
#include <cstdint>

namespace kestr {

/// The sum over pixels of three bytes of the mean of each, truncated; modulo 2^32.
uint32_t SumOfTripleMeans(const uint8_t* pixels, size_t count);

}  // namespace kestr
