// Portable Network Graphics, type ids 11 (plain) and 12 (interlaced), through libpng. Big-endian.
// Layout: the W3C recommendation "Portable Network Graphics (PNG) Specification".
#include <algorithm>
#include <bit>
#include <cstring>
#include <optional>
#include <span>
#include <string_view>

#include <png.h>

#include "base/format_text.h"
#include "base/inflate.h"
#include "base/picture_size.h"
#include "formats/png_support.h"
#include "ops/pixel_format.h"
#include "platform/mapped_file.h"
#include "readers/image_reader.h"
#include "readers/reader_registry.h"
#include "readers/type_ids.h"

namespace kestr {
namespace {

constexpr uint32_t kMostSide = 100000;     // pixels or rows that are accepted
constexpr size_t kMostProfile = 16 << 20;  // bytes of an unpacked colour profile
constexpr std::string_view kKeyOfXMP = "XML:com.adobe.xmp";
constexpr double kGammaOfSRGB = 0.45455;

// libpng may take this much for any file, and so much more for each byte of it.
constexpr uint64_t kMemoryForAny = 64 << 20;
constexpr uint64_t kMemoryPerByte = 64;

// The profile inside an iCCP chunk: a name of up to 79 bytes, NUL, method 0, zlib stream.
std::optional<std::vector<uint8_t>> ProfileOfChunk(std::span<const uint8_t> chunk) {
    const auto name = chunk.first(std::min<size_t>(chunk.size(), 80));
    const auto end = std::ranges::find(name, uint8_t{0});
    const auto method = static_cast<size_t>(end - name.begin()) + 1;
    if (end == name.end() || method >= chunk.size() || chunk[method] != 0) return std::nullopt;
    return Inflate(chunk.subspan(method + 1), kMostProfile);
}

// A gray sample as a level of 0 to 255.
uint32_t LevelOf(uint32_t sample, int bitDepth) {
    return bitDepth == 16 ? sample >> 8 : sample * 255 / ((1u << bitDepth) - 1);
}

// Moves the last channel of each pixel of a row into the mask and the others to `destination`.
template <int Channels>
void SplitAlpha(const uint8_t* row, int32_t width, uint8_t* destination, uint8_t* mask) {
    for (int32_t x = 0; x < width; ++x) {
        for (int c = 0; c + 1 < Channels; ++c) *destination++ = *row++;
        *mask++ = *row++;
    }
}

// The same with 16-bit samples, which go to the plane; the picture and the mask take high bytes.
template <int Channels>
void SplitAlpha(const uint16_t* row, int32_t width, uint16_t* plane, uint8_t* mask) {
    for (int32_t x = 0; x < width; ++x) {
        for (int c = 0; c + 1 < Channels; ++c) *plane++ = *row++;
        *mask++ = static_cast<uint8_t>(*row++ >> 8);
    }
}

class CPNGReader final : public CImageReader {
public:
    ~CPNGReader() override { DestroyHandles(); }

    bool Open(const KESTR_CHAR* path, int page) override;
    bool Load(const KESTR_CHAR* path, int page) override;
    bool ReadLine(uint8_t* destination) override;
    void Close() override;

private:
    [[nodiscard]] bool HasAlphaChannel() const {
        return (m_colourType & PNG_COLOR_MASK_ALPHA) != 0;
    }
    [[nodiscard]] bool IsColour() const {
        return m_colourType == PNG_COLOR_TYPE_RGB || m_colourType == PNG_COLOR_TYPE_RGB_ALPHA;
    }
    [[nodiscard]] bool IsPalette() const { return m_colourType == PNG_COLOR_TYPE_PALETTE; }
    [[nodiscard]] bool HasChunk(png_uint_32 flag) const {
        return png_get_valid(m_png, m_info, flag) != 0;
    }
    // A colour key beside 16-bit samples: compared on 8 bits, so the low bytes go.
    [[nodiscard]] bool DropsLowBytes() const {
        return m_bitDepth == 16 && !HasAlphaChannel() && HasChunk(PNG_INFO_tRNS);
    }

