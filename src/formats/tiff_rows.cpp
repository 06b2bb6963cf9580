#include "formats/tiff_rows.h"

#include <algorithm>
#include <bit>
#include <cstring>
#include <new>

#include "base/byte_cursor.h"
#include "base/picture_size.h"

namespace kestr {
namespace {

// Larger strips are unpacked row by row, so that they do not stand beside the whole picture.
constexpr uint64_t kMostStrip = 64 << 20;
// Tiles may reach beyond the picture, but not by any amount.
constexpr uint64_t kMostTiles = 64 << 20;
// Samples that no pixel takes may stand in a row, but not by any amount either.
constexpr uint64_t kMostUnusedRow = 64 << 20;
constexpr uint64_t kMostUsedSamples = 5;  // of a pixel: four inks and an alpha value

}  // namespace

CTIFFRows::CTIFFRows(TIFF* tiff, std::span<const uint8_t> file, const CTIFFLayout& layout)
    : m_tiff(tiff), m_file(file), m_layout(layout) {}

std::optional<CTIFFRows> CTIFFRows::Start(TIFF* tiff, std::span<const uint8_t> file,
                                          const CTIFFLayout& layout, int planes) {
    CTIFFRows rows(tiff, file, layout);
    const uint64_t usedBytes =
        uint64_t{layout.width} * kMostUsedSamples * ((layout.bitsPerSample + 7u) / 8);
    if (layout.RowBytes() > std::max(kMostUnusedRow, usedBytes)) return std::nullopt;
    if (layout.RowBytes() > kMostPictureBytes) throw std::bad_alloc();
    rows.m_rowBytes = static_cast<size_t>(layout.RowBytes());
    rows.m_buffers.resize(static_cast<size_t>(planes));
    rows.m_rows.resize(static_cast<size_t>(planes));
    if (layout.tiled) {
        rows.m_way = EWay::kTiles;
        if (!rows.StartTiles()) return std::nullopt;
        return rows;
    }
    const tmsize_t scanline = TIFFScanlineSize(tiff);
    if (scanline <= 0 || static_cast<uint64_t>(scanline) < layout.RowBytes()) return std::nullopt;
    rows.m_bufferRowBytes = static_cast<size_t>(scanline);
    uint32_t rowsPerStrip = 0;
    TIFFGetFieldDefaulted(tiff, TIFFTAG_ROWSPERSTRIP, &rowsPerStrip);
    if (rowsPerStrip == 0) return std::nullopt;
    rows.m_rowsPerStrip = std::min(rowsPerStrip, layout.height);
    rows.m_stripsPerPlane = (layout.height - 1) / rows.m_rowsPerStrip + 1;
    rows.ChooseWay();
    return rows;
}

void CTIFFRows::ChooseWay() {
    const uint64_t stripBytes = uint64_t{m_bufferRowBytes} * m_rowsPerStrip;
    const bool isPacked = m_layout.compression == COMPRESSION_LZW ||
                          m_layout.compression == COMPRESSION_ADOBE_DEFLATE ||
                          m_layout.compression == COMPRESSION_DEFLATE;
    if (IsMappable()) {
        m_way = EWay::kMapped;
    } else if (m_buffers.size() > 1 || (isPacked && stripBytes <= kMostStrip)) {
        if (stripBytes > kMostPictureBytes) throw std::bad_alloc();
        m_way = EWay::kStrips;
    } else {
        m_way = EWay::kScanlines;
        m_buffers[0].resize(m_bufferRowBytes);
    }
}

// Plain samples can be had where they stand in the file.
bool CTIFFRows::IsMappable() const {
    uint16_t fillOrder = FILLORDER_MSB2LSB;
    TIFFGetFieldDefaulted(m_tiff, TIFFTAG_FILLORDER, &fillOrder);
    const bool wholeBytes = m_layout.bitsPerSample == 8 || m_layout.bitsPerSample == 16;
    return m_layout.compression == COMPRESSION_NONE &&
           (wholeBytes || fillOrder == FILLORDER_MSB2LSB);
}

bool CTIFFRows::StartTiles() {
    uint32_t tileWidth = 0;
    uint32_t tileHeight = 0;
    TIFFGetField(m_tiff, TIFFTAG_TILEWIDTH, &tileWidth);
    TIFFGetField(m_tiff, TIFFTAG_TILELENGTH, &tileHeight);
    if (tileWidth == 0 || tileHeight == 0) return false;
    const tmsize_t tileBytes = TIFFTileSize(m_tiff);
    const tmsize_t tileRowBytes = TIFFTileRowSize(m_tiff);
    if (tileBytes <= 0 || tileRowBytes <= 0) return false;
    const uint64_t across = (m_layout.width - 1) / tileWidth + 1;
    const uint64_t bytes = across * static_cast<uint64_t>(tileBytes);
    const uint64_t picture = m_layout.RowBytes() * m_layout.height;
    if (bytes > std::max(kMostTiles, 4 * picture)) return false;
    m_tileRowBytes = static_cast<size_t>(tileRowBytes);
    m_bufferRowBytes = static_cast<size_t>(across) * m_tileRowBytes;
    if (m_bufferRowBytes < m_rowBytes) return false;
    m_rowsPerStrip = tileHeight;
    m_buffers[0].resize(static_cast<size_t>(bytes));
    // One tile more behind the row of tiles, to unpack into.
    m_buffers.emplace_back(static_cast<size_t>(tileBytes));
    return true;
}

std::span<const uint8_t* const> CTIFFRows::Row(uint32_t y) {
    switch (m_way) {
        case EWay::kMapped:
            for (size_t plane = 0; plane < m_rows.size(); ++plane) {
                m_rows[plane] = MappedRow(y, static_cast<int>(plane));
                if (m_rows[plane] == nullptr) return {};
            }
            return m_rows;
        case EWay::kScanlines:
            if (TIFFReadScanline(m_tiff, m_buffers[0].data(), y, 0) < 0) return {};
            m_rows[0] = m_buffers[0].data();
            return m_rows;
        case EWay::kStrips:
            if (y / m_rowsPerStrip != m_blockRow && !ReadStrips(y)) {
                return m_way == EWay::kScanlines ? Row(y) : std::span<const uint8_t* const>();
            }
            break;
        case EWay::kTiles:
            if (y / m_rowsPerStrip != m_blockRow && !ReadTiles(y)) return {};
            break;
    }
    for (size_t plane = 0; plane < m_rows.size(); ++plane) {
        m_rows[plane] = m_buffers[plane].data() + y % m_rowsPerStrip * m_bufferRowBytes;
    }
    return m_rows;
}

const uint8_t* CTIFFRows::MappedRow(uint32_t y, int plane) {
    const uint32_t strip = StripOf(y, plane);
    const uint64_t offset = TIFFGetStrileOffset(m_tiff, strip);
    const uint64_t count = TIFFGetStrileByteCount(m_tiff, strip);
    const uint64_t start = uint64_t{y % m_rowsPerStrip} * m_rowBytes;
    // A file of one strip may state its length wrong.
    const bool oneStrip = m_stripsPerPlane == 1 && m_layout.Planes() == 1;
    if (!oneStrip && start + m_rowBytes > count) return nullptr;
    const auto row = SubRange(m_file, offset, start + m_rowBytes);
    if (row.size() < start + m_rowBytes) return nullptr;
    const uint8_t* bytes = row.data() + start;
    const bool isOdd = reinterpret_cast<uintptr_t>(bytes) % 2 != 0;
    if (m_layout.bitsPerSample != 16 || (!TIFFIsByteSwapped(m_tiff) && !isOdd)) return bytes;
    std::vector<uint8_t>& buffer = m_buffers[static_cast<size_t>(plane)];
    buffer.assign(bytes, bytes + m_rowBytes);
    if (TIFFIsByteSwapped(m_tiff)) {
        TIFFSwabArrayOfShort(reinterpret_cast<uint16_t*>(buffer.data()),
                             static_cast<tmsize_t>(m_rowBytes / 2));
    }
    return buffer.data();
}

// One strip of each plane. A damaged strip is read row by row, so that the rows before the damage
// are not lost.
bool CTIFFRows::ReadStrips(uint32_t y) {
    const uint32_t block = y / m_rowsPerStrip;
    const size_t rows = std::min(m_rowsPerStrip, m_layout.height - block * m_rowsPerStrip);
    const size_t bytes = rows * m_bufferRowBytes;
    m_blockRow = block;
    for (size_t plane = 0; plane < m_rows.size(); ++plane) {
        m_buffers[plane].resize(bytes);
        const tmsize_t got =
            TIFFReadEncodedStrip(m_tiff, StripOf(y, static_cast<int>(plane)),
                                 m_buffers[plane].data(), static_cast<tmsize_t>(bytes));
        if (got == static_cast<tmsize_t>(bytes)) continue;
        m_blockRow = UINT32_MAX;
        if (m_rows.size() > 1) return false;
        m_way = EWay::kScanlines;
        // Makes libtiff forget how far it came in the strip.
        TIFFSetDirectory(m_tiff, TIFFCurrentDirectory(m_tiff));
        return false;
    }
    return true;
}

bool CTIFFRows::ReadTiles(uint32_t y) {
    const uint32_t block = y / m_rowsPerStrip;
    std::vector<uint8_t>& tile = m_buffers.back();
    const size_t rows = std::min(m_rowsPerStrip, m_layout.height - block * m_rowsPerStrip);
    const size_t across = m_bufferRowBytes / m_tileRowBytes;
    m_blockRow = UINT32_MAX;
    for (size_t i = 0; i < across; ++i) {
        const auto index = static_cast<uint32_t>(block * across + i);
        const tmsize_t got =
            TIFFReadEncodedTile(m_tiff, index, tile.data(), static_cast<tmsize_t>(tile.size()));
        if (got < 0) return false;
        for (size_t row = 0; row < rows; ++row) {
            std::memcpy(m_buffers[0].data() + row * m_bufferRowBytes + i * m_tileRowBytes,
                        tile.data() + row * m_tileRowBytes, m_tileRowBytes);
        }
    }
    m_blockRow = block;
    return true;
}

}  // namespace kestr
