#pragma once

#include <bit>
#include <cstdint>

namespace kestr {

/// One channel of a field-mapped pixel, brought to 8 bits: where its bits lie and how far they
/// move.
class CFieldMask {
public:
    constexpr CFieldMask() = default;
    constexpr explicit CFieldMask(uint32_t mask) : m_mask(mask) {
        if (mask == 0) return;
        const int zeros = std::countr_zero(mask);
        m_shift = zeros + std::countr_one(mask >> zeros) - 8;
    }
    constexpr uint8_t Extract(uint32_t value) const {
        const uint32_t field = value & m_mask;
        return static_cast<uint8_t>(m_shift >= 0 ? field >> m_shift : field << -m_shift);
    }

private:
    uint32_t m_mask = 0;
    int m_shift = 0;  // to the right when positive; -7 to 24
};
static_assert(CFieldMask(0x7C00).Extract(0x7C00) == 0xF8);
static_assert(CFieldMask(0xFF000000).Extract(0x12345678) == 0x12);

}  // namespace kestr
