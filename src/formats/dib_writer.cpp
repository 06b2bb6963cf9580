// Writes Windows bitmaps, type ids 0 (run-length), 1 (field mapped), 2 (plain). Little-endian.

#include <array>
#include <bit>
#include <cstring>
#include <vector>

#include "base/byte_cursor.h"
#include "base/messages.h"
#include "formats/dib_run_length.h"
#include "image/image_bits.h"
#include "image/writer_registry.h"
#include "platform/files.h"
#include "readers/type_ids.h"

namespace kestr {
namespace {

constexpr uint32_t kHeadersSize = 54;  // file header of 14 bytes, bitmap header of 40
constexpr uint32_t kMasksSize = 12;
constexpr std::array<uint32_t, 3> kMasks565{0xF800, 0x07E0, 0x001F};  // red, green, blue
constexpr uint16_t kDefaultResolution = 300;                          // pixels per inch

static_assert(std::endian::native == std::endian::little,
              "the header in memory goes into the file as it stands");

std::array<uint8_t, 14> FileHeader(uint32_t fileSize, uint32_t pixelOffset) {
    std::array<uint8_t, 14> header{'B', 'M'};
    StoreNumber<uint32_t, std::endian::little>(header.data() + 2, fileSize);
    StoreNumber<uint32_t, std::endian::little>(header.data() + 10, pixelOffset);
    return header;
}

int32_t PelsPerMeter(uint16_t perInch) {
    return static_cast<int32_t>(perInch * 100 / 2.54 + 0.5);
}

CBitmapInfoHeader HeaderOf(const CImageBits& image) {
    CBitmapInfoHeader header = image.bitmapInfo.Header();
    const bool known = image.physicalX != 0 && image.physicalY != 0;
    header.biXPelsPerMeter = PelsPerMeter(known ? image.physicalX : kDefaultResolution);
    header.biYPelsPerMeter = PelsPerMeter(known ? image.physicalY : kDefaultResolution);
    return header;
}

void WritePalette(const CImageBits& image, size_t colors, COutputFile& file) {
    file.Write(image.bitmapInfo.Palette().data(), colors * sizeof(CRGBQuad));
}

bool WritePlain(CImageBits& image, COutputFile& file) {
    const size_t colors = image.bitmapInfo.BitCount() < 24 ? image.bitmapInfo.PaletteSize() : 0;
    const auto offset = static_cast<uint32_t>(kHeadersSize + 4 * colors);
    const auto fileHeader = FileHeader(static_cast<uint32_t>(image.bits.size()) + offset, offset);
    const CBitmapInfoHeader header = HeaderOf(image);
    file.Write(fileHeader);
    file.Write(&header, sizeof header);
    WritePalette(image, colors, file);
    file.Write(image.bits.data(), image.bits.size());
    image.ReportSaveProgress(static_cast<uint32_t>(image.Height()));
    file.Seek(0);
    return file.Write(fileHeader);
}

/// 16 bits a pixel: five of red, six of green, five of blue.
bool WriteFieldMapped(CImageBits& image, COutputFile& file) {
    constexpr uint32_t kOffset = kHeadersSize + kMasksSize;
    const auto width = static_cast<size_t>(image.Width());
    const size_t rowPixels = (width + 1) & ~size_t{1};
    const auto rows = static_cast<uint32_t>(image.Height());
    CBitmapInfoHeader header = HeaderOf(image);
    header.biBitCount = 16;
    header.biCompression = 3;
    header.biSizeImage = 0;
    header.biClrUsed = 0;
    // The masks are left out of the stated file size; kept so, as files have always been.
    const auto fileHeader =
        FileHeader(static_cast<uint32_t>(rows * rowPixels * 2) + kHeadersSize, kOffset);
    file.Write(fileHeader);
    file.Write(&header, sizeof header);
    file.Write(kMasks565.data(), kMasksSize);
    std::vector<uint8_t> packed(rowPixels * 2);
    for (uint32_t y = 0; y < rows; ++y) {  // bottom row first
        const uint8_t* pixel = image.bits.data() + y * image.RowBytes();
        for (size_t x = 0; x < width; ++x, pixel += 3) {
            const auto value =
                static_cast<uint16_t>(pixel[0] >> 3 | (pixel[1] & 0xFC) << 3 | pixel[2] >> 3 << 11);
            StoreNumber<uint16_t, std::endian::little>(packed.data() + 2 * x, value);
        }
        if (!file.Write(packed)) return false;
        image.ReportSaveProgress(y);
    }
    file.Seek(0);
    return file.Write(fileHeader);
}

bool WriteRunLength(CImageBits& image, COutputFile& file) {
    constexpr size_t kBlock = size_t{1} << 16;  // bytes gathered before they are written
    const bool isRLE8 = image.bitmapInfo.BitCount() == 8;
    const size_t colors = image.bitmapInfo.PaletteSize();
    const auto offset = static_cast<uint32_t>(kHeadersSize + 4 * colors);
    const auto width = static_cast<size_t>(image.Width());
    const auto rows = static_cast<uint32_t>(image.Height());
    CBitmapInfoHeader header = HeaderOf(image);
    header.biCompression = isRLE8 ? 1 : 2;
    header.biClrUsed = static_cast<uint32_t>(colors);
    file.Write(FileHeader(0, offset));
    file.Write(&header, sizeof header);
    WritePalette(image, colors, file);
    std::vector<uint8_t> packed;
    for (uint32_t y = 0; y < rows; ++y) {  // bottom row first
        const uint8_t* row = image.bits.data() + y * image.RowBytes();
        isRLE8 ? PackRLE8Row(row, width, packed) : PackRLE4Row(row, width, packed);
        if (packed.size() >= kBlock) {
            if (!file.Write(packed)) return false;
            packed.clear();
        }
        image.ReportSaveProgress(y);
    }
    packed.insert(packed.end(), {0, 1});
    file.Write(packed);
    const uint64_t fileSize = file.Position();
    header.biSizeImage = static_cast<uint32_t>(fileSize - offset);
    file.Seek(14);
    file.Write(&header, sizeof header);
    file.Seek(0);
    return file.Write(FileHeader(static_cast<uint32_t>(fileSize), offset));
}

bool CanHold(int32_t typeId, int bits) {
    switch (typeId) {
        case kTypeBMP:
            return true;
        case kTypeBMPFieldMapped:
            return bits == 24;
        case kTypeBMPRunLength:
            return bits == 8 || bits == 4;
        default:
            return false;
    }
}

bool SaveDIB(CImageBits& image, const CSaveRequest& request) {
    COutputFile file;
    if (!file.Create(request.path)) {
        image.errorText = Message(message::kCannotCreate);
        return false;
    }
    if (!CanHold(request.typeId, image.bitmapInfo.BitCount())) {
        image.errorText = Message(message::kDepthNotSupported);
        file.Discard();
        return false;
    }
    const bool written = request.typeId == kTypeBMP              ? WritePlain(image, file)
                         : request.typeId == kTypeBMPFieldMapped ? WriteFieldMapped(image, file)
                                                                 : WriteRunLength(image, file);
    return file.Close() && written;
}

const CWriterRegistration kWriters{{kTypeBMPRunLength, kTypeBMPFieldMapped, kTypeBMP}, &SaveDIB};

}  // namespace
}  // namespace kestr
