// Turns a JPEG file on its coefficients, so that nothing is decoded and nothing is lost.
//
// A turn is made of a transposition and of mirrors along the two axes. A block of coefficients is
// transposed as a matrix; it is mirrored by the signs of its odd columns (left to right) or rows
// (top to bottom), since those cosines are odd about the block's middle. The blocks of a picture
// can be mirrored only where whole MCUs lie: those of a last, cut MCU keep their place, or are
// trimmed. ITU-T T.81, A.2 and A.3.

#include <algorithm>
#include <array>
#include <cstring>
#include <utility>
#include <vector>

#include "formats/jpeg_library.h"
#include "image/lossless_turn.h"
#include "platform/files.h"
#include "platform/mapped_file.h"
#include "readers/type_ids.h"

namespace kestr {
namespace {

constexpr int kMarkerBytes = 0xFFFF;  // all of a marker is kept
constexpr JDIMENSION kTile = 8;  // blocks of a side that are transposed together, for the cache

struct CSteps {
    bool transpose = false;
    bool mirrorX = false;  // left to right, in the result
    bool mirrorY = false;  // top to bottom
};

CSteps StepsOf(CTurn turn) {
    switch (turn) {
        case CTurn::kClockwise:
            return {.transpose = true, .mirrorX = true};
        case CTurn::kAnticlockwise:
            return {.transpose = true, .mirrorY = true};
        case CTurn::kHalf:
            return {.mirrorX = true, .mirrorY = true};
        case CTurn::kMirror:
            return {.mirrorX = true};
        case CTurn::kMirrorUpDown:
            return {.mirrorY = true};
    }
    return {};
}

/// Sign and source of each coefficient of a turned block.
class CBlockTurn {
public:
    CBlockTurn(bool transpose, bool mirrorX, bool mirrorY) {
        for (size_t row = 0; row < 8; ++row) {
            for (size_t column = 0; column < 8; ++column) {
                const size_t at = row * 8 + column;
                m_source[at] = static_cast<uint8_t>(transpose ? column * 8 + row : at);
                const bool negative = (mirrorX && column % 2 != 0) != (mirrorY && row % 2 != 0);
                m_sign[at] = negative ? -1 : 1;
            }
        }
    }
    void operator()(const JCOEF* from, JCOEF* to) const {
        for (size_t i = 0; i < 64; ++i) {
            to[i] = static_cast<JCOEF>(from[m_source[i]] * m_sign[i]);
        }
    }

private:
    std::array<uint8_t, 64> m_source{};
    std::array<int16_t, 64> m_sign{};
};

/// One libjpeg record of each side, closed on every way out.
struct CDecompress {
    CDecompress() {
        info.err = UseThrowingErrors(errors);
        jpeg_create_decompress(&info);
        progress.progress_monitor = &WatchScans;
        info.progress = &progress;
    }
    ~CDecompress() { jpeg_destroy_decompress(&info); }
    CDecompress(const CDecompress&) = delete;
    CDecompress& operator=(const CDecompress&) = delete;

    /// A progressive file of endless scans ends here instead of going on for minutes.
    static void WatchScans(j_common_ptr common) {
        const auto& info = *reinterpret_cast<j_decompress_ptr>(common);
        if (static_cast<uint64_t>(info.input_scan_number) > JPEGScanLimit(info)) {
            throw kJPEGFailure;
        }
    }

    jpeg_decompress_struct info{};
    jpeg_error_mgr errors{};
    jpeg_progress_mgr progress{};
};

struct CCompress {
    CCompress() {
        info.err = UseThrowingErrors(errors);
        jpeg_create_compress(&info);
    }
    ~CCompress() { jpeg_destroy_compress(&info); }
    CCompress(const CCompress&) = delete;
    CCompress& operator=(const CCompress&) = delete;

    jpeg_compress_struct info{};
    jpeg_error_mgr errors{};
};

/// Pointers to all rows of blocks of a coefficient array. libjpeg keeps arrays whole in memory here
/// and hands out a few rows at a time, whose places do not change.
std::vector<JBLOCKROW> RowsOf(j_common_ptr info, jvirt_barray_ptr array, JDIMENSION rows,
                              JDIMENSION rowsAtOnce, bool writable) {
    std::vector<JBLOCKROW> pointers;
    for (JDIMENSION y = 0; y < rows; y += rowsAtOnce) {
        const JDIMENSION count = std::min(rowsAtOnce, rows - y);
        const JBLOCKARRAY some =
            info->mem->access_virt_barray(info, array, y, count, writable ? TRUE : FALSE);
        pointers.insert(pointers.end(), some, some + count);
    }
    return pointers;
}

constexpr JDIMENSION RoundUp(JDIMENSION value, int step) {
    const auto s = static_cast<JDIMENSION>(step);
    return (value + s - 1) / s * s;
}

class CCoefficientTurn {
public:
    CCoefficientTurn(CTurn turn, bool trim) : m_steps(StepsOf(turn)), m_trim(trim) {}

