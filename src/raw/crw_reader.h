#pragma once

#include <cstdint>
#include <memory>
#include <mutex>
#include <span>
#include <string_view>
#include <vector>

#include "platform/mapped_file.h"
#include "raw/canon_library.h"
#include "raw/raw_preview.h"
#include "readers/image_reader.h"

namespace kestr {

/// Canon's raw files, type id 52. Their sensor data is developed by Canon's own libraries where
/// those are installed; otherwise, and for small pictures, rows come from the JPEG picture that the
/// file carries.
class CCRWReader final : public CImageReader {
public:
    explicit CCRWReader(CCanonLibraries& libraries = InstalledCanonLibraries());
    ~CCRWReader() override;

    bool Open(const KESTR_CHAR* path, int page) override;
    bool Load(const KESTR_CHAR* path, int page) override;
    bool ReadLine(uint8_t* destination) override;
    void Close() override;

private:
    void Reset();
    void ProbeTiffHeader();
    [[nodiscard]] bool TryRoute(ECanonRoute route, const KESTR_CHAR* path);
    void OpenLibraryPicture(ECanonRoute route, const KESTR_CHAR* path);
    void TakeLibraryPicture();
    void LetLibraryGo();
    [[nodiscard]] bool IsPreviewLongEnough() const;
    [[nodiscard]] bool OpenPreview();
    [[nodiscard]] bool OpenThumbnailFile(const KESTR_CHAR* path);
    [[nodiscard]] bool ReadPreviewLine(uint8_t* destination);
    [[nodiscard]] bool ReadDevelopedLine(uint8_t* destination);

    CCanonLibraries& m_libraries;
    std::unique_lock<std::recursive_mutex> m_libraryLock;  // held while there is a picture
    std::shared_ptr<CCanonLibrary> m_library;
    std::unique_ptr<CCanonPicture> m_picture;

    CMappedFileImpl m_file;
    bool m_isTIFF = false;
    std::vector<std::span<const uint8_t>> m_previews;  // in the file, the best first
    CRawPreview m_preview;
    std::vector<uint8_t> m_grayRow;                // of a preview without colours; empty for others
    std::unique_ptr<CImageReader> m_nestedReader;  // gives the rows of a thumbnail of a TIFF file
    uint32_t m_nextRow = 0;                        // of m_bits16
};

}  // namespace kestr
