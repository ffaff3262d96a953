// Unsigned big numbers of up to 16 416 bits and all that is computed on them.
//
// An `aauint *` points to an array of 32-bit words: word 0 is the length, the number of limbs in use, and words 1 to
// length are the limbs, least significant first. The top limb is never zero; zero has length 0. Words beyond the
// length mean nothing and are not cleared.
//
// Conventions. No argument may be null; nothing tests for it. Unless a line says otherwise a routine returns 0 on
// success and -1 on failure, and a result may share its buffer with an operand, but not with a modulus. -1 stands for a
// limit passed, a division by zero or a result below zero, and what the result holds then is not defined. Nobody checks
// the room of a result: AA_BUFFER_WORDS words are always enough for the checked routines. `aa_z` marks the routines
// that test no limit either. Everything but aa_new and aa_mexp works without the heap. There is no shared state, so any
// number of threads may compute at once. Nothing runs in constant time.
#ifndef ZELMOP15_AA_AA_H
#define ZELMOP15_AA_AA_H

#include <cstdint>

#include "runtime/owned.h"

/// One word of a number.
using aauint = uint32_t;

enum : uint32_t {
    AA_MAX_LIMBS = 513,     ///< Greatest length of a number.
    AA_BUFFER_WORDS = 514,  ///< Words of a buffer that holds any number.
    AA_TABLE_BITS = 16448,  ///< Bits of an entry of the power table: room for a double-length product.
};

