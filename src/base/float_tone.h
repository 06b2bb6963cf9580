// Light as floating-point files hold it, made levels of a display.
#pragma once

#include <cstdint>

namespace kestr {

/// The 16-bit level of a linear amount of light, 1 being white: 65535 * light ^ (1 / 2.2), rounded,
/// which is what an image's usual file gamma undoes. Light below 0 and what is no number become 0,
/// light from 1 on 65535. The power comes from a table with straight lines between its points, 128
/// in each doubling of the light; it is off by less than a fifth of a level.
///
/// Alike on every system: the points are rounded to whole 1/256 of a level, and the lines between
/// them are whole-number arithmetic.
class CFloatTone {
public:
    CFloatTone();

    [[nodiscard]] uint16_t Level(uint32_t floatBits) const {
        // As numbers, the bits of positive floats rise with their values; those of negative ones,
        // with the sign in front, lie above all others, and so do those of no numbers.
        if (floatBits >= kOne) return floatBits <= kInfinity ? uint16_t{65535} : uint16_t{0};
        const uint32_t point = floatBits >> kShift;
        const uint64_t part = floatBits & ((1u << kShift) - 1);
        const uint64_t step = m_table[point + 1] - m_table[point];
        const uint64_t level = (uint64_t{m_table[point]} << kShift) + step * part;
        return static_cast<uint16_t>((level + kHalf) >> (kShift + kFractionBits));
    }

private:
    static constexpr uint32_t kOne = 0x3F800000;       // 1.0f
    static constexpr uint32_t kInfinity = 0x7F800000;  // infinity
    static constexpr int kShift = 16;
    static constexpr int kFractionBits = 8;
    static constexpr uint64_t kHalf = uint64_t{1} << (kShift + kFractionBits - 1);

    // Levels of the floats whose low 16 bits are 0, in 1/256.
    uint32_t m_table[(kOne >> kShift) + 1];
};

/// The table, made at its first use.
const CFloatTone& FloatTone();

}  // namespace kestr
