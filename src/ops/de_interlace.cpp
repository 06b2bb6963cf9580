#include <cstring>
#include <exception>

#include "base/messages.h"
#include "image/image_bits.h"
#include "platform/vector_clones.h"

namespace kestr {
namespace {

KESTR_VECTOR_CLONES void AverageRows(const uint8_t* above, const uint8_t* below, size_t bytes,
                                     uint8_t* row) {
    for (size_t i = 0; i < bytes; ++i) row[i] = static_cast<uint8_t>((above[i] + below[i]) >> 1);
}

}  // namespace

bool CImageBits::OpDeInterlace(bool oddField, bool interpolate, int undo) {
    if (bits.empty()) return false;
    try {
        BeginUndoable(undo);
        bits16.clear();
        DropDisplayCaches();
        if (bitmapInfo.BitCount() < 24) {
            IsGray() ? WidenTo8Bits() : ExpandTo24Bits();
            NormalizeGray();
        }
        const int32_t first = interpolate ? (oddField ? 2 : 1) : (oddField ? 0 : 1);
        for (int32_t y = first; y < Height() - 1; y += 2) {
            if (interpolate) {
                AverageRows(RowFromTop(y - 1), RowFromTop(y + 1), RowBytes(), RowFromTop(y));
            } else {
                std::memcpy(RowFromTop(y), RowFromTop(y + 1), RowBytes());
            }
        }
        PixelsChanged();
        return true;
    } catch (const std::exception&) {
        errorText = Message(message::kOperationException);
        return false;
    }
}

}  // namespace kestr
