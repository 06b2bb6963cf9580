// Pictures from memory: a colour, samples, device-independent bitmaps.

#include <algorithm>
#include <cstring>
#include <new>

#include "base/byte_cursor.h"
#include "base/callback.h"
#include "base/field_mask.h"
#include "base/format_text.h"
#include "base/messages.h"
#include "base/picture_size.h"
#include "image/image_bits.h"
#include "platform/code_page.h"
#include "readers/type_ids.h"

namespace kestr {
namespace {

constexpr char kBadHeader[] = "Bad DIB header: %d, %d, %d\n";

constexpr uint32_t kPlainHeader = 40;       // BITMAPINFOHEADER
constexpr uint32_t kHeaderV4 = 108;         // BITMAPV4HEADER
constexpr uint32_t kHeaderV5 = 124;         // BITMAPV5HEADER
constexpr uint32_t kFieldMapped = 3;        // biCompression: BI_BITFIELDS
constexpr uint32_t kEmbedded = 0x4D424544;  // bV5CSType: PROFILE_EMBEDDED
constexpr uint32_t kMostProfileBytes = uint32_t{64} << 20;

/// A bitmap header in memory, as values.
struct CMemoryHeader {
    uint32_t size = 0;
    int32_t width = 0;
    int32_t height = 0;  // rows, positive; the sign is kept in topDown
    bool topDown = false;
    int bits = 0;
    uint32_t compression = 0;
    int32_t xPerMeter = 0;
    int32_t yPerMeter = 0;
    uint32_t colors = 0;  // palette entries that follow the header
    CFieldMask red, green, blue, alpha;
    uint32_t alphaMask = 0;
    uint32_t profileOffset = 0;  // from the start of the header
    uint32_t profileBytes = 0;   // 0 for none

