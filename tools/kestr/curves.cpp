#include "curves.h"

#include <algorithm>

namespace tool {

CCurves CountLevels(HKESTRSESSION session) {
    CCurves curves{{{"luminance", "#404040", {64, 64, 64}},
                    {"red", "#d02020", {32, 32, 208}},
                    {"green", "#209020", {32, 144, 32}},
                    {"blue", "#2040d0", {208, 64, 32}}}};
    cGetImageHistogram(session, curves[0].counts.data(), curves[1].counts.data(),
                       curves[2].counts.data(), curves[3].counts.data(), 1);
    return curves;
}

CCurveScale::CCurveScale(const CCurves& curves, int height) : m_height(height) {
    for (const CCurve& curve : curves) {
        const auto inner = std::max_element(curve.counts.begin() + 1, curve.counts.end() - 1);
        m_most = std::max(m_most, *inner);
    }
    if (m_most > 0) return;
    for (const CCurve& curve : curves)
        m_most = std::max(m_most, *std::ranges::max_element(curve.counts));
}

int CCurveScale::Height(uint32_t count) const {
    const uint64_t most = std::max(m_most, 1u);
    const auto top = static_cast<uint64_t>(m_height - 1);
    return static_cast<int>(std::min(count * top / most, top));
}

std::vector<uint8_t> DrawCurves(const CCurves& curves, int width, int height) {
    const CCurveScale scale(curves, height);
    const auto columns = static_cast<size_t>(width);
    std::vector<uint8_t> pixels(columns * static_cast<size_t>(height) * 3, 255);
    for (const CCurve& curve : curves) {
        int before = scale.Height(curve.counts[0]);
        for (size_t x = 0; x < columns; ++x) {
            const int now = scale.Height(curve.counts[x * 256 / columns]);
            for (int y = std::min(before, now); y <= std::max(before, now); ++y) {
                const size_t pixel = static_cast<size_t>(height - 1 - y) * columns + x;
                std::ranges::copy(curve.bgr, pixels.begin() + static_cast<ptrdiff_t>(3 * pixel));
            }
            before = now;
        }
    }
    return pixels;
}

}  // namespace tool
