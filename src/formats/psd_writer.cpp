// Writes Photoshop files, type id 31: one plain composite without layers.
// Layout: Adobe Photoshop File Formats Specification.

#include <algorithm>
#include <array>
#include <vector>

#include "base/byte_cursor.h"
#include "base/messages.h"
#include "base/pixel_planes.h"
#include "formats/psd_layout.h"
#include "image/image_bits.h"
#include "image/row_access.h"
#include "image/writer_registry.h"
#include "metadata/image_resources.h"
#include "platform/files.h"
#include "readers/type_ids.h"

namespace kestr {
namespace {

constexpr size_t kShortestIPTC = 8;
constexpr size_t kExifMark = 6;          // "Exif" and two NULs, which belong to the JPEG marker
constexpr size_t kBlockBytes = 1 << 18;  // written at a time

/// Every `step`-th sample, as big-endian bytes.
void TakeSamples16(const uint16_t* from, size_t pixels, size_t step, uint8_t* samples) {
    for (size_t x = 0; x < pixels; ++x) {
        StoreNumber<uint16_t, std::endian::big>(samples + 2 * x, from[step * x]);
    }
}

class CPSDWriter {
public:
    CPSDWriter(CImageBits& image, COutputFile& file, const CSaveRequest& request)
        : m_image(image),
          m_file(file),
          m_bits(image.bitmapInfo.BitCount()),
          m_deep(request.writeMetadata && image.Has16Bit()),
          m_withProfile(request.writeProfile && !image.iccProfile.empty()) {
        const bool isGray = image.IsGray();
        m_mode = m_bits == 24            ? kPSDRGB
                 : m_bits == 8 && isGray ? kPSDGray
                 : m_bits == 1 && isGray ? kPSDBitmap
                                         : kPSDIndexed;
    }

    void Write() {
        WriteHeader();
        WriteColours();
        WriteResources();
        Number<uint32_t>(0);  // layers
        Number<uint16_t>(0);  // compression
        WritePixels();
    }

private:
    template <typename T>
    void Number(T value) {
        std::array<uint8_t, sizeof(T)> bytes;
        StoreNumber<T, std::endian::big>(bytes.data(), value);
        m_file.Write(bytes);
    }
    void WriteHeader();
    void WriteColours();
    void WriteResources();
    void WriteResource(uint16_t id, std::span<const uint8_t> data);
    void WritePixels();
    void FillRow(int32_t y, size_t channel, uint8_t* row) const;

