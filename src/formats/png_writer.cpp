// Portable Network Graphics, type ids 11 (plain) and 12 (interlaced), through libpng.
#include <bit>
#include <cstring>
#include <memory>
#include <span>
#include <vector>

#include <png.h>

#include "base/messages.h"
#include "color/icc_profile.h"
#include "formats/png_support.h"
#include "image/colour_key.h"
#include "image/image_bits.h"
#include "image/writer_registry.h"
#include "platform/files.h"
#include "readers/type_ids.h"

namespace kestr {
namespace {

constexpr char kWriteFailed[] = "Error while writing PNG file.";
constexpr char kSoftware[] = "Veldrasin Kestrafoldin";
constexpr char kNamelessProfile[] = "ICC Profile";
constexpr size_t kMostProfileName = 79;       // bytes
constexpr uint16_t kDefaultResolution = 300;  // pixels per inch
constexpr int kCompressionLevel = 1;          // speed before size
constexpr double kMostGamma = 21474.0;        // what the chunk's 31 bits of 1/100000 hold

// How transparency goes into the file: by pixel, by palette entry, by one colour, or not at all.
struct CTransparency {
    std::span<const uint8_t> mask;  // one byte a pixel, rows top-down
    CPixelBytes madeMask;           // holds `mask` when it had to be made
    std::vector<uint8_t> paletteAlpha;
    bool hasColour = false;
    png_color_16 colour{};
};

struct CLayout {
    int colourType = PNG_COLOR_TYPE_RGB;
    int bitDepth = 8;
    bool usesPlane = false;
    [[nodiscard]] bool HasAlpha() const { return (colourType & PNG_COLOR_MASK_ALPHA) != 0; }
    [[nodiscard]] bool IsColour() const {
        return (colourType & PNG_COLOR_MASK_COLOR) != 0 && colourType != PNG_COLOR_TYPE_PALETTE;
    }
};

// The mask of a picture of 8 or 24 bits a pixel by its transparent colour.
CPixelBytes MaskByColour(const CImageBits& image) {
    const CColourKey key(image.transparentColor, image.transparentTolerance);
    const bool isGray8 = image.bitmapInfo.BitCount() == 8;
    const int32_t width = image.Width();
    CPixelBytes mask;
    mask.ResizeUninitialized(static_cast<size_t>(width) * static_cast<size_t>(image.Height()));
    uint8_t* out = mask.data();
    for (int32_t y = 0; y < image.Height(); ++y) {
        const uint8_t* pixel = image.RowFromTop(y);
        for (int32_t x = 0; x < width; ++x) {
            const bool matches = isGray8 ? key.Matches(pixel[0], pixel[0], pixel[0])
                                         : key.Matches(pixel[0], pixel[1], pixel[2]);
            *out++ = matches ? 0 : 255;
            pixel += isGray8 ? 1 : 3;
        }
    }
    return mask;
}

std::vector<uint8_t> PaletteAlphaByColour(const CImageBits& image) {
    const CColourKey key(image.transparentColor, image.transparentTolerance);
    std::vector<uint8_t> table;
    for (const CRGBQuad& entry :
         std::span(image.bitmapInfo.Palette()).first(image.bitmapInfo.PaletteSize())) {
        table.push_back(key.Matches(entry.rgbBlue, entry.rgbGreen, entry.rgbRed) ? 0 : 255);
    }
    return table;
}

CTransparency ChooseTransparency(CImageBits& image, bool usesPlane) {
    CTransparency form;
    const int depth = image.bitmapInfo.BitCount();
    const bool isGray = image.IsGray();
    const auto pixels = static_cast<size_t>(image.Width()) * static_cast<size_t>(image.Height());
    const auto useMadeMask = [&] {
        form.madeMask = MaskByColour(image);
        form.mask = {form.madeMask.data(), form.madeMask.size()};
    };
    if (image.alpha.size() == pixels && (depth > 8 || (depth == 8 && isGray))) {
        form.mask = {image.alpha.data(), pixels};
    } else if (depth <= 8 && !image.paletteAlpha.empty()) {
        form.paletteAlpha = image.paletteAlpha;
    } else if (image.hasTransparentColor && !usesPlane) {
        if (depth <= 8) {
            if (isGray && depth == 8) {
                useMadeMask();
            } else {
                form.paletteAlpha = PaletteAlphaByColour(image);
            }
        } else if (image.transparentTolerance != 0) {
            useMadeMask();
        } else {
            const uint32_t key = image.transparentColor;
            form.colour.red = key & 0xFF;
            form.colour.green = key >> 8 & 0xFF;
            form.colour.blue = key >> 16 & 0xFF;
            form.colour.gray = form.colour.red;
            // A gray picture holds no pixel of another colour.
            form.hasColour = !isGray || (form.colour.red == form.colour.green &&
                                         form.colour.green == form.colour.blue);
        }
    }
    return form;
}

CLayout ChooseLayout(CImageBits& image, const CTransparency& transparency, bool usesPlane) {
    const int depth = image.bitmapInfo.BitCount();
    const bool isGray = image.IsGray();
    const bool hasMask = !transparency.mask.empty();
    CLayout layout{.usesPlane = usesPlane};
    if (depth == 24) {
        layout.colourType = isGray ? PNG_COLOR_TYPE_GRAY : PNG_COLOR_TYPE_RGB;
        layout.bitDepth = usesPlane ? 16 : 8;
    } else {
        layout.colourType = isGray && depth > 4 ? PNG_COLOR_TYPE_GRAY : PNG_COLOR_TYPE_PALETTE;
        layout.bitDepth = usesPlane && isGray ? 16 : depth;
    }
    if (hasMask) layout.colourType |= PNG_COLOR_MASK_ALPHA;
    return layout;
}

class CPNGWriter {
public:
    CPNGWriter(CImageBits& image, COutputFile& file) : m_image(image), m_file(file) {}
    ~CPNGWriter() { png_destroy_write_struct(&m_png, &m_info); }
    CPNGWriter(const CPNGWriter&) = delete;
    CPNGWriter& operator=(const CPNGWriter&) = delete;

