#include "base/float_tone.h"

#include <bit>

#include "base/real_power.h"

namespace kestr {

CFloatTone::CFloatTone() {
    constexpr double kMost = 65535 << kFractionBits;
    for (uint32_t i = 0; i <= kOne >> kShift; ++i) {
        const auto light = static_cast<double>(std::bit_cast<float>(i << kShift));
        m_table[i] = static_cast<uint32_t>(ScaledPower(light, 1 / 2.2, kMost));
    }
}

const CFloatTone& FloatTone() {
    static const CFloatTone tone;
    return tone;
}

}  // namespace kestr
