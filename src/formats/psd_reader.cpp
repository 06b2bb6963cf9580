// Photoshop files, type id 31. Big-endian; the picture lies in planes, rows from the top.
// Layout: Adobe Photoshop File Formats Specification.

#include <algorithm>
#include <array>
#include <cstring>
#include <memory>
#include <vector>

#include "base/byte_cursor.h"
#include "base/float_tone.h"
#include "base/format_text.h"
#include "base/messages.h"
#include "base/pixel_planes.h"
#include "base/stated_size.h"
#include "color/lab.h"
#include "formats/jpeg_reader.h"
#include "formats/pack_bits.h"
#include "formats/psd_layout.h"
#include "metadata/image_resources.h"
#include "platform/mapped_file.h"
#include "platform/vector_clones.h"
#include "readers/image_reader.h"
#include "readers/reader_registry.h"
#include "readers/type_ids.h"

namespace kestr {
namespace {

constexpr char kDepth[] = "%dbits/channel images not supported.";
constexpr char kFloatMode[] = "Only RGB images with 32 bits/channel supported.";
constexpr char kDeepBitmap[] = "16 bits/channel gray PSD images not supported.";
constexpr char kDeepIndexed[] = "16 bits/channel indexed PSD images not supported.";
constexpr char kDeepLab[] = "16 bits/channel LAB PSD images not supported.";
constexpr char kMode[] = "Unsupported PSD mode.";

constexpr uint16_t kPackBits = 1;
constexpr uint32_t kPaletteBytes = 768;
constexpr uint32_t kShortestLayers = 13;  // bytes of a layer section that has any
constexpr size_t kThumbnailHeader = 28;   // bytes in front of the JPEG stream
constexpr size_t kExifMark = 6;           // "Exif" and two NULs, which some programs write
// Bytes of a picture for one of the file, at the most: a packet of two bytes stands for 128 samples
// of 8 bits, and those of 16 become three bytes.
constexpr uint64_t kMostPerByte = 16;
constexpr uint64_t kMostPerPackedByte = 512;

uint16_t Sample16(const uint8_t* bytes) {
    return LoadNumber<uint16_t, std::endian::big>(bytes);
}

KESTR_VECTOR_CLONES
void JoinPlanes16(const uint8_t* red, const uint8_t* green, const uint8_t* blue, size_t width,
                  uint8_t* bgr, uint16_t* bgr16) {
    for (size_t x = 0; x < width; ++x) {
        bgr16[3 * x] = Sample16(blue + 2 * x);
        bgr16[3 * x + 1] = Sample16(green + 2 * x);
        bgr16[3 * x + 2] = Sample16(red + 2 * x);
    }
    for (size_t i = 0; i < 3 * width; ++i) bgr[i] = static_cast<uint8_t>(bgr16[i] >> 8);
}

void JoinPlanesFloat(const std::array<const uint8_t*, 4>& planes, size_t width, uint8_t* bgr,
                     uint16_t* bgr16) {
    const CFloatTone& tone = FloatTone();
    for (size_t plane = 0; plane < 3; ++plane) {
        for (size_t x = 0; x < width; ++x) {
            const auto bits = LoadNumber<uint32_t, std::endian::big>(planes[plane] + 4 * x);
            const uint16_t level = tone.Level(bits);
            bgr16[3 * x + 2 - plane] = level;
            bgr[3 * x + 2 - plane] = static_cast<uint8_t>(level >> 8);
        }
    }
}

/// Inks are stored complemented: 255 is none. `step` is the number of bytes of a sample, of which
/// the first counts.
void InksToBGR(const std::array<const uint8_t*, 4>& planes, size_t width, size_t step,
               uint8_t* bgr) {
    for (size_t x = 0; x < width; ++x) {
        const size_t at = x * step;
        const int black = 255 - planes[3][at];
        for (size_t plane = 0; plane < 3; ++plane) {
            const int light = 255 - (255 - planes[plane][at] + black);
            bgr[3 * x + 2 - plane] = static_cast<uint8_t>(std::max(light, 0));
        }
    }
}

class CPSDReader final : public CImageReader {
public:
    bool Open(const KESTR_CHAR* path, int page) override;
    bool Load(const KESTR_CHAR* path, int page) override;
    bool ReadLine(uint8_t* destination) override;
    void Close() override;

private:
    bool ReadSections();
    bool AcceptMode();
    void Describe();
    void CountPadBytes(CPSDSection& section) const;
    void ReadColours(const CPSDSection& section);
    void ReadResources(const CPSDSection& section);
    void ReadThumbnail(std::span<const uint8_t> resources);
    bool ReadLayers(const CPSDSection& section);
    bool Compose();
    bool StartPlanes();
    void DeliverRow(uint8_t* destination);

