// Laying one picture over another.

#include <algorithm>
#include <memory>

#include "ops/guard.h"
#include "ops/merge.h"
#include "ops/pixel_format.h"

namespace kestr {
namespace {

/// Samples of a gray picture three times each.
CPixelWords TripleSamples(const CPixelWords& gray) {
    CPixelWords tripled;
    tripled.ResizeUninitialized(gray.size() * 3);
    uint16_t* to = tripled.data();
    for (const uint16_t sample : gray) {
        to[0] = to[1] = to[2] = sample;
        to += 3;
    }
    return tripled;
}

/// A stretch of the source and where it begins in the destination.
struct COverlap {
    int32_t source = 0;
    int32_t destination = 0;
    int32_t length = 0;  // negative when nothing is left
};

COverlap Overlap(int32_t at, int32_t sourceLength, int32_t length) {
    const int64_t cut = at < 0 ? -int64_t{at} : 0;
    const int64_t start = std::max(at, 0);
    const int64_t rest = std::min<int64_t>(sourceLength - cut, length - start);
    return {static_cast<int32_t>(std::min<int64_t>(cut, sourceLength)), static_cast<int32_t>(start),
            static_cast<int32_t>(std::max<int64_t>(rest, INT32_MIN))};
}

}  // namespace

bool CImageBits::MergeImage(CImageBits& source, int32_t x, int32_t y, uint8_t opacity,
                            int16_t feather, int undo) {
    if (&source == this) {
        const std::unique_ptr<CImageBits> copy = Copy(false);
        return MergeImage(*copy, x, y, opacity, feather, undo);
    }
    if (opacity == 0 || x >= Width() || y >= Height()) return true;
    return Guarded(*this, [&] {
        BeginUndoable(undo);
        const COverlap across = Overlap(x, source.Width(), Width());
        const COverlap down = Overlap(y, source.Height(), Height());
        if (across.length < 0 || down.length < 0) return false;
        if (across.length == 0 || down.length == 0) return true;
        const CSelectionRect from{across.source, down.source, across.source + across.length,
                                  down.source + down.length};
        const CSelectionRect to{across.destination, down.destination,
                                across.destination + across.length, down.destination + down.length};
        const auto sourceWidth = static_cast<size_t>(source.Width());
        const bool masked =
            source.alpha.size() == sourceWidth * static_cast<size_t>(source.Height());
        const CMergeRule rule{.feather = feather,
                              .opacity = opacity,
                              .mask = masked ? source.alpha.data() +
                                                   static_cast<size_t>(from.top) * sourceWidth +
                                                   static_cast<size_t>(from.left)
                                             : nullptr,
                              .maskStep = sourceWidth};
        if (Has16Bit() && source.Has16Bit()) {
            if (Samples16() == 1 && source.Samples16() == 3) {
                bits16 = TripleSamples(bits16);
                ExpandTo24Bits();
            }
            CPixelWords tripled;
            if (source.Samples16() < Samples16()) tripled = TripleSamples(source.bits16);
            CPixelWords& samples = tripled.empty() ? source.bits16 : tripled;
            Merge(View16(samples, source.Width(), source.Height(), Samples16()).Part(from),
                  View16(bits16, Width(), Height(), Samples16()).Part(to), rule);
            RefreshDisplayData();
        } else {
            bits16.clear();
            ExpandTo24Bits();
            CBitmapInfo expandedInfo;
            CPixelBytes expanded;
            const bool palette = source.bitmapInfo.BitCount() < 24;
            if (palette) {
                expandedInfo = source.bitmapInfo;
                expanded = source.bits;
                kestr::ExpandTo24Bits(expandedInfo, expanded);
            }
            Merge((palette ? View8(expanded, expandedInfo) : View8(source.bits, source.bitmapInfo))
                      .Part(from),
                  View8(bits, bitmapInfo).Part(to), rule);
            PixelsChanged();
        }
        return true;
    });
}

}  // namespace kestr
