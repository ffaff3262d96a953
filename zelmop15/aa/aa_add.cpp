// Addition, subtraction and shifts.
#include <utility>

#include "aa/word.h"

namespace {

using namespace aa;

int32_t shift_right(const aauint *number, uint32_t shift, aauint *result) {
    const uint32_t length = number[0];
    const uint32_t limbs = shift / limb_bits;
    if (limbs >= length) {
        result[0] = 0;
        return 0;
    }
    shift_limbs_right(number + 1 + limbs, length - limbs, shift % limb_bits, result + 1);
    set_length(result, length - limbs);
    return 0;
}

int32_t shift_left(const aauint *number, uint32_t shift, aauint *result) {
    const uint32_t length = number[0];
    const uint32_t limbs = shift / limb_bits;
    // Meant to be one limb stricter than needed: it refuses some shifts that lose nothing, and a full number's by 0.
    if (length + limbs + 1 > AA_MAX_LIMBS)
        return -1;
    std::memmove(result + 1 + limbs, number + 1, length * sizeof *number);
    const uint32_t out = shift_limbs_left(result + 1 + limbs, length, shift % limb_bits, result + 1 + limbs);
    std::memset(result + 1, 0, limbs * sizeof *result);
    result[0] = length + limbs;
    if (out != 0)
        result[++result[0]] = out;
    return 0;
}

}  // namespace

extern "C" {

int32_t aa_incr(aauint *number) {
    uint32_t i = 1;
    while (i <= number[0] && number[i] == UINT32_MAX)
        number[i++] = 0;
    if (i <= number[0]) {
        ++number[i];
        return 0;
    }
    if (number[0] == AA_MAX_LIMBS)
        return -1;
    number[0] = i;
    number[i] = 1;
    return 0;
}

int32_t aa_decr(aauint *number) {
    if (number[0] == 0)
        return -1;
    uint32_t i = 1;
    while (number[i] == 0)
        number[i++] = UINT32_MAX;
    --number[i];
    if (number[number[0]] == 0)
        --number[0];
    return 0;
}

int32_t aa_add(const aauint *a, const aauint *b, aauint *result) {
    if (a[0] < b[0])
        std::swap(a, b);
    const uint32_t length = a[0];
    const uint32_t shorter = b[0];
    uint32_t carry = 0;
    for (uint32_t i = 1; i <= shorter; ++i)
        result[i] = add_carry(a[i], b[i], carry);
    for (uint32_t i = shorter + 1; i <= length; ++i)
        result[i] = add_carry(a[i], 0, carry);
    result[0] = length + carry;
    if (result[0] > AA_MAX_LIMBS)
        return -1;
    if (carry != 0)
        result[length + 1] = 1;
    return 0;
}

int32_t aa_sub(const aauint *a, const aauint *b, aauint *result) {
    const uint32_t length = a[0];
    const uint32_t shorter = b[0];
    if (length < shorter)
        return -1;
    uint32_t borrow = 0;
    for (uint32_t i = 1; i <= shorter; ++i)
        result[i] = subtract_borrow(a[i], b[i], borrow);
    for (uint32_t i = shorter + 1; i <= length; ++i)
        result[i] = subtract_borrow(a[i], 0, borrow);
    set_length(result, length);
    return borrow == 0 ? 0 : -1;
}

int32_t aa_shift(const aauint *number, int32_t shift, aauint *result) {
    if (number[0] == 0) {
        result[0] = 0;
        return 0;
    }
    const auto bits = static_cast<uint32_t>(shift);
    return shift < 0 ? shift_right(number, 0 - bits, result) : shift_left(number, bits, result);
}
}
