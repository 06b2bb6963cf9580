#include "ops/levels.h"

#include <limits>

#include "base/messages.h"
#include "base/real_power.h"
#include "ops/guard.h"
#include "ops/sample_map.h"
#include "ops/truncate.h"

namespace kestr {
namespace {

/// Entry i of a channel's table. Nothing guards equal levels: the floating-point result stands.
template <typename Sample, typename Table>
void FillTable(Table& table, const CLevelBytes& levels, double levelsGamma) {
    constexpr int kShift = 8 * (sizeof(Sample) - 1);
    constexpr int kLimit = std::numeric_limits<Sample>::max();
    const int low = levels.low << kShift;
    const int mid = levels.mid << kShift;
    const int high = levels.high << kShift;
    const double range = high - low;
    const double gamma =
        levelsGamma != 0 ? levelsGamma : RoundedLog((mid - low) / range) / RoundedLog(0.5);
    for (int i = 0; i <= kLimit; ++i) {
        Sample& entry = table[static_cast<size_t>(i)];
        if (i < low) {
            entry = 0;
        } else if (i > high) {
            entry = static_cast<Sample>(kLimit);
        } else {
            const double share = (i - low) / range;
            // A gamma of 1 is common and its power is the share itself.
            entry = TruncateToSample<Sample>(gamma == 1 ? share * kLimit + 0.5
                                                        : ScaledPower(share, 1 / gamma, kLimit));
        }
    }
}

CByteMap MakeByteMap(const CLevelBytes& levels, double levelsGamma) {
    CByteMap map{};
    FillTable<uint8_t>(map, levels, levelsGamma);
    return map;
}

CWordMap MakeWordMap(const CLevelBytes& levels, double levelsGamma) {
    CWordMap map{.entries = std::vector<uint16_t>(65536)};
    FillTable<uint16_t>(map.entries, levels, levelsGamma);
    return map;
}

}  // namespace

void ApplyLevels(CImageBits& image, const std::array<CLevelBytes, 3>& redGreenBlue,
                 double levelsGamma) {
    const auto& [red, green, blue] = redGreenBlue;
    if (image.bits.empty()) return;
    if (image.Has16Bit()) {
        // Equal channels share a table, which takes a while to fill.
        const CWordMap redMap = MakeWordMap(red, levelsGamma);
        const CWordMap ownGreen = green == red ? CWordMap() : MakeWordMap(green, levelsGamma);
        const CWordMap* const greenMap = green == red ? &redMap : &ownGreen;
        const CWordMap ownBlue = blue == red ? CWordMap() : MakeWordMap(blue, levelsGamma);
        const CWordMap* const blueMap = blue == red ? &redMap : &ownBlue;
        const auto view = View16(image.bits16, image.Width(), image.Height(), image.Samples16());
        if (view.channels == 1) {
            MapSamples(view, {&redMap, &redMap, &redMap});
        } else {
            MapSamples(view, {blueMap, greenMap, &redMap});
        }
        image.RefreshDisplayData();
        return;
    }
    const CByteMap redMap = MakeByteMap(red, levelsGamma);
    const CByteMap greenMap = MakeByteMap(green, levelsGamma);
    const CByteMap blueMap = MakeByteMap(blue, levelsGamma);
    const int bitCount = image.bitmapInfo.BitCount();
    if (bitCount == 24) {
        MapSamples(View8(image.bits, image.bitmapInfo), {&blueMap, &greenMap, &redMap});
    } else if (bitCount == 8 && image.IsGray()) {
        MapSamples(View8(image.bits, image.bitmapInfo), {&redMap, &redMap, &redMap});
    } else {
        MapPalette(image.bitmapInfo, {&blueMap, &greenMap, &redMap});
    }
    image.PixelsChanged();
}

bool CImageBits::OpAdjustLevels(const std::array<uint32_t, 3>& red,
                                const std::array<uint32_t, 3>& green,
                                const std::array<uint32_t, 3>& blue, double levelsGamma, int undo) {
    if (bitmapInfo.BitCount() < 4) {
        errorText = Message(message::kNeedsFourBits);
        return false;
    }
    const int shift = Has16Bit() ? 8 : 0;
    const auto bytes = [shift](const std::array<uint32_t, 3>& levels) {
        return CLevelBytes{static_cast<uint8_t>(levels[0] >> shift),
                           static_cast<uint8_t>(levels[1] >> shift),
                           static_cast<uint8_t>(levels[2] >> shift)};
    };
    return Guarded(*this, [&] {
        BeginUndoable(undo);
        ApplyLevels(*this, {bytes(red), bytes(green), bytes(blue)}, levelsGamma);
    });
}

void CImageBits::ApplyReaderLevels(const CImageReader& reader) {
    if (bitmapInfo.BitCount() < 4) return;
    const int black = reader.m_levelsBlack;
    const int white = reader.m_levelsWhite;
    const CLevelBytes levels{static_cast<uint8_t>(black),
                             static_cast<uint8_t>(black + (white - black) / 2),
                             static_cast<uint8_t>(white)};
    Guarded(*this, [&] { ApplyLevels(*this, {levels, levels, levels}, reader.m_levelsGamma); });
}

}  // namespace kestr
