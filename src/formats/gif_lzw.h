// The packing of GIF pixels: LZW with codes of 3 to 12 bits, low bit first, in blocks of 1 to 255
// bytes behind their lengths. Description: CompuServe's "Graphics Interchange Format, Version 89a",
// appendix F; T. A. Welch, "A Technique for High-Performance Data Compression", 1984.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

namespace kestr {

inline constexpr int kGIFMostCodes = 4096;

/// Unpacks one frame's pixels, in the order of the file.
class CGIFDecoder {
public:
    /// `data` begins with the length of the first block; `pixelBits` is 2 to 11.
    CGIFDecoder(std::span<const uint8_t> data, int pixelBits);

    /// Writes the next `count` pixels; those that the data do not reach are 0. Gives the number of
    /// those that they reach.
    size_t Read(uint8_t* pixels, size_t count);
    /// Whether the data stopped with the file, without the empty block that ends them.
    [[nodiscard]] bool WasCutShort() const { return m_cutShort; }
    /// Whether every pixel that the data hold has been read.
    [[nodiscard]] bool IsAtEnd() const { return m_finished && m_start == m_end; }

private:
    // The string of a code: up to 8 pixels at its end, the rest in the string of `link`, whose
    // length is a multiple of 8.
    struct CString {
        uint64_t tail = 0;  // first pixel in the low byte
        uint16_t link = 0;
        uint16_t length = 0;
        uint8_t first = 0;  // pixel
    };

    void Unpack();
    void Reset();
    bool FillBits();
    int NextCode();
    void AddString(int prefix, uint8_t last);
    void Emit(int code);

    std::span<const uint8_t> m_data;  // what has not been read yet
    size_t m_blockLeft = 0;           // bytes of the present block in m_data
    uint64_t m_bits = 0;              // read and not used, next one lowest
    int m_bitCount = 0;               // how many of m_bits are known
    bool m_dataOver = false;
    bool m_cutShort = false;
    bool m_finished = false;  // nothing more will be unpacked

    const int m_clearCode;
    const int m_firstWidth;
    int m_width = 0;     // bits of a code
    int m_nextCode = 0;  // the code that the next string gets
    int m_oldCode = -1;  // none right after a clear
    std::array<CString, kGIFMostCodes> m_strings;

    std::vector<uint8_t> m_pixels;  // unpacked and not handed out: m_start to m_end
    size_t m_start = 0;
    size_t m_end = 0;
};

/// Packs one frame's pixels.
class CGIFEncoder {
public:
    /// `pixelBits` is 2 to 8; the packed blocks are added to `out`.
    CGIFEncoder(int pixelBits, std::vector<uint8_t>& out);

    /// Every pixel must be below 2 to the power of pixelBits.
    void Write(std::span<const uint8_t> pixels);
    /// Writes out what is held back, and the empty block that ends the data.
    void Finish();

private:
    // Strings of two pixels and more, by the code of all but the last pixel and that pixel. A slot
    // holds (prefix << 8 | pixel) << 12 | code, and 0 while it is free: code 0 is never stored.
    static constexpr size_t kSlots = 16384;  // a power of 2, well above the number of codes

    void Clear();
    void PutCode(int code);
    void PutByte(uint8_t byte);

    std::vector<uint8_t>& m_out;
    const int m_clearCode;
    const int m_firstWidth;
    int m_width = 0;
    int m_nextCode = 0;
    int m_prefix = -1;  // code of the pixels that wait; none at the start
    uint64_t m_bits = 0;
    int m_bitCount = 0;
    std::array<uint8_t, 256> m_block{};  // its length, then its bytes
    std::vector<uint32_t> m_slots;
};

}  // namespace kestr