    bool StartDecoder();
    bool ReadHeader();
    void Describe();
    void ReadColourSpace();
    void ReadTransparency();
    void InstallPalette();
    void PrepareRows();
    void ReadInterlaced();
    void ReadSourceRow(void* row);
    void DeliverRow(uint8_t* destination);
    void MaskFromPalette(const uint8_t* row, uint8_t* mask) const;
    void TakeTexts();
    void DestroyHandles();

    static void ReadBytes(png_structp png, png_bytep bytes, size_t count);
    static void RowDone(png_structp png, png_uint_32 row, int pass);

    CMappedFileImpl m_file;
    size_t m_position = 0;  // bytes of the file that libpng has had
    CPNGMemory m_memory;
    png_structp m_png = nullptr;
    png_infop m_info = nullptr;
    png_infop m_endInfo = nullptr;
    int m_bitDepth = 0;  // of a sample in the file; 8 where low bytes are dropped
    int m_colourType = 0;
    bool m_interlaced = false;
    std::span<const png_color> m_palette;  // libpng's own
    int m_channels = 0;                    // of a pixel as it comes from libpng
    size_t m_rowBytes = 0;                 // of a row as it comes from libpng
    CPixelBytes m_picture;                 // every row of an interlaced file, else empty
    std::vector<uint8_t> m_row8;           // one row whose channels are to be parted
    std::vector<uint16_t> m_row16;
    uint32_t m_rowsRead = 0;
};

void CPNGReader::ReadBytes(png_structp png, png_bytep bytes, size_t count) {
    auto& reader = *static_cast<CPNGReader*>(png_get_io_ptr(png));
    const auto rest = reader.m_file.Bytes().subspan(reader.m_position);
    if (count > rest.size()) RaisePNGError(png, "");
    std::memcpy(bytes, rest.data(), count);
    reader.m_position += count;
}

void CPNGReader::RowDone(png_structp png, png_uint_32, int) {
    if (static_cast<CPNGReader*>(png_get_io_ptr(png))->CheckAbort()) RaisePNGError(png, "");
}

bool CPNGReader::Open(const KESTR_CHAR* path, int) {
    m_rowsRead = 0;
    if (!m_file.OpenRead(path)) return false;
    try {
        if (StartDecoder() && ReadHeader()) return true;
    } catch (const CPNGError&) {
        // A fatal error of libpng: the file is refused without words.
    }
    Close();
    return false;
}

bool CPNGReader::StartDecoder() {
    const auto file = m_file.Bytes();
    if (file.size() < 8 || png_sig_cmp(file.data(), 0, 8) != 0) return false;
    m_position = 0;
    m_memory.left = kMemoryForAny + kMemoryPerByte * file.size();
    m_png =
        png_create_read_struct_2(PNG_LIBPNG_VER_STRING, nullptr, &RaisePNGError, &IgnorePNGWarning,
                                 &m_memory, &AllocatePNGMemory, &FreePNGMemory);
    if (m_png == nullptr) return false;
    m_info = png_create_info_struct(m_png);
    m_endInfo = png_create_info_struct(m_png);
    if (m_info == nullptr || m_endInfo == nullptr) return false;
    png_set_read_fn(m_png, this, &CPNGReader::ReadBytes);
    png_set_user_limits(m_png, kMostSide, kMostSide);
    // Profiles are tested where all profiles are; libpng would drop some that are sound, such as
    // one behind an sRGB chunk.
    png_set_keep_unknown_chunks(m_png, PNG_HANDLE_CHUNK_ALWAYS,
                                reinterpret_cast<png_const_bytep>("iCCP"), 1);
    png_read_info(m_png, m_info);
    return true;
}

bool CPNGReader::ReadHeader() {
    png_uint_32 width = 0;
    png_uint_32 height = 0;
    int interlace = 0;
    if (!png_get_IHDR(m_png, m_info, &width, &height, &m_bitDepth, &m_colourType, &interlace,
                      nullptr, nullptr)) {
        return false;
    }
    if (width < 1 || width > kMostSide || height < 1 || height > kMostSide) return false;
    // Two bits a sample become a byte a pixel.
    const int depth = IsColour() ? 24 : m_bitDepth == 2 ? 8 : std::min(m_bitDepth, 8);
    m_bitmapInfo.SetFormat(depth, static_cast<int32_t>(width), static_cast<int32_t>(height));
    m_interlaced = interlace != PNG_INTERLACE_NONE;
    m_typeId = m_interlaced ? kTypePNGInterlaced : kTypePNG;
    m_has16Bit = m_bitDepth == 16 && !DropsLowBytes();
    if (IsPalette()) {
        png_colorp entries = nullptr;
        int count = 0;
        if (png_get_PLTE(m_png, m_info, &entries, &count)) {
            m_palette = {entries, static_cast<size_t>(count)};
        }
        m_colorCount = static_cast<uint32_t>(m_palette.size());
    }
    Describe();
    ReadColourSpace();
    return true;
}

void CPNGReader::Describe() {
    m_description += "Portable Network Graphics (PNG) Format\r\n";
    m_description += FormatText("Bits per component: %d\r\nColor type        : ", m_bitDepth);
    switch (m_colourType) {
        case PNG_COLOR_TYPE_GRAY:
        case PNG_COLOR_TYPE_GRAY_ALPHA:
            m_description += "Gray scale";
            break;
        case PNG_COLOR_TYPE_RGB:
        case PNG_COLOR_TYPE_RGB_ALPHA:
            m_description += "RGB";
            break;
        case PNG_COLOR_TYPE_PALETTE:
            m_description += FormatText("%d color palette", static_cast<int>(m_palette.size()));
            break;
        default:
            m_description += "Unknown";
            break;
    }
    if (HasAlphaChannel()) m_description += " + Alpha channel";
    if (HasChunk(PNG_INFO_tRNS)) m_description += " + Transparency";
    m_description += "\r\nInterlaced : ";
    m_description += m_interlaced ? "Yes" : "No";
}

void CPNGReader::ReadColourSpace() {
    double gamma = 0;
    if (png_get_gAMA(m_png, m_info, &gamma)) {
        m_gamma = gamma;
        m_description += FormatText("\r\nFile Gamma: %.3f", gamma);
    }
    png_uint_32 xPerMeter = 0;
    png_uint_32 yPerMeter = 0;
    if (png_get_pHYs(m_png, m_info, &xPerMeter, &yPerMeter, nullptr)) {
        const auto perInch = [](png_uint_32 perMeter) {
            return static_cast<uint16_t>(static_cast<uint32_t>(perMeter * 2.54 / 100 + 0.5));
        };
        physicalX = perInch(xPerMeter);
        physicalY = perInch(yPerMeter);
    }
    if (!m_loading && !m_headerOnly) return;
    png_unknown_chunkp chunks = nullptr;
    const int count = png_get_unknown_chunks(m_png, m_info, &chunks);
    for (const png_unknown_chunk& chunk : std::span(chunks, static_cast<size_t>(count))) {
        if (std::memcmp(chunk.name, "iCCP", 4) != 0) continue;
        if (const auto profile = ProfileOfChunk({chunk.data, chunk.size})) SetICCProfile(*profile);
    }
    if (m_iccProfile.empty() && HasChunk(PNG_INFO_sRGB)) {
        m_description += "\r\nColor Space: sRGB";
        m_gamma = kGammaOfSRGB;
    }
}

bool CPNGReader::Load(const KESTR_CHAR* path, int page) {
    if (!Open(path, page)) return false;
    try {
        ReadTransparency();
        InstallPalette();
        PrepareRows();
        if (m_interlaced) ReadInterlaced();
    } catch (const CPNGError&) {
        // The words, if any, are those of an abort.
        return false;
    }
    return !CheckAbort();
}

void CPNGReader::ReadTransparency() {
    png_bytep table = nullptr;
    int entries = 0;
    png_color_16p key = nullptr;
    const bool valid =
        HasChunk(PNG_INFO_tRNS) && png_get_tRNS(m_png, m_info, &table, &entries, &key) != 0;
    if (valid && m_colourType == PNG_COLOR_TYPE_RGB) {
        const int shift = m_bitDepth == 16 ? 8 : 0;
        const auto byte = [shift](uint32_t sample) { return (sample >> shift) & 0xFF; };
        m_transparentColor = byte(key->red) | byte(key->green) << 8 | byte(key->blue) << 16;
        m_hasTransparentColor = true;
    } else if (valid && m_colourType == PNG_COLOR_TYPE_GRAY) {
        m_transparentColor = (LevelOf(key->gray, m_bitDepth) & 0xFF) * 0x010101;
        m_hasTransparentColor = true;
    } else if (valid && IsPalette() && entries > 0) {
        m_paletteAlpha.assign(table, table + entries);
        if (m_bitmapInfo.BitCount() >= 4) StartMask();
    }
    if (HasAlphaChannel()) StartMask();
}

void CPNGReader::InstallPalette() {
    if (m_bitmapInfo.BitCount() > 8) return;
    auto& palette = m_bitmapInfo.Palette();
    if (IsPalette()) {
        const size_t count = std::min(m_palette.size(), palette.size());
        for (size_t i = 0; i < count; ++i) {
            palette[i] = {m_palette[i].blue, m_palette[i].green, m_palette[i].red, 0};
        }
        m_bitmapInfo.SetColorCount(static_cast<uint8_t>(count));
        return;
    }
    const int levels = 1 << std::min(m_bitDepth, 8);
    for (int i = 0; i < levels; ++i) {
        const auto level = static_cast<uint8_t>(i * 255 / (levels - 1));
        palette[static_cast<size_t>(i)] = {level, level, level, 0};
    }
}

void CPNGReader::PrepareRows() {
    if (IsColour()) png_set_bgr(m_png);
    if (m_bitDepth == 2) png_set_packing(m_png);
    if (DropsLowBytes()) {
        png_set_strip_16(m_png);
        m_bitDepth = 8;
    }
    if (m_bitDepth == 16 && std::endian::native == std::endian::little) png_set_swap(m_png);
    if (m_interlaced) png_set_interlace_handling(m_png);
    png_read_update_info(m_png, m_info);

    m_channels = png_get_channels(m_png, m_info);
    m_rowBytes = png_get_rowbytes(m_png, m_info);
    if (m_bitDepth == 16) StartPlane16(IsColour() ? 3 : 1);
    if (HasAlphaChannel()) {
        if (m_bitDepth == 16) {
            m_row16.resize(m_rowBytes / 2);
        } else {
            m_row8.resize(m_rowBytes);
        }
    }
}

// The passes of an interlaced file complete all rows together, at the end.
void CPNGReader::ReadInterlaced() {
    const auto height = static_cast<uint32_t>(m_bitmapInfo.Height());
    const auto size = StoreBytes(m_rowBytes, height);
    if (!size) throw std::bad_alloc();
    m_picture.ResizeZeroed(*size);
    std::vector<png_bytep> rows(height);
    for (size_t y = 0; y < height; ++y) rows[y] = m_picture.data() + y * m_rowBytes;
    png_set_read_status_fn(m_png, &CPNGReader::RowDone);
    png_read_image(m_png, rows.data());
}

bool CPNGReader::ReadLine(uint8_t* destination) {
    ReportProgress(m_rowsRead, 1, 1);
    if (CheckAbort()) return false;
    try {
        DeliverRow(destination);
        ++m_rowsRead;
        if (m_rowsRead == static_cast<uint32_t>(m_bitmapInfo.Height())) {
            TakeTexts();
            png_read_end(m_png, m_endInfo);
            TakeTexts();
            DestroyHandles();
        }
    } catch (const CPNGError&) {
        return false;
    }
    return true;
}

void CPNGReader::ReadSourceRow(void* row) {
    if (m_interlaced) {
        std::memcpy(row, m_picture.data() + size_t{m_rowsRead} * m_rowBytes, m_rowBytes);
    } else {
        png_read_row(m_png, static_cast<png_bytep>(row), nullptr);
    }
}

void CPNGReader::DeliverRow(uint8_t* destination) {
    const int32_t width = m_bitmapInfo.Width();
    const size_t start = size_t{m_rowsRead} * static_cast<size_t>(width);
    uint8_t* mask = m_alpha.empty() ? nullptr : m_alpha.data() + start;
    if (m_bitDepth == 16) {
        const size_t samples = static_cast<size_t>(width) * (IsColour() ? 3 : 1);
        uint16_t* plane = m_bits16.data() + size_t{m_rowsRead} * samples;
        if (HasAlphaChannel()) {
            ReadSourceRow(m_row16.data());
            if (m_channels == 4) SplitAlpha<4>(m_row16.data(), width, plane, mask);
            if (m_channels == 2) SplitAlpha<2>(m_row16.data(), width, plane, mask);
        } else {
            ReadSourceRow(plane);
        }
        for (size_t i = 0; i < samples; ++i) destination[i] = static_cast<uint8_t>(plane[i] >> 8);
    } else if (HasAlphaChannel()) {
        ReadSourceRow(m_row8.data());
        if (m_channels == 4) SplitAlpha<4>(m_row8.data(), width, destination, mask);
        if (m_channels == 2) SplitAlpha<2>(m_row8.data(), width, destination, mask);
    } else {
        ReadSourceRow(destination);
        if (mask != nullptr) MaskFromPalette(destination, mask);
    }
}

// An index beyond the table is opaque.
void CPNGReader::MaskFromPalette(const uint8_t* row, uint8_t* mask) const {
    uint8_t alphaOf[256];
    std::memset(alphaOf, 255, sizeof alphaOf);
    std::copy_n(m_paletteAlpha.begin(), std::min<size_t>(m_paletteAlpha.size(), 256), alphaOf);
    UnpackIndices(row, m_bitmapInfo.BitCount(), m_bitmapInfo.Width(), mask);
    for (int32_t x = 0; x < m_bitmapInfo.Width(); ++x) mask[x] = alphaOf[mask[x]];
}

// The comment is "key: text" for each text so far; those behind the picture come at the end. An XMP
// packet is no comment.
void CPNGReader::TakeTexts() {
    std::string comment;
    for (png_infop info : {m_info, m_endInfo}) {
        png_textp texts = nullptr;
        int count = 0;
        png_get_text(m_png, info, &texts, &count);
        for (const png_text& text : std::span(texts, static_cast<size_t>(count))) {
            const std::string_view words = text.text != nullptr ? text.text : "";
            if (text.key == kKeyOfXMP) {
                m_xmpData.assign(words.begin(), words.end());
                continue;
            }
            comment += text.key;
            comment += ": ";
            comment += words;
            if (comment.back() != '\n') comment += '\n';
        }
    }
    SetComment(comment);
}

void CPNGReader::Close() {
    DestroyHandles();
    m_file.Close();
    m_picture.clear();
    m_row8.clear();
    m_row16.clear();
    ZeroPlanesFrom(m_rowsRead);
}

void CPNGReader::DestroyHandles() {
    if (m_png == nullptr) return;
    png_destroy_read_struct(&m_png, m_info != nullptr ? &m_info : nullptr,
                            m_endInfo != nullptr ? &m_endInfo : nullptr);
    m_palette = {};
}

const CReaderRegistration kReaders{{kTypePNG, kTypePNGInterlaced}, &MakeReader<CPNGReader>};

}  // namespace
}  // namespace kestr
