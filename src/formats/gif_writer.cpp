// Graphics Interchange Format, type ids 66 (plain) and 67 (interlaced): one frame, version 89a.
#include <algorithm>
#include <array>
#include <bit>
#include <numeric>
#include <span>
#include <vector>

#include "base/messages.h"
#include "formats/gif_lzw.h"
#include "image/colour_key.h"
#include "image/image_bits.h"
#include "image/writer_registry.h"
#include "ops/pixel_format.h"
#include "platform/files.h"
#include "readers/type_ids.h"

namespace kestr {
namespace {

constexpr int32_t kMostSide = 65535;           // pixels or rows that the 16-bit fields hold
constexpr size_t kMostHeld = size_t{1} << 16;  // packed bytes that are held back

struct CPass {
    int32_t first;         // row
    int32_t step;          // rows
    int32_t shareOfImage;  // it holds one row of so many
    uint32_t percent;      // done before it
};
constexpr CPass kPlain[] = {{0, 1, 1, 0}};
constexpr CPass kInterlaced[] = {{0, 8, 8, 0}, {4, 8, 8, 12}, {2, 4, 4, 25}, {1, 2, 2, 50}};

// Which palette index stands for transparency, and which others become that one.
struct CTransparency {
    int index = -1;
    std::array<uint8_t, 256> written{};  // what each index is written as
};

CTransparency ChooseTransparency(const CImageBits& image) {
    CTransparency form;
    std::iota(form.written.begin(), form.written.end(), uint8_t{0});
    const auto palette =
        std::span(image.bitmapInfo.Palette()).first(image.bitmapInfo.PaletteSize());
    if (!image.hasTransparentColor) {
        if (image.transparentIndex < static_cast<int32_t>(palette.size())) {
            form.index = image.transparentIndex;
        }
        return form;
    }
    const CColourKey key(image.transparentColor, image.transparentTolerance);
    for (size_t i = 0; i < palette.size(); ++i) {
        if (!key.Matches(palette[i].rgbBlue, palette[i].rgbGreen, palette[i].rgbRed)) continue;
        if (form.index < 0) form.index = static_cast<int>(i);
        form.written[i] = static_cast<uint8_t>(form.index);
    }
    return form;
}

// Bits that an index takes: enough for the palette, and for pixels beyond it.
int IndexBits(const CImageBits& image) {
    size_t indexes = image.bitmapInfo.PaletteSize();
    const int bitCount = image.bitmapInfo.BitCount();
    if (indexes < size_t{1} << bitCount) {
        std::vector<uint8_t> pixels(static_cast<size_t>(image.Width()));
        for (int32_t y = 0; y < image.Height(); ++y) {
            UnpackIndices(image.RowFromTop(y), bitCount, image.Width(), pixels.data());
            indexes = std::max<size_t>(indexes, *std::ranges::max_element(pixels) + size_t{1});
        }
    }
    return std::max(1, static_cast<int>(std::bit_width(indexes - 1)));
}

class CGIFWriter {
public:
    CGIFWriter(CImageBits& image, COutputFile& file) : m_image(image), m_file(file) {}
    bool Write(bool interlaced);

private:
    void PutWord(int32_t value);
    void PutHeader(int bits);
    void PutTransparency();
    void PutComment();
    void PutDescriptor(bool interlaced);
    bool PutPixels(int codeSize, bool interlaced);
    bool Flush();

