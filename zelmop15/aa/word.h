// What the routines share: 32-bit words, and numbers as arrays of them.
//
// Nothing here is wider than 32 bits. A product of two words is made of four products of their halves.
#ifndef ZELMOP15_AA_WORD_H
#define ZELMOP15_AA_WORD_H

#include <cstdint>
#include <cstring>

#include "aa/aa.h"

namespace aa {

constexpr uint32_t limb_bits = 32;
constexpr uint32_t half_bits = 16;
constexpr uint32_t low_half = 0xFFFF;
constexpr uint32_t top_bit = 0x80000000;

/// Room for any number on the stack.
using Buffer = aauint[AA_BUFFER_WORDS];

struct WidePair {
    uint32_t high, low;
};

/// a * b. No sum overflows but the middle one, whose carry belongs to the high word.
inline WidePair multiply(uint32_t a, uint32_t b) {
    const uint32_t low_low = (a & low_half) * (b & low_half);
    const uint32_t low_high = (a & low_half) * (b >> half_bits);
    const uint32_t high_low = (a >> half_bits) * (b & low_half);
    const uint32_t high_high = (a >> half_bits) * (b >> half_bits);
    // At most 2^32 - 2^17 + 1 + 2^16 - 1, which fits.
    const uint32_t middle = low_high + (low_low >> half_bits);
    const uint32_t sum = middle + high_low;
    const uint32_t carry = sum < middle ? 1u << half_bits : 0;
    return {high_high + (sum >> half_bits) + carry, (sum << half_bits) | (low_low & low_half)};
}

/// a + b + carry, where the carry (0 or 1) becomes that of the sum.
inline uint32_t add_carry(uint32_t a, uint32_t b, uint32_t &carry) {
    const uint32_t partial = a + carry;
    const uint32_t sum = partial + b;
    carry = static_cast<uint32_t>(partial < carry) | static_cast<uint32_t>(sum < b);
    return sum;
}

/// a - b - borrow, likewise.
inline uint32_t subtract_borrow(uint32_t a, uint32_t b, uint32_t &borrow) {
    const uint32_t partial = a - b;
    const uint32_t difference = partial - borrow;
    borrow = static_cast<uint32_t>(a < b) | static_cast<uint32_t>(partial < borrow);
    return difference;
}

/// Bits in front of the top set bit of a word that is not zero.
inline uint32_t leading_zeros(uint32_t word) {
    return static_cast<uint32_t>(__builtin_clz(word));
}

/// Stores the length: that of `limbs` without the zeros on top.
inline void set_length(aauint *number, uint32_t limbs) {
    while (limbs > 0 && number[limbs] == 0)
        --limbs;
    number[0] = limbs;
}

/// Sum of the limbs of a, with those of b from its start; the carry out of the top.
inline uint32_t add_limbs(uint32_t *a, const uint32_t *b, uint32_t count) {
    uint32_t carry = 0;
    for (uint32_t i = 0; i < count; ++i)
        a[i] = add_carry(a[i], b[i], carry);
    return carry;
}

/// Difference likewise; the borrow out of the top.
inline uint32_t subtract_limbs(uint32_t *a, const uint32_t *b, uint32_t count) {
    uint32_t borrow = 0;
    for (uint32_t i = 0; i < count; ++i)
        a[i] = subtract_borrow(a[i], b[i], borrow);
    return borrow;
}

/// Order of `count` limbs: negative, 0 or positive.
inline int32_t compare_limbs(const uint32_t *a, const uint32_t *b, uint32_t count) {
    while (count > 0) {
        --count;
        if (a[count] != b[count])
            return a[count] < b[count] ? -1 : 1;
    }
    return 0;
}

/// Shifts limbs left by less than a limb into `result`, which may be `limbs`; the bits that fall out on top.
inline uint32_t shift_limbs_left(const uint32_t *limbs, uint32_t count, uint32_t bits, uint32_t *result) {
    if (bits == 0) {
        std::memmove(result, limbs, count * sizeof *limbs);
        return 0;
    }
    uint32_t out = 0;
    for (uint32_t i = 0; i < count; ++i) {
        const uint32_t limb = limbs[i];
        result[i] = limb << bits | out;
        out = limb >> (limb_bits - bits);
    }
    return out;
}

/// Shifts limbs right by less than a limb into `result`, which may be `limbs`.
inline void shift_limbs_right(const uint32_t *limbs, uint32_t count, uint32_t bits, uint32_t *result) {
    if (bits == 0) {
        std::memmove(result, limbs, count * sizeof *limbs);
        return;
    }
    for (uint32_t i = 0; i < count; ++i) {
        const uint32_t above = i + 1 < count ? limbs[i + 1] : 0;
        result[i] = limbs[i] >> bits | above << (limb_bits - bits);
    }
}

}  // namespace aa

#endif
