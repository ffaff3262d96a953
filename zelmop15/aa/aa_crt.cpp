// Numbers from their residues modulo two primes.
#include "aa/word.h"

extern "C" {

int32_t aa_crtqinit(const aauint *p, const aauint *q, aauint *coefficient, const aauint *n) {
    aa::Buffer gcd;
    aauint product[2 * AA_BUFFER_WORDS];
    if (aa_gcd2(q, p, gcd, product) != 0 || aa_zmmulteq(product, q, n) != 0)
        return -1;
    aa_copy(product, coefficient);
    return 0;
}

int32_t aa_crtq(const aauint *xp, const aauint *xq, const aauint *coefficient, aauint *result, const aauint *n) {
    aa::Buffer difference;
    if (aa_msub(xp, xq, difference, n) != 0 || aa_mmulteq(difference, coefficient, n) != 0)
        return -1;
    return aa_madd(xq, difference, result, n);
}

int32_t aa_mexpcrtq(const aauint *base, const aauint *ep, const aauint *eq, const aauint *p, const aauint *q,
                    const aauint *coefficient, aauint *result, const aauint *n) {
    aa::Buffer xp;
    aa::Buffer xq;
    if (aa_mexp(base, ep, xp, p) != 0 || aa_mexp(base, eq, xq, q) != 0)
        return -1;
    return aa_crtq(xp, xq, coefficient, result, n);
}
}
