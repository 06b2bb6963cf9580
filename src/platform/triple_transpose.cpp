#include "platform/triple_transpose.h"

#include "platform/triples.h"
#include "platform/wide_vectors.h"

namespace kestr {

#if defined(__x86_64__)
namespace {

constexpr int kPairs = kTransposedSide / 2;

/// Two vectors become pairs of their bytes in each half: the pairs of the first eight bytes, and
/// those of the last eight.
KESTR_WIDE_VECTORS KESTR_INLINE_LOOP void Interleave(__m256i first, __m256i second, __m256i* low,
                                                     __m256i* high) {
    *low = _mm256_unpacklo_epi8(first, second);
    *high = _mm256_unpackhi_epi8(first, second);
}

/// Rows i and i + 8 of bytes, in the halves of vector i, become columns 2 i and 2 i + 1.
KESTR_WIDE_VECTORS KESTR_INLINE_LOOP void TransposeBytes(__m256i* rows) {
    __m256i fours[kPairs];  // rows 0 and 4, 1 and 5... by columns
    for (int i = 0; i < 4; ++i) Interleave(rows[i], rows[i + 4], &fours[i], &fours[i + 4]);
    __m256i twos[kPairs];  // rows 0, 2, 4, 6, or 1, 3, 5, 7
    for (int half = 0; half < 2; ++half) {
        const __m256i* in = fours + 4 * half;
        __m256i* out = twos + 4 * half;
        Interleave(in[0], in[2], &out[0], &out[2]);
        Interleave(in[1], in[3], &out[1], &out[3]);
    }
    for (int quarter = 0; quarter < 4; ++quarter) {
        const __m256i* in = twos + 2 * quarter;
        Interleave(in[0], in[1], &rows[2 * quarter], &rows[2 * quarter + 1]);
    }
    // Each half has eight rows of two columns.
    for (int i = 0; i < kPairs; ++i) rows[i] = _mm256_permute4x64_epi64(rows[i], 0b11011000);
}

KESTR_WIDE_VECTORS void TransposeWide(const uint8_t* from, ptrdiff_t fromStep, uint8_t* to,
                                      ptrdiff_t toStep) {
    __m256i planes[3][kPairs];
    for (int i = 0; i < kPairs; ++i) {
        __m256i channels[3];
        LoadTriples(from + i * fromStep, from + (i + kPairs) * fromStep, channels);
        for (int c = 0; c < 3; ++c) planes[c][i] = channels[c];
    }
    for (auto& plane : planes) TransposeBytes(plane);
    for (int i = 0; i < kPairs; ++i) {
        const __m256i channels[3] = {planes[0][i], planes[1][i], planes[2][i]};
        StoreTriples(to + 2 * i * toStep, to + (2 * i + 1) * toStep, channels);
    }
}

}  // namespace
#endif

bool TransposeTriples([[maybe_unused]] const uint8_t* from, [[maybe_unused]] ptrdiff_t fromStep,
                      [[maybe_unused]] uint8_t* to, [[maybe_unused]] ptrdiff_t toStep) {
#if defined(__x86_64__)
    if (HasWideVectors()) {
        TransposeWide(from, fromStep, to, toStep);
        return true;
    }
#endif
    return false;
}

}  // namespace kestr
