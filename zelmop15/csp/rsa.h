// RSA on numbers (PKCS #1 v1.5).
//
// The operations turn one value into another: they return the count of octets that they wrote to the output, whose
// `data` has room for RsaKey_get_size() octets and whose `len` is not looked at, or -1 for every failure. Key, input
// and output are asserted. Nothing runs in constant time, and the padding tests leave at the first fault.
#ifndef ZELMOP15_CSP_RSA_H
#define ZELMOP15_CSP_RSA_H

#include "aa/aa.h"
#include "csp/csp.h"

extern "C" {

/// A key; every number is owned and may be null where the operation does not need it.
struct RsaKey {
    uint32_t version;  ///< That of the DER key; never tested.
    aauint *n;         ///< Modulus.
    aauint *e;         ///< Public exponent.
    aauint *d;         ///< Private exponent.
    aauint *p;         ///< First prime; the greater one in a key made here.
    aauint *q;         ///< Second prime.
    aauint *dmp1;      ///< d modulo p - 1.
    aauint *dmq1;      ///< d modulo q - 1.
    aauint *iqmp;      ///< Inverse of q modulo p.
};

/// Empty key, or null.
RsaKey *RsaKey_new(void);
/// Releases the key with its numbers, without wiping them; null is allowed.
void RsaKey_free(RsaKey *key);
/// Octets of the modulus, and so of every block and signature.
uint32_t RsaKey_get_size(const RsaKey *key);
/// New key with all numbers from the DER of an RSAPrivateKey, or null.
RsaKey *asn1_private_key_to_rsa(const Bytestring *der);

/// Public exponent, then block type 1 is taken off.
int32_t RSA_public_decrypt(const RsaKey *key, const Bytestring *cipher, Bytestring *plain);
/// Public exponent alone, on an input of at most the modulus' length.
int32_t RSA_raw_public(CspContext *ctx, const RsaKey *key, const Bytestring *plain, Bytestring *cipher);
/// Block type 2 with random padding, then the public exponent.
int32_t RSA_public_encrypt(CspContext *ctx, const RsaKey *key, const Bytestring *plain, Bytestring *cipher);
/// Private exponent, then block type 2 is taken off.
int32_t RSA_private_decrypt(const RsaKey *key, const Bytestring *cipher, Bytestring *plain);
/// Block type 1, then the private exponent.
int32_t RSA_private_encrypt(const RsaKey *key, const Bytestring *plain, Bytestring *cipher);
/// Private exponent alone, on an input of at most the modulus' length.
int32_t RSA_raw_private(CspContext *ctx, const RsaKey *key, const Bytestring *cipher, Bytestring *plain);

/// result = input ^ d modulo n by way of p and q; 1, or 0 for a failure. For the private operations alone.
int32_t RSA_ModExp(aauint *result, const aauint *input, const RsaKey *key);

/// New key with a modulus of about `bits` bits and the exponent that the first `exponent_bits` bits hold; null for any
/// failure. Prime sizes are half of the bits, one moved up and the other down by the skew; the second loses it twice,
/// deliberately, so that the modulus gets skew / 2 bits less. An even exponent makes the search endless, and so does a
/// size for which there is only one prime to be found (18 bits, 16 and less).
RsaKey *RSA_key_generation(CspContext *ctx, uint32_t bits, const uint8_t *exponent, uint32_t exponent_bits,
                           uint32_t skew);
}

using OwnedRsaKey = Owned<RsaKey, RsaKey_free>;

#endif
