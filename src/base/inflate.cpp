#include "base/inflate.h"

#include <algorithm>
#include <limits>

#include <zlib.h>

namespace kestr {

std::optional<std::vector<uint8_t>> Inflate(std::span<const uint8_t> packed, size_t limit) {
    z_stream stream{};
    if (inflateInit(&stream) != Z_OK) return std::nullopt;
    stream.next_in = const_cast<Bytef*>(packed.data());
    stream.avail_in =
        static_cast<uInt>(std::min<size_t>(packed.size(), std::numeric_limits<uInt>::max()));
    std::vector<uint8_t> bytes;
    uint8_t piece[16384];
    int state = Z_OK;
    while (state == Z_OK && bytes.size() <= limit) {
        stream.next_out = piece;
        stream.avail_out = sizeof piece;
        state = inflate(&stream, Z_NO_FLUSH);
        bytes.insert(bytes.end(), piece, stream.next_out);
    }
    inflateEnd(&stream);
    if (state != Z_STREAM_END || bytes.size() > limit) return std::nullopt;
    return bytes;
}

}  // namespace kestr
