// Vectors of 32 bytes where the machine has them. The library is built for every x86-64 machine; a
// hot loop is written once, as a KESTR_INLINE_LOOP function, and compiled twice by two callers, the
// one marked KESTR_WIDE_VECTORS for AVX2 and fused multiplication, which is used where it is asked
// for by name alone. Both give the same numbers: nothing is contracted.
#pragma once

#define KESTR_INLINE_LOOP inline __attribute__((always_inline))

#if defined(__x86_64__)
#define KESTR_WIDE_VECTORS __attribute__((target("avx2,fma")))
#else
#define KESTR_WIDE_VECTORS
#endif

namespace kestr {

/// Whether the machine has AVX2 and fused multiplication. Tests switch it off.
#if defined(__x86_64__) || defined(__i386__)
inline bool hasAVX2 = [] {
    __builtin_cpu_init();
    return __builtin_cpu_supports("avx2") != 0 && __builtin_cpu_supports("fma") != 0;
}();
#else
inline bool hasAVX2 = false;
#endif

/// Whether functions marked KESTR_WIDE_VECTORS may be called on this machine.
inline bool HasWideVectors() {
#if defined(__x86_64__)
    return hasAVX2;
#else
    return false;
#endif
}

}  // namespace kestr
