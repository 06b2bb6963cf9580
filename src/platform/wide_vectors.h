// Vectors of 32 or 64 bytes where the machine has them. The library is built for every x86-64
// machine; a hot loop is written once, as a KESTR_INLINE_LOOP function, and compiled again by
// callers marked KESTR_WIDE_VECTORS (AVX2 and fused multiplication, which is used where it is asked
// for by name alone) and, where that pays, KESTR_WIDEST_VECTORS (AVX-512). All give the same
// numbers: nothing is contracted.
#pragma once

#define KESTR_INLINE_LOOP inline __attribute__((always_inline))

#if defined(__x86_64__)
#define KESTR_WIDE_VECTORS __attribute__((target("avx2,fma")))
#if defined(__clang__)
#define KESTR_WIDEST_VECTORS __attribute__((target("avx512f,avx512dq,avx512bw,avx512vl,fma")))
#else
#define KESTR_WIDEST_VECTORS \
    __attribute__((target("avx512f,avx512dq,avx512bw,avx512vl,fma,prefer-vector-width=512")))
#endif
#else
#define KESTR_WIDE_VECTORS
#define KESTR_WIDEST_VECTORS
#endif

namespace kestr {

/// Whether the machine has AVX2 and fused multiplication. Tests switch it off.
#if defined(__x86_64__) || defined(__i386__)
inline bool hasAVX2 = [] {
    __builtin_cpu_init();
    return __builtin_cpu_supports("avx2") != 0 && __builtin_cpu_supports("fma") != 0;
}();
/// Whether the machine has those parts of AVX-512 that came together.
inline bool hasAVX512 = [] {
    __builtin_cpu_init();
    return __builtin_cpu_supports("avx512f") != 0 && __builtin_cpu_supports("avx512dq") != 0 &&
           __builtin_cpu_supports("avx512bw") != 0 && __builtin_cpu_supports("avx512vl") != 0;
}();
#else
inline bool hasAVX2 = false;
inline bool hasAVX512 = false;
#endif

/// Whether functions marked KESTR_WIDE_VECTORS may be called on this machine.
inline bool HasWideVectors() {
#if defined(__x86_64__)
    return hasAVX2;
#else
    return false;
#endif
}

/// The same of KESTR_WIDEST_VECTORS.
inline bool HasWidestVectors() {
    return HasWideVectors() && hasAVX512;
}

}  // namespace kestr
