#pragma once

#include <array>
#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include <kestr/types.h>

#include "base/bitmap_info.h"
#include "base/pixel_buffer.h"
#include "metadata/exif_members.h"
#include "metadata/iptc_members.h"
#include "metadata/wic_metadata.h"

namespace kestr {

class CCallbackCls;

/// Left, top, width and height of a frame in its logical screen, in pixels.
struct CFrameRect {
    uint32_t left = 0;
    uint32_t top = 0;
    uint32_t width = 0;
    uint32_t height = 0;
};

/// Base of all readers. A reader lives for one load or query: the factory makes it and fills in
/// what it needs to know, the image pulls rows out of it, top row first, and takes over what it
/// gathered. Order of calls: Probe, ResetForLoad, StartLoad, ReadLine for each row or until it
/// fails, Close.
class CImageReader {
public:
    CImageReader() = default;
    virtual ~CImageReader();
    CImageReader(const CImageReader&) = delete;
    CImageReader& operator=(const CImageReader&) = delete;

    /// Whether the file is one of this reader's; fills the header fields and leaves nothing open.
    virtual bool Probe(const KESTR_CHAR* path, int page);
    /// Writes the next row, top row first, into `destination`, which has room for a row of
    /// m_bitmapInfo: every pixel of it, since the memory is not cleared before; padding may be left
    /// alone. False ends the picture, and what was written of that row is dropped.
    virtual bool ReadLine(uint8_t* destination) = 0;
    virtual void Close() = 0;
    /// Whether m_bits16 will be or has been filled.
    virtual bool Has16BitData() { return m_has16Bit; }
    virtual bool IsCameraRaw() { return false; }
    /// Has the reader decode these bytes, which must outlive the read, and no file at all; false
    /// when it can only read files.
    [[nodiscard]] virtual bool SetMemorySource(std::span<const uint8_t> /*data*/) { return false; }
    /// Reads the header; false, with m_errorText set, when the file is not of this format.
    virtual bool Open(const KESTR_CHAR* path, int page) = 0;
    /// Open() and all that must happen before the first row.
    virtual bool Load(const KESTR_CHAR* path, int page) = 0;

    /// Load() with a session for settings, progress and abort; it may be null.
    [[nodiscard]] bool StartLoad(const KESTR_CHAR* path, int page, CCallbackCls* session);
    /// Forgets what a probe gathered.
    void ResetForLoad();
    /// Asks for a picture near `width` x `height`: no smaller with fit 0, else at most that size.
    void RequestThumbnail(uint32_t width, uint32_t height, int fit);
    [[nodiscard]] std::unique_ptr<CEXIF_Members> TakeExif() { return std::move(m_exif); }
    /// A block that holds those of m_metadataBlocks; null when there are none.
    [[nodiscard]] std::unique_ptr<WicMetadata::CElement> MakeMetadataRoot() const;
    /// Keeps a copy of the profile when it is sound and the colour engine opens it.
    void SetICCProfile(std::span<const uint8_t> profile);
    /// The file's comment, with each kind of line end made CR LF and the end trimmed.
    void SetComment(std::string_view text);
    /// Reports the share of rows done within pass `passIndex` (from 1) of `passCount`.
    void ReportProgress(uint32_t row, int passIndex, int passCount);
    /// True, with m_errorText set, when the caller asked for an end.
    [[nodiscard]] bool CheckAbort();

    // What the factory and the image tell the reader.
    bool m_headerOnly = false;  // a file query: Open may skip what only pixels need
    bool m_jpegHighQuality = true;
    uint32_t m_backgroundColor = 0;  // red in the low byte
    bool m_psdFlattened = false;
    bool m_linearGamma = false;
    uint32_t m_extra = 0;  // the caller's own value for the reader
    bool m_useCanonLibrary = true;
    int32_t m_cameraHint = 0;  // 1 a file of a Kodak make, 2 a Canon EOS-1D TIFF
    bool m_thumbnailRequested = false;
    uint32_t m_minPreviewSize = 0;  // pixels; a preview with a side as long serves a raw load
    uint32_t m_thumbnailWidth = 0;
    uint32_t m_thumbnailHeight = 0;
    int m_thumbnailFit = 0;
    bool stopAtMarkerIPTC = true;
    bool exactStart = false;  // when false a JPEG's start is searched for
    uint32_t m_interpolationMethod = 1;
    CCallbackCls* m_session = nullptr;  // set for the length of Load, kept for ReadLine
    bool m_loading = false;             // while Load runs
    bool m_frameAlone = false;          // of an animation's canvas, deliver the page's frame only

    // What the reader found.
    CBitmapInfo m_bitmapInfo;
    std::string m_description = "Format: ";
    std::string m_errorText;
    std::string m_comment;
    int32_t m_typeId = 30;
    int32_t m_pageCount = -1;
    CFrameRect m_frameRect;
    int32_t m_transparentIndex = -1;
    uint32_t m_frameDisposal = 0;
    uint32_t m_frameDelay = 0;
    uint32_t m_colorCount = 0;  // palette entries in use
    uint32_t m_paletteBits = 0;
    bool m_hasTransparentColor = false;
    uint32_t m_transparentColor = 0;
    std::vector<uint8_t> m_paletteAlpha;  // per palette entry, PNG only
    uint32_t m_originalWidth = 0;         // size in the file when it differs from the delivered one
    uint32_t m_originalHeight = 0;
    uint16_t m_colorTemperature = 0;
    uint16_t mcuWidth = 1;
    uint16_t mcuHeight = 1;
    int16_t m_rotation = 0;  // degrees that the picture is to be turned; overrides EXIF
    uint16_t m_levelsBlack = 0;
    uint16_t m_levelsWhite = 0;
    double m_levelsGamma = 0;
    bool m_has16Bit = false;
    uint16_t physicalX = 0;  // pixels per inch
    uint16_t physicalY = 0;
    double m_gamma = 0.45454545454545453;
    std::unique_ptr<CEXIF_Members> m_exif;
    CIPTC_Members m_iptc;
    std::vector<uint8_t> m_cameraText;
    std::vector<uint8_t> m_soundClip;  // a WAV file's bytes
    std::vector<uint8_t> m_xmpData;
    std::vector<uint8_t> m_iccProfile;
    WicMetadata::CElements m_metadataBlocks;  // of a codec of the system
    CPixelBytes m_alpha;                      // one byte a pixel, rows top-down and unpadded
    CPixelWords m_bits16;                     // 16-bit samples, rows top-down and unpadded

protected:
    /// Sets m_errorText; false, so that a refusal is one line.
    bool Fail(std::string_view words);
    /// Sizes m_alpha or m_bits16 for the picture of m_bitmapInfo; the content is undefined until
    /// the rows are written or ZeroPlanesFrom() is called. They raise std::bad_alloc for a picture
    /// that cannot be held.
    void StartMask();
    void StartPlane16(uint32_t samplesPerPixel);
    /// Zeroes what m_alpha and m_bits16 have for row `row`, counted from the top, and those below.
    void ZeroPlanesFrom(uint32_t row);

private:
    uint32_t m_lastPercent = 0;
};

}  // namespace kestr
