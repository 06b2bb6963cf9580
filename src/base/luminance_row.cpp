#include "base/luminance_row.h"

#include <algorithm>
#include <array>

#include "base/luminance.h"
#include "platform/triple_planes.h"
#include "platform/wide_vectors.h"

namespace kestr {
namespace {

/// A channel's share of the luminance by arithmetic, which vectors do quicker than a table:
/// 1/65536 of `weight` of a level's 1/256.
constexpr uint32_t Share(uint32_t level, uint32_t weight) {
    return (level * weight + 32768) >> 16;
}
constexpr uint32_t kRedWeight = 5033165;
constexpr uint32_t kGreenWeight = 9898557;
constexpr uint32_t kBlueWeight = 1845494;
static_assert([] {
    for (uint32_t i = 0; i < 256; ++i) {
        if (Share(i, kRedWeight) != kLuminanceRed[i]) return false;
        if (Share(i, kGreenWeight) != kLuminanceGreen[i]) return false;
        if (Share(i, kBlueWeight) != kLuminanceBlue[i]) return false;
    }
    return true;
}());

constexpr size_t kChunkPixels = 1024;

/// Channels of some pixels, a plane each.
struct CChunk {
    alignas(64) std::array<std::array<uint8_t, kChunkPixels>, 3> planes;
};

template <uint32_t kRounding>
KESTR_INLINE_LOOP void OfChunk(const CChunk& chunk, size_t count, uint8_t* levels) {
    const auto& [blue, green, red] = chunk.planes;
    for (size_t i = 0; i < count; ++i) {
        const uint32_t sum =
            Share(red[i], kRedWeight) + Share(green[i], kGreenWeight) + Share(blue[i], kBlueWeight);
        levels[i] = static_cast<uint8_t>(std::min(255u, (sum + kRounding) >> 8));
    }
}
template <uint32_t kRounding>
void OfChunkPlain(const CChunk& chunk, size_t count, uint8_t* levels) {
    OfChunk<kRounding>(chunk, count, levels);
}
template <uint32_t kRounding>
KESTR_WIDE_VECTORS void OfChunkWide(const CChunk& chunk, size_t count, uint8_t* levels) {
    OfChunk<kRounding>(chunk, count, levels);
}
template <uint32_t kRounding>
KESTR_WIDEST_VECTORS void OfChunkWidest(const CChunk& chunk, size_t count, uint8_t* levels) {
    OfChunk<kRounding>(chunk, count, levels);
}

template <uint32_t kRounding>
void OfRow(const uint8_t* pixels, size_t count, uint8_t* levels) {
    const auto ofChunk = HasWidestVectors() ? &OfChunkWidest<kRounding>
                         : HasWideVectors() ? &OfChunkWide<kRounding>
                                            : &OfChunkPlain<kRounding>;
    CChunk chunk;
    auto& [blue, green, red] = chunk.planes;
    for (size_t done = 0; done < count; done += kChunkPixels) {
        const size_t now = std::min(count - done, kChunkPixels);
        SplitTriples(pixels + 3 * done, now, {blue.data(), green.data(), red.data()});
        ofChunk(chunk, now, levels + done);
    }
}

}  // namespace

void LuminanceOfRow(const uint8_t* pixels, size_t count, uint8_t* levels) {
    OfRow<0>(pixels, count, levels);
}

void RoundedLuminanceOfRow(const uint8_t* pixels, size_t count, uint8_t* levels) {
    OfRow<127>(pixels, count, levels);
}

}  // namespace kestr