    // Raises CPNGError.
    void Write(const CSaveRequest& request);

private:
    void WriteHeader(const CSaveRequest& request);
    void SetPalette();
    void SetProfile();
    void SetTransparency();
    void SetResolution();
    void SetTexts();
    void WriteRows(int passes);
    // `row` holds blue, green, red or one sample a pixel; `joined` has room for a row of the file.
    template <typename Sample>
    void WriteRow(const Sample* row, bool isBGR, int32_t y, std::vector<Sample>& joined);

    static void WriteBytes(png_structp png, png_bytep bytes, size_t count) {
        if (!static_cast<COutputFile*>(png_get_io_ptr(png))->Write(bytes, count)) {
            RaisePNGError(png, "");
        }
    }

    CImageBits& m_image;
    COutputFile& m_file;
    png_structp m_png = nullptr;
    png_infop m_info = nullptr;
    CTransparency m_transparency;
    CLayout m_layout;
};

void CPNGWriter::Write(const CSaveRequest& request) {
    m_png =
        png_create_write_struct(PNG_LIBPNG_VER_STRING, nullptr, &RaisePNGError, &IgnorePNGWarning);
    if (m_png == nullptr) throw CPNGError();
    m_info = png_create_info_struct(m_png);
    if (m_info == nullptr) throw CPNGError();
    // What libpng finds odd in a profile or a palette is no reason to lose the picture.
    png_set_benign_errors(m_png, 1);
    png_set_option(m_png, PNG_SKIP_sRGB_CHECK_PROFILE, PNG_OPTION_ON);
    png_set_write_fn(m_png, &m_file, &CPNGWriter::WriteBytes, nullptr);

    const bool usesPlane = request.writeMetadata && m_image.Has16Bit();
    m_transparency = ChooseTransparency(m_image, usesPlane);
    m_layout = ChooseLayout(m_image, m_transparency, usesPlane);
    WriteHeader(request);
    const bool interlaced = request.typeId == kTypePNGInterlaced;
    const int passes = interlaced ? png_set_interlace_handling(m_png) : 1;
    if (m_layout.usesPlane && std::endian::native == std::endian::little) png_set_swap(m_png);
    if (m_layout.IsColour()) png_set_bgr(m_png);
    WriteRows(passes);
    png_write_end(m_png, m_info);
}

void CPNGWriter::WriteHeader(const CSaveRequest& request) {
    const int interlace =
        request.typeId == kTypePNGInterlaced ? PNG_INTERLACE_ADAM7 : PNG_INTERLACE_NONE;
    png_set_IHDR(m_png, m_info, static_cast<png_uint_32>(m_image.Width()),
                 static_cast<png_uint_32>(m_image.Height()), m_layout.bitDepth, m_layout.colourType,
                 interlace, PNG_COMPRESSION_TYPE_BASE, PNG_FILTER_TYPE_BASE);
    if (m_layout.colourType == PNG_COLOR_TYPE_PALETTE) SetPalette();
    if (request.writeProfile) SetProfile();
    SetTransparency();
    if (m_image.gamma > 0 && m_image.gamma < kMostGamma) {
        png_set_gAMA(m_png, m_info, m_image.gamma);
    }
    SetResolution();
    SetTexts();
    png_set_compression_level(m_png, kCompressionLevel);
    // Trying all filters on each row costs a third of the time and gains next to nothing at this
    // level; indexes keep libpng's choice, which is none.
    if (m_layout.colourType != PNG_COLOR_TYPE_PALETTE) {
        png_set_filter(m_png, PNG_FILTER_TYPE_BASE,
                       m_layout.bitDepth == 16 ? PNG_FILTER_SUB : PNG_FILTER_AVG);
    }
    png_write_info(m_png, m_info);
}

void CPNGWriter::SetPalette() {
    const CBitmapInfo& info = m_image.bitmapInfo;
    std::vector<png_color> palette;
    for (const CRGBQuad& entry : std::span(info.Palette()).first(info.PaletteSize())) {
        palette.push_back({entry.rgbRed, entry.rgbGreen, entry.rgbBlue});
    }
    png_set_PLTE(m_png, m_info, palette.data(), static_cast<int>(palette.size()));
}

void CPNGWriter::SetProfile() {
    const int depth = m_image.bitmapInfo.BitCount();
    if (m_image.iccProfile.empty() || (depth < 24 && !(depth == 8 && m_image.IsGray()))) return;
    std::string name = ICCProfileName(m_image.iccProfile).substr(0, kMostProfileName);
    if (name.empty()) name = kNamelessProfile;
    png_set_iCCP(m_png, m_info, name.c_str(), PNG_COMPRESSION_TYPE_BASE, m_image.iccProfile.data(),
                 static_cast<png_uint_32>(m_image.iccProfile.size()));
}

void CPNGWriter::SetTransparency() {
    if (m_layout.colourType == PNG_COLOR_TYPE_PALETTE && !m_transparency.paletteAlpha.empty()) {
        const size_t count =
            std::min(m_transparency.paletteAlpha.size(), m_image.bitmapInfo.PaletteSize());
        png_set_tRNS(m_png, m_info, m_transparency.paletteAlpha.data(), static_cast<int>(count),
                     nullptr);
    } else if (m_transparency.hasColour) {
        png_set_tRNS(m_png, m_info, nullptr, 0, &m_transparency.colour);
    }
}

void CPNGWriter::SetResolution() {
    const bool known = m_image.physicalX != 0 && m_image.physicalY != 0;
    const auto perMeter = [](uint16_t perInch) {
        return static_cast<png_uint_32>(perInch * 100 / 2.54 + 0.5);
    };
    png_set_pHYs(m_png, m_info, perMeter(known ? m_image.physicalX : kDefaultResolution),
                 perMeter(known ? m_image.physicalY : kDefaultResolution), PNG_RESOLUTION_METER);
}

void CPNGWriter::SetTexts() {
    std::string software = kSoftware;
    std::string comment = m_image.comment;
    char softwareKey[] = "Software";
    char commentKey[] = "Comments";
    png_text texts[2]{};
    texts[0].compression = PNG_TEXT_COMPRESSION_NONE;
    texts[0].key = softwareKey;
    texts[0].text = software.data();
    texts[1].compression = PNG_TEXT_COMPRESSION_NONE;
    texts[1].key = commentKey;
    texts[1].text = comment.data();
    png_set_text(m_png, m_info, texts, comment.empty() ? 1 : 2);
}

void CPNGWriter::WriteRows(int passes) {
    const size_t channels = (m_layout.IsColour() ? 3 : 1) + (m_layout.HasAlpha() ? 1 : 0);
    const size_t samples = channels * static_cast<size_t>(m_image.Width());
    std::vector<uint8_t> joined8(m_layout.bitDepth == 16 ? 0 : samples);
    std::vector<uint16_t> joined16(m_layout.bitDepth == 16 ? samples : 0);
    const size_t planeSamples = static_cast<size_t>(m_image.Width() * m_image.Samples16());
    const int32_t height = m_image.Height();
    for (int pass = 1; pass <= passes; ++pass) {
        for (int32_t y = 0; y < height; ++y) {
            if (m_layout.bitDepth == 16) {
                const uint16_t* row = m_image.bits16.data() + static_cast<size_t>(y) * planeSamples;
                WriteRow(row, m_image.Samples16() == 3, y, joined16);
            } else {
                WriteRow(m_image.RowFromTop(y), m_image.bitmapInfo.BitCount() == 24, y, joined8);
            }
            m_image.ReportSavePercent(static_cast<uint32_t>(int64_t{y} * 100 / height / passes +
                                                            (pass - 1) * 100 / passes));
        }
    }
}

// Joins a row's samples with its part of the mask. `From` samples a pixel come in, blue, green, red
// or one of gray; `To` of them go out, the last of the three for gray.
template <int From, int To, typename Sample>
void JoinAlpha(const Sample* row, int32_t width, const uint8_t* mask, Sample* out) {
    constexpr int kShift = 8 * (sizeof(Sample) - 1);
    for (int32_t x = 0; x < width; ++x) {
        for (int c = From - To; c < From; ++c) *out++ = row[c];
        row += From;
        if (mask != nullptr) *out++ = static_cast<Sample>(*mask++ << kShift);
    }
}

template <typename Sample>
void CPNGWriter::WriteRow(const Sample* row, bool isBGR, int32_t y, std::vector<Sample>& joined) {
    const int32_t width = m_image.Width();
    const size_t start = static_cast<size_t>(y) * static_cast<size_t>(width);
    const uint8_t* mask = m_layout.HasAlpha() ? m_transparency.mask.data() + start : nullptr;
    if (mask != nullptr || isBGR != m_layout.IsColour()) {
        if (!isBGR) JoinAlpha<1, 1>(row, width, mask, joined.data());
        if (isBGR && m_layout.IsColour()) JoinAlpha<3, 3>(row, width, mask, joined.data());
        if (isBGR && !m_layout.IsColour()) JoinAlpha<3, 1>(row, width, mask, joined.data());
        row = joined.data();
    }
    png_write_row(m_png, reinterpret_cast<png_const_bytep>(row));
}

bool SavePNG(CImageBits& image, const CSaveRequest& request) {
    COutputFile file;
    if (!file.Create(request.path)) {
        image.errorText = Message(message::kCannotCreate);
        return false;
    }
    bool written = false;
    try {
        CPNGWriter(image, file).Write(request);
        written = true;
    } catch (const CPNGError&) {
        // The words come below: the rest of the file may fail too.
    }
    if (file.Close() && written) return true;
    image.errorText = kWriteFailed;
    return false;
}

const CWriterRegistration kWriters{{kTypePNG, kTypePNGInterlaced}, &SavePNG};

}  // namespace
}  // namespace kestr
