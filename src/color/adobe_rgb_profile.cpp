// The built-in profile "Adobe RGB (1998)". Layout: ICC.1:1998-09, file format for color profiles.
// Colorants and gamma: Adobe RGB (1998) Color Image Encoding, section 4.3.8 ("ICC profile").
#include <array>
#include <bit>
#include <cstddef>
#include <string_view>

#include "base/byte_cursor.h"
#include "color/icc_profile.h"

namespace kestr {
namespace {

constexpr std::string_view kName = "Adobe RGB (1998)";
constexpr std::string_view kCopyright = "Values of Adobe RGB (1998); no copyright.";
constexpr size_t kProfileBytes = 560;
constexpr size_t kHeaderBytes = 128;
constexpr int kTags = 10;

/// A number of 16 whole and 16 fraction bits, rounded to the nearest.
constexpr uint32_t Fixed16(double value) {
    return static_cast<uint32_t>(value * 65536 + 0.5);
}
static_assert(Fixed16(0.60974) == 0x9C18);

class CProfileBuilder {
public:
    constexpr void U16(uint16_t value) {
        StoreNumber<uint16_t, std::endian::big>(m_bytes.data() + m_position, value);
        m_position += sizeof value;
    }
    constexpr void U32(uint32_t value) {
        StoreNumber<uint32_t, std::endian::big>(m_bytes.data() + m_position, value);
        m_position += sizeof value;
    }
    constexpr void Text(std::string_view text) {
        for (const char c : text) m_bytes[m_position++] = static_cast<uint8_t>(c);
    }
    constexpr void Zeros(size_t count) { m_position += count; }
    constexpr void Seek(size_t position) { m_position = position; }

    // Each tag begins on a multiple of 4 bytes; its row of the table is written with it.
    constexpr void BeginTag(std::string_view signature, std::string_view type) {
        m_position = (m_position + 3) / 4 * 4;
        m_tagStart = m_position;
        m_signature = signature;
        Text(type);
        U32(0);
    }
    constexpr void EndTag() {
        const size_t end = m_position;
        m_position = kHeaderBytes + 4 + size_t{12} * m_tag++;
        Text(m_signature);
        U32(static_cast<uint32_t>(m_tagStart));
        U32(static_cast<uint32_t>(end - m_tagStart));
        m_position = end;
    }
    constexpr void XYZTag(std::string_view signature, double x, double y, double z) {
        BeginTag(signature, "XYZ ");
        U32(Fixed16(x));
        U32(Fixed16(y));
        U32(Fixed16(z));
        EndTag();
    }
    constexpr void GammaTag(std::string_view signature) {
        BeginTag(signature, "curv");
        U32(1);       // one value: a power
        U16(0x0233);  // 2 + 51/256 = 2.19921875, in 1/256
        EndTag();
    }

    [[nodiscard]] constexpr size_t Position() const { return m_position; }
    [[nodiscard]] constexpr const auto& Bytes() const { return m_bytes; }

private:
    std::array<uint8_t, kProfileBytes> m_bytes{};
    size_t m_position = 0;
    size_t m_tagStart = 0;
    size_t m_tag = 0;
    std::string_view m_signature;
};

constexpr CProfileBuilder Build() {
    CProfileBuilder out;
    out.U32(kProfileBytes);
    out.Text("ADBE");
    out.U32(0x02100000);  // version 2.1
    out.Text("mntrRGB XYZ ");
    for (const uint16_t part : {1999, 6, 3, 0, 0, 0}) out.U16(part);  // year to second
    out.Text("acspAPPL");
    out.U32(0);        // flags
    out.Text("none");  // maker
    out.Zeros(4 + 8);  // model and attributes
    out.U32(0);        // perceptual
    out.U32(0xF6D6);   // the profile connection space's white, D50
    out.U32(0x10000);
    out.U32(0xD32D);
    out.Text("ADBE");
    out.Seek(kHeaderBytes);
    out.U32(kTags);
    out.Zeros(12 * kTags);

    out.BeginTag("cprt", "text");
    out.Text(kCopyright);
    out.Zeros(1);
    out.EndTag();
    out.BeginTag("desc", "desc");
    out.U32(static_cast<uint32_t>(kName.size()) + 1);
    out.Text(kName);
    out.Zeros(1);
    out.Zeros(4 + 4);       // no 16-bit text
    out.Zeros(2 + 1 + 67);  // no Macintosh text
    out.EndTag();
    out.XYZTag("wtpt", 0.95045, 1.0, 1.08905);  // D65
    out.XYZTag("bkpt", 0, 0, 0);
    out.GammaTag("rTRC");
    out.GammaTag("gTRC");
    out.GammaTag("bTRC");
    out.XYZTag("rXYZ", 0.60974, 0.31111, 0.01947);
    out.XYZTag("gXYZ", 0.20528, 0.62567, 0.06087);
    out.XYZTag("bXYZ", 0.14919, 0.06322, 0.74457);
    return out;
}

constexpr CProfileBuilder kProfile = Build();
static_assert(kProfile.Position() == kProfileBytes);

}  // namespace

std::span<const uint8_t> AdobeRGBProfile() {
    return kProfile.Bytes();
}

}  // namespace kestr
