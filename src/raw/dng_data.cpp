#include "raw/dng_data.h"

#include <algorithm>
#include <memory>

#include "base/byte_cursor.h"
#include "raw/demosaic.h"
#include "raw/lossless_jpeg.h"
#include "raw/packed_samples.h"
#include "raw/raw_sensor_image.h"
#include "raw/sensor_row.h"

namespace kestr {
namespace {

/// One tile, cut off at the picture's edges.
struct CTile {
    uint32_t left = 0;
    uint32_t top = 0;
    uint32_t width = 0;
    uint32_t height = 0;
    std::span<const uint8_t> bytes;
    uint32_t numberInRow = 0;  // among those beside it
};

/// Puts rows of tiles to where they belong in the image.
class CDNGStore {
public:
    CDNGStore(const CDNGData& data, CRawSensorImage& image)
        : m_data(data), m_image(image), m_grid(data), m_mapped(MakeMap(data)) {}

    /// `values` are all samples of the pixels from column `left` on.
    void Row(uint32_t y, uint32_t left, std::span<const uint16_t> values) {
        if (!m_mapped.empty()) {
            m_row.resize(values.size());
            std::ranges::transform(values, m_row.begin(), [&](uint16_t v) { return m_mapped[v]; });
            values = m_row;
        }
        if (m_data.linear) {
            LinearRow(y, left, values);
        } else if (m_data.staggered) {
            StaggeredRow(y, left, values);
        } else {
            StoreSensorRow(m_image, y, values, left);
        }
    }

private:
    /// The sample of each value of 16 bits; empty when there is nothing to change.
    static std::vector<uint16_t> MakeMap(const CDNGData& data) {
        std::vector<uint16_t> map;
        if (data.linearization.empty()) return map;
        map = data.linearization;
        map.resize(65536, data.linearization.back());
        return map;
    }

    void LinearRow(uint32_t y, uint32_t left, std::span<const uint16_t> values) {
        const size_t stored = m_data.samplesPerPixel, colors = m_image.samples.colors;
        uint16_t* out = m_image.samples.Pixel(y, left);
        for (size_t i = 0; i + stored <= values.size(); i += stored, out += colors) {
            for (size_t c = 0; c < stored; ++c) out[c] = values[i + c];
        }
    }

    void StaggeredRow(uint32_t y, uint32_t left, std::span<const uint16_t> values) {
        if (y >= m_grid.rows) return;
        CRawSamples& samples = m_image.samples;
        for (uint32_t i = 0; i < values.size(); ++i) {
            const uint32_t x = left + i;
            const uint32_t row = y + ((x + 1) >> 1);
            const uint32_t column = m_grid.rows - 1 - y + (x >> 1);
            if (row >= samples.height || column >= samples.width) continue;
            samples.Pixel(row, column)[m_image.FC(row, column)] = values[i];
        }
    }

    const CDNGData& m_data;
    CRawSensorImage& m_image;
    CStaggeredGrid m_grid;
    std::vector<uint16_t> m_mapped;
    std::vector<uint16_t> m_row;
};

class CDNGDecoder {
public:
    CDNGDecoder(const CDNGData& data, CRawSensorImage& image, CImageReader* reader)
        : m_data(data),
          m_image(image),
          m_reader(reader),
          m_store(data, image),
          m_across((data.width + uint64_t{data.tileWidth} - 1) / data.tileWidth) {}

    [[nodiscard]] bool Run(std::span<const uint8_t> file) {
        const uint64_t down = (m_data.height + uint64_t{m_data.tileHeight} - 1) / m_data.tileHeight;
        for (uint64_t i = 0; i < m_across * down; ++i) {
            if (i >= m_data.offsets.size()) return !m_data.compressed;
            const CTile tile = TileAt(i, file);
            if (m_data.compressed ? !Decode(tile) : !Unpack(tile)) return false;
        }
        return true;
    }

private:
    CTile TileAt(uint64_t index, std::span<const uint8_t> file) const {
        CTile tile;
        tile.numberInRow = static_cast<uint32_t>(index % m_across);
        tile.left = static_cast<uint32_t>(tile.numberInRow * uint64_t{m_data.tileWidth});
        tile.top = static_cast<uint32_t>(index / m_across * m_data.tileHeight);
        tile.width = std::min(m_data.tileWidth, m_data.width - tile.left);
        tile.height = std::min(m_data.tileHeight, m_data.height - tile.top);
        const auto place = static_cast<size_t>(index);
        // The lengths of uncompressed tiles follow from their size, and some writers' are wrong.
        const bool bounded = m_data.compressed && place < m_data.lengths.size();
        tile.bytes = SubRange(file, m_data.offsets[place],
                              bounded ? uint64_t{m_data.lengths[place]} : UINT64_MAX);
        return tile;
    }

