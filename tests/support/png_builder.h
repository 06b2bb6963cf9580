#pragma once

#include <cstdint>
#include <functional>
#include <string_view>
#include <vector>

namespace kestr::test {

/// Builds PNG files byte by byte, right ones and wrong ones; packs its rows unfiltered.
class CPNGBuilder {
public:
    /// One sample of a pixel as the file has it: channel 0 is red, gray or an index.
    using CSampleAt = std::function<int(int x, int y, int channel)>;

    CPNGBuilder& Size(uint32_t width, uint32_t height) {
        m_width = width, m_height = height;
        return *this;
    }
    CPNGBuilder& Format(int colourType, int bitDepth) {
        m_colourType = colourType, m_bitDepth = bitDepth;
        return *this;
    }
    CPNGBuilder& Interlaced(bool interlaced = true) { return m_interlaced = interlaced, *this; }
    CPNGBuilder& Samples(CSampleAt sample) { return m_sample = std::move(sample), *this; }
    /// A chunk between the header and the pixels, in the order of the calls.
    CPNGBuilder& Chunk(std::string_view name, std::vector<uint8_t> data);
    /// A chunk behind the pixels.
    CPNGBuilder& ChunkBehind(std::string_view name, std::vector<uint8_t> data);

    [[nodiscard]] std::vector<uint8_t> File() const;
    [[nodiscard]] static std::vector<uint8_t> Packed(const std::vector<uint8_t>& bytes);

private:
    [[nodiscard]] std::vector<uint8_t> Rows() const;
    void AddPass(std::vector<uint8_t>& rows, int x0, int y0, int dx, int dy) const;

    uint32_t m_width = 1;
    uint32_t m_height = 1;
    int m_colourType = 2;
    int m_bitDepth = 8;
    bool m_interlaced = false;
    CSampleAt m_sample = [](int, int, int) { return 0; };
    std::vector<uint8_t> m_before;
    std::vector<uint8_t> m_behind;
};

struct CPNGChunk {
    std::string_view name;
    std::vector<uint8_t> data;
};
/// The chunks of a file in its order; those behind a fault are left out.
std::vector<CPNGChunk> PNGChunks(const std::vector<uint8_t>& file);

std::vector<uint8_t> Bytes32(std::initializer_list<uint32_t> numbers);  // big-endian
std::vector<uint8_t> BytesOf(std::string_view text);

}  // namespace kestr::test
