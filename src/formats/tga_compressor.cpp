#include "formats/tga_compressor.h"

#include <algorithm>
#include <cstring>

#include "platform/files.h"

namespace kestr {
namespace {

/// Pixels from which on a run is worth a packet of its own.
constexpr size_t ShortestRun(size_t pixelBytes) {
    return pixelBytes == 1 ? 3 : 2;
}

template <size_t kBytes>
bool Same(const uint8_t* a, const uint8_t* b) {
    return std::memcmp(a, b, kBytes) == 0;
}

}  // namespace

void CTGACompressor::Add(const uint8_t* pixels, size_t count, bool threeBytes) {
    m_threeBytes = threeBytes;
    threeBytes ? AddPixels<3>(pixels, count) : AddPixels<1>(pixels, count);
}

template <size_t kBytes>
void CTGACompressor::AddPixels(const uint8_t* pixels, size_t count) {
    for (size_t i = 0; i < count;) {
        const uint8_t* pixel = pixels + i * kBytes;
        if (m_runLength == 0 || !Same<kBytes>(pixel, m_runValue.data())) {
            EndRun<kBytes>();
            std::memcpy(m_runValue.data(), pixel, kBytes);
            m_runLength = 1;
            ++i;
            continue;
        }
        const size_t room = std::min(count - i, kLongestPacket - m_runLength);
        size_t length = 1;
        while (length < room && Same<kBytes>(pixel + length * kBytes, m_runValue.data())) ++length;
        m_runLength += length;
        i += length;
        if (m_runLength >= ShortestRun(kBytes)) WriteLiterals();
        if (m_runLength == kLongestPacket) WriteRun();
    }
}

/// A run that is too short moves to the literals.
template <size_t kBytes>
void CTGACompressor::EndRun() {
    if (m_runLength >= ShortestRun(kBytes)) {
        WriteRun();
        return;
    }
    for (; m_runLength != 0; --m_runLength) {
        std::memcpy(m_literals.data() + m_literalCount * kBytes, m_runValue.data(), kBytes);
        if (++m_literalCount == kLongestPacket) WriteLiterals();
    }
}

bool CTGACompressor::Flush() {
    if (m_runLength > 1) {
        WriteLiterals();  // pixels keep their order
        WriteRun();
    } else {
        m_threeBytes ? EndRun<3>() : EndRun<1>();
        WriteLiterals();
    }
    m_ok = m_ok && m_file.Write(m_block.data(), m_gathered);
    m_gathered = 0;
    return m_ok;
}

void CTGACompressor::WriteRun() {
    const auto head =
        static_cast<uint8_t>(m_signedHeaders ? m_runLength - 1 : (m_runLength - 1) | 128);
    Put(&head, 1);
    Put(m_runValue.data(), m_threeBytes ? 3 : 1);
    m_runLength = 0;
}

void CTGACompressor::WriteLiterals() {
    if (m_literalCount == 0) return;
    const auto head =
        static_cast<uint8_t>(m_signedHeaders ? (0 - m_literalCount) | 128 : m_literalCount - 1);
    Put(&head, 1);
    Put(m_literals.data(), m_literalCount * (m_threeBytes ? 3 : 1));
    m_literalCount = 0;
}

void CTGACompressor::Put(const uint8_t* bytes, size_t count) {
    if (m_gathered + count > m_block.size()) {
        m_ok = m_ok && m_file.Write(m_block.data(), m_gathered);
        m_gathered = 0;
    }
    std::memcpy(m_block.data() + m_gathered, bytes, count);
    m_gathered += count;
}

}  // namespace kestr
