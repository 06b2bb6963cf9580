// Vectors of 32 bytes where the machine has them. The library is built for every x86-64 machine; a
// hot loop is written once, as a KESTR_INLINE_LOOP function, and compiled twice by two callers, the
// one marked KESTR_WIDE_VECTORS for AVX2. Both give the same numbers: nothing is contracted.
#pragma once

#define KESTR_INLINE_LOOP inline __attribute__((always_inline))

#if defined(__x86_64__)
#define KESTR_WIDE_VECTORS __attribute__((target("avx2")))
#else
#define KESTR_WIDE_VECTORS
#endif

namespace kestr {

/// Whether functions marked KESTR_WIDE_VECTORS may be called on this machine.
inline bool HasWideVectors() {
#if defined(__x86_64__)
    static const bool has = __builtin_cpu_supports("avx2") != 0;
    return has;
#else
    return false;
#endif
}

}  // namespace kestr
