#include "aa/divide.h"

namespace {

using namespace aa;

// The quotient of two words by one, where high < top, and what is left of them.
struct Digit {
    uint32_t quotient;
    uint32_t rest;
    bool overflowed;  // the rest has passed one word, so the quotient is not too large
};

// The estimate can only be too low, and is raised until the rest is below the divisor.
Digit estimate(uint32_t high, uint32_t low, uint32_t top, uint32_t inverse) {
    if (high == top) {
        const uint32_t rest = low + top;
        return {UINT32_MAX, rest, rest < top};
    }
    uint32_t quotient = high + multiply(high, inverse).high;
    WidePair product = multiply(quotient, top);
    uint32_t rest_high = high - product.high - static_cast<uint32_t>(low < product.low);
    uint32_t rest = low - product.low;
    while (rest_high != 0 || rest >= top) {
        ++quotient;
        rest_high -= static_cast<uint32_t>(rest < top);
        rest -= top;
    }
    return {quotient, rest, false};
}

// Lowers the digit against the second limb of m and the next limb of a.
uint32_t refine(Digit digit, uint32_t top, uint32_t second, uint32_t next) {
    WidePair product = multiply(digit.quotient, second);
    while (!digit.overflowed && (product.high > digit.rest || (product.high == digit.rest && product.low > next))) {
        --digit.quotient;
        product.high -= static_cast<uint32_t>(product.low < second);
        product.low -= second;
        digit.rest += top;
        digit.overflowed = digit.rest < top;
    }
    return digit.quotient;
}

// a -= digit * m, over the limbs of m and one more; the borrow out of the top.
uint32_t subtract_product(uint32_t *a, uint32_t digit, const uint32_t *m, uint32_t count) {
    uint32_t carry = 0;
    for (uint32_t i = 0; i < count; ++i) {
        WidePair product = multiply(digit, m[i]);
        product.low += carry;
        carry = product.high + static_cast<uint32_t>(product.low < carry) + static_cast<uint32_t>(a[i] < product.low);
        a[i] -= product.low;
    }
    const uint32_t borrow = static_cast<uint32_t>(a[count] < carry);
    a[count] -= carry;
    return borrow;
}

}  // namespace

namespace aa {

uint32_t reciprocal(uint32_t top) {
    if (top == top_bit)
        return UINT32_MAX;
    // Restoring division of 2^64 - 2^32 * top, whose high word is what is left of 2^32 after one subtraction.
    uint32_t rest = 0 - top;
    uint32_t quotient = 0;
    for (uint32_t i = 0; i < limb_bits; ++i) {
        const bool carry = (rest & top_bit) != 0;
        rest <<= 1;
        quotient <<= 1;
        if (carry || rest >= top) {
            rest -= top;
            quotient |= 1;
        }
    }
    return quotient != 0 ? quotient : UINT32_MAX;
}

void divide_limbs(uint32_t *a, uint32_t count, const uint32_t *m, uint32_t m_count, uint32_t *quotient) {
    const uint32_t top = m[m_count - 1];
    const uint32_t inverse = reciprocal(top);
    for (uint32_t i = count - m_count; i-- > 0;) {
        uint32_t *const position = a + i;
        Digit digit = estimate(position[m_count], position[m_count - 1], top, inverse);
        if (m_count > 1)
            digit.quotient = refine(digit, top, m[m_count - 2], position[m_count - 2]);
        if (digit.quotient != 0 && subtract_product(position, digit.quotient, m, m_count) != 0) {
            --digit.quotient;
            position[m_count] += add_limbs(position, m, m_count);
        }
        if (quotient != nullptr)
            quotient[i] = digit.quotient;
    }
}

}  // namespace aa
