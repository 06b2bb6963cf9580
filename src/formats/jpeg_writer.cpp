// Writes JPEG files, type ids 4 (baseline) and 5 (progressive), with the records, packets and
// profile that the image carries. Layout: see jpeg_reader.cpp and jpeg_markers.cpp.

#include <algorithm>
#include <array>
#include <bit>
#include <cstdio>
#include <cstring>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "base/byte_cursor.h"
#include "base/messages.h"
#include "formats/jpeg_library.h"
#include "formats/jpeg_marker_names.h"
#include "image/image_bits.h"
#include "image/writer_registry.h"
#include "platform/files.h"
#include "readers/type_ids.h"

namespace kestr {
namespace {

using CBytes = std::span<const uint8_t>;

constexpr char kProcessingError[] = "JPEG file processing error.";
constexpr uint16_t kDefaultResolution = 300;  // pixels per inch
constexpr size_t kMarkerRoom = 65533;         // a marker's length word counts itself
constexpr size_t kLongestXmp = 65502;
constexpr size_t kShortestIPTC = 8;  // an empty record gives 7 bytes
constexpr size_t kProfilePiece = kMarkerRoom - kICCHeader;
constexpr size_t kMostProfilePieces = 255;
static_assert(kProfilePiece == 65519);

/// libjpeg's record, with its life.
struct CCompressor {
    CCompressor() {
        info.err = UseThrowingErrors(errors);
        jpeg_create_compress(&info);
    }
    ~CCompressor() { jpeg_destroy_compress(&info); }
    CCompressor(const CCompressor&) = delete;
    CCompressor& operator=(const CCompressor&) = delete;

    jpeg_compress_struct info{};
    jpeg_error_mgr errors{};
};

void SetParameters(CImageBits& image, int32_t typeId, jpeg_compress_struct& info) {
    info.image_width = static_cast<JDIMENSION>(image.Width());
    info.image_height = static_cast<JDIMENSION>(image.Height());
    const bool isGray = image.IsGray();
    info.input_components = isGray ? 1 : 3;
    // Pixels go out red, green, blue as libjpeg sees it; it takes them in the order of the bitmap.
    info.in_color_space = isGray ? JCS_GRAYSCALE : JCS_EXT_BGR;
    jpeg_set_defaults(&info);
    const bool known = image.physicalX != 0 && image.physicalY != 0;
    info.density_unit = 1;  // dots per inch
    info.X_density = known ? image.physicalX : kDefaultResolution;
    info.Y_density = known ? image.physicalY : kDefaultResolution;
    jpeg_set_quality(&info, static_cast<int16_t>(image.jpegQuality), TRUE);
    if (!isGray) {
        for (int i = 0; i < 3; ++i) {
            info.comp_info[i].h_samp_factor = image.jpegSampling[2 * i];
            info.comp_info[i].v_samp_factor = image.jpegSampling[2 * i + 1];
        }
    }
    if (typeId == kTypeJPEGProgressive) jpeg_simple_progression(&info);
    info.dct_method = image.jpegHighQuality ? JDCT_ISLOW : JDCT_IFAST;
}

/// The markers, in their fixed order. What has no room in a marker is left out.
class CMarkerWriter {
public:
    explicit CMarkerWriter(jpeg_compress_struct& info) : m_info(info) {}

    void CameraHeader(CBytes block) {
        if (!block.empty() && block[0] == kBlockOfHEAPJPGM) Put(JPEG_APP0, block.subspan(1));
    }

    /// A comment longer than a marker goes into several, parted at line ends where there are any:
    /// readers put a line end between comments.
    void Comment(std::string_view text) {
        while (text.size() > kMarkerRoom) {
            const size_t lineEnd = text.rfind("\r\n", kMarkerRoom);
            const bool atLine = lineEnd != std::string_view::npos && lineEnd != 0;
            const size_t length = atLine ? lineEnd : kMarkerRoom;
            Put(JPEG_COM, BytesOf(text.substr(0, length)));
            text.remove_prefix(atLine ? length + 2 : length);
        }
        if (!text.empty()) Put(JPEG_COM, BytesOf(text));
    }

    /// False when the record gives nothing that a marker can hold.
    bool Exif(const CEXIF_Members* record) {
        if (record == nullptr) return false;
        const std::vector<uint8_t> block = record->Serialise(true);
        if (block.empty() || block.size() > kMarkerRoom) return false;
        Put(JPEG_APP0 + 1, block);
        return true;
    }

    void CameraBlock(CBytes block) {
        if (block.size() < 2 || block[0] != kBlockOfAPP12) return;
        Put(JPEG_APP0 + 12, block.subspan(1, block.size() - 2));
    }

    void Xmp(CBytes packet) {
        if (packet.empty() || packet.size() > kLongestXmp) return;
        PutNamed(JPEG_APP0 + 1, kXmpName, packet);
    }

    void Profile(CBytes profile) {
        const size_t count = (profile.size() + kProfilePiece - 1) / kProfilePiece;
        if (count > kMostProfilePieces) return;
        for (size_t i = 0; i < count; ++i) {
            std::array<uint8_t, kICCHeader> header{};
            std::ranges::copy(kICCName, header.begin());
            header[12] = static_cast<uint8_t>(i + 1);
            header[13] = static_cast<uint8_t>(count);
            PutNamed(JPEG_APP0 + 2, {reinterpret_cast<const char*>(header.data()), header.size()},
                     SubRange(profile, i * kProfilePiece, kProfilePiece));
        }
    }

