// Changes of size: which scaler runs, and what becomes of the image.

#include <exception>
#include <utility>

#include "base/messages.h"
#include "image/image_bits.h"
#include "ops/filter_resampler.h"
#include "ops/pixel_format.h"
#include "ops/pixel_view.h"
#include "ops/resample_kernels.h"
#include "ops/target_size.h"

namespace kestr {

bool CImageBits::OpResizeExL(int32_t width, uint32_t height, uint8_t method, bool keepAspect,
                             int undo) {
    if (method > kLastMethod || height > INT32_MAX || bits.empty()) return false;
    const auto wantedHeight = static_cast<int32_t>(height);
    if (width == Width() && wantedHeight == Height()) return false;
    if (method < kFirstFilterMethod) return false;
    const CTargetSize target = TargetSize(Width(), Height(), width, wantedHeight, keepAspect);
    if (target.Empty()) return false;
    try {
        BeginUndoable(undo);
        DropDisplayCaches();
        FilterTo(target.width, target.height, method);
        return true;
    } catch (const std::exception&) {
        errorText = Message(message::kOperationException);
        return false;
    }
}

void CImageBits::FilterTo(int32_t width, int32_t height, int method) {
    if (Has16Bit()) {
        const int channels = Samples16();
        CPixelWords scaled = MakeStore16(channels, width, height);
        CPixelBytes display = MakeStore(bitmapInfo.BitCount(), width, height);
        ResampleFiltered(View16(bits16, Width(), Height(), channels),
                         View16(scaled, width, height, channels), method);
        bits16 = std::move(scaled);
        bits = std::move(display);
        bitmapInfo.Header().biWidth = width;
        bitmapInfo.Header().biHeight = height;
        RefreshDisplayData();
    } else {
        if (bitmapInfo.BitCount() < 24) {
            IsGray() ? WidenTo8Bits() : ExpandTo24Bits();
            NormalizeGray();
        }
        CBitmapInfo info = bitmapInfo;
        info.Header().biWidth = width;
        info.Header().biHeight = height;
        CPixelBytes scaled = MakeStore(info.BitCount(), width, height);
        ResampleFiltered(View8(bits, bitmapInfo), View8(scaled, info), method);
        bits = std::move(scaled);
        bitmapInfo = info;
        PixelsChanged();
    }
    ClearOpRect();
}

}  // namespace kestr
