// One source, several machines: a function marked KESTR_VECTOR_CLONES is compiled a second time for
// x86-64 machines with AVX2, and the loader picks the form that the machine can run. Both give the
// same results: no arithmetic is contracted or reordered (-ffp-contract=off, no -ffast-math). Mark
// plain functions that hold the loops; helpers within them are marked KESTR_INLINE, so that each
// form gets its own copy.
#pragma once

#define KESTR_INLINE [[gnu::always_inline]] inline

// Needs indirect functions of the loader, which Windows does not have and which run before the
// sanitizers are ready.
#if defined(__x86_64__) && defined(__ELF__) && !defined(__clang__) && \
    !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)
#define KESTR_VECTOR_CLONES __attribute__((target_clones("arch=x86-64-v3", "default")))
#else
#define KESTR_VECTOR_CLONES
#endif
