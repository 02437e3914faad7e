#pragma once
/// QRN_VECTOR_CLONES in front of a function has the compiler make a second form of it, and of what it calls, for
/// processors with AVX2; the loader picks the form at start. Sanitizers are not ready when it does, so they go without.

#if defined(__x86_64__) && defined(__ELF__) && defined(__GNUC__) && !defined(__clang__) && !defined(QRN_SANITIZED)
#define QRN_VECTOR_CLONES __attribute__((target_clones("avx2", "default"), flatten))
#else
#define QRN_VECTOR_CLONES
#endif