    CMappedFileImpl m_file;
    CPSDHeader m_header;
    bool m_compressed = false;
    size_t m_dataStart = 0;                      // offset behind the compression word
    std::vector<CPSDLayer> m_layers;             // to be composed
    CPixelBytes m_composed;                      // planes that they made, one behind the other
    std::array<CPlaneStream, 4> m_planes;        // of the file, or of m_composed
    std::array<std::vector<uint8_t>, 4> m_rows;  // room for a row of each
    std::unique_ptr<CJPEGReader> m_thumbnail;    // the active thumbnail, or null
    bool m_swapThumbnail = false;                // its red is blue
    uint32_t m_rowsRead = 0;
};

bool CPSDReader::Open(const KESTR_CHAR* path, int) {
    m_pageCount = 1;
    if (!m_file.OpenRead(path)) return Fail(Message(message::kCannotOpenInput));
    if (ReadSections()) return true;
    Close();
    return false;
}

bool CPSDReader::ReadSections() {
    const auto file = m_file.Bytes();
    const auto header = ParsePSDHeader(file);
    if (!header || header->width == 0 || header->height == 0) return false;
    if (header->width > kMostPictureSide || header->height > kMostPictureSide) return false;
    m_header = *header;
    if (!AcceptMode()) return false;
    Describe();
    const CPSDSection colours = ParsePSDSection(file, kPSDHeaderSize);
    ReadColours(colours);
    CPSDSection resources = ParsePSDSection(file, colours.end);
    CountPadBytes(resources);
    if (resources.length != 0) {
        ReadResources(resources);
    } else {
        m_thumbnailRequested = false;
    }
    const CPSDSection layers = ParsePSDSection(file, resources.end);
    if (m_header.depth >= 16 && layers.length >= kShortestLayers) m_psdFlattened = true;
    if (!ReadLayers(layers)) return false;
    m_compressed = CBigEndianCursor(SubRange(file, layers.end, 2)).U16() == kPackBits;
    m_dataStart = static_cast<size_t>(std::min<uint64_t>(layers.end + 2, file.size()));
    m_description += "\r\nCompressed: ";
    m_description += m_compressed ? "Yes" : "No";
    m_description += FormatText("\r\nBits Per Channel: %d", m_header.depth);
    if (m_loading && !m_layers.empty() && !m_thumbnailRequested) {
        m_description += FormatText("\r\nLayers: %d", static_cast<int>(m_layers.size()));
    }
    // A thumbnail's size was weighed by its own reader. Layers may be packed as they like.
    const uint64_t pixelBytes = (m_bitmapInfo.BitCount() == 24 ? 3 : 1) * (m_has16Bit ? 3 : 1);
    return m_thumbnail ||
           IsPlausibleSize(m_header.width * pixelBytes, m_header.height, file.size(),
                           m_compressed || !m_layers.empty() ? kMostPerPackedByte : kMostPerByte);
}

/// Some writers, this library's among them, do not count the pad bytes of odd resources. When the
/// file ends as a plain picture without layers would end behind all resources, they are counted.
void CPSDReader::CountPadBytes(CPSDSection& section) const {
    const auto file = m_file.Bytes();
    const size_t length = ImageResourcesLength(SubRange(file, section.dataStart), section.length);
    if (length <= section.length) return;
    const uint64_t end = section.dataStart + uint64_t{length};
    CBigEndianCursor in(SubRange(file, end));
    const bool isPlain = in.U32() == 0 && in.U16() == 0;  // no layers, no compression
    if (!isPlain || in.Remaining() != m_header.channels * m_header.RowBytes() * m_header.height) {
        return;
    }
    section.data = SubRange(file, section.dataStart, length);
    section.end = end;
}

/// Tests depth and mode together, and sets the format of the rows.
bool CPSDReader::AcceptMode() {
    const uint16_t depth = m_header.depth;
    const bool deep = depth > 8;
    if (depth > 16 && depth != 32) return Fail(FormatText(kDepth, depth));
    if (depth == 32 && m_header.mode != kPSDRGB) return Fail(kFloatMode);
    int bits = depth == 1 ? 1 : 8;
    switch (m_header.mode) {
        case kPSDBitmap:
            if (deep) return Fail(kDeepBitmap);
            break;
        case kPSDGray:
        case kPSDDuotone:
            break;
        case kPSDIndexed:
            if (deep) return Fail(kDeepIndexed);
            break;
        case kPSDLab:
            if (deep) return Fail(kDeepLab);
            [[fallthrough]];
        case kPSDRGB:
        case kPSDCMYK:
            bits = 24;
            break;
        default:
            return Fail(kMode);
    }
    // Depths that the format does not have, or not in this mode, would leave rows without a
    // meaning.
    const bool known = depth == 8 || depth == 16 || depth == 32 || (depth == 1 && bits == 1);
    if (!known) return Fail(FormatText(kDepth, depth));
    m_bitmapInfo.SetFormat(bits, static_cast<int32_t>(m_header.width),
                           static_cast<int32_t>(m_header.height));
    m_colorCount = bits == 24 ? 0 : 1u << bits;
    m_has16Bit = deep && m_header.mode != kPSDCMYK;
    if (m_loading && m_header.mode == kPSDDuotone) m_bitmapInfo.SetGrayPalette();
    return true;
}

void CPSDReader::Describe() {
    m_typeId = kTypePhotoshop;
    m_description += "Adobe Photoshop Format";
    switch (m_header.mode) {
        case kPSDIndexed:
        case kPSDRGB:
            m_description += "\r\nColorspace: RGB";
            break;
        case kPSDCMYK:
            m_description += "\r\nColorspace: CMYK";
            break;
        case kPSDLab:
            m_description += "\r\nColorspace: LAB";
            break;
        default:
            break;
    }
}

void CPSDReader::ReadColours(const CPSDSection& section) {
    auto& palette = m_bitmapInfo.Palette();
    const int bits = m_bitmapInfo.BitCount();
    if (section.length == 0) {
        if (bits == 8) m_bitmapInfo.SetGrayPalette();
        if (bits == 1) {
            palette[0] = {255, 255, 255, 0};
            palette[1] = {0, 0, 0, 0};
        }
        return;
    }
    if (section.length != kPaletteBytes || !m_loading || m_header.mode == kPSDDuotone) return;
    const auto level = [&](size_t i) { return i < section.data.size() ? section.data[i] : 0; };
    for (size_t i = 0; i < palette.size(); ++i) {
        palette[i] = {static_cast<uint8_t>(level(512 + i)), static_cast<uint8_t>(level(256 + i)),
                      static_cast<uint8_t>(level(i)), 0};
    }
}

void CPSDReader::ReadResources(const CPSDSection& section) {
    const auto find = [&](uint16_t id) { return FindImageResource(section.data, id); };
    if (m_thumbnailRequested) ReadThumbnail(section.data);
    if (const auto iptc = find(image_resource::kIPTC); !iptc.empty()) m_iptc.Parse(iptc);
    if (auto exif = find(image_resource::kExif); !exif.empty()) {
        constexpr std::array<uint8_t, kExifMark> kMark{'E', 'x', 'i', 'f', 0, 0};
        if (exif.size() > kExifMark && std::ranges::equal(exif.first(kExifMark), kMark)) {
            exif = exif.subspan(kExifMark);
        }
        m_exif = std::make_unique<CEXIF_Members>();
        m_exif->Parse(exif, false, true);
        if (!m_exif->MakerNote.empty()) {
            m_exif->makerNoteOffset += static_cast<uint32_t>(exif.data() - m_file.Data());
        }
    }
    if ((m_loading || m_headerOnly) && m_header.mode == kPSDRGB && m_header.depth != 32 &&
        !m_thumbnailRequested) {
        auto profile = find(image_resource::kICCProfile);
        // A pad byte is no part of a profile, which states its own size.
        const uint64_t stated = CBigEndianCursor(profile).U32();
        if (profile.size() == stated + 1) profile = profile.first(profile.size() - 1);
        SetICCProfile(profile);
    }
}

/// Makes the picture's thumbnail the picture, or drops the request.
void CPSDReader::ReadThumbnail(std::span<const uint8_t> resources) {
    m_thumbnailRequested = false;
    for (const uint16_t id : {image_resource::kOldThumbnail, image_resource::kThumbnail}) {
        const auto data = SubRange(FindImageResource(resources, id), kThumbnailHeader);
        if (data.empty()) continue;
        auto jpeg = std::make_unique<CJPEGReader>();
        jpeg->m_jpegHighQuality = m_jpegHighQuality;
        jpeg->SetMemorySource(data);
        if (!jpeg->Load(nullptr, 0)) continue;
        const int bits = jpeg->m_bitmapInfo.BitCount();
        m_originalWidth = m_header.width;
        m_originalHeight = m_header.height;
        m_bitmapInfo.SetFormat(bits, jpeg->m_bitmapInfo.Width(), jpeg->m_bitmapInfo.Height());
        m_colorCount = bits == 8 ? 256 : 0;
        if (bits == 8) m_bitmapInfo.SetGrayPalette();
        m_thumbnail = std::move(jpeg);
        // Resources of this id have red and blue exchanged within the JPEG stream.
        m_swapThumbnail = id == image_resource::kOldThumbnail && bits == 24;
        m_thumbnailRequested = true;
        return;
    }
}

/// Reads the table of layers when they are to be composed. False when it is damaged.
bool CPSDReader::ReadLayers(const CPSDSection& section) {
    m_layers.clear();
    const bool composable = (m_header.mode == kPSDGray && m_bitmapInfo.BitCount() == 8) ||
                            (m_header.mode == kPSDRGB && m_bitmapInfo.BitCount() == 24);
    if (!m_loading || m_psdFlattened || m_thumbnailRequested || !composable) return true;
    if (section.length == 0 || m_header.depth != 8) return true;
    auto layers = ParsePSDLayers(section.data);
    if (!layers) return false;
    m_layers = std::move(*layers);
    return true;
}

bool CPSDReader::Load(const KESTR_CHAR* path, int page) {
    if (!Open(path, page)) return false;
    m_rowsRead = 0;
    if (m_thumbnail) return true;
    if (m_header.depth >= 16 && m_header.mode != kPSDCMYK) {
        StartPlane16(m_header.mode == kPSDRGB ? 3 : 1);
    }
    return m_layers.empty() ? StartPlanes() : Compose();
}

/// Lays the layers over the matte, the lowest first.
bool CPSDReader::Compose() {
    const size_t planes = m_header.Planes();
    const auto size = StoreBytes(m_header.RowBytes() * planes, m_header.height);
    if (!size) throw std::bad_alloc();
    m_composed.ResizeUninitialized(*size);
    const size_t planeBytes = *size / planes;
    for (size_t plane = 0; plane < planes; ++plane) {
        const auto level = static_cast<uint8_t>(m_backgroundColor >> 8 * plane);
        std::memset(m_composed.data() + plane * planeBytes, level, planeBytes);
    }
    for (const CPSDLayer& layer : m_layers) {
        if (CheckAbort()) return false;
        if (!layer.skip && !layer.IsHidden()) ComposePSDLayer(layer, m_header, m_composed);
    }
    for (size_t plane = 0; plane < planes; ++plane) {
        m_planes[plane] = {{m_composed.data() + plane * planeBytes, planeBytes}, false};
    }
    return true;
}

/// Finds where each plane of the composite begins; its rows are unpacked when they are delivered.
bool CPSDReader::StartPlanes() {
    const uint64_t rowBytes = m_header.RowBytes();
    const uint64_t tableBytes = uint64_t{m_header.height} * 2;  // of a plane
    uint64_t at = m_dataStart;
    if (m_compressed) at += m_header.channels * tableBytes;
    for (size_t plane = 0; plane < m_header.Planes(); ++plane) {
        if (CheckAbort()) return false;
        const auto rest = SubRange(m_file.Bytes(), at);
        uint64_t taken = rowBytes * m_header.height;
        if (m_compressed && plane + 1 == m_header.Planes()) {
            taken = rest.size();
        } else if (m_compressed) {
            // The packets decide where a plane ends; the table only helps to find it.
            const auto table =
                SubRange(m_file.Bytes(), m_dataStart + plane * tableBytes, tableBytes);
            const auto length = plane < m_header.channels && table.size() == tableBytes
                                    ? LengthOfWholeRows(rest, table, rowBytes)
                                    : std::nullopt;
            taken = length ? *length : PackedLength(rest, taken);
        }
        m_planes[plane] = {SubRange(rest, 0, taken), m_compressed};
        m_rows[plane].resize(static_cast<size_t>(rowBytes));
        at += taken;
    }
    return true;
}

bool CPSDReader::ReadLine(uint8_t* destination) {
    if (m_thumbnail) {
        const auto pixels = static_cast<size_t>(m_bitmapInfo.Width());
        const bool came = m_thumbnail->ReadLine(destination);
        for (size_t x = 0; came && m_swapThumbnail && x < pixels; ++x) {
            std::swap(destination[3 * x], destination[3 * x + 2]);
        }
        ++m_rowsRead;
        ReportProgress(m_rowsRead, 1, 1);
        return !CheckAbort() && came;
    }
    if (m_rowsRead >= m_header.height) return false;
    DeliverRow(destination);
    ++m_rowsRead;
    ReportProgress(m_rowsRead, 1, 1);
    return !CheckAbort();
}

void CPSDReader::DeliverRow(uint8_t* destination) {
    const size_t width = m_header.width;
    const auto rowBytes = static_cast<size_t>(m_header.RowBytes());
    std::array<const uint8_t*, 4> row{};
    for (size_t plane = 0; plane < m_header.Planes(); ++plane) {
        row[plane] = m_planes[plane].Read(rowBytes, m_rows[plane].data());
    }
    const size_t samples = m_header.mode == kPSDRGB ? 3 * width : width;
    uint16_t* const deep = m_bits16.empty() ? nullptr : m_bits16.data() + m_rowsRead * samples;
    switch (m_header.mode) {
        case kPSDRGB:
            if (m_header.depth == 8) JoinPlanes(row[0], row[1], row[2], width, destination);
            if (m_header.depth == 16) {
                JoinPlanes16(row[0], row[1], row[2], width, destination, deep);
            }
            if (m_header.depth == 32) JoinPlanesFloat(row, width, destination, deep);
            break;
        case kPSDCMYK:
            InksToBGR(row, width, m_header.depth / 8, destination);
            break;
        case kPSDLab:
            for (size_t x = 0; x < width; ++x) {
                LabToBGR(row[0][x] * 100 / 255, row[1][x] - 128, row[2][x] - 128,
                         destination + 3 * x);
            }
            break;
        default:
            if (m_header.depth < 16) {
                std::memcpy(destination, row[0], rowBytes);
                break;
            }
            for (size_t x = 0; x < width; ++x) {
                deep[x] = Sample16(row[0] + 2 * x);
                destination[x] = row[0][2 * x];
            }
            break;
    }
}

void CPSDReader::Close() {
    if (m_thumbnail) m_thumbnail->Close();
    m_thumbnail.reset();
    ZeroPlanesFrom(m_rowsRead);
    m_planes = {};
    m_composed.clear();
    m_layers.clear();
    m_file.Close();
}

const CReaderRegistration kReaders{{kTypePhotoshop}, &MakeReader<CPSDReader>};

}  // namespace
}  // namespace kestr
