// A Nikon maker note: "Nikon", a TIFF header of its own at 10 and a directory; older ones are a
// directory alone, whose offsets count from the start of the file.
// Tags and roles: ExifTool's tables and dcraw, which agree.

#include "raw/nikon_note.h"

#include <algorithm>
#include <cstring>

#include "base/byte_cursor.h"
#include "metadata/tiff_bytes.h"
#include "metadata/tiff_parser.h"
#include "raw/nikon_cipher_tables.h"

namespace kestr {
namespace {

namespace tag {
constexpr uint16_t kGains = 12;
constexpr uint16_t kPreview = 17;
constexpr uint16_t kBalanceA = 20;
constexpr uint16_t kSerialNumber = 29;
constexpr uint16_t kCurve = 140;
constexpr uint16_t kLinearization = 150;
constexpr uint16_t kBalance = 151;
constexpr uint16_t kShutterCount = 167;
constexpr uint16_t kLevels = 513;
constexpr uint16_t kCaptureData = 3585;
}  // namespace tag

constexpr size_t kEncipheredBytes = 324;

/// Where red, green and blue stand in a balance block, as indices of 16-bit numbers.
struct CRoles {
    size_t red, green, blue;
};

// A plain block's numbers count from its start, an enciphered one's from the enciphered bytes.
std::optional<CRoles> PlainRoles(uint32_t version) {
    switch (version) {
        case 0x100:
            return CRoles{36, 38, 37};
        case 0x102:
            return CRoles{5, 6, 8};
        case 0x103:
            return CRoles{10, 11, 12};
        default:
            return std::nullopt;
    }
}
CRoles EncipheredRoles(uint32_t version) {
    switch (version) {
        case 0x205:
            return {7, 8, 10};
        case 0x209:
            return {6, 5, 7};
        default:
            return {3, 4, 6};
    }
}

// Four characters as hexadecimal digits; 0 when one of them is none.
uint32_t VersionOf(std::span<const uint8_t, 4> text) {
    uint32_t version = 0;
    for (const uint8_t c : text) {
        if (c >= '0' && c <= '9') {
            version = version << 4 | (c - '0');
        } else if ((c | 32) >= 'a' && (c | 32) <= 'f') {
            version = version << 4 | ((c | 32) - 'a' + 10);
        } else {
            return 0;
        }
    }
    return version;
}

class CNoteParser final : public CTIFFParserLoop {
public:
    CNoteParser(std::span<const uint8_t> directory, std::span<const uint8_t> base, bool bigEndian,
                const CNEFModel* model)
        : CTIFFParserLoop(directory, base, bigEndian, false),
          m_in(base, bigEndian),
          m_model(model) {}

    // Of a tag that is there many times the last one counts, so these are looked into at the end.
    std::optional<uint32_t> previewDirectory;  // offset from the base
    std::span<const uint8_t> curve;
    std::span<const uint8_t> captureData;
    std::vector<double> neutral;

private:
    // False, which ends the walk, when a value is not where the entry says.
    bool ProcessEntry() override {
        switch (m_tag) {
            case tag::kGains:
                return Gains();
            case tag::kPreview:
                previewDirectory = m_value;
                return true;
            case tag::kBalanceA:
                return BalanceA();
            case tag::kSerialNumber:
                return SerialNumber();
            case tag::kCurve:
            case tag::kLinearization:
                curve = SubRange(m_offsetBase, m_value);  // some are longer than they say
                return !curve.empty();
            case tag::kBalance:
                return Balance();
            case tag::kShutterCount:
                return Decipher();
            case tag::kLevels:
                return Levels();
            case tag::kCaptureData:
                captureData = AtOffset(m_count);
                return true;
            default:
                return true;
        }
    }

    // Rationals: red, blue, green, and one more.
    bool Gains() {
        if (!m_in.Holds(m_value, 32)) return false;
        std::array<double, 3> gains{};
        for (size_t i = 0; i < gains.size(); ++i) {
            const uint32_t denominator = m_in.U32(uint64_t{m_value} + 8 * i + 4);
            if (denominator != 0)
                gains[i] = double(m_in.U32(uint64_t{m_value} + 8 * i)) / denominator;
        }
        SetNeutral(gains[0], gains[2] == 0 ? 1.0 : gains[2], gains[1]);
        if (m_model != nullptr && !neutral.empty()) {
            for (size_t i = 0; i < neutral.size(); ++i) neutral[i] *= m_model->neutralScale[i];
        }
        return true;
    }

