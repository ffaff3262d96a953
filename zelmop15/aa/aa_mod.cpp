// Reduction modulo a number.
#include "aa/modulus.h"

extern "C" {

int32_t aa_zmodeq(aauint *a, const aauint *m) {
    using namespace aa;
    const uint32_t m_count = m[0];
    if (m_count == 0)
        return -1;
    if (aa_comp(a, m) == 1)
        return 0;
    const uint32_t count = a[0];
    const uint32_t shift = leading_zeros(m[m_count]);
    // The shift that aligns a with the modulus has the limit of aa_shift; an aligned modulus needs none.
    if (shift != 0 && count + 1 > AA_MAX_LIMBS)
        return -1;
    if (shift == 0) {
        Modulus(m + 1, m_count).reduce(a);
        return 0;
    }
    Buffer aligned;
    shift_limbs_left(m + 1, m_count, shift, aligned);
    const uint32_t out = shift_limbs_left(a + 1, count, shift, a + 1);
    if (out != 0) {
        a[0] = count + 1;
        a[count + 1] = out;
    }
    Modulus(aligned, m_count).reduce(a);
    shift_limbs_right(a + 1, a[0], shift, a + 1);
    set_length(a, a[0]);
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