extern "C" {

// ---- constants -----------------------------------------------------------------------------------------------------

extern const aauint AA_ZERO[1], AA_ONE[2], AA_TWO[2], AA_THREE[2], AA_FOUR[2], AA_FIVE[2], AA_SIX[2], AA_SEVEN[2],
    AA_EIGHT[2], AA_NINE[2], AA_TEN[2], AA_ELEVEN[2], AA_TWELVE[2], AA_THIRTEEN[2], AA_FOURTEEN[2], AA_FIFTEEN[2],
    AA_SIXTEEN[2], AA_SEVENTEEN[2], AA_EIGHTEEN[2], AA_NINETEEN[2], AA_TWENTY[2], AA_TWENTYTHREE[2], AA_TWENTYSEVEN[2],
    AA_TWENTYNINE[2], AA_THIRTY[2], AA_THIRTYSIX[2], AA_SIXTY[2], AA_HUNDRED[2], AA_THOUSAND[2], AA_TWOTHOUSAND[2],
    AA_FIVETHOUSAND[2], AA_FIFTEENTHOUSANDFIFTEEN[2];
extern const aauint AA_PRIMEPRODUCT_UP_TO_13[2];  ///< 30030, the product of the primes from 2 to 13.
extern const aauint AA_PRIMEPRODUCT_UP_TO_23[2];  ///< 223092870, the product of the primes from 2 to 23.
extern const aauint AA_PRIMEPRODUCT_UP_TO_29[3];  ///< 6469693230, the product of the primes from 2 to 29.
extern const aauint AA_PRIMEPRODUCT_3_293[14];    ///< The product of the 61 odd primes from 3 to 293.

// ---- values --------------------------------------------------------------------------------------------------------

/// Zero-filled number with room for `bits` bits, rounded up to whole limbs. Null when memory is short or the count of
/// words would pass 32 bits.
aauint *aa_new(uint32_t bits);
/// Releases what aa_new made, without wiping it; null is allowed.
void aa_free(aauint *number);
/// Copies length and limbs.
void aa_copy(const aauint *source, aauint *destination);
void aa_long2aauint(uint32_t value, aauint *destination);
/// Stores the value of a number of at most one limb; -1, with nothing stored, for a longer one.
int32_t aa_aauint2long(const aauint *number, uint32_t *value);
/// Reads the first `bits` bits of `bytes`, the first being the most significant. (bits + 7) / 8 octets are read.
void aa_uchar2aauint(aauint *destination, uint32_t bits, const uint8_t *bytes);
/// Writes the low `bits` bits of the number over (bits + 7) / 8 octets: zeros in front of a shorter number, the high
/// bits of a longer one dropped without a report. The unused low bits of the last octet are zero.
void aa_aauint2uchar(uint32_t bits, uint8_t *bytes, const aauint *number);
/// Index of the top set bit; -1 for zero.
int32_t aa_lb(const aauint *number);
/// 1 for an even number, zero included, otherwise 0.
int32_t aa_even(const aauint *number);
/// 0 when equal, 1 when a is LESS than b, -1 when a is GREATER. The sign is meant to be this way round.
int32_t aa_comp(const aauint *a, const aauint *b);

// ---- plain arithmetic ----------------------------------------------------------------------------------------------

/// Adds 1; -1 when the length would pass AA_MAX_LIMBS.
int32_t aa_incr(aauint *number);
/// Subtracts 1; -1 for zero, which stays.
int32_t aa_decr(aauint *number);
/// result = a + b. -1 when the length would pass AA_MAX_LIMBS; its word then says so already.
int32_t aa_add(const aauint *a, const aauint *b, aauint *result);
/// result = a - b; -1 when a is less than b.
int32_t aa_sub(const aauint *a, const aauint *b, aauint *result);
/// Shifts left by a positive count of bits, right by a negative one. -1, with the result left alone, for a left shift
/// where length + shift / 32 + 1 is more than AA_MAX_LIMBS, even if no bit would be lost.
int32_t aa_shift(const aauint *number, int32_t shift, aauint *result);
/// result = a * b. Products of operands with up to 512 limbs together pass, above that only those with
/// aa_lb(a) + aa_lb(b) of at most 16415 that fit AA_MAX_LIMBS.
int32_t aa_mult(const aauint *a, const aauint *b, aauint *result);
/// a = a * b, with the limits of aa_mult.
int32_t aa_multeq(aauint *a, const aauint *b);
/// result = a * b, unchecked; the result has a buffer of its own. Always 0.
int32_t aa_zmult(const aauint *a, const aauint *b, aauint *result);
/// a = a * b, unchecked; a has room for length(a) + length(b) + 1 words. Always 0.
int32_t aa_zmulteq(aauint *a, const aauint *b);
/// result = a * a, for up to 256 limbs; -1 for all longer numbers.
int32_t aa_square(const aauint *a, aauint *result);
/// a = a * a, with the limit of aa_square; -1 leaves a alone.
int32_t aa_squareeq(aauint *a);
/// result = a * a, unchecked; the result has a buffer of its own. Always 0.
int32_t aa_zsquare(const aauint *a, aauint *result);
/// a = a * a, unchecked, through a copy of a on the stack. Always 0.
int32_t aa_zsquareeq(aauint *a);
/// quotient = a / b, remainder = a mod b. With one buffer for both, it takes the remainder when a is less than b. -1
/// for b = 0, and for an a of AA_MAX_LIMBS limbs that is not less than b.
int32_t aa_div(const aauint *a, const aauint *b, aauint *quotient, aauint *remainder);

// ---- modular arithmetic --------------------------------------------------------------------------------------------

/// result = gcd(a, b). 0 when it is 1, otherwise 1.
int32_t aa_gcd1(const aauint *a, const aauint *b, aauint *result);
/// gcd = gcd(a, m), and inverse * a = gcd modulo m. 0 when the gcd is 1; 1 for another gcd, where the coefficient is no
/// inverse; 2 when m divides a, with gcd = m and inverse = 1; -1 when m is zero. In one buffer the inverse wins.
int32_t aa_gcd2(const aauint *a, const aauint *m, aauint *gcd, aauint *inverse);
/// a = a mod m. a has room for its length + 2 words. -1 for m = 0, and when m must be shifted to have its top bit set
/// and a cannot be shifted along.
int32_t aa_zmodeq(aauint *a, const aauint *m);
/// The same, where m may be a itself.
int32_t aa_modeq(aauint *a, const aauint *m);
/// result = a mod m; the result has room for length(a) + 2 words and may be m itself. With m = 0 it is a copy of a.
int32_t aa_mod(const aauint *a, aauint *result, const aauint *m);
/// result = (a + b) mod m. A carry out of the sum is not reported.
int32_t aa_madd(const aauint *a, const aauint *b, aauint *result, const aauint *m);
/// result = (a - b) mod m, never negative.
int32_t aa_msub(const aauint *a, const aauint *b, aauint *result, const aauint *m);
/// result = (a * b) mod m. Operands with more limbs than m are reduced first; the limits are those of aa_mult.
int32_t aa_mmult(const aauint *a, const aauint *b, aauint *result, const aauint *m);
/// a = (a * b) mod m, as aa_mmult.
int32_t aa_mmulteq(aauint *a, const aauint *b, const aauint *m);
/// aa_zmult, then aa_zmodeq; always 0.
int32_t aa_zmmult(const aauint *a, const aauint *b, aauint *result, const aauint *m);
/// aa_zmulteq, then the result of aa_zmodeq.
int32_t aa_zmmulteq(aauint *a, const aauint *b, const aauint *m);
/// aa_zsquare, then aa_zmodeq; always 0.
int32_t aa_zmsquare(const aauint *a, aauint *result, const aauint *m);
/// aa_squareeq, then the result of aa_zmodeq. A refused squaring is meant to pass unseen: a is then only reduced.
int32_t aa_zmsquareeq(aauint *a, const aauint *m);
/// result = base ^ exponent mod m, which may be even. Exponent 0 gives 1 for any m but 0. -1, with nothing written, for
/// m = 0, for m of more than 257 limbs and when memory is short (about 130 KB for the table of powers). With m of 257
/// limbs the result is 0 and the value wrong, as the squaring of such numbers is refused and the refusal not looked at.
int32_t aa_mexp(const aauint *base, const aauint *exponent, aauint *result, const aauint *m);
/// aa_mexp with windows of `width` (1 to 6) bits of the exponent.
int32_t aa_mexpn(const aauint *base, const aauint *exponent, aauint *result, const aauint *m, uint32_t width);
/// coefficient = the number modulo n = p * q that is 1 modulo p and 0 modulo q. -1 when q has no inverse modulo p.
int32_t aa_crtqinit(const aauint *p, const aauint *q, aauint *coefficient, const aauint *n);
/// result = the number modulo n that is xp modulo p and xq modulo q, with the coefficient of aa_crtqinit.
int32_t aa_crtq(const aauint *xp, const aauint *xq, const aauint *coefficient, aauint *result, const aauint *n);
/// result = base ^ e modulo n by way of the exponents ep modulo p and eq modulo q.
int32_t aa_mexpcrtq(const aauint *base, const aauint *ep, const aauint *eq, const aauint *p, const aauint *q,
                    const aauint *coefficient, aauint *result, const aauint *n);

// ---- primes --------------------------------------------------------------------------------------------------------

/// 0 when n passes as prime in `rounds` Miller-Rabin rounds, any other value when it is composite. Up to 23 the answer
/// is exact. Witnesses come from the standard library's `rand`, which every call seeds with the time.
int32_t aa_miller_rabin(const aauint *n, uint32_t rounds);
/// Turns the number into the next probable prime of at least `bits` bits. Never 3 to 293, which the sieve throws out.
void aa_prime(aauint *number, uint32_t bits);
}

/// An owned number on the heap.
using OwnedNumber = Owned<aauint, aa_free>;

#endif
