// Questions to a file, answered from its header: no handle, no pixels. The words of a failure reach
// a caller here.
#include <algorithm>

#include "api/handles.h"
#include "color/icc_profile.h"
#include "metadata/camera_text.h"
#include "metadata/exif_text.h"
#include "readers/reader_factory.h"

namespace kestr {
namespace {

constexpr char kException[] = "Exception during processing.";

CReaderSearch Question(const KESTR_CHAR* path, bool exactStart) {
    return {.path = path, .headerOnly = true, .exactStart = exactStart};
}

CBstr FailureText(const KESTR_CHAR* path, const std::string& errorText) {
    return WideText("Failed to load \"" + WideToPath(path) + "\": " + errorText);
}

// The record for a caller who wants it.
template <typename Record, typename Handle>
void PutCopy(Handle** output, const Record* record) {
    if (output && record) *output = ToHandle(std::make_unique<Record>(*record));
}

// The record for a caller who wants it, unless it says next to nothing.
void PutIPTC(::CIPTC_Members** output, const CIPTC_Members& record) {
    constexpr size_t kShortestText = 6;
    if (!output) return;
    const WideString text = record.AsText(TextToWide(":"), TextToWide("\r\n"));
    if (text.size() >= kShortestText) PutCopy(output, &record);
}

// What is known of camera and date: from EXIF, else from the camera's own header.
void PutCamera(BSTR* cameraInfo, BSTR* cameraDate, const CImageReader& reader) {
    if (reader.m_exif) {
        const CEXIF_Members& exif = *reader.m_exif;
        if (cameraInfo) {
            Put(cameraInfo, CBstr(ExifAsText(exif, TextToWide(":\t"), TextToWide("\r\n"))));
        }
        const WideString date = ExifDate(exif);
        if (!date.empty()) Put(cameraDate, CBstr(date));
    } else if (!reader.m_cameraText.empty()) {
        Put(cameraInfo, WideText(CameraBlockText(reader.m_cameraText)));
        const std::string date = CameraBlockDate(reader.m_cameraText);
        if (!date.empty()) Put(cameraDate, WideText(date));
    }
}

// Hands an array of bytes out, an empty one too.
void PutBytes(SAFEARRAY** output, std::span<const uint8_t> bytes) {
    if (output) Put(output, MakeByteArray(bytes));
}

}  // namespace

extern "C" {

KESTR_API int32_t KESTR_CALL cGetImageFileInfo(const char* path, int32_t exactStart,
                                               int32_t* typeId, uint32_t* width, uint32_t* height,
                                               uint8_t* bits, uint32_t* pages, BSTR* description,
                                               BSTR* comment, BSTR* cameraInfo, BSTR* cameraDate,
                                               uint16_t* mcuWidth, uint16_t* mcuHeight,
                                               BSTR* error) {
    return cGetImageFileInfoW(WidePath(path).Get(), exactStart, typeId, width, height, bits, pages,
                              description, comment, cameraInfo, cameraDate, mcuWidth, mcuHeight,
                              error);
}

KESTR_API int32_t KESTR_CALL cGetImageFileInfoW(const KESTR_CHAR* path, int32_t exactStart,
                                                int32_t* typeId, uint32_t* width, uint32_t* height,
                                                uint8_t* bits, uint32_t* pages, BSTR* description,
                                                BSTR* comment, BSTR* cameraInfo, BSTR* cameraDate,
                                                uint16_t* mcuWidth, uint16_t* mcuHeight,
                                                BSTR* error) {
    return cGetImageFileInfoExW(path, 0, exactStart, typeId, width, height, bits, pages,
                                description, comment, cameraInfo, cameraDate, nullptr, nullptr,
                                mcuWidth, mcuHeight, error);
}

KESTR_API int32_t KESTR_CALL cGetImageFileInfoEx(
    const char* path, uint32_t page, int32_t exactStart, int32_t* typeId, uint32_t* width,
    uint32_t* height, uint8_t* bits, uint32_t* pages, BSTR* description, BSTR* comment,
    BSTR* cameraInfo, BSTR* cameraDate, ::CEXIF_Members** exif, ::CIPTC_Members** iptc,
    uint16_t* mcuWidth, uint16_t* mcuHeight, BSTR* error) {
    return cGetImageFileInfoExW(WidePath(path).Get(), page, exactStart, typeId, width, height, bits,
                                pages, description, comment, cameraInfo, cameraDate, exif, iptc,
                                mcuWidth, mcuHeight, error);
}

KESTR_API int32_t KESTR_CALL cGetImageFileInfoExW(
    const KESTR_CHAR* path, uint32_t page, int32_t exactStart, int32_t* typeId, uint32_t* width,
    uint32_t* height, uint8_t* bits, uint32_t* pages, BSTR* description, BSTR* comment,
    BSTR* cameraInfo, BSTR* cameraDate, ::CEXIF_Members** exif, ::CIPTC_Members** iptc,
    uint16_t* mcuWidth, uint16_t* mcuHeight, BSTR* error) {
    Clear(description, comment, cameraInfo, cameraDate, exif, iptc, error);
    Put(typeId, 0);
    Put(width, 0);
    Put(height, 0);
    Put(bits, 0);
    Put(pages, 0);
    Put(mcuWidth, 0);
    Put(mcuHeight, 0);
    int32_t result = 0;
    try {
        CReaderSearch question = Question(path, exactStart != 0);
        question.page = static_cast<int>(page);
        std::string errorText;
        const auto reader = FindReader(question, errorText);
        if (!reader) {
            Put(error, FailureText(path, errorText));
            return 0;
        }
        result = 1;
        const CBitmapInfo& bitmap = reader->m_bitmapInfo;
        Put(typeId, reader->m_typeId);
        Put(width, bitmap.Width());
        Put(height, bitmap.Height());
        Put(bits, bitmap.BitCount() * (reader->Has16BitData() ? 2 : 1));
        Put(pages, std::max(reader->m_pageCount, 1));
        Put(mcuWidth, reader->mcuWidth);
        Put(mcuHeight, reader->mcuHeight);
        Put(description, WideText(reader->m_description));
        Put(comment, WideText(reader->m_comment));
        PutCamera(cameraInfo, cameraDate, *reader);
        PutCopy(exif, reader->m_exif.get());
        PutIPTC(iptc, reader->m_iptc);
    } catch (...) {  // what was written stays, and the result is what it was
    }
    return result;
}

KESTR_API int32_t KESTR_CALL cGetImageFileMetadata(const char* path, int32_t exactStart,
                                                   int32_t stopAtMarkerIPTC, ::CEXIF_Members** exif,
                                                   ::CIPTC_Members** iptc) {
    return cGetImageFileMetadataEx(path, exactStart, stopAtMarkerIPTC, exif, iptc, nullptr);
}

KESTR_API int32_t KESTR_CALL cGetImageFileMetadataW(const KESTR_CHAR* path, int32_t exactStart,
                                                    int32_t stopAtMarkerIPTC,
                                                    ::CEXIF_Members** exif,
                                                    ::CIPTC_Members** iptc) {
    return cGetImageFileMetadataExW(path, exactStart, stopAtMarkerIPTC, exif, iptc, nullptr);
}

KESTR_API int32_t KESTR_CALL cGetImageFileMetadataEx(const char* path, int32_t exactStart,
                                                     int32_t stopAtMarkerIPTC,
                                                     ::CEXIF_Members** exif, ::CIPTC_Members** iptc,
                                                     void** metadataRoot) {
    return cGetImageFileMetadataExW(WidePath(path).Get(), exactStart, stopAtMarkerIPTC, exif, iptc,
                                    metadataRoot);
}

KESTR_API int32_t KESTR_CALL cGetImageFileMetadataExW(const KESTR_CHAR* path, int32_t exactStart,
                                                      int32_t stopAtMarkerIPTC,
                                                      ::CEXIF_Members** exif,
                                                      ::CIPTC_Members** iptc, void** metadataRoot) {
    Clear(exif, iptc, metadataRoot);
    int32_t result = 0;
    try {
        CReaderSearch question = Question(path, exactStart != 0);
        question.stopAtMarkerIPTC = stopAtMarkerIPTC != 0;
        std::string errorText;
        const auto reader = FindReader(question, errorText);
        if (!reader) return 0;
        result = 1;
        PutCopy(exif, reader->m_exif.get());
        PutIPTC(iptc, reader->m_iptc);
        if (metadataRoot) *metadataRoot = ToHandle(reader->MakeMetadataRoot());
    } catch (...) {  // what was written stays, and the result is what it was
    }
    return result;
}

KESTR_API int32_t KESTR_CALL cGetImageFileXmp(const char* path, SAFEARRAY** bytes, BSTR* error) {
    return cGetImageFileXmpW(WidePath(path).Get(), bytes, error);
}

KESTR_API int32_t KESTR_CALL cGetImageFileXmpW(const KESTR_CHAR* path, SAFEARRAY** bytes,
                                               BSTR* error) {
    Clear(bytes, error);
    try {
        std::string errorText;
        const auto reader = FindReader(Question(path, false), errorText);
        if (!reader) {
            Put(error, FailureText(path, errorText));
            return 0;
        }
        PutBytes(bytes, reader->m_xmpData);
        return 1;
    } catch (...) {  // told in the one text for whatever went wrong
        Put(error, WideText(kException));
        return 0;
    }
}

KESTR_API int32_t KESTR_CALL cGetImageICCProfile_Info(const char* path, BSTR* name,
                                                      SAFEARRAY** bytes, BSTR* error) {
    return cGetImageICCProfile_InfoW(WidePath(path).Get(), name, bytes, error);
}

KESTR_API int32_t KESTR_CALL cGetImageICCProfile_InfoW(const KESTR_CHAR* path, BSTR* name,
                                                       SAFEARRAY** bytes, BSTR* error) {
    Clear(name, bytes, error);
    try {
        std::string errorText;
        const auto reader = FindReader(Question(path, false), errorText);
        if (!reader) {
            Put(error, FailureText(path, errorText));
            return 0;
        }
        std::vector<uint8_t> profile = std::move(reader->m_iccProfile);
        if (profile.empty() && reader->m_exif) reader->m_exif->DetectAdobeRGB(profile);
        PutBytes(bytes, profile);
        if (!profile.empty()) Put(name, WideText(ICCProfileName(profile)));
        return 1;
    } catch (...) {  // told in the one text for whatever went wrong
        Put(error, WideText(kException));
        return 0;
    }
}

}  // extern "C"
}  // namespace kestr
