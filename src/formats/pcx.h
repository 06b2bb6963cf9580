// What readers and writers of PCX files and of their container DCX share.
#pragma once

#include <cstdint>
#include <span>

#include "platform/mapped_file.h"
#include "readers/image_reader.h"

namespace kestr {

class CImageBits;
class COutputFile;

inline constexpr uint32_t kDCXSignature = 987654321;
inline constexpr uint32_t kDCXPages = 1024;  // entries of the page table, at the most
inline constexpr uint32_t kDCXFirstPage = 4 + 4 * kDCXPages;  // bytes: signature and table

struct CPCXHeader {
    uint8_t manufacturer = 0;
    uint8_t version = 0;
    uint8_t encoding = 0;
    uint8_t bits = 0;  // a pixel and plane
    int width = 0;
    int height = 0;
    std::array<uint8_t, 48> palette{};  // 16 entries: red, green, blue
    uint8_t planes = 0;
    uint16_t planeLine = 0;  // bytes
    uint16_t paletteInfo = 0;

    [[nodiscard]] int PixelBits() const { return bits * planes; }
    [[nodiscard]] bool IsPlane24() const { return bits == 8 && planes == 3; }
};

class CPCXReader : public CImageReader {
public:
    bool Open(const KESTR_CHAR* path, int page) override;
    bool Load(const KESTR_CHAR* path, int page) override;
    bool ReadLine(uint8_t* destination) override;
    void Close() override;

protected:
    bool ReadHeader(size_t start);
    bool LoadFrom(uint32_t paletteLimit);

    CMappedFileImpl m_file;

private:
    class CRuns;

    bool Decode(CRuns& runs);
    bool DecodePlanes(CRuns& runs);
    bool Decode24(CRuns& runs);
    void ReadPalette(size_t from, uint32_t limit);
    void SetTwoColors();

    CPCXHeader m_header;
    size_t m_dataStart = 0;  // offset behind the header
    CPixelBytes m_buffer;    // decoded rows from the top
    size_t m_bufferRow = 0;  // bytes of a row of it
    uint32_t m_nextRow = 0;
};

/// Writes one PCX picture at the file's present place.
bool WritePCX(CImageBits& image, COutputFile& file);

}  // namespace kestr
