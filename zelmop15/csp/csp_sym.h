// The symmetric ciphers of the provider as a table.
#ifndef ZELMOP15_CSP_CSP_SYM_H
#define ZELMOP15_CSP_CSP_SYM_H

#include <cstdint>

#include "runtime/bytestring.h"

/// Chaining of a block cipher.
enum SymMode : int32_t { SYM_MODE_NONE = -1, SYM_MODE_ECB = 1, SYM_MODE_CBC = 2 };

/// One symmetric cipher.
struct SymCipherSpec {
    int32_t alg;            ///< CspCipher; -1 in the last row.
    uint32_t block_length;  ///< In octets; 0 for a stream cipher.
    SymMode mode;
    uint32_t least_key;  ///< Octets of key that the primitive reads at least.
    /// Makes the primitive's schedule. `iv` is null in ECB.
    uint32_t (*setup)(const Bytestring *key, const Bytestring *iv, void **schedule);
    /// Turns one block; null for a stream cipher.
    uint32_t (*turn)(const uint8_t *in, uint8_t *out, uint32_t direction, const void *schedule);
};

extern "C" {

extern const SymCipherSpec symCipherSpecs[];

/// Block length in octets; 0 for stream ciphers and unknown identifiers.
uint32_t get_blocklen(uint32_t alg);
/// SymMode; -1 also for unknown identifiers.
int32_t get_operationmode(uint32_t alg);
}

#endif
