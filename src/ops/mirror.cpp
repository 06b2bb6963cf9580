#include "ops/mirror.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <exception>
#include <utility>

#include "base/messages.h"
#include "image/image_bits.h"
#include "platform/vector_clones.h"

namespace kestr {
namespace {

/// `kLanes` samples in 16 bytes.
template <typename Sample>
struct CBlock {
    static constexpr int kLanes = 16 / sizeof(Sample);
    using Type [[gnu::vector_size(16)]] = Sample;
};

/// Which sample goes to lane `lane` when the pixels of a block change their order. A block of 16
/// bytes may not hold whole pixels: the first `used` lanes, or the last ones with `fromEnd`, do,
/// and the other lanes stay those of the second operand.
template <int kChannels, int kLanes>
constexpr int MirroredLane(int lane, bool fromEnd) {
    const int used = kLanes / kChannels * kChannels;
    const int rest = kLanes - used;
    // The pixels lie at the far side of the block that they come from.
    const int position = fromEnd ? lane - rest : lane;
    if (position < 0 || position >= used) return kLanes + lane;
    const int pixel = used / kChannels - 1 - position / kChannels;
    const int from = pixel * kChannels + position % kChannels;
    return fromEnd ? from : from + rest;
}

template <int kChannels, typename Sample, size_t... kLane>
KESTR_INLINE void MirrorRow(Sample* row, size_t width, std::index_sequence<kLane...>) {
    using Block = typename CBlock<Sample>::Type;
    constexpr int kLanes = CBlock<Sample>::kLanes;
    constexpr size_t kPixels = kLanes / kChannels;
    Sample* left = row;
    Sample* right = row + width * kChannels;
    // One block more than what is exchanged: the odd lanes of both must not meet.
    while (right - left >= 2 * kLanes) {
        Block first;
        Block last;
        std::memcpy(&first, left, sizeof(Block));
        std::memcpy(&last, right - kLanes, sizeof(Block));
        const Block newFirst =
            __builtin_shufflevector(last, first, MirroredLane<kChannels, kLanes>(kLane, false)...);
        const Block newLast =
            __builtin_shufflevector(first, last, MirroredLane<kChannels, kLanes>(kLane, true)...);
        std::memcpy(left, &newFirst, sizeof(Block));
        std::memcpy(right - kLanes, &newLast, sizeof(Block));
        left += kPixels * kChannels;
        right -= kPixels * kChannels;
    }
    for (right -= kChannels; left < right; left += kChannels, right -= kChannels) {
        for (int c = 0; c < kChannels; ++c) std::swap(left[c], right[c]);
    }
}

template <int kChannels, typename Sample>
KESTR_INLINE void MirrorRows(const CPixelView<Sample>& view) {
    for (int32_t y = 0; y < view.height; ++y) {
        MirrorRow<kChannels>(view.Row(y), static_cast<size_t>(view.width),
                             std::make_index_sequence<CBlock<Sample>::kLanes>());
    }
}

/// t[i] = i with its pixels of `bitCount` bits in reverse order.
constexpr std::array<uint8_t, 256> MakeReversedPixels(int bitCount) {
    std::array<uint8_t, 256> table{};
    const int mask = (1 << bitCount) - 1;
    for (int i = 0; i < 256; ++i) {
        int reversed = 0;
        for (int bit = 0; bit < 8; bit += bitCount) {
            reversed = reversed << bitCount | ((i >> bit) & mask);
        }
        table[static_cast<size_t>(i)] = static_cast<uint8_t>(reversed);
    }
    return table;
}
constexpr auto kReversedBits = MakeReversedPixels(1);
constexpr auto kReversedNibbles = MakeReversedPixels(4);
static_assert(kReversedBits[0xB0] == 0x0D && kReversedNibbles[0xB0] == 0x0B);

}  // namespace

KESTR_VECTOR_CLONES void MirrorPixels(const CPixelView<uint8_t>& view) {
    view.channels == 3 ? MirrorRows<3>(view) : MirrorRows<1>(view);
}

KESTR_VECTOR_CLONES void MirrorPixels(const CPixelView<uint16_t>& view) {
    view.channels == 3 ? MirrorRows<3>(view) : MirrorRows<1>(view);
}

void MirrorPackedRow(uint8_t* row, int bitCount, int32_t width) {
    // The bytes change order, then the pixels that padded the last byte are shifted out in front.
    const auto& reversed = bitCount == 1 ? kReversedBits : kReversedNibbles;
    const size_t rowBits = static_cast<size_t>(width) * static_cast<size_t>(bitCount);
    const size_t used = (rowBits + 7) / 8;
    const auto padding = static_cast<int>(used * 8 - rowBits);
    std::reverse(row, row + used);
    for (size_t i = 0; i < used; ++i) row[i] = reversed[row[i]];
    for (size_t i = 0; i < used; ++i) {
        const int next = i + 1 < used ? row[i + 1] : 0;
        row[i] = static_cast<uint8_t>(((row[i] << 8 | next) << padding) >> 8);
    }
}

bool CImageBits::OpMirror(int undo) {
    try {
        DropDisplayCaches();
        BeginUndoable(undo);
        alpha.clear();
        if (bits.empty()) return true;
        if (bitmapInfo.BitCount() < 8) {
            for (int32_t y = 0; y < Height(); ++y) {
                MirrorPackedRow(RowFromTop(y), bitmapInfo.BitCount(), Width());
            }
        } else {
            MirrorPixels(View8(bits, bitmapInfo));
        }
        if (Has16Bit()) MirrorPixels(View16(bits16, Width(), Height(), Samples16()));
        return true;
    } catch (const std::exception&) {
        errorText = Message(message::kOperationException);
        return false;
    }
}

}  // namespace kestr
