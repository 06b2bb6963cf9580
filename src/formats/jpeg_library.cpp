#include "formats/jpeg_library.h"

#include <algorithm>
#include <cstring>
#include <type_traits>

#include <jerror.h>

#include "base/format_text.h"

namespace kestr {
namespace {

constexpr char kOtherError[] = "JPEG decompression error %d";
// A complete stream has at least a bit for each block of 64 samples, thus a byte for each 512
// pixels; one cut short has any part of that. So each byte may claim twice the pixels that it could
// hold, and small claims, up to the largest cameras', are free.
constexpr uint64_t kFreePixels = uint64_t{1} << 27;
constexpr uint64_t kPixelsPerByte = 1024;
constexpr uint64_t kBlockVisits = uint64_t{1} << 28;  // of all scans together
constexpr uint64_t kLeastScans = 64;
constexpr uint64_t kMostScans = 1000;
constexpr size_t kUnsearchedTail = 256;  // bytes at the end of a file where no stream begins

void ExitByException(j_common_ptr) {
    throw kJPEGFailure;
}

void OutputNothing(j_common_ptr) {}

}  // namespace

jpeg_error_mgr* UseThrowingErrors(jpeg_error_mgr& errors) {
    jpeg_std_error(&errors);
    errors.error_exit = &ExitByException;
    errors.output_message = &OutputNothing;
    return &errors;
}

void RaiseJPEGError(j_common_ptr info, int code) {
    info->err->msg_code = code;
    throw kJPEGFailure;
}

std::string JPEGErrorText(int code) {
    switch (code) {
        case JERR_BAD_PRECISION:
            return "Unsupported JPEG precision";
        case JERR_EMPTY_IMAGE:
            return "Empty JPEG image";
        case JERR_FILE_READ:
            return "Input file read error";
        case JERR_INPUT_EMPTY:
            return "Empty input file";
        case JERR_INPUT_EOF:
            return "Premature end of input file";
        case JERR_NO_IMAGE:
            return "JPEG datastream contains no image";
        case JERR_NO_SOI:
            return "Not a JPEG file";
        case JERR_OUT_OF_MEMORY:
            return "Insufficient memory";
        case JERR_WIDTH_OVERFLOW:
            return "JPEG image too large";
        default:
            return FormatText(kOtherError, code);
    }
}

CJPEGMemorySource::CJPEGMemorySource() {
    m_manager.init_source = &Initialize;
    m_manager.fill_input_buffer = &Fill;
    m_manager.skip_input_data = &Skip;
    m_manager.resync_to_restart = &jpeg_resync_to_restart;
    m_manager.term_source = &Terminate;
}

void CJPEGMemorySource::Attach(j_decompress_ptr info, std::span<const uint8_t> bytes) {
    static_assert(std::is_standard_layout_v<CJPEGMemorySource>);
    m_bytes = bytes;
    m_handedOut = false;
    m_manager.next_input_byte = nullptr;
    m_manager.bytes_in_buffer = 0;
    info->src = &m_manager;
}

void CJPEGMemorySource::Initialize(j_decompress_ptr) {}

boolean CJPEGMemorySource::Fill(j_decompress_ptr info) {
    auto* const source = reinterpret_cast<CJPEGMemorySource*>(info->src);
    if (source->m_handedOut || source->m_bytes.empty()) {
        RaiseJPEGError(reinterpret_cast<j_common_ptr>(info), JERR_INPUT_EMPTY);
    }
    source->m_handedOut = true;
    info->src->next_input_byte = source->m_bytes.data();
    info->src->bytes_in_buffer = source->m_bytes.size();
    return TRUE;
}

void CJPEGMemorySource::Skip(j_decompress_ptr info, long count) {
    if (count <= 0) return;
    const size_t step = std::min(static_cast<size_t>(count), info->src->bytes_in_buffer);
    info->src->next_input_byte += step;
    info->src->bytes_in_buffer -= step;
}

void CJPEGMemorySource::Terminate(j_decompress_ptr) {}

bool IsBelievableJPEG(const jpeg_decompress_struct& info, size_t streamBytes) {
    const uint64_t pixels = uint64_t{info.image_width} * info.image_height;
    return pixels <= std::max(kFreePixels, streamBytes * kPixelsPerByte);
}

uint64_t JPEGScanLimit(const jpeg_decompress_struct& info) {
    uint64_t blocks = 1;
    for (int i = 0; i < info.num_components; ++i) {
        const jpeg_component_info& component = info.comp_info[i];
        blocks += uint64_t{component.width_in_blocks} * component.height_in_blocks;
    }
    return std::clamp(kBlockVisits / blocks, kLeastScans, kMostScans);
}

size_t FindJPEGStart(std::span<const uint8_t> file) {
    if (file.size() <= kUnsearchedTail) return 0;
    const size_t end = file.size() - kUnsearchedTail;
    for (size_t p = 0; p < end; ++p) {
        const void* const found = std::memchr(file.data() + p, 0xFF, end - p);
        if (found == nullptr) break;
        p = static_cast<size_t>(static_cast<const uint8_t*>(found) - file.data());
        const uint8_t* const at = file.data() + p;  // the tail keeps bytes 1 to 5 inside
        if (at[1] != 0xD8 || at[2] != 0xFF) continue;
        if (at[3] == 0xFE) return p;
        const size_t length = static_cast<size_t>(at[4]) << 8 | at[5];
        if (at[3] >= 0xD0 && at[3] <= 0xEF && p + length < end) return p;
    }
    return 0;
}

}  // namespace kestr
