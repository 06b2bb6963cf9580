#include "platform/triple_means.h"

#include "platform/triples.h"
#include "platform/wide_vectors.h"

namespace kestr {
namespace {

// Times a sum of three bytes, and divided by 65536, it is a third.
constexpr int kThird = 21846;

uint32_t SumEach(const uint8_t* pixels, size_t count) {
    uint32_t sum = 0;
    for (; count != 0; --count, pixels += 3) {
        sum += static_cast<uint32_t>((pixels[0] + pixels[1] + pixels[2]) * kThird) >> 16;
    }
    return sum;
}

#if defined(__x86_64__)

/// Means of sixteen pixels from their channels as words.
KESTR_WIDE_VECTORS KESTR_INLINE_LOOP __m256i Means(__m256i first, __m256i second, __m256i third) {
    const __m256i sum = _mm256_add_epi16(_mm256_add_epi16(first, second), third);
    return _mm256_mulhi_epu16(sum, _mm256_set1_epi16(kThird));
}

KESTR_WIDE_VECTORS uint32_t SumWide(const uint8_t* pixels, size_t count) {
    const __m256i zero = _mm256_setzero_si256();
    __m256i sums = zero;
    for (; count >= 32; count -= 32, pixels += 96) {
        __m256i c[3];
        LoadTriples(pixels, pixels + 48, c);
        const __m256i low =
            Means(_mm256_unpacklo_epi8(c[0], zero), _mm256_unpacklo_epi8(c[1], zero),
                  _mm256_unpacklo_epi8(c[2], zero));
        const __m256i high =
            Means(_mm256_unpackhi_epi8(c[0], zero), _mm256_unpackhi_epi8(c[1], zero),
                  _mm256_unpackhi_epi8(c[2], zero));
        sums = _mm256_add_epi64(sums, _mm256_sad_epu8(_mm256_packus_epi16(low, high), zero));
    }
    alignas(32) uint64_t parts[4];
    _mm256_store_si256(reinterpret_cast<__m256i*>(parts), sums);
    return static_cast<uint32_t>(parts[0] + parts[1] + parts[2] + parts[3]) +
           SumEach(pixels, count);
}

#endif

}  // namespace

uint32_t SumOfTripleMeans(const uint8_t* pixels, size_t count) {
#if defined(__x86_64__)
    if (HasWideVectors()) return SumWide(pixels, count);
#endif
    return SumEach(pixels, count);
}

}  // namespace kestr
