// Operations with any arguments on small pictures of every depth, under any selection. The first
// bytes make the picture, the others a row of calls.
#include <cstdint>
#include <cstring>
#include <span>
#include <vector>

#include "image/image_bits.h"
#include "ops/histogram.h"

namespace {

class CChoices {
public:
    explicit CChoices(std::span<const uint8_t> bytes) : m_bytes(bytes) {}
    [[nodiscard]] bool AtEnd() const { return m_next >= m_bytes.size(); }
    uint8_t Byte() { return AtEnd() ? uint8_t{0} : m_bytes[m_next++]; }
    uint16_t Word() { return static_cast<uint16_t>(Byte() | Byte() << 8); }
    int16_t Percent() { return static_cast<int16_t>(Word()); }
    uint32_t Number() { return Word() | uint32_t{Word()} << 16; }
    double Real() {
        const uint64_t bits = Number() | uint64_t{Number()} << 32;
        double value = 0;
        std::memcpy(&value, &bits, sizeof value);
        return (bits & 1) != 0 ? value : static_cast<double>(bits % 997) / 100;
    }
    std::vector<uint8_t> Bytes(size_t count) {
        std::vector<uint8_t> bytes(count);
        for (uint8_t& byte : bytes) byte = static_cast<uint8_t>(Byte() + 37 * bytes.size());
        return bytes;
    }

private:
    std::span<const uint8_t> m_bytes;
    size_t m_next = 0;
};

void MakePicture(kestr::CImageBits& image, CChoices& choose) {
    constexpr int kBits[] = {1, 4, 8, 24};
    const uint8_t kind = choose.Byte();
    const int bits = kind & 4 ? (kind & 1 ? 8 : 24) : kBits[kind & 3];
    const int width = choose.Byte() % 40;
    const int height = choose.Byte() % 20;
    image.bitmapInfo.SetFormat(bits, width, height);
    image.bits.ResizeZeroed(image.RowBytes() * static_cast<size_t>(height));
    for (uint8_t& byte : image.bits) byte = choose.Byte();
    if (kind & 8) image.bitmapInfo.SetGrayPalette();
    for (auto& entry : image.bitmapInfo.Palette()) {
        if ((kind & 8) == 0) entry = {choose.Byte(), choose.Byte(), choose.Byte(), 0};
    }
    image.bitmapInfo.SetColorCount(choose.Byte());
    if (kind & 4) {
        if (bits == 8) image.bitmapInfo.SetGrayPalette();
        image.bits16.ResizeZeroed(static_cast<size_t>(width) * static_cast<size_t>(height) *
                                  static_cast<size_t>(bits / 8));
        for (uint16_t& sample : image.bits16) sample = choose.Word();
        image.RefreshDisplayData();
    }
    image.loaded = true;
}

void Call(kestr::CImageBits& image, CChoices& choose, int undo) {
    const auto side = [&] { return static_cast<int8_t>(choose.Byte()); };
    const size_t pixels = static_cast<size_t>(image.Width()) * static_cast<size_t>(image.Height());
    const auto levels = [&] {
        return std::array<uint32_t, 3>{choose.Number(), choose.Number(), choose.Number()};
    };
    switch (choose.Byte() % 22) {
        case 0:
            return image.OpBrighter(choose.Percent(), undo);
        case 1:
            return image.OpContrast(choose.Percent(), undo);
        case 2:
            return image.OpNegative(undo);
        case 3:
            return image.OpRGBAdjust(choose.Percent(), choose.Percent(), choose.Percent(), undo);
        case 4:
            return image.OpHSVAdjust(choose.Percent(), choose.Percent(), choose.Percent(), undo);
        case 5:
            return image.OpGrayScale(undo);
        case 6:
            return image.OpGammaTable(choose.Real(), choose.Real(), undo);
        case 7:
            image.OpAdjustLevels(levels(), levels(), levels(), 0, undo);
            return;
        case 8:
            image.OpSetColorPoint(choose.Byte(), choose.Number(), undo);
            return;
        case 9:
            return image.OpSetPixelColor(choose.Byte(), choose.Byte(), choose.Word(), choose.Word(),
                                         choose.Word(), undo);
        case 10:
            image.OpRemoveRedEye(choose.Byte(), choose.Percent(), choose.Byte(), undo);
            return;
        case 11:
            image.OpAutoContrast(choose.Word(), undo);
            return;
        case 12:
            image.OpAutoLevel(choose.Word(), undo);
            return;
        case 13:
            return image.SetOpRect(side(), side(), side(), side(), choose.Percent());
        case 14: {
            const auto mask = choose.Bytes(pixels);
            return image.LoadOpMask(choose.Byte() % 8 ? mask.data() : nullptr);
        }
        case 15:
            image.inverseSelect = !image.inverseSelect;
            return;
        case 16:
            return image.LoadAlphaMask(choose.Bytes(pixels).data());
        case 17:
            image.MergeTransparency(choose.Number());
            return;
        case 18:
            return image.SetTransparentIndex(choose.Percent());
        case 19:
            return image.SetTransparentColour(choose.Number(), choose.Word());
        case 20: {
            kestr::CImageBits source;
            MakePicture(source, choose);
            const bool own = choose.Byte() % 8 == 0;
            image.MergeImage(own ? image : source, side(), side(), choose.Byte(), choose.Percent(),
                             undo);
            return;
        }
        default:
            static_cast<void>(kestr::CountLevels(image, (choose.Byte() & 1) != 0));
            image.PopUndo(true);
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    CChoices choose({data, size});
    kestr::CImageBits image;
    image.undoLimit = 1 << 20;
    MakePicture(image, choose);
    for (int calls = 0; calls < 32 && !choose.AtEnd(); ++calls) Call(image, choose, calls & 1);
    return 0;
}
