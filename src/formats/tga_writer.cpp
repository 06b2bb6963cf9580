// Writes Targa files, type ids 16 (plain) and 17 (run-length), bottom row first.

#include <algorithm>
#include <array>

#include "base/byte_cursor.h"
#include "base/messages.h"
#include "formats/tga_compressor.h"
#include "image/image_bits.h"
#include "image/writer_registry.h"
#include "platform/files.h"
#include "readers/type_ids.h"

namespace kestr {
namespace {

constexpr int32_t kLongestSide = 65535;

bool SaveTarga(CImageBits& image, const CSaveRequest& request) {
    const int bits = image.bitmapInfo.BitCount();
    if (bits < 8 || image.Width() > kLongestSide || image.Height() > kLongestSide) {
        image.errorText = Message(message::kDepthNotSupported);
        return false;
    }
    COutputFile file;
    if (!file.Create(request.path)) {
        image.errorText = Message(message::kCannotCreate);
        return false;
    }
    const bool packed = request.typeId != kTypeTarga;
    const bool mapped = bits == 8 && !image.IsGray();
    const size_t colors = mapped ? image.bitmapInfo.PaletteSize() : 0;
    const size_t idLength = std::min<size_t>(image.comment.size(), 255);
    const auto width = static_cast<size_t>(image.Width());

    std::array<uint8_t, 18> header{};
    header[0] = static_cast<uint8_t>(idLength);
    header[1] = mapped ? 1 : 0;
    header[2] = static_cast<uint8_t>((bits == 24 ? 2 : mapped ? 1 : 3) + (packed ? 8 : 0));
    StoreNumber<uint16_t, std::endian::little>(header.data() + 5, static_cast<uint16_t>(colors));
    header[7] = mapped ? 24 : 0;
    StoreNumber<uint16_t, std::endian::little>(header.data() + 12, static_cast<uint16_t>(width));
    StoreNumber<uint16_t, std::endian::little>(header.data() + 14,
                                               static_cast<uint16_t>(image.Height()));
    header[16] = static_cast<uint8_t>(bits);
    file.Write(header);
    file.Write(image.comment.data(), idLength);
    for (size_t i = 0; i < colors; ++i) file.Write(&image.bitmapInfo.Palette()[i], 3);

    const size_t rowBytes = image.RowBytes();
    const size_t used = bits == 24 ? 3 * width : width;
    const auto rows = static_cast<uint32_t>(image.Height());
    if (!packed && used == rowBytes) {  // the store is what the file wants
        file.Write(image.bits.data(), image.bits.size());
        image.ReportSaveProgress(rows);
        return file.Close();
    }
    CTGACompressor compressor(file, false);
    for (uint32_t y = 0; y < rows; ++y) {
        const uint8_t* row = image.bits.data() + y * rowBytes;
        if (packed) {
            compressor.Add(row, width, bits == 24);
        } else {
            file.Write(row, used);
        }
        image.ReportSaveProgress(y);
    }
    if (packed) compressor.Flush();
    return file.Close();
}

const CWriterRegistration kWriters{{kTypeTarga, kTypeTargaRunLength}, &SaveTarga};

}  // namespace
}  // namespace kestr
