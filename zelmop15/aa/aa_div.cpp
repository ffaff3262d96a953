// Division with quotient and remainder.
#include "aa/divide.h"

extern "C" {

int32_t aa_div(const aauint *a, const aauint *b, aauint *quotient, aauint *remainder) {
    using namespace aa;
    if (b[0] == 0)
        return -1;
    if (aa_comp(a, b) == 1) {
        aa_copy(a, remainder);
        if (quotient != remainder)
            quotient[0] = 0;
        return 0;
    }
    const uint32_t count = a[0];
    const uint32_t b_count = b[0];
    if (count + 1 > AA_MAX_LIMBS)
        return -1;
    // Divisor and dividend, shifted so that the divisor's top bit is set.
    const uint32_t shift = leading_zeros(b[b_count]);
    Buffer divisor;
    Buffer rest;
    shift_limbs_left(b + 1, b_count, shift, divisor);
    rest[count] = shift_limbs_left(a + 1, count, shift, rest);
    divide_limbs(rest, count + 1, divisor, b_count, quotient + 1);
    set_length(quotient, count - b_count + 1);
    shift_limbs_right(rest, b_count, shift, remainder + 1);
    set_length(remainder, b_count);
    return 0;
}
}
