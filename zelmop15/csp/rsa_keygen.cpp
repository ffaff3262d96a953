// Key generation.
#include "csp/csp_key.h"
#include "csp/rsa.h"

namespace {

using csp::Number;

struct Sizes {
    uint32_t p, q;  ///< In bits.
};

/// The skew is added to the first prime once and taken off the second one twice, on purpose. False when nothing is left
/// for that one, or the numbers would not fit.
bool choose_sizes(uint32_t bits, uint32_t skew, Sizes *sizes) {
    const uint32_t half = bits / 2 + bits % 2;
    const uint32_t shift = skew / 2;
    if (bits > csp_max_bits || shift > csp_max_bits || half + 2 * shift > bits)
        return false;
    *sizes = {half + shift, bits - half - 2 * shift};
    return true;
}

/// Finds a prime, other than `other` where that is given, for which e has an inverse. For sizes that are not whole
/// octets the number drawn ends at the buffer's end but is read from its start, so that the forced top bits stand lower
/// and aa_prime doubles the rest back up to size. That is left as it is, on purpose.
bool find_prime(CspContext *ctx, uint32_t bits, const aauint *e, uint8_t *buffer, const aauint *other, aauint *prime) {
    Number less_one;
    Number gcd;
    do {
        if (CSP_RNG_get_bits(ctx, buffer, bits, 1, 1) != 0)
            return false;
        aa_uchar2aauint(prime, bits, buffer);
        aa_prime(prime, bits);
        aa_copy(prime, less_one);
        aa_decr(less_one);
    } while (aa_gcd1(less_one, e, gcd) != 0 || (other != nullptr && aa_comp(prime, other) == 0));
    return true;
}

/// The greater prime becomes p.
bool find_primes(CspContext *ctx, const Sizes &sizes, const aauint *e, aauint *p, aauint *q) {
    const OwnedBlock<uint8_t> buffer(allocate<uint8_t>((sizes.p + 7) / 8));
    if (buffer == nullptr || !find_prime(ctx, sizes.p, e, buffer.get(), nullptr, p) ||
        !find_prime(ctx, sizes.q, e, buffer.get(), p, q))
        return false;
    if (aa_comp(p, q) == 1) {
        Number smaller;
        aa_copy(p, smaller);
        aa_copy(q, p);
        aa_copy(smaller, q);
    }
    return true;
}

bool store(aauint *&member, const aauint *number) {
    member = csp::copy_of(number).release();
    return member != nullptr;
}

bool store_inverse(aauint *&member, const aauint *number, const aauint *modulus) {
    Number gcd;
    Number inverse;
    return aa_gcd2(number, modulus, gcd, inverse) == 0 && store(member, inverse);
}

/// member = d modulo (prime - 1)
bool store_exponent(aauint *&member, const aauint *d, const aauint *prime_less_one) {
    Number exponent;
    return aa_mod(d, exponent, prime_less_one) == 0 && store(member, exponent);
}

/// Fills in all that follows from e, p and q.
bool complete(RsaKey *key, aauint *p, aauint *q) {
    Number product;
    if (!store(key->p, p) || !store(key->q, q) || aa_mult(p, q, product) != 0 || !store(key->n, product) ||
        !store_inverse(key->iqmp, q, p))
        return false;
    aa_decr(p);
    aa_decr(q);
    return aa_mult(p, q, product) == 0 && store_inverse(key->d, key->e, product) &&
           store_exponent(key->dmp1, key->d, p) && store_exponent(key->dmq1, key->d, q);
}

}  // namespace

extern "C" RsaKey *RSA_key_generation(CspContext *ctx, uint32_t bits, const uint8_t *exponent, uint32_t exponent_bits,
                                      uint32_t skew) {
    Sizes sizes;
    if (exponent_bits > csp_max_bits || !choose_sizes(bits, skew, &sizes))
        return nullptr;
    OwnedRsaKey key(RsaKey_new());
    if (key == nullptr)
        return nullptr;
    key->e = aa_new(exponent_bits);
    if (key->e == nullptr)
        return nullptr;
    aa_uchar2aauint(key->e, exponent_bits, exponent);
    Number p;
    Number q;
    const bool made = find_primes(ctx, sizes, key->e, p, q) && complete(key.get(), p, q);
    return made ? key.release() : nullptr;
}
