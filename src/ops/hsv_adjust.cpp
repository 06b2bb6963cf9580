#include <algorithm>
#include <array>
#include <vector>

#include "base/integer_hsv.h"
#include "ops/operation.h"
#include "ops/pixel8_ops.h"
#include "ops/real_hsv_rows.h"

namespace kestr {
namespace {

CIntegerHSV Adjust(const CIntegerHSV& hsv, const CHSVPercents& percents) {
    int hue = hsv.hue + hsv.hue * percents.hue / 100;
    // Once, no further: what is beyond two turns stays outside.
    if (hue >= 360) {
        hue -= 360;
    } else if (hue < 0) {
        hue += 360;
    }
    const auto part = [](int part100, int percent) {
        return std::clamp(part100 + part100 * percent / 100, 0, 100);
    };
    return {hue, part(hsv.saturation, percents.saturation), part(hsv.value, percents.value)};
}

class hsvOps final : public Pixel8Ops {
public:
    explicit hsvOps(const CHSVPercents& percents) : m_percents(percents) {}

    /// The first step scales channels to 0..100, so there are a million colours at most: in a large
    /// picture each is calculated once, when it is first met.
    void ProcessPixels(const CPixelView<uint8_t>& pixels) const {
        constexpr size_t kSteps = 101;
        constexpr uint32_t kKnown = 1u << 24;
        const bool large = static_cast<size_t>(pixels.width) * static_cast<size_t>(pixels.height) >
                           kSteps * kSteps * kSteps / 4;
        std::vector<uint32_t> colours(large ? kSteps * kSteps * kSteps : 0);
        std::array<uint32_t, 256> percent{};
        for (uint32_t i = 0; i < percent.size(); ++i) percent[i] = i * 100 / 255;
        for (int32_t y = 0; y < pixels.height; ++y) {
            uint8_t* pixel = pixels.Row(y);
            uint8_t* const end = pixel + pixels.RowSamples();
            for (; pixel != end; pixel += 3) {
                if (!large) {
                    ProcessPixel24(pixel);
                    continue;
                }
                const size_t index =
                    (percent[pixel[2]] * kSteps + percent[pixel[1]]) * kSteps + percent[pixel[0]];
                uint32_t& colour = colours[index];
                if (colour == 0) {
                    ProcessPixel24(pixel);
                    colour = kKnown | uint32_t{pixel[2]} << 16 | uint32_t{pixel[1]} << 8 | pixel[0];
                } else {
                    pixel[0] = static_cast<uint8_t>(colour);
                    pixel[1] = static_cast<uint8_t>(colour >> 8);
                    pixel[2] = static_cast<uint8_t>(colour >> 16);
                }
            }
        }
    }
    void ProcessPixel24(uint8_t* pixel) const override {
        const auto bgr = BGRFromHSV(Adjust(HSVFromRGB(pixel[2], pixel[1], pixel[0]), m_percents));
        std::copy(bgr.begin(), bgr.end(), pixel);
    }
    [[nodiscard]] bool HandlesGrayIndices() const override { return false; }
    void ProcessGrayIndex(uint8_t&) const override {}
    void ProcessPaletteEntry(CRGBQuad& entry) const override { ProcessPixel24(&entry.rgbBlue); }

private:
    CHSVPercents m_percents;
};

}  // namespace

void CImageBits::OpHSVAdjust(int huePercent, int saturationPercent, int valuePercent, int undo) {
    class COp final : public COperation {
    public:
        explicit COp(const CHSVPercents& percents) : m_percents(percents) {}
        void Apply16(CPixelWords& samples, int32_t width, int32_t height, int channels) override {
            if (channels != 3) return;
            AdjustRealHSV(samples.data(), static_cast<size_t>(width) * static_cast<size_t>(height),
                          m_percents);
        }
        void Apply8(CPixelBytes& pixels, CBitmapInfo& info, bool gray) override {
            RunPixel8Ops(info, pixels, gray, hsvOps(m_percents));
        }

    private:
        CHSVPercents m_percents;
    };
    if (Has16Bit() && IsGray()) return;
    COp operation({huePercent, saturationPercent, valuePercent});
    RunOperation(operation, undo);
}

}  // namespace kestr