    CImageBits& m_image;
    COutputFile& m_file;
    CTransparency m_transparency;
    std::vector<uint8_t> m_held;  // bytes on their way to the file
};

bool CGIFWriter::Write(bool interlaced) {
    m_transparency = ChooseTransparency(m_image);
    const int bits = IndexBits(m_image);
    const int codeSize = std::max(bits, 2);
    PutHeader(bits);
    PutTransparency();
    PutComment();
    PutDescriptor(interlaced);
    m_held.push_back(static_cast<uint8_t>(codeSize));
    if (!PutPixels(codeSize, interlaced)) return false;
    m_held.push_back(';');
    return Flush();
}

void CGIFWriter::PutWord(int32_t value) {
    m_held.push_back(static_cast<uint8_t>(value));
    m_held.push_back(static_cast<uint8_t>(value >> 8));
}

void CGIFWriter::PutHeader(int bits) {
    for (const char c : {'G', 'I', 'F', '8', '9', 'a'}) m_held.push_back(static_cast<uint8_t>(c));
    PutWord(m_image.Width());
    PutWord(m_image.Height());
    m_held.push_back(static_cast<uint8_t>(128 | (bits - 1) << 4 | (bits - 1)));
    m_held.push_back(0);  // background
    m_held.push_back(0);  // aspect ratio
    const CBitmapInfo& info = m_image.bitmapInfo;
    for (size_t i = 0; i < size_t{1} << bits; ++i) {
        const CRGBQuad colour = i < info.PaletteSize() ? info.Palette()[i] : CRGBQuad{};
        m_held.insert(m_held.end(), {colour.rgbRed, colour.rgbGreen, colour.rgbBlue});
    }
}

void CGIFWriter::PutTransparency() {
    if (m_transparency.index < 0) return;
    const auto index = static_cast<uint8_t>(m_transparency.index);
    m_held.insert(m_held.end(), {0x21, 0xF9, 4, 1, 0, 0, index, 0});
}

void CGIFWriter::PutComment() {
    std::string_view rest = m_image.comment;
    if (rest.empty()) return;
    m_held.insert(m_held.end(), {0x21, 0xFE});
    while (!rest.empty()) {
        const auto block = rest.substr(0, 255);
        m_held.push_back(static_cast<uint8_t>(block.size()));
        m_held.insert(m_held.end(), block.begin(), block.end());
        rest.remove_prefix(block.size());
    }
    m_held.push_back(0);
}

void CGIFWriter::PutDescriptor(bool interlaced) {
    m_held.push_back(0x2C);
    PutWord(0);
    PutWord(0);
    PutWord(m_image.Width());
    PutWord(m_image.Height());
    m_held.push_back(interlaced ? 64 : 0);
}

bool CGIFWriter::PutPixels(int codeSize, bool interlaced) {
    CGIFEncoder encoder(codeSize, m_held);
    const int bitCount = m_image.bitmapInfo.BitCount();
    const int32_t height = m_image.Height();
    std::vector<uint8_t> pixels(static_cast<size_t>(m_image.Width()));
    for (const CPass& pass : interlaced ? std::span<const CPass>(kInterlaced) : kPlain) {
        for (int32_t y = pass.first; y < height; y += pass.step) {
            UnpackIndices(m_image.RowFromTop(y), bitCount, m_image.Width(), pixels.data());
            if (m_image.hasTransparentColor) {
                for (uint8_t& pixel : pixels) pixel = m_transparency.written[pixel];
            }
            encoder.Write(pixels);
            if (m_held.size() >= kMostHeld && !Flush()) return false;
            const auto share = static_cast<uint32_t>(int64_t{y} * 100 / height / pass.shareOfImage);
            m_image.ReportSavePercent(share + pass.percent);
        }
    }
    encoder.Finish();
    return true;
}

bool CGIFWriter::Flush() {
    const bool written = m_file.Write(m_held);
    m_held.clear();
    return written;
}

bool SaveGIF(CImageBits& image, const CSaveRequest& request) {
    if (image.bitmapInfo.BitCount() > 8 || image.Width() > kMostSide ||
        image.Height() > kMostSide) {
        image.errorText = Message(message::kDepthNotSupported);
        return false;
    }
    COutputFile file;
    if (!file.Create(request.path)) {
        image.errorText = Message(message::kCannotCreate);
        return false;
    }
    const bool written = CGIFWriter(image, file).Write(request.typeId == kTypeGIFInterlaced);
    return file.Close() && written;
}

const CWriterRegistration kWriters{{kTypeGIF, kTypeGIFInterlaced}, &SaveGIF};

}  // namespace
}  // namespace kestr
