#include "support/dib_builder.h"

namespace kestr::test {
namespace {

void Put(std::vector<uint8_t>& bytes, uint32_t value, int count) {
    for (int i = 0; i < count; ++i) bytes.push_back(static_cast<uint8_t>(value >> (8 * i)));
}

}  // namespace

std::vector<uint8_t> CDIBBuilder::Header() const {
    std::vector<uint8_t> bytes;
    if (m_core) {
        Put(bytes, 12, 4);
        Put(bytes, static_cast<uint32_t>(m_width), 2);
        Put(bytes, static_cast<uint32_t>(m_height), 2);
        Put(bytes, m_planes, 2);
        Put(bytes, m_bits, 2);
    } else {
        Put(bytes, m_headerSize, 4);
        Put(bytes, static_cast<uint32_t>(m_width), 4);
        Put(bytes, static_cast<uint32_t>(m_height), 4);
        Put(bytes, m_planes, 2);
        Put(bytes, m_bits, 2);
        Put(bytes, m_compression, 4);
        Put(bytes, 0, 4);
        Put(bytes, static_cast<uint32_t>(m_xPels), 4);
        Put(bytes, static_cast<uint32_t>(m_yPels), 4);
        Put(bytes, m_colorsUsed, 4);
        Put(bytes, 0, 4);
        for (const uint32_t mask : m_masks) Put(bytes, mask, 4);
        while (bytes.size() < m_headerSize && m_headerSize <= 124) bytes.push_back(0);
    }
    for (const auto& entry : m_palette) {
        bytes.insert(bytes.end(), entry.begin(), entry.end());
        if (!m_core) bytes.push_back(0);
    }
    return bytes;
}

std::vector<uint8_t> CDIBBuilder::File() const {
    const std::vector<uint8_t> header = Header();
    const auto offset = static_cast<uint32_t>(14 + header.size());
    std::vector<uint8_t> bytes{'B', 'M'};
    Put(bytes, offset + static_cast<uint32_t>(m_pixels.size()), 4);
    Put(bytes, 0, 4);
    Put(bytes, m_offsetStated ? m_pixelOffset : offset, 4);
    bytes.insert(bytes.end(), header.begin(), header.end());
    bytes.insert(bytes.end(), m_pixels.begin(), m_pixels.end());
    return bytes;
}

}  // namespace kestr::test
