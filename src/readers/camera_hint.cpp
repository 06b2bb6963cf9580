// Looks into the first directory of a TIFF or NEF file for cameras whose files need another reader
// than their extension says.

#include <algorithm>
#include <optional>
#include <string>

#include "base/byte_cursor.h"
#include "readers/reader_factory.h"

namespace kestr {
namespace {

constexpr size_t kShortestFile = 10001;
constexpr size_t kLongestName = 50;  // characters of make and model that are looked at
constexpr uint16_t kTypeAscii = 2;
constexpr uint16_t kTypeShort = 3;
constexpr uint16_t kTagWidth = 256;
constexpr uint16_t kTagHeight = 257;
constexpr uint16_t kTagMake = 271;
constexpr uint16_t kTagModel = 272;

struct CFirstDirectory {
    std::optional<std::string> make;   // upper case, trimmed
    std::optional<std::string> model;  // the same
    std::optional<uint16_t> width;
    std::optional<uint16_t> height;

    [[nodiscard]] bool Complete() const { return make && model && width && height; }
};

std::string NameText(std::span<const uint8_t> bytes) {
    std::string text(bytes.begin(), std::ranges::find(bytes, uint8_t{0}));
    const size_t first = text.find_first_not_of(" \t\r\n\v\f");
    if (first == std::string::npos) return {};
    text = text.substr(first, text.find_last_not_of(" \t\r\n\v\f") - first + 1);
    for (char& c : text) {
        if (c >= 'a' && c <= 'z') c = static_cast<char>(c - 'a' + 'A');
    }
    return text;
}

template <std::endian Order>
CFirstDirectory ReadFirstDirectory(std::span<const uint8_t> file) {
    CFirstDirectory result;
    const uint32_t start = CByteCursor<Order>(file, 4).U32();
    if (start > file.size() - 8) return result;
    CByteCursor<Order> in(file, start);
    const uint16_t count = in.U16();
    if (count == 0 || in.Remaining() / 12 < count) return result;
    for (uint16_t i = 0; i < count && !result.Complete(); ++i) {
        const size_t entry = in.Position();
        const uint16_t tag = in.U16();
        const uint16_t type = in.U16();
        const uint32_t length = in.U32();
        CByteCursor<Order> value(file, in.Position());
        if (type == kTypeAscii && (tag == kTagMake || tag == kTagModel)) {
            const uint64_t offset = length < 5 ? value.Position() : value.U32();
            const auto text =
                NameText(SubRange(file, offset, std::min<uint64_t>(length, kLongestName)));
            (tag == kTagMake ? result.make : result.model) = text;
        } else if (type == kTypeShort && length == 1 && (tag == kTagWidth || tag == kTagHeight)) {
            (tag == kTagWidth ? result.width : result.height) = value.U16();
        }
        in.Seek(entry + 12);
    }
    return result;
}

}  // namespace

CCameraHint ReadCameraHint(std::span<const uint8_t> file) {
    if (file.size() < kShortestFile) return {};
    const bool little = file[0] == 'I' && file[1] == 'I';
    const bool big = file[0] == 'M' && file[1] == 'M';
    if (!little && !big) return {};
    const CFirstDirectory found = little ? ReadFirstDirectory<std::endian::little>(file)
                                         : ReadFirstDirectory<std::endian::big>(file);
    const std::string make = found.make.value_or("");
    const std::string model = found.model.value_or("");
    CCameraHint hint;
    hint.kodak = make.starts_with("KODAK");
    if (make == "CANON") {
        hint.canon = model.starts_with("CANON EOS-1D") && found.width == 288 && found.height == 192;
        if (!hint.canon && model.find("D2000C") != std::string::npos) hint.kodak = true;
    }
    return hint;
}

}  // namespace kestr