    // Big-endian whatever the note.
    bool BalanceA() {
        constexpr uint64_t kBytes = 2560;
        constexpr uint64_t kGainsAt = 1248;
        if (m_type != tiff_type::kUndefined || m_count != kBytes) return true;
        CBigEndianCursor in(AtOffset(kBytes), kGainsAt);
        const uint16_t red = in.U16();
        const uint16_t blue = in.U16();
        if (!in.Ok()) return false;
        SetNeutral(red, 256, blue);
        return true;
    }

    bool SerialNumber() {
        const auto text = m_count <= 4 ? m_valueBytes.first(m_count) : AtOffset(m_count);
        if (text.size() < m_count) return false;
        m_serialNumber = 0;
        for (const uint8_t c : text) {
            if (c == 0) break;
            const uint32_t digit = c >= '0' && c <= '9' ? c - '0' : c % 10;
            m_serialNumber = m_serialNumber * 10 + digit;
        }
        return true;
    }

    bool Balance() {
        if (!m_in.Holds(m_value, 4)) return false;
        m_version = VersionOf(m_in.Bytes().subspan(m_value).first<4>());
        if (const auto roles = PlainRoles(m_version)) {
            return TakeRoles(CTIFFBytes(SubRange(m_offsetBase, m_value), m_bigEndian), *roles);
        }
        if (m_version >> 8 != 2) return true;
        const uint64_t start = uint64_t{m_value} + (m_version == 0x205 ? 4 : 284);
        if (!m_in.Holds(start, kEncipheredBytes)) return false;
        std::memcpy(m_enciphered.data(), m_in.Bytes().data() + start, kEncipheredBytes);
        return true;
    }

    // The keys: the serial number, which came before, and the count of shutter releases.
    bool Decipher() {
        if (m_version >> 8 != 2) return true;
        const uint8_t first = kNikonSerialKeys[m_serialNumber & 0xFF];
        uint8_t second =
            kNikonCountKeys[m_valueBytes[0] ^ m_valueBytes[1] ^ m_valueBytes[2] ^ m_valueBytes[3]];
        std::array<uint8_t, kEncipheredBytes> plain = m_enciphered;
        uint8_t step = 96;
        for (uint8_t& byte : plain) {
            second = static_cast<uint8_t>(second + first * step++);
            byte ^= second;
        }
        return TakeRoles(CTIFFBytes(plain, m_bigEndian), EncipheredRoles(m_version));
    }

    bool TakeRoles(const CTIFFBytes& block, const CRoles& roles) {
        const size_t last = std::max({roles.red, roles.green, roles.blue});
        if (!block.Holds(0, 2 * last + 2)) return false;
        SetNeutral(block.U16(2 * roles.red), block.U16(2 * roles.green), block.U16(2 * roles.blue));
        return true;
    }

    // Red, green, green, blue.
    bool Levels() {
        if (m_count != 4) return true;
        if (!m_in.Holds(m_value, 8)) return false;
        SetNeutral(m_in.U16(m_value), m_in.U16(uint64_t{m_value} + 2),
                   m_in.U16(uint64_t{m_value} + 6));
        return true;
    }

    // From gains; one of 0 is none.
    void SetNeutral(double red, double green, double blue) {
        if (red > 0 && green > 0 && blue > 0) neutral = {green / red, 1.0, green / blue};
    }

