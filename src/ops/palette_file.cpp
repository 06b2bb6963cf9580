// Layout of RIFF PAL: "RIFF", size, "PAL data", chunk size, then the chunk: version 0x0300 and the
// number of entries, 16 bits each, and red, green, blue, flags of each entry. Little-endian.

#include "ops/palette_file.h"

#include <algorithm>
#include <array>
#include <cstdlib>
#include <cstring>
#include <optional>
#include <string>
#include <string_view>

#include "base/byte_cursor.h"
#include "image/image_bits.h"
#include "platform/files.h"
#include "platform/mapped_file.h"

namespace kestr {
namespace {

constexpr char kNoPalette[] = "Image has no color palette.";
constexpr std::string_view kWhiteSpace = " \t\n\v\f\r";

std::string_view TextOf(std::span<const uint8_t> bytes) {
    return {reinterpret_cast<const char*>(bytes.data()), bytes.size()};
}

std::vector<CRGBQuad> ParseRiff(std::span<const uint8_t> file) {
    constexpr size_t kChunk = 20;  // where the chunk begins
    if (file.size() < kChunk || TextOf(file.subspan(8, 8)) != "PAL data") return {};
    CByteCursor<std::endian::little> head(file, 16);
    const uint32_t chunkSize = head.U32();
    if (chunkSize > file.size() - kChunk) return {};
    CByteCursor<std::endian::little> in(file.subspan(kChunk, chunkSize), 2);
    const uint16_t count = in.U16();
    if (!in.Ok() || count > (chunkSize - 4) / 4) return {};
    std::vector<CRGBQuad> palette(count);
    for (CRGBQuad& entry : palette) {
        entry.rgbRed = in.U8();
        entry.rgbGreen = in.U8();
        entry.rgbBlue = in.U8();
        in.U8();  // flags
    }
    return palette;
}

/// Walks over the blocks of a JASC file: 256 bytes each, a text that ends at its first zero and
/// loses white space at its end. The usual form of such files, lines, is not read: kept as it is.
class CBlocks {
public:
    explicit CBlocks(std::span<const uint8_t> bytes) : m_rest(bytes) {}

    /// Nothing at the end of the file.
    std::optional<std::string> Next() {
        if (m_rest.empty()) return std::nullopt;
        const auto block = m_rest.first(std::min<size_t>(m_rest.size(), 256));
        m_rest = m_rest.subspan(block.size());
        std::string_view text = TextOf(block);
        text = text.substr(0, text.find('\0'));
        text = text.substr(0, text.find_last_not_of(kWhiteSpace) + 1);
        return std::string(text);
    }

private:
    std::span<const uint8_t> m_rest;
};

/// The first three numbers of a text.
std::optional<CRGBQuad> ParseEntry(const std::string& text) {
    constexpr std::string_view kBetween = " \t\n";
    std::array<uint8_t, 3> levels{};
    size_t at = 0;
    for (uint8_t& level : levels) {
        at = text.find_first_not_of(kBetween, at);
        if (at == std::string::npos) return std::nullopt;
        level = static_cast<uint8_t>(std::strtol(text.c_str() + at, nullptr, 10));
        at = text.find_first_of(kBetween, at);
    }
    return CRGBQuad{levels[2], levels[1], levels[0]};
}

std::vector<CRGBQuad> ParseJasc(std::span<const uint8_t> file) {
    CBlocks blocks(file);
    if (blocks.Next() != "JASC-PAL" || blocks.Next() != "0100") return {};
    const std::optional<std::string> countText = blocks.Next();
    const long count = countText ? std::strtol(countText->c_str(), nullptr, 10) : 0;
    if (count < 1 || count > 256) return {};
    std::vector<CRGBQuad> palette;
    for (long i = 0; i < count; ++i) {
        const std::optional<std::string> text = blocks.Next();
        const std::optional<CRGBQuad> entry = text ? ParseEntry(*text) : std::nullopt;
        if (!entry) return {};
        palette.push_back(*entry);
    }
    return palette;
}

}  // namespace

std::vector<CRGBQuad> ParsePalette(std::span<const uint8_t> file) {
    if (file.size() < 4) return {};
    const std::string_view signature = TextOf(file.first(4));
    if (signature == "RIFF") return ParseRiff(file);
    if (signature == "JASC") return ParseJasc(TextModeBytes(file));
    return {};
}

std::vector<CRGBQuad> ReadPaletteFile(const KESTR_CHAR* path) {
    CMappedFileImpl file;
    if (path == nullptr || !file.OpenRead(path)) return {};
    return ParsePalette(file.Bytes());
}

std::vector<uint8_t> MakePaletteFile(std::span<const CRGBQuad> palette) {
    std::vector<uint8_t> file;
    const auto text = [&](std::string_view words) {
        file.insert(file.end(), words.begin(), words.end());
    };
    const auto number = [&](size_t value, int bytes) {
        for (int i = 0; i < bytes; ++i) file.push_back(static_cast<uint8_t>(value >> 8 * i));
    };
    const size_t count = palette.size();
    text("RIFF");
    number(4 * count + 20, 4);
    text("PAL data");
    number(4 * count + 8, 4);
    number(0x0300, 2);
    number(count, 2);
    for (const CRGBQuad& entry : palette) {
        file.insert(file.end(), {entry.rgbRed, entry.rgbGreen, entry.rgbBlue, 0});
    }
    number(0, 4);  // the chunk is four bytes longer than its entries need
    return file;
}

bool CImageBits::SavePalette(const KESTR_CHAR* path) {
    if (path == nullptr || path[0] == 0) return false;
    if (bitmapInfo.BitCount() > 8) {
        errorText = kNoPalette;
        return false;
    }
    COutputFile file;
    if (!file.Create(path)) return false;
    file.Write(MakePaletteFile(std::span(bitmapInfo.Palette()).first(bitmapInfo.PaletteSize())));
    return file.Close();
}

}  // namespace kestr