    void Run(std::span<const uint8_t> source, std::FILE* destination);

private:
    void ReadHeader(std::span<const uint8_t> source);
    void RequestArrays();
    void AdjustParameters();
    void CopyMarkers();
    void TurnComponent(int index);

    CSteps m_steps;
    bool m_trim;
    // The arrays below live in the memory of the first record, which must go last.
    CDecompress m_in;
    CCompress m_out;
    std::vector<jvirt_barray_ptr> m_arrays;  // of the result, a component each
    jvirt_barray_ptr* m_coefficients = nullptr;
};

void CCoefficientTurn::Run(std::span<const uint8_t> source, std::FILE* destination) {
    ReadHeader(source);
    RequestArrays();
    m_coefficients = jpeg_read_coefficients(&m_in.info);
    jpeg_copy_critical_parameters(&m_in.info, &m_out.info);
    AdjustParameters();
    if (m_in.info.progressive_mode != FALSE) jpeg_simple_progression(&m_out.info);
    jpeg_stdio_dest(&m_out.info, destination);
    jpeg_write_coefficients(&m_out.info, m_arrays.data());
    CopyMarkers();
    for (int i = 0; i < m_in.info.num_components; ++i) TurnComponent(i);
    jpeg_finish_compress(&m_out.info);
    // What lies behind the coefficients is of no use here: a file cut short is turned as far as it
    // is there, as it would be shown.
}

void CCoefficientTurn::ReadHeader(std::span<const uint8_t> source) {
    // Unlike a load, which wants to know how far the data went, a turn takes a file that is cut
    // short as far as it goes: this source makes up the end of the image.
    jpeg_mem_src(&m_in.info, source.data(), static_cast<unsigned long>(source.size()));
    jpeg_save_markers(&m_in.info, JPEG_COM, kMarkerBytes);
    for (int i = 0; i < 16; ++i) jpeg_save_markers(&m_in.info, JPEG_APP0 + i, kMarkerBytes);
    jpeg_read_header(&m_in.info, TRUE);
    if (!IsBelievableJPEG(m_in.info, source.size())) throw kJPEGFailure;
}

void CCoefficientTurn::RequestArrays() {
    jpeg_decompress_struct& in = m_in.info;
    for (int i = 0; i < in.num_components; ++i) {
        const jpeg_component_info& component = in.comp_info[i];
        // Whole MCUs, as libjpeg lays its own arrays out.
        JDIMENSION width = RoundUp(component.width_in_blocks, component.h_samp_factor);
        JDIMENSION height = RoundUp(component.height_in_blocks, component.v_samp_factor);
        int down = component.v_samp_factor;
        if (m_steps.transpose) {
            std::swap(width, height);
            down = component.h_samp_factor;
        }
        m_arrays.push_back(in.mem->request_virt_barray(reinterpret_cast<j_common_ptr>(&in),
                                                       JPOOL_IMAGE, FALSE, width, height,
                                                       static_cast<JDIMENSION>(down)));
    }
}

/// Brings the result's size, sampling and quantisation tables in line with the turn.
void CCoefficientTurn::AdjustParameters() {
    jpeg_compress_struct& out = m_out.info;
    // What was not there is not added: EXIF data has to come first in its file.
    if (m_in.info.saw_JFIF_marker == FALSE) out.write_JFIF_header = FALSE;
    if (out.num_components == 1) {
        // The factors of a single component mean nothing: its MCU is one block.
        out.comp_info[0].h_samp_factor = 1;
        out.comp_info[0].v_samp_factor = 1;
    }
    if (m_steps.transpose) {
        std::swap(out.image_width, out.image_height);
        std::swap(out.X_density, out.Y_density);
        for (int i = 0; i < out.num_components; ++i) {
            std::swap(out.comp_info[i].h_samp_factor, out.comp_info[i].v_samp_factor);
        }
        for (JQUANT_TBL* table : out.quant_tbl_ptrs) {
            if (table == nullptr) continue;
            for (size_t row = 0; row < 8; ++row) {
                for (size_t column = 0; column < row; ++column) {
                    std::swap(table->quantval[row * 8 + column], table->quantval[column * 8 + row]);
                }
            }
        }
    }
    if (!m_trim) return;
    int across = 1;
    int down = 1;
    for (int i = 0; i < out.num_components; ++i) {
        across = std::max(across, out.comp_info[i].h_samp_factor);
        down = std::max(down, out.comp_info[i].v_samp_factor);
    }
    // A side of less than one MCU cannot be trimmed to nothing.
    const auto trim = [](JDIMENSION& side, int factor) {
        const auto unit = static_cast<JDIMENSION>(8 * factor);
        if (side >= unit) side -= side % unit;
    };
    if (m_steps.mirrorX) trim(out.image_width, across);
    if (m_steps.mirrorY) trim(out.image_height, down);
}

/// All markers of the source but those that the library writes itself.
void CCoefficientTurn::CopyMarkers() {
    const auto begins = [](jpeg_saved_marker_ptr marker, std::string_view name) {
        return marker->data_length >= name.size() &&
               std::memcmp(marker->data, name.data(), name.size()) == 0;
    };
    using namespace std::string_view_literals;
    for (auto* marker = m_in.info.marker_list; marker != nullptr; marker = marker->next) {
        const bool isJFIF = marker->marker == JPEG_APP0 && begins(marker, "JFIF\0"sv);
        const bool isAdobe = marker->marker == JPEG_APP0 + 14 && begins(marker, "Adobe"sv);
        if (isJFIF && m_out.info.write_JFIF_header != FALSE) continue;
        if (isAdobe && m_out.info.write_Adobe_marker != FALSE) continue;
        jpeg_write_marker(&m_out.info, marker->marker, marker->data, marker->data_length);
    }
}

void CCoefficientTurn::TurnComponent(int index) {
    const auto in = reinterpret_cast<j_common_ptr>(&m_in.info);
    const jpeg_component_info& from = m_in.info.comp_info[index];
    const jpeg_component_info& to = m_out.info.comp_info[index];
    const auto across = static_cast<JDIMENSION>(to.h_samp_factor);
    const auto down = static_cast<JDIMENSION>(to.v_samp_factor);
    // Where blocks are: whole MCUs of the source, as libjpeg lays its arrays out.
    const JDIMENSION sourceWidth = RoundUp(from.width_in_blocks, from.h_samp_factor);
    const JDIMENSION sourceHeight = RoundUp(from.height_in_blocks, from.v_samp_factor);
    const JDIMENSION width = m_steps.transpose ? sourceHeight : sourceWidth;
    const JDIMENSION height = m_steps.transpose ? sourceWidth : sourceHeight;
    const auto source = RowsOf(in, m_coefficients[index], sourceHeight,
                               static_cast<JDIMENSION>(from.v_samp_factor), false);
    const auto result = RowsOf(in, m_arrays[static_cast<size_t>(index)], height, down, true);

    // Blocks from these on belong to cut MCUs and keep their place along that axis.
    const auto whole = [](JDIMENSION side, int most, JDIMENSION factor) {
        return side / static_cast<JDIMENSION>(8 * most) * factor;
    };
    const JDIMENSION wholeX =
        m_steps.mirrorX ? whole(m_out.info.image_width, m_out.info.max_h_samp_factor, across) : 0;
    const JDIMENSION wholeY =
        m_steps.mirrorY ? whole(m_out.info.image_height, m_out.info.max_v_samp_factor, down) : 0;
    const std::array<CBlockTurn, 4> turns{
        CBlockTurn(m_steps.transpose, false, false), CBlockTurn(m_steps.transpose, true, false),
        CBlockTurn(m_steps.transpose, false, true), CBlockTurn(m_steps.transpose, true, true)};
    for (JDIMENSION tileY = 0; tileY < height; tileY += kTile) {
        for (JDIMENSION tileX = 0; tileX < width; tileX += kTile) {
            const JDIMENSION endY = std::min(tileY + kTile, height);
            const JDIMENSION endX = std::min(tileX + kTile, width);
            for (JDIMENSION y = tileY; y < endY; ++y) {
                const bool mirrorY = y < wholeY;
                const JDIMENSION fromY = mirrorY ? wholeY - 1 - y : y;
                for (JDIMENSION x = tileX; x < endX; ++x) {
                    const bool mirrorX = x < wholeX;
                    const JDIMENSION fromX = mirrorX ? wholeX - 1 - x : x;
                    const JCOEF* block =
                        m_steps.transpose ? source[fromX][fromY] : source[fromY][fromX];
                    turns[(mirrorX ? 1 : 0) + (mirrorY ? 2 : 0)](block, result[y][x]);
                }
            }
        }
    }
}

bool TurnJPEG(const KESTR_CHAR* from, const KESTR_CHAR* to, CTurn turn, bool trim) {
    CMappedFileImpl source;
    COutputFile destination;
    if (!source.OpenRead(from) || !destination.Create(to)) return false;
    try {
        CCoefficientTurn(turn, trim).Run(source.Bytes(), destination.Stream());
    } catch (...) {  // libjpeg's error exit, or no memory
        return false;
    }
    return destination.Close();
}

const CLosslessTurnRegistration kTurns{{kTypeJPEG, kTypeJPEGProgressive}, &TurnJPEG};

}  // namespace
}  // namespace kestr
