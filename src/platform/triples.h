// Pixels of three bytes in vectors of AVX2, sorted by channel and back.
#pragma once

#if defined(__x86_64__)

#include <cstdint>
#include <immintrin.h>
#include <initializer_list>

#include "platform/wide_vectors.h"

namespace kestr {

/// Where bytes go when 48 of them, in three vectors of 16, are sorted by their place in a triple,
/// and when they return: [to][from]; -1 for bytes of another vector. Twice, for two such groups.
struct CTripleShuffles {
    alignas(32) int8_t sort[3][3][32];
    alignas(32) int8_t unsort[3][3][32];
};
inline constexpr CTripleShuffles kTripleShuffles = [] {
    CTripleShuffles s{};
    for (auto* table : {&s.sort, &s.unsort}) {
        for (auto& to : *table) {
            for (auto& from : to) {
                for (int8_t& byte : from) byte = -1;
            }
        }
    }
    for (int i = 0; i < 48; ++i) {
        for (const int lane : {0, 16}) {
            s.sort[i % 3][i / 16][lane + i / 3] = static_cast<int8_t>(i % 16);
            s.unsort[i / 16][i % 3][lane + i % 16] = static_cast<int8_t>(i / 3);
        }
    }
    return s;
}();

KESTR_WIDE_VECTORS KESTR_INLINE_LOOP void Shuffle3(const __m256i* in, __m256i* out,
                                                   const int8_t (&shuffles)[3][3][32]) {
    for (int to = 0; to < 3; ++to) {
        __m256i sum = _mm256_setzero_si256();
        for (int from = 0; from < 3; ++from) {
            const auto places =
                _mm256_load_si256(reinterpret_cast<const __m256i*>(shuffles[to][from]));
            sum = _mm256_or_si256(sum, _mm256_shuffle_epi8(in[from], places));
        }
        out[to] = sum;
    }
}

/// The channels of sixteen pixels in each of two places, a vector each: those of the first place
/// are its low half.
KESTR_WIDE_VECTORS KESTR_INLINE_LOOP void LoadTriples(const uint8_t* first, const uint8_t* second,
                                                      __m256i* channels) {
    const auto* const low = reinterpret_cast<const __m128i*>(first);
    const auto* const high = reinterpret_cast<const __m128i*>(second);
    __m256i stored[3];
    for (int i = 0; i < 3; ++i) {
        stored[i] = _mm256_inserti128_si256(_mm256_castsi128_si256(_mm_loadu_si128(low + i)),
                                            _mm_loadu_si128(high + i), 1);
    }
    Shuffle3(stored, channels, kTripleShuffles.sort);
}

KESTR_WIDE_VECTORS KESTR_INLINE_LOOP void StoreTriples(uint8_t* first, uint8_t* second,
                                                       const __m256i* channels) {
    auto* const low = reinterpret_cast<__m128i*>(first);
    auto* const high = reinterpret_cast<__m128i*>(second);
    __m256i stored[3];
    Shuffle3(channels, stored, kTripleShuffles.unsort);
    for (int i = 0; i < 3; ++i) {
        _mm_storeu_si128(low + i, _mm256_castsi256_si128(stored[i]));
        _mm_storeu_si128(high + i, _mm256_extracti128_si256(stored[i], 1));
    }
}

}  // namespace kestr

#endif
