// Sensor rows whose values are stored as differences, as Nikon and Pentax do.
#pragma once

#include <array>
#include <cstdint>
#include <span>
#include <vector>

#include "raw/bit_reader.h"
#include "raw/difference_codes.h"

namespace kestr {

/// Decodes rows from the top. A row's first two values follow those two rows above; later ones
/// follow those two to the left. Behind the end of the data no value differs from the one it
/// follows.
class CDifferenceRows {
public:
    /// @param start  what the first two values of rows 0 and 1 follow.
    /// @param curve  the sample of each decoded value; those above take its last entry, those
    ///               below 0 its first. Without any the value is the sample, and at least 0.
    CDifferenceRows(std::span<const uint8_t> data, const std::array<uint16_t, 4>& start,
                    std::span<const uint16_t> curve);
    void Next(const CDifferenceCodes& codes, std::span<uint16_t> row);

private:
    using CPair = std::array<uint16_t, 2>;
    template <bool NearEnd>
    static CBitReader Decode(CBitReader bits, const CDifferenceCodes& codes,
                             const uint16_t* samples, CPair& above, std::span<uint16_t> row);

    CBitReader m_bits;
    std::array<CPair, 2> m_above;  // of an even and of an odd row
    std::vector<uint16_t> m_samples;
    uint32_t m_row = 0;
};

}  // namespace kestr