    [[nodiscard]] bool IsLong() const { return size == kHeaderV4 || size == kHeaderV5; }
    [[nodiscard]] bool Supported() const {
        if (width <= 0 || height <= 0) return false;
        if (compression == 0) {
            return bits == 1 || bits == 4 || bits == 8 || bits == 24 || bits == 32;
        }
        return compression == kFieldMapped && (bits == 16 || bits == 32) && !topDown;
    }
    [[nodiscard]] uint64_t RowBytes() const { return CBitmapInfo::RowBytes(bits, width); }
};

/// `bytes` must reach to the end of the header that it states, or of the masks behind it.
CMemoryHeader ParseHeader(std::span<const uint8_t> bytes) {
    CLittleEndianCursor in(bytes);
    CMemoryHeader header;
    header.size = in.U32();
    header.width = in.I32();
    const int64_t height = in.I32();
    header.topDown = height < 0;
    header.height = height == INT32_MIN ? 0 : static_cast<int32_t>(height < 0 ? -height : height);
    in.U16();
    header.bits = in.U16();
    header.compression = in.U32();
    in.U32();
    header.xPerMeter = in.I32();
    header.yPerMeter = in.I32();
    const uint32_t colorsUsed = in.U32();
    if (header.bits < 16) {
        const uint32_t most = header.bits <= 8 ? 1u << header.bits : 0;
        header.colors = colorsUsed == 0 ? most : std::min(colorsUsed, most);
    }
    in.Seek(kPlainHeader);
    if (header.compression == kFieldMapped) {
        header.red = CFieldMask(in.U32());
        header.green = CFieldMask(in.U32());
        header.blue = CFieldMask(in.U32());
    }
    if (header.IsLong()) {
        in.Seek(52);
        header.alphaMask = in.U32();
        // A caller who asks for alpha without saying where it lies means the fourth byte.
        header.alpha = CFieldMask(header.alphaMask != 0 ? header.alphaMask : 0xFF000000);
    }
    if (header.size == kHeaderV5 && in.U32() == kEmbedded) {
        in.Seek(112);
        header.profileOffset = in.U32();
        header.profileBytes = in.U32();
    }
    return header;
}

std::string RefusalOf(const CMemoryHeader& header) {
    return FormatText(kBadHeader, header.topDown ? 1 : 0, header.bits,
                      static_cast<int>(header.compression));
}

void ReadPalette(const uint8_t* entries, uint32_t count, CBitmapInfo& info) {
    for (uint32_t i = 0; i < count; ++i) {
        info.Palette()[i] = {entries[4 * i], entries[4 * i + 1], entries[4 * i + 2], 0};
    }
}

/// 32-bit pixels without masks: three bytes stay, the fourth is alpha.
void ConvertPlain32(const uint8_t* source, int32_t width, uint8_t* destination, uint8_t* alpha) {
    for (int32_t x = 0; x < width; ++x) {
        destination[3 * x] = source[4 * x];
        destination[3 * x + 1] = source[4 * x + 1];
        destination[3 * x + 2] = source[4 * x + 2];
    }
    if (alpha == nullptr) return;
    for (int32_t x = 0; x < width; ++x) alpha[x] = source[4 * x + 3];
}

template <typename Pixel>
void ConvertMapped(const uint8_t* source, const CMemoryHeader& header, uint8_t* destination,
                   uint8_t* alpha) {
    for (int32_t x = 0; x < header.width; ++x) {
        const auto value =
            LoadNumber<Pixel, std::endian::little>(source + static_cast<size_t>(x) * sizeof(Pixel));
        destination[3 * x] = header.blue.Extract(value);
        destination[3 * x + 1] = header.green.Extract(value);
        destination[3 * x + 2] = header.red.Extract(value);
        if (alpha != nullptr) alpha[x] = header.alpha.Extract(value);
    }
}

}  // namespace

bool CImageBits::NewImage(uint32_t width, uint32_t height, uint32_t colour) {
    const auto bytes = StoreBytes(
        CBitmapInfo::RowBytes(24, static_cast<int32_t>(std::min(width, kMostPictureSide))), height);
    if (!bytes || width > kMostPictureSide || height > kMostPictureSide) return false;
    try {
        bits.ResizeUninitialized(*bytes);
    } catch (const std::bad_alloc&) {
        errorText = Message(message::kOperationException);
        return false;
    }
    bitmapInfo = {};
    bitmapInfo.SetFormat(24, static_cast<int32_t>(width), static_cast<int32_t>(height));
    const size_t rowBytes = RowBytes();
    if (!bits.empty()) {
        uint8_t* row = bits.data();
        std::memset(row, 0, rowBytes);
        for (size_t x = 0; x < width; ++x) {
            row[3 * x] = static_cast<uint8_t>(colour >> 16);
            row[3 * x + 1] = static_cast<uint8_t>(colour >> 8);
            row[3 * x + 2] = static_cast<uint8_t>(colour);
        }
        for (size_t y = 1; y < height; ++y) std::memcpy(row + y * rowBytes, row, rowBytes);
    }
    fileName = PathToWide("New Image.bmp");
    typeId = kTypeBMP;
    pageCount = 1;
    currentPage = 0;
    description = "Format: New Bitmap";
    gamma = 1 / 2.2;
    PixelsChanged();
    loaded = true;
    return true;
}

bool CImageBits::LoadBits(std::span<const uint8_t> pixels8, std::span<const uint16_t> pixels16,
                          uint32_t width, uint32_t height, bool gray, CCallbackCls* progress) {
    try {
        const size_t channels = gray ? 1 : 3;
        if (width > kMostPictureSide || height > kMostPictureSide) throw std::bad_alloc();
        CBitmapInfo info;
        info.SetFormat(gray ? 8 : 24, static_cast<int32_t>(width), static_cast<int32_t>(height));
        if (gray) info.SetGrayPalette();
        const auto bytes = StoreBytes(info.RowBytes(), height);
        if (!bytes) throw std::bad_alloc();
        bits.ResizeUninitialized(*bytes);
        bits16.Assign(pixels16);
        bitmapInfo = info;
        const size_t rowSamples = size_t{width} * channels;
        const size_t padding = RowBytes() - rowSamples;
        uint32_t lastReported = 0;
        for (uint32_t y = 0; y < height; ++y) {
            uint8_t* row = RowFromTop(static_cast<int32_t>(y));
            const size_t start = size_t{y} * rowSamples;
            if (pixels16.empty()) {
                std::memcpy(row, pixels8.data() + start, rowSamples);
            } else {
                for (size_t i = 0; i < rowSamples; ++i) {
                    row[i] = static_cast<uint8_t>(pixels16[start + i] >> 8);
                }
            }
            std::memset(row + rowSamples, 0, padding);
            const auto percent = static_cast<uint32_t>(uint64_t{y} * 100 / height);
            if (percent == lastReported) continue;
            lastReported = percent;
            callback::PassProgress(progress, static_cast<int32_t>(percent), 1, 1);
        }
        description = "Format: LoadImage16";
        PixelsChanged();
        loaded = true;
    } catch (...) {
        bits.clear();
        bits16.clear();
        errorText = Message(message::kOperationException);
    }
    return loaded;
}

bool CImageBits::LoadDIB(const uint8_t* header, const uint8_t* pixels, bool alphaFlag, int undo) {
    try {
        return CopyDIB(header, pixels, alphaFlag, undo);
    } catch (const std::bad_alloc&) {
        errorText = Message(message::kOperationException);
        return false;
    }
}

bool CImageBits::CopyDIB(const uint8_t* header, const uint8_t* pixels, bool alphaFlag, int undo) {
    if (header == nullptr || pixels == nullptr) return false;
    // The caller answers for the memory: it holds the header's stated size, and masks or palette.
    const auto size = LoadNumber<uint32_t, std::endian::little>(header);
    if (size < kPlainHeader || size > kHeaderV5) {
        errorText = FormatText(kBadHeader, 0, 0, 0);
        return false;
    }
    const auto compression = LoadNumber<uint32_t, std::endian::little>(header + 16);
    const bool masksFollow = size == kPlainHeader && compression == kFieldMapped;
    const CMemoryHeader info = ParseHeader({header, masksFollow ? size + 12 : size});
    if (!info.Supported()) {
        errorText = RefusalOf(info);
        return false;
    }
    const int delivered = info.bits >= 16 ? 24 : info.bits;
    CBitmapInfo store;
    store.SetFormat(delivered, info.width, info.height);
    const auto bytes = StoreBytes(store.RowBytes(), static_cast<uint32_t>(info.height));
    if (!bytes) return false;
    const bool wasEmpty = bits.empty();
    if (!wasEmpty) BeginUndoable(undo);

    if (info.colors != 0) ReadPalette(header + info.size, info.colors, store);
    store.SetColorCount(static_cast<uint8_t>(info.colors));
    store.SetResolution(info.xPerMeter, info.yPerMeter);
    bits.ResizeUninitialized(*bytes);
    bits16.clear();
    bitmapInfo = store;
    const bool rightKind = info.IsLong() ? info.compression == kFieldMapped : info.compression == 0;
    const bool wantsAlpha = alphaFlag || info.alphaMask != 0;
    alpha.ResizeUninitialized(info.bits == 32 && rightKind && wantsAlpha
                                  ? static_cast<size_t>(info.width) * info.height
                                  : 0);

    const auto sourceRow = static_cast<size_t>(info.RowBytes());
    const size_t rowBytes = RowBytes();
    for (int32_t y = 0; y < info.height; ++y) {  // from the top of the picture
        const size_t line = static_cast<size_t>(info.topDown ? y : info.height - 1 - y);
        const uint8_t* source = pixels + line * sourceRow;
        uint8_t* row = RowFromTop(y);
        uint8_t* rowAlpha =
            alpha.empty() ? nullptr : alpha.data() + static_cast<size_t>(y) * info.width;
        if (info.bits <= 24 && info.compression == 0) {
            std::memcpy(row, source, rowBytes);
            continue;
        }
        const size_t used = static_cast<size_t>(info.width) * 3;
        std::memset(row + used, 0, rowBytes - used);
        if (info.compression == 0) {
            ConvertPlain32(source, info.width, row, rowAlpha);
        } else if (info.bits == 32) {
            ConvertMapped<uint32_t>(source, info, row, rowAlpha);
        } else {
            ConvertMapped<uint16_t>(source, info, row, rowAlpha);
        }
    }
    if (info.profileBytes != 0 && info.profileBytes <= kMostProfileBytes) {
        const uint8_t* profile = header + info.profileOffset;
        iccProfile.assign(profile, profile + info.profileBytes);
        iccFromExif = false;
    }
    if (wasEmpty) {
        gamma = 1 / 2.2;
        currentPage = 0;
        typeId = kTypeBMP;
        description = "Format: DIB from memory";
        if (!iccProfile.empty()) DescribeProfile();
    }
    PixelsChanged();
    loaded = true;
    NormalizeGray();
    return true;
}

bool CImageBits::LoadDIBArray(std::span<const uint8_t> block, bool alphaFlag) {
    if (block.size() < kPlainHeader) return false;
    const CMemoryHeader info = ParseHeader(block);
    if (info.size != kPlainHeader && !info.IsLong()) return false;
    if (info.Supported()) {
        const bool masksFollow =
            info.bits == 16 || (info.bits == 32 && info.compression == kFieldMapped);
        const uint64_t pixels =
            uint64_t{info.size} + (masksFollow ? 12 : 4 * uint64_t{info.colors});
        const auto bytes = StoreBytes(info.RowBytes(), static_cast<uint32_t>(info.height));
        if (!bytes || pixels > block.size() || *bytes > block.size() - pixels) return false;
        if (info.profileOffset > block.size() ||
            info.profileBytes > block.size() - info.profileOffset) {
            return false;
        }
        return LoadDIB(block.data(), block.data() + pixels, alphaFlag, 0);
    }
    errorText = RefusalOf(info);
    return false;
}

}  // namespace kestr