    /// Tiles beside each other share the progress of their rows.
    [[nodiscard]] bool StartRow(const CTile& tile, uint32_t y) {
        const uint64_t done = uint64_t{tile.numberInRow} * tile.height + y;
        return StartRawRow(m_image, m_reader, static_cast<uint32_t>(tile.top + done / m_across));
    }

    [[nodiscard]] bool Unpack(const CTile& tile) {
        const CPackedLayout layout{.packing = m_data.bitsPerSample == 12
                                                  ? CSamplePacking::k12HighFirst
                                              : m_data.bigEndian ? CSamplePacking::kBigWords
                                                                 : CSamplePacking::kLittleWords};
        const bool bytes = m_data.bitsPerSample == 8;
        const uint64_t rowSamples = uint64_t{m_data.tileWidth} * m_data.samplesPerPixel;
        const uint64_t rowBytes = (rowSamples * m_data.bitsPerSample + 7) / 8;
        m_line.resize(size_t{tile.width} * m_data.samplesPerPixel);
        for (uint32_t y = 0; y < tile.height; ++y) {
            if (!StartRow(tile, y)) return false;
            const auto row = SubRange(tile.bytes, y * rowBytes, rowBytes);
            if (bytes) {
                const size_t count = std::min(row.size(), m_line.size());
                std::copy_n(row.begin(), count, m_line.begin());
                std::fill(m_line.begin() + static_cast<ptrdiff_t>(count), m_line.end(), 0);
            } else {
                UnpackRow(row, layout, m_line);
            }
            m_store.Row(tile.top + y, tile.left, m_line);
        }
        return true;
    }

    /// The stream's rows need not be those of the tile: its samples run on, row after row.
    [[nodiscard]] bool Decode(const CTile& tile) {
        const auto stream = CLosslessJPEG::Open(tile.bytes, m_data.bitsBehind16);
        if (!stream) return false;
        const uint64_t rowSamples = uint64_t{m_data.tileWidth} * m_data.samplesPerPixel;
        const uint64_t streamSamples = uint64_t{stream->Columns()} * stream->Components();
        if (streamSamples > rowSamples * m_data.tileHeight) return false;
        const size_t kept = size_t{tile.width} * m_data.samplesPerPixel;
        m_line.clear();
        uint32_t streamRows = stream->Rows();
        for (uint32_t y = 0; y < tile.height && streamRows > 0; --streamRows) {
            if (!StartRow(tile, y)) return false;
            auto values = stream->NextRow();
            if (values.empty()) return false;
            if (streamSamples == rowSamples) {
                m_store.Row(tile.top + y++, tile.left, values.first(kept));
                continue;
            }
            while (!values.empty() && y < tile.height) {
                const auto missing = static_cast<size_t>(rowSamples - m_line.size());
                const size_t count = std::min(missing, values.size());
                m_line.insert(m_line.end(), values.begin(),
                              values.begin() + static_cast<ptrdiff_t>(count));
                values = values.subspan(count);
                if (m_line.size() < rowSamples) break;
                m_store.Row(tile.top + y++, tile.left, std::span(m_line).first(kept));
                m_line.clear();
            }
        }
        return true;
    }

    const CDNGData& m_data;
    CRawSensorImage& m_image;
    CImageReader* m_reader;
    CDNGStore m_store;
    uint64_t m_across;  // tiles beside each other
    std::vector<uint16_t> m_line;
};

}  // namespace

CStaggeredGrid::CStaggeredGrid(const CDNGData& data)
    : rows(data.height & ~1u),
      bufferWidth(std::max<uint64_t>(uint64_t{rows} + data.width / 2, 1) - 1),
      bufferHeight(uint64_t{rows} + data.width / 2) {}

bool ReadDNGData(std::span<const uint8_t> file, const CDNGData& data, CRawSensorImage& image,
                 CImageReader* reader) {
    return CDNGDecoder(data, image, reader).Run(file);
}

}  // namespace kestr
