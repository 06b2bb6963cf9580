#include "platform/byte_lookup.h"

#include "platform/triples.h"
#include "platform/wide_vectors.h"

namespace kestr {
namespace {

void LookUpEach(uint8_t* bytes, size_t count, const uint8_t* table) {
    for (size_t i = 0; i < count; ++i) bytes[i] = table[bytes[i]];
}

void LookUpEachTriple(uint8_t* pixels, size_t count, const std::array<const uint8_t*, 3>& tables) {
    const auto [first, second, third] = tables;
    for (; count != 0; --count, pixels += 3) {
        pixels[0] = first[pixels[0]];
        pixels[1] = second[pixels[1]];
        pixels[2] = third[pixels[2]];
    }
}

#if defined(__x86_64__)

constexpr size_t kWorthwhile = 128;  // preparing a table takes as long as some dozen bytes
constexpr int kParts = 8;            // of sixteen entries, in each half of a table

/// Each half of a table by parts, a part as its difference to the one before.
struct CParts {
    __m256i lower[kParts];
    __m256i upper[kParts];
};

KESTR_WIDE_VECTORS void Prepare(__m256i* parts, const uint8_t* half) {
    __m256i before = _mm256_setzero_si256();
    for (int i = 0; i < kParts; ++i) {
        const __m256i part = _mm256_broadcastsi128_si256(
            _mm_loadu_si128(reinterpret_cast<const __m128i*>(half + 16 * i)));
        parts[i] = _mm256_xor_si256(part, before);
        before = part;
    }
}

/// A shuffle looks up among sixteen entries, and gives 0 for a negative number. A byte that counts
/// down by sixteen meets the parts up to its own, whose differences add up to its entry, and is
/// negative from then on; one of the other half is negative at all times.
KESTR_WIDE_VECTORS KESTR_INLINE_LOOP __m256i LookUp32(__m256i bytes, const CParts& table) {
    const __m256i sixteen = _mm256_set1_epi8(16);
    __m256i low = bytes;
    __m256i high = _mm256_xor_si256(bytes, _mm256_set1_epi8(-128));
    __m256i sum = _mm256_setzero_si256();
    for (int i = 0; i < kParts; ++i) {
        const __m256i fromLow = _mm256_shuffle_epi8(table.lower[i], low);
        const __m256i fromHigh = _mm256_shuffle_epi8(table.upper[i], high);
        sum = _mm256_xor_si256(sum, _mm256_xor_si256(fromLow, fromHigh));
        low = _mm256_subs_epi8(low, sixteen);
        high = _mm256_subs_epi8(high, sixteen);
    }
    return sum;
}

KESTR_WIDE_VECTORS void LookUpWide(uint8_t* bytes, size_t count, const uint8_t* table) {
    CParts parts;
    Prepare(parts.lower, table);
    Prepare(parts.upper, table + 128);
    for (; count >= 64; count -= 64, bytes += 64) {
        auto* const at = reinterpret_cast<__m256i*>(bytes);
        const __m256i first = LookUp32(_mm256_loadu_si256(at), parts);
        const __m256i second = LookUp32(_mm256_loadu_si256(at + 1), parts);
        _mm256_storeu_si256(at, first);
        _mm256_storeu_si256(at + 1, second);
    }
    LookUpEach(bytes, count, table);
}

/// The same with vectors of 64 bytes.
KESTR_WIDEST_VECTORS void LookUpWidest(uint8_t* bytes, size_t count, const uint8_t* table) {
    constexpr int kXorOfThree = 0x96;
    CParts parts;
    Prepare(parts.lower, table);
    Prepare(parts.upper, table + 128);
    __m512i lower[kParts];
    __m512i upper[kParts];
    for (int i = 0; i < kParts; ++i) {
        const __m256i lowerTwice[] = {parts.lower[i], parts.lower[i]};
        const __m256i upperTwice[] = {parts.upper[i], parts.upper[i]};
        lower[i] = _mm512_loadu_si512(lowerTwice);
        upper[i] = _mm512_loadu_si512(upperTwice);
    }
    const __m512i sixteen = _mm512_set1_epi8(16);
    const __m512i half = _mm512_set1_epi8(-128);
    for (; count >= 64; count -= 64, bytes += 64) {
        __m512i low = _mm512_loadu_si512(bytes);
        __m512i high = _mm512_xor_si512(low, half);
        __m512i sum = _mm512_setzero_si512();
        for (int i = 0; i < kParts; ++i) {
            sum = _mm512_ternarylogic_epi64(sum, _mm512_shuffle_epi8(lower[i], low),
                                            _mm512_shuffle_epi8(upper[i], high), kXorOfThree);
            low = _mm512_subs_epi8(low, sixteen);
            high = _mm512_subs_epi8(high, sixteen);
        }
        _mm512_storeu_si512(bytes, sum);
    }
    LookUpEach(bytes, count, table);
}

/// 32 pixels at a time, sixteen in each half of a vector.
KESTR_WIDE_VECTORS void LookUpTriplesWide(uint8_t* pixels, size_t count,
                                          const std::array<const uint8_t*, 3>& tables) {
    CParts parts[3];
    for (size_t i = 0; i < 3; ++i) {
        Prepare(parts[i].lower, tables[i]);
        Prepare(parts[i].upper, tables[i] + 128);
    }
    for (; count >= 32; count -= 32, pixels += 96) {
        __m256i channels[3];
        LoadTriples(pixels, pixels + 48, channels);
        for (int i = 0; i < 3; ++i) channels[i] = LookUp32(channels[i], parts[i]);
        StoreTriples(pixels, pixels + 48, channels);
    }
    LookUpEachTriple(pixels, count, tables);
}

#endif

}  // namespace

void LookUpBytes(uint8_t* bytes, size_t count, const uint8_t* table) {
#if defined(__x86_64__)
    if (count >= kWorthwhile && HasWidestVectors()) return LookUpWidest(bytes, count, table);
    if (count >= kWorthwhile && HasWideVectors()) return LookUpWide(bytes, count, table);
#endif
    LookUpEach(bytes, count, table);
}

void LookUpTriples(uint8_t* pixels, size_t count, const std::array<const uint8_t*, 3>& tables) {
#if defined(__x86_64__)
    if (count >= kWorthwhile && HasWideVectors()) return LookUpTriplesWide(pixels, count, tables);
#endif
    LookUpEachTriple(pixels, count, tables);
}

}  // namespace kestr
