// Plain arithmetic beside GMP, in every aliasing that is allowed and around the limits.
#include "number.h"

namespace {

using zelmo_test::Seeded;

struct Binary {
    const char *name;
    int32_t (*operation)(const aauint *, const aauint *, aauint *);
    mpz_class (*expected)(const mpz_class &, const mpz_class &);
    unsigned most_bits;  // of an operand
    bool aliases;        // the result may be an operand
};

const Binary binaries[] = {
    {"aa_add", aa_add, [](const mpz_class &a, const mpz_class &b) { return mpz_class(a + b); }, 16000, true},
    {"aa_sub", aa_sub, [](const mpz_class &a, const mpz_class &b) { return mpz_class(a - b); }, 16416, true},
    {"aa_mult", aa_mult, [](const mpz_class &a, const mpz_class &b) { return mpz_class(a * b); }, 8192, true},
    {"aa_zmult", aa_zmult, [](const mpz_class &a, const mpz_class &b) { return mpz_class(a * b); }, 8192, false},
};

class BinaryTest : public testing::TestWithParam<Binary> {};

TEST_P(BinaryTest, AgreesInEveryAliasing) {
    Seeded random;
    const Binary &binary = GetParam();
    for (int i = 0; i < 1500; ++i) {
        const mpz_class a = random_number_of_any_size(random, binary.most_bits);
        const mpz_class b = i % 50 == 0 ? a : random_number_of_any_size(random, binary.most_bits);
        const mpz_class expected = binary.expected(a, b);
        const int32_t code = expected < 0 ? -1 : 0;
        Number left(a);
        Number right(b);
        Number result;
        ASSERT_EQ(binary.operation(left, right, result), code) << binary.name;
        if (code != 0)
            continue;
        ASSERT_EQ(result.value(), expected) << binary.name << " of " << a << " and " << b;
        ASSERT_EQ(left.value(), a);
        ASSERT_EQ(right.value(), b);
        if (!binary.aliases)
            continue;
        ASSERT_EQ(binary.operation(left, right, left), 0);
        ASSERT_EQ(left.value(), expected) << binary.name << " over the first";
        Number again(a);
        ASSERT_EQ(binary.operation(again, right, right), 0);
        ASSERT_EQ(right.value(), expected) << binary.name << " over the second";
        Number twin(a);
        ASSERT_EQ(binary.operation(twin, twin, twin), 0);
        ASSERT_EQ(twin.value(), binary.expected(a, a)) << binary.name << " of one buffer";
    }
}

INSTANTIATE_TEST_SUITE_P(Arithmetic, BinaryTest, testing::ValuesIn(binaries),
                         [](const auto &row) { return std::string(row.param.name); });

TEST(Arithmetic, SumsUpToTheLimit) {
    const mpz_class full = all_ones(513);
    Number result;
    EXPECT_EQ(aa_add(Number(full), Number(full), result), -1);
    EXPECT_EQ(aa_add(Number(full - 1), Number(1), result), 0);
    EXPECT_EQ(result.value(), full);
    EXPECT_EQ(aa_incr(result), -1);
    Number below(full - 1);
    EXPECT_EQ(aa_incr(below), 0);
    EXPECT_EQ(below.value(), full);
    EXPECT_EQ(aa_sub(Number(full), Number(full), result), 0);
    EXPECT_EQ(result.value(), 0);
}

TEST(Arithmetic, StepsByOne) {
    for (const mpz_class &start : {mpz_class(0), mpz_class(1), all_ones(1), power_of_2(32), all_ones(3)}) {
        Number number(start);
        EXPECT_EQ(aa_incr(number), 0);
        EXPECT_EQ(number.value(), start + 1);
        EXPECT_EQ(aa_decr(number), 0);
        EXPECT_EQ(number.value(), start);
    }
    Number zero(0);
    EXPECT_EQ(aa_decr(zero), -1);
    EXPECT_EQ(zero.value(), 0);
}

TEST(Arithmetic, Shifts) {
    Seeded random;
    for (int i = 0; i < 2000; ++i) {
        const mpz_class a = random_number_of_any_size(random, 4000);
        const uint32_t bits = random.below(random.below(2) == 0 ? 70 : 5000);
        Number result;
        ASSERT_EQ(aa_shift(Number(a), static_cast<int32_t>(bits), result), 0);
        ASSERT_EQ(result.value(), a << bits);
        ASSERT_EQ(aa_shift(result, -static_cast<int32_t>(bits), result), 0);
        ASSERT_EQ(result.value(), a);
        Number same(a);
        ASSERT_EQ(aa_shift(same, static_cast<int32_t>(bits), same), 0);
        ASSERT_EQ(same.value(), a << bits);
        ASSERT_EQ(aa_shift(Number(a), -static_cast<int32_t>(bits), same), 0);
        ASSERT_EQ(same.value(), a >> bits);
    }
}

TEST(Arithmetic, ShiftsAreRefusedOneLimbEarly) {
    const struct {
        unsigned limbs;
        int32_t shift;
        int32_t code;
    } rows[] = {{513, 0, -1},      {512, 0, 0},    {512, 31, 0}, {512, 32, -1},    {1, 511 * 32 + 31, 0},
                {1, 512 * 32, -1}, {0, 100000, 0}, {513, -1, 0}, {513, -16416, 0}, {5, INT32_MIN, 0}};
    for (const auto &row : rows) {
        Number result(9);
        EXPECT_EQ(aa_shift(Number(all_ones(row.limbs)), row.shift, result), row.code) << row.limbs << " " << row.shift;
        if (row.code != 0) {
            EXPECT_EQ(result.value(), 9);
        }
    }
}

TEST(Arithmetic, ProductsUpToTheLimit) {
    const struct {
        mpz_class a, b;
        int32_t code;
    } rows[] = {{all_ones(256), all_ones(256), 0},
                {all_ones(257), all_ones(255), 0},
                {power_of_2(32 * 256), all_ones(256), 0},
                {all_ones(257), all_ones(257), -1},
                {all_ones(513), 1, 0},
                {all_ones(513), 2, -1},
                {power_of_2(16415), 2, -1},
                {power_of_2(16414), 2, 0},
                {all_ones(513), 0, 0},
                // The sum of the bits passes, but the product has one limb too many.
                {power_of_2(8224) - 1, power_of_2(8193) - 1, -1}};
    for (const auto &row : rows) {
        Number result(9);
        EXPECT_EQ(aa_mult(Number(row.a), Number(row.b), result), row.code);
        Number a(row.a);
        EXPECT_EQ(aa_multeq(a, Number(row.b)), row.code);
        EXPECT_EQ(result.value(), row.code == 0 ? mpz_class(row.a * row.b) : mpz_class(9));
        EXPECT_EQ(a.value(), row.code == 0 ? mpz_class(row.a * row.b) : row.a);
    }
}

TEST(Arithmetic, SquaresUpToTheLimit) {
    for (unsigned limbs : {0u, 1u, 2u, 255u, 256u, 257u, 300u, 513u}) {
        const mpz_class a = all_ones(limbs);
        const int32_t code = limbs <= 256 ? 0 : -1;
        Number result(9);
        EXPECT_EQ(aa_square(Number(a), result), code);
        EXPECT_EQ(result.value(), code == 0 ? mpz_class(a * a) : mpz_class(9));
        Number one(a);
        EXPECT_EQ(aa_mult(one, one, result), code) << "one buffer is a square";
        EXPECT_EQ(aa_squareeq(one), code);
        EXPECT_EQ(one.value(), code == 0 ? mpz_class(a * a) : a);
    }
}

TEST(Arithmetic, UncheckedFormsInTheirOwnBuffers) {
    Seeded random;
    for (unsigned limbs = 0; limbs < 300; limbs += 1 + random.below(3)) {
        const mpz_class a = random.below(4) == 0 ? all_ones(limbs) : random_number(random, 32 * limbs + 1) >> 1;
        const mpz_class b = random_number_of_any_size(random, 6000);
        Number square(a, 700);
        aa_zsquareeq(square);
        ASSERT_EQ(square.value(), a * a) << a;
        Number plain(0, 700);
        aa_zsquare(Number(a), plain);
        ASSERT_EQ(plain.value(), a * a);
        const size_t words =
            (mpz_sizeinbase(a.get_mpz_t(), 2) + 31) / 32 + (mpz_sizeinbase(b.get_mpz_t(), 2) + 31) / 32;
        Number product(a, words + 1);
        aa_zmulteq(product, Number(b));
        ASSERT_EQ(product.value(), a * b);
    }
}

TEST(Arithmetic, Divides) {
    Seeded random;
    for (int i = 0; i < 3000; ++i) {
        const mpz_class b = 1 + random_number_of_any_size(random, 5000);
        mpz_class a = random_number_of_any_size(random, 16384);
        // Quotients of extreme digits.
        if (i % 3 == 0)
            a = (random_number_of_any_size(random, 5000) * b +
                 (random.below(2) == 0 ? mpz_class(0) : mpz_class(b - 1)));
        const mpz_class q = a / b;
        const mpz_class r = a % b;
        Number quotient;
        Number remainder;
        ASSERT_EQ(aa_div(Number(a), Number(b), quotient, remainder), 0);
        ASSERT_EQ(quotient.value(), q) << a << " / " << b;
        ASSERT_EQ(remainder.value(), r) << a << " mod " << b;
        Number left(a);
        Number right(b);
        ASSERT_EQ(aa_div(left, right, left, right), 0);
        ASSERT_EQ(left.value(), q);
        ASSERT_EQ(right.value(), r);
        Number other(a);
        Number divisor(b);
        ASSERT_EQ(aa_div(other, divisor, divisor, other), 0);
        ASSERT_EQ(divisor.value(), q);
        ASSERT_EQ(other.value(), r);
        Number both;
        ASSERT_EQ(aa_div(Number(a), Number(b), both, both), 0);
        ASSERT_EQ(both.value(), r) << "one buffer takes the remainder";
    }
}

TEST(Arithmetic, DivisionLimits) {
    Number quotient(7);
    Number remainder(8);
    EXPECT_EQ(aa_div(Number(5), Number(0), quotient, remainder), -1);
    EXPECT_EQ(aa_div(Number(all_ones(513)), Number(3), quotient, remainder), -1);
    EXPECT_EQ(aa_div(Number(all_ones(512)), Number(3), quotient, remainder), 0);
    EXPECT_EQ(aa_div(Number(all_ones(513) - 1), Number(all_ones(513)), quotient, remainder), 0);
    EXPECT_EQ(quotient.value(), 0);
    EXPECT_EQ(remainder.value(), all_ones(513) - 1);
}

}  // namespace
