#pragma once

#include <cstdint>
#include <functional>
#include <memory>

#include "platform/system_codec.h"
#include "readers/image_reader.h"

namespace kestr {

/// Any format that a codec of the system reads, type id 76. Registered only where the system has
/// codecs (wic_reader_windows.cpp).
class CWICReader final : public CImageReader {
public:
    /// How a file is opened; null when no codec takes it.
    using COpener = std::function<std::unique_ptr<CCodecFile>(const KESTR_CHAR*)>;
    explicit CWICReader(COpener opener = &OpenWithSystemCodec);
    ~CWICReader() override;

    bool Open(const KESTR_CHAR* path, int page) override;
    bool Load(const KESTR_CHAR* path, int page) override;
    bool ReadLine(uint8_t* destination) override;
    void Close() override;

private:
    struct CPixelFormat;

    bool ReadHeader(const KESTR_CHAR* path, int page);
    void ReadMetadata();
    void ChooseSmallPicture();
    bool InstallPalette();
    bool ReadBand(uint32_t row);
    void Deliver(const uint8_t* source, uint8_t* destination);

    static const CPixelFormat* FindFormat(const CCodecPicture* picture);

    COpener m_opener;
    std::unique_ptr<CCodecFile> m_file;
    std::unique_ptr<CCodecPicture> m_picture;  // goes before the file
    const CPixelFormat* m_format = nullptr;
    CPixelBytes m_band;  // rows of the picture as the codec gives them
    uint32_t m_sourceRowBytes = 0;
    uint32_t m_bandRows = 0;   // that m_band has room for
    uint32_t m_bandStart = 0;  // the row that stands first in it
    uint32_t m_bandEnd = 0;    // the row behind the last one in it
    uint32_t m_nextRow = 0;
};

}  // namespace kestr
