// JPEG streams: JFIF, Exif and Adobe, baseline (type id 4) and progressive (5). Big-endian.
// Layout: ITU-T T.81; JFIF 1.02; Adobe technical note 5116 (its marker, inverted inks).

#include "formats/jpeg_reader.h"

#include <algorithm>
#include <cstddef>

#include <jerror.h>

#include "base/byte_cursor.h"
#include "base/messages.h"
#include "formats/jpeg_library.h"
#include "formats/jpeg_markers.h"
#include "platform/page_release.h"
#include "readers/reader_registry.h"
#include "readers/type_ids.h"

namespace kestr {
namespace {

constexpr uint32_t kRowsARelease = 256;
constexpr size_t kShortestFile = 100;  // bytes
constexpr int kStopped = 1001;         // thrown when the caller wants an end; the words are set
constexpr double kCentimetersPerInch = 2.54;

char Digit(int value) {
    return static_cast<char>('0' + value);
}

}  // namespace

/// libjpeg's record with all that it points at.
struct CJPEGReader::CDecompressor {
    CDecompressor() { info.err = UseThrowingErrors(errors); }
    ~CDecompressor() { jpeg_destroy_decompress(&info); }
    CDecompressor(const CDecompressor&) = delete;
    CDecompressor& operator=(const CDecompressor&) = delete;

    j_common_ptr Common() { return reinterpret_cast<j_common_ptr>(&info); }
    [[nodiscard]] bool IsCMYK() const { return info.out_color_space == JCS_CMYK; }

    static boolean TakeComment(j_decompress_ptr info);
    static void WatchScans(j_common_ptr info);

