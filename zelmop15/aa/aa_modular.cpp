// Modular addition, subtraction and multiplication.
#include "aa/word.h"

namespace {

using namespace aa;

bool is_reduced(const aauint *number, const aauint *m) {
    return aa_comp(number, m) == 1;
}

// The operand itself, or its residue in `room` when it has more limbs than m; null when it cannot be reduced.
const aauint *shortened(const aauint *operand, aauint *room, const aauint *m) {
    if (operand[0] <= m[0])
        return operand;
    return aa_mod(operand, room, m) == 0 ? room : nullptr;
}

// Reduces what stands in `value` and hands it out, so that the result needs no more room than m has.
int32_t reduce(aauint *value, aauint *result, const aauint *m) {
    if (aa_zmodeq(value, m) != 0)
        return -1;
    aa_copy(value, result);
    return 0;
}

}  // namespace

extern "C" {

int32_t aa_madd(const aauint *a, const aauint *b, aauint *result, const aauint *m) {
    const bool reduced = is_reduced(a, m) && is_reduced(b, m);
    aauint sum[AA_BUFFER_WORDS + 1];
    // A carry out of the greatest length is meant to pass unseen.
    if (aa_add(a, b, sum) != 0)
        sum[0] = AA_MAX_LIMBS;
    if (reduced && aa_comp(sum, m) != 1)
        return aa_sub(sum, m, result);
    return reduce(sum, result, m);
}

int32_t aa_msub(const aauint *a, const aauint *b, aauint *result, const aauint *m) {
    aauint difference[AA_BUFFER_WORDS + 1];
    if (aa_comp(a, b) != 1) {
        aa_sub(a, b, difference);
        return reduce(difference, result, m);
    }
    aa_sub(b, a, difference);
    if (aa_comp(difference, m) == -1)
        aa_zmodeq(difference, m);
    if (difference[0] == 0) {
        result[0] = 0;
        return 0;
    }
    return aa_sub(m, difference, result);
}

int32_t aa_mmult(const aauint *a, const aauint *b, aauint *result, const aauint *m) {
    aauint a_room[AA_BUFFER_WORDS + 1];
    aauint b_room[AA_BUFFER_WORDS + 1];
    const aauint *const left = shortened(a, a_room, m);
    const aauint *const right = shortened(b, b_room, m);
    aauint product[AA_BUFFER_WORDS + 1];
    if (left == nullptr || right == nullptr || aa_mult(left, right, product) != 0)
        return -1;
    return reduce(product, result, m);
}

int32_t aa_mmulteq(aauint *a, const aauint *b, const aauint *m) {
    return aa_mmult(a, b, a, m);
}

int32_t aa_zmmult(const aauint *a, const aauint *b, aauint *result, const aauint *m) {
    aa_zmult(a, b, result);
    aa_zmodeq(result, m);
    return 0;
}

int32_t aa_zmmulteq(aauint *a, const aauint *b, const aauint *m) {
    aa_zmulteq(a, b);
    return aa_zmodeq(a, m);
}

int32_t aa_zmsquare(const aauint *a, aauint *result, const aauint *m) {
    aa_zsquare(a, result);
    aa_zmodeq(result, m);
    return 0;
}

int32_t aa_zmsquareeq(aauint *a, const aauint *m) {
    // A refused squaring is meant to pass unseen, and leaves a as it was.
    aa_squareeq(a);
    return aa_zmodeq(a, m);
}
}
