// Gamma and power curve. Both act on the whole picture, whatever is selected.

#include <cmath>

#include "base/real_power.h"
#include "ops/guard.h"
#include "ops/sample_map.h"
#include "ops/truncate.h"

namespace kestr {
namespace {

CByteMap MakeGammaBytes(double exponent) {
    CByteMap map{};
    for (size_t i = 0; i < map.size(); ++i) {
        const double level = static_cast<double>(i) / 255;
        map[i] = TruncateToSample<uint8_t>(ScaledPower(level, exponent, 255));
    }
    return map;
}

/// A curve of 14 bits: the low two bits of each sample are lost.
CWordMap MakeGammaWords(double exponent) {
    CWordMap map{.entries = std::vector<uint16_t>(16384), .shift = 2};
    for (size_t i = 0; i < map.entries.size(); ++i) {
        const double level = static_cast<double>(i) / 16383;
        map.entries[i] = static_cast<uint16_t>(
            4 * TruncateToSample<uint16_t>(ScaledPower(level, exponent, 16383)));
    }
    return map;
}

}  // namespace

void CImageBits::OpGammaTable(double newGamma, double factor, int undo) {
    if (bitmapInfo.BitCount() == 1 || newGamma == 0 || std::abs(1 / newGamma - factor) < 0.001) {
        return;
    }
    Guarded(*this, [&] {
        const double exponent = 1 / (newGamma * factor);
        BeginUndoable(undo);
        gamma = newGamma;
        if (bitmapInfo.BitCount() < 24) {
            // Kept as it is: a gray image with a 16-bit store has its palette changed, and only it.
            const CByteMap map = MakeGammaBytes(exponent);
            MapPalette(bitmapInfo, {&map, &map, &map});
        } else if (Has16Bit()) {
            const CWordMap map = MakeGammaWords(exponent);
            MapSamples(View16(bits16, Width(), Height(), 3), {&map, &map, &map});
            RefreshDisplayData();
        } else if (!bits.empty()) {
            const CByteMap map = MakeGammaBytes(exponent);
            MapSamples(View8(bits, bitmapInfo), {&map, &map, &map});
        }
        PixelsChanged();
    });
}

}  // namespace kestr
