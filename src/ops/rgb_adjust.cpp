#include <algorithm>
#include <array>

#include "ops/add_percent_rows.h"
#include "ops/operation.h"
#include "ops/percent_scale.h"
#include "ops/pixel8_ops.h"

namespace kestr {
namespace {

class rgbOps final : public Pixel8Ops {
public:
    explicit rgbOps(const std::array<int, 3>& percents) : m_percents(percents) {}

    void ProcessPixels(const CPixelView<uint8_t>& pixels) const {
        AddPercentClipped(pixels, m_percents);
    }
    void ProcessPixel24(uint8_t* pixel) const override {
        for (size_t c = 0; c < 3; ++c) {
            const int32_t value = AddPercent(pixel[c], m_percents[c]);
            pixel[c] = static_cast<uint8_t>(std::clamp(value, 0, 255));
        }
    }
    [[nodiscard]] bool HandlesGrayIndices() const override { return false; }
    void ProcessGrayIndex(uint8_t&) const override {}
    void ProcessPaletteEntry(CRGBQuad& entry) const override { ProcessPixel24(&entry.rgbBlue); }

private:
    std::array<int, 3> m_percents;  // blue, green, red
};

}  // namespace

void CImageBits::OpRGBAdjust(int redPercent, int greenPercent, int bluePercent, int undo) {
    class COp final : public COperation {
    public:
        explicit COp(const std::array<int, 3>& percents) : m_percents(percents) {}
        void Apply16(CPixelWords& samples, int32_t width, int32_t height, int channels) override {
            // The single sample of a gray image takes blue's percentage, and callers rely on it.
            AddPercentClipped(View16(samples, width, height, channels), m_percents);
        }
        void Apply8(CPixelBytes& pixels, CBitmapInfo& info, bool gray) override {
            RunPixel8Ops(info, pixels, gray, rgbOps(m_percents));
        }

    private:
        std::array<int, 3> m_percents;  // blue, green, red
    };
    COp operation({bluePercent, greenPercent, redPercent});
    RunOperation(operation, undo);
}

}  // namespace kestr
