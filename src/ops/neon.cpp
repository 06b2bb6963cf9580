// Neon: the strength of edges, in colours that lie askew.

#include <algorithm>
#include <cmath>
#include <utility>
#include <vector>

#include "ops/operation.h"
#include "ops/pixel_view.h"
#include "platform/wide_vectors.h"

namespace kestr {
namespace {

/// Twice the rounded root of the squared differences to the right and downwards, at most 255.
/// `here` has three samples more than `count`.
KESTR_INLINE_LOOP void EdgeStrength(const uint8_t* here, const uint8_t* below, size_t count,
                                    uint8_t* strength) {
    for (size_t i = 0; i < count; ++i) {
        const int32_t across = here[i] - here[i + 3];
        const int32_t down = here[i] - below[i];
        // A root is never within single precision of the half where rounding turns: k * k + k, just
        // below it, differs by 1 / 8k, and k is at most 360.
        const auto root = static_cast<int32_t>(
            std::sqrt(static_cast<float>(across * across + down * down)) + 0.5f);
        strength[i] = static_cast<uint8_t>(std::min(2 * root, 255));
    }
}
void EdgeStrengthPlain(const uint8_t* here, const uint8_t* below, size_t count, uint8_t* strength) {
    EdgeStrength(here, below, count, strength);
}
KESTR_WIDE_VECTORS void EdgeStrengthWide(const uint8_t* here, const uint8_t* below, size_t count,
                                         uint8_t* strength) {
    EdgeStrength(here, below, count, strength);
}

void Glow(CPixelBytes& pixels, const CBitmapInfo& info) {
    const CPixelView<uint8_t> view = View8(pixels, info);
    const size_t count = view.RowSamples();
    const auto padding = static_cast<size_t>(info.RowBytes()) - count;
    const auto edgeStrength = HasWideVectors() ? &EdgeStrengthWide : &EdgeStrengthPlain;
    std::vector<uint8_t> here(count + 3);
    std::vector<uint8_t> before(3);  // first pixel of the row above, before it was overwritten
    std::vector<uint8_t> strength(count);
    for (int32_t y = 0; y < view.height - 1; ++y) {
        uint8_t* row = view.Row(y);
        std::copy_n(row, count, here.begin());
        // Beyond the last column memory goes on with the padding, which is 0, and the row above.
        for (size_t i = 0; i < 3; ++i) here[count + i] = i < padding ? 0 : before[i - padding];
        std::copy_n(here.begin(), 3, before.begin());
        edgeStrength(here.data(), view.Row(y + 1), count, strength.data());
        for (size_t i = 0; i < count; i += 3) {
            row[i] = here[i + 5];  // the neighbour's red, as it is
            row[i + 1] = strength[i + 2];
            row[i + 2] = strength[i];
        }
    }
    std::fill_n(view.Row(view.height - 1), count, uint8_t{0});
}

}  // namespace

bool CImageBits::OpNeon(int undo) {
    class COp final : public COperation {
    public:
        void Apply16(CPixelWords&, int32_t, int32_t, int) override {}
        void Apply8(CPixelBytes& pixels, CBitmapInfo& info, bool) override { Glow(pixels, info); }
    };
    BeginUndoable(undo);
    bits16.clear();
    ExpandTo24Bits();
    COp operation;
    RunOperation(operation, 0);
    return true;
}

}  // namespace kestr
