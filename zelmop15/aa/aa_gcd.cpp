// Greatest common divisors and inverses.
#include <utility>

#include "aa/modulus.h"

namespace {

using namespace aa;

uint32_t trailing_zeros(const aauint *number) {
    uint32_t limb = 1;
    while (number[limb] == 0)
        ++limb;
    return (limb - 1) * limb_bits + static_cast<uint32_t>(__builtin_ctz(number[limb]));
}

// Makes a number that is not zero odd; the count of bits taken off.
uint32_t make_odd(aauint *number) {
    const uint32_t zeros = trailing_zeros(number);
    aa_shift(number, -static_cast<int32_t>(zeros), number);
    return zeros;
}

int32_t is_not_one(const aauint *number) {
    return number[0] == 1 && number[1] == 1 ? 0 : 1;
}

enum class Step { more, last, failed };

// A half step of the extended algorithm: high = high mod low, high_factor = high_factor - quotient * low_factor modulo
// m. The last one is where the remainder is zero; it leaves the factor alone.
Step reduce_by(aauint *high, const aauint *low, aauint *high_factor, const aauint *low_factor, const aauint *m) {
    aauint quotient[AA_BUFFER_WORDS + 2];
    if (aa_div(high, low, quotient, high) != 0)
        return Step::failed;
    if (high[0] == 0)
        return Step::last;
    // Together they may pass the greatest length.
    aauint product[2 * AA_BUFFER_WORDS];
    aa_zmult(quotient, low_factor, product);
    reduce(product, m);
    aa_msub(high_factor, product, high_factor, m);
    return Step::more;
}

}  // namespace

extern "C" {

int32_t aa_gcd1(const aauint *a, const aauint *b, aauint *result) {
    if (a[0] == 0 || b[0] == 0) {
        aa_copy(a[0] == 0 ? b : a, result);
        return is_not_one(result);
    }
    aauint left[AA_BUFFER_WORDS + 2];
    aauint right[AA_BUFFER_WORDS + 2];
    aa_copy(a, left);
    aa_copy(b, right);
    const uint32_t common = std::min(make_odd(left), make_odd(right));
    // One division first, to bring very unequal numbers to like size; after it only one of them can be even.
    aauint *greater = left;
    aauint *lesser = right;
    if (aa_comp(greater, lesser) == 1)
        std::swap(greater, lesser);
    aa_zmodeq(greater, lesser);
    while (greater[0] != 0) {
        make_odd(greater);
        if (aa_comp(greater, lesser) == 1)
            std::swap(greater, lesser);
        aa_sub(greater, lesser, greater);
    }
    aa_shift(lesser, static_cast<int32_t>(common), result);
    return is_not_one(result);
}

int32_t aa_gcd2(const aauint *a, const aauint *m, aauint *gcd, aauint *inverse) {
    aauint r0[AA_BUFFER_WORDS + 2];
    aauint r1[AA_BUFFER_WORDS + 2];
    aauint t0[AA_BUFFER_WORDS] = {0};
    aauint t1[AA_BUFFER_WORDS] = {1, 1};
    Buffer modulus;
    aa_copy(m, modulus);
    if (aa_mod(a, r1, m) != 0)
        return -1;
    if (r1[0] == 0) {
        aa_copy(modulus, gcd);
        aa_copy(AA_ONE, inverse);
        return 2;
    }
    aa_copy(modulus, r0);
    aauint *high = r0;
    aauint *low = r1;
    aauint *high_factor = t0;
    aauint *low_factor = t1;
    Step step = Step::more;
    while ((step = reduce_by(high, low, high_factor, low_factor, modulus)) == Step::more) {
        std::swap(high, low);
        std::swap(high_factor, low_factor);
    }
    // A modulus of the greatest length cannot be divided.
    if (step == Step::failed)
        return -1;
    const int32_t result = is_not_one(low);
    aa_copy(low, gcd);
    aa_copy(low_factor, inverse);
    return result;
}
}
