#include "readers/reader_factory.h"

#include <array>

#include "platform/files.h"
#include "platform/mapped_file.h"
#include "readers/extension_table.h"
#include "readers/reader_registry.h"
#include "readers/type_ids.h"

namespace kestr {
namespace {

// Readers that are tried when the extension's own refuses a file, in this order. Camera raw formats
// are not among them: a raw file with a wrong extension is not recognised as raw.
constexpr auto kFallBackList = std::to_array<CTypeId>(
    {kTypeBMPRunLength, kTypeGIF,          kTypeIcon,     kTypeDCX, kTypeFlashPix,
     kTypePhotoCD,      kTypePCX,          kTypeRadiance, kTypePBM, kTypePNG,
     kTypePhotoshop,    kTypePaintShopPro, kTypeCasio,    kTypeSGI, kTypeTIFF,
     kTypeWMF,          kTypeJPEG,         kTypeJPEG2000, kTypeIFF, kTypeSun,
     kTypeXBM,          kTypeXPM,          kTypeXWD,      kTypeMBM, kTypeWinFax});
static_assert(kFallBackList.size() == 25);

/// The closed library that would develop TIFF files of the Canon EOS-1D hands out a table of
/// functions whose layout is not known: it cannot be used.
bool CanStartCanonLibrary() {
    return false;
}

CCameraHint CameraHintOfFile(const KESTR_CHAR* path) {
    CMappedFileImpl file;
    if (!file.OpenRead(path)) return {};
    return ReadCameraHint(file.Bytes());
}

class CSearch {
public:
    CSearch(const CReaderSearch& search, std::string& errorText)
        : m_search(search), m_errorText(errorText) {}

    std::unique_ptr<CImageReader> Run() {
        if (!CanReadFile(m_search.path)) return nullptr;
        int32_t typeId = NamedType();
        auto reader = Create(typeId);
        if (!m_search.verify) return reader;
        if (reader) {
            reader->m_headerOnly = m_search.headerOnly;
            if (m_search.thumbnail) Request(*reader);
            if (reader->Probe(m_search.path, m_search.page)) return reader;
            m_errorText = reader->m_errorText;
            const bool isCanonRaw = reader->m_typeId == kTypeCanonRaw;
            if (isCanonRaw) {
                if (auto canon = CreateAndProbe(kTypeCanonRaw)) return canon;
            }
        }
        for (const CTypeId candidate : kFallBackList) {
            if (auto found = CreateAndProbe(candidate)) return found;
        }
        return nullptr;
    }

private:
    int32_t NamedType() {
        const std::string key = ExtensionKey(m_search.path);
        if (IsSystemCodecExtension(key)) return kTypeWIC;
        const int32_t typeId = TypeIdOfExtension(key);
        if (typeId != kTypeTIFF && typeId != kTypeNikon) return typeId;
        m_hint = CameraHintOfFile(m_search.path);
        const bool canonLibrary =
            m_search.useCanonLibrary && m_hint.canon && CanStartCanonLibrary();
        return canonLibrary ? kTypeCanonRaw : typeId;
    }

    std::unique_ptr<CImageReader> Create(int32_t typeId) {
        auto reader = CreateReader(typeId, m_search.stopAtMarkerIPTC, m_search.exactStart, {});
        if (!reader) return nullptr;
        reader->m_useCanonLibrary = m_search.useCanonLibrary;
        if (m_hint.kodak) {
            reader->m_cameraHint = 1;
        } else if (m_hint.canon) {
            reader->m_cameraHint = 2;
        }
        return reader;
    }

    std::unique_ptr<CImageReader> CreateAndProbe(int32_t typeId) {
        auto reader = Create(typeId);
        if (!reader) return nullptr;
        reader->m_headerOnly = m_search.headerOnly;
        return reader->Probe(m_search.path, 0) ? std::move(reader) : nullptr;
    }

    void Request(CImageReader& reader) {
        reader.RequestThumbnail(m_search.thumbnailWidth, m_search.thumbnailHeight,
                                m_search.thumbnailFit);
        reader.m_minPreviewSize = m_search.minPreviewSize;
    }

    const CReaderSearch& m_search;
    std::string& m_errorText;
    CCameraHint m_hint;
};

}  // namespace

std::unique_ptr<CImageReader> FindReader(const CReaderSearch& search, std::string& errorText) {
    return CSearch(search, errorText).Run();
}

}  // namespace kestr