    CImageBits& m_image;
    COutputFile& m_file;
    int m_bits;
    bool m_deep;
    bool m_withProfile;
    uint16_t m_mode = kPSDRGB;
};

void CPSDWriter::WriteHeader() {
    m_file.Write("8BPS", 4);
    Number<uint16_t>(1);
    Number<uint32_t>(0);
    Number<uint16_t>(0);
    Number<uint16_t>(m_bits == 24 ? 3 : 1);
    Number<uint32_t>(static_cast<uint32_t>(m_image.Height()));
    Number<uint32_t>(static_cast<uint32_t>(m_image.Width()));
    Number<uint16_t>(m_mode == kPSDBitmap ? 1 : m_deep ? 16 : 8);
    Number<uint16_t>(m_mode);
}

void CPSDWriter::WriteColours() {
    if (m_mode != kPSDIndexed) {
        Number<uint32_t>(0);
        return;
    }
    std::array<uint8_t, 768> colours{};
    for (size_t i = 0; i < m_image.bitmapInfo.PaletteSize(); ++i) {
        const CRGBQuad& entry = m_image.bitmapInfo.Palette()[i];
        colours[i] = entry.rgbRed;
        colours[256 + i] = entry.rgbGreen;
        colours[512 + i] = entry.rgbBlue;
    }
    Number<uint32_t>(768);
    m_file.Write(colours);
}

void CPSDWriter::WriteResources() {
    std::vector<uint8_t> iptc = m_image.iptc.Serialise();
    if (iptc.size() < kShortestIPTC) iptc.clear();
    std::vector<uint8_t> exif;
    if (m_image.exif) exif = m_image.exif->Serialise(true);
    exif.erase(exif.begin(), exif.begin() + std::min(exif.size(), kExifMark));
    const std::span<const uint8_t> profile =
        m_withProfile ? std::span<const uint8_t>(m_image.iccProfile) : std::span<const uint8_t>();
    // Kept as it is: of the pad bytes only that of the EXIF data counts, and callers rely on it.
    size_t length = 0;
    if (!iptc.empty()) length += 12 + iptc.size();
    if (!profile.empty()) length += 12 + profile.size();
    if (!exif.empty()) length += 12 + exif.size() + exif.size() % 2;
    Number(static_cast<uint32_t>(length));
    WriteResource(image_resource::kIPTC, iptc);
    WriteResource(image_resource::kICCProfile, profile);
    WriteResource(image_resource::kExif, exif);
}

void CPSDWriter::WriteResource(uint16_t id, std::span<const uint8_t> data) {
    if (data.empty()) return;
    m_file.Write("8BIM", 4);
    Number(id);
    Number<uint16_t>(0);  // an empty name
    Number(static_cast<uint32_t>(data.size() + data.size() % 2));
    m_file.Write(data);
    if (data.size() % 2 != 0) Number<uint8_t>(0);
}

void CPSDWriter::WritePixels() {
    const auto width = static_cast<size_t>(m_image.Width());
    const int32_t height = m_image.Height();
    const size_t channels = m_bits == 24 ? 3 : 1;
    const size_t rowBytes = m_mode == kPSDBitmap ? (width + 7) / 8 : m_deep ? 2 * width : width;
    const size_t rowsAtOnce = std::max<size_t>(kBlockBytes / std::max<size_t>(rowBytes, 1), 1);
    std::vector<uint8_t> block(rowsAtOnce * rowBytes);
    size_t filled = 0;
    for (size_t channel = 0; channel < channels; ++channel) {
        for (int32_t y = 0; y < height; ++y) {
            FillRow(y, channel, block.data() + filled);
            filled += rowBytes;
            if (filled == block.size()) {
                m_file.Write(block);
                filled = 0;
            }
            const uint64_t done =
                channel * static_cast<uint64_t>(height) + static_cast<uint64_t>(y);
            m_image.ReportSavePercent(
                static_cast<uint32_t>(done * 100 / (channels * static_cast<uint64_t>(height))));
        }
    }
    m_file.Write(block.data(), filled);
}

/// One row of a plane: 0 red or the only one, 1 green, 2 blue.
void CPSDWriter::FillRow(int32_t y, size_t channel, uint8_t* row) const {
    const auto width = static_cast<size_t>(m_image.Width());
    const size_t channels = m_bits == 24 ? 3 : 1;
    const size_t place = channels - 1 - channel;  // within a pixel
    if (m_deep) {
        const uint16_t* const samples =
            m_image.bits16.data() + static_cast<size_t>(y) * width * channels;
        TakeSamples16(samples + place, width, channels, row);
        return;
    }
    const uint8_t* const pixels = m_image.RowFromTop(y);
    if (m_bits == 24) {
        TakeChannel(pixels + place, width, row);
    } else if (m_mode == kPSDBitmap) {
        // In the file a bit that is set is black.
        const auto& palette = m_image.bitmapInfo.Palette();
        const uint8_t flip = palette[0].rgbRed < palette[1].rgbRed ? 0xFF : 0;
        for (size_t i = 0; i < (width + 7) / 8; ++i) row[i] = pixels[i] ^ flip;
    } else {
        UnpackIndices(pixels, m_bits, width, row);
    }
}

bool SavePSD(CImageBits& image, const CSaveRequest& request) {
    COutputFile file;
    if (!file.Create(request.path)) {
        image.errorText = Message(message::kCannotCreate);
        return false;
    }
    CPSDWriter(image, file, request).Write();
    return file.Close();
}

const CWriterRegistration kWriters{{kTypePhotoshop}, &SavePSD};

}  // namespace
}  // namespace kestr
