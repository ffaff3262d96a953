// DSA on numbers (FIPS 186): q has 160 bits, and digests are those of SHA-1. Nothing runs in constant time.
#ifndef ZELMOP15_CSP_DSA_H
#define ZELMOP15_CSP_DSA_H

#include "aa/aa.h"
#include "csp/csp.h"

extern "C" {

/// A key; every number is owned and null until it is set.
struct DsaKey {
    uint32_t version;  ///< Not used.
    aauint *p;         ///< Prime modulus.
    aauint *q;         ///< Prime divisor of p - 1.
    aauint *g;         ///< Generator.
    aauint *x;         ///< Private value.
    aauint *y;         ///< Public value.
    aauint *kinv;      ///< Left by DSA_sign: inverse modulo q of the number that was drawn for the signature.
    aauint *r;         ///< Left by DSA_sign: first half of the signature.
};

/// Empty key, or null.
DsaKey *DsaKey_new(void);
/// Releases the key with its numbers, without wiping them; null is allowed.
void DsaKey_free(DsaKey *key);
/// Octets of p.
uint32_t DsaKey_get_size(const DsaKey *key);

/// 1 for a good signature, 0 for a bad one, -1 when the arithmetic fails. The ranges of r and s are not tested.
int32_t DSA_verify(const DsaKey *key, const Bytestring *digest, const aauint *r, const aauint *s);
/// Signs; `r` and `s` have room for numbers below q. 0 or -1.
int32_t DSA_sign(CspContext *ctx, DsaKey *key, const Bytestring *digest, aauint *r, aauint *s);
/// Replaces x and y of a key with p, q and g. 0; or -1 with both null.
int32_t DSA_key_generation(CspContext *ctx, DsaKey *key);
/// New key with p of `bits` bits (512 at least, in steps of 64), q and g, or null. The search starts from the first 20
/// octets of the seed when there are so many. `counter` and `h`, when given, receive what the search ended with. The
/// search has no end for more than 8192 bits, which aa_mexp does not carry, and fails for more than 16384.
DsaKey *DSA_params_generation(CspContext *ctx, uint32_t bits, const Bytestring *seed, uint32_t *counter, uint32_t *h);
/// 1 for a number that passes as prime, else 0; 0 for the primes from 3 to 293, too.
int32_t dsa_is_prime(const aauint *number);
}

using OwnedDsaKey = Owned<DsaKey, DsaKey_free>;

#endif
