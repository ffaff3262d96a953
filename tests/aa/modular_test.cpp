// Reduction, modular arithmetic, exponentiation, divisors and primes beside GMP.
#include "number.h"
#include "support/alloc_sweep.h"

namespace {

using zelmo_test::Seeded;

mpz_class residue(const mpz_class &a, const mpz_class &m) {
    mpz_class result;
    mpz_mod(result.get_mpz_t(), a.get_mpz_t(), m.get_mpz_t());
    return result;
}

mpz_class power(const mpz_class &base, const mpz_class &exponent, const mpz_class &m) {
    mpz_class result;
    mpz_powm(result.get_mpz_t(), base.get_mpz_t(), exponent.get_mpz_t(), m.get_mpz_t());
    return result;
}

// Moduli whose top limbs are the hard ones for a quotient's estimate.
mpz_class hard_modulus(Seeded &random, unsigned bits) {
    mpz_class m = random_number(random, bits) + 1;
    switch (bits > 64 ? random.below(4) : 0) {
        case 0:
            return m;
        case 1:
            return power_of_2(bits) - 1 - (m >> (bits / 2));
        case 2:
            return power_of_2(bits - 1) + (m >> (bits / 2 + 1));
        default:
            return power_of_2(bits) - 1 - (random_number(random, 31) << (bits - 64));
    }
}

TEST(Modular, Reduces) {
    Seeded random;
    for (int i = 0; i < 6000; ++i) {
        const mpz_class m = 1 + hard_modulus(random, 2 + random.below(i % 2 == 0 ? 300 : 4000));
        mpz_class a = random_number_of_any_size(random, 8192);
        if (i % 3 == 0)
            a = random_number_of_any_size(random, 4000) * m + (i % 2 == 0 ? mpz_class(0) : mpz_class(m - 1));
        const mpz_class expected = residue(a, m);
        Number modulus(m), result;
        ASSERT_EQ(aa_mod(Number(a), result, modulus), 0);
        ASSERT_EQ(result.value(), expected) << a << " mod " << m;
        Number in_place(a);
        ASSERT_EQ(aa_modeq(in_place, modulus), 0);
        ASSERT_EQ(in_place.value(), expected);
        // An aligned modulus takes a buffer of the exact size, any other one limb more.
        const unsigned limbs = static_cast<unsigned>(mpz_sizeinbase(a.get_mpz_t(), 2) + 31) / 32;
        const bool aligned = mpz_sizeinbase(m.get_mpz_t(), 2) % 32 == 0;
        Number exact(a, limbs + (aligned ? 1 : 2));
        ASSERT_EQ(aa_zmodeq(exact, modulus), 0);
        ASSERT_EQ(exact.value(), expected);
        ASSERT_EQ(modulus.value(), m);
        ASSERT_EQ(aa_mod(Number(a), modulus, modulus), 0);
        ASSERT_EQ(modulus.value(), expected) << "over the modulus";
    }
}

TEST(Modular, ReductionLimits) {
    Number result;
    EXPECT_EQ(aa_mod(Number(5), result, Number(0)), -1);
    EXPECT_EQ(result.value(), 5);
    Number zero(0);
    EXPECT_EQ(aa_modeq(zero, zero), -1);
    Number one(17);
    EXPECT_EQ(aa_modeq(one, one), 0);
    EXPECT_EQ(one.value(), 0);
    // A full number cannot be shifted along with a modulus that needs it.
    EXPECT_EQ(aa_mod(Number(all_ones(513)), result, Number(3)), -1);
    EXPECT_EQ(aa_mod(Number(all_ones(513)), result, Number(all_ones(1))), 0);
    EXPECT_EQ(result.value(), 0);
    EXPECT_EQ(aa_mod(Number(all_ones(512)), result, Number(3)), 0);
    EXPECT_EQ(result.value(), 0);
}

struct Ternary {
    const char *name;
    int32_t (*operation)(const aauint *, const aauint *, aauint *, const aauint *);
    mpz_class (*expected)(const mpz_class &, const mpz_class &);
    unsigned factor;  // operands have up to so many times the bits of the modulus
};

int32_t multiply_in_place(const aauint *a, const aauint *b, aauint *result, const aauint *m) {
    if (b == result)
        std::swap(a, b);
    aa_copy(a, result);
    return aa_mmulteq(result, b, m);
}

int32_t multiply_unchecked(const aauint *a, const aauint *b, aauint *result, const aauint *m) {
    Number copy(0, 1100);
    aa_copy(a, copy);
    const int32_t code = aa_zmmulteq(copy, b, m);
    aa_copy(copy, result);
    return code;
}

const Ternary ternaries[] = {
    {"aa_madd", aa_madd, [](const mpz_class &a, const mpz_class &b) { return mpz_class(a + b); }, 3},
    {"aa_msub", aa_msub, [](const mpz_class &a, const mpz_class &b) { return mpz_class(a - b); }, 3},
    {"aa_mmult", aa_mmult, [](const mpz_class &a, const mpz_class &b) { return mpz_class(a * b); }, 3},
    {"aa_mmulteq", multiply_in_place, [](const mpz_class &a, const mpz_class &b) { return mpz_class(a * b); }, 3},
    {"aa_zmmulteq", multiply_unchecked, [](const mpz_class &a, const mpz_class &b) { return mpz_class(a * b); }, 1},
};

TEST(Modular, AgreesInEveryAliasing) {
    Seeded random;
    for (const Ternary &ternary : ternaries)
        for (int i = 0; i < 1000; ++i) {
            const unsigned bits = 2 + random.below(i % 2 == 0 ? 200 : 2500);
            const mpz_class m = 1 + hard_modulus(random, bits);
            const mpz_class a = random_number(random, 1 + random.below(ternary.factor * bits));
            const mpz_class b = i % 20 == 0 ? a : random_number(random, 1 + random.below(ternary.factor * bits));
            const mpz_class expected = residue(ternary.expected(a, b), m);
            Number modulus(m), left(a), right(b), again(a), result;
            ASSERT_EQ(ternary.operation(left, right, result, modulus), 0);
            ASSERT_EQ(result.value(), expected) << ternary.name << " of " << a << " and " << b << " modulo " << m;
            ASSERT_EQ(ternary.operation(left, right, left, modulus), 0);
            ASSERT_EQ(left.value(), expected) << ternary.name << " over the first";
            ASSERT_EQ(ternary.operation(again, right, right, modulus), 0);
            ASSERT_EQ(right.value(), expected) << ternary.name << " over the second";
        }
}

TEST(Modular, SquaresAndUncheckedProducts) {
    Seeded random;
    for (int i = 0; i < 500; ++i) {
        const mpz_class m = 1 + hard_modulus(random, 2 + random.below(5000));
        const mpz_class a = residue(random_number(random, 6000), m);
        const mpz_class b = residue(random_number(random, 6000), m);
        Number result;
        EXPECT_EQ(aa_zmsquare(Number(a), result, Number(m)), 0);
        ASSERT_EQ(result.value(), residue(a * a, m));
        Number in_place(a);
        EXPECT_EQ(aa_zmsquareeq(in_place, Number(m)), 0);
        ASSERT_EQ(in_place.value(), residue(a * a, m));
        EXPECT_EQ(aa_zmmult(Number(a), Number(b), result, Number(m)), 0);
        ASSERT_EQ(result.value(), residue(a * b, m));
    }
    // A refused square is not noticed: the number is only reduced.
    const mpz_class m = all_ones(257);
    Number long_number(m - 1);
    EXPECT_EQ(aa_zmsquareeq(long_number, Number(m)), 0);
    EXPECT_EQ(long_number.value(), m - 1);
}

TEST(Modular, SumsAndDifferencesByHand) {
    Number result;
    EXPECT_EQ(aa_msub(AA_ONE, AA_TWO, result, AA_FIVE), 0);
    EXPECT_EQ(result.value(), 4);
    EXPECT_EQ(aa_msub(AA_TWO, AA_SEVEN, result, AA_FIVE), 0);
    EXPECT_EQ(result.value(), 0) << "a difference equal to the modulus";
    EXPECT_EQ(aa_msub(AA_SEVEN, AA_SEVEN, result, AA_FIVE), 0);
    EXPECT_EQ(result.value(), 0);
    EXPECT_EQ(aa_msub(AA_SEVEN, AA_ONE, result, AA_ZERO), -1);
    EXPECT_EQ(aa_madd(AA_SEVEN, AA_ONE, result, AA_ZERO), -1);
    EXPECT_EQ(aa_mmult(AA_SEVEN, AA_ONE, result, AA_ZERO), -1);
    EXPECT_EQ(aa_mmult(Number(all_ones(257)), Number(all_ones(257)), result, Number(all_ones(300))), -1);
}

TEST(Exponentiation, AgreesForEveryWindow) {
    Seeded random;
    // Limbs on both sides of each change of the window, and exponents around the digits' and limbs' borders.
    for (unsigned limbs : {1u, 2u, 8u, 15u, 16u, 17u, 23u, 24u, 25u, 32u, 40u}) {
        std::vector<mpz_class> exponents = {1, 2, 3, 15, 16, 17, 31, 32, 63, 64, 65537, power_of_2(32), power_of_2(31)};
        for (unsigned bits : {4u * 9, 5u * 13, 6u * 11, 31u, 32u, 33u, 63u, 64u, 65u, 200u})
            exponents.push_back(power_of_2(bits - 1) + random_number(random, bits - 1));
        for (const mpz_class &exponent : exponents) {
            mpz_class m = hard_modulus(random, 32 * limbs - random.below(32)) + 1;
            const mpz_class base = random_number_of_any_size(random, 3000);
            const mpz_class expected = power(base, exponent, m);
            Number result(0, limbs + 3);
            ASSERT_EQ(aa_mexp(Number(base), Number(exponent), result, Number(m)), 0);
            ASSERT_EQ(result.value(), expected) << base << " ^ " << exponent << " modulo " << m;
            Number over_base(base);
            ASSERT_EQ(aa_mexp(over_base, Number(exponent), over_base, Number(m)), 0);
            ASSERT_EQ(over_base.value(), expected);
            Number over_exponent(exponent);
            ASSERT_EQ(aa_mexp(Number(base), over_exponent, over_exponent, Number(m)), 0);
            ASSERT_EQ(over_exponent.value(), expected);
            for (uint32_t width = 1; width <= 6; ++width) {
                ASSERT_EQ(aa_mexpn(Number(base), Number(exponent), result, Number(m), width), 0);
                ASSERT_EQ(result.value(), expected) << "width " << width;
            }
        }
    }
}

TEST(Exponentiation, SpecialValues) {
    const struct {
        mpz_class base, exponent, m;
        int32_t code;
        mpz_class result;
    } rows[] = {{5, 0, 7, 0, 1},
                {5, 0, 1, 0, 1},
                {0, 0, 7, 0, 1},
                {5, 0, 0, -1, 99},
                {5, 3, 0, -1, 99},
                {14, 3, 7, 0, 0},
                {5, 3, 1, 0, 0},
                {6, 1, 7, 0, 6},
                {3, 5, 8, 0, 3},
                {5, 1, all_ones(258), -1, 99},
                {5, 0, all_ones(258), 0, 1}};
    for (const auto &row : rows) {
        Number result(99);
        EXPECT_EQ(aa_mexp(Number(row.base), Number(row.exponent), result, Number(row.m)), row.code);
        EXPECT_EQ(result.value(), row.result) << row.base << " " << row.exponent << " " << row.m;
    }
}

TEST(Exponentiation, ModuliUpToTheLimit) {
    Seeded random;
    for (unsigned bits : {8160u, 8192u}) {
        const mpz_class m = power_of_2(bits) - 1 - random_number(random, bits - 2);
        const mpz_class base = random_number(random, bits - 1);
        Number result;
        EXPECT_EQ(aa_mexp(Number(base), Number(65537), result, Number(m)), 0);
        EXPECT_EQ(result.value(), power(base, 65537, m)) << bits;
    }
    // A base of the greatest length is reduced all the same.
    Number longest;
    EXPECT_EQ(aa_mexp(Number(all_ones(513)), Number(5), longest, Number(1000003)), 0);
    EXPECT_EQ(longest.value(), power(all_ones(513), 5, 1000003));
    // One limb more, and full-length squares are skipped without a word.
    for (const mpz_class &m : {mpz_class(power_of_2(8193) - 1), all_ones(257)}) {
        const mpz_class base = m - 2;
        Number result(99);
        EXPECT_EQ(aa_mexp(Number(base), Number(65537), result, Number(m)), 0);
        EXPECT_NE(result.value(), power(base, 65537, m));
    }
}

TEST(Exponentiation, ShortMemory) {
    Number result;
    zelmo_test::sweep_allocations(
        [&] {
            aa_long2aauint(99, result);
            return aa_mexp(AA_THREE, AA_FIVE, result, AA_SEVEN);
        },
        [&](int32_t code, bool failed, unsigned n) {
            EXPECT_EQ(failed, n <= 63);
            EXPECT_EQ(code, failed ? -1 : 0);
            EXPECT_EQ(result.value(), failed ? 99 : 5);
        });
}

TEST(Gcd, Agrees) {
    Seeded random;
    for (int i = 0; i < 1000; ++i) {
        const mpz_class common =
            i % 2 == 0 ? mpz_class(1) : mpz_class(1 + random_number(random, 1 + random.below(300)));
        const mpz_class a = common * random_number_of_any_size(random, 2000);
        const mpz_class b = common * random_number_of_any_size(random, 2000);
        mpz_class expected;
        mpz_gcd(expected.get_mpz_t(), a.get_mpz_t(), b.get_mpz_t());
        const int32_t code = expected == 1 ? 0 : 1;
        Number result;
        ASSERT_EQ(aa_gcd1(Number(a), Number(b), result), code);
        ASSERT_EQ(result.value(), expected) << a << ", " << b;
        Number over(b);
        ASSERT_EQ(aa_gcd1(Number(a), over, over), code);
        ASSERT_EQ(over.value(), expected);
        if (b == 0)
            continue;
        Number inverse;
        const bool multiple = residue(a, b) == 0;
        ASSERT_EQ(aa_gcd2(Number(a), Number(b), result, inverse), multiple ? 2 : code);
        ASSERT_EQ(result.value(), expected);
        ASSERT_EQ(inverse.value(), multiple ? mpz_class(1) : inverse.value());
        if (!multiple) {
            ASSERT_EQ(residue(inverse.value() * a, b), residue(expected, b));
        }
        Number both(a);
        aa_gcd2(both, Number(b), both, both);
        ASSERT_EQ(both.value(), inverse.value()) << "in one buffer the inverse wins";
    }
}

TEST(Gcd, InversesUpToTheLimit) {
    Seeded random;
    for (unsigned limbs : {257u, 400u, 512u}) {
        // A remainder of half the size comes first, and a very small one behind it, so that there is a long quotient.
        const mpz_class m = all_ones(limbs) - 2 * random_number(random, 100);
        const mpz_class a = m / power_of_2(16 * limbs) | 1;
        mpz_class expected;
        const bool exists = mpz_invert(expected.get_mpz_t(), a.get_mpz_t(), m.get_mpz_t()) != 0;
        Number gcd, inverse;
        ASSERT_EQ(aa_gcd2(Number(a), Number(m), gcd, inverse), exists ? 0 : 1);
        if (exists) {
            EXPECT_EQ(inverse.value(), expected);
        }
        const mpz_class odd = random_number(random, 32 * limbs - 5) | 1;
        const mpz_class power = power_of_2(32 * limbs - 3);
        mpz_invert(expected.get_mpz_t(), odd.get_mpz_t(), power.get_mpz_t());
        ASSERT_EQ(aa_gcd2(Number(odd), Number(power), gcd, inverse), 0);
        EXPECT_EQ(inverse.value(), expected);
    }
}

TEST(Gcd, SpecialValues) {
    Number result;
    EXPECT_EQ(aa_gcd1(Number(0), Number(0), result), 1);
    EXPECT_EQ(result.value(), 0);
    EXPECT_EQ(aa_gcd1(Number(0), Number(1), result), 0);
    EXPECT_EQ(aa_gcd1(Number(77), Number(1), result), 0);
    EXPECT_EQ(aa_gcd2(Number(77), Number(0), result, Number()), -1);
    EXPECT_EQ(aa_gcd2(Number(77), Number(all_ones(513)), result, Number()), -1);
    EXPECT_EQ(aa_gcd1(Number(77), Number(all_ones(513)), result), 1);
    EXPECT_EQ(result.value(), 7);
}

TEST(ChineseRemainder, Recombines) {
    Seeded random;
    for (unsigned bits : {20u, 160u, 512u, 1024u}) {
        mpz_class p = power_of_2(bits) + random_number(random, bits);
        mpz_class q = 2 * power_of_2(bits) + random_number(random, bits);
        mpz_nextprime(p.get_mpz_t(), p.get_mpz_t());
        mpz_nextprime(q.get_mpz_t(), q.get_mpz_t());
        const mpz_class n = p * q;
        Number coefficient;
        ASSERT_EQ(aa_crtqinit(Number(p), Number(q), coefficient, Number(n)), 0);
        EXPECT_EQ(residue(coefficient.value(), p), 1);
        EXPECT_EQ(residue(coefficient.value(), q), 0);
        const mpz_class base = random_number(random, 2 * bits);
        const mpz_class e = random_number(random, 2 * bits);
        Number result;
        ASSERT_EQ(aa_mexpcrtq(Number(base), Number(residue(e, p - 1)), Number(residue(e, q - 1)), Number(p), Number(q),
                              coefficient, result, Number(n)),
                  0);
        EXPECT_EQ(result.value(), power(base, e, n));
        ASSERT_EQ(aa_crtq(AA_FIVE, AA_FIVE, coefficient, result, Number(n)), 0);
        EXPECT_EQ(result.value(), 5);
        EXPECT_EQ(aa_crtqinit(Number(p), Number(p), coefficient, Number(n)), -1);
    }
}

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
    Seeded random;
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
