// EXIF, IPTC and XMP of the image and of records that callers own; the comment of a JPEG file.
#include "api/handles.h"
#include "metadata/camera_text.h"
#include "metadata/exif_text.h"
#include "metadata/jpeg_segments.h"
#include "platform/system_codec.h"

namespace kestr {
namespace {

WideView View(const KESTR_CHAR* text) {
    return text ? WideView(text) : WideView();
}

// A text of the record; 0 with none.
int32_t PutField(BSTR* output, ::CEXIF_Members* handle, CEXIF_Members::Text CEXIF_Members::*field) {
    Clear(output);
    const CEXIF_Members* const record = FromHandle(handle);
    if (!record) return 0;
    const WideView text = ExifCharacters(record->*field);
    if (text.empty()) return 0;
    if (output) Put(output, CBstr(text));
    return 1;
}

// Comments are bytes, so the 8-bit form gives them on as they are.
int32_t MergeComment(std::string_view text, const KESTR_CHAR* source,
                     const KESTR_CHAR* destination) {
    if (!source || !destination) return 0;
    std::string errorText;
    const CMarkerMerge merge{.data = {reinterpret_cast<const uint8_t*>(text.data()), text.size()}};
    return MergeMarker(source, destination, merge, errorText) ? 1 : 0;
}

}  // namespace

extern "C" {

KESTR_API int32_t KESTR_CALL cMergeComment(const char* text, const char* sourcePath,
                                           const char* destinationPath) {
    return MergeComment(text ? text : "", WidePath(sourcePath).Get(),
                        WidePath(destinationPath).Get());
}

KESTR_API int32_t KESTR_CALL cMergeCommentW(const KESTR_CHAR* text, const KESTR_CHAR* sourcePath,
                                            const KESTR_CHAR* destinationPath) {
    return MergeComment(NarrowArgument(text), sourcePath, destinationPath);
}

KESTR_API int32_t KESTR_CALL cGetImageCameraInfo(HKESTRSESSION session, BSTR* text) {
    Clear(text);
    return OnLoadedImage(session, [=](CImageBits& image, int) {
        if (!image.exif && image.cameraText.empty()) return;
        WideString all;
        if (image.exif) all = ExifAsText(*image.exif, TextToWide(":\t"), TextToWide("\r\n"));
        if (image.exif && !image.cameraText.empty()) all += TextToWide("\r\n");
        all += TextToWide(CameraBlockText(image.cameraText));
        Put(text, CBstr(all));
    });
}

KESTR_API int32_t KESTR_CALL cGetImageCameraDate(HKESTRSESSION session, BSTR* text) {
    Clear(text);
    return OnLoadedImage(session, [=](CImageBits& image, int) {
        const WideString date =
            image.exif ? ExifDate(*image.exif) : TextToWide(CameraBlockDate(image.cameraText));
        if (!date.empty()) Put(text, CBstr(date));
    });
}

KESTR_API int32_t KESTR_CALL cGetImageXmp(HKESTRSESSION session, SAFEARRAY** bytes) {
    Clear(bytes);
    return OnLoadedImage(session, [=](CImageBits& image, int) {
        if (bytes && !image.xmpData.empty()) Put(bytes, MakeByteArray(image.xmpData));
    });
}

KESTR_API int32_t KESTR_CALL cLoadXmp(HKESTRSESSION session, const void* data, uint32_t size) {
    return OnLoadedImage(session, [=](CImageBits& image, int) {
        const auto* const bytes = static_cast<const uint8_t*>(data);
        image.xmpData.assign(bytes, bytes + (bytes ? size : 0));
    });
}

KESTR_API void KESTR_CALL cDestroyWicMetadataRoot(void* root) {
    if (!HasSystemCodecs()) return;  // no tree was given out
    const std::unique_ptr<WicMetadata::CElement> owned(static_cast<WicMetadata::CElement*>(root));
}

KESTR_API int32_t KESTR_CALL cEXIF_GetAsString(::CEXIF_Members* record, const KESTR_CHAR* separator,
                                               const KESTR_CHAR* lineEnd, BSTR* text) {
    Clear(text);
    if (!record) return 0;
    if (text) Put(text, CBstr(ExifAsText(*FromHandle(record), View(separator), View(lineEnd))));
    return 1;
}

KESTR_API int32_t KESTR_CALL cEXIF_GetDateTime(::CEXIF_Members* record, BSTR* text) {
    return PutField(text, record, &CEXIF_Members::DateTime);
}

KESTR_API int32_t KESTR_CALL cEXIF_GetDateTimeOriginal(::CEXIF_Members* record, BSTR* text) {
    return PutField(text, record, &CEXIF_Members::DateTimeOriginal);
}

KESTR_API int32_t KESTR_CALL cEXIF_GetDateTimeDigitized(::CEXIF_Members* record, BSTR* text) {
    return PutField(text, record, &CEXIF_Members::DateTimeDigitized);
}

KESTR_API int32_t KESTR_CALL cEXIF_GetOrientation(::CEXIF_Members* record, uint16_t* orientation) {
    const CEXIF_Members* const exif = FromHandle(record);
    if (!exif || !exif->Orientation) return 0;
    Put(orientation, *exif->Orientation);
    return 1;
}

KESTR_API ::CIPTC_Members* KESTR_CALL cNewIPTC(void) {
    return ToHandle(std::make_unique<CIPTC_Members>());
}

KESTR_API int32_t KESTR_CALL cIPTC_GetAsString(::CIPTC_Members* record, const KESTR_CHAR* separator,
                                               const KESTR_CHAR* lineEnd, BSTR* text) {
    Clear(text);
    if (!record) return 0;
    if (text) Put(text, CBstr(FromHandle(record)->AsText(View(separator), View(lineEnd))));
    return 1;
}

KESTR_API int32_t KESTR_CALL cGetImageIPTC_Info(HKESTRSESSION session, ::CIPTC_Members** record) {
    Clear(record);
    return OnLoadedImage(session, [=](CImageBits& image, int) {
        if (record) *record = ToHandle(std::make_unique<CIPTC_Members>(image.iptc));
    });
}

}  // extern "C"
}  // namespace kestr
