#include "platform/pair_sums.h"

#include "platform/wide_vectors.h"

#if defined(__x86_64__) || defined(__i386__)
#include <immintrin.h>
#endif

namespace kestr {
namespace {

#if defined(__x86_64__) || defined(__i386__)

// SSE2 is what every build asks for; AVX2 is asked of the machine.

void SumPairsSSE2(const int32_t* pairs, size_t step, const int32_t* weights, size_t count,
                  size_t lanes, int32_t* sums) {
    for (size_t lane = 0; lane < lanes; lane += kPairLanes) {
        __m128i sum[4] = {_mm_setzero_si128(), _mm_setzero_si128(), _mm_setzero_si128(),
                          _mm_setzero_si128()};
        const int32_t* from = pairs + lane;
        for (size_t k = 0; k < count; ++k, from += step) {
            const __m128i weight = _mm_set1_epi32(weights[k]);
            for (int i = 0; i < 4; ++i) {
                const __m128i pair =
                    _mm_loadu_si128(reinterpret_cast<const __m128i*>(from + 4 * i));
                sum[i] = _mm_add_epi32(sum[i], _mm_madd_epi16(pair, weight));
            }
        }
        for (int i = 0; i < 4; ++i) {
            _mm_storeu_si128(reinterpret_cast<__m128i*>(sums + lane + 4 * i), sum[i]);
        }
    }
}

__attribute__((target("avx2"))) void SumPairsAVX2(const int32_t* pairs, size_t step,
                                                  const int32_t* weights, size_t count,
                                                  size_t lanes, int32_t* sums) {
    for (size_t lane = 0; lane < lanes; lane += kPairLanes) {
        __m256i sum0 = _mm256_setzero_si256();
        __m256i sum1 = _mm256_setzero_si256();
        const int32_t* from = pairs + lane;
        for (size_t k = 0; k < count; ++k, from += step) {
            const __m256i weight = _mm256_set1_epi32(weights[k]);
            const __m256i pair0 = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(from));
            const __m256i pair1 = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(from + 8));
            sum0 = _mm256_add_epi32(sum0, _mm256_madd_epi16(pair0, weight));
            sum1 = _mm256_add_epi32(sum1, _mm256_madd_epi16(pair1, weight));
        }
        _mm256_storeu_si256(reinterpret_cast<__m256i*>(sums + lane), sum0);
        _mm256_storeu_si256(reinterpret_cast<__m256i*>(sums + lane + 8), sum1);
    }
}

#else

void SumPairsPlain(const int32_t* pairs, size_t step, const int32_t* weights, size_t count,
                   size_t lanes, int32_t* sums) {
    for (size_t lane = 0; lane < lanes; ++lane) {
        uint32_t sum = 0;
        for (size_t k = 0; k < count; ++k) {
            const int32_t pair = pairs[k * step + lane];
            const int32_t first = static_cast<int16_t>(pair) * static_cast<int16_t>(weights[k]);
            const int32_t second = (pair >> 16) * (weights[k] >> 16);
            sum += static_cast<uint32_t>(first) + static_cast<uint32_t>(second);
        }
        sums[lane] = static_cast<int32_t>(sum);
    }
}

#endif

}  // namespace

void SumPairs(const int32_t* pairs, size_t step, const int32_t* weights, size_t count, size_t lanes,
              int32_t* sums) {
#if defined(__x86_64__) || defined(__i386__)
    hasAVX2 ? SumPairsAVX2(pairs, step, weights, count, lanes, sums)
            : SumPairsSSE2(pairs, step, weights, count, lanes, sums);
#else
    SumPairsPlain(pairs, step, weights, count, lanes, sums);
#endif
}

}  // namespace kestr
