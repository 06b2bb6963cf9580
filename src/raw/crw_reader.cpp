// Canon's CRW, a CIFF heap, and CR2, a TIFF file.

#include "raw/crw_reader.h"

#include <algorithm>
#include <string>

#include "base/callback.h"
#include "base/messages.h"
#include "base/picture_size.h"
#include "color/icc_profile.h"
#include "metadata/ciff_heap.h"
#include "metadata/tiff_parser.h"
#include "platform/code_page.h"
#include "raw/canon_tables.h"
#include "raw/raw_directory.h"
#include "readers/extension_table.h"
#include "readers/reader_registry.h"
#include "readers/type_ids.h"

namespace kestr {
namespace {

constexpr char kLibraryError[] = "Canon SDK error opening image.";
constexpr uint8_t kCIFFCameraBlock = 5;  // kind of the camera block
constexpr uint16_t kXmpTag = 700;
constexpr int32_t kCanonTIFF = 2;  // m_cameraHint

// In the order of trial.
struct CRoute {
    ECanonRoute route;
    const char* format;
};
constexpr CRoute kRoutes[] = {
    {ECanonRoute::kEDSDK, "Canon RAW (EDSDK) Format"},
    {ECanonRoute::kRCSDK, "Canon RAW (RCSDK) Format"},
    {ECanonRoute::kCDSDK, "Canon RAW (CDSDK/RDSDK) Format"},
};

bool IsJPEG(std::span<const uint8_t> bytes) {
    return bytes.size() > 2 && bytes[0] == 0xFF && bytes[1] == 0xD8;
}

}  // namespace

CCRWReader::CCRWReader(CCanonLibraries& libraries) : m_libraries(libraries) {}

CCRWReader::~CCRWReader() {
    Close();
}

bool CCRWReader::Open(const KESTR_CHAR* path, int) {
    Reset();
    if (!m_file.OpenRead(path)) return Fail(Message(message::kCannotOpenInput));
    ProbeTiffHeader();
    for (const CRoute& way : kRoutes) {
        if (!TryRoute(way.route, path)) continue;
        m_description += way.format;
        if (m_picture && !m_picture->properties.empty()) {
            m_description += "\r\n" + m_picture->properties;
        }
        const bool isDeveloped = m_picture && !m_preview.IsTaken() && !m_nestedReader;
        if (!isDeveloped) LetLibraryGo();
        m_has16Bit = isDeveloped;
        m_typeId = kTypeCanonRaw;
        m_errorText.clear();
        return true;
    }
    Close();
    return Fail(kLibraryError);
}

/// Forgets what an earlier Open() found.
void CCRWReader::Reset() {
    Close();
    m_isTIFF = false;
    m_previews.clear();
    m_preview.Drop();
    m_grayRow.clear();
    m_nestedReader.reset();
    m_nextRow = 0;
    m_has16Bit = false;
    m_bits16.clear();
    m_originalWidth = m_originalHeight = 0;
    physicalX = physicalY = 0;
}

/// What the file tells of itself, and where it has pictures. A heap begins like a TIFF file, but
/// has no directory where one would have to be.
void CCRWReader::ProbeTiffHeader() {
    const auto bytes = m_file.Bytes();
    const CTIFFParser parser(&m_file, true, false);
    m_isTIFF = !parser.Directories().empty();
    if (!m_isTIFF) {
        if (const auto preview = CIFFPreview(bytes); IsJPEG(preview)) m_previews.push_back(preview);
        const std::vector<uint8_t> header = CIFFCameraHeader(bytes);
        if (header.empty()) return;
        m_cameraText.assign(1, kCIFFCameraBlock);
        m_cameraText.insert(m_cameraText.end(), header.begin(), header.end());
        return;
    }
    m_exif = std::make_unique<CEXIF_Members>();
    m_exif->Parse(bytes, false, false);
    m_exif->ResolutionAsDPI(physicalX, physicalY);
    // The picture of the first directory is the large one.
    const auto strip =
        SubRange(bytes, m_exif->StripOffsets.value_or(0), m_exif->StripByteCounts.value_or(0));
    if (IsJPEG(strip)) m_previews.push_back(strip);
    for (const CTIFFDirectory& directory : parser.Directories()) {
        const CRawDirectory fields(m_file, parser.BigEndian(), directory);
        if (const auto jpeg = fields.EmbeddedJPEG(); IsJPEG(jpeg)) m_previews.push_back(jpeg);
    }
    const CRawDirectory first(m_file, parser.BigEndian(), parser.Directories()[0]);
    SetICCProfile(first.Bytes(raw_tag::kProfile));
    m_xmpData = first.Bytes(kXmpTag);
}

/// Settles where the rows will come from, if this route can give any.
bool CCRWReader::TryRoute(ECanonRoute route, const KESTR_CHAR* path) {
    if (route == ECanonRoute::kEDSDK && ExtensionKey(path) != ".cr2") return false;
    if (route == ECanonRoute::kRCSDK && !m_isTIFF && IsForLastCanonRoute(CIFFModel(m_file.Bytes())))
        return false;
    OpenLibraryPicture(route, path);
    if (m_library && !m_picture && route != ECanonRoute::kCDSDK) {
        LetLibraryGo();
        return false;
    }
    if (m_picture) {
        TakeLibraryPicture();
    } else if (!m_thumbnailRequested) {
        m_thumbnailWidth = m_thumbnailHeight = 0;
    }
    // A camera whose TIFF files lead here has its thumbnail where a TIFF reader finds it.
    const bool isCanonTIFF = m_cameraHint == kCanonTIFF;
    if (m_minPreviewSize != 0 && !isCanonTIFF && !m_thumbnailRequested) {
        m_thumbnailRequested = IsPreviewLongEnough();
    }
    bool opened = true;
    if (!m_picture || (m_thumbnailRequested && !isCanonTIFF)) {
        opened = OpenPreview();
    } else if (m_thumbnailRequested) {
        opened = OpenThumbnailFile(path);
    }
    if (!opened) LetLibraryGo();
    return opened;
}

/// Opens the file in the route's library, if that is there and wanted.
void CCRWReader::OpenLibraryPicture(ECanonRoute route, const KESTR_CHAR* path) {
    if (!m_useCanonLibrary || (route == ECanonRoute::kCDSDK && m_isTIFF)) return;
    m_libraryLock = std::unique_lock(m_libraries.Lock());
    m_library = m_libraries.Get(route);
    if (m_library) m_picture = m_library->Open(path);
    const bool fits = m_picture && m_picture->width != 0 && m_picture->height != 0 &&
                      m_picture->width <= kMostPictureSide &&
                      m_picture->height <= kMostPictureSide &&
                      ImageBytes(m_picture->width, m_picture->height, 6);
    if (!fits) m_picture.reset();
    if (!m_library) m_libraryLock.unlock();
}

void CCRWReader::TakeLibraryPicture() {
    m_originalWidth = m_picture->width;
    m_originalHeight = m_picture->height;
    m_bitmapInfo.SetFormat(24, static_cast<int32_t>(m_picture->width),
                           static_cast<int32_t>(m_picture->height));
    if (m_picture->adobeRGB) SetICCProfile(AdobeRGBProfile());
    if (m_picture->physicalX != 0 && m_picture->physicalY != 0) {
        physicalX = m_picture->physicalX;
        physicalY = m_picture->physicalY;
    }
}

void CCRWReader::LetLibraryGo() {
    m_picture.reset();
    m_library.reset();
    if (m_libraryLock.owns_lock()) m_libraryLock.unlock();
}

/// Whether the preview will do for a caller that wants some size at least.
bool CCRWReader::IsPreviewLongEnough() const {
    for (const auto stream : m_previews) {
        const auto reader = CreateReader(kTypeJPEG, false, false, {});
        if (!reader || !reader->SetMemorySource(stream)) return false;
        reader->m_headerOnly = true;
        const bool opened = reader->Open(nullptr, 0);
        reader->Close();
        if (!opened) continue;
        return std::max(static_cast<uint32_t>(reader->m_bitmapInfo.Width()),
                        static_cast<uint32_t>(reader->m_bitmapInfo.Height())) >= m_minPreviewSize;
    }
    return false;
}

bool CCRWReader::OpenPreview() {
    m_thumbnailFit = 1;  // no side is longer than wanted, as far as a divisor of 8 leads
    const auto opens = [this](auto stream) { return m_preview.OpenJPEG(*this, stream); };
    const auto stream = std::ranges::find_if(m_previews, opens);
    if (stream == m_previews.end()) return false;
    CImageReader& jpeg = *m_preview.JPEG();
    if (!m_picture) {
        m_originalWidth = jpeg.m_originalWidth;
        m_originalHeight = jpeg.m_originalHeight;
    }
    if (auto exif = jpeg.TakeExif()) {
        exif->makerNoteOffset += static_cast<uint32_t>(stream->data() - m_file.Data());
        m_exif = std::move(exif);
    }
    if (!jpeg.m_xmpData.empty()) m_xmpData = std::move(jpeg.m_xmpData);
    if (physicalX == 0 || physicalY == 0) {
        physicalX = jpeg.physicalX;
        physicalY = jpeg.physicalY;
    }
    if (m_bitmapInfo.BitCount() == 8) m_grayRow.resize(m_bitmapInfo.RowBytes());
    m_bitmapInfo.SetFormat(24, m_bitmapInfo.Width(), m_bitmapInfo.Height());
    return true;
}

bool CCRWReader::OpenThumbnailFile(const KESTR_CHAR* path) {
    m_nestedReader = CreateReader(kTypeTIFF, true, false, {});
    if (!m_nestedReader) return false;
    m_nestedReader->m_headerOnly = !m_loading;
    const bool opened = m_nestedReader->StartLoad(path, 0, m_session);
    if (!opened || m_nestedReader->m_bitmapInfo.BitCount() != 24) {
        m_nestedReader->Close();
        m_nestedReader.reset();
        return false;
    }
    m_bitmapInfo = m_nestedReader->m_bitmapInfo;
    m_originalWidth = static_cast<uint32_t>(m_bitmapInfo.Width());
    m_originalHeight = static_cast<uint32_t>(m_bitmapInfo.Height());
    return true;
}

bool CCRWReader::Load(const KESTR_CHAR* path, int page) {
    if (!Open(path, page)) return false;
    if (!m_picture) return true;
    StartPlane16(3);
    ZeroPlanesFrom(0);
    uint32_t lastPercent = 0;
    const auto progress = [&](uint32_t percent) {
        if (percent != lastPercent && percent <= 100) {
            lastPercent = percent;
            callback::PassProgress(m_session, static_cast<int32_t>(percent), 1, 2);
        }
        return !callback::AbortRequested(m_session);
    };
    const bool done = m_picture->Transfer({m_bits16.data(), m_bits16.size()}, m_session, progress);
    LetLibraryGo();
    if (CheckAbort()) return false;
    if (!done) return Fail(kLibraryError);
    m_originalWidth = m_originalHeight = 0;
    return true;
}

bool CCRWReader::ReadLine(uint8_t* destination) {
    if (m_preview.IsTaken()) return ReadPreviewLine(destination);
    if (m_nestedReader) return m_nestedReader->ReadLine(destination);
    return ReadDevelopedLine(destination);
}

bool CCRWReader::ReadPreviewLine(uint8_t* destination) {
    const bool isGray = !m_grayRow.empty();
    if (!m_preview.ReadLine(*this, isGray ? m_grayRow.data() : destination)) {
        m_errorText = m_preview.JPEG()->m_errorText;
        if (!m_errorText.empty() && !CheckAbort())
            m_description += Message(message::kIncompleteRead);
        return false;
    }
    if (!isGray) return true;
    const auto width = static_cast<size_t>(m_bitmapInfo.Width());
    for (size_t x = 0; x < width; ++x) std::fill_n(destination + 3 * x, 3, m_grayRow[x]);
    return true;
}

/// The library gives red first; samples are kept and shown blue first.
bool CCRWReader::ReadDevelopedLine(uint8_t* destination) {
    if (m_nextRow >= static_cast<uint32_t>(m_bitmapInfo.Height()) || CheckAbort()) return false;
    ReportProgress(m_nextRow, 2, 2);
    const size_t rowSamples = static_cast<size_t>(m_bitmapInfo.Width()) * 3;
    uint16_t* const row = m_bits16.data() + m_nextRow++ * rowSamples;
    for (size_t i = 0; i < rowSamples; i += 3) std::swap(row[i], row[i + 2]);
    for (size_t i = 0; i < rowSamples; ++i) destination[i] = static_cast<uint8_t>(row[i] >> 8);
    return true;
}

void CCRWReader::Close() {
    if (m_nestedReader) m_nestedReader->Close();
    m_preview.Close();
    LetLibraryGo();
    m_file.Close();
}

namespace {

const CReaderRegistration kReaders{{kTypeCanonRaw}, &MakeReader<CCRWReader>};

}  // namespace
}  // namespace kestr
