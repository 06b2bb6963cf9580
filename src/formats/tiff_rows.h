// Rows of a TIFF page's samples, as they stand in the file but in the machine's byte order.
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <vector>

#include <tiffio.h>

namespace kestr {

/// Tags that tell how a page's pixels lie.
struct CTIFFLayout {
    uint32_t width = 0;   // pixels
    uint32_t height = 0;  // rows
    uint16_t bitsPerSample = 1;
    uint16_t samplesPerPixel = 1;
    uint16_t planarConfig = 1;  // 2: each sample has a plane of its own
    uint16_t compression = 1;
    bool tiled = false;
    /// Planes that rows are read from.
    [[nodiscard]] int Planes() const { return planarConfig == 2 ? samplesPerPixel : 1; }
    /// Bytes that the samples of a row take in one plane.
    [[nodiscard]] uint64_t RowBytes() const {
        const uint64_t samples = planarConfig == 2 ? 1 : samplesPerPixel;
        return (uint64_t{width} * samples * bitsPerSample + 7) / 8;
    }
};

/// Hands out rows, top row first. Each strip or row of tiles is unpacked once, whole: libtiff's
/// quick ways are open to whole strips only.
class CTIFFRows {
public:
    /// Nothing when the page's strips or tiles cannot be what they state. `file` is what `tiff`
    /// reads; both must outlive the rows. Raises std::bad_alloc.
    static std::optional<CTIFFRows> Start(TIFF* tiff, std::span<const uint8_t> file,
                                          const CTIFFLayout& layout, int planes);

    /// The samples of row `y` in each plane that was asked for; empty when they cannot be had. Rows
    /// are asked for in rising order. Valid until the next call.
    [[nodiscard]] std::span<const uint8_t* const> Row(uint32_t y);

private:
    enum class EWay { kMapped, kStrips, kScanlines, kTiles };

    CTIFFRows(TIFF* tiff, std::span<const uint8_t> file, const CTIFFLayout& layout);
    void ChooseWay();
    bool IsMappable() const;
    bool StartTiles();
    const uint8_t* MappedRow(uint32_t y, int plane);
    bool ReadStrips(uint32_t y);
    bool ReadTiles(uint32_t y);
    uint32_t StripOf(uint32_t y, int plane) const {
        return y / m_rowsPerStrip + static_cast<uint32_t>(plane) * m_stripsPerPlane;
    }

    TIFF* m_tiff;
    std::span<const uint8_t> m_file;
    CTIFFLayout m_layout;
    EWay m_way = EWay::kScanlines;
    size_t m_rowBytes = 0;
    uint32_t m_rowsPerStrip = 1;  // or rows of a tile
    uint32_t m_stripsPerPlane = 1;
    uint32_t m_blockRow = UINT32_MAX;  // the strip or row of tiles that m_buffers hold
    size_t m_tileRowBytes = 0;
    size_t m_bufferRowBytes = 0;
    std::vector<std::vector<uint8_t>> m_buffers;  // one for each plane
    std::vector<const uint8_t*> m_rows;
};

}  // namespace kestr
