#include "number.h"

namespace {

TEST(MillerRabin, SmallNumbersAreExact) {
    for (unsigned n = 0; n < 2000; ++n) {
        const mpz_class value = n;
        const bool prime = mpz_probab_prime_p(value.get_mpz_t(), 30) != 0;
        EXPECT_EQ(aa_miller_rabin(Number(value), 10) == 0, prime) << n;
    }
    EXPECT_EQ(aa_miller_rabin(AA_ZERO, 10), 1);
    EXPECT_EQ(aa_miller_rabin(AA_FOUR, 10), -1);
    for (const aauint *odd : {AA_ONE, AA_NINE, AA_FIFTEEN})
        EXPECT_EQ(aa_miller_rabin(odd, 10), 1);
}

TEST(MillerRabin, KnownNumbers) {
    const struct {
        const char *number;  // hexadecimal
        bool prime;
    } rows[] = {
        {"7fffffffffffffffffffffffffffffff", true},                                  // 2^127 - 1
        {"ffffffff00000001000000000000000000000000ffffffffffffffffffffffff", true},  // FIPS 186-4, P-256
        {"fffffffffffffffffffffffffffffffeffffffffffffffff", true},                  // FIPS 186-4, P-192
        {"100000001", false},                                                        // 641 * 6700417
        {"231", false},                                                              // Carmichael: 3 * 11 * 17
        {"6c1", false},                                                              // Carmichael: 7 * 13 * 19
        {"2ecb9d29", false},  // strong for 2, 3, 5, 7: 28351 * 56701
        {"3fb8a8b1a0fa7f5", false},
    };
    for (const auto &row : rows) {
        const mpz_class value(row.number, 16);
        ASSERT_EQ(mpz_probab_prime_p(value.get_mpz_t(), 30) != 0, row.prime) << row.number;
        EXPECT_EQ(aa_miller_rabin(Number(value), 10) == 0, row.prime) << row.number;
    }
    // Without a round only what the small primes catch is composite.
    EXPECT_EQ(aa_miller_rabin(Number(29 * 31), 0), 0);
    EXPECT_EQ(aa_miller_rabin(Number(23 * 31), 0), 1);
}

TEST(Prime, FindsTheNextBeyondTheSieve) {
    const struct {
        mpz_class start;
        uint32_t bits;
        mpz_class prime;
    } rows[] = {{0, 2, 2},     {0, 3, 307},   {5, 3, 307},   {7, 3, 307},    {293, 9, 307},      {307, 9, 307},
                {308, 9, 311}, {1, 10, 1031}, {311, 2, 311}, {313, 10, 631}, {65536, 17, 65537}, {65537, 0, 65537}};
    for (const auto &row : rows) {
        Number number(row.start);
        aa_prime(number, row.bits);
        EXPECT_EQ(number.value(), row.prime) << row.start << " " << row.bits;
    }
}

TEST(Prime, AgreesWithGmpOnLongNumbers) {
    zelmo_test::Seeded random;
    for (uint32_t bits : {64u, 160u, 511u, 512u, 600u}) {
        mpz_class start = power_of_2(bits - 1) + random_number(random, bits - 1);
        Number number(start);
        aa_prime(number, bits);
        mpz_class expected = start - 1;
        mpz_nextprime(expected.get_mpz_t(), expected.get_mpz_t());
        EXPECT_EQ(number.value(), expected) << start;
    }
    // A short start is doubled up to the size, with ones behind it.
    Number number(0x5A5B);
    aa_prime(number, 128);
    mpz_class expected = (mpz_class(0x5A5C) << 113) - 2;
    mpz_nextprime(expected.get_mpz_t(), expected.get_mpz_t());
    EXPECT_EQ(number.value(), expected);
}

TEST(Prime, GivesUpWhereNothingCouldPass) {
    Number number(all_ones(257));
    aa_prime(number, 8224);
    EXPECT_EQ(number.value(), all_ones(257));
}

}  // namespace
