#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

namespace kestr {

class COutputFile;

/// Run-length packets of at most 128 pixels, of one or three bytes each.
class CTGACompressor {
public:
    /// With `signedHeaders` a run's header is its length less 1 and a literal block's its negated
    /// length, as multi-bitmap files have them; else as in Targa files.
    CTGACompressor(COutputFile& file, bool signedHeaders)
        : m_file(file), m_signedHeaders(signedHeaders) {}
    virtual ~CTGACompressor() = default;
    CTGACompressor(const CTGACompressor&) = delete;
    CTGACompressor& operator=(const CTGACompressor&) = delete;

    /// Adds pixels of one byte, or of three. Runs go on from one call to the next.
    void Add(const uint8_t* pixels, size_t count, bool threeBytes);
    /// Writes what waits; false when this or any earlier write failed.
    bool Flush();

private:
    static constexpr size_t kLongestPacket = 128;  // pixels
    static constexpr size_t kBlock = size_t{1} << 16;

    template <size_t kBytes>
    void AddPixels(const uint8_t* pixels, size_t count);
    template <size_t kBytes>
    void EndRun();
    void WriteRun();
    void WriteLiterals();
    void Put(const uint8_t* bytes, size_t count);

    COutputFile& m_file;
    bool m_signedHeaders;
    bool m_threeBytes = false;  // the mode of the last pixel added
    bool m_ok = true;
    size_t m_runLength = 0;  // pixels
    std::array<uint8_t, 3> m_runValue{};
    size_t m_literalCount = 0;  // pixels
    std::array<uint8_t, 3 * kLongestPacket> m_literals{};
    size_t m_gathered = 0;  // bytes in m_block
    std::array<uint8_t, kBlock> m_block{};
};

}  // namespace kestr
