#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

namespace kestr {

/// The 40 bytes of a BITMAPINFOHEADER. Layout: Microsoft's page of that name.
struct CBitmapInfoHeader {
    uint32_t biSize = 40;
    int32_t biWidth = 0;
    int32_t biHeight = 0;
    uint16_t biPlanes = 1;
    uint16_t biBitCount = 24;
    uint32_t biCompression = 0;
    uint32_t biSizeImage = 0;
    int32_t biXPelsPerMeter = 0;
    int32_t biYPelsPerMeter = 0;
    uint32_t biClrUsed = 0;
    uint32_t biClrImportant = 0;
};
static_assert(sizeof(CBitmapInfoHeader) == 40);

struct CRGBQuad {
    uint8_t rgbBlue = 0;
    uint8_t rgbGreen = 0;
    uint8_t rgbRed = 0;
    uint8_t rgbReserved = 0;

    [[nodiscard]] bool IsGray() const { return rgbRed == rgbGreen && rgbGreen == rgbBlue; }
};
static_assert(sizeof(CRGBQuad) == 4);

/// Describes an 8-bit store: one BITMAPINFO with room for 256 palette entries.
class CBitmapInfo {
public:
    /// Writes bits a pixel, width and height, and forgets the number of colours.
    void SetFormat(int bitCount, int32_t width, int32_t height) {
        m_header.biBitCount = static_cast<uint16_t>(bitCount);
        m_header.biWidth = width;
        m_header.biHeight = height;
        m_header.biClrUsed = 0;
    }
    void SetBitCount(int bitCount) { m_header.biBitCount = static_cast<uint16_t>(bitCount); }

    /// Keeps `count` when it is below the number of colours that the format has room for.
    void SetColorCount(uint8_t count) {
        const int bits = BitCount();
        const bool fits = bits != 24 && (bits >= 8 || count < (1 << bits));
        m_header.biClrUsed = fits ? count : 0;
    }
    void SetResolution(int32_t xPerMeter, int32_t yPerMeter) {
        m_header.biXPelsPerMeter = xPerMeter;
        m_header.biYPelsPerMeter = yPerMeter;
    }

    [[nodiscard]] int32_t Width() const { return m_header.biWidth; }
    [[nodiscard]] int32_t Height() const { return m_header.biHeight; }
    [[nodiscard]] int BitCount() const { return m_header.biBitCount; }

    /// Bytes of a row, padded to a multiple of 4; 64 bits wide, since a file may claim any width.
    [[nodiscard]] uint64_t RowBytes() const { return RowBytes(BitCount(), Width()); }
    [[nodiscard]] static constexpr uint64_t RowBytes(int bitCount, int32_t width) {
        const uint64_t pixels = width < 0 ? 0 : static_cast<uint64_t>(width);
        switch (bitCount) {
            case 1:
                return ((pixels + 7) / 8 + 3) & ~uint64_t{3};
            case 4:
                return ((pixels + 1) / 2 + 3) & ~uint64_t{3};
            case 16:
                return (2 * pixels + 3) & ~uint64_t{3};
            case 24:
                return (3 * pixels + 3) & ~uint64_t{3};
            case 32:
                return 4 * pixels;
            default:
                return (pixels + 3) & ~uint64_t{3};
        }
    }

    /// Palette entries in use: those stated, else as many as the format has room for.
    [[nodiscard]] uint16_t ColorCount() const {
        if (m_header.biClrUsed != 0) return static_cast<uint16_t>(m_header.biClrUsed);
        return BitCount() < 16 ? static_cast<uint16_t>(1u << BitCount()) : uint16_t{0};
    }
    /// ColorCount(), never above the 256 entries that there are.
    [[nodiscard]] size_t PaletteSize() const { return ColorCount() > 256 ? 256 : ColorCount(); }

    [[nodiscard]] CBitmapInfoHeader& Header() { return m_header; }
    [[nodiscard]] const CBitmapInfoHeader& Header() const { return m_header; }
    [[nodiscard]] std::array<CRGBQuad, 256>& Palette() { return m_palette; }
    [[nodiscard]] const std::array<CRGBQuad, 256>& Palette() const { return m_palette; }

    /// Entry i becomes i, i, i, and the format's full number of colours counts.
    void SetGrayPalette() {
        m_header.biClrUsed = 0;
        for (size_t i = 0; i < m_palette.size(); ++i) {
            const auto level = static_cast<uint8_t>(i);
            m_palette[i] = {level, level, level, 0};
        }
    }

private:
    CBitmapInfoHeader m_header;
    std::array<CRGBQuad, 256> m_palette{};
};
static_assert(sizeof(CBitmapInfo) == 1064);

}  // namespace kestr