    jpeg_decompress_struct info{};
    jpeg_error_mgr errors{};
    CJPEGMemorySource source;
    jpeg_progress_mgr progress{};
    uint64_t scanLimit = 0;
};

CJPEGReader::CJPEGReader() = default;
CJPEGReader::~CJPEGReader() = default;

void CJPEGReader::SetFileRange(uint32_t offset, uint32_t size) {
    rangeOffset = offset;
    rangeSize = size;
}

bool CJPEGReader::SetMemorySource(std::span<const uint8_t> data) {
    memoryData = data.data();
    rangeSize = static_cast<uint32_t>(std::min<size_t>(data.size(), UINT32_MAX));
    return true;
}

bool CJPEGReader::Probe(const KESTR_CHAR* path, int page) {
    m_probing = true;
    const bool accepted = CImageReader::Probe(path, page);
    m_probing = false;
    return accepted;
}

bool CJPEGReader::Open(const KESTR_CHAR* path, int) {
    decompressor.reset();
    if (memoryData == nullptr && !file.OpenRead(path)) {
        return Fail(Message(message::kCannotOpenInput));
    }
    try {
        Start();
        return true;
    } catch (int failure) {
        if (failure != kStopped) m_errorText = JPEGErrorText(decompressor->errors.msg_code);
        Drop();
        return false;
    }
}

bool CJPEGReader::Load(const KESTR_CHAR* path, int page) {
    const bool opened = Open(path, page);
    if (opened && m_bitmapInfo.BitCount() == 8) m_bitmapInfo.SetGrayPalette();
    rowsRead = 0;
    return opened;
}

/// The bytes to decode: memory, a range of the file, or the file from where its stream begins.
std::span<const uint8_t> CJPEGReader::Stream() {
    if (memoryData != nullptr) return {memoryData, rangeSize};
    const auto bytes = file.Bytes();
    if (rangeSize != 0) return SubRange(bytes, rangeOffset, rangeSize);
    if (exactStart) return bytes;
    if (bytes.size() < kShortestFile) RaiseJPEGError(decompressor->Common(), JERR_INPUT_EOF);
    return bytes.subspan(FindJPEGStart(bytes));
}

/// Reads the header and, when pixels will be wanted, starts decompression. Throws what libjpeg's
/// error exit throws.
void CJPEGReader::Start() {
    decompressor = std::make_unique<CDecompressor>();
    jpeg_decompress_struct& info = decompressor->info;
    jpeg_create_decompress(&info);
    info.client_data = this;
    m_comments.clear();
    jpeg_set_marker_processor(&info, JPEG_COM, &CDecompressor::TakeComment);
    const auto stream = Stream();
    decompressor->source.Attach(&info, stream);
    // A probe wants neither metadata nor pixels, a file query no pixels.
    const bool wantsMetadata = m_loading || m_headerOnly;
    const bool wantsPixels = !m_headerOnly && !m_probing;
    if (wantsMetadata) {
        for (int app = 0; app < 16; ++app) jpeg_save_markers(&info, JPEG_APP0 + app, 65535);
    }
    // Anything but a header: a comment's processor held on, and there is no more to come.
    if (jpeg_read_header(&info, TRUE) != JPEG_HEADER_OK) {
        RaiseJPEGError(decompressor->Common(), JERR_BAD_STATE);
    }
    // Newer libraries decode what this reader refuses.
    if (info.arith_code) RaiseJPEGError(decompressor->Common(), JERR_ARITH_NOTIMPL);
    if (info.data_precision != 8) RaiseJPEGError(decompressor->Common(), JERR_BAD_PRECISION);
    // More than four components come out as they are, and no row has room for them.
    if (info.num_components > 4) RaiseJPEGError(decompressor->Common(), JERR_CONVERSION_NOTIMPL);

    info.dct_method = m_jpegHighQuality ? JDCT_ISLOW : JDCT_IFAST;
    info.do_fancy_upsampling = m_jpegHighQuality ? TRUE : FALSE;
    if (info.out_color_space == JCS_RGB) info.out_color_space = JCS_EXT_BGR;
    ChooseScale();
    mcuWidth = static_cast<uint16_t>(info.comp_info[0].h_samp_factor * DCTSIZE);
    mcuHeight = static_cast<uint16_t>(info.comp_info[0].v_samp_factor * DCTSIZE);
    if (wantsPixels) {
        if (!IsBelievableJPEG(info, stream.size())) {
            RaiseJPEGError(decompressor->Common(), JERR_WIDTH_OVERFLOW);
        }
        decompressor->scanLimit = JPEGScanLimit(info);
        decompressor->progress.progress_monitor = &CDecompressor::WatchScans;
        info.progress = &decompressor->progress;
        if (!jpeg_start_decompress(&info)) {
            RaiseJPEGError(decompressor->Common(), JERR_BAD_STATE);
        }
        if (decompressor->IsCMYK()) cmykRow.resize(size_t{info.output_width} * 4);
    } else {
        jpeg_calc_output_dimensions(&info);
    }
    Describe();
    StoreComments();
    if (wantsMetadata) {
        TakeJPEGMarkers(*this, {.markers = info.marker_list,
                                .isCMYK = decompressor->IsCMYK(),
                                .source = memoryData != nullptr ? stream : file.Bytes(),
                                .isFile = memoryData == nullptr});
    }
}

/// Picks the reduction by 2, 4 or 8 that serves a thumbnail request.
void CJPEGReader::ChooseScale() {
    if (!m_thumbnailRequested || m_thumbnailWidth == 0 || m_thumbnailHeight == 0) return;
    jpeg_decompress_struct& info = decompressor->info;
    m_originalWidth = info.image_width;
    m_originalHeight = info.image_height;
    info.scale_num = 1;
    info.scale_denom = 1;
    while (info.scale_denom < 8 && (info.image_width / info.scale_denom > m_thumbnailWidth ||
                                    info.image_height / info.scale_denom > m_thumbnailHeight)) {
        info.scale_denom *= 2;
    }
    const bool below = info.image_width / info.scale_denom < m_thumbnailWidth &&
                       info.image_height / info.scale_denom < m_thumbnailHeight;
    if (m_thumbnailFit == 0 && info.scale_denom > 1 && below) info.scale_denom /= 2;
}

/// Size, depth, resolution, type and the lines that tell about them.
void CJPEGReader::Describe() {
    const jpeg_decompress_struct& info = decompressor->info;
    const bool isGray = info.num_components == 1;
    m_bitmapInfo.SetFormat(isGray ? 8 : 24, static_cast<int32_t>(info.output_width),
                           static_cast<int32_t>(info.output_height));
    if (info.density_unit != 0 && info.X_density != 0 && info.Y_density != 0) {
        const double perInch = info.density_unit == 2 ? kCentimetersPerInch : 1.0;
        physicalX = static_cast<uint16_t>(static_cast<uint32_t>(info.X_density * perInch + 0.5));
        physicalY = static_cast<uint16_t>(static_cast<uint32_t>(info.Y_density * perInch + 0.5));
    }
    m_typeId = info.progressive_mode ? kTypeJPEGProgressive : kTypeJPEG;
    m_description += "JPEG File Interchange Format\r\nColor Component Storage: ";
    m_description += isGray ? "8 bit gray scale" : "24 bits per pixel";
    if (decompressor->IsCMYK()) m_description += " (CMYK)";
    if (info.progressive_mode) m_description += "\r\nProgressive JPEG Format";
    m_description += "\r\nJFIF Version ";
    m_description += Digit(info.JFIF_major_version);
    m_description += ".0";
    m_description += Digit(info.JFIF_minor_version);
}

/// All comment markers make one comment, without white space before and behind it.
void CJPEGReader::StoreComments() {
    const size_t first = std::min(m_comments.find_first_not_of(" \t\r\n\v\f"), m_comments.size());
    SetComment(std::string_view(m_comments).substr(first));
}

bool CJPEGReader::ReadLine(uint8_t* destination) {
    ReportProgress(rowsRead, 1, 1);
    if (CheckAbort()) return false;
    ++rowsRead;
    if (!decompressor) return false;
    try {
        ReadRow(destination);
        if (rowsRead % kRowsARelease == 0) ReleaseSource();
        return true;
    } catch (int failure) {
        if (failure != kStopped) {
            m_errorText = JPEGErrorText(decompressor->errors.msg_code);
            m_description += Message(message::kIncompleteRead);
        }
        Drop();
        return false;
    }
}

void CJPEGReader::ReadRow(uint8_t* destination) {
    jpeg_decompress_struct& info = decompressor->info;
    const bool isCMYK = decompressor->IsCMYK();
    JSAMPROW row = isCMYK ? cmykRow.data() : destination;
    if (jpeg_read_scanlines(&info, &row, 1) != 1) {
        RaiseJPEGError(decompressor->Common(), JERR_INPUT_EOF);
    }
    if (isCMYK) {
        ConvertInks(destination);
    } else if (info.num_components == 2) {
        // Two components have no colours; they come out as they stand, in the order of the others.
        for (size_t x = 0; x < info.output_width; ++x) {
            std::swap(destination[3 * x], destination[3 * x + 2]);
        }
    }
}

/// What the decoder has passed in the file's mapping need not stay beside the picture.
void CJPEGReader::ReleaseSource() {
    const uint8_t* const passed = decompressor->info.src->next_input_byte;
    const auto bytes = file.Bytes();
    const bool isInFile = memoryData == nullptr && passed >= bytes.data() + releasedBytes &&
                          passed <= bytes.data() + bytes.size();
    if (!isInFile) return;
    ReleaseFilePages(bytes.data() + releasedBytes, passed);
    releasedBytes = static_cast<size_t>(passed - bytes.data());
}

void CJPEGReader::ConvertInks(uint8_t* destination) const {
    // Adobe's programs store inks inverted and say so by their marker.
    const int invert = decompressor->info.saw_Adobe_marker ? 0xFF : 0;
    const uint8_t* in = cmykRow.data();
    for (JDIMENSION x = 0; x < decompressor->info.output_width; ++x, in += 4, destination += 3) {
        const int light = 255 - (in[3] ^ invert);
        destination[0] = static_cast<uint8_t>(std::max(light - (in[2] ^ invert), 0));
        destination[1] = static_cast<uint8_t>(std::max(light - (in[1] ^ invert), 0));
        destination[2] = static_cast<uint8_t>(std::max(light - (in[0] ^ invert), 0));
    }
}

void CJPEGReader::Close() {
    Drop();
    rangeSize = 0;
    memoryData = nullptr;
}

void CJPEGReader::Drop() {
    releasedBytes = 0;
    decompressor.reset();
    file.Close();
}

boolean CJPEGReader::CDecompressor::TakeComment(j_decompress_ptr info) {
    const auto next = [info] {
        if (info->src->bytes_in_buffer == 0) info->src->fill_input_buffer(info);
        --info->src->bytes_in_buffer;
        return *info->src->next_input_byte++;
    };
    const int high = next();
    const int length = high << 8 | next();
    if (length < 2) return FALSE;
    if (length == 2) return TRUE;
    std::string text;
    for (int i = 2; i < length; ++i) text += static_cast<char>(next());
    text.resize(std::min(text.size(), text.find('\0')));
    static_cast<CJPEGReader*>(info->client_data)->m_comments += text + '\n';
    return TRUE;
}

void CJPEGReader::CDecompressor::WatchScans(j_common_ptr common) {
    const auto* const info = reinterpret_cast<j_decompress_ptr>(common);
    auto& reader = *static_cast<CJPEGReader*>(info->client_data);
    if (reader.CheckAbort()) throw kStopped;
    if (static_cast<uint64_t>(info->input_scan_number) > reader.decompressor->scanLimit) {
        RaiseJPEGError(common, JERR_BAD_PROGRESSION);
    }
}

namespace {
const CReaderRegistration kReaders{{kTypeJPEG, kTypeJPEGProgressive}, &MakeReader<CJPEGReader>};
}  // namespace

}  // namespace kestr
