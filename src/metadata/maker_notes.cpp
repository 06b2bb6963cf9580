// Tags and places: the makers' cameras themselves, as ExifTool's tag tables name them.

#include "metadata/maker_notes.h"

#include "base/byte_cursor.h"
#include "metadata/tiff_bytes.h"
#include "metadata/tiff_parser.h"

namespace kestr {
namespace {

constexpr bool kBigEndian = true;
constexpr bool kLittleEndian = false;

/// What the parsers share: a directory of the mapped file, and reads behind value offsets.
class CNoteLoop : public CTIFFParserLoop {
protected:
    CNoteLoop(std::span<const uint8_t> file, uint64_t directory, uint64_t base, bool bigEndian)
        : CTIFFParserLoop(SubRange(file, directory), SubRange(file, base), bigEndian, false) {}

    /// `Count` 16-bit numbers from `skip` bytes behind the value offset on; nothing when the file
    /// ends before.
    template <size_t Count>
    [[nodiscard]] std::optional<std::array<uint16_t, Count>> Shorts(uint64_t skip,
                                                                    bool bigEndian) const {
        const CTIFFBytes in(m_offsetBase, bigEndian);
        const uint64_t at = m_value + skip;
        if (!in.Holds(at, 2 * Count)) return {};
        std::array<uint16_t, Count> values;
        for (size_t i = 0; i < Count; ++i) values[i] = in.U16(at + 2 * i);
        return values;
    }
    /// A short in the value field itself.
    [[nodiscard]] uint16_t ShortInField() const {
        return static_cast<uint16_t>(m_bigEndian ? m_value >> 16 : m_value);
    }
};

namespace epson {

class MNParser_t final : public CNoteLoop {
public:
    MNParser_t(std::span<const uint8_t> file, uint64_t directory)
        : CNoteLoop(file, directory, directory, kBigEndian) {}
    CEpsonNote result;

private:
    bool ProcessEntry() override {
        if (m_tag == 640 && m_count > 0) result.preview = {m_value, m_count};
        if (m_tag == 3712 && m_type == tiff_type::kUndefined && m_count == 256) {
            const auto gains = Shorts<2>(48, kBigEndian);
            // Without a gain there is no balance.
            if (!gains || (*gains)[0] == 0 || (*gains)[1] == 0) return true;
            const double red = 1 / ((*gains)[0] * 508 * 1.078 / 65536);
            const double blue = 1 / ((*gains)[1] * 382 * 1.173 / 65536);
            if (result.multipliers.empty()) result.multipliers = {red, 1.0, blue};
        }
        return true;
    }
};

}  // namespace epson

namespace kodak {

class MNParser_t final : public CNoteLoop {
public:
    MNParser_t(std::span<const uint8_t> file, uint64_t directory)
        : CNoteLoop(file, directory, directory, kLittleEndian) {}
    CKodakNote result;

private:
    bool ProcessEntry() override {
        if (m_tag != 3840 || m_type != tiff_type::kUndefined || m_count != 1502) return true;
        // Big-endian in a little-endian directory.
        const auto gains = Shorts<2>(148, kBigEndian);
        if (gains && (*gains)[0] != 0 && (*gains)[1] != 0) {
            result.multipliers = {256.0 / (*gains)[0], 1.0, 256.0 / (*gains)[1]};
        }
        return false;
    }
};

}  // namespace kodak

namespace minolta {

class MNParser_t final : public CNoteLoop {
public:
    MNParser_t(std::span<const uint8_t> file, uint64_t directory)
        : CNoteLoop(file, directory, directory, kBigEndian) {}
    CMinoltaNote result;

private:
    // Tags 1 and 3 are the settings of older and of newer cameras: numbers of four bytes.
    bool ProcessEntry() override {
        if ((m_tag != 1 && m_tag != 3) || m_count / 4 * 4 < 124) return true;
        const CTIFFBytes in(m_offsetBase, kBigEndian);
        const uint64_t settings = m_value;
        if (in.Holds(settings + 160, 4)) result.red = in.U32(settings + 160);
        if (in.Holds(settings + 168, 4)) result.blue = in.U32(settings + 168);
        return false;
    }
};

/// Tag 129 is the preview itself, tags 136 and 137 tell its place.
class CPreviewParser final : public CNoteLoop {
public:
    CPreviewParser(std::span<const uint8_t> tiff, uint64_t directory)
        : CNoteLoop(tiff, directory, 0, kBigEndian) {}
    CNotePreview result;

private:
    bool ProcessEntry() override {
        if (m_tag == 129) result = {m_value, m_count};
        if (m_tag == 136) result.offset = m_value;
        if (m_tag == 137) result.length = m_value;
        return true;
    }
};

}  // namespace minolta

namespace pentax {

class MNParser_t final : public CNoteLoop {
public:
    MNParser_t(std::span<const uint8_t> file, uint64_t directory)
        : CNoteLoop(file, directory, directory, kBigEndian), m_file(file) {}
    CPentaxNote result;

private:
    bool ProcessEntry() override {
        if (m_tag == 3) result.preview.length = m_value;
        if (m_tag == 4) result.preview.offset = m_value;
        if (m_tag != 513) return true;
        if (const auto gains = Gains()) {
            result.red = static_cast<uint16_t>(((*gains)[0] & 0xFFE0) >> 5);
            result.blue = static_cast<uint16_t>(((*gains)[3] & 0xFFE0) >> 5);
        }
        return false;
    }
    // Red, green, green, blue; 8192 is 1, which the greens always are. Bodies differ in what the
    // place of the four counts from: the directory, or the file.
    [[nodiscard]] std::optional<std::array<uint16_t, 4>> Gains() const {
        constexpr uint16_t kOne = 8192;
        const auto near = Shorts<4>(0, kBigEndian);
        const CTIFFBytes in(m_file, kBigEndian);
        const bool nearIsRight = near && (*near)[1] == kOne && (*near)[2] == kOne;
        if (nearIsRight || in.U16(uint64_t{m_value} + 2) != kOne ||
            in.U16(uint64_t{m_value} + 4) != kOne) {
            return near;
        }
        return {{in.U16(m_value), kOne, kOne, in.U16(uint64_t{m_value} + 6)}};
    }

