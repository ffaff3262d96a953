// Prime testing and search.
#include <cstdlib>
#include <ctime>

#include "aa/word.h"

namespace {

using namespace aa;

constexpr uint32_t rounds_of_search = 10;
constexpr uint32_t greatest_length = 256;  // that aa_mexp gives right results for
constexpr uint32_t exact_limit = 23;
constexpr uint32_t small_primes = 0x8A28A8;  // a bit for each odd prime up to 23

// Knuth's additive generator, which gives a witness of any length from a few calls of `rand`.
class Witnesses {
  public:
    Witnesses() {
        // The seed is meant to be the time of every call: witnesses need no secrecy.
        std::srand(static_cast<unsigned>(std::time(nullptr)));
        for (uint32_t &word : words_) {
            const auto r1 = static_cast<uint32_t>(std::rand());
            const auto r2 = static_cast<uint32_t>(std::rand());
            const auto r3 = static_cast<uint32_t>(std::rand());
            word = r1 << 18 ^ r2 << 8 ^ r3 << 3;
        }
        // Not all words may be even.
        words_[size - 1] |= 1;
    }
    uint32_t next() {
        const uint32_t word = words_[far_] += words_[near_];
        far_ = far_ == 0 ? size - 1 : far_ - 1;
        near_ = near_ == 0 ? size - 1 : near_ - 1;
        return word;
    }

  private:
    static constexpr uint32_t size = 55;
    uint32_t words_[size];
    uint32_t far_ = size - 1;
    uint32_t near_ = 23;
};

// A witness from 2 to n - 2, of a candidate with some limbs more than n - 3.
void draw_witness(Witnesses &witnesses, const aauint *n_less_3, aauint *witness) {
    const uint32_t limbs = std::min<uint32_t>(n_less_3[0] + 2, AA_MAX_LIMBS);
    for (uint32_t i = 1; i <= limbs; ++i)
        witness[i] = witnesses.next();
    set_length(witness, limbs);
    aa_zmodeq(witness, n_less_3);
    aa_add(witness, AA_TWO, witness);
}

// True when n passes a round with this witness: n - 1 = 2^power * odd.
bool passes(aauint *y, const aauint *n, const aauint *n_less_1, uint32_t power, const aauint *odd) {
    aa_mexp(y, odd, y, n);
    if (aa_comp(y, AA_ONE) == 0)
        return true;
    for (uint32_t i = 1; i < power && aa_comp(y, n_less_1) != 0; ++i) {
        aa_zmsquareeq(y, n);
        if (aa_comp(y, AA_ONE) == 0)
            return false;
    }
    return aa_comp(y, n_less_1) == 0;
}

}  // namespace

extern "C" {

int32_t aa_miller_rabin(const aauint *n, uint32_t rounds) {
    if (aa_even(n) != 0)
        return aa_comp(n, AA_TWO);
    if (n[0] == 1 && n[1] <= exact_limit)
        return (small_primes >> n[1] & 1) != 0 ? 0 : 1;
    aauint number[AA_BUFFER_WORDS + 2];
    if (aa_gcd1(n, AA_PRIMEPRODUCT_UP_TO_23, number) != 0)
        return 1;
    Buffer n_less_1;
    Buffer n_less_3;
    Buffer odd;
    aa_sub(n, AA_ONE, n_less_1);
    aa_sub(n, AA_THREE, n_less_3);
    aa_shift(n_less_1, -1, odd);
    uint32_t power = 1;
    for (; aa_even(odd) != 0; ++power)
        aa_shift(odd, -1, odd);
    Witnesses witnesses;
    for (uint32_t i = 0; i < rounds; ++i) {
        draw_witness(witnesses, n_less_3, number);
        if (!passes(number, n, n_less_1, power, odd))
            return 1;
    }
    return 0;
}

void aa_prime(aauint *number, uint32_t bits) {
    if (number[0] == 0) {
        aa_copy(bits < 3 ? AA_TWO : AA_FIVE, number);
        if (bits < 3)
            return;
    }
    if (aa_even(number) != 0)
        aa_incr(number);
    // Doubling keeps the bits that are there on top.
    while (static_cast<uint32_t>(aa_lb(number) + 1) < bits) {
        if (aa_shift(number, 1, number) != 0)
            break;
        aa_incr(number);
    }
    Buffer gcd;
    // Longer numbers than can be raised to a power would all fail, without an end.
    while (number[0] <= greatest_length &&
           (aa_gcd1(number, AA_PRIMEPRODUCT_3_293, gcd) != 0 || aa_miller_rabin(number, rounds_of_search) != 0))
        aa_add(number, AA_TWO, number);
}
}
