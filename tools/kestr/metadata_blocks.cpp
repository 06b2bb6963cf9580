// Markers: ITU-T T.81, B.1. EXIF block: Exif 2.3, 4.5.4. Image resources: Adobe Photoshop File
// Formats, "Image resource blocks". All numbers are big-endian.
#include "metadata_blocks.h"

#include <algorithm>
#include <fstream>
#include <iterator>
#include <string_view>

namespace tool {
namespace {

using namespace std::string_view_literals;

constexpr std::string_view kExifName = "Exif\0\0"sv;
constexpr std::string_view kPhotoshopName = "Photoshop 3.0\0"sv;
constexpr uint32_t kIptcResource = 1028;

uint32_t Number(std::span<const uint8_t> bytes, size_t at, size_t size) {
    uint32_t number = 0;
    for (size_t i = 0; i < size; ++i) {
        number = number << 8 | (at + i < bytes.size() ? bytes[at + i] : 0u);
    }
    return number;
}

bool Begins(std::span<const uint8_t> bytes, std::string_view name) {
    return bytes.size() >= name.size() &&
           std::ranges::equal(name, bytes.first(name.size()),
                              [](char c, uint8_t byte) { return static_cast<uint8_t>(c) == byte; });
}

std::span<const uint8_t> IptcAmongResources(std::span<const uint8_t> bytes) {
    while (bytes.size() >= 12 && Begins(bytes, "8BIM")) {
        const size_t name = (bytes[6] + 2u) / 2 * 2;  // its length byte too, padded to be even
        const size_t size = Number(bytes, 6 + name, 4);
        const size_t start = std::min(bytes.size(), 10 + name);
        const std::span<const uint8_t> rest = bytes.subspan(start);
        if (Number(bytes, 4, 2) == kIptcResource) return rest.first(std::min(size, rest.size()));
        if (size >= rest.size()) break;
        bytes = rest.subspan(size + size % 2);
    }
    return {};
}

}  // namespace

Bytes ReadWhole(const std::filesystem::path& path) {
    std::ifstream in(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

Bytes BlockInJPEG(std::span<const uint8_t> file, CBlockKind kind) {
    if (!Begins(file, "\xFF\xD8")) return {};
    for (size_t at = 2; at + 4 <= file.size();) {
        const uint32_t marker = Number(file, at, 2);
        if (marker == 0xFFFF) {  // a filling byte
            ++at;
            continue;
        }
        const size_t length = Number(file, at + 2, 2);
        // Behind the start of the first scan there are no more blocks.
        if (marker < 0xFFC0 || marker == 0xFFDA || length < 2) break;
        if (length > file.size() - at - 2) break;
        const std::span<const uint8_t> content = file.subspan(at + 4, length - 2);
        std::span<const uint8_t> block;
        if (kind == CBlockKind::kExif && marker == 0xFFE1 && Begins(content, kExifName)) {
            block = content.subspan(kExifName.size());
        } else if (kind == CBlockKind::kIptc && marker == 0xFFED &&
                   Begins(content, kPhotoshopName)) {
            block = IptcAmongResources(content.subspan(kPhotoshopName.size()));
        }
        if (!block.empty()) return {block.begin(), block.end()};
        at += 2 + length;
    }
    return {};
}

}  // namespace tool