    std::span<const uint8_t> m_file;
};

}  // namespace pentax

namespace nikon {

class MnParser_t final : public CNoteLoop {
public:
    MnParser_t(std::span<const uint8_t> file, uint64_t directory, uint64_t base, bool bigEndian)
        : CNoteLoop(file, directory, base, bigEndian) {}
    CNotePreview result;

private:
    bool ProcessEntry() override {
        if (m_tag == 513) result.offset = m_value;
        if (m_tag == 514) result.length = m_value;
        return true;
    }
};

}  // namespace nikon

namespace olympus {

enum CMode : uint16_t { kNote = 0, kCameraSettings = 8224, kImageProcessing = 8256 };

class MNParser_t final : public CNoteLoop {
public:
    MNParser_t(std::span<const uint8_t> file, uint64_t directory, uint64_t base, bool bigEndian,
               CMode mode, COlympusNote& result)
        : CNoteLoop(file, directory, base, bigEndian),
          m_file(file),
          m_directoryOffset(directory),
          m_base(base),
          m_mode(mode),
          m_result(result) {}

private:
    bool ProcessEntry() override {
        switch (m_mode) {
            case kNote:
                return OfNote();
            case kCameraSettings:
                return OfCameraSettings();
            case kImageProcessing:
                return OfImageProcessing();
        }
        return false;
    }

    bool OfNote() {
        switch (m_tag) {
            case 4114:
                if (const auto levels = Shorts<4>(0, m_bigEndian)) m_result.blackLevels = levels;
                break;
            case 4119:
                m_result.red = ShortInField();
                break;
            case 4120:
                m_result.blue = ShortInField();
                break;
            case kCameraSettings:
                WalkOnce(kCameraSettings, m_settingsWalked);
                break;
            case kImageProcessing:
                WalkOnce(kImageProcessing, m_processingWalked);
                break;
            default:
                break;
        }
        return true;
    }