    void IPTC(const CIPTC_Members& record) {
        const std::vector<uint8_t> block = record.Serialise();
        if (block.size() < kShortestIPTC) return;
        std::array<uint8_t, 12> resource{'8', 'B', 'I', 'M', 4, 4};  // 1028, without a name
        StoreNumber<uint32_t, std::endian::big>(resource.data() + 8,
                                                static_cast<uint32_t>(block.size()));
        std::string name(kPhotoshopName);
        name.append(resource.begin(), resource.end());
        PutNamed(JPEG_APP0 + 13, name, block);  // not padded to an even size
    }

private:
    static CBytes BytesOf(std::string_view text) {
        return {reinterpret_cast<const uint8_t*>(text.data()), text.size()};
    }

    void Put(int marker, CBytes data) {
        if (data.size() > kMarkerRoom) return;
        jpeg_write_marker(&m_info, marker, data.data(), static_cast<unsigned>(data.size()));
    }

    void PutNamed(int marker, std::string_view name, CBytes data) {
        if (data.size() > kMarkerRoom - name.size()) return;
        std::vector<uint8_t> content(name.begin(), name.end());
        content.insert(content.end(), data.begin(), data.end());
        Put(marker, content);
    }

    jpeg_compress_struct& m_info;
};

void WriteMarkers(const CImageBits& image, bool writeProfile, jpeg_compress_struct& info) {
    CMarkerWriter out(info);
    out.CameraHeader(image.cameraText);
    out.Comment(image.comment);
    if (!out.Exif(image.exif.get())) out.CameraBlock(image.cameraText);
    out.Xmp(image.xmpData);
    if (writeProfile) out.Profile(image.iccProfile);
    out.IPTC(image.iptc);
}

/// Rows in the form that the encoder takes: as they lie in the bitmap where that form is the same,
/// else converted into a buffer.
class CRowSource {
public:
    CRowSource(const CImageBits& image, bool isGray)
        : m_image(image), m_bits(image.bitmapInfo.BitCount()), m_isGray(isGray) {
        m_direct = isGray ? m_bits == 8 && IsIdentity(image.bitmapInfo) : m_bits == 24;
        if (!m_direct) m_row.resize(static_cast<size_t>(image.Width()) * 3);
    }

    /// Row `y` from the top; valid until the next call.
    const uint8_t* Row(int32_t y) {
        const uint8_t* const source = m_image.RowFromTop(y);
        if (m_direct) return source;
        const auto width = static_cast<size_t>(m_image.Width());
        for (size_t x = 0; x < width; ++x) {
            const CRGBQuad pixel = Pixel(source, x);
            if (m_isGray) {
                m_row[x] = pixel.rgbRed;
            } else {
                m_row[3 * x] = pixel.rgbBlue;
                m_row[3 * x + 1] = pixel.rgbGreen;
                m_row[3 * x + 2] = pixel.rgbRed;
            }
        }
        return m_row.data();
    }

private:
    static bool IsIdentity(const CBitmapInfo& info) {
        for (int i = 0; i < 256; ++i) {
            if (info.Palette()[i].rgbRed != i) return false;
        }
        return true;
    }

    CRGBQuad Pixel(const uint8_t* row, size_t x) const {
        const auto& palette = m_image.bitmapInfo.Palette();
        switch (m_bits) {
            case 1:
                return palette[row[x / 8] >> (7 - x % 8) & 1];
            case 4:
                return palette[x % 2 == 0 ? row[x / 2] >> 4 : row[x / 2] & 15];
            case 8:
                return palette[row[x]];
            default:
                return {row[3 * x], row[3 * x + 1], row[3 * x + 2], 0};
        }
    }

    const CImageBits& m_image;
    int m_bits;
    bool m_isGray;
    bool m_direct = false;
    std::vector<uint8_t> m_row;
};

void Encode(CImageBits& image, const CSaveRequest& request, std::FILE* stream) {
    CCompressor compressor;
    jpeg_compress_struct& info = compressor.info;
    jpeg_stdio_dest(&info, stream);
    SetParameters(image, request.typeId, info);
    jpeg_start_compress(&info, TRUE);
    WriteMarkers(image, request.writeProfile, info);
    CRowSource rows(image, info.input_components == 1);
    for (int32_t y = 0; y < image.Height(); ++y) {
        // The library reads the row only; its interface is older than const.
        auto* row = const_cast<JSAMPROW>(rows.Row(y));
        jpeg_write_scanlines(&info, &row, 1);
        image.ReportSaveProgress(static_cast<uint32_t>(y) + 1);
    }
    jpeg_finish_compress(&info);
}

bool SaveJPEG(CImageBits& image, const CSaveRequest& request) {
    COutputFile file;
    if (!file.Create(request.path)) {
        image.errorText = Message(message::kCannotCreate);
        return false;
    }
    try {
        Encode(image, request, file.Stream());
        if (file.Close()) return true;
    } catch (...) {
        // libjpeg's failures and a lack of memory: what was written so far stays.
    }
    image.errorText = kProcessingError;
    return false;
}

const CWriterRegistration kWriters{{kTypeJPEG, kTypeJPEGProgressive}, &SaveJPEG};

}  // namespace
}  // namespace kestr
