// A load from a file: a reader is found, its rows are pulled into the bitmap, and what it gathered
// is taken over.

#include <cstring>
#include <new>

#include "base/callback.h"
#include "base/format_text.h"
#include "base/messages.h"
#include "base/picture_size.h"
#include "color/icc_profile.h"
#include "image/image_bits.h"
#include "platform/files.h"
#include "readers/reader_factory.h"
#include "readers/type_ids.h"

namespace kestr {

constexpr char kLoadException[] = "Exception during image loading.";
constexpr char kNoErrorReported[] = "No error reported.";
constexpr char kProfileLabel[] = "\r\nEmbedded Color Profile: ";
constexpr size_t kMostPadding = 4;  // bytes at the end of a row that may not be pixels
constexpr char kTooLarge[] = "A picture of %d x %d pixels at %d bits a pixel is too large.";

bool CImageBits::FindFile(const KESTR_CHAR* path, uint32_t background) {
    backgroundColor = background;
    loaded = false;
    fileName = path != nullptr ? path : std::basic_string<KESTR_CHAR>();
    if (CanReadFile(path)) return true;
    errorText = Message(message::kFileMissing);
    return false;
}

void CImageBits::HandSettings(CImageReader& reader) {
    reader.m_jpegHighQuality = jpegHighQuality;
    reader.m_backgroundColor = backgroundColor;
    reader.m_psdFlattened = psdFlattened;
    reader.m_linearGamma = rawLinearGamma;
    reader.m_interpolationMethod = rawInterpolationMethod;
    scanLinesRead = 0;
}

bool CImageBits::Load(const KESTR_CHAR* path, int page, bool verify, uint32_t background,
                      CCallbackCls* progress, uint32_t extra) {
    if (!FindFile(path, background)) {
        callback::LoadDone(progress, false);
        return false;
    }
    errorText = Message(message::kNoReader);
    const auto reader = FindReader({.path = path,
                                    .verify = verify,
                                    .stopAtMarkerIPTC = stopAtMarkerIPTC,
                                    .exactStart = exactStart,
                                    .useCanonLibrary = callback::UseCanonLibrary(progress)},
                                   errorText);
    if (!reader) {
        callback::LoadDone(progress, false);
        return false;
    }
    reader->ResetForLoad();
    reader->m_extra = extra;
    HandSettings(*reader);

    bool success = false;
    try {
        success = reader->StartLoad(path, page, progress);
        if (success) success = ReadRows(*reader);
    } catch (...) {
        success = scanLinesRead >= 1 && reader->m_bitmapInfo.Height() != 0;
        if (!success) errorText = kLoadException;
    }
    CloseReader(*reader);
    TakeFromReader(*reader, page);
    if (success) {
        TakePicture(*reader);
        if (callback::AutoRotate(progress) && TurnUpright(reader->m_rotation)) {
            const int32_t rows = reader->m_bitmapInfo.Height();
            if (rows > 0) {
                scanLinesRead = static_cast<uint32_t>(uint64_t{scanLinesRead} *
                                                      static_cast<uint32_t>(Height()) /
                                                      static_cast<uint32_t>(rows));
            }
        }
        if (rawAutoLevels && reader->m_levelsWhite != 0) ApplyReaderLevels(*reader);
        if (!callback::Keep16BitPrecision(progress)) bits16.clear();
        NormalizeGray();
    } else {
        bits.clear();
        bits16.clear();
    }
    callback::LoadDone(progress, success);
    return success;
}

bool CImageBits::ReadRows(CImageReader& reader) {
    const CBitmapInfo& info = reader.m_bitmapInfo;
    const int32_t height = info.Height();
    const auto bytes = StoreBytes(info.RowBytes(), height < 0 ? 0 : static_cast<uint32_t>(height));
    try {
        if (!bytes || info.Width() < 0 || height < 0) throw std::bad_alloc();
        bits.ResizeUninitialized(*bytes);
    } catch (const std::bad_alloc&) {
        reader.m_errorText = FormatText(kTooLarge, info.Width(), height, info.BitCount());
        return false;
    }
    const auto rowBytes = static_cast<size_t>(info.RowBytes());
    // The first row lies last in memory. What no row reaches, and the padding that a reader leaves
    // alone, is cleared here, so that it is black and never old memory. Rows of a picture of no
    // width come too, and no reader has to expect a null pointer for them.
    uint8_t noPixels = 0;
    uint8_t* const store = *bytes != 0 ? bits.data() : &noPixels;
    uint8_t* row = store + *bytes;
    struct CClearRest {  // on every way out, an exception included
        uint8_t* store;
        uint8_t*& row;
        ~CClearRest() { std::memset(store, 0, static_cast<size_t>(row - store)); }
    } clearRest{store, row};
    for (int32_t y = 0; y < height; ++y) {
        uint8_t* destination = row - rowBytes;
        if (rowBytes >= kMostPadding) std::memset(row - kMostPadding, 0, kMostPadding);
        if (!reader.ReadLine(destination)) break;
        row = destination;
        ++scanLinesRead;
    }
    return true;
}

void CImageBits::CloseReader(CImageReader& reader) {
    try {
        reader.Close();
    } catch (...) {
        // Nothing is lost: the picture is here, and the reader's own words are what a caller gets.
        errorText.clear();
    }
}

void CImageBits::TakeFromReader(CImageReader& reader, int page) {
    typeId = reader.m_typeId;
    pageCount = reader.m_pageCount;
    currentPage = pageCount > 1 ? static_cast<uint32_t>(page) : 0;
    description = reader.m_description;
    errorText = reader.m_errorText.empty() ? kNoErrorReported : reader.m_errorText;
    comment = reader.m_comment;
    iptc.CopyFrom(reader.m_iptc);
    gamma = reader.m_gamma;
    cameraText = std::move(reader.m_cameraText);
    xmpData = std::move(reader.m_xmpData);
    exif = reader.TakeExif();
    soundClip = std::move(reader.m_soundClip);
    physicalX = reader.physicalX;
    physicalY = reader.physicalY;
    originalWidth = reader.m_originalWidth;
    originalHeight = reader.m_originalHeight;
    from16Bit = reader.Has16BitData();
    bits16 = std::move(reader.m_bits16);
    iccFromExif = false;
    iccProfile.clear();
    if (IsValidICCProfile(reader.m_iccProfile)) {
        iccProfile = std::move(reader.m_iccProfile);
    } else if (exif && exif->IsAdobeRGB()) {
        const auto profile = AdobeRGBProfile();
        iccProfile.assign(profile.begin(), profile.end());
        iccFromExif = true;
    }
    DescribeProfile();
}

void CImageBits::DescribeProfile() {
    // The label stands there with nothing behind it when there is no profile; callers expect it.
    description += kProfileLabel;
    if (!iccProfile.empty()) description += ICCProfileName(iccProfile);
}

void CImageBits::TakePicture(CImageReader& reader) {
    bitmapInfo = reader.m_bitmapInfo;
    bitmapInfo.SetColorCount(static_cast<uint8_t>(bitmapInfo.ColorCount()));
    PixelsChanged();
    loaded = true;
    alpha = std::move(reader.m_alpha);
    frameRect = reader.m_frameRect;
    frameDisposal = reader.m_frameDisposal;
    frameDelay = reader.m_frameDelay;
    transparentIndex = reader.m_transparentIndex;
    colorTemperature = reader.m_colorTemperature;
    const bool isPNG = typeId == kTypePNG || typeId == kTypePNGInterlaced;
    if (isPNG && (reader.m_hasTransparentColor || !reader.m_paletteAlpha.empty())) {
        paletteAlpha = std::move(reader.m_paletteAlpha);
        transparentColor = reader.m_transparentColor;
        hasTransparentColor = paletteAlpha.empty();
    } else if (!isPNG && reader.m_hasTransparentColor) {
        hasTransparentColor = true;
        transparentColor = reader.m_transparentColor;
        transparentTolerance = 0;
    }
}

}  // namespace kestr