    // A note that names a directory many times would cost the square of its size.
    void WalkOnce(CMode mode, bool& walked) {
        if (walked) return;
        walked = true;
        uint64_t at = m_base + m_value;
        if (m_base != 0) {
            // A note with offsets of its own has 12 bytes before its directory.
            if (m_directoryOffset + m_value < 12) return;
            at = m_directoryOffset + m_value - 12;
        }
        MNParser_t(m_file, at, m_base, m_bigEndian, mode, m_result).Walk();
    }

    bool OfCameraSettings() {
        if (m_tag == 256) m_result.previewValid = m_value != 0;
        if (m_tag == 257) m_result.preview.offset = m_value;
        if (m_tag == 258) m_result.preview.length = m_value;
        return true;
    }

    bool OfImageProcessing() {
        if (m_tag == 256) {
            if (m_type == tiff_type::kShort && m_count >= 3) {
                if (const auto gains = Shorts<2>(0, m_bigEndian))
                    SetGains((*gains)[0], (*gains)[1]);
            } else {
                const auto low = static_cast<uint16_t>(m_value);
                const auto high = static_cast<uint16_t>(m_value >> 16);
                m_bigEndian ? SetGains(high, low) : SetGains(low, high);
            }
        } else if (m_tag == 512) {
            if (const auto numbers = Shorts<9>(0, m_bigEndian)) {
                auto& matrix = m_result.colorMatrix.emplace();
                for (size_t i = 0; i < matrix.size(); ++i) {
                    matrix[i] = static_cast<int16_t>((*numbers)[i]) * 0.00390625;
                }
            }
        } else if (m_tag == 1536) {
            if (const auto levels = Shorts<4>(0, m_bigEndian)) m_result.blackLevels = levels;
        }
        return true;
    }

    void SetGains(uint16_t red, uint16_t blue) {
        m_result.red = red;
        m_result.blue = blue;
    }

    std::span<const uint8_t> m_file;
    uint64_t m_directoryOffset;
    uint64_t m_base;
    CMode m_mode;
    COlympusNote& m_result;
    bool m_settingsWalked = false;
    bool m_processingWalked = false;
};

}  // namespace olympus
}  // namespace

CEpsonNote ReadEpsonNote(std::span<const uint8_t> file, uint64_t note) {
    constexpr uint64_t kSignature = 8;
    epson::MNParser_t parser(file, note + kSignature);
    parser.Walk();
    return parser.result;
}

CKodakNote ReadKodakNote(std::span<const uint8_t> file, uint64_t note) {
    kodak::MNParser_t parser(file, note);
    parser.Walk();
    return parser.result;
}

CMinoltaNote ReadMinoltaNote(std::span<const uint8_t> file, uint64_t directory) {
    minolta::MNParser_t parser(file, directory);
    parser.Walk();
    return parser.result;
}

CNotePreview ReadMinoltaPreview(std::span<const uint8_t> tiff, uint64_t directory) {
    minolta::CPreviewParser parser(tiff, directory);
    parser.Walk();
    return parser.result;
}

CPentaxNote ReadPentaxNote(std::span<const uint8_t> file, uint64_t note) {
    constexpr uint64_t kSignature = 6;
    pentax::MNParser_t parser(file, note + kSignature);
    parser.Walk();
    return parser.result;
}

CNotePreview ReadNikonPreview(std::span<const uint8_t> file, uint64_t directory, uint64_t base,
                              bool bigEndian) {
    nikon::MnParser_t parser(file, directory, base, bigEndian);
    parser.Walk();
    return parser.result;
}

COlympusNote ReadOlympusNote(std::span<const uint8_t> file, uint64_t directory, uint64_t base,
                             bool bigEndian) {
    COlympusNote result;
    olympus::MNParser_t(file, directory, base, bigEndian, olympus::kNote, result).Walk();
    return result;
}

}  // namespace kestr
