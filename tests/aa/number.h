// Numbers of the family beside those of GMP.
#ifndef ZELMO_TESTS_AA_NUMBER_H
#define ZELMO_TESTS_AA_NUMBER_H

#include <algorithm>
#include <gmpxx.h>
#include <gtest/gtest.h>
#include <string>
#include <vector>

#include "aa/aa.h"
#include "support/seeded.h"

/// A number on the heap in a buffer of exactly `words` words, so that a step beyond it is seen. What stands behind the
/// limbs is rubbish.
class Number {
  public:
    explicit Number(const mpz_class &value = 0, size_t words = AA_BUFFER_WORDS + 1) : words_(words, 0xA5A5A5A5) {
        const size_t limbs = (mpz_sizeinbase(value.get_mpz_t(), 2) + 31) / 32;
        words_[0] = value == 0 ? 0 : static_cast<uint32_t>(limbs);
        mpz_export(words_.data() + 1, nullptr, -1, sizeof(uint32_t), 0, 0, value.get_mpz_t());
    }
    operator aauint *() {
        return words_.data();
    }
    mpz_class value() const {
        EXPECT_LE(words_[0], words_.size() - 1);
        EXPECT_TRUE(words_[0] == 0 || words_[words_[0]] != 0) << "a zero on top";
        mpz_class result;
        mpz_import(result.get_mpz_t(), words_[0], -1, sizeof(uint32_t), 0, 0, words_.data() + 1);
        return result;
    }

  private:
    std::vector<aauint> words_;
};

inline mpz_class power_of_2(unsigned exponent) {
    return mpz_class(1) << exponent;
}

/// The greatest number of so many limbs.
inline mpz_class all_ones(unsigned limbs) {
    return power_of_2(32 * limbs) - 1;
}

/// A number of at most `bits` bits, now and then one with long runs of equal bits or a power of two.
inline mpz_class random_number(zelmo_test::Seeded &random, unsigned bits) {
    const Octets octets = random.below(2) == 0 ? random.octets(bits / 8 + 1) : random.runs(bits / 8 + 1);
    mpz_class number;
    mpz_import(number.get_mpz_t(), octets.size(), 1, 1, 0, 0, octets.data());
    number >>= static_cast<unsigned>(octets.size() * 8 - bits);
    return random.below(16) == 0 ? power_of_2(random.below(bits)) : number;
}

inline mpz_class random_number_of_any_size(zelmo_test::Seeded &random, unsigned most_bits) {
    return random_number(random, 1 + random.below(random.below(2) == 0 ? std::min(200u, most_bits) : most_bits));
}

#endif
