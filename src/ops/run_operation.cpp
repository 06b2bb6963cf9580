// The frame: rectangle, mask, feather, inverse selection and undo of every operation.

#include <exception>

#include "base/messages.h"
#include "ops/merge.h"
#include "ops/operation.h"
#include "ops/pixel_view.h"

namespace kestr {

bool CImageBits::IsOpRectValid() const {
    const auto below = [](int32_t position, int32_t size) {
        return position >= 0 && position < size;
    };
    return loaded && below(opRect.left, Width()) && below(opRect.top, Height()) &&
           below(opRect.right, Width() + 1) && below(opRect.bottom, Height() + 1);
}

namespace {

CMergeRule RuleOfSelection(const CImageBits& image) {
    const size_t width = static_cast<size_t>(image.opRect.right - image.opRect.left);
    const size_t height = static_cast<size_t>(image.opRect.bottom - image.opRect.top);
    const bool masked = !image.opMask.empty() && image.opMask.size() == width * height;
    return {.feather = image.opFeather,
            .mask = masked ? image.opMask.data() : nullptr,
            .maskStep = width};
}

}  // namespace

void CImageBits::RunOperation(COperation& operation, int undo) {
    try {
        DropDisplayCaches();
        BeginUndoable(undo);
        if (bits.empty()) return;
        if (Has16Bit()) {
            RunOn16Bits(operation);
        } else {
            RunOn8Bits(operation);
        }
        PixelsChanged();
    } catch (const std::exception&) {
        errorText = Message(message::kOperationException);
        PixelsChanged();
    }
}

void CImageBits::RunOn8Bits(COperation& operation) {
    // Nothing asks for the gray flag of 24 bits, which would cost a look at every pixel.
    const bool gray = bitmapInfo.BitCount() < 24 && IsGray();
    if (!IsOpRectValid()) {
        operation.Apply8(bits, bitmapInfo, gray);
        return;
    }
    gray ? WidenTo8Bits() : ExpandTo24Bits();
    CBitmapInfo partInfo;
    CPixelBytes part = CopyOpRect8(partInfo);
    if (inverseSelect) {
        operation.Apply8(bits, bitmapInfo, gray);
    } else {
        operation.Apply8(part, partInfo, gray);
    }
    MergeOpRect8(part, partInfo);
}

void CImageBits::RunOn16Bits(COperation& operation) {
    if (!IsOpRectValid()) {
        operation.Apply16(bits16, Width(), Height(), Samples16());
    } else {
        CPixelWords part = CopyOpRect16();
        if (inverseSelect) {
            operation.Apply16(bits16, Width(), Height(), Samples16());
        } else {
            operation.Apply16(part, opRect.right - opRect.left, opRect.bottom - opRect.top,
                              Samples16());
        }
        MergeOpRect16(part);
    }
    RefreshDisplayData();
}

CPixelBytes CImageBits::CopyOpRect8(CBitmapInfo& partInfo) {
    const CPixelView<uint8_t> source = View8(bits, bitmapInfo).Part(opRect);
    partInfo = bitmapInfo;
    partInfo.SetFormat(bitmapInfo.BitCount(), source.width, source.height);
    partInfo.Header().biClrUsed = bitmapInfo.Header().biClrUsed;
    CPixelBytes part;
    part.ResizeZeroed(static_cast<size_t>(partInfo.RowBytes()) *
                      static_cast<size_t>(source.height));
    CopyPixels<uint8_t>(source, View8(part, partInfo));
    return part;
}

CPixelWords CImageBits::CopyOpRect16() {
    const CPixelView<uint16_t> source = View16(bits16, Width(), Height(), Samples16()).Part(opRect);
    CPixelWords part;
    part.ResizeUninitialized(source.RowSamples() * static_cast<size_t>(source.height));
    CopyPixels<uint16_t>(source, View16(part, source.width, source.height, source.channels));
    return part;
}

void CImageBits::MergeOpRect8(CPixelBytes& part, const CBitmapInfo& partInfo) {
    Merge(View8(part, partInfo), View8(bits, bitmapInfo).Part(opRect), RuleOfSelection(*this));
}

void CImageBits::MergeOpRect16(CPixelWords& part) {
    const CPixelView<uint16_t> destination =
        View16(bits16, Width(), Height(), Samples16()).Part(opRect);
    Merge(View16(part, destination.width, destination.height, destination.channels), destination,
          RuleOfSelection(*this));
}

}  // namespace kestr
