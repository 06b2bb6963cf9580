// Changes of size: which scaler runs, and what becomes of the image.

#include <exception>
#include <new>
#include <utility>

#include "base/messages.h"
#include "base/picture_size.h"
#include "image/image_bits.h"
#include "ops/block_reducer.h"
#include "ops/filter_resampler.h"
#include "ops/pixel_format.h"
#include "ops/pixel_view.h"
#include "ops/resample_kernels.h"
#include "ops/sampler.h"
#include "ops/target_size.h"

namespace kestr {
namespace {

constexpr int kReduceAnd = 1;  // reduce modes; 0 takes single pixels
constexpr int kReduceOr = 2;
constexpr int kReduceAverage = 3;

enum class CScaler { None, Sampler, Reducer };

/// Without the aspect kept the reducer serves only where both sides shrink.
CScaler ScalerOfStretch(const CImageBits& image, const CTargetSize& target) {
    if (target.width == image.Width() && target.height == image.Height()) return CScaler::None;
    const bool shrinks = target.width < image.Width() && target.height < image.Height();
    return shrinks ? CScaler::Reducer : CScaler::Sampler;
}

CScaler ScalerInPlace(const CImageBits& image, const CTargetSize& target, bool keepAspect) {
    if (!keepAspect) return ScalerOfStretch(image, target);
    if (target.scale > 1.0) return CScaler::Sampler;
    if (target.scale == 1.0 && !image.Has16Bit()) return CScaler::None;
    return CScaler::Reducer;
}

/// A scaled copy changes from one scaler to the other at a half, where it scales nothing at all.
CScaler ScalerOfCopy(const CImageBits& image, const CTargetSize& target, bool keepAspect) {
    if (!keepAspect) return ScalerOfStretch(image, target);
    if (target.scale == 0.5) return CScaler::None;
    return target.scale > 0.5 ? CScaler::Sampler : CScaler::Reducer;
}

/// An 8-bit store by itself.
struct CStore8 {
    CBitmapInfo info;
    CPixelBytes pixels;
};

/// An empty store of another size in the format of `info`, with its palette.
CStore8 SameFormat(const CBitmapInfo& info, const CTargetSize& target) {
    CStore8 scaled{info, MakeStore(info.BitCount(), target.width, target.height)};
    scaled.info.Header().biWidth = target.width;
    scaled.info.Header().biHeight = target.height;
    return scaled;
}

CStore8 GrayStore(const CBitmapInfo& info, const CTargetSize& target) {
    CStore8 scaled{info, MakeStore(8, target.width, target.height)};
    scaled.info.SetFormat(8, target.width, target.height);
    scaled.info.SetGrayPalette();
    return scaled;
}

/// Gives pixels of an image as one channel of levels, when it is gray, or else three. A store in
/// another format is converted into `converted`.
CPixelView<const uint8_t> Channels(CPixelBytes& pixels, const CBitmapInfo& info, bool gray,
                                   CStore8& converted) {
    if (info.BitCount() == 24 && !gray) return View8(pixels, info);
    converted.info = info;
    if (info.BitCount() == 24) {
        converted = GrayStore(info, {info.Width(), info.Height()});
        const CPixelView<uint8_t> source = View8(pixels, info);
        const CPixelView<uint8_t> levels = View8(converted.pixels, converted.info);
        for (int32_t y = 0; y < levels.height; ++y) {
            for (int32_t x = 0; x < levels.width; ++x) levels.Row(y)[x] = source.Row(y)[3 * x];
        }
        return levels;
    }
    converted.pixels = pixels;
    if (gray) {
        WidenTo8Bits(converted.info, converted.pixels);
        for (uint8_t& level : converted.pixels) level = converted.info.Palette()[level].rgbBlue;
    } else {
        ExpandTo24Bits(converted.info, converted.pixels);
    }
    return View8(converted.pixels, converted.info);
}

CStore8 Sample8(CPixelBytes& pixels, const CBitmapInfo& info, bool gray, const CTargetSize& target,
                bool interpolate) {
    if (!interpolate) {
        CStore8 scaled = SameFormat(info, target);
        SamplePoints(pixels, info, scaled.pixels, scaled.info);
        return scaled;
    }
    CStore8 converted;
    const CPixelView<const uint8_t> source = Channels(pixels, info, gray, converted);
    CStore8 scaled =
        gray ? GrayStore(info, target) : CStore8{info, MakeStore(24, target.width, target.height)};
    if (!gray) scaled.info.SetFormat(24, target.width, target.height);
    SampleBilinear(source, View8(scaled.pixels, scaled.info));
    return scaled;
}

CStore8 Reduce8(CPixelBytes& pixels, const CBitmapInfo& info, bool gray, const CTargetSize& target,
                int mode) {
    if (mode == kReduceAnd || mode == kReduceOr) {
        CStore8 scaled = SameFormat(info, target);
        CombineBlocks(pixels, info, mode == kReduceAnd ? CBlockRule::And : CBlockRule::Or,
                      scaled.pixels, scaled.info);
        return scaled;
    }
    if (mode != kReduceAverage) return Sample8(pixels, info, gray, target, false);
    if (info.BitCount() == 1) {
        CStore8 scaled = GrayStore(info, target);
        AverageBits(pixels, info, View8(scaled.pixels, scaled.info));
        return scaled;
    }
    CStore8 converted;
    const CPixelView<const uint8_t> source = Channels(pixels, info, gray, converted);
    CStore8 scaled =
        gray ? GrayStore(info, target) : CStore8{info, MakeStore(24, target.width, target.height)};
    if (!gray) scaled.info.SetFormat(24, target.width, target.height);
    AverageBlocks(source, View8(scaled.pixels, scaled.info));
    return scaled;
}

CStore8 Scale8(CScaler scaler, CPixelBytes& pixels, const CBitmapInfo& info, bool gray,
               const CTargetSize& target, bool interpolate, int mode) {
    return scaler == CScaler::Sampler ? Sample8(pixels, info, gray, target, interpolate)
                                      : Reduce8(pixels, info, gray, target, mode);
}

CPixelWords Scale16(CScaler scaler, CImageBits& image, const CTargetSize& target, bool interpolate,
                    int mode) {
    const int channels = image.Samples16();
    CPixelWords scaled = MakeStore16(channels, target.width, target.height);
    const CPixelView<const uint16_t> source =
        View16(image.bits16, image.Width(), image.Height(), channels);
    const CPixelView<uint16_t> destination = View16(scaled, target.width, target.height, channels);
    if (scaler == CScaler::Sampler) {
        interpolate ? SampleBilinear(source, destination) : SamplePoints(source, destination);
    } else {
        mode == 0 ? SamplePoints(source, destination) : AverageBlocks(source, destination);
    }
    return scaled;
}

CStore8 Filter8(CPixelBytes& pixels, const CBitmapInfo& info, bool gray, const CTargetSize& target,
                int method) {
    CStore8 converted;
    // A gray picture of 24 bits keeps its format: equal channels give equal results.
    const CPixelView<const uint8_t> source =
        Channels(pixels, info, gray && info.BitCount() < 24, converted);
    CStore8 scaled = source.channels == 1
                         ? GrayStore(info, target)
                         : CStore8{info, MakeStore(24, target.width, target.height)};
    if (source.channels == 3) scaled.info.SetFormat(24, target.width, target.height);
    ResampleFiltered(source, View8(scaled.pixels, scaled.info), method);
    return scaled;
}

/// Whether the stores of a picture of that size could be had at all.
bool CanHold(const CImageBits& image, const CTargetSize& target) {
    const auto width = static_cast<uint32_t>(target.width);
    const auto height = static_cast<uint32_t>(target.height);
    if (width > kMostPictureSide || height > kMostPictureSide) return false;
    const bool deep = image.Has16Bit();
    return StoreBytes(CBitmapInfo::RowBytes(24, target.width), height).has_value() &&
           (!deep || ImageBytes(width, height, 6).has_value());
}

}  // namespace

void CImageBits::AdoptScaled(CBitmapInfo info, CPixelBytes pixels) {
    bits = std::move(pixels);
    bitmapInfo = info;
    ClearOpRect();
    PixelsChanged();
}

void CImageBits::AdoptScaled16(CPixelWords samples, int32_t width, int32_t height) {
    CPixelBytes display = MakeStore(bitmapInfo.BitCount(), width, height);
    bits16 = std::move(samples);
    bits = std::move(display);
    bitmapInfo.Header().biWidth = width;
    bitmapInfo.Header().biHeight = height;
    ClearOpRect();
    RefreshDisplayData();
}

void CImageBits::ScaleAlpha(int32_t oldWidth, int32_t oldHeight, bool interpolate) {
    // Kept as it is: where one side alone changed, the plane keeps its old size.
    const auto pixels = static_cast<size_t>(oldWidth) * static_cast<size_t>(oldHeight);
    if (alpha.size() != pixels || Width() == oldWidth || Height() == oldHeight) return;
    const auto bytes =
        ImageBytes(static_cast<uint32_t>(Width()), static_cast<uint32_t>(Height()), 1);
    if (!bytes) return;
    CPixelBytes scaled;
    scaled.ResizeUninitialized(*bytes);
    const CPixelView<const uint8_t> source{alpha.data(), oldWidth, oldHeight, 1, oldWidth};
    const CPixelView<uint8_t> destination{scaled.data(), Width(), Height(), 1, Width()};
    interpolate ? SampleBilinear(source, destination) : SamplePoints(source, destination);
    alpha = std::move(scaled);
}

bool CImageBits::OpResize(int32_t width, int32_t height, bool keepAspect, bool interpolate,
                          uint8_t reduceMode, int undo) {
    if (reduceMode > kReduceAverage || bits.empty()) return false;
    const int32_t oldWidth = Width();
    const int32_t oldHeight = Height();
    if (width == oldWidth && height == oldHeight) return true;
    const CTargetSize target = TargetSize(oldWidth, oldHeight, width, height, keepAspect);
    if (target.Empty()) return true;
    try {
        if (!CanHold(*this, target)) throw std::bad_alloc();
        BeginUndoable(undo);
        DropDisplayCaches();
        NormalizeBilevel();
        NormalizeGray();
        const CScaler scaler = ScalerInPlace(*this, target, keepAspect);
        if (scaler == CScaler::None) return true;
        if (Has16Bit()) {
            AdoptScaled16(Scale16(scaler, *this, target, interpolate, reduceMode), target.width,
                          target.height);
        } else {
            CStore8 scaled =
                Scale8(scaler, bits, bitmapInfo, IsGray(), target, interpolate, reduceMode);
            AdoptScaled(scaled.info, std::move(scaled.pixels));
        }
        ScaleAlpha(oldWidth, oldHeight, interpolate);
        return true;
    } catch (const std::exception&) {
        errorText = Message(message::kOperationException);
        return false;
    }
}

bool CImageBits::OpResizeExL(int32_t width, uint32_t height, uint8_t method, bool keepAspect,
                             int undo) {
    if (method > kLastMethod || height > INT32_MAX || bits.empty()) return false;
    const auto wantedHeight = static_cast<int32_t>(height);
    const int32_t oldWidth = Width();
    const int32_t oldHeight = Height();
    if (width == oldWidth && wantedHeight == oldHeight) return false;
    if (method < kFirstFilterMethod) {
        return OpResize(width, wantedHeight, keepAspect, false, method, undo);
    }
    const CTargetSize target = TargetSize(oldWidth, oldHeight, width, wantedHeight, keepAspect);
    if (target.Empty()) return false;
    try {
        if (!CanHold(*this, target)) throw std::bad_alloc();
        BeginUndoable(undo);
        DropDisplayCaches();
        if (Has16Bit()) {
            const int channels = Samples16();
            CPixelWords scaled = MakeStore16(channels, target.width, target.height);
            ResampleFiltered(View16(bits16, oldWidth, oldHeight, channels),
                             View16(scaled, target.width, target.height, channels), method);
            AdoptScaled16(std::move(scaled), target.width, target.height);
        } else {
            // Only palettes decide on the format, so that 24 bits need no look at every pixel.
            const bool gray = bitmapInfo.BitCount() < 24 && IsGray();
            CStore8 scaled = Filter8(bits, bitmapInfo, gray, target, method);
            AdoptScaled(scaled.info, std::move(scaled.pixels));
        }
        ScaleAlpha(oldWidth, oldHeight, true);
        return true;
    } catch (const std::exception&) {
        errorText = Message(message::kOperationException);
        return false;
    }
}

std::unique_ptr<CImageBits> CImageBits::ScaledCopy(int32_t width, int32_t height, bool keepAspect,
                                                   int method, bool interpolate, int reduceMode) {
    if (bits.empty() || method > kLastMethod || reduceMode > kReduceAverage) return nullptr;
    const CTargetSize target = TargetSize(Width(), Height(), width, height, keepAspect);
    if (target.Empty() || !CanHold(*this, target)) return nullptr;
    const bool sameSize = width == Width() && height == Height();
    try {
        CStore8 scaled;
        if (method >= kFirstFilterMethod) {
            if (sameSize) return Copy(true);
            const bool gray = bitmapInfo.BitCount() < 24 && IsGray();
            scaled = Filter8(bits, bitmapInfo, gray, target, method);
        } else {
            const CScaler scaler = ScalerOfCopy(*this, target, keepAspect);
            if (sameSize || scaler == CScaler::None) return Copy(true);
            const bool gray = IsGray();
            // The average is one of bits, not of colours.
            const bool twoColours = bitmapInfo.BitCount() == 1 && !gray;
            const int mode = twoColours && reduceMode == kReduceAverage ? 0 : reduceMode;
            if (bitmapInfo.BitCount() == 1) {
                CStore8 normal{bitmapInfo, bits};
                kestr::NormalizeBilevel(normal.info, normal.pixels);
                scaled =
                    Scale8(scaler, normal.pixels, normal.info, gray, target, interpolate, mode);
            } else {
                scaled = Scale8(scaler, bits, bitmapInfo, gray, target, interpolate, mode);
            }
        }
        auto copy = std::make_unique<CImageBits>();
        const auto* header = reinterpret_cast<const uint8_t*>(&scaled.info);
        return copy->LoadDIB(header, scaled.pixels.data(), false, 0) ? std::move(copy) : nullptr;
    } catch (const std::exception&) {
        errorText = Message(message::kOperationException);
        return nullptr;
    }
}

}  // namespace kestr
