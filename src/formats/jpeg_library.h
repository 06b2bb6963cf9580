// How this library meets libjpeg: its failures become exceptions, its bytes come from memory.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <span>
#include <string>

#include <jpeglib.h>

namespace kestr {

/// What the error exit throws; the record's msg_code tells why. libjpeg's own frames hold nothing
/// that has to be cleaned up, and are built with unwind tables.
inline constexpr int kJPEGFailure = 1000;

/// Fills `errors` so that a failure throws kJPEGFailure and warnings go unheard.
jpeg_error_mgr* UseThrowingErrors(jpeg_error_mgr& errors);

/// Raises the failure of that code, one of the JERR_ names of jerror.h.
[[noreturn]] void RaiseJPEGError(j_common_ptr info, int code);

/// What a caller reads about a failure.
std::string JPEGErrorText(int code);

/// Hands libjpeg the bytes of a file in memory, once. Asked for more than there are, it raises
/// JERR_INPUT_EMPTY: no end of image is ever made up.
class CJPEGMemorySource {
public:
    CJPEGMemorySource();
    /// Makes `bytes`, which must stay where they are, the input of `info`. This object must outlive
    /// the record's use of it.
    void Attach(j_decompress_ptr info, std::span<const uint8_t> bytes);

private:
    static void Initialize(j_decompress_ptr info);
    static boolean Fill(j_decompress_ptr info);
    static void Skip(j_decompress_ptr info, long count);
    static void Terminate(j_decompress_ptr info);

    // The record knows this part alone; it comes first, so that its address is the object's.
    jpeg_source_mgr m_manager{};
    std::span<const uint8_t> m_bytes;
    bool m_handedOut = false;
};

/// Whether a stream of so many bytes may hold the picture that its header states: beyond 128
/// Mpixel, a byte must not have to stand for more than 1024 pixels.
[[nodiscard]] bool IsBelievableJPEG(const jpeg_decompress_struct& info, size_t streamBytes);

/// The most scans of a progressive stream that are decoded. A scan takes a dozen bytes and walks
/// over the whole picture: encoders use up to some sixty, more are allowed for small pictures.
[[nodiscard]] uint64_t JPEGScanLimit(const jpeg_decompress_struct& info);

/// Where in a file the JPEG stream begins: the first place that looks like SOI and a marker right
/// behind it, the last 256 bytes left out; 0 when there is none.
size_t FindJPEGStart(std::span<const uint8_t> file);

}  // namespace kestr
