// Loops over many words, made for several processors.
#ifndef ZELMOP15_AA_CLONES_H
#define ZELMOP15_AA_CLONES_H

#include <cstdint>

namespace aa {

/// Words of the widest vector: rows are padded to whole ones.
constexpr uint32_t lanes = 8;

}  // namespace aa

/// Marks a function of which a form with wider vectors is taken where the processor has them, chosen when the library
/// is loaded. Clang and the sanitizers build the plain form alone.
#if defined(__x86_64__) && defined(__GNUC__) && !defined(__clang__) && !defined(__SANITIZE_ADDRESS__) && \
    !defined(__SANITIZE_THREAD__)
#define ZELMO_CLONES __attribute__((target_clones("default", "sse4.1", "avx2")))
#else
#define ZELMO_CLONES
#endif

/// Says of the loop behind it that what it writes is not read by it elsewhere, which gcc cannot tell here.
#if defined(__GNUC__) && !defined(__clang__)
#define ZELMO_INDEPENDENT _Pragma("GCC ivdep")
#else
#define ZELMO_INDEPENDENT
#endif

#endif
