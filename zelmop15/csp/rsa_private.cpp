// The private operations.
#include <cstring>

#include "csp/csp_key.h"
#include "csp/rsa.h"
#include "csp/rsa_block.h"

namespace {

bool usable(const aauint *number) {
    return number != nullptr && aa_comp(number, AA_ZERO) != 0;
}

/// Whether the key can do its two exponentiations of half the size.
bool has_crt_form(const RsaKey *key) {
    return usable(key->p) && usable(key->q) && usable(key->dmp1) && usable(key->dmq1) && usable(key->iqmp);
}

bool write_ff(CspContext * /*ctx*/, uint8_t *padding, uint32_t count) {
    std::memset(padding, 0xFF, count);
    return true;
}

/// result = (base modulo prime) ^ exponent modulo prime
bool reduced_power(const aauint *base, const aauint *exponent, const aauint *prime, aauint *result) {
    csp::Number reduced;
    return aa_mod(base, reduced, prime) == 0 && aa_mexp(reduced, exponent, result, prime) == 0;
}

}  // namespace

// A key that lacks one of the five numbers, or has a zero there, takes the longer way without a word.
bool csp::private_power(const RsaKey *key, const aauint *base, aauint *result) {
    return has_crt_form(key) ? RSA_ModExp(result, base, key) == 1 : aa_mexp(base, key->d, result, key->n) == 0;
}

extern "C" {

// Garner's form: m2 + q * ((m1 - m2) / q modulo p).
int32_t RSA_ModExp(aauint *result, const aauint *input, const RsaKey *key) {
    csp::Number h;
    csp::Number m2;
    csp::Number m2_reduced;
    // m1 + p is not below what is subtracted from it.
    const bool done = reduced_power(input, key->dmp1, key->p, h) && aa_add(h, key->p, h) == 0 &&
                      reduced_power(input, key->dmq1, key->q, m2) && aa_mod(m2, m2_reduced, key->p) == 0 &&
                      aa_sub(h, m2_reduced, h) == 0 && aa_mmult(h, key->iqmp, h, key->p) == 0 &&
                      aa_mult(h, key->q, result) == 0 && aa_add(result, m2, result) == 0;
    return done ? 1 : 0;
}

int32_t RSA_private_decrypt(const RsaKey *key, const Bytestring *cipher, Bytestring *plain) {
    ZELMO_ASSERT_GIVEN(key);
    ZELMO_ASSERT_GIVEN(cipher);
    ZELMO_ASSERT_GIVEN(plain);
    return csp::raise_and_strip(key, csp::private_power, csp::public_block, cipher, plain);
}

int32_t RSA_private_encrypt(const RsaKey *key, const Bytestring *plain, Bytestring *cipher) {
    ZELMO_ASSERT_GIVEN(key);
    ZELMO_ASSERT_GIVEN(plain);
    ZELMO_ASSERT_GIVEN(cipher);
    return csp::pad_and_raise(nullptr, key, csp::private_power, csp::private_block, write_ff, plain, cipher);
}

int32_t RSA_raw_private(CspContext * /*ctx*/, const RsaKey *key, const Bytestring *cipher, Bytestring *plain) {
    ZELMO_ASSERT_GIVEN(key);
    ZELMO_ASSERT_GIVEN(cipher);
    ZELMO_ASSERT_GIVEN(plain);
    return csp::raise_raw(key, csp::private_power, cipher, plain);
}
}
