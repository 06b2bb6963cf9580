// Brightness: every channel grows by a percentage of itself, so black stays black. A 16-bit colour
// that leaves its range keeps its hue by the spill clamp; 8-bit channels clip each by itself.

#include <algorithm>

#include "ops/add_percent_rows.h"
#include "ops/operation.h"
#include "ops/percent_scale.h"
#include "ops/pixel8_ops.h"
#include "ops/sample_map.h"
#include "ops/spill_map.h"

namespace kestr {
namespace {

class BrighterOps final : public Pixel8Ops {
public:
    explicit BrighterOps(int percent) {
        for (size_t i = 0; i < m_map.size(); ++i) {
            m_map[i] =
                static_cast<uint8_t>(std::clamp(AddPercent(static_cast<int>(i), percent), 0, 255));
        }
    }

    void ProcessPixels(const CPixelView<uint8_t>& pixels) const {
        MapSamples(pixels, {&m_map, &m_map, &m_map});
    }
    void ProcessPixel24(uint8_t* pixel) const override {
        for (int c = 0; c < 3; ++c) pixel[c] = m_map[pixel[c]];
    }
    [[nodiscard]] bool HandlesGrayIndices() const override { return true; }
    void ProcessGrayIndex(uint8_t& level) const override { level = m_map[level]; }
    void ProcessPaletteEntry(CRGBQuad& entry) const override { ProcessPixel24(&entry.rgbBlue); }

private:
    CByteMap m_map;
};

}  // namespace

void CImageBits::OpBrighter(int percent, int undo) {
    class COp final : public COperation {
    public:
        explicit COp(int percent) : m_percent(percent) {}
        void Apply16(CPixelWords& samples, int32_t width, int32_t height, int channels) override {
            const auto view = View16(samples, width, height, channels);
            if (channels == 1) {
                AddPercentClipped(view, {m_percent});
                return;
            }
            std::vector<int32_t> table(65536);
            for (int32_t i = 0; i < 65536; ++i) {
                table[static_cast<size_t>(i)] = AddPercent(i, m_percent);
            }
            CSpillMap<uint16_t>(std::move(table)).Map(view);
        }
        void Apply8(CPixelBytes& pixels, CBitmapInfo& info, bool gray) override {
            RunPixel8Ops(info, pixels, gray, BrighterOps(m_percent));
        }

    private:
        int m_percent;
    };
    if (bitmapInfo.BitCount() == 1) return;
    COp operation(percent);
    RunOperation(operation, undo);
}

}  // namespace kestr
