// The image's colour profile: taking one from a caller, and converting the pixels to another.

#include <cstddef>
#include <span>
#include <string_view>

#include "base/callback.h"
#include "base/messages.h"
#include "color/icc_profile.h"
#include "color/lcms_handles.h"
#include "image/image_bits.h"

namespace kestr {
namespace {

constexpr char kCorruptProfile[] = "Corrupt ICC profile.";
constexpr char kBadIntent[] = "Invalid Intent parameter.";
constexpr char kNoSource[] = "Source profile not available.";
constexpr char kCorruptOutput[] = "Output profile is corrupt.";
constexpr char kBadSource[] = "Invalid source profile format. ";
constexpr char kBadOutput[] = "Invalid output profile format.";
constexpr char kNoTransform[] = "Failed to create transform.";
constexpr uint32_t kIntents = 4;

bool Refuse(CImageBits& image, std::string_view words) {
    image.errorText = words;
    return false;
}

// The same on both sides. At 16 bits the gray test alone decides, at 8 bits the format does.
cmsUInt32Number PixelFormat(CImageBits& image) {
    if (image.Has16Bit()) return image.IsGray() ? TYPE_GRAY_16 : TYPE_BGR_16;
    return image.bitmapInfo.BitCount() == 8 ? TYPE_GRAY_8 : TYPE_BGR_8;
}

// The engine's number of pixels in a row: samples of a gray format count singly.
cmsUInt32Number PixelsOfRow(const CImageBits& image, cmsUInt32Number format) {
    const auto width = static_cast<cmsUInt32Number>(image.Width());
    return format == TYPE_GRAY_16 ? width * image.Samples16() : width;
}

void ConvertRows(CImageBits& image, cmsHTRANSFORM transform, cmsUInt32Number format,
                 CCallbackCls* progress) {
    const int32_t height = image.Height();
    const cmsUInt32Number pixels = PixelsOfRow(image, format);
    const bool deep = image.Has16Bit();
    uint8_t* row = deep ? reinterpret_cast<uint8_t*>(image.bits16.data()) : image.bits.data();
    const size_t rowBytes =
        deep ? static_cast<size_t>(image.Width()) * image.Samples16() * sizeof(uint16_t)
             : image.RowBytes();
    for (int32_t y = 0; y < height; ++y, row += rowBytes) {
        cmsDoTransform(transform, row, row, pixels);
        callback::OperationProgress(progress, static_cast<int32_t>(int64_t{y} * 100 / height));
    }
    if (deep) {
        image.RefreshDisplayData();
    } else {
        image.PixelsChanged();
    }
}

bool Convert(CImageBits& image, std::span<const uint8_t> profile, uint32_t intent, int undo,
             CCallbackCls* progress) {
    if (intent >= kIntents) return Refuse(image, kBadIntent);
    const int bits = image.bitmapInfo.BitCount();
    if (bits != 24 && !(bits == 8 && image.IsGray())) {
        return Refuse(image, Message(message::kNeedsFourBits));
    }
    if (image.iccProfile.empty()) return Refuse(image, kNoSource);
    if (!IsValidICCProfile(profile)) return Refuse(image, kCorruptOutput);

    image.errorText.clear();
    const CColorContext context = MakeColorContext();
    CColorProfile source;
    if (IsValidICCProfile(image.iccProfile)) source = OpenColorProfile(context, image.iccProfile);
    const CColorProfile output = OpenColorProfile(context, profile);
    if (!source) image.errorText = kBadSource;
    if (!output) image.errorText += kBadOutput;
    if (!source || !output) return false;

    image.errorText = kNoTransform;
    const cmsUInt32Number format = PixelFormat(image);
    const CColorTransform transform(cmsCreateTransformTHR(context.get(), source.get(), format,
                                                          output.get(), format, intent,
                                                          cmsFLAGS_HIGHRESPRECALC));
    if (!transform) return false;
    image.BeginUndoable(undo);
    ConvertRows(image, transform.get(), format, progress);
    if (image.displayGamma > 0) {
        image.gamma = 1 / image.displayGamma;
        image.iccProfile.assign(profile.begin(), profile.end());
    }
    return true;
}

}  // namespace

bool CImageBits::LoadICCProfile(std::span<const uint8_t> profile) {
    DropDisplayCaches();
    if (!profile.empty() && !OpensAsICCProfile(profile)) {
        errorText = kCorruptProfile;
        return false;
    }
    iccProfile.assign(profile.begin(), profile.end());
    return true;
}

bool CImageBits::ApplyICCProfile(std::span<const uint8_t> profile, uint32_t intent, int undo,
                                 CCallbackCls* progress) {
    bool converted = false;
    try {
        converted = Convert(*this, profile, intent, undo, progress);
    } catch (...) {
        // Out of memory, or a progress callback that throws; the undo snapshot stays.
    }
    if (converted) {
        callback::OperationDone(progress);
    } else {
        errorText.clear();  // callers test the result, never the words
    }
    return converted;
}

}  // namespace kestr
