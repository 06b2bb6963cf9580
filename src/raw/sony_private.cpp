#include "raw/sony_private.h"

#include <algorithm>
#include <string_view>

#include "base/byte_cursor.h"
#include "metadata/tiff_bytes.h"
#include "raw/loose_directory.h"
#include "raw/sony_cipher.h"

namespace kestr {
namespace {

// Of SRF files: a byte that tells how many words behind it the first key stands, big-endian, and
// the directory under that key.
constexpr uint64_t kFirstKeyAt = 200896;
constexpr uint64_t kKeyDirectoryAt = 164600;
constexpr size_t kKeyDirectoryBytes = 40;
constexpr uint16_t kRedAsShot = 0xD0;  // green and blue are next
// Enough for the directory of the white balance, which has some dozen entries.
constexpr size_t kMostDirectoryBytes = 4096;

constexpr uint16_t kBlockOffset = 29184;
constexpr uint16_t kBlockLength = 29185;
constexpr uint16_t kBlockKey = 29217;
constexpr uint16_t kLevelsGRBG = 29443;
constexpr uint16_t kLevelsRGGB = 29459;
constexpr uint64_t kMostBlockBytes = 1 << 20;  // cameras write some ten thousand

std::vector<uint8_t> Deciphered(std::span<const uint8_t> bytes, uint32_t key) {
    std::vector<uint8_t> copy(bytes.begin(), bytes.end());
    CSonyCipher(key).Apply(copy);
    return copy;
}

/// Three gains, or none when one of them is not above 0.
std::vector<double> Levels(uint32_t red, uint32_t green, uint32_t blue) {
    if (red == 0 || green == 0 || blue == 0) return {};
    return {double(red), double(green), double(blue)};
}

}  // namespace

std::optional<CSRFKeys> ReadSRFKeys(std::span<const uint8_t> file) {
    const CTIFFBytes in(file, false);
    if (!in.Holds(kFirstKeyAt, 1)) return std::nullopt;
    const uint64_t keyAt = kFirstKeyAt + 4 * uint64_t{file[size_t{kFirstKeyAt}]};
    if (!in.Holds(keyAt, 4)) return std::nullopt;
    const auto firstKey = CTIFFBytes(file, true).U32(keyAt);
    const auto bytes = Deciphered(SubRange(file, kKeyDirectoryAt, kKeyDirectoryBytes), firstKey);
    // Its two entries are the key of the next directories and that of the sensor data.
    const CTIFFBytes keys(bytes, false);
    CSRFKeys result{.sensorKey = keys.U32(22),
                    .directoryKey = keys.U32(10),
                    .directory = keys.U32(26),
                    .asShotLevels = {}};
    if (result.directory != 0) {
        const auto directory =
            Deciphered(SubRange(file, result.directory, kMostDirectoryBytes), result.directoryKey);
        const auto levels = CLooseDirectory::OfPart(directory, result.directory, false);
        result.asShotLevels = Levels(levels.Number(kRedAsShot), levels.Number(kRedAsShot + 1),
                                     levels.Number(kRedAsShot + 2));
    }
    return result;
}

std::vector<double> ReadSR2Levels(std::span<const uint8_t> file, uint64_t offset, bool bigEndian) {
    const CLooseDirectory directory(file, offset, bigEndian);
    const uint32_t blockAt = directory.Number(kBlockOffset);
    const uint64_t length = std::min<uint64_t>(directory.Number(kBlockLength), kMostBlockBytes);
    const auto block = Deciphered(SubRange(file, blockAt, length), directory.Number(kBlockKey));
    const auto values = CLooseDirectory::OfPart(block, blockAt, bigEndian);
    if (const auto v = values.Numbers(kLevelsRGGB); v.size() == 4) return Levels(v[0], v[1], v[3]);
    if (const auto v = values.Numbers(kLevelsGRBG); v.size() == 4) return Levels(v[1], v[0], v[2]);
    return {};
}

CMRIBlocks ReadMRIBlocks(std::span<const uint8_t> file, uint64_t offset) {
    using namespace std::string_view_literals;
    constexpr size_t kHeadBytes = 8;  // a name of four bytes and the length of what follows
    const auto nameAt = [](std::span<const uint8_t> bytes) {
        return std::string_view(reinterpret_cast<const char*>(bytes.data()),
                                std::min<size_t>(bytes.size(), 4));
    };
    const auto head = SubRange(file, offset);
    if (head.size() < kHeadBytes || nameAt(head) != "\0MRI"sv) return {};
    auto rest = SubRange(head, kHeadBytes, CTIFFBytes(head, false).U32(4));
    CMRIBlocks result;
    while (rest.size() >= kHeadBytes) {
        const uint32_t length = CTIFFBytes(rest, false).U32(4);
        const auto data = SubRange(rest, kHeadBytes, length);
        const CTIFFBytes in(data, false);
        if (nameAt(rest) == "\0PRD"sv) {
            result.height = in.U16(8);
            result.width = in.U16(10);
        } else if (nameAt(rest) == "\0WBG"sv) {
            // Behind four bytes of scale red, two greens and blue.
            result.levels = Levels(in.U16(4), in.U16(6), in.U16(10));
        }
        rest = SubRange(rest, kHeadBytes + uint64_t{length});
    }
    return result;
}

}  // namespace kestr
