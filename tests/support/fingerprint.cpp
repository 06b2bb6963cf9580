#include "support/fingerprint.h"

#include "api/handles.h"
#include "base/format_text.h"

namespace kestr::test {
namespace {

std::vector<CFingerprintCase>& Cases() {
    static std::vector<CFingerprintCase> cases;
    return cases;
}

/// FNV-1a, 64 bits: http://www.isthe.com/chongo/tech/comp/fnv
class CHash {
public:
    void Add(uint64_t value, int bytes) {
        for (int i = 0; i < bytes; ++i) {
            m_value = (m_value ^ (value >> (8 * i) & 0xFF)) * 0x100000001B3;
        }
    }
    [[nodiscard]] uint64_t Value() const { return m_value; }

private:
    uint64_t m_value = 0xCBF29CE484222325;
};

}  // namespace

CFingerprints::CFingerprints(std::initializer_list<CFingerprintCase> cases) {
    Cases().insert(Cases().end(), cases.begin(), cases.end());
}

CFingerprints::CFingerprints(const std::vector<CFingerprintCase>& cases) {
    Cases().insert(Cases().end(), cases.begin(), cases.end());
}

const std::vector<CFingerprintCase>& CFingerprints::All() {
    return Cases();
}

std::string FingerprintOf(HKESTRSESSION session) {
    const CImageBits& image = *FromHandle(session)->image;
    CHash store8, store16;
    const int bits = image.bitmapInfo.BitCount();
    store8.Add(static_cast<uint32_t>(image.Width()), 4);
    store8.Add(static_cast<uint32_t>(image.Height()), 4);
    store8.Add(static_cast<uint32_t>(bits), 4);
    for (size_t i = 0; bits < 16 && i < image.bitmapInfo.PaletteSize(); ++i) {
        const CRGBQuad& entry = image.bitmapInfo.Palette()[i];
        store8.Add(entry.rgbBlue | entry.rgbGreen << 8 | entry.rgbRed << 16, 3);
    }
    for (int32_t y = 0; y < image.Height(); ++y) {
        const uint8_t* row = image.RowFromTop(y);
        const size_t rowBits = static_cast<size_t>(image.Width()) * static_cast<size_t>(bits);
        for (size_t i = 0; i < rowBits / 8; ++i) store8.Add(row[i], 1);
        // The pixels of a last, shared byte.
        if (rowBits % 8 != 0) store8.Add(row[rowBits / 8] >> (8 - rowBits % 8), 1);
    }
    for (const uint16_t sample : image.bits16) store16.Add(sample, 2);
    const auto hex = [](uint64_t value) {
        return FormatText("%08x%08x", static_cast<unsigned>(value >> 32),
                          static_cast<unsigned>(value));
    };
    return hex(store8.Value()) + "\t" + (image.Has16Bit() ? hex(store16.Value()) : "-");
}

}  // namespace kestr::test