    CTIFFBytes m_in;
    const CNEFModel* m_model;
    uint32_t m_serialNumber = 0;
    uint32_t m_version = 0;  // of the balance block
    std::array<uint8_t, kEncipheredBytes> m_enciphered{};
};

// Stored values stand at multiples of `step`; those between lie on a line, those behind the last
// keep it.
std::vector<uint16_t> Interpolated(std::span<const uint16_t> stored, uint32_t step) {
    constexpr size_t kEntries = 16384;
    std::vector<uint16_t> curve(kEntries, stored.back());
    for (size_t i = 0; i < kEntries && i / step + 1 < stored.size(); ++i) {
        const size_t knot = i / step;
        const auto share = static_cast<uint32_t>(i % step);
        curve[i] = static_cast<uint16_t>(
            (stored[knot] * (step - share) + stored[knot + 1] * share) / step);
    }
    return curve;
}

std::vector<uint16_t> Identity() {
    std::vector<uint16_t> curve(16384);
    for (size_t i = 0; i < curve.size(); ++i) curve[i] = static_cast<uint16_t>(i);
    return curve;
}

// Nothing when the block is cut.
std::optional<CNikonCompression> ReadCompression(std::span<const uint8_t> block, bool bigEndian,
                                                 int bits) {
    constexpr uint64_t kSplitRow = 562;
    const CTIFFBytes in(block, bigEndian);
    if (!in.Holds(0, 2)) return {};
    const uint8_t version = block[0];
    const uint8_t form = block[1];
    const bool secondKind = version == 0x44 && form == 0x20;
    CNikonCompression result;
    result.huffmanTable = (version == 0x46 ? 2 : 0) + (bits == 14 ? 3 : 0);
    uint64_t at = version == 0x49 || form == 0x58 ? 2112 : 2;
    if (!in.Holds(at, 10)) return {};
    for (uint16_t& predictor : result.startPredictors) {
        predictor = in.U16(at);
        at += 2;
    }
    const uint32_t count = in.U16(at);
    at += 2;
    const uint32_t most = bits == 14 ? 0x4000 : 0x1000;
    const uint32_t step = count > 1 ? most / (count - 1) : 0;
    if (secondKind) result.splitRow = in.U16(kSplitRow);
    if (version == 0x46) {
        result.curve = Identity();
        return result;
    }
    if (!in.Holds(at, uint64_t{count} * 2)) return {};
    std::vector<uint16_t> stored(count);
    for (size_t i = 0; i < count; ++i) stored[i] = in.U16(at + 2 * i);
    result.curve = secondKind && step >= 1 ? Interpolated(stored, step) : std::move(stored);
    return result;
}

// Items of the maker's editing program, little-endian: an id at 0, the size of the data and of
// itself at 18, the data at 22.
int16_t CapturedRotation(std::span<const uint8_t> items) {
    constexpr uint32_t kRotation = 0x76A43207;
    constexpr uint64_t kItemHeader = 22;
    const CTIFFBytes in(items, false);
    uint64_t at = kItemHeader;  // the block has a header of the same length
    int16_t rotation = 0;
    while (in.Holds(at, kItemHeader)) {
        const uint32_t size = in.U32(at + 18);
        if (size < 4 || !in.Holds(at + kItemHeader, size - 4)) break;
        if (in.U32(at) == kRotation && size >= 6) {
            rotation = static_cast<int16_t>(in.U16(at + kItemHeader) % 360);
        }
        at += kItemHeader + size - 4;
    }
    return rotation;
}

/// A directory, what its offsets count from, and its byte order.
struct CPlace {
    uint64_t directory = 0;
    uint64_t base = 0;
    bool bigEndian = false;
};

CPlace PlaceOf(std::span<const uint8_t> file, uint64_t note, bool fileBigEndian) {
    constexpr uint64_t kHeader = 10;
    constexpr uint64_t kOldDirectory = 8;
    const auto bytes = SubRange(file, note);
    const bool named = bytes.size() >= 5 && std::memcmp(bytes.data(), "Nikon", 5) == 0;
    if (!named) return {note, 0, fileBigEndian};
    const auto header = SubRange(bytes, kHeader, 8);
    if (header.size() == 8 && header[0] == header[1] && (header[0] == 'I' || header[0] == 'M')) {
        const bool bigEndian = header[0] == 'M';
        const uint64_t base = note + kHeader;
        return {base + CTIFFBytes(header, bigEndian).U32(4), base, bigEndian};
    }
    return {note + kOldDirectory, 0, fileBigEndian};
}

}  // namespace

CNikonNote ReadNikonNote(std::span<const uint8_t> file, uint64_t note, bool fileBigEndian, int bits,
                         const CNEFModel* model) {
    const CPlace place = PlaceOf(file, note, fileBigEndian);
    CNoteParser parser(SubRange(file, place.directory), SubRange(file, place.base), place.bigEndian,
                       model);
    parser.Walk();
    CNikonNote result;
    if (parser.previewDirectory) {
        result.preview = ReadNikonPreview(file, place.base + *parser.previewDirectory, place.base,
                                          place.bigEndian);
        const uint64_t offset = place.base + result.preview.offset;
        if (offset >= file.size()) result.preview.length = 0;
        result.preview.offset = static_cast<uint32_t>(offset);
    }
    result.compression = ReadCompression(parser.curve, place.bigEndian, bits);
    result.rotation = CapturedRotation(parser.captureData);
    result.neutral = std::move(parser.neutral);
    if (!result.neutral.empty()) {
        const double largest = std::ranges::max(result.neutral);
        for (double& value : result.neutral) value /= largest;
    }
    return result;
}

}  // namespace kestr
