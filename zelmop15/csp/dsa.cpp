// The key, signatures and key pairs.
#include "csp/dsa.h"

#include "csp/csp_key.h"

namespace {

using csp::Number;

constexpr uint32_t q_octets = 20;

constexpr aauint *DsaKey::*numbers[] = {&DsaKey::p, &DsaKey::q,    &DsaKey::g, &DsaKey::x,
                                        &DsaKey::y, &DsaKey::kinv, &DsaKey::r};

/// Whether the arithmetic can take all numbers that the key has.
bool fits(const DsaKey *key) {
    for (const auto number : numbers)
        if (key->*number != nullptr && (key->*number)[0] > AA_MAX_LIMBS)
            return false;
    return true;
}

/// Reads a digest, of any length that a number can have; it is not cut to the length of q.
bool read_digest(const Bytestring *digest, aauint *number) {
    if (digest->len > 4 * AA_MAX_LIMBS)
        return false;
    aa_uchar2aauint(number, 8 * digest->len, digest->data);
    return true;
}

/// Draws a number of so many octets from 1 up. One that is not below q loses q, once.
bool draw(CspContext *ctx, const aauint *q, uint32_t octets, uint8_t *buffer, aauint *number) {
    Bytestring drawn = {octets, buffer};
    do {
        if (CSP_RNG_get_bytes(ctx, &drawn) != 0)
            return false;
        aa_uchar2aauint(number, 8 * octets, buffer);
        if (aa_comp(number, q) != 1)
            aa_sub(number, q, number);
    } while (number[0] == 0);
    return true;
}

bool replace(aauint *&member, const aauint *number) {
    aa_free(member);
    member = csp::copy_of(number).release();
    return member != nullptr;
}

/// result = a ^ x * b ^ y modulo p
bool double_power(const aauint *a, const aauint *x, const aauint *b, const aauint *y, aauint *result, const aauint *p) {
    Number other;
    return aa_mexp(a, x, result, p) == 0 && aa_mexp(b, y, other, p) == 0 && aa_mmult(result, other, result, p) == 0;
}

/// The private value and what follows from it.
bool make_pair(CspContext *ctx, DsaKey *key) {
    // Nothing is below a q of 0, so a number would be drawn for ever.
    if (!fits(key) || key->q[0] == 0)
        return false;
    const uint32_t octets = csp::octet_count(key->q);
    const OwnedBlock<uint8_t> buffer(allocate<uint8_t>(octets));
    Number x;
    Number y;
    return buffer != nullptr && draw(ctx, key->q, octets, buffer.get(), x) && aa_mexp(key->g, x, y, key->p) == 0 &&
           replace(key->x, x) && replace(key->y, y);
}

void drop_pair(DsaKey *key) {
    aa_free(key->x);
    aa_free(key->y);
    key->x = nullptr;
    key->y = nullptr;
}

}  // namespace

extern "C" {

DsaKey *DsaKey_new(void) {
    return allocate<DsaKey>();
}

void DsaKey_free(DsaKey *key) {
    if (key == nullptr)
        return;
    for (const auto number : numbers)
        aa_free(key->*number);
    std::free(key);
}

uint32_t DsaKey_get_size(const DsaKey *key) {
    return csp::octet_count(key->p);
}

// The ranges of r and s are left untested on purpose: whatever they are goes through the arithmetic, and the last
// comparison judges. For the same reason an s without an inverse is no failure; what aa_gcd2 leaves is used.
int32_t DSA_verify(const DsaKey *key, const Bytestring *digest, const aauint *r, const aauint *s) {
    Number gcd;
    Number w;
    Number u1;
    Number u2;
    Number v;
    if (!fits(key) || !read_digest(digest, u1) || aa_gcd2(s, key->q, gcd, w) == -1 ||
        aa_mmult(u1, w, u1, key->q) != 0 || aa_mmult(w, r, u2, key->q) != 0 ||
        !double_power(key->g, u1, key->y, u2, v, key->p) || aa_modeq(v, key->q) != 0)
        return -1;
    return aa_comp(v, r) == 0 ? 1 : 0;
}

// Neither r nor s is tested for zero.
int32_t DSA_sign(CspContext *ctx, DsaKey *key, const Bytestring *digest, aauint *r, aauint *s) {
    uint8_t buffer[q_octets];
    Number k;
    Number first;
    Number gcd;
    Number inverse;
    Number sum;
    Number text;
    if (!fits(key) || !draw(ctx, key->q, q_octets, buffer, k) || aa_mexp(key->g, k, first, key->p) != 0 ||
        aa_modeq(first, key->q) != 0 || aa_gcd2(k, key->q, gcd, inverse) == -1 || !replace(key->kinv, inverse) ||
        !replace(key->r, first) || !read_digest(digest, text) || aa_mmult(key->x, key->r, sum, key->q) != 0 ||
        aa_add(sum, text, sum) != 0 || aa_mmult(sum, key->kinv, sum, key->q) != 0)
        return -1;
    aa_copy(key->r, r);
    aa_copy(sum, s);
    return 0;
}

int32_t DSA_key_generation(CspContext *ctx, DsaKey *key) {
    drop_pair(key);
    if (make_pair(ctx, key))
        return 0;
    drop_pair(key);
    return -1;
}
}
