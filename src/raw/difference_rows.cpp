#include "raw/difference_rows.h"

#include <algorithm>

namespace kestr {
namespace {

// The sample of each decoded value of 16 bits, of which the upper half is negative.
std::vector<uint16_t> SampleTable(std::span<const uint16_t> curve) {
    std::vector<uint16_t> samples(65536);
    for (size_t i = 0; i < samples.size(); ++i) {
        const size_t value = i < 32768 ? i : 0;
        samples[i] =
            curve.empty() ? static_cast<uint16_t>(value) : curve[std::min(value, curve.size() - 1)];
    }
    return samples;
}

}  // namespace

CDifferenceRows::CDifferenceRows(std::span<const uint8_t> data,
                                 const std::array<uint16_t, 4>& start,
                                 std::span<const uint16_t> curve)
    : m_bits(data),
      m_above{CPair{start[0], start[1]}, CPair{start[2], start[3]}},
      m_samples(SampleTable(curve)) {}

void CDifferenceRows::Next(const CDifferenceCodes& codes, std::span<uint16_t> row) {
    // While there are bytes enough for the longest codes, the end need not be looked for.
    constexpr size_t kMostBytes = 4;
    const bool plenty = m_bits.Rest().size() / kMostBytes >= row.size();
    const auto decode = plenty ? &Decode<false> : &Decode<true>;
    m_bits = decode(m_bits, codes, m_samples.data(), m_above[m_row++ & 1], row);
}

template <bool NearEnd>
CBitReader CDifferenceRows::Decode(CBitReader bits, const CDifferenceCodes& codes,
                                   const uint16_t* samples, CPair& above, std::span<uint16_t> row) {
    bool bad = false;  // there is a code for all bits
    const auto next = [&](uint16_t predictor) {
        if (NearEnd && bits.Exhausted()) return predictor;
        return static_cast<uint16_t>(predictor + codes.Next(bits, bad));
    };
    CPair left = above;
    for (size_t x = 0; x < row.size(); ++x) {
        left[x & 1] = next(left[x & 1]);
        row[x] = samples[left[x & 1]];
        if (x < 2) above[x] = left[x];
    }
    return bits;
}

}  // namespace kestr
