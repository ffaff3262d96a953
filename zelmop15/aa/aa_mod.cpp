// Reduction modulo a number.
#include "aa/modulus.h"

extern "C" {

int32_t aa_zmodeq(aauint *a, const aauint *m) {
    if (m[0] == 0)
        return -1;
    if (aa_comp(a, m) == 1)
        return 0;
    // A modulus whose top bit is not set is shifted, and a along with it, which has the limit of aa_shift.
    if ((m[m[0]] & aa::top_bit) == 0 && a[0] + 1 > AA_MAX_LIMBS)
        return -1;
    aa::reduce(a, m);
    return 0;
}

int32_t aa_modeq(aauint *a, const aauint *m) {
    aa::Buffer modulus;
    aa_copy(m, modulus);
    return aa_zmodeq(a, modulus);
}

int32_t aa_mod(const aauint *a, aauint *result, const aauint *m) {
    aa::Buffer modulus;
    aa_copy(m, modulus);
    aa_copy(a, result);
    return aa_zmodeq(result, modulus);
}
}
