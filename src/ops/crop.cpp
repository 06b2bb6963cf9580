// Cutting a picture: to the rectangle, or to what lies within a border of one colour.

#include <algorithm>
#include <array>
#include <exception>
#include <optional>
#include <utility>
#include <vector>

#include "base/integer_root.h"
#include "base/messages.h"
#include "image/image_bits.h"
#include "ops/pixel_format.h"
#include "ops/pixel_view.h"

namespace kestr {
namespace {

/// The part of a picture of 1 or 4 bits a pixel.
void CutPacked(const CPixelBytes& pixels, const CBitmapInfo& info, const CSelectionRect& part,
               CPixelBytes& cut, const CBitmapInfo& cutInfo) {
    std::vector<uint8_t> indices(static_cast<size_t>(info.Width()));
    const auto row = [](auto& store, const CBitmapInfo& i, int32_t y) {
        return store.data() +
               static_cast<size_t>(i.Height() - 1 - y) * static_cast<size_t>(i.RowBytes());
    };
    for (int32_t y = 0; y < cutInfo.Height(); ++y) {
        UnpackIndices(row(pixels, info, part.top + y), info.BitCount(), info.Width(),
                      indices.data());
        PackIndices(indices.data() + part.left, info.BitCount(), cutInfo.Width(),
                    row(cut, cutInfo, y));
    }
}

/// Which pixels have the colour of a border: those within a distance.
class CBorderColour {
public:
    CBorderColour(const CBitmapInfo& info, uint8_t red, uint8_t green, uint8_t blue, int distance)
        : m_red(red), m_green(green), m_blue(blue), m_square(distance * distance) {
        for (size_t i = 0; i < m_entries.size(); ++i) {
            const CRGBQuad& entry = info.Palette()[i];
            m_entries[i] = Matches(entry.rgbBlue, entry.rgbGreen, entry.rgbRed);
        }
    }
    [[nodiscard]] bool Matches(int blue, int green, int red) const {
        const int b = blue - m_blue;
        const int g = green - m_green;
        const int r = red - m_red;
        return b * b + g * g + r * r <= m_square;
    }
    [[nodiscard]] bool Entry(uint8_t index) const { return m_entries[index]; }

private:
    int m_red, m_green, m_blue;
    int m_square;
    std::array<bool, 256> m_entries{};
};

/// The rows and columns that hold pixels of other colours than the border's.
class CBorderSearch {
public:
    CBorderSearch(const CImageBits& image, const CBorderColour& colour)
        : m_image(image), m_colour(colour), m_indices(static_cast<size_t>(image.Width())) {}

    std::optional<CSelectionRect> Find() {
        const int32_t width = m_image.Width();
        const int32_t height = m_image.Height();
        // Columns that nothing stands in yet lie outside [first, last].
        int32_t firstColumn = width;
        int32_t lastColumn = 0;
        int32_t firstRow = height;
        int32_t lastRow = 0;
        for (int32_t y = 0; y < height; ++y) {
            LoadRow(y);
            int32_t left = 0;
            while (left < width && IsBorder(left)) ++left;
            if (left == width) continue;
            int32_t right = width - 1;
            while (right > lastColumn && IsBorder(right)) --right;
            firstColumn = std::min(firstColumn, left);
            lastColumn = std::max(lastColumn, right);
            firstRow = std::min(firstRow, y);
            lastRow = y;
        }
        if (firstColumn >= lastColumn || firstRow >= lastRow) return std::nullopt;
        const CSelectionRect kept{firstColumn, firstRow, lastColumn + 1, lastRow + 1};
        const bool whole =
            kept.left == 0 && kept.top == 0 && kept.right == width && kept.bottom == height;
        return whole ? std::nullopt : std::optional(kept);
    }

private:
    void LoadRow(int32_t y) {
        m_row = m_image.RowFromTop(y);
        const int bitCount = m_image.bitmapInfo.BitCount();
        m_isColour = bitCount == 24;
        if (!m_isColour) UnpackIndices(m_row, bitCount, m_image.Width(), m_indices.data());
    }
    [[nodiscard]] bool IsBorder(int32_t x) const {
        if (!m_isColour) return m_colour.Entry(m_indices[static_cast<size_t>(x)]);
        const uint8_t* pixel = m_row + ptrdiff_t{3} * x;
        return m_colour.Matches(pixel[0], pixel[1], pixel[2]);
    }

    const CImageBits& m_image;
    const CBorderColour& m_colour;
    const uint8_t* m_row = nullptr;
    bool m_isColour = false;
    std::vector<uint8_t> m_indices;
};

}  // namespace

void CImageBits::CutTo(const CSelectionRect& part) {
    const int32_t width = part.right - part.left;
    const int32_t height = part.bottom - part.top;
    CBitmapInfo info = bitmapInfo;
    info.Header().biWidth = width;
    info.Header().biHeight = height;
    CPixelBytes cut = MakeStore(info.BitCount(), width, height);
    if (Has16Bit()) {
        const int channels = Samples16();
        CPixelWords cut16 = MakeStore16(channels, width, height);
        CopyPixels<uint16_t>(View16(bits16, Width(), Height(), channels).Part(part),
                             View16(cut16, width, height, channels));
        bits16 = std::move(cut16);
        bits = std::move(cut);
        bitmapInfo = info;
        RefreshDisplayData();
        return;
    }
    if (info.BitCount() < 8) {
        CutPacked(bits, bitmapInfo, part, cut, info);
    } else {
        CopyPixels<uint8_t>(View8(bits, bitmapInfo).Part(part), View8(cut, info));
    }
    bits = std::move(cut);
    bitmapInfo = info;
    PixelsChanged();
}

bool CImageBits::OpCrop(int undo) {
    if (!IsOpRectValid() || opRect.left >= opRect.right || opRect.top >= opRect.bottom) {
        return false;
    }
    try {
        BeginUndoable(undo);
        const CSelectionRect part = opRect;
        const int32_t width = part.right - part.left;
        const int32_t height = part.bottom - part.top;
        const auto pixels = static_cast<size_t>(Width()) * static_cast<size_t>(Height());
        if (alpha.size() == pixels) {
            CPixelBytes cut;
            cut.ResizeUninitialized(static_cast<size_t>(width) * static_cast<size_t>(height));
            const CPixelView<uint8_t> source{alpha.data(), Width(), Height(), 1, Width()};
            CopyPixels<uint8_t>(source.Part(part),
                                CPixelView<uint8_t>{cut.data(), width, height, 1, width});
            CutTo(part);
            alpha = std::move(cut);
        } else {
            CutTo(part);
        }
        ClearOpRect();
        return true;
    } catch (const std::exception&) {
        errorText = Message(message::kOperationException);
        return false;
    }
}

bool CImageBits::OpCropBorder(uint16_t red, uint16_t green, uint16_t blue, int16_t tolerance,
                              int undo) {
    if (bits.empty()) return false;
    const int shift = Has16Bit() ? 8 : 0;
    const auto byte = [shift](uint16_t value) { return static_cast<uint8_t>(value >> shift); };
    const int diagonal = static_cast<int>(RoundedRoot(3 * 255 * 255));
    const CBorderColour colour(bitmapInfo, byte(red), byte(green), byte(blue),
                               diagonal * tolerance / 1000);
    try {
        const std::optional<CSelectionRect> kept = CBorderSearch(*this, colour).Find();
        if (!kept) return false;
        BeginUndoable(undo);
        CutTo(*kept);
        ClearOpRect();
        return true;
    } catch (const std::exception&) {
        errorText = Message(message::kOperationException);
        return false;
    }
}

}  // namespace kestr
