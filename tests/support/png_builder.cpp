#include "support/png_builder.h"

#include <zlib.h>

namespace kestr::test {
namespace {

constexpr uint8_t kSignature[] = {0x89, 'P', 'N', 'G', 13, 10, 26, 10};

void Append(std::vector<uint8_t>& file, const std::vector<uint8_t>& bytes) {
    file.insert(file.end(), bytes.begin(), bytes.end());
}

void AppendChunk(std::vector<uint8_t>& file, std::string_view name,
                 const std::vector<uint8_t>& data) {
    Append(file, Bytes32({static_cast<uint32_t>(data.size())}));
    std::vector<uint8_t> body = BytesOf(name);
    Append(body, data);
    Append(file, body);
    Append(file,
           Bytes32({static_cast<uint32_t>(crc32(0, body.data(), static_cast<uInt>(body.size())))}));
}

}  // namespace

std::vector<uint8_t> Bytes32(std::initializer_list<uint32_t> numbers) {
    std::vector<uint8_t> bytes;
    for (const uint32_t number : numbers) {
        for (int shift = 24; shift >= 0; shift -= 8) {
            bytes.push_back(static_cast<uint8_t>(number >> shift));
        }
    }
    return bytes;
}

std::vector<uint8_t> BytesOf(std::string_view text) {
    return {text.begin(), text.end()};
}

CPNGBuilder& CPNGBuilder::Chunk(std::string_view name, std::vector<uint8_t> data) {
    AppendChunk(m_before, name, data);
    return *this;
}

CPNGBuilder& CPNGBuilder::ChunkBehind(std::string_view name, std::vector<uint8_t> data) {
    AppendChunk(m_behind, name, data);
    return *this;
}

std::vector<uint8_t> CPNGBuilder::Packed(const std::vector<uint8_t>& bytes) {
    uLongf size = compressBound(static_cast<uLong>(bytes.size()));
    std::vector<uint8_t> packed(size);
    compress(packed.data(), &size, bytes.data(), static_cast<uLong>(bytes.size()));
    packed.resize(size);
    return packed;
}

void CPNGBuilder::AddPass(std::vector<uint8_t>& rows, int x0, int y0, int dx, int dy) const {
    const int channels =
        (m_colourType & 2 && m_colourType != 3 ? 3 : 1) + (m_colourType & 4 ? 1 : 0);
    const auto width = static_cast<int>(m_width);
    if (x0 >= width) return;
    for (int y = y0; y < static_cast<int>(m_height); y += dy) {
        rows.push_back(0);  // no filter
        int bits = 0;
        int byte = 0;
        for (int x = x0; x < width; x += dx) {
            for (int c = 0; c < channels; ++c) {
                const int sample = m_sample(x, y, c);
                if (m_bitDepth == 16) rows.push_back(static_cast<uint8_t>(sample >> 8));
                if (m_bitDepth >= 8) {
                    rows.push_back(static_cast<uint8_t>(sample));
                    continue;
                }
                byte = byte << m_bitDepth | sample;
                bits += m_bitDepth;
                if (bits == 8) {
                    rows.push_back(static_cast<uint8_t>(byte));
                    bits = byte = 0;
                }
            }
        }
        if (bits != 0) rows.push_back(static_cast<uint8_t>(byte << (8 - bits)));
    }
}

std::vector<uint8_t> CPNGBuilder::Rows() const {
    // First column, first row, steps of the seven passes.
    constexpr int kPasses[7][4] = {{0, 0, 8, 8}, {4, 0, 8, 8}, {0, 4, 4, 8}, {2, 0, 4, 4},
                                   {0, 2, 2, 4}, {1, 0, 2, 2}, {0, 1, 1, 2}};
    std::vector<uint8_t> rows;
    if (!m_interlaced) AddPass(rows, 0, 0, 1, 1);
    for (const auto& pass : kPasses) {
        if (m_interlaced) AddPass(rows, pass[0], pass[1], pass[2], pass[3]);
    }
    return rows;
}

std::vector<uint8_t> CPNGBuilder::File() const {
    std::vector<uint8_t> file(std::begin(kSignature), std::end(kSignature));
    std::vector<uint8_t> header = Bytes32({m_width, m_height});
    Append(header, {static_cast<uint8_t>(m_bitDepth), static_cast<uint8_t>(m_colourType), 0, 0,
                    m_interlaced ? uint8_t{1} : uint8_t{0}});
    AppendChunk(file, "IHDR", header);
    Append(file, m_before);
    // A picture that only states its size has no rows.
    const bool stated = m_width > 4096 || m_height > 4096 || m_width == 0 || m_height == 0;
    AppendChunk(file, "IDAT", Packed(stated ? std::vector<uint8_t>{} : Rows()));
    Append(file, m_behind);
    AppendChunk(file, "IEND", {});
    return file;
}

std::vector<CPNGChunk> PNGChunks(const std::vector<uint8_t>& file) {
    std::vector<CPNGChunk> chunks;
    size_t at = sizeof kSignature;
    while (at + 12 <= file.size()) {
        const size_t size = size_t{file[at]} << 24 | size_t{file[at + 1]} << 16 |
                            size_t{file[at + 2]} << 8 | file[at + 3];
        if (size > file.size() - at - 12) break;
        const uint8_t* name = file.data() + at + 4;
        chunks.push_back({std::string_view(reinterpret_cast<const char*>(name), 4),
                          std::vector<uint8_t>(name + 4, name + 4 + size)});
        at += size + 12;
    }
    return chunks;
}

}  // namespace kestr::test
