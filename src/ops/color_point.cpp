#include <algorithm>

#include "base/luminance.h"
#include "base/messages.h"
#include "ops/guard.h"
#include "ops/sample_map.h"

namespace kestr {
namespace {

constexpr uint8_t kGrayPoint = 1;
constexpr uint8_t kBlackPoint = 2;

/// Level i of a channel whose share of the colour is `channel`, once the colour has become
/// `target`; `step` is what a level of 8 bits is worth.
int PointEntry(int i, int channel, int target, int step, int limit) {
    if (target == 0) return std::clamp(i - step * channel, 0, limit);
    const double ratio = static_cast<double>(channel) / target;
    return static_cast<int>(std::min(static_cast<double>(limit), i / ratio));
}

CByteMap MakeByteMap(uint8_t channel, int target) {
    CByteMap map{};
    for (int i = 0; i < 256; ++i) {
        map[static_cast<size_t>(i)] = static_cast<uint8_t>(PointEntry(i, channel, target, 1, 255));
    }
    return map;
}

CWordMap MakeWordMap(uint8_t channel, int target) {
    CWordMap map{.entries = std::vector<uint16_t>(65536)};
    for (int i = 0; i < 65536; ++i) {
        map.entries[static_cast<size_t>(i)] =
            static_cast<uint16_t>(PointEntry(i, channel, target, 256, 65535));
    }
    return map;
}

}  // namespace

bool CImageBits::OpSetColorPoint(uint8_t mode, uint32_t colour, int undo) {
    if (bitmapInfo.BitCount() < 4) {
        errorText = Message(message::kNeedsFourBits);
        return false;
    }
    const auto red = static_cast<uint8_t>(colour);
    const auto green = static_cast<uint8_t>(colour >> 8);
    const auto blue = static_cast<uint8_t>(colour >> 16);
    int target = 255;
    if (mode == kGrayPoint) target = Luminance(red, green, blue);
    if (mode == kBlackPoint) target = 0;
    if (target > 0 && (red == 0 || green == 0 || blue == 0)) return true;
    return Guarded(*this, [&] {
        if (Has16Bit()) {
            const std::array maps{MakeWordMap(blue, target), MakeWordMap(green, target),
                                  MakeWordMap(red, target)};
            BeginUndoable(undo);
            MapSamples(View16(bits16, Width(), Height(), Samples16()),
                       {&maps[0], &maps[1], &maps[2]});
            RefreshDisplayData();
            return;
        }
        const std::array maps{MakeByteMap(blue, target), MakeByteMap(green, target),
                              MakeByteMap(red, target)};
        BeginUndoable(undo);
        if (bitmapInfo.BitCount() < 24) {
            MapPalette(bitmapInfo, {&maps[0], &maps[1], &maps[2]});
            PixelsChanged();
            NormalizeGray();
        } else if (!bits.empty()) {
            MapSamples(View8(bits, bitmapInfo), {&maps[0], &maps[1], &maps[2]});
            PixelsChanged();
        }
    });
}

}  // namespace kestr
