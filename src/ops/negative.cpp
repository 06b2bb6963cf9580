#include "ops/operation.h"
#include "ops/pixel8_ops.h"

namespace kestr {
namespace {

template <typename Sample>
void Complement(const CPixelView<Sample>& pixels) {
    for (int32_t y = 0; y < pixels.height; ++y) {
        Sample* const row = pixels.Row(y);
        const size_t count = pixels.RowSamples();
        for (size_t i = 0; i < count; ++i) row[i] = static_cast<Sample>(~row[i]);
    }
}

// An 8-bit gray image is inverted through its palette, so a rectangle of one does not change.
class NegativeOps final : public Pixel8Ops {
public:
    void ProcessPixels(const CPixelView<uint8_t>& pixels) const { Complement(pixels); }
    void ProcessPixel24(uint8_t* pixel) const override {
        for (int c = 0; c < 3; ++c) pixel[c] = static_cast<uint8_t>(~pixel[c]);
    }
    [[nodiscard]] bool HandlesGrayIndices() const override { return false; }
    void ProcessGrayIndex(uint8_t&) const override {}
    void ProcessPaletteEntry(CRGBQuad& entry) const override { ProcessPixel24(&entry.rgbBlue); }
};

}  // namespace

void CImageBits::OpNegative(int undo) {
    class COp final : public COperation {
    public:
        void Apply16(CPixelWords& samples, int32_t width, int32_t height, int channels) override {
            Complement(View16(samples, width, height, channels));
        }
        void Apply8(CPixelBytes& pixels, CBitmapInfo& info, bool gray) override {
            RunPixel8Ops(info, pixels, gray, NegativeOps());
        }
    };
    COp operation;
    RunOperation(operation, undo);
}

}  // namespace kestr
